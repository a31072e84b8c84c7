"""Tag files: lookups with inheritance, the content of one file, and edits."""

from __future__ import annotations

import os
import re
from collections.abc import Sequence
from dataclasses import dataclass
from typing import TYPE_CHECKING

from vek._declarations import ffi
from vek._library import (
    NULL,
    PATH_SIZE,
    Path,
    Section,
    decode,
    decode_list,
    decode_optional,
    encode,
    lib,
    lock,
    string_list,
    tag_code,
)
from vek.codes import TagCode
from vek.diagnostics import Diagnostic, EntriesWouldBeDroppedError, TagError

if TYPE_CHECKING:
    from vek._declarations import CData

__all__ = ["Entry", "TagFile", "add_entry", "clear_entry", "create_tags", "is_library", "lookup", "read_tags", "tags"]

TAG_FILE = b"vekinfo.tag"

KEYWORDS = {b"VEKLIBRARY", b"VEKLIBCHECK", b"DMTYPE", b"NAMESPACE"}


@dataclass(frozen=True)
class Entry:
    """The value of an entry, and the tag file that defines it; no file for a default."""

    value: str
    file: str | None


@dataclass(frozen=True)
class TagFile:
    """The content of one tag file."""

    path: str
    #: Whether it has a VEKLIBRARY entry.
    library: bool
    #: The VEKLIBCHECK entry, or None.
    libcheck: bool | None
    #: The DMTYPE entry, or None.
    dmtype: str | None
    #: The NAMESPACE entry, "LibraryNT" or "LibraryUnix", or None.
    namespace: str | None
    #: Application entries as (name, value), in file order. Of several with one name, the first one counts.
    entries: tuple[tuple[str, str], ...]


def _deliver(reported: Sequence[Diagnostic], diagnostics: list[Diagnostic] | None) -> None:
    """Appends diagnostics to the caller's list, or raises the first one."""
    if diagnostics is not None:
        diagnostics.extend(reported)
    elif reported:
        raise _error(reported)


def _error(reported: Sequence[Diagnostic], code: int = TagCode.SYSTEM_ERROR) -> TagError:
    if not reported:
        return TagError(tag_code(code))
    first = reported[0]
    place = f" ({first.file} line {first.line})" if first.line else f" ({first.file})" if first.file else ""
    return TagError(TagCode(first.code or code), first.subject + place, reported)


# ---- lookups


def lookup(path: Path, name: str, *, diagnostics: list[Diagnostic] | None = None) -> Entry | None:
    """Looks up the entry `name` for `path`, as `vekinfo -lookup` does, and returns its value and file, or None.

    The nearest directory at or above `path` whose tag file defines the entry has precedence, then the search list.
    VEKLIBRARY (whose value is empty) is looked up in the directories alone, and VEKLIBCHECK from the working
    directory instead of `path`. A NAMESPACE that no file defines is "LibraryUnix", with no file. A `path` that does
    not exist counts as its nearest existing ancestor.

    Each call reads the files anew, as a new process does: the caches of the library are reset first. Errors on the
    way raise TagError; with a list `diagnostics` they are appended to it instead.
    """
    with lock, Section() as section:
        entry = _lookup(section, encode(path), encode(name))
    _deliver(section.diagnostics, diagnostics)
    return entry


def _lookup(section: Section, path: bytes, name: bytes) -> Entry | None:
    where = ffi.new("char[]", PATH_SIZE)
    keyword = name.upper()
    lib.tovResetCache()
    if keyword == b"VEKLIBCHECK":
        with section.search_list():
            is_on = lib.tovCheckLibraryX(where)
        file = decode(where)
        return Entry("ON" if is_on else "OFF", file) if file else None
    # Most lookups end here, without a search list.
    value = lib.tovLookupEntry(path, name, where)
    if keyword == b"VEKLIBRARY" or (value and value[0] != b"\0"):
        return _entry(value, where)
    # Documented: a second lookup in the same cache can stop at another file.
    lib.tovResetCache()
    section.diagnostics.clear()
    with section.search_list():
        if keyword == b"NAMESPACE":
            return _entry(lib.tovGetNameSpaceX(path, where), where)
        return _entry(lib.tovLookupEntryX(path, name, where), where)


def _entry(value: CData, where: CData) -> Entry | None:
    return Entry(decode(value), decode(where) or None) if value else None


def is_library(path: Path, *, diagnostics: list[Diagnostic] | None = None) -> bool:
    """Returns whether the tag file in `path` itself has a VEKLIBRARY entry.

    A `path` that does not exist counts as its nearest existing ancestor. Errors are handled as by lookup().
    """
    with lock, Section() as section:
        lib.tovResetCache()
        is_marked = lib.tovIsLibrary(encode(path)) != 0
    _deliver(section.diagnostics, diagnostics)
    return is_marked


# ---- tag files


def tags(path: Path = ".") -> TagFile | None:
    """Returns the content of the nearest tag file at or above `path`, as `vekinfo -show` finds it, or None.

    As there, the walk is by the text of the path, and the tag file of the root directory is not looked at.
    A `path` that does not exist, and a tag file with an error, raise TagError.
    """
    normalized = ffi.new("char[]", PATH_SIZE)
    with lock, Section() as section:
        code = lib.tovNormalizePath(encode(path), normalized)
        directory = ffi.string(normalized)
    if code:
        raise _error(section.diagnostics, code)
    while directory:
        file = directory + b"/" + TAG_FILE
        if os.path.exists(file):
            return read_tags(file)
        directory = directory.rpartition(b"/")[0]
    return None


def read_tags(file: Path) -> TagFile:
    """Returns the content of the tag file `file`. TagError is raised if it is missing or has an error."""
    with lock, Section() as section:
        code, tag_file = _read(encode(file))
    if tag_file is None:
        raise _error(section.diagnostics, code) if section.diagnostics else TagError(tag_code(code), os.fsdecode(file))
    return tag_file


def _read(file: bytes) -> tuple[int, TagFile | None]:
    obj, found = ffi.new("VekinfoObj *"), ffi.new("int *")
    lib.tovResetCache()
    code = lib.tovGetVekinfoAtLoc(file, NULL, obj, found)
    if code:
        return code, None
    namespaces = {lib.TOV_NAMESPACE_NT: "LibraryNT", lib.TOV_NAMESPACE_UNIX: "LibraryUnix"}
    return 0, TagFile(
        path=os.fsdecode(file),
        library=obj.library == 1,
        libcheck=None if obj.libcheck == lib.TOV_UNSET else obj.libcheck == 1,
        dmtype=decode_optional(obj.dmtype),
        namespace=namespaces.get(obj.nameSpace),
        entries=tuple(zip(decode_list(obj.names), decode_list(obj.values))),
    )


# ---- edits


def add_entry(directory: Path, name: str, value: str = "", *, drop_other_entries: bool = False) -> TagFile:
    """Adds an entry to the tag file of `directory`, which is created if missing, and returns its new content.

    **The whole file is rewritten: comments and layout are lost.** If `name` is no keyword, **all application
    entries with other names are dropped**: without `drop_other_entries`, that raises EntriesWouldBeDroppedError and
    writes nothing. So does a file with an error, all of which would be dropped: it raises TagError. (The file is
    looked at before the edit: an entry that another process adds in between is dropped.)

    An application entry that exists already stays before the new one, so that lookups still find the old value.
    VEKLIBCHECK OFF is written as no line, because that is the default. The value of VEKLIBRARY is ignored.
    """
    encoded_name, encoded_value = encode(name), encode(value)
    _check_words(encoded_name, encoded_value)
    file = encode(directory) + b"/" + TAG_FILE
    if not drop_other_entries:
        _refuse_to_drop(file, encoded_name)
    with lock, Section() as section:
        lib.tovResetCache()
        is_done = lib.tovAddEntry(encode(directory), encoded_name, encoded_value)
    if not is_done:
        raise _error(section.diagnostics)
    return read_tags(file)


def clear_entry(directory: Path, name: str, *, drop_other_entries: bool = False) -> TagFile | None:
    """Clears an entry of the tag file of `directory`, and returns its new content, or None without a file.

    **The whole file is rewritten: comments and layout are lost.** A keyword is removed. If `name` is no keyword,
    **the application entries of that name stay, and all others are dropped**: without `drop_other_entries`, that
    raises EntriesWouldBeDroppedError and writes nothing. A file with an error raises TagError and is not written.
    """
    file = encode(directory) + b"/" + TAG_FILE
    if not os.path.exists(file):
        return None
    encoded_name = encode(name)
    if not drop_other_entries:
        _refuse_to_drop(file, encoded_name)
    with lock, Section() as section:
        lib.tovResetCache()
        is_done = lib.tovRemoveEntry(encode(directory), encoded_name)
    if not is_done:
        raise _error(section.diagnostics)
    return read_tags(file)


def create_tags(directory: Path, lines: Sequence[str]) -> TagFile:
    """Creates the tag file of `directory` with the given lines after the template, and returns its content.

    An existing file is not overwritten: TagError with TagCode.FILE_EXISTS. A line that would be a syntax error
    raises TagError as well; the file is then created without it.
    """
    for line in lines:
        if "\n" in line:
            raise ValueError("a line holds no newline")
    array, strings = string_list(lines)
    with lock, Section() as section:
        lib.tovResetCache()
        is_done = lib.tovCreateInfoFile(encode(directory), array)
    del strings
    if not is_done or section.diagnostics:
        raise _error(section.diagnostics)
    return read_tags(encode(directory) + b"/" + TAG_FILE)


def _refuse_to_drop(file: bytes, name: bytes) -> None:
    if not os.path.exists(file):
        return
    said = read_tags(file)
    if name.upper() in KEYWORDS:
        return
    others = [entry for entry in said.entries if encode(entry[0]).upper() != name.upper()]
    if others:
        raise EntriesWouldBeDroppedError(os.fsdecode(file), others)


def _check_words(name: bytes, value: bytes) -> None:
    """Raises ValueError for a line that would not be read back as it is written."""
    for text, what in ((name, "name"), (value, "value")):
        if re.search(rb"\s", text) or re.match(rb"#|;|--", text):
            raise ValueError(f"the {what} {os.fsdecode(text)!r} cannot be written: it is not one word of a tag file")
    if not name:
        raise ValueError("the name of an entry is empty")
    if len(name) + len(value) + 2 >= PATH_SIZE:
        raise ValueError(f"the entry has {PATH_SIZE - 1} characters or more")
    keyword = name.upper()
    allowed = {b"VEKLIBCHECK": (b"ON", b"OFF"), b"NAMESPACE": (b"LIBRARYNT", b"LIBRARYUNIX")}.get(keyword)
    if allowed and value.upper() not in allowed:
        raise ValueError(f"{os.fsdecode(value)!r} is no value of {os.fsdecode(keyword)}")
    if keyword == b"DMTYPE" and not value:
        raise ValueError("DMTYPE needs a value")
