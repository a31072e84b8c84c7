`handle_errors` receives the errors of all layers.

  $ . "$TESTDIR/../tool/transcript.sh"
  $ mkdir project
  $ cd project
  $ printf 'DEFINE lib lib\n' >vek.lib
  $ mkdir lib
  $ export LIBRARY=lib
  $ shown handle_errors lib OWNER

A diagnostic of `vek.lib`, and an attribute that the program does not know:

  $ printf 'DEFINE one\nDEFINE lib lib\nASSIGN lib COLOR red\n' >vek.lib
  $ shown handle_errors lib OWNER
  vek.lib 16 (Syntax error): $TREE/project/vek.lib, line 1: DEFINE one
  vek.lib 19 (Invalid attribute): $TREE/project/vek.lib, line 3: COLOR
  [2]
  $ printf 'DEFINE lib lib\n' >vek.lib

A message without a code, and an error of the registry:

  $ SCRATCH=/proc/none/scratch shown handle_errors lib OWNER
  message 0 (no code): Error (vekBuildDirPath): mkdir call failed.
  registry 20 (Invalid path): /proc/none/scratch
  [2]

A library that is not defined, and misuse:

  $ LIBRARY=none shown handle_errors lib OWNER
  registry 5 (Library not defined): none
  [1]
  $ unset LIBRARY
  $ shown handle_errors lib OWNER
  misuse 22 (Invalid Parameter): rynIsDefined()
  [1]
  $ export LIBRARY=lib

A tag file:

  $ printf 'OWNER me\nNAMESPACE\n' >lib/vekinfo.tag
  $ shown handle_errors lib OWNER
  tag file 9 (syntax error): NAMESPACE line in vekinfo.tag file: $TREE/project/lib/vekinfo.tag, line 2
  [1]
  $ rm lib/vekinfo.tag

The path: interpolation and the file system.

  $ shown handle_errors '$NONE/x' OWNER
  tag file 11 (error while processing path): tovNormalizePathSorta: $NONE/x
  interpolation 3 (environment variable 'NONE' not set): $NONE/x
  file system 2 (No such file or directory): $NONE/x
  [3]

The search list:

  $ rm vek.lib
  $ shown handle_errors lib OWNER
  search 5 (File not found): vek.lib
  [1]

  $ shown handle_errors lib
  usage: handle_errors PATH ENTRY
  [101]
