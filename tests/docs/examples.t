page_examples runs the examples of a page and compares what they print with the page.

  $ . "$TESTDIR/../tool/transcript.sh"
  $ mkdir project programs
  $ echo content >project/file
  $ examples() { "$TESTDIR/page_examples" page.1 project programs include lib/libvek.so true; }

  $ cat >page.1 <<'END'
  > .Sh EXAMPLES
  > A block with two commands:
  > .Bd -literal -offset indent
  > $ cat file
  > content
  > $ ls /proj >&2; pwd
  > /proj
  > file
  > .Ed
  > A missing file is created from the text after `cat FILE`, without its mdoc escapes:
  > .Bd -literal -offset indent
  > $ cat made
  > \-\(aq\(ti\e \&
  > .Ed
  > .Bd -literal -offset indent
  > $ cat ./made
  > -'~\e\(ha
  > .Ed
  > .Sh SEE ALSO
  > .Bd -literal
  > $ false
  > .Ed
  > END
  $ examples
  page.1: cat ./made
  --- page.1
  +++ printed
  @@ -1 +1 @@
  --'~\^
  +-'~\ 
  page.1: 3 commands, 1 print something else
  [1]
  $ sed -i 's/\\(ha$/ \\\&/' page.1
  $ examples
  page.1: 3 commands, 0 print something else

A page without commands fails:

  $ sed -i 's/^\$ /  /' page.1
  $ examples
  page.1: 0 commands, 0 print something else
  [1]
