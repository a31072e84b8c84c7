"""The search list, searches along it, and interpolation."""

from __future__ import annotations

from collections.abc import Sequence
from typing import TYPE_CHECKING

from vek._declarations import ffi
from vek._library import (
    NULL,
    SEARCH_PATH_SIZE,
    Path,
    Section,
    decode,
    decode_list,
    encode,
    lib,
    lock,
    search_code,
    string_list,
)
from vek.codes import InterpolationCode, InterpolationFlag, SearchCode
from vek.diagnostics import InterpolationError, SearchError

if TYPE_CHECKING:
    from vek._declarations import CData

__all__ = ["interpolate", "search", "search_all", "search_list", "search_writable", "uses_search_list"]

# ---- search list. Every function builds the list anew from the environment and `setup.loc`, as a new process does.


def search_list() -> list[str]:
    """Returns the directories of the search list, and "@LIBRARY" where library directories are searched."""
    with lock, Section() as section, section.search_list() as (code, directories):
        _check(code, "")
        return decode_list(directories)


def search(name: str, *, groups: Sequence[Path] | None = None, libraries: Sequence[Path] | None = None) -> str | None:
    """Returns the first file `name` along the search list, or None.

    `groups` are the subdirectories that are searched in each directory, "." for the directory itself; the default is
    ".tolvane", "." and "veksetup". `libraries` are the directories for which "@LIBRARY" stands. A match that cannot
    be read raises SearchError with SearchCode.PERMISSION_DENIED.
    """
    group_array, kept_groups = _optional_list(groups)
    library_array, kept_libraries = _optional_list(libraries)
    out = ffi.new("char[]", SEARCH_PATH_SIZE)
    with lock, Section() as section, section.search_list() as (code, directories):
        _check(code, name)
        code = lib.puxSearchEx(directories, encode(name), group_array, library_array, out, SEARCH_PATH_SIZE)
        return _found(code, name, out)


def search_all(name: str, *, groups: Sequence[Path] | None = None) -> list[str]:
    """Returns every file `name` along the search list, at most one from each directory.

    `groups` are searched after the directory itself; the default groups are those of search(). A match that cannot be
    read is skipped.
    """
    group_array, kept_groups = _optional_list(groups)
    result = ffi.new("char ***")
    with lock, Section() as section, section.search_list() as (code, directories):
        _check(code, name)
        code = lib.puxFullSearchDirList(directories, encode(name), group_array, result)
        try:
            found = decode_list(result[0])
        finally:
            lib.vekFreeStrlist(result[0])
        if code != SearchCode.FILE_NOT_FOUND:
            _check(code, name)
        return found


def search_writable(name: str, *, libraries: Sequence[Path] | None = None) -> str | None:
    """Returns the first file `name` along the search list that can be written, or None.

    Documented: a file is tested by opening it for writing, a directory by creating a file in it.
    """
    library_array, kept_libraries = _optional_list(libraries)
    out = ffi.new("char[]", SEARCH_PATH_SIZE)
    with lock, Section() as section, section.search_list() as (code, directories):
        _check(code, name)
        code = lib.puxFindWritableEx(directories, encode(name), library_array, out, SEARCH_PATH_SIZE)
        return _found(code, name, out)


def uses_search_list(name: str) -> bool:
    """Returns whether files with the name `name` are searched along the search list, by the file `puxLookupConfig`."""
    with lock, Section() as section, section.search_list() as (code, directories):
        _check(code, name)
        code = lib.puxUsePuxFor(directories, encode(name))
    if code != SearchCode.FILE_NOT_FOUND:
        _check(code, name)
    return code == SearchCode.OK


def _optional_list(names: Sequence[Path] | None) -> tuple[CData, list[CData]]:
    return (NULL, []) if names is None else string_list(names)


def _found(code: int, name: str, out: CData) -> str | None:
    if code == SearchCode.FILE_NOT_FOUND:
        return None
    _check(code, decode(out) if code == SearchCode.PERMISSION_DENIED else name)
    return decode(out)


def _check(code: int, subject: str) -> None:
    if code:
        raise SearchError(search_code(code), subject)


# ---- interpolation


def interpolate(
    text: str,
    *,
    file: Path | None = None,
    line: int | None = None,
    flags: InterpolationFlag = InterpolationFlag(0),
) -> str:
    """Expands `$NAME`, `${NAME}`, `$(compute:...)`, `$(inst_root_with:...)`, `~` and `~user` in `text`.

    `file` and `line` say where the text comes from. A reference that cannot be expanded raises InterpolationError.
    """
    message = ffi.new("char[]", SEARCH_PATH_SIZE)
    kept = ffi.new("char[]", encode(file)) if file is not None else NULL
    args = ffi.new("vekInterpArgs *")
    args.flags = int(flags)
    args.fileName = kept
    args.line = ffi.integer_const("VEK_INTERP_NO_LINE") if line is None else line
    args.errorBuffer = message
    args.errorBufferSize = SEARCH_PATH_SIZE
    encoded = encode(text)
    size = len(encoded) + SEARCH_PATH_SIZE
    with lock, Section():
        while True:
            out = ffi.new("char[]", size)
            is_expanded = lib.vekInterpolate(encoded, out, size, args, ffi.sizeof("vekInterpArgs"))
            if args.errorCode != InterpolationCode.OUT_TOO_SMALL or args.neededSize <= size:
                break
            size = args.neededSize
    if not is_expanded:
        raise InterpolationError(InterpolationCode(args.errorCode), decode(message), args.errorPosition)
    return decode(out)
