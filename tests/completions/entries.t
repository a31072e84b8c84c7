Completion offers the keywords of tag files, and their values.

  $ . "$TESTDIR/../tool/transcript.sh"
  $ . "$TESTDIR/shells.sh"

  $ offers 'vekinfo -lookup '
  DMTYPE
  NAMESPACE
  VEKLIBCHECK
  VEKLIBRARY
  $ offers 'vekinfo -path lib -clearentry vek'
  VEKLIBCHECK
  VEKLIBRARY
  $ offers 'vekinfo -ADDENTRY n'
  NAMESPACE

Lookups take several, and then options:

  $ offers 'vekinfo -lookup OWNER DMTYPE '
  -path
  -v
  -verbose
  DMTYPE
  NAMESPACE
  VEKLIBCHECK
  VEKLIBRARY
  $ offers 'vekinfo -lookup OWNER DM'
  DMTYPE
  $ offers 'vekinfo -lookup OWNER -v'
  -v
  -verbose
  $ offers 'vekinfo -lookup OWNER -v '
  -path
  -v
  -verbose

Values of the keyword that is added; an entry of one's own has any:

  $ offers 'vekinfo -addentry VEKLIBCHECK '
  OFF
  ON
  $ offers 'vekinfo -addentry NAMESPACE '
  LibraryNT
  LibraryUnix
  $ offers 'vekinfo -addentry dmtype m'
  mrev
  $ offers 'vekinfo -addentry VEKLIBRARY '
  $ offers 'vekinfo -addentry OWNER '
