"""The declarations are those of the public headers."""

from __future__ import annotations

import ast
import pathlib
import re

import vek
from conftest import SOURCE
from vek._declarations import ffi
from vek._library import lib

PACKAGE = pathlib.Path(vek.__file__).parent
HEADERS = ["common/base/vek_error.h", "common/platform/vek_init.h", "common/text/vek_strlist.h", "search/vek_interp.h", "search/pux.h",
           "tagfile/tov.h", "libdef/ryn.h"]  # fmt: skip


def header(name: str) -> str:
    return (SOURCE / name).read_text()


def exported_functions() -> set[str]:
    text = "\n".join(header(name) for name in HEADERS)
    return set(re.findall(r"^VEK_API [^;=]*?\b(\w+)\(", text, re.MULTILINE))


def test_every_public_function_of_these_headers_is_declared_and_exported():
    functions = exported_functions()
    assert len(functions) > 90
    for function in functions:
        assert callable(getattr(lib, function))


def test_the_stub_declares_the_same_functions():
    stub = (PACKAGE / "_declarations.pyi").read_text()
    ast.parse(stub)
    assert exported_functions() <= set(re.findall(r"    def (\w+)\(self", stub))


def test_the_version_is_that_of_the_header():
    assert f'#define VEK_VERSION "{vek.__version__}"' in header("common/base/vek_version.h")
    assert vek.__version__.startswith(f"{ffi.integer_const('VEK_VERSION_MAJOR')}.")


def test_constants_have_the_values_of_the_headers():
    values = dict(re.findall(r"^    (\w+_\w+) = (-?\d+)[,\s]", header("libdef/ryn.h"), re.MULTILINE))
    assert len(values) > 40
    for name, value in values.items():
        assert ffi.integer_const(name) == int(value)
    assert ffi.integer_const("VEK_PATH_SIZE") == 4096
    assert ffi.integer_const("VEK_INTERP_NO_LINE") == 2**32 - 1


def test_the_sources_hold_no_signature_of_their_own():
    sources = [file for file in (SOURCE / "bindings/python/src/vek").rglob("*.py")]
    assert len(sources) > 8
    for file in sources:
        text = file.read_text()
        assert "cdef(" not in text and "extern " not in text
        for kind in re.findall(r'ffi\.callback\("([^"]*)"|_callback\("([^"]*)"', text):
            assert re.fullmatch(r"\w+", "".join(kind))
