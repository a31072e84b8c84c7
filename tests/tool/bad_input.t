Invalid tag files and other unusual input.

  $ . "$TESTDIR/transcript.sh"
  $ mkdir nul eof dir pipe null loop long crlf

A NUL byte ends its line; the next line is parsed, even without a newline at the end:

  $ printf 'A 1\000 junk\n\000B 2\n\377\376 \200\nC 3' >nul/vekinfo.tag
  $ vekinfo -path nul -lookup A
  vekinfo searching relative to 'nul':
  $TREE/nul/vekinfo.tag
      defines 'A 1'.
  $ vekinfo -path nul -lookup B
  vekinfo searching relative to 'nul':
  Info (vekinfo): could not locate an entry for 'B' in any vekinfo.tag file.
  $ vekinfo -path nul -lookup C
  vekinfo searching relative to 'nul':
  $TREE/nul/vekinfo.tag
      defines 'C 3'.

An executable file is parsed without an error:

  $ cp /bin/sh eof/vekinfo.tag
  $ vekinfo -path eof -show
  A vekinfo.tag file exists at: $TREE/eof/vekinfo.tag

Line ends of other systems:

  $ printf 'VEKLIBRARY\r\nDMTYPE x\r\nA\r\n' >crlf/vekinfo.tag
  $ vekinfo -path crlf -show
  A vekinfo.tag file exists at: $TREE/crlf/vekinfo.tag
  \tThere is a VEKLIBRARY entry. (esc)
  \tThe DMTYPE entry has a value of: x. (esc)

Directories, pipes and devices have no content. A pipe is opened without waiting:

  $ mkdir dir/vekinfo.tag
  $ mkfifo pipe/vekinfo.tag
  $ ln -s /dev/null null/vekinfo.tag
  $ for kind in dir pipe null; do
  >     timeout 10 vekinfo -path $kind -show 2>&1 | as_tree
  >     timeout 10 vekinfo -path $kind -lookup A 2>&1 | as_tree
  > done
  A vekinfo.tag file exists at: $TREE/dir/vekinfo.tag
  vekinfo searching relative to 'dir':
  Info (vekinfo): could not locate an entry for 'A' in any vekinfo.tag file.
  A vekinfo.tag file exists at: $TREE/pipe/vekinfo.tag
  vekinfo searching relative to 'pipe':
  Info (vekinfo): could not locate an entry for 'A' in any vekinfo.tag file.
  A vekinfo.tag file exists at: $TREE/null/vekinfo.tag
  vekinfo searching relative to 'null':
  Info (vekinfo): could not locate an entry for 'A' in any vekinfo.tag file.

They are not written:

  $ timeout 10 vekinfo -path dir -clearentry A
  Error (tov): 'system error' opening for write : dir.
  
  [1]
  $ timeout 10 vekinfo -path pipe -clearentry A
  Error (tov): 'system error' opening for write : pipe.
  
  [1]

A cycle of links is neither a file nor a directory:

  $ ln -s vekinfo.tag loop/vekinfo.tag
  $ ln -s other loop/one && ln -s one loop/other
  $ vekinfo -path loop -lookup A
  vekinfo searching relative to 'loop':
  Info (vekinfo): could not locate an entry for 'A' in any vekinfo.tag file.
  $ vekinfo -path loop -addentry A 1
  Error (tov): 'system error' opening for write : loop.
  
  [1]
  $ vekinfo -path loop/one -show
  Info (vekinfo): could not find vekinfo.tag file.
  Error (tov): 'error while processing path' tovNormalizePath : loop/one.
  
  Error (tov): 'invalid path' loop/one.
  
  [1]

A file without read permission is an error where it is found:

  $ mkdir -p secret/inner
  $ echo 'A 1' >secret/vekinfo.tag
  $ chmod 200 secret/vekinfo.tag
  $ unprivileged vekinfo -path secret/inner -lookup A 2>/dev/null | as_tree
  vekinfo searching relative to 'secret/inner':
  Info (vekinfo): could not locate an entry for 'A' in any vekinfo.tag file.
  $ unprivileged vekinfo -path secret/inner -lookup A 2>&1 >/dev/null | as_tree
  Error (tov): 'system error' while opening vekinfo.tag file : $TREE/secret/vekinfo.tag.
  
  $ unprivileged vekinfo -path secret -clearentry A
  Error (tov): 'system error' while opening vekinfo.tag file : secret/vekinfo.tag.
  
  $ chmod 600 secret/vekinfo.tag
  $ cat secret/vekinfo.tag
  A 1

Variables that are not set, and ones of 100 KiB:

  $ vekinfo -path '$NOT_SET/x' -lookup A
  vekinfo searching relative to '$NOT_SET/x':
  Info (vekinfo): could not locate an entry for 'A' in any vekinfo.tag file.
  Error (tov): 'error while processing path' tovNormalizePathSorta : $NOT_SET/x.
  
  $ BIG=$(printf '%0102400d' 0) vekinfo -path '$BIG' -lookup A
  vekinfo searching relative to '$BIG':
  Info (vekinfo): could not locate an entry for 'A' in any vekinfo.tag file.
  Error (tov): 'error while processing path' tovNormalizePathSorta : $BIG.
  
  $ VEK_WORKAREA=/$(printf '%0102400d' 0) vekinfo -path nul -lookup NONE
  vekinfo searching relative to 'nul':
  Info (vekinfo): could not locate an entry for 'NONE' in any vekinfo.tag file.
  $ (unset HOME; command vekinfo -path nul -lookup NONE)
  vekinfo searching relative to 'nul':
  Info (vekinfo): could not locate an entry for 'NONE' in any vekinfo.tag file.

Texts of 100 KiB as operands:

  $ BIG=$(printf '%0102400d' 0)
  $ vekinfo -path "$BIG" -show
  Info (vekinfo): could not find vekinfo.tag file.
  Error \(tov\): 'error while processing path' tovNormalizePath : 0{102400}\. (re)
  
  Error \(tov\): 'invalid path' 0{102400}\. (re)
  
  [1]
  $ vekinfo -path long -addentry "$BIG" 1
  $ tail -n 1 long/vekinfo.tag | wc -c
  102403
  $ vekinfo -path long -lookup "$BIG"
  vekinfo searching relative to 'long':
  Info \(vekinfo\): could not locate an entry for '0{102400}' in any vekinfo.tag file. (re)

A working directory that has been removed:

  $ mkdir lost
  $ cd lost
  $ rmdir ../lost
  $ vekinfo -show
  Info (vekinfo): could not find vekinfo.tag file.
  Error (tov): * (glob)
  
  Error (tov): * (glob)
  
  [1]
  $ cd "$TREE"
