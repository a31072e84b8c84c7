Completion offers the actions and options, in bash, zsh and fish alike.

  $ . "$TESTDIR/../tool/transcript.sh"
  $ . "$TESTDIR/shells.sh"

All that the usage text names:

  $ offers 'vekinfo '
  -addentry
  -checklibrary
  -clearentry
  -configurelibrary
  -lookup
  -path
  -show
  -v
  -verbose
  $ offers 'vekinfo ' >offered
  $ vekinfo | grep -o -e '-[a-z][a-z]*' | LC_ALL=C sort -u | diff - offered

Those that begin with what was typed, in any case:

  $ offers 'vekinfo -c'
  -checklibrary
  -clearentry
  -configurelibrary
  $ offers 'vekinfo -SH'
  -show
  $ offers 'vekinfo -x'

There is one action in a command line; the options remain, on either side of it:

  $ offers 'vekinfo -show -'
  -path
  -v
  -verbose
  $ offers 'vekinfo -path lib -verbose -CheckLibrary '
  -path
  -v
  -verbose
  $ offers 'vekinfo -path lib -s'
  -show
  $ offers 'vekinfo -addentry DMTYPE -x -'
  -path
  -v
  -verbose
  $ offers 'vekinfo -clearentry DMTYPE -lo'
