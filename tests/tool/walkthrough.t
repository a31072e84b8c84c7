What `examples/walkthrough` shows of the sample project, a copy of which stands in `$TREE/copy/project`. Its
prompt is shown as `%` here:

  $ . "$TESTDIR/transcript.sh"
  $ "$TESTDIR/../../examples/walkthrough" vekinfo "$TREE/copy" 2>&1 | as_tree | sed 's/^\$ /% /'
  # In $TREE/copy/project, a copy of examples/project
  
  # What does the nearest tag file say? (-path may be left out: the working directory)
  % vekinfo -show -path adders/ripple
  A vekinfo.tag file exists at: $TREE/copy/project/adders/vekinfo.tag
  \tThere is a VEKLIBRARY entry. (esc)
  
  # An entry of the library is found from a cell in it ...
  % vekinfo -path adders/ripple/layout -lookup PROCESS
  vekinfo searching relative to 'adders/ripple/layout':
  $TREE/copy/project/adders/vekinfo.tag
      defines 'PROCESS n7'.
  
  # ... and one of the project is inherited by everything below, as far as no nearer file defines it.
  % vekinfo -path adders/ripple/layout -lookup OWNER DMTYPE namespace
  vekinfo searching relative to 'adders/ripple/layout':
  $TREE/copy/project/vekinfo.tag
      defines 'OWNER datapath-team'.
  $TREE/copy/project/vekinfo.tag
      defines 'DMTYPE none'.
  $TREE/copy/project/vekinfo.tag
      defines 'NAMESPACE libraryUnix'.
  
  # In which library does a directory lie?
  % vekinfo -path adders/carry/schematic -lookup veklibrary
  vekinfo searching relative to 'adders/carry/schematic':
  Info (vekinfo): Library checking is off, VEKLIBRARY entries will not be used.
  The vekinfo.tag file at: $TREE/copy/project/adders/vekinfo.tag
  has a VEKLIBRARY entry defined.
  
  # The library gets a data-management type of its own: the nearest file answers from now on.
  % vekinfo -path adders -addentry DMTYPE mrev
  % vekinfo -show -path adders
  A vekinfo.tag file exists at: $TREE/copy/project/adders/vekinfo.tag
  \tThere is a VEKLIBRARY entry. (esc)
  \tThe DMTYPE entry has a value of: mrev. (esc)
  % vekinfo -path adders/carry -lookup DMTYPE
  vekinfo searching relative to 'adders/carry':
  $TREE/copy/project/adders/vekinfo.tag
      defines 'DMTYPE mrev'.
  
  # Cleared again, the inherited value is back.
  % vekinfo -path adders -clearentry DMTYPE
  % vekinfo -show -path adders
  A vekinfo.tag file exists at: $TREE/copy/project/adders/vekinfo.tag
  \tThere is a VEKLIBRARY entry. (esc)
  % vekinfo -path adders/carry -lookup DMTYPE
  vekinfo searching relative to 'adders/carry':
  $TREE/copy/project/vekinfo.tag
      defines 'DMTYPE none'.
  
  # Which libraries of vek.lib lack what? The directory of one is defined twice: the last definition counts.
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
  
  # The message about the redefinition says how to do without it.
  % sed -i 's/^DEFINE  memories/UNDEFINE memories\n&/' vek.lib
  % cat vek.lib
  # The libraries of this project: a name and a directory each.
  DEFINE  adders       ./adders
  DEFINE  multipliers  ./multipliers    -- has no tag file yet
  INCLUDE ./shared/vek.lib
  UNDEFINE memories
  DEFINE  memories     ./memories       -- the project's own, instead of the shared one
  
  # What is missing is appended: here to the library without a tag file, whose dm.tag says "none".
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
  
  # In scratch/, another vek.lib gives every library a temporary directory, which is then what is looked at.
  % vekinfo -configurelibrary
  % find . -type f | sort
  ./adders/vekinfo.tag
  ./memories/vekinfo.tag
  ./multipliers/vekinfo.tag
  ./symbols/vekinfo.tag
  ./vek.lib
