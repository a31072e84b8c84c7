The public binary interface of the library is compared with a baseline (`scripts/update-abi`). What the comparison lets
pass, and what not, is shown with a small library.

  $ . "$TESTDIR/../tool/transcript.sh"
  $ mkdir include
  $ cat >include/small.h <<'END'
  > struct small { int first; char second; };
  > struct hidden;
  > int smallSum(const struct small *of, int with);
  > struct hidden *smallHidden(void);
  > END
  $ cat >small.c <<'END'
  > #include "include/small.h"
  > struct hidden { int inside; };
  > int smallSum(const struct small *of, int with) { return of->first + with; }
  > struct hidden *smallHidden(void) { return 0; }
  > END
  $ build() { cc -g -shared -fPIC -Wl,-soname,libsmall.so.1 small.c -o libsmall.so; }
  $ abi() {
  >     "$TESTDIR/../../scripts/update-abi" "$@" --library libsmall.so --headers include --baseline small.abi
  > }
  $ build && abi --incompatible && abi --check
  $ cp -R include small.c small.abi ..

What a changed copy of it says:

  $ changed() {
  >     rm -r include && cp -R ../include ../small.c ../small.abi .
  >     sed -i "$@" include/small.h small.c && build && abi --check >difference
  > }

A function that was added is compatible, and so is a change of a type that no header shows:

  $ changed -e '/smallHidden.*;$/a int smallMore(void);' -e '/smallHidden.*{/a int smallMore(void) { return 1; }'
  $ nm -D --defined-only --format=just-symbols libsmall.so
  smallHidden
  smallMore
  smallSum
  $ changed 's/int inside;/long inside; int more;/'

A function that was removed is not:

  $ changed '/^struct hidden \*smallHidden/d'
  libsmall.so: not compatible with small.abi
  [1]
  $ grep 'D]' difference
    [D] 'function hidden* smallHidden()'    {smallHidden}

Nor is a field that was changed, added or moved:

  $ changed 's/char second/short second/' 2>/dev/null
  [1]
  $ grep "type of 'char" difference
              type of 'char second' changed:
  $ changed 's/char second;/& long third;/' 2>/dev/null
  [1]
  $ changed 's/int first; char second;/char second; int first;/' 2>/dev/null
  [1]

Nor is a signature that was changed:

  $ changed 's/int with/long with/' 2>/dev/null
  [1]
  $ grep 'parameter 2' difference
      parameter 2 of type 'int' changed:
  $ changed 's/^int smallSum/long smallSum/' 2>/dev/null
  [1]

Nor is a library without debug information, which says nothing of its types:

  $ changed -n p && strip --strip-debug libsmall.so && abi --check
  libsmall.so: without debug information, every type would count as unchanged
  [1]

The baseline is not renewed by mistake:

  $ changed 's/int with/long with/' 2>/dev/null
  [1]
  $ abi >/dev/null
  libsmall.so: not compatible with small.abi
  [1]
  $ cmp small.abi ../small.abi
  $ abi --incompatible && abi --check
