`where_to_write` prints the path that a tool writes a file to, and creates the directories of cell and view.

  $ . "$TESTDIR/../tool/transcript.sh"
  $ cp -R "$TESTDIR/../../examples/project" .
  $ cd project

A library without a temporary directory: its own directory.

  $ shown where_to_write memories sram abstract pins.txt
  $TREE/project/memories/sram/abstract/pins.txt
  $ ls memories/sram
  abstract
  layout

With a global temporary root:

  $ cd scratch
  $ shown where_to_write adders ripple layout layout.txt
  $TREE/project/scratch/adders/ripple/layout/layout.txt
  $ find adders | LC_ALL=C sort
  adders
  adders/ripple
  adders/ripple/layout

With an implicit temporary directory, which is used first:

  $ export SCRATCH="$TREE/scratch"
  $ shown where_to_write adders ripple layout layout.txt
  $TREE/scratch/adders/ripple/layout/layout.txt
  $ find "$SCRATCH" | LC_ALL=C sort | as_tree
  $TREE/scratch
  $TREE/scratch/adders
  $TREE/scratch/adders/ripple
  $TREE/scratch/adders/ripple/layout

Errors:

  $ SCRATCH=/proc/none shown where_to_write adders ripple layout layout.txt
  Error (vekBuildDirPath): mkdir call failed.
  
  where_to_write: /proc/none: System error
  [1]
  $ unset SCRATCH
  $ shown where_to_write divider ripple layout layout.txt
  where_to_write: divider: Library not defined
  [1]
  $ shown where_to_write adders
  usage: where_to_write LIBRARY CELL VIEW FILE
  [2]
  $ cd "$TREE"
  $ cp -R project readonly && chmod -R a-w readonly && cd readonly
  $ unprivileged "$(command -v where_to_write)" adders ripple extracted net.txt
  where_to_write: adders: Permission denied on library
  [1]
