The commands of examples/README.md work as written: one command builds each program.

  $ . "$TESTDIR/../tool/transcript.sh"
  $ cp -R "$TESTDIR/../../examples" "$HOME/examples"

Compiler and pkg-config have the library that was just built:

  $ mkdir programs
  $ cat >programs/pkg-config <<'END'
  > #!/bin/sh
  > [ "$*" = "--cflags --libs vek" ] && echo "-I$INCLUDE $LIBRARY -Wl,-rpath,${LIBRARY%/*} $SANITIZER"
  > END
  $ chmod +x programs/pkg-config
  $ cd "$HOME/examples"
  $ PATH="$TREE/programs:$PATH" "$TESTDIR/type_commands" README.md
  README.md: 7 commands, 0 failed
