`entry-of` prints the value of one entry.

  $ . "$TESTDIR/../tool/transcript.sh"
  $ cp -R "$TESTDIR/../../examples/project" .
  $ cd project
  $ entry_of() { shown "$TESTDIR/../../examples/entry-of" "$@"; }

  $ entry_of adders/ripple/layout PROCESS
  n7
  $ entry_of adders/ripple dmtype
  none
  $ process=$(entry_of adders/ripple PROCESS) && echo "$process"
  n7

An entry that no tag file defines:

  $ entry_of memories PROCESS
  [1]

NAMESPACE has a default:

  $ cd "$TREE"
  $ entry_of . NAMESPACE
  libraryUnix

Values and paths are data, whatever characters they have:

  $ mkdir "a'b "
  $ printf "QUOTED it's.'\nGLOB *\nBACK \\\\1\n" >"a'b /vekinfo.tag"
  $ entry_of "a'b " QUOTED
  it's.'
  $ entry_of "a'b " GLOB
  *
  $ entry_of "a'b " BACK
  \1
  $ mkdir "new
  > line"
  $ echo 'A one' >"new
  > line/vekinfo.tag"
  $ entry_of "new
  > line" A
  one

More than one name is a usage error:

  $ entry_of project PROCESS OWNER
  usage: entry-of PATH NAME
  [2]

Entries without a value, or of the working directory, are usage errors; so are options:

  $ entry_of project/adders VekLibrary
  usage: entry-of PATH NAME
  [2]
  $ entry_of project VEKLIBCHECK
  usage: entry-of PATH NAME
  [2]
  $ entry_of -v A
  usage: entry-of PATH NAME
  [2]
  $ entry_of project -v
  usage: entry-of PATH NAME
  [2]
  $ entry_of
  usage: entry-of PATH NAME
  [2]

A path that does not exist is an error of vekinfo, and the entry is not found:

  $ entry_of /no/such A
  Error (tov): 'error while processing path' tovNormalizePathSorta : /no/such.
  
  [1]

Without vekinfo:

  $ PATH=/usr/bin:/bin "$TESTDIR/../../examples/entry-of" project OWNER 2>/dev/null
  [2]
