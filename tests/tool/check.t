`-checklibrary` checks every library that the first `vek.lib` of the search list defines.

  $ . "$TESTDIR/transcript.sh"

Without a definition file, nothing is printed:

  $ vekinfo -checklibrary
  $ vekinfo -configurelibrary -verbose
  $ ls

With -verbose, libraries that have the entry are printed, others are not:

  $ mkdir -p adders/ripple multipliers
  $ printf 'VEKLIBRARY\nNAMESPACE LibraryUnix\n' >adders/vekinfo.tag
  $ cat >vek.lib <<EOF
  > # the libraries of this project
  > DEFINE adders ./adders
  > DEFINE multipliers multipliers -- no tag file yet
  > DEFINE missing ./no_such_directory
  > EOF
  $ vekinfo -checklibrary
  $ vekinfo -checklibrary -verbose
  The library adders at $TREE/adders has a vekinfo.tag definition.
  $ vekinfo -v -CheckLibrary -path /ignored
  The library adders at $TREE/adders has a vekinfo.tag definition.
  $ find adders multipliers no_such_directory
  adders
  adders/vekinfo.tag
  adders/ripple
  multipliers
  find: .no_such_directory.: No such file or directory (re)
  [1]

The namespace must match the file system. An unset one always matches:

  $ printf 'VEKLIBRARY\nNAMESPACE LibraryNT\n' >adders/vekinfo.tag
  $ vekinfo -checklibrary
  Warning: Library adders at $TREE/adders has incorrect namespace in vekinfo.tag file
  $ vekinfo -checklibrary -v
  The library adders at $TREE/adders has a vekinfo.tag definition.
  Warning: Library adders at $TREE/adders has incorrect namespace in vekinfo.tag file
  $ caseless() { env LD_PRELOAD="$PRELOAD_FAULTS" VEK_TEST_CASELESS_DIR="$TREE/adders" vekinfo "$@" 2>&1 | as_tree; }
  $ caseless -checklibrary
  $ printf 'VEKLIBRARY\nNAMESPACE LibraryUnix\n' >adders/vekinfo.tag
  $ caseless -checklibrary
  Warning: Library adders at $TREE/adders has incorrect namespace in vekinfo.tag file
  $ echo VEKLIBRARY >adders/vekinfo.tag
  $ caseless -checklibrary
  $ vekinfo -checklibrary

Tag files below a library are redundant, whether the library has its own or not:

  $ mkdir adders/ripple/layout
  $ touch adders/ripple/vekinfo.tag adders/ripple/layout/vekinfo.tag multipliers/Vekinfo.tag
  $ vekinfo -checklibrary
  There is a redundant vekinfo.tag file in the subdir: 
  \t$TREE/adders/ripple (esc)
  There is a redundant vekinfo.tag file in the subdir: 
  \t$TREE/adders/ripple/layout (esc)
  $ rm adders/vekinfo.tag adders/ripple/vekinfo.tag
  $ vekinfo -checklibrary
  There is a redundant vekinfo.tag file in the subdir: 
  \t$TREE/adders/ripple/layout (esc)

Links to directories are followed:

  $ mkdir shared
  $ touch shared/vekinfo.tag
  $ ln -s "$TREE/shared" multipliers/shared
  $ rm adders/ripple/layout/vekinfo.tag
  $ vekinfo -checklibrary
  There is a redundant vekinfo.tag file in the subdir: 
  \t$TREE/shared (esc)
  $ ln -sfn ../shared multipliers/shared
  $ vekinfo -checklibrary
  There is a redundant vekinfo.tag file in the subdir: 
  \t$TREE/multipliers/../shared (esc)
  $ rm multipliers/shared

A link that forms a cycle is reported, for every text of the link, and the scan continues:

  $ mkdir multipliers/tree
  $ touch multipliers/tree/vekinfo.tag
  $ for target in "$TREE" "$TREE/multipliers" .. . ../.. tree/..; do
  >     ln -sfn "$target" multipliers/back
  >     vekinfo -checklibrary 2>&1
  > done
  There is a redundant vekinfo.tag file in the subdir: 
  \t$TREE/multipliers/tree (esc)
  Error (tov): 'invalid path' there seems to be a linkloop : $TREE/multipliers.
  
  There is a redundant vekinfo.tag file in the subdir: 
  \t$TREE/multipliers/tree (esc)
  Error (tov): 'invalid path' there seems to be a linkloop : $TREE/multipliers.
  
  There is a redundant vekinfo.tag file in the subdir: 
  \t$TREE/multipliers/tree (esc)
  Error (tov): 'invalid path' there seems to be a linkloop : $TREE/multipliers.
  
  There is a redundant vekinfo.tag file in the subdir: 
  \t$TREE/multipliers/tree (esc)
  Error (tov): 'invalid path' there seems to be a linkloop : $TREE/multipliers.
  
  There is a redundant vekinfo.tag file in the subdir: 
  \t$TREE/multipliers/tree (esc)
  Error (tov): 'invalid path' there seems to be a linkloop : $TREE/multipliers.
  
  There is a redundant vekinfo.tag file in the subdir: 
  \t$TREE/multipliers/tree (esc)
  Error (tov): 'invalid path' there seems to be a linkloop : $TREE/multipliers.
  
  $ rm -r multipliers/*

Documented: a target whose text is a prefix of the directory's text counts as a cycle:

  $ mkdir mult
  $ ln -s "$TREE/mult" multipliers/other
  $ vekinfo -checklibrary
  Error (tov): 'invalid path' there seems to be a linkloop : $TREE/multipliers.
  
  $ rm multipliers/other

Links between two subtrees form a cycle, too:

  $ mkdir multipliers/a multipliers/b
  $ ln -s ../b multipliers/a/to_b
  $ ln -s ../a multipliers/b/to_a
  $ vekinfo -checklibrary 2>&1 | sort -u
  
  Error (tov): 'invalid path' there seems to be a linkloop : $TREE/multipliers/a/../b.
  Error (tov): 'invalid path' there seems to be a linkloop : $TREE/multipliers/b/../a.
  $ rm -r multipliers/*

A target that cannot be normalized is reported twice: by tovNormalizePath(), and with the link:

  $ mkdir '$NOWHERE'
  $ ln -s "$TREE/\$NOWHERE" multipliers/link
  $ vekinfo -checklibrary
  Error (tov): 'error while processing path' tovNormalizePath : $TREE/$NOWHERE.
  
  Error (tov): 'invalid path' $TREE/$NOWHERE : $TREE/multipliers/link.
  
  $ rm multipliers/link

Cyclic links are not directories. An unreadable directory is skipped:

  $ ln -s link multipliers/link
  $ mkdir multipliers/secret
  $ touch multipliers/secret/vekinfo.tag
  $ chmod 0 multipliers/secret
  $ unprivileged vekinfo -checklibrary
  $ chmod 755 multipliers/secret
  $ rm -r multipliers/*

A deep tree needs neither much stack nor many descriptors:

  $ (cd multipliers; for i in $(seq 300); do d=1/2/3/4/5/6/7/8/9/10; mkdir -p $d; cd -P $d; done; touch vekinfo.tag)
  $ (ulimit -n 16; ulimit -s 256; vekinfo -checklibrary)
  $ rm -r multipliers
  $ mkdir -p "multipliers/$(printf 'd/%.0s' $(seq 1900))"
  $ touch "multipliers/$(printf 'd/%.0s' $(seq 1900))vekinfo.tag"
  $ (ulimit -n 16; ulimit -s 256; vekinfo -checklibrary | sed 's|d/d/.*d/d|d...d|')
  There is a redundant vekinfo.tag file in the subdir: 
  \t$TREE/multipliers/d...d (esc)
  $ rm -r multipliers
  $ mkdir multipliers

Problems in the definition file are printed, and the other libraries are checked:

  $ cat >vek.lib <<EOF
  > DEFINE adders adders too
  > INCLUDE more.lib
  > DEFINE multipliers multipliers
  > DEFINE multipliers adders
  > EOF
  $ vekinfo -checklibrary
  Error at line 1 of $TREE/vek.lib 
  msg: "DEFINE adders adders too"
  \terrstr:"Syntax error" (esc)
  Error at line 2 of $TREE/vek.lib 
  msg: "$TREE/more.lib"
  \terrstr:"No such file" (esc)
  Error at line 4 of $TREE/vek.lib 
  msg: "library multipliers from $TREE/vek.lib line 4, redefines
      library multipliers from same file line 3 defined earlier."
  \terrstr:"Same file has different definitions for library" (esc)

If the definition file cannot be read, an error is printed, and the exit status is 0:

  $ chmod 0 vek.lib
  $ unprivileged vekinfo -checklibrary
  $ chmod 644 vek.lib
  $ env LD_PRELOAD="$PRELOAD_FAULTS" VEK_TEST_FAIL=open:1:EIO vekinfo -checklibrary 2>&1 | as_tree
  Error code 3 found for $TREE/vek.lib:
  \tSystem error (esc)

A library whose path is too long ends the run:

  $ long=$(printf "%0$((4094 - ${#TREE}))d" 0)
  $ mkdir -p before/cell after/cell
  $ touch before/cell/vekinfo.tag after/cell/vekinfo.tag
  $ printf 'DEFINE a before\nDEFINE b %s\nDEFINE c after\n' "$long" >vek.lib
  $ vekinfo -checklibrary
  There is a redundant vekinfo.tag file in the subdir: 
  \t$TREE/before/cell (esc)
  WARNING: Problem found in rynGetPath: Invalid path

Only the first definition file on the search list is used:

  $ mkdir "$TREE/other"
  $ echo 'DEFINE c ../after' >other/vek.lib
  $ echo 'DEFINE a before' >vek.lib
  $ VEK_WORKAREA=$TREE/other vekinfo -checklibrary
  There is a redundant vekinfo.tag file in the subdir: 
  \t$TREE/before/cell (esc)
  $ rm vek.lib
  $ VEK_WORKAREA=$TREE/other vekinfo -checklibrary
  There is a redundant vekinfo.tag file in the subdir: 
  \t$TREE/after/cell (esc)
