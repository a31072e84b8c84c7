`-lookup` prints the values of entries.

  $ . "$TESTDIR/transcript.sh"
  $ mkdir -p lib/cell
  $ cat >lib/vekinfo.tag <<EOF
  > VEKLIBRARY
  > DMTYPE none
  > NAMESPACE LibraryNT
  > FOO 1
  > EOF

  $ vekinfo -path lib/cell -lookup DMTYPE
  vekinfo searching relative to 'lib/cell':
  $TREE/lib/vekinfo.tag
      defines 'DMTYPE none'.

Names are compared without case. Keywords are printed in upper case, other names as given:

  $ vekinfo -path lib/cell -lookup dmtype NameSpace
  vekinfo searching relative to 'lib/cell':
  $TREE/lib/vekinfo.tag
      defines 'DMTYPE none'.
  $TREE/lib/vekinfo.tag
      defines 'NAMESPACE libraryNt'.
  $ vekinfo -path lib -lookup Foo
  vekinfo searching relative to 'lib':
  $TREE/lib/vekinfo.tag
      defines 'Foo 1'.

Without `-path`, the working directory is used:

  $ cd lib
  $ vekinfo -lookup DMTYPE -v
  vekinfo searching relative to '$TREE/lib':
  $TREE/lib/vekinfo.tag
      defines 'DMTYPE none'.
  $ cd ..

An entry that no file defines is reported on standard output. The exit status is 0:

  $ vekinfo -lookup DMTYPE Foo
  vekinfo searching relative to '$TREE':
  Info (vekinfo): could not locate an entry for 'DMTYPE' in any vekinfo.tag file.
  Info (vekinfo): could not locate an entry for 'Foo' in any vekinfo.tag file.

The namespace has a default, which no file defines:

  $ vekinfo -lookup namespace
  vekinfo searching relative to '$TREE':
  
      defines 'NAMESPACE libraryUnix'.

The library entry, and the setting that says whether libraries are checked:

  $ vekinfo -path lib/cell -lookup veklibrary
  vekinfo searching relative to 'lib/cell':
  Info (vekinfo): Library checking is off, VEKLIBRARY entries will not be used.
  The vekinfo.tag file at: $TREE/lib/vekinfo.tag
  has a VEKLIBRARY entry defined.
  $ vekinfo -path . -lookup veklibrary veklibcheck
  vekinfo searching relative to '.':
  Info (vekinfo): Library checking is off, VEKLIBRARY entries will not be used.
  No VEKLIBRARY entry was found in any location relative to
  ..
  VEKLIBCHECK is not defined. It is OFF by default.
  $ echo 'VEKLIBCHECK on' >vekinfo.tag
  $ vekinfo -path lib -lookup veklibrary veklibcheck
  vekinfo searching relative to 'lib':
  The vekinfo.tag file at: $TREE/lib/vekinfo.tag
  has a VEKLIBRARY entry defined.
  $TREE/vekinfo.tag
      defines 'VEKLIBCHECK ON'.

The library check is looked up from the working directory, whatever the path:

  $ mkdir off
  $ echo 'VEKLIBCHECK OFF' >off/vekinfo.tag
  $ vekinfo -path off -lookup VekLibCheck
  vekinfo searching relative to 'off':
  $TREE/vekinfo.tag
      defines 'VEKLIBCHECK ON'.
  $ cd off
  $ vekinfo -path "$TREE" -lookup VekLibCheck
  vekinfo searching relative to '$TREE':
  $TREE/off/vekinfo.tag
      defines 'VEKLIBCHECK OFF'.
  $ cd ..
  $ rm vekinfo.tag

If a file has an entry twice, the first one is used. The value is the first word:

  $ mkdir twice
  $ printf 'A one two three\nA four\n' >twice/vekinfo.tag
  $ vekinfo -path twice -lookup A
  vekinfo searching relative to 'twice':
  $TREE/twice/vekinfo.tag
      defines 'A one'.

If the path does not exist, its nearest existing parent is used:

  $ vekinfo -path lib/none/deeper -lookup DMTYPE
  vekinfo searching relative to 'lib/none/deeper':
  $TREE/lib/vekinfo.tag
      defines 'DMTYPE none'.

If it has no existing parent, this is an error:

  $ vekinfo -path /no/such/dir -lookup DMTYPE
  vekinfo searching relative to '/no/such/dir':
  Info (vekinfo): could not locate an entry for 'DMTYPE' in any vekinfo.tag file.
  Error (tov): 'error while processing path' tovNormalizePathSorta : /no/such/dir.
  

Documented: the lookup of VEKLIBRARY for such a path never ends:

  $ timeout 10 vekinfo -path /no/such/dir -lookup veklibrary 2>/dev/null | head -n 4
  vekinfo searching relative to '/no/such/dir':
  Info (vekinfo): Library checking is off, VEKLIBRARY entries will not be used.
  Info (vekinfo): Library checking is off, VEKLIBRARY entries will not be used.
  Info (vekinfo): Library checking is off, VEKLIBRARY entries will not be used.
  $ timeout 10 vekinfo -path /no/such/dir -lookup veklibrary 2>&1 >/dev/null | head -n 6
  Error (tov): 'error while processing path' tovNormalizePath : /no/such/dir.
  
  Error (tov): 'invalid path' /no/such/dir.
  
  Error (tov): 'error while processing path' tovNormalizePath : /no/such/dir.
  
