Completion offers the actions and options, in bash, zsh and fish alike.

  $ . "$TESTDIR/../tool/transcript.sh"
  $ . "$TESTDIR/shells.sh"

All options and actions of the usage text:

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

Options that begin with the word, in any case:

  $ offers 'vekinfo -c'
  -checklibrary
  -clearentry
  -configurelibrary
  $ offers 'vekinfo -SH'
  -show
  $ offers 'vekinfo -x'

A command line has one action. Options can be before and after it:

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
