page_text checks the rendered text of the manual pages.

  $ . "$TESTDIR/../tool/transcript.sh"
  $ for folder in common fs search tagfile libdef; do
  >     cp -R "$TESTDIR/../../$folder" .
  > done
  $ mkdir docs
  $ cp -R "$TESTDIR/../../docs/man" docs
  $ text() { "$TESTDIR/page_text" . "$(command -v code_tables)" | sort -u; }
  $ text

A text that differs, in a table and in a list of diagnostics:

  $ sed -i 's/Invalid Parameter$/Invalid parameter/' docs/man/ryn.3
  $ sed -i 's/^.It 16 Syntax error/.It 16 Wrong syntax/' docs/man/vek.lib.5
  $ sed -i "s/^.It .(aqaccess error.(aq/.It \\\\(aqno access\\\\(aq/" docs/man/vekinfo.1
  $ sed -i 's/^.It out arg in NULL/.It out arg is null/' docs/man/pux.3
  $ text
  pux.3: 'out arg in NULL VEK_INTERP_NULL_ARGUMENT' is missing
  pux.3: 'out arg is null VEK_INTERP_NULL_ARGUMENT' is not a text of the library
  ryn.3: 'RYN_INVALID_PARAMETER 22 Invalid Parameter' is missing
  ryn.3: 'RYN_INVALID_PARAMETER 22 Invalid parameter' is not a text of the library
  vek.lib.5: '16 Syntax error' is missing
  vek.lib.5: '16 Wrong syntax' is not a text of the library
  vekinfo.1: 'no access' is not a text of the library
  $ cp "$TESTDIR"/../../docs/man/*.[135] docs/man

A word that mdoc takes for a macro:

  $ sed -i 's/^.It 8 .*/.It 8 No such file/' docs/man/vek.lib.5
  $ text | sed 's/:[0-9]*:/:/'
  vek.lib.5: '8 No such file' is missing
  vek.lib.5: '8 such file' is not a text of the library
  vek.lib.5: 'No' is read as a macro; write '\&No'
