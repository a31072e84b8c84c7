Completion offers paths, and libraries by their names.

  $ . "$TESTDIR/../tool/transcript.sh"
  $ . "$TESTDIR/shells.sh"
  $ cp -R "$TESTDIR/../../examples/project" project
  $ cd project

  $ offers 'vekinfo -path a'
  adders
  $ offers 'vekinfo -show -PATH adders/'
  adders/carry
  adders/ripple
  adders/vekinfo.tag
  $ offers "vekinfo -path $TREE/project/mult"
  $TREE/project/multipliers

If no path begins with the word, the directories of libraries whose names begin with it are offered:

  $ offers 'vekinfo -path sym'
  shared/symbols
  $ cd adders
  $ offers 'vekinfo -path s'

The definition file is searched along the search list. All statements are followed:

  $ mkdir -p "$HOME/.tolvane"
  $ cat >"$HOME/.tolvane/vek.lib" <<'END'
  > # Comments and statements that define nothing.
  > -- DEFINE nothing /nothing
  > ASSIGN nothing DMTYPE none
  > SOFTINCLUDE none.lib
  > define  one    /libs/one      -- a comment
  > DEFINE  two    "~/the second" # another
  > INCLUDE ../more/vek.lib
  > DEFINE  three  $LIBS/three
  > DEFINE  four   ${LIBS}/four
  > UNDEFINE four
  > END
  $ mkdir "$HOME/more"
  $ printf 'INCLUDE vek.lib\nDEFINE three ./old\nSOFTDEFINE five five\n' >"$HOME/more/vek.lib"
  $ export LIBS=/libs
  $ offers 'vekinfo -path o'
  /libs/one
  $ offers 'vekinfo -path tw'
  $HOME/the second
  $ offers 'vekinfo -path thr'
  /libs/three
  $ offers 'vekinfo -path f'
  $HOME/.tolvane/../more/five
  $ offers 'vekinfo -path nothing'

The first definition file on the search list is used:

  $ echo 'DEFINE only /only' >vek.lib
  $ offers 'vekinfo -path o'
  /only
  $ VEK_WORKAREA=$TREE/project/shared
  $ export VEK_WORKAREA
  $ rm vek.lib
  $ offers 'vekinfo -path sym'
  $TREE/project/shared/symbols

Without a definition file, no library is offered:

  $ unset VEK_WORKAREA
  $ rm -r "$HOME/.tolvane"
  $ offers 'vekinfo -path sym'
