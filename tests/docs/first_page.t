The commands of README.md work as written, after one of the two ways to install.

  $ . "$TESTDIR/../tool/transcript.sh"
  $ SOURCES=$(cd "$TESTDIR/../.." && pwd)

They print what README.md shows. The directory is like that of the built sources:

  $ mkdir -p sources/build/release/tool
  $ ln -s "$SOURCES/examples" sources
  $ ln -s "${PATH%%:*}/vekinfo" sources/build/release/tool
  $ cd sources
  $ typed() { PATH=/usr/bin:/bin HOME="$HOME" "$TESTDIR/type_commands" "$@"; }
  $ typed "$SOURCES/README.md"
  README.md: 11 commands, 0 failed

It has at most two screens of 55 lines:

  $ [ "$(wc -l <"$SOURCES/README.md")" -le 110 ]

Its second command is the one that runs all tests:

  $ grep '^    scripts/' "$SOURCES/README.md" | awk '{ print $1 }'
  scripts/run
  scripts/test

Relative links of all documents lead to files:

  $ cd "$SOURCES"
  $ for page in *.md docs/*.md */README.md bindings/*/README.md; do
  >     grep -o '](\([^)#]*\)' "$page" | sed 's/^](//' | grep -v -e '^https:' -e '^$' | while read -r link; do
  >         [ -e "$(dirname "$page")/$link" ] || echo "$page: $link"
  >     done
  > done

So do the names of files that the documents mention (not patterns, placeholders and installed files):

  $ for page in *.md docs/*.md; do
  >     grep -o '`[.]\?[a-z][A-Za-z_.-]*/[^` ]*`' "$page" | tr -d '`' | grep -v -e '[*<>:$@]' -e NAME -e '^\(build\|include\|vek\|tools\|root\)/' | sort -u |
  >     while read -r name; do
  >         [ -e "$name" ] || [ -e "docs/$name" ] || echo "$page: $name"
  >     done
  > done

The newest section of CHANGELOG.md is that of the version:

  $ version=$(sed -n 's/^project(vek VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
  $ grep -m 1 '^## \[' CHANGELOG.md | grep -cF "[$version]"
  1

A command that prints something else, or fails, is reported; so is one that ends the shell:

  $ cd "$TREE"
  $ cat >page.md <<'END'
  >     $ cd /
  >     $ pwd
  >     /somewhere
  > 
  > zsh and fish have processes of their own:
  > 
  >     % list=(a b); print $list[2]
  >     b
  >     > set list a b; echo $list[2]
  >     b
  >     > false
  > END
  $ typed page.md
  page.md: pwd: exit status 0
  --- page.md
  +++ printed
  @@ -1 +1 @@
  -/somewhere
  +/
  
  page.md: false: exit status 1
  
  page.md: 5 commands, 2 failed
  [1]
  $ printf '    $ exit\n    $ pwd\n' >page.md
  $ typed page.md
  page.md: the shell ended after 0 of 2 commands
  page.md: 2 commands, 1 failed
  [1]

A block without a prompt is typed only with --all, and its output is not compared:

  $ printf '    echo nothing\n    false\n\n    $ echo a\n    a\n' >page.md
  $ typed page.md
  page.md: 1 commands, 0 failed
  $ typed --all page.md
  page.md: false: exit status 1
  
  page.md: 3 commands, 1 failed
  [1]
