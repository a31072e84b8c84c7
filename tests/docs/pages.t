Properties of all manual pages.

  $ . "$TESTDIR/../tool/transcript.sh"
  $ cd "$TESTDIR/../../docs/man"

mandoc and man report no problems:

  $ ls *.[135] | wc -l
  11
  $ mandoc -T lint *.[135]
  $ for page in *.[135]; do
  >     LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -E UTF-8 -l -Tutf8 -Z "$page" 2>&1 >/dev/null
  > done

Every option, keyword, statement and command is described:

  $ vekinfo | grep -o -e '-[a-z][a-z]*' | sort -u | while read -r option; do
  >     grep -q "^.It Fl.* \\?${option#-}\\b" vekinfo.1 || echo "$option"
  > done
  $ for keyword in VEKLIBRARY VEKLIBCHECK DMTYPE NAMESPACE; do
  >     grep -q "^.It Ic $keyword" vekinfo.tag.5 || echo "$keyword"
  > done
  $ for statement in DEFINE SOFTDEFINE UNDEFINE INCLUDE SOFTINCLUDE ASSIGN UNASSIGN; do
  >     grep -q "^.It Ic $statement " vek.lib.5 || echo "$statement"
  > done
  $ for command in ALL NONE 'INCLUDE Ar' 'EXCLUDE Ar'; do
  >     grep -q "^.It Ic $command" puxLookupConfig.5 || echo "$command"
  > done

Every environment variable that the code reads by name is described:

  $ cd ../..
  $ named() { grep -ho 'getenv("[A-Za-z_]*")' --include='*.cpp' -r "$@" | sed 's/.*"\(.*\)".*/\1/' | sort -u; }
  $ named common fs search tagfile libdef | while read -r variable; do
  >     grep -q "^.It.* Ev $variable\\b" docs/man/libvek.3 || echo "$variable"
  > done
  $ named tool | while read -r variable; do
  >     grep -q "^.It.* Ev $variable\\b" docs/man/vekinfo.1 || echo "$variable"
  > done
