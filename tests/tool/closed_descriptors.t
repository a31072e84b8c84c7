Standard input, output or error may be closed: no text goes into a file that is opened meanwhile.

  $ . "$TESTDIR/transcript.sh"
  $ mkdir adders adders/cell
  $ echo 'DEFINE adders adders' >vek.lib
  $ touch adders/cell/vekinfo.tag
  $ configure() {
  >     rm -f adders/vekinfo.tag
  >     env LD_PRELOAD="$PRELOAD_FAULTS" VEK_TEST_FAIL=pwrite:1:ENOSPC vekinfo -configurelibrary -v
  > }

The case probe fails while the tag file is open. With every descriptor open, that is reported:

  $ configure 2>&1 | as_tree
  ERROR! can't determine file system case sensitivity on writable directory
  Library:adders at:$TREE/adders had no VEKLIBRARY vekinfo.tag entry.
  There is a redundant vekinfo.tag file in the subdir: 
  \t$TREE/adders/cell (esc)
  $ cp adders/vekinfo.tag wanted
  $ cat wanted
  # The next line was written by the
  # vekinfo -configurelibrary command.
  VEKLIBRARY

Without standard error the report is lost, and the tag file is the same:

  $ configure 2>&- | as_tree
  Library:adders at:$TREE/adders had no VEKLIBRARY vekinfo.tag entry.
  There is a redundant vekinfo.tag file in the subdir: 
  \t$TREE/adders/cell (esc)
  $ cmp wanted adders/vekinfo.tag

Without standard input nothing changes:

  $ configure 2>&1 <&- | as_tree
  ERROR! can't determine file system case sensitivity on writable directory
  Library:adders at:$TREE/adders had no VEKLIBRARY vekinfo.tag entry.
  There is a redundant vekinfo.tag file in the subdir: 
  \t$TREE/adders/cell (esc)
  $ cmp wanted adders/vekinfo.tag

Without standard output, or without all three:

  $ configure >&-
  ERROR! can't determine file system case sensitivity on writable directory
  $ cmp wanted adders/vekinfo.tag
  $ configure <&- >&- 2>&-
  $ cmp wanted adders/vekinfo.tag
  $ ls adders
  cell
  vekinfo.tag

Other actions work as well. Their exit status does not depend on standard output:

  $ command vekinfo -path adders -show >&-
  $ command vekinfo -path adders -addentry DMTYPE mrev <&- >&- 2>&-
  $ command vekinfo -path adders -lookup DMTYPE <&- 2>&- | tail -n 1
      defines 'DMTYPE mrev'.
  $ command vekinfo -no-such-option >&-
  [1]

If a closed descriptor cannot be opened, nothing is done:

  $ cp wanted adders/vekinfo.tag
  $ env LD_PRELOAD="$PRELOAD_FAULTS" VEK_TEST_FAIL=open:1:EMFILE vekinfo -path adders -addentry DMTYPE pkm <&-
  ERROR! can't open the standard descriptors
  [1]
  $ cmp wanted adders/vekinfo.tag
