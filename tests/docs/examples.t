The examples of a page are run as they stand, and what they print is compared.

  $ . "$TESTDIR/../tool/transcript.sh"
  $ mkdir project programs
  $ echo content >project/file
  $ examples() { "$TESTDIR/page_examples" page.1 project programs include lib/libvek.so true; }

  $ cat >page.1 <<'END'
  > .Sh EXAMPLES
  > Text, and a block with a command:
  > .Bd -literal -offset indent
  > $ cat file
  > content
  > $ ls /proj >&2; pwd
  > /proj
  > file
  > .Ed
  > A file that the page shows is made, with the characters that it stands for:
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

A page without a command is none that was tested:

  $ sed -i 's/^\$ /  /' page.1
  $ examples
  page.1: 0 commands, 0 print something else
  [1]
