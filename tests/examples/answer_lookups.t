`answer_lookups` looks up the entries that are its arguments, for each path on standard input.

  $ . "$TESTDIR/../tool/transcript.sh"
  $ cp -R "$TESTDIR/../../examples/project" .
  $ cd project

The nearest tag file that defines the entry is used, for directories and for files:

  $ printf 'adders/ripple\nadders/ripple/layout/layout.txt\n' | shown answer_lookups PROCESS dmtype
  adders/ripple: PROCESS is 'n7', says $TREE/project/adders/vekinfo.tag
  adders/ripple: dmtype is 'none', says $TREE/project/vekinfo.tag
  adders/ripple/layout/layout.txt: PROCESS is 'n7', says $TREE/project/adders/vekinfo.tag
  adders/ripple/layout/layout.txt: dmtype is 'none', says $TREE/project/vekinfo.tag

The exit status is 1 if one lookup finds nothing, also if it is not the last one:

  $ printf 'adders/ripple\nmemories/sram\n' | shown answer_lookups PROCESS OWNER
  adders/ripple: PROCESS is 'n7', says $TREE/project/adders/vekinfo.tag
  adders/ripple: OWNER is 'datapath-team', says $TREE/project/vekinfo.tag
  memories/sram: no PROCESS
  memories/sram: OWNER is 'datapath-team', says $TREE/project/vekinfo.tag
  [1]

If no directory above defines the entry, a tag file on the search list is used:

  $ mkdir "$TREE/outside"
  $ echo "$TREE/outside" | shown answer_lookups OWNER
  $TREE/outside: OWNER is 'datapath-team', says ./vekinfo.tag

Changes of the files by other programs are seen:

  $ mkfifo paths
  $ answer_lookups DMTYPE <paths | {
  >     exec 3>paths
  >     echo adders >&3
  >     read -r answer && echo "$answer"
  >     command vekinfo -path adders -addentry DMTYPE mrev
  >     echo adders >&3
  >     read -r answer && echo "$answer"
  > } | as_tree
  adders: DMTYPE is 'none', says $TREE/project/vekinfo.tag
  adders: DMTYPE is 'mrev', says $TREE/project/adders/vekinfo.tag

A path that does not exist and a syntax error are reported, and the next path is looked up:

  $ echo NAMESPACE none >>memories/vekinfo.tag
  $ printf '/no_such/directory\nmemories\nadders\n' | shown answer_lookups PROCESS
  /no_such/directory: no PROCESS
  memories: no PROCESS
  adders: PROCESS is 'n7', says $TREE/project/adders/vekinfo.tag
  answer_lookups: error while processing path: tovNormalizePathSorta: /no_such/directory
  answer_lookups: syntax error: NAMESPACE line in vekinfo.tag file: $TREE/project/memories/vekinfo.tag, line 3
  [1]

Without paths nothing is printed; without entries this is a usage error:

  $ shown answer_lookups PROCESS </dev/null
  $ echo adders | shown answer_lookups
  usage: answer_lookups ENTRY... <PATHS
  [2]
