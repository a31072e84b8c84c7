`list_libraries` lists the libraries of the first `vek.lib` on the search list.

  $ . "$TESTDIR/../tool/transcript.sh"
  $ cp -R "$TESTDIR/../../examples/project" .
  $ cd project

Each library with its directory, namespace and DM type, in the order of definition. Diagnostics are printed, and do
not prevent the list:

  $ shown list_libraries
  adders
      directory  $TREE/project/adders
      namespace  LibraryUnix
      DM type    none
  multipliers
      directory  $TREE/project/multipliers
      namespace  LibraryUnix
      DM type    none
  symbols
      directory  $TREE/project/shared/symbols
      namespace  LibraryNT
      DM type    none
  memories
      directory  $TREE/project/memories
      namespace  LibraryUnix
      DM type    none
  $TREE/project/vek.lib:5: Library redefined: library memories defined in $TREE/project/vek.lib at line 5, redefines
      library memories defined in $TREE/project/shared/vek.lib at line 3.
  Insert UNDEFINE memories
  before DEFINE memories on line 5
      of $TREE/project/vek.lib
  Or remove or comment out DEFINE memories on line 3
      of $TREE/project/shared/vek.lib
  to suppress this warning message.

The tag file of a library applies to it; that of the project applies to all others:

  $ vekinfo -path adders -addentry DMTYPE mrev
  $ vekinfo -path . -clearentry DMTYPE
  $ shown list_libraries 2>/dev/null | grep -B 3 'DM type'
  adders
      directory  $TREE/project/adders
      namespace  LibraryUnix
      DM type    mrev
  multipliers
      directory  $TREE/project/multipliers
      namespace  LibraryUnix
      DM type    (not set)
  symbols
      directory  $TREE/project/shared/symbols
      namespace  LibraryNT
      DM type    (not set)
  memories
      directory  $TREE/project/memories
      namespace  LibraryUnix
      DM type    (not set)

The directory is the library's own, not its temporary directory, and can be missing:

  $ cd scratch
  $ rm -r ../multipliers
  $ shown list_libraries 2>/dev/null | head -n 6
  adders
      directory  $TREE/project/adders
      namespace  LibraryUnix
      DM type    mrev
  multipliers
      directory  $TREE/project/multipliers (missing)

`vek.lib` is found along the search list; without one, there is an error:

  $ mkdir "$TREE/elsewhere"
  $ cd "$TREE/elsewhere"
  $ shown list_libraries
  list_libraries: vek.lib: File not found
  [1]
  $ export VEK_WORKAREA="$TREE/project/shared"
  $ shown list_libraries
  symbols
      directory  $TREE/project/shared/symbols
      namespace  LibraryNT
      DM type    (not set)
  memories
      directory  $TREE/project/shared/memories
      namespace  LibraryUnix
      DM type    (not set)

A directory with the name `vek.lib` is read as an empty file; a file without problems gives no messages:

  $ cd "$TREE"
  $ unset VEK_WORKAREA
  $ mkdir vek.lib
  $ shown list_libraries
  $ rmdir vek.lib
  $ printf 'DEFINE project project\n' >vek.lib
  $ shown list_libraries
  project
      directory  $TREE/project
      namespace  LibraryUnix
      DM type    (not set)
