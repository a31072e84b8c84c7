scripts/manual generates the pages of section 3 from the comments of the public headers.

  $ . "$TESTDIR/../tool/transcript.sh"
  $ SOURCES=$TESTDIR/../..

Every public function has a comment that names its parameters, and every page is up to date:

  $ "$SOURCES/scripts/manual" --check

The check itself is tested with a copy of the headers:

  $ for folder in common fs search tagfile libdef scripts; do
  >     cp -R "$SOURCES/$folder" .
  > done
  $ mkdir docs && cp -R "$SOURCES/docs/man" docs
  $ manual() { scripts/manual --check | sed 's/h:[0-9]*:/h:/'; }
  $ manual

A missing comment:

  $ cp libdef/ryn.h saved
  $ sed -i '/^VEK_API int rynIterateEnd/i\
  > ' libdef/ryn.h
  $ manual
  libdef/ryn.h: rynIterateEnd has no comment
  $ cp saved libdef/ryn.h

A parameter that the comment does not name, and a parameter without a name:

  $ sed -i '/^\/\/\/ Ends an iteration and frees `context`/s/`//g' libdef/ryn.h
  $ sed -i 's/rynIsSpecDir(vekFSSpec \*spec)/rynIsSpecDir(vekFSSpec *)/' libdef/ryn.h
  $ manual
  libdef/ryn.h: the comment of rynIterateEnd does not name `context`
  libdef/ryn.h: a parameter of rynIsSpecDir has no name: vekFSSpec *
  $ cp saved libdef/ryn.h

A function and a header that are on no page:

  $ sed -i '/^VEK_END_DECLS/i\
  > /// Does nothing.\
  > VEK_API void rynNothing(void);\
  > ' libdef/ryn.h
  $ printf '/// Does nothing.\nVEK_API void vekNothing(void);\n' >common/vek_nothing.h
  $ manual
  common/vek_nothing.h: no page in docs/man shows it
  libdef/ryn.h: rynNothing is missing from docs/man/ryn.3
  $ rm common/vek_nothing.h
  $ cp saved libdef/ryn.h

A comment that has changed:

  $ sed -i 's/^\/\/\/ Ends an iteration and frees `context`/& and its items/' libdef/ryn.h
  $ manual
  docs/man/libvek.3 is not up to date: scripts/manual updates it
  docs/man/ryn.3 is not up to date: scripts/manual updates it
  $ scripts/manual
  $ manual
  $ grep -A 3 '^.It Fn rynIterateEnd context' docs/man/ryn.3
  .It Fn rynIterateEnd context
  Ends an iteration and frees
  .Fa context
  and its items.

A code without a text:

  $ sed -i 's/RYN_INVALID_ERROR_NUMBER = 37/RYN_UNHEARD_OF = 37,\n    &/' libdef/ryn.h
  $ manual 2>&1
  libdef/registry/ryn_error.cpp: 38 texts for the 39 constants of libdef/ryn.h
