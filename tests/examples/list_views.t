`list_views` lists the cells and views of a library, also those in its temporary directories.

  $ . "$TESTDIR/../tool/transcript.sh"
  $ cp -R "$TESTDIR/../../examples/project" .
  $ cd project
  $ shown list_views memories
  sram
      layout: $TREE/project/memories/sram/layout

Without temporary directories (cells and views have no order):

  $ shown list_views adders | LC_ALL=C sort
      layout: $TREE/project/adders/ripple/layout
      schematic: $TREE/project/adders/carry/schematic
      schematic: $TREE/project/adders/ripple/schematic
  carry
  ripple

The `vek.lib` in `scratch` gives each library a temporary directory. A view is listed once; its path is in the temporary
directory if that contains it:

  $ mkdir -p scratch/adders/ripple/extracted scratch/adders/ripple/layout scratch/adders/select/schematic
  $ cd scratch
  $ shown list_views adders | LC_ALL=C sort
      extracted: $TREE/project/scratch/adders/ripple/extracted
      layout: $TREE/project/scratch/adders/ripple/layout
      schematic: $TREE/project/adders/carry/schematic
      schematic: $TREE/project/adders/ripple/schematic
      schematic: $TREE/project/scratch/adders/select/schematic
  carry
  ripple
  select

Errors:

  $ shown list_views divider
  list_views: divider: Library not defined
  [1]
  $ cd "$TREE"
  $ shown list_views adders
  list_views: vek.lib: VEK.LIB file not found
  [1]
  $ shown list_views
  usage: list_views LIBRARY
  [2]
