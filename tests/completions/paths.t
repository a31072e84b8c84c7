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

A word that begins no path is taken for the name of a library, whose directory takes its place:

  $ offers 'vekinfo -path sym'
  shared/symbols
  $ cd adders
  $ offers 'vekinfo -path s'

The definition file is looked for along the search list, and read as libraries are defined:

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

Nearer definition files come first:

  $ echo 'DEFINE only /only' >vek.lib
  $ offers 'vekinfo -path o'
  /only
  $ VEK_WORKAREA=$TREE/project/shared
  $ export VEK_WORKAREA
  $ rm vek.lib
  $ offers 'vekinfo -path sym'
  $TREE/project/shared/symbols

Where there is none, no library is offered:

  $ unset VEK_WORKAREA
  $ rm -r "$HOME/.tolvane"
  $ offers 'vekinfo -path sym'
