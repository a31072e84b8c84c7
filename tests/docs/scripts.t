Every script of scripts/ has a usage text, and refuses words that it does not know.

  $ . "$TESTDIR/../tool/transcript.sh"

In a copy, in which there is nothing to build:

  $ cp -R "$TESTDIR/../../scripts" .
  $ scripts() { for file in scripts/*; do [ ! -f "$file" ] || echo "${file#scripts/}"; done; }
  $ [ "$(scripts | wc -l)" -ge 20 ]

`--help` prints the usage on standard output, and the exit status is 0:

  $ for script in $(scripts); do
  >     timeout 60 scripts/$script --help >out 2>err </dev/null || echo "$script --help: exit status $?"
  >     grep -qi "^usage: \(scripts/\)\?$script" out || echo "$script --help: no usage"
  >     [ ! -s err ] || cat err
  > done

Other words: a text on standard error, and the exit status 2. `run` passes its words to vekinfo instead.

  $ for script in $(scripts | grep -vx run); do
  >     for word in --no-such-option no-such-word; do
  >         timeout 60 scripts/$script $word >out 2>err </dev/null
  >         status=$?
  >         [ "$status" -eq 2 ] || echo "$script $word: exit status $status"
  >         [ -s err ] || echo "$script $word: no message"
  >         [ ! -s out ] || cat out
  >     done
  > done

A word too many, and values that are missing or wrong:

  $ refuses() { scripts/"$@" >/dev/null 2>&1; [ $? -eq 2 ] || echo "$*: not refused"; }
  $ refuses test release debug
  $ refuses test-tcl release debug
  $ refuses build
  $ refuses build --tests
  $ refuses install-packages
  $ refuses check-install . .
  $ refuses update-exports . .
  $ refuses update-abi --library
  $ refuses fuzz --runs
  $ refuses fuzz --seed x
  $ refuses fuzz 10 no_such_fuzz
  $ refuses soak-edits 10 /no/such/directory
  $ refuses coverage common no-such-folder
  $ refuses mutate -n x tagfile
  $ refuses manual --check --check
  $ refuses pages
  $ refuses test-python --packages release

Nothing was built or installed:

  $ ls
  err
  out
  scripts
