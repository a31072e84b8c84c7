The output of `examples/walkthrough`, with a copy of the sample project in `$TREE/copy/project`. Its
prompt is shown as `%` here:

  $ . "$TESTDIR/transcript.sh"
  $ "$TESTDIR/../../examples/walkthrough" vekinfo "$TREE/copy" 2>&1 | as_tree | sed 's/^\$ /% /'
  # In $TREE/copy/project, a copy of examples/project
  
  # Show the keywords of the nearest tag file. (Without -path: nearest to the working directory.)
  % vekinfo -show -path adders/ripple
  A vekinfo.tag file exists at: $TREE/copy/project/adders/vekinfo.tag
  \tThere is a VEKLIBRARY entry. (esc)
  
  # Look up an entry of the library for a view in it ...
  % vekinfo -path adders/ripple/layout -lookup PROCESS
  vekinfo searching relative to 'adders/ripple/layout':
  $TREE/copy/project/adders/vekinfo.tag
      defines 'PROCESS n7'.
  
  # ... and entries of the project, which apply to everything below, unless a nearer file defines them.
  % vekinfo -path adders/ripple/layout -lookup OWNER DMTYPE namespace
  vekinfo searching relative to 'adders/ripple/layout':
  $TREE/copy/project/vekinfo.tag
      defines 'OWNER datapath-team'.
  $TREE/copy/project/vekinfo.tag
      defines 'DMTYPE none'.
  $TREE/copy/project/vekinfo.tag
      defines 'NAMESPACE libraryUnix'.
  
  # Find the library that contains a directory.
  % vekinfo -path adders/carry/schematic -lookup veklibrary
  vekinfo searching relative to 'adders/carry/schematic':
  Info (vekinfo): Library checking is off, VEKLIBRARY entries will not be used.
  The vekinfo.tag file at: $TREE/copy/project/adders/vekinfo.tag
  has a VEKLIBRARY entry defined.
  
  # Set a data-management type for the library. Lookups now find it in the nearest file.
  % vekinfo -path adders -addentry DMTYPE mrev
  % vekinfo -show -path adders
  A vekinfo.tag file exists at: $TREE/copy/project/adders/vekinfo.tag
  \tThere is a VEKLIBRARY entry. (esc)
  \tThe DMTYPE entry has a value of: mrev. (esc)
  % vekinfo -path adders/carry -lookup DMTYPE
  vekinfo searching relative to 'adders/carry':
  $TREE/copy/project/adders/vekinfo.tag
      defines 'DMTYPE mrev'.
  
  # Clear it again. Lookups find the value of the project.
  % vekinfo -path adders -clearentry DMTYPE
  % vekinfo -show -path adders
  A vekinfo.tag file exists at: $TREE/copy/project/adders/vekinfo.tag
  \tThere is a VEKLIBRARY entry. (esc)
  % vekinfo -path adders/carry -lookup DMTYPE
  vekinfo searching relative to 'adders/carry':
  $TREE/copy/project/vekinfo.tag
      defines 'DMTYPE none'.
  
  # Check all libraries of vek.lib. One of them is defined twice: the last definition applies.
  % vekinfo -checklibrary -verbose
  Error at line 5 of $TREE/copy/project/vek.lib 
  msg: "library memories defined in $TREE/copy/project/vek.lib at line 5, redefines
      library memories defined in $TREE/copy/project/shared/vek.lib at line 3.
  Insert UNDEFINE memories
  before DEFINE memories on line 5
      of $TREE/copy/project/vek.lib
  Or remove or comment out DEFINE memories on line 3
      of $TREE/copy/project/shared/vek.lib
  to suppress this warning message."
  \terrstr:"Library redefined" (esc)
  The library adders at $TREE/copy/project/adders has a vekinfo.tag definition.
  The library symbols at $TREE/copy/project/shared/symbols has a vekinfo.tag definition.
  Warning: Library symbols at $TREE/copy/project/shared/symbols has incorrect namespace in vekinfo.tag file
  There is a redundant vekinfo.tag file in the subdir: 
  \t$TREE/copy/project/shared/symbols/gates (esc)
  The library memories at $TREE/copy/project/memories has a vekinfo.tag definition.
  
  # Change vek.lib as the message about the redefinition says.
  % sed -i 's/^DEFINE  memories/UNDEFINE memories\n&/' vek.lib
  % cat vek.lib
  # The libraries of this project: a name and a directory each.
  DEFINE  adders       ./adders
  DEFINE  multipliers  ./multipliers    -- has no tag file yet
  INCLUDE ./shared/vek.lib
  UNDEFINE memories
  DEFINE  memories     ./memories       -- the project's own, instead of the shared one
  
  # Append missing entries: here for the library without a tag file, whose dm.tag contains "none".
  % vekinfo -configurelibrary -verbose
  The library adders at $TREE/copy/project/adders has a vekinfo.tag definition.
  Library:multipliers at:$TREE/copy/project/multipliers had no VEKLIBRARY vekinfo.tag entry.
  The library symbols at $TREE/copy/project/shared/symbols has a vekinfo.tag definition.
  Warning: Library symbols at $TREE/copy/project/shared/symbols has incorrect namespace in vekinfo.tag file
  There is a redundant vekinfo.tag file in the subdir: 
  \t$TREE/copy/project/shared/symbols/gates (esc)
  The library memories at $TREE/copy/project/memories has a vekinfo.tag definition.
  % cat multipliers/vekinfo.tag
  # The next line was written by the
  # vekinfo -configurelibrary command.
  VEKLIBRARY
  #
  # DMType is explicitly set to none here
  # because there was a dm.tag file with a
  # 'none' entry in it.
  DMTYPE none
  #
  # Directory $TREE/copy/project/multipliers is 
  # determined to be case sensitive, therefore
  # NAMESPACE is set to LibraryUnix
  NAMESPACE LibraryUnix
  
  # In scratch/, another vek.lib gives every library a temporary directory, which is then configured.
  % vekinfo -configurelibrary
  % find . -type f | sort
  ./adders/vekinfo.tag
  ./memories/vekinfo.tag
  ./multipliers/vekinfo.tag
  ./symbols/vekinfo.tag
  ./vek.lib
