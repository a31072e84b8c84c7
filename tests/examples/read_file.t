`read_file` prints a file of a view through the file-system layer.

  $ . "$TESTDIR/../tool/transcript.sh"
  $ cp -R "$TESTDIR/../../examples/project" .
  $ cd project
  $ shown read_file adders ripple layout layout.txt
  $TREE/project/adders/ripple/layout/layout.txt: 20 bytes
     1  ripple adder, drawn

Lines of any length, and a last line without a newline:

  $ { printf 'first\n\n'; head -c 600 /dev/zero | tr '\0' x; printf '\nlast'; } >memories/sram/layout/long
  $ shown read_file memories sram layout long | sed 's/x\{600\}$/600 x/'
  $TREE/project/memories/sram/layout/long: 612 bytes
     1  first
     2  
     3  600 x
     4  last (no-eol)

The file in the temporary directory, if there is one:

  $ mkdir -p scratch/adders/ripple/layout
  $ echo changed >scratch/adders/ripple/layout/layout.txt
  $ cd scratch
  $ shown read_file adders ripple layout layout.txt
  $TREE/project/scratch/adders/ripple/layout/layout.txt: 8 bytes
     1  changed
  $ shown read_file adders ripple schematic schematic.txt
  $TREE/project/adders/ripple/schematic/schematic.txt: 23 bytes
     1  ripple adder, sketched

Errors:

  $ shown read_file adders ripple layout none
  read_file: none: No such file
  [1]
  $ shown read_file adders none layout none
  read_file: none: No such cell
  [1]
  $ mkdir ../adders/ripple/layout/directory.d
  $ shown read_file adders ripple layout directory.d >/dev/null
  read_file: $TREE/project/adders/ripple/layout/directory.d: Operation returned bad status
  [1]
  $ shown read_file
  usage: read_file LIBRARY CELL VIEW FILE
  [2]
