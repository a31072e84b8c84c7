A command line without an action prints the usage text:

  $ . "$TESTDIR/transcript.sh"
  $ vekinfo
  Usage: vekinfo [-verbose | -v]
  \t[-path <filepath>] (esc)
  \t[-configurelibrary | (esc)
  \t -checklibrary | (esc)
  \t -lookup <entryname>... | (esc)
  \t -show | (esc)
  \t -addentry <name> <value> | (esc)
  \t -clearentry <name> ] (esc)
  [1]

Every wrong command line prints this text and nothing else:

  $ vekinfo >"$CRAMTMP/usage"
  [1]
  $ is_usage() { vekinfo "$@" >"$CRAMTMP/answer" 2>&1; echo "$?"; diff "$CRAMTMP/usage" "$CRAMTMP/answer"; }

Options without an action:

  $ is_usage -v
  1
  $ is_usage -path .
  1
  $ is_usage -verbose -path . -V
  1

Two actions:

  $ is_usage -show -lookup X
  1
  $ is_usage -addentry A 1 -clearentry A
  1
  $ is_usage -SHOW -show
  1

Missing operands. A word that begins with a dash is not an operand:

  $ is_usage -lookup
  1
  $ is_usage -lookup -v
  1
  $ is_usage -path
  1
  $ is_usage -show -path -v
  1
  $ is_usage -clearentry
  1
  $ is_usage -clearentry -x
  1
  $ is_usage -addentry NAME
  1
  $ is_usage -addentry -x 1
  1

Additional words and unknown words:

  $ is_usage -clearentry A B
  1
  $ is_usage -addentry A 1 2
  1
  $ is_usage -lookup A -path . B
  1
  $ is_usage show
  1
  $ is_usage -version
  1
  $ is_usage -help
  1
  $ is_usage ''
  1

None of these did anything:

  $ ls
