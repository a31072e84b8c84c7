Marks in the sources: `// Not reached:` for scripts/coverage, `// Equivalent:` for scripts/mutate.

  $ . "$TESTDIR/../tool/transcript.sh"
  $ cp -R "$TESTDIR/../../scripts" .
  $ mkdir -p common build/coverage
  $ cat >common/sample.cpp <<'END'
  > int a();
  > int b(); // Not reached: the caller tests it
  > // Not reached: guard of a buffer
  > int c();
  > int d();
  > int e(); // Not reached: a mark that is wrong
  > int f();
  > int g();
  > END

Lines 2, 4, 5 and 8 are not reached. A mark is for its own line, the next one, and those that directly follow:

  $ cat >build/coverage/coverage.json <<'END'
  > {"files": [{"file": "common/sample.cpp", "lines": [
  >   {"line_number": 1, "count": 1, "branches": []}, {"line_number": 2, "count": 0, "branches": []},
  >   {"line_number": 4, "count": 0, "branches": []}, {"line_number": 5, "count": 0, "branches": []},
  >   {"line_number": 6, "count": 1, "branches": []}, {"line_number": 7, "count": 1, "branches": []},
  >   {"line_number": 8, "count": 0, "branches": []}]}]}
  > END
  $ cat >build/coverage/coverage-summary.json <<'END'
  > {"files": [{"filename": "common/sample.cpp", "line_total": 1000, "line_covered": 996, "branch_total": 0, "branch_covered": 0}]}
  > END
  $ scripts/coverage --report common | sed -n '/sample.cpp:/p'
  common/sample.cpp:8: not reached, and no mark: int g();
  common/sample.cpp:6: marked as not reached, but reached
  $ scripts/coverage --report common >/dev/null
  [1]

Without these two lines there is no problem:

  $ sed -i -e 's/int e().*/int e();/' -e 's/int g();/& \/\/ Not reached: guard/' common/sample.cpp
  $ scripts/coverage --report common | grep 'sample.cpp:'
  [1]
  $ scripts/coverage --report common >/dev/null

A change in a marked line, or in the line after a mark, is equivalent:

  $ cat >reasons.py <<'END'
  > import importlib.machinery, importlib.util, sys
  > loader = importlib.machinery.SourceFileLoader("mutate", "scripts/mutate")
  > mutate = importlib.util.module_from_spec(importlib.util.spec_from_loader("mutate", loader))
  > sys.dont_write_bytecode = True
  > loader.exec_module(mutate)
  > text = "one\ntwo // Equivalent: same line\nthree\n// Equivalent: line above\nfour\nfive\n"
  > for word in "one", "two", "three", "four", "five":
  >     print(word, mutate.reason_of(text, mutate.Change(text.index(word), text.index(word) + 1, "")))
  > END
  $ python3 reasons.py
  one 
  two same line
  three same line
  four line above
  five 
