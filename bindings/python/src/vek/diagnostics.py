"""What the library reports: diagnostics and exceptions."""

from __future__ import annotations

import errno
import re
from collections.abc import Callable, Sequence
from dataclasses import dataclass
from typing import Union

from vek.codes import InterpolationCode, LibraryCode, SearchCode, TagCode

__all__ = [
    "AccessDeniedError",
    "Diagnostic",
    "EntriesWouldBeDroppedError",
    "InterpolationError",
    "LibraryError",
    "LibraryNotDefinedError",
    "NotFoundError",
    "Place",
    "SearchError",
    "TagError",
    "VekError",
]


@dataclass(frozen=True)
class Place:
    """A line of a file."""

    file: str
    line: int

    def __str__(self) -> str:
        return f"{self.file}:{self.line}"


@dataclass(frozen=True)
class Diagnostic:
    """One report of the library: a code with the object that it is about, and where it was found."""

    code: Union[TagCode, LibraryCode, None]
    #: The object, or the whole message if there is no code.
    subject: str
    file: str | None
    line: int | None

    @property
    def text(self) -> str:
        """The documented text of the code; empty without a code."""
        return "" if self.code is None else self.code.text

    @property
    def earlier_definition(self) -> Place | None:
        """The definition that a definition of the same library replaces, for the two codes of a redefinition.

        The library states it in the object's text alone. The two spellings of the name have one length, and only
        the text between them holds a newline.
        """
        if self.code == LibraryCode.REDEFINED:
            head, _, rest = self.subject.partition(
                f" defined in {self.file} at line {self.line}, redefines\n    library "
            )
            match = re.match(
                r" defined in (.*) at line (\d+)\.\nInsert UNDEFINE ", rest[len(head) - len("library ") :], re.S
            )
            return Place(match.group(1), int(match.group(2))) if match else None
        if self.code == LibraryCode.REDEFINED_IN_SAME_FILE and self.file is not None:
            match = re.search(r" from same file line (\d+) defined earlier\.\Z", self.subject)
            return Place(self.file, int(match.group(1))) if match else None
        return None

    def __str__(self) -> str:
        place = ""
        if self.file is not None:
            place = f"{self.file}:{self.line}: " if self.line else f"{self.file}: "
        return f"{place}{self.text}: {self.subject}" if self.code is not None else f"{place}{self.subject}"


class VekError(Exception):
    """A failed operation.

    `code` is the code of the layer, `subject` what it is about, and `diagnostics` holds every report of the
    operation.
    """

    def __init__(
        self,
        code: TagCode | LibraryCode | SearchCode | InterpolationCode,
        subject: str = "",
        diagnostics: Sequence[Diagnostic] = (),
    ) -> None:
        super().__init__(code, subject)
        self.code = code
        self.subject = subject
        self.diagnostics = tuple(diagnostics)

    def __reduce__(self) -> tuple[object, ...]:
        # BaseException passes `args` alone: copies, also those that another process sends, need every argument.
        return type(self), (self.code, self.subject, self.diagnostics), self.__dict__

    @property
    def text(self) -> str:
        """The documented text of the code."""
        return self.code.text

    def __str__(self) -> str:
        return f"{self.text}: {self.subject}" if self.subject else self.text


class TagError(VekError):
    """An error of the tag-file layer; `code` is a TagCode."""


class LibraryError(VekError):
    """An error of the library-definition layer; `code` is a LibraryCode."""


class LibraryNotDefinedError(LibraryError, KeyError):
    """The registry defines no library of that name."""


class NotFoundError(LibraryError, FileNotFoundError):
    """A directory, cell, view or file does not exist. `errno` is ENOENT, `filename` the subject."""

    def __init__(self, code: LibraryCode, subject: str = "", diagnostics: Sequence[Diagnostic] = ()) -> None:
        super().__init__(code, subject, diagnostics)
        self.errno, self.strerror, self.filename = errno.ENOENT, self.text, subject


class AccessDeniedError(LibraryError, PermissionError):
    """A library, cell, view or file may not be used as asked. `errno` is EACCES, `filename` the subject."""

    def __init__(self, code: LibraryCode, subject: str = "", diagnostics: Sequence[Diagnostic] = ()) -> None:
        super().__init__(code, subject, diagnostics)
        self.errno, self.strerror, self.filename = errno.EACCES, self.text, subject


class SearchError(VekError):
    """An error of the search-file layer; `code` is a SearchCode."""


class InterpolationError(VekError):
    """A text that cannot be expanded; `code` is an InterpolationCode.

    `position` is the offset, in bytes, of the reference that failed last, or -1.
    """

    def __init__(self, code: InterpolationCode, subject: str, position: int) -> None:
        super().__init__(code, subject)
        self.position = position

    def __reduce__(self) -> tuple[object, ...]:
        return type(self), (self.code, self.subject, self.position), self.__dict__

    def __str__(self) -> str:
        return self.subject or self.text


class EntriesWouldBeDroppedError(ValueError):
    """An edit that would drop application entries without drop_other_entries. Nothing was written."""

    def __init__(self, file: str, entries: Sequence[tuple[str, str]]) -> None:
        names = ", ".join(repr(name) for name, _ in entries)
        super().__init__(
            f"{file}: the edit would drop the application entries {names}; pass drop_other_entries=True to drop them"
        )
        self.file = file
        self.entries = tuple(entries)

    def __reduce__(self) -> tuple[object, ...]:
        return type(self), (self.file, self.entries), self.__dict__


_NOT_FOUND = {
    LibraryCode.NO_SUCH_DIRECTORY,
    LibraryCode.NO_SUCH_CELL,
    LibraryCode.NO_SUCH_VIEW,
    LibraryCode.NO_SUCH_FILE,
    LibraryCode.VEKLIB_NOT_FOUND,
}
_DENIED = {
    LibraryCode.PERMISSION_DENIED,
    LibraryCode.PERMISSION_DENIED_LIBRARY,
    LibraryCode.PERMISSION_DENIED_CELL,
    LibraryCode.PERMISSION_DENIED_VIEW,
    LibraryCode.PERMISSION_DENIED_FILE,
}


def library_error(code: LibraryCode, subject: str, diagnostics: Sequence[Diagnostic] = ()) -> LibraryError:
    """The exception of a code of the library-definition layer."""
    kind: Callable[[LibraryCode, str, Sequence[Diagnostic]], LibraryError] = LibraryError
    if code == LibraryCode.LIBRARY_NOT_DEFINED:
        kind = LibraryNotDefinedError
    elif code in _NOT_FOUND:
        kind = NotFoundError
    elif code in _DENIED:
        kind = AccessDeniedError
    return kind(code, subject, diagnostics)
