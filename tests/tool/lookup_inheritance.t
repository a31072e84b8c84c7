The tag file that defines an entry.

  $ . "$TESTDIR/transcript.sh"

The nearest file at or above the path that defines the entry is used:

  $ mkdir -p proj/lib/cell
  $ printf 'DMTYPE pkm\nOWNER datapath-team\n' >proj/vekinfo.tag
  $ printf 'DMTYPE Mrev\n' >proj/lib/vekinfo.tag
  $ vekinfo -path proj/lib/cell -lookup DMTYPE
  vekinfo searching relative to 'proj/lib/cell':
  $TREE/proj/lib/vekinfo.tag
      defines 'DMTYPE Mrev'.
  $ vekinfo -path proj/lib/cell -lookup OWNER
  vekinfo searching relative to 'proj/lib/cell':
  $TREE/proj/vekinfo.tag
      defines 'OWNER datapath-team'.

A symbolic link among the parents is followed: the target of proj/alias is the parent of proj/alias/cell.

  $ mkdir -p store/v2/cell
  $ printf 'DMTYPE lopa\n' >store/vekinfo.tag
  $ ln -s "$TREE/store/v2" proj/alias
  $ vekinfo -path proj/alias/cell -lookup DMTYPE
  vekinfo searching relative to 'proj/alias/cell':
  $TREE/store/vekinfo.tag
      defines 'DMTYPE lopa'.

The path itself is not tested for being a link:

  $ vekinfo -path proj/alias -lookup DMTYPE
  vekinfo searching relative to 'proj/alias':
  $TREE/proj/vekinfo.tag
      defines 'DMTYPE pkm'.

The target of a relative link is relative to the directory of the link, and is not cleaned:

  $ ln -s ../store/v2 proj/relative
  $ vekinfo -path proj/relative/cell -lookup DMTYPE
  vekinfo searching relative to 'proj/relative/cell':
  $TREE/proj/../store/vekinfo.tag
      defines 'DMTYPE lopa'.

A dangling link ends the search:

  $ ln -s "$TREE/gone" proj/dangling
  $ vekinfo -path proj/dangling -lookup DMTYPE
  vekinfo searching relative to 'proj/dangling':
  $TREE/proj/vekinfo.tag
      defines 'DMTYPE pkm'.

When no directory defines the entry, the tag files along the search list are read: the working directory, the
work area, the search directory, the home directory, the project and the site, in that order.

  $ mkdir area search project site empty
  $ printf 'TOOL home\nSHARED home\n' >"$HOME/vekinfo.tag"
  $ vekinfo -path empty -lookup TOOL
  vekinfo searching relative to 'empty':
  $HOME/vekinfo.tag
      defines 'TOOL home'.
  $ printf 'TOOL project\nPROJECT 1\n' >project/vekinfo.tag
  $ export VEK_WORKAREA="$TREE/area" VEK_SEARCHDIR="$TREE/search"
  $ export VEK_PROJECT="$TREE/project" VEK_SITE="$TREE/site"
  $ vekinfo -path empty -lookup TOOL
  vekinfo searching relative to 'empty':
  $HOME/vekinfo.tag
      defines 'TOOL home'.
  $ vekinfo -path empty -lookup PROJECT
  vekinfo searching relative to 'empty':
  $TREE/project/vekinfo.tag
      defines 'PROJECT 1'.
  $ printf 'TOOL search\n' >search/vekinfo.tag
  $ vekinfo -path empty -lookup TOOL
  vekinfo searching relative to 'empty':
  $TREE/search/vekinfo.tag
      defines 'TOOL search'.
  $ mkdir area/veksetup
  $ printf 'TOOL area\n' >area/veksetup/vekinfo.tag
  $ vekinfo -path empty -lookup TOOL
  vekinfo searching relative to 'empty':
  $TREE/area/veksetup/vekinfo.tag
      defines 'TOOL area'.
  $ mkdir .tolvane
  $ printf 'TOOL here\n' >.tolvane/vekinfo.tag
  $ vekinfo -path empty -lookup TOOL
  vekinfo searching relative to 'empty':
  ./.tolvane/vekinfo.tag
      defines 'TOOL here'.
  $ rm -r .tolvane

A `setup.loc` on the search list replaces the list:

  $ cat >setup.loc <<EOF
  > -- our places
  > "$TREE/project" and no other
  > $TREE/missing
  > EOF
  $ vekinfo -path empty -lookup TOOL
  vekinfo searching relative to 'empty':
  $TREE/project/vekinfo.tag
      defines 'TOOL project'.
  $ vekinfo -path empty -lookup SHARED
  vekinfo searching relative to 'empty':
  Info (vekinfo): could not locate an entry for 'SHARED' in any vekinfo.tag file.
  $ rm setup.loc

An entry without a value does not end the upward search. It ends the search along the search list:

  $ mkdir flag
  $ echo FLAG >flag/vekinfo.tag
  $ vekinfo -path flag -lookup FLAG
  vekinfo searching relative to 'flag':
  Info (vekinfo): could not locate an entry for 'FLAG' in any vekinfo.tag file.
  $ cd flag
  $ vekinfo -lookup FLAG
  vekinfo searching relative to '$TREE/flag':
  ./vekinfo.tag
      defines 'FLAG '.
  $ cd ..

Documented: a tag file that was read in the same run counts as defining every name other than its only entry:

  $ mkdir -p a/b
  $ printf 'B far\n' >a/vekinfo.tag
  $ printf 'A near\n' >a/b/vekinfo.tag
  $ vekinfo -path a/b -lookup B
  vekinfo searching relative to 'a/b':
  $TREE/a/vekinfo.tag
      defines 'B far'.
  $ vekinfo -path a/b -lookup A B
  vekinfo searching relative to 'a/b':
  $TREE/a/b/vekinfo.tag
      defines 'A near'.
  Info (vekinfo): could not locate an entry for 'B' in any vekinfo.tag file.
  $ vekinfo -path a/b -lookup A A
  vekinfo searching relative to 'a/b':
  $TREE/a/b/vekinfo.tag
      defines 'A near'.
  Info (vekinfo): could not locate an entry for 'A' in any vekinfo.tag file.
