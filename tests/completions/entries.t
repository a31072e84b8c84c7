Completion offers the keywords of tag files, their values, and application entries.

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

Application entries of the nearest tag file, at or above the path, for the first name after -lookup only: after another
name, the search for an application entry can end at the wrong file.

  $ cp -R "$TESTDIR/../../examples/project" project
  $ cd project
  $ offers 'vekinfo -lookup '
  DMTYPE
  NAMESPACE
  OWNER
  VEKLIBCHECK
  VEKLIBRARY
  $ offers 'vekinfo -path adders/ripple/none -lookup p'
  PROCESS
  $ offers "vekinfo -path $TREE/project/adders/ -LOOKUP owner"
  $ offers 'vekinfo -path memories -path adders -lookup p'
  PROCESS
  $ offers 'vekinfo -path memories -lookup proc'
  $ offers 'vekinfo -lookup OWNER owner'
  $ offers 'vekinfo -addentry owner'
  $ offers 'vekinfo -clearentry owner'

Names are those that vekinfo reads: without comments, each once in its first spelling:

  $ mkdir "$TREE/two words"
  $ cd "$TREE/two words"
  $ cat >vekinfo.tag <<'END'
  > # ONE 1
  >   TWO-WAY 2 -- THREE 3
  > 	FOUR:4	4
  > two-way 22
  > ; FIVE 5
  > dmtype none
  > SEVEN
  > -- EIGHT 8
  > END
  $ offers 'vekinfo -lookup '
  DMTYPE
  FOUR:4
  NAMESPACE
  SEVEN
  TWO-WAY
  VEKLIBCHECK
  VEKLIBRARY
  $ cd "$TREE"

Several names, and then options:

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

Values of the keyword that is added; an application entry has any:

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
