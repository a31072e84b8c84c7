"""Codes, their documented texts, and exceptions."""

from __future__ import annotations

import copy
import enum
import errno
import pickle

import pytest

import vek
from vek._declarations import ffi
from vek._library import lib

TEXTS = {
    vek.TagCode: (lib.tovGetErrorMsg, "syntax error", 9),
    vek.LibraryCode: (lib.rynGetErrorMsg, "Return buffer to small", 23),
    vek.SearchCode: (lib.puxGetErrorMsg, "Searchlist initialization failed", 7),
}


@pytest.mark.parametrize("codes", TEXTS)
def test_every_code_has_the_text_of_the_library(codes):
    text_of, example, number = TEXTS[codes]
    assert [code.text for code in codes] == [ffi.string(text_of(code)).decode() for code in codes]
    assert codes(number).text == example
    last = max(codes)
    assert [int(code) for code in codes] == list(range(last + 1))
    # No code is missing at the end: the next one has the text of a code that does not exist.
    assert "nvalid error number" in ffi.string(text_of(last + 1)).decode()


def test_every_code_of_interpolation_has_a_text():
    assert "not set" in vek.InterpolationCode.NOT_SET.text
    assert all(code.text for code in vek.InterpolationCode)


def test_every_code_of_the_library_layer_has_an_exception():
    from vek.diagnostics import library_error

    kinds = {code: type(library_error(code, "x")) for code in vek.LibraryCode}
    assert all(issubclass(kind, vek.LibraryError) for kind in kinds.values())
    assert kinds[vek.LibraryCode.LIBRARY_NOT_DEFINED] is vek.LibraryNotDefinedError
    assert {int(code) for code, kind in kinds.items() if kind is vek.NotFoundError} == {4, 6, 7, 8, 32}
    assert {int(code) for code, kind in kinds.items() if kind is vek.AccessDeniedError} == {11, 12, 13, 14, 15}


def test_exceptions_are_those_that_python_programs_expect():
    assert issubclass(vek.LibraryNotDefinedError, KeyError)
    assert issubclass(vek.NotFoundError, FileNotFoundError)
    assert issubclass(vek.AccessDeniedError, PermissionError)
    for kind in (vek.TagError, vek.LibraryError, vek.SearchError, vek.InterpolationError):
        assert issubclass(kind, vek.VekError)
    error = vek.NotFoundError(vek.LibraryCode.NO_SUCH_CELL, "lib/cell")
    assert (error.code, error.text, error.subject, error.diagnostics) == (6, "No such cell", "lib/cell", ())
    assert str(error) == "No such cell: lib/cell"
    assert str(vek.TagError(vek.TagCode.MEMORY_ERROR)) == "memory error"


def test_what_is_missing_or_denied_has_the_errno_that_its_class_stands_for():
    for kind, code, number, text in (
        (vek.NotFoundError, vek.LibraryCode.NO_SUCH_CELL, errno.ENOENT, "No such cell"),
        (vek.AccessDeniedError, vek.LibraryCode.PERMISSION_DENIED_CELL, errno.EACCES, "Permission denied on cell"),
    ):
        error = kind(code, "lib/cell")
        assert (error.errno, error.strerror, error.filename) == (number, text, "lib/cell")
        assert str(error) == f"{text}: lib/cell"


@pytest.mark.parametrize("duplicate", [copy.copy, lambda error: pickle.loads(pickle.dumps(error))])
def test_exceptions_can_be_copied_and_sent_to_another_process(duplicate):
    diagnostics = (vek.Diagnostic(vek.LibraryCode.SYNTAX_ERROR, "FOO", "/f", 3),)
    for error in (
        vek.TagError(vek.TagCode.MEMORY_ERROR, "x", diagnostics),
        vek.LibraryNotDefinedError(vek.LibraryCode.LIBRARY_NOT_DEFINED, "lib"),
        vek.NotFoundError(vek.LibraryCode.NO_SUCH_CELL, "lib/cell", diagnostics),
        vek.AccessDeniedError(vek.LibraryCode.PERMISSION_DENIED, "lib"),
        vek.SearchError(vek.SearchCode.BUFFER_TOO_SMALL, "name"),
        vek.InterpolationError(vek.InterpolationCode.NOT_SET, "'X' not set", 3),
        vek.EntriesWouldBeDroppedError("/f", [("A", "1")]),
    ):
        copied = duplicate(error)
        assert type(copied) is type(error)
        assert (str(copied), copied.args, vars(copied)) == (str(error), error.args, vars(error))
        assert getattr(copied, "errno", None) == getattr(error, "errno", None)


def test_diagnostics_are_values():
    diagnostic = vek.Diagnostic(vek.LibraryCode.SYNTAX_ERROR, "FOO", "/f", 3)
    assert pickle.loads(pickle.dumps(diagnostic)) == diagnostic
    assert str(diagnostic) == "/f:3: Syntax error: FOO"
    assert str(vek.Diagnostic(None, "message", None, None)) == "message"
    assert str(vek.Diagnostic(vek.TagCode.SYSTEM_ERROR, "x", "/f", None)) == "/f: system error: x"


def test_flags_are_those_of_the_headers():
    assert (vek.Access.READ, vek.Access.REPLACE_LIBRARY) == (0, 9)
    assert vek.Query.LIBRARY | vek.Query.EXECUTABLE == 33
    assert isinstance(vek.Query.LIBRARY, enum.IntFlag)
    assert [int(kind) for kind in vek.TemporaryKind] == [1, 2, 4]
