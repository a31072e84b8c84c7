`-show` prints what the nearest tag file says.

  $ . "$TESTDIR/transcript.sh"

Without a tag file, nothing is shown:

  $ vekinfo -show
  Info (vekinfo): could not find vekinfo.tag file.
  [1]

  $ mkdir -p proj/lib/cell/view
  $ cat >proj/lib/vekinfo.tag <<EOF
  > # our library
  > VEKLIBRARY
  > VEKLIBCHECK on
  > DMTYPE Mrev
  > NAMESPACE LIBRARYNT
  > OWNER datapath-team
  > EOF
  $ vekinfo -path proj/lib -show
  A vekinfo.tag file exists at: $TREE/proj/lib/vekinfo.tag
  \tThere is a VEKLIBRARY entry. (esc)
  \tThe VEKLIBCHECK entry has a value of: ON. (esc)
  \tThe DMTYPE entry has a value of: Mrev. (esc)
  \tThe NAMESPACE entry has a value of: libraryNt. (esc)

The directories above are searched, the operand may stand on either side of the action, and the working
directory counts without one:

  $ vekinfo -show -path proj/lib/cell/view | head -n 1
  A vekinfo.tag file exists at: $TREE/proj/lib/vekinfo.tag
  $ vekinfo -PATH "$TREE/proj/lib/cell" -SHOW -verbose | head -n 1
  A vekinfo.tag file exists at: $TREE/proj/lib/vekinfo.tag
  $ cd proj/lib/cell
  $ vekinfo -show | head -n 1
  A vekinfo.tag file exists at: $TREE/proj/lib/vekinfo.tag
  $ cd "$TREE"

Only keywords that are set are printed. Application entries are not:

  $ mkdir app few
  $ printf 'OWNER datapath-team\nCOLOR red\n' >app/vekinfo.tag
  $ vekinfo -show -path app
  A vekinfo.tag file exists at: $TREE/app/vekinfo.tag
  $ printf 'NAMESPACE libraryunix\nVEKLIBCHECK OFF\n' >few/vekinfo.tag
  $ vekinfo -show -path few
  A vekinfo.tag file exists at: $TREE/few/vekinfo.tag
  \tThe VEKLIBCHECK entry has a value of: OFF. (esc)
  \tThe NAMESPACE entry has a value of: libraryUnix. (esc)

The path is used without cleaning, and variables in it are replaced:

  $ vekinfo -show -path app/
  A vekinfo.tag file exists at: $TREE/app//vekinfo.tag
  $ WHERE=app vekinfo -show -path './$WHERE'
  A vekinfo.tag file exists at: $TREE/./app/vekinfo.tag

Links are not followed upward:

  $ ln -s "$TREE/proj/lib/cell" app/link
  $ vekinfo -show -path app/link/view
  A vekinfo.tag file exists at: $TREE/app/vekinfo.tag

A file with a syntax error is reported and not shown. The exit status is 0, because it exists:

  $ mkdir bad
  $ printf 'OWNER datapath-team\nVEKLIBRARY yes\n' >bad/vekinfo.tag
  $ vekinfo -show -path bad
  Info (vekinfo): could not find vekinfo.tag file.
  Error (tov): 'syntax error' VEKLIBRARY line in vekinfo.tag file : $TREE/bad/vekinfo.tag line 2.
  

A path that does not exist is an error:

  $ vekinfo -show -path none
  Info (vekinfo): could not find vekinfo.tag file.
  Error (tov): 'error while processing path' tovNormalizePath : none.
  
  Error (tov): 'invalid path' none.
  
  [1]
