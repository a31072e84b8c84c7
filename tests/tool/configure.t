`-configurelibrary` writes what is missing into the tag files of the libraries.

  $ . "$TESTDIR/transcript.sh"
  $ mkdir adders multipliers
  $ cat >vek.lib <<EOF
  > DEFINE adders adders
  > DEFINE multipliers multipliers
  > EOF

A library without a tag file gets one that contains only the entries:

  $ echo VEKLIBRARY >multipliers/vekinfo.tag
  $ vekinfo -configurelibrary
  $ as_tree <adders/vekinfo.tag
  # The next line was written by the
  # vekinfo -configurelibrary command.
  VEKLIBRARY
  #
  # Directory $TREE/adders is 
  # determined to be case sensitive, therefore
  # NAMESPACE is set to LibraryUnix
  NAMESPACE LibraryUnix
  $ cat multipliers/vekinfo.tag
  VEKLIBRARY
  $ ls adders multipliers
  adders:
  vekinfo.tag
  
  multipliers:
  vekinfo.tag

A second run changes nothing:

  $ cp adders/vekinfo.tag before
  $ stat -c '%y %i' adders/vekinfo.tag >stamp
  $ vekinfo -configurelibrary
  $ cmp before adders/vekinfo.tag
  $ stat -c '%y %i' adders/vekinfo.tag | diff stamp -

With -verbose, configured libraries are printed:

  $ rm adders/vekinfo.tag
  $ vekinfo -configurelibrary -verbose
  Library:adders at:$TREE/adders had no VEKLIBRARY vekinfo.tag entry.
  The library multipliers at $TREE/multipliers has a vekinfo.tag definition.
  $ vekinfo -configurelibrary -verbose
  The library adders at $TREE/adders has a vekinfo.tag definition.
  The library multipliers at $TREE/multipliers has a vekinfo.tag definition.

A `dm.tag` file whose first word is "none" becomes an entry:

  $ rm adders/vekinfo.tag
  $ echo 'none at all' >adders/dm.tag
  $ vekinfo -configurelibrary
  $ as_tree <adders/vekinfo.tag
  # The next line was written by the
  # vekinfo -configurelibrary command.
  VEKLIBRARY
  #
  # DMType is explicitly set to none here
  # because there was a dm.tag file with a
  # 'none' entry in it.
  DMTYPE none
  #
  # Directory $TREE/adders is 
  # determined to be case sensitive, therefore
  # NAMESPACE is set to LibraryUnix
  NAMESPACE LibraryUnix
  $ for text in None nonesuch '\nnone' 'mrev none'; do
  >     rm adders/vekinfo.tag
  >     printf "$text\n" >adders/dm.tag
  >     vekinfo -configurelibrary
  >     grep DMTYPE adders/vekinfo.tag
  > done
  [1]
  $ rm adders/dm.tag

A file system without letter case has its own namespace:

  $ rm adders/vekinfo.tag
  $ env LD_PRELOAD="$PRELOAD_FAULTS" VEK_TEST_CASELESS_DIR="$TREE/adders" vekinfo -configurelibrary
  $ as_tree <adders/vekinfo.tag
  # The next line was written by the
  # vekinfo -configurelibrary command.
  VEKLIBRARY
  #
  # Directory $TREE/adders is
  # determined to be NOT case sensitive, therefore
  # NAMESPACE is set to LibraryNT
  NAMESPACE LibraryNT
  $ vekinfo -configurelibrary
  Warning: Library adders at $TREE/adders has incorrect namespace in vekinfo.tag file

An existing file keeps its content. A newline is added after an incomplete last line:

  $ printf 'NAMESPACE LibraryNT\n; mine\nOWNER me' >adders/vekinfo.tag
  $ chmod 640 adders/vekinfo.tag
  $ ls -i adders/vekinfo.tag >inode
  $ vekinfo -configurelibrary
  $ as_tree <adders/vekinfo.tag
  NAMESPACE LibraryNT
  ; mine
  OWNER me
  # The next line was written by the
  # vekinfo -configurelibrary command.
  VEKLIBRARY
  #
  # Directory $TREE/adders is 
  # determined to be case sensitive, therefore
  # NAMESPACE is set to LibraryUnix
  NAMESPACE LibraryUnix
  $ ls -i adders/vekinfo.tag | diff inode -
  $ stat -c %a adders/vekinfo.tag
  640
  $ vekinfo -path adders -show
  A vekinfo.tag file exists at: $TREE/adders/vekinfo.tag
  \tThere is a VEKLIBRARY entry. (esc)
  \tThe NAMESPACE entry has a value of: libraryUnix. (esc)

Two names of one directory are one library:

  $ cat >>vek.lib <<EOF
  > DEFINE sums adders
  > EOF
  $ echo OWNER me >adders/vekinfo.tag
  $ vekinfo -configurelibrary -v
  Library:adders at:$TREE/adders had no VEKLIBRARY vekinfo.tag entry.
  The library multipliers at $TREE/multipliers has a vekinfo.tag definition.
  The library sums at $TREE/adders has a vekinfo.tag definition.
  Error at line 3 of $TREE/vek.lib 
  msg: "$TREE/adders"
  \terrstr:"Directory used multiple times" (esc)
  $ grep -c VEKLIBRARY adders/vekinfo.tag
  1

Redundant tag files are reported as by `-checklibrary`:

  $ printf 'DEFINE adders adders\nDEFINE multipliers multipliers\n' >vek.lib
  $ mkdir adders/cell
  $ touch adders/cell/vekinfo.tag
  $ vekinfo -configurelibrary
  There is a redundant vekinfo.tag file in the subdir: 
  \t$TREE/adders/cell (esc)

A library that cannot be written is an error, and is not scanned. The others are configured:

  $ rm adders/vekinfo.tag multipliers/vekinfo.tag
  $ chmod 555 adders
  $ chmod 777 multipliers
  $ unprivileged vekinfo -configurelibrary -v 2>&1 | as_tree
  Error (tov): 'access error' path not writable : $TREE/adders.
  
  Library:multipliers at:$TREE/multipliers had no VEKLIBRARY vekinfo.tag entry.
  $ chmod 755 adders multipliers
  $ ls adders
  cell
  $ printf 'DEFINE none no_such_directory\n' >vek.lib
  $ vekinfo -configurelibrary
  Error (tov): 'access error' path not writable : $TREE/no_such_directory.
  

A tag file that cannot be written is an error, too:

  $ printf 'DEFINE adders adders\n' >vek.lib
  $ echo OWNER me >adders/vekinfo.tag
  $ chmod 444 adders/vekinfo.tag
  $ chmod 777 adders
  $ unprivileged vekinfo -configurelibrary -v 2>&1 | as_tree
  Error (tov): 'system error' error opening for append : $TREE/adders/vekinfo.tag.
  
  $ cat adders/vekinfo.tag
  OWNER me
  $ rm adders/vekinfo.tag
  $ mkdir adders/vekinfo.tag
  $ vekinfo -configurelibrary -v
  Error (tov): 'system error' error opening for append : $TREE/adders/vekinfo.tag.
  
  $ rmdir adders/vekinfo.tag

A failing write keeps the old content:

  $ full() { env LD_PRELOAD="$PRELOAD_FAULTS" VEK_TEST_FAIL=write:1:ENOSPC vekinfo "$@" 2>&1 | as_tree; }
  $ full -configurelibrary -v
  Error (tov): 'system error' error opening for append : $TREE/adders/vekinfo.tag.
  
  $ ls adders
  cell
  $ printf 'OWNER me' >adders/vekinfo.tag
  $ full -configurelibrary -v
  Error (tov): 'system error' error opening for append : $TREE/adders/vekinfo.tag.
  
  $ cat adders/vekinfo.tag
  OWNER me (no-eol)

So does a write beyond the limit on file sizes:

  $ (ulimit -f 0; env vekinfo -configurelibrary 2>&1) | as_tree
  ERROR! can't determine file system case sensitivity on writable directory
  Error (tov): 'system error' error opening for append : $TREE/adders/vekinfo.tag.
  
  $ ls adders
  cell
  vekinfo.tag
  $ cat adders/vekinfo.tag
  OWNER me (no-eol)

If the case sensitivity cannot be determined, no namespace is written:

  $ rm adders/vekinfo.tag
  $ env LD_PRELOAD="$PRELOAD_FAULTS" VEK_TEST_FAIL=pwrite:1:ENOSPC vekinfo -configurelibrary 2>&1 | as_tree
  ERROR! can't determine file system case sensitivity on writable directory
  There is a redundant vekinfo.tag file in the subdir: 
  \t$TREE/adders/cell (esc)
  $ cat adders/vekinfo.tag
  # The next line was written by the
  # vekinfo -configurelibrary command.
  VEKLIBRARY

The temporary directory of a library is used instead of its directory:

  $ mkdir tmp
  $ printf 'DEFINE adders adders\nASSIGN AllLibs TmpRootDir tmp\n' >vek.lib
  $ vekinfo -configurelibrary -v
  Library:adders at:$TREE/tmp/adders had no VEKLIBRARY vekinfo.tag entry.
  $ ls tmp/adders
  vekinfo.tag

A block that would be a syntax error is reported and not appended. Here, the path in its comment contains a newline:

  $ odd=$(printf 'odd\nNAMESPACE x')
  $ mkdir "$odd"
  $ echo 'DEFINE odd $ODD' >vek.lib
  $ ODD="$TREE/$odd" vekinfo -configurelibrary
  Error (tov): 'syntax error' NAMESPACE line in vekinfo.tag file : $TREE/odd
  NAMESPACE x/vekinfo.tag.
  
  $ ls -A "$odd"
