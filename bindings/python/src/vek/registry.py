"""Registries of libraries: the content of a library definition file (`vek.lib`), and cells, views and files."""

from __future__ import annotations

import os
import weakref
from collections.abc import Iterator, Mapping, Sequence
from dataclasses import dataclass
from types import TracebackType
from typing import TYPE_CHECKING

from vek._declarations import ffi
from vek._library import (
    NULL,
    PATH_SIZE,
    Path,
    Section,
    abandoned,
    decode,
    decode_list,
    decode_optional,
    encode,
    encode_optional,
    fatal_handler,
    lib,
    library_code,
    lock,
    string_list,
    warning_handler,
)
from vek.codes import Access, LibraryCode, Query, SearchCode, Source, TemporaryKind
from vek.diagnostics import Diagnostic, LibraryError, LibraryNotDefinedError, Place, SearchError, library_error
from vek.search import search_all

if TYPE_CHECKING:
    from vek._declarations import CData

__all__ = ["DefinitionFile", "Library", "Registry", "TemporaryDirectory"]


@dataclass(frozen=True)
class DefinitionFile:
    """A library definition file that was read, and the statement that included it; None for the top file."""

    path: str
    included_from: Place | None


@dataclass(frozen=True)
class TemporaryDirectory:
    """A temporary directory of a library. `path` is None if the directory cannot be read."""

    kind: TemporaryKind
    path: str | None


class Registry(Mapping[str, "Library"]):
    """The libraries that a library definition file defines, by name, in the order of their definition.

        with vek.Registry("vek.lib") as registry:
            for name, library in registry.items():
                print(name, library.directory)

    Without `file`, the first `vek.lib` of the search list is read. Variables and "~" in `file` are expanded.

    **The existence check is on by default**: a DEFINE whose directory is missing or unreadable is a diagnostic and
    defines nothing, and a missing cell, view or file raises NotFoundError. With `check_existence=False` the file is
    read as vekinfo reads it: such libraries are defined, find() returns the path of what does not exist, and
    listing it raises LibraryError with LibraryCode.SYSTEM_ERROR.

    What is wrong with the file is collected in `diagnostics`; with `strict`, the first diagnostic raises
    LibraryError. Reading a file that assigns a global temporary root (ASSIGN AllLibs TmpRootDir) creates the
    libraries' directories under it.

    A closed registry raises ValueError. The default handle of the process is not changed.
    """

    def __init__(
        self,
        file: Path | None = None,
        *,
        check_existence: bool = True,
        strict: bool = False,
        umask: int | None = None,
    ) -> None:
        self._handle: CData | None = None
        self._global_directories: dict[str, str | None] | None = None
        self._implicit_root: str | None = None
        if file is None:
            found = search_all("vek.lib")
            if not found:
                raise SearchError(SearchCode.FILE_NOT_FOUND, "vek.lib")
            file = found[0]
        self._file = os.fsdecode(file)
        flags = lib.RYN_FLAG_OWN_EXISTENCE_CHECK | (0 if check_existence else lib.RYN_FLAG_EXISTENCE_CHECK_OFF)
        handle = ffi.new("rynHandle *")
        with lock, Section(stop_at_first=strict) as section:
            lib.tovResetCache()
            with section.search_list():
                code = self._create(encode(file), flags, handle)
            if code == 0 and umask is not None:
                lib.rynSetUmask(handle[0], umask)
        self._diagnostics = tuple(section.diagnostics)
        if handle[0]:
            self._handle = handle[0]
            self._finalizer = weakref.finalize(self, abandoned.append, self._handle)
            self._finalizer.atexit = False
        if code or (strict and self._diagnostics):
            self.close()
            first = self._diagnostics[0] if self._diagnostics else None
            raise library_error(
                library_code(first.code or code) if first else library_code(code),
                str(first.subject) if first else self._file,
                self._diagnostics,
            )

    @staticmethod
    def _create(file: bytes, flags: int, handle: CData) -> int:
        default = lib.rynGetCurHandle()
        previous = default[0] if default else NULL
        try:
            return lib.rynInitEx(file, flags, warning_handler, fatal_handler, NULL, 0, handle)
        finally:
            default = lib.rynGetCurHandle()
            if default:
                default[0] = previous

    # ---- life

    def close(self) -> None:
        """Releases the registry. Closing it again has no effect."""
        with lock, Section():
            if self._handle is not None:
                self._finalizer.detach()
                handle, self._handle = self._handle, None
                lib.rynReleaseHandle(handle)

    @property
    def closed(self) -> bool:
        return self._handle is None

    def __enter__(self) -> Registry:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()

    def __repr__(self) -> str:
        return f"<vek.Registry {self._file!r}{' closed' if self.closed else ''}>"

    # Registries are compared by identity: two of them are two readings.
    __hash__ = object.__hash__

    def __eq__(self, other: object) -> bool:
        return self is other

    def _open(self) -> CData:
        """The handle; to be called in a section."""
        if self._handle is None:
            raise ValueError("the registry is closed")
        return self._handle

    # ---- the definition files

    @property
    def file(self) -> str:
        """The file that was read, as it was named or found."""
        return self._file

    @property
    def diagnostics(self) -> tuple[Diagnostic, ...]:
        """What is wrong with the definition files, in the order in which it was found."""
        return self._diagnostics

    @property
    def files(self) -> list[DefinitionFile]:
        """The library definition files that were read, in the order in which they were opened."""
        file, line = ffi.new("const char **"), ffi.new("int *")
        found = []
        with lock, Section():
            handle = self._open()
            for path in self._names(lib.rynIterateVekLibFiles, (), lib.rynNextFile):
                code = lib.rynWhereIncluded(handle, encode(path), file, line)
                place = Place(decode(file[0]), line[0]) if code == 0 and file[0] else None
                found.append(DefinitionFile(path, place))
        return found

    @property
    def global_temporary_root(self) -> Place | None:
        """The statement that assigns the global temporary root, or None."""
        file, line = ffi.new("const char **"), ffi.new("int *")
        with lock, Section():
            code = lib.rynWhereGlobalExplicitTmp(self._open(), file, line)
            return Place(decode(file[0]), line[0]) if code == 0 and file[0] else None

    # ---- the mapping

    def __getitem__(self, name: str) -> Library:
        if name not in self:
            raise LibraryNotDefinedError(LibraryCode.LIBRARY_NOT_DEFINED, name)
        return Library(self, name)

    def __contains__(self, name: object) -> bool:
        if not isinstance(name, str) or "\0" in name:
            return False
        with lock, Section():
            return lib.rynIsDefined(self._open(), encode(name)) == 0

    def __iter__(self) -> Iterator[str]:
        with lock, Section():
            self._open()
            return iter(self._names(lib.rynIterateLibs, (), lib.rynNextLib))

    def __len__(self) -> int:
        return len(list(iter(self)))

    def execute(self, statement: str) -> None:
        """Executes one statement of the definition language. Documented: a bad one has no effect and no message."""
        with lock, Section():
            lib.rynAddCommand(self._open(), encode(statement))

    # ---- design objects

    def find(
        self,
        library: str,
        cell: str | None = None,
        view: str | None = None,
        file: str | None = None,
        *,
        access: Access = Access.READ,
    ) -> str:
        """Returns the path of a library, or of a cell, view or file in it.

        `access` says which directories are tried and what the path is for. Access.WRITE and its kinds create
        missing cell and view directories.
        """
        out = ffi.new("char[]", PATH_SIZE)
        names = [encode(library), *(encode_optional(name) for name in (cell, view, file))]
        with lock, Section() as section:
            code = lib.rynGetPath(self._open(), int(access), names[0], names[1], names[2], names[3], out, PATH_SIZE)
            path = decode(out) if code == 0 else ""
        self._check(code, _design_object(library, cell, view, file), section.diagnostics)
        return path

    def exists(
        self,
        library: str,
        cell: str | None = None,
        view: str | None = None,
        file: str | None = None,
        *,
        query: Query = Query.EXISTS,
    ) -> bool:
        """Returns whether a design object exists and passes the checks of `query`, which combine by "|".

        A library that is not defined raises LibraryNotDefinedError.
        """
        names = [encode(library), *(encode_optional(name) for name in (cell, view, file))]
        with lock, Section() as section:
            code = lib.rynQuery(self._open(), int(query), names[0], names[1], names[2], names[3])
        if LibraryCode.NO_SUCH_CELL <= code <= LibraryCode.NO_SUCH_FILE or code == LibraryCode.NO_SUCH_DIRECTORY:
            return False
        if LibraryCode.PERMISSION_DENIED <= code <= LibraryCode.PERMISSION_DENIED_FILE:
            return False
        self._check(code, _design_object(library, cell, view, file), section.diagnostics)
        return True

    def cells(self, library: str, *, source: Source = Source.LIBRARY | Source.TMP) -> Iterator[str]:
        """Iterates over the names of the cells of `library`, in no particular order.

        The names are read when this is called, from the library's directory and its temporary directories. With the
        existence check of the registry (the default), what is missing raises NotFoundError.
        """
        return self._list(lib.rynXIterateCells, lib.rynNextCell, source, library)

    def views(self, library: str, cell: str, *, source: Source = Source.LIBRARY | Source.TMP) -> Iterator[str]:
        """Iterates over the names of the views of `cell`, as cells() does."""
        return self._list(lib.rynXIterateViews, lib.rynNextView, source, library, cell)

    def files_in(
        self,
        library: str,
        cell: str | None = None,
        view: str | None = None,
        *,
        recursive: bool = False,
        source: Source = Source.LIBRARY | Source.TMP,
    ) -> Iterator[str]:
        """Iterates over the names of the files of a library, cell or view, as cells() does.

        Files are the names that no cell may have. With `recursive`, everything at any depth below a view that is no
        directory, as relative paths.
        """
        if recursive:
            if cell is None or view is None:
                raise ValueError("recursive needs a cell and a view")
            return self._list(lib.rynXIterateAllViewFiles, lib.rynNextFile, source, library, cell, view)
        if view is not None:
            if cell is None:
                raise ValueError("a view needs a cell")
            return self._list(lib.rynXIterateViewFiles, lib.rynNextFile, source, library, cell, view)
        if cell is not None:
            return self._list(lib.rynXIterateCellFiles, lib.rynNextFile, source, library, cell)
        return self._list(lib.rynXIterateLibFiles, lib.rynNextFile, source, library)

    def _list(self, begin: object, following: object, source: Source, *names: str) -> Iterator[str]:
        encoded = [encode(name) for name in names]
        with lock, Section() as section:
            self._open()
            try:
                found = self._names(begin, (int(source), *encoded), following)
            except LibraryError as error:
                raise library_error(LibraryCode(error.code), "/".join(names), section.diagnostics) from None
        return iter(found)

    def _names(self, begin: object, arguments: Sequence[object], following: object) -> list[str]:
        """Every name of an iteration; to be called in a section."""
        context, name = ffi.new("rynContext **"), ffi.new("const char **")
        code = begin(self._handle, *arguments, context)  # type: ignore[operator]
        if code:
            raise library_error(library_code(code), "")
        try:
            names = []
            while following(context[0], name) == 0:  # type: ignore[operator]
                names.append(decode(name[0]))
            return names
        finally:
            lib.rynIterateEnd(context[0])

    # ---- temporary directories

    def set_implicit_temporary_directory(self, directory: Path | None, *, only: bool = False) -> None:
        """Sets the directory under which every library has an implicit temporary directory; None removes it.

        `directory` must exist. With `only`, a failure there is final: other directories are not tried.
        """
        root = None if directory is None else os.path.realpath(os.fsdecode(directory))
        if root is not None and "$" in root:
            raise ValueError("the path of an implicit temporary directory holds no '$'")
        # It hides the global ones from find().
        globals_ = None if root is None else {library.name: library._global_directory() for library in self.values()}
        with lock, Section() as section:
            flags = lib.RYN_IMPLICIT_ONLY if only else lib.RYN_IMPLICIT_FIRST
            flags = lib.RYN_IMPLICIT_NONE if root is None else flags
            code = lib.rynSetImplicitTmp(self._open(), encode_optional(root), flags, fatal_handler)
            self._implicit_root = root if code == 0 else None
            self._global_directories = globals_ if code == 0 else None
        self._check(code, root or "", section.diagnostics)

    # ---- searches

    def search(self, name: str, *, library: str | None = None, groups: Sequence[Path] | None = None) -> str | None:
        """Returns the first file `name` along the search list, or None.

        "@LIBRARY" in the search list stands for the directories of `library`. `groups` are as for vek.search().
        """
        array, kept = (NULL, []) if groups is None else string_list(groups)
        out = ffi.new("char[]", PATH_SIZE)
        with lock, Section() as section:
            code = lib.rynSearchList(self._open(), encode(name), array, encode_optional(library), out, PATH_SIZE)
            path = decode(out)
        if code == LibraryCode.NO_SUCH_FILE:
            return None
        self._check(code, path or name, section.diagnostics)
        return path

    def search_all(self, name: str, *, library: str, groups: Sequence[Path] | None = None) -> list[str]:
        """Returns the first match of `name` for each directory of `library`, as search() finds it."""
        array, kept = (NULL, []) if groups is None else string_list(groups)
        result = ffi.new("char ***")
        with lock, Section() as section:
            code = lib.rynFullSearchList(self._open(), encode(name), array, encode(library), result)
            try:
                found = decode_list(result[0])
            finally:
                lib.vekFreeStrlist(result[0])
        if code != LibraryCode.NO_SUCH_FILE:
            self._check(code, name, section.diagnostics)
        return found

    def search_writable(self, name: str, *, library: str | None = None) -> str | None:
        """Returns the first file `name` that can be written, along the search list and in `library`, or None."""
        out = ffi.new("char[]", PATH_SIZE)
        with lock, Section() as section:
            code = lib.rynFindWritable(self._open(), encode(name), encode_optional(library), out, PATH_SIZE)
            path = decode(out)
        if code == LibraryCode.NO_SUCH_FILE:
            return None
        self._check(code, name, section.diagnostics)
        return path

    @staticmethod
    def _check(code: int, subject: str, diagnostics: Sequence[Diagnostic]) -> None:
        if code:
            raise library_error(library_code(code), subject, diagnostics)


def _design_object(library: str, *names: str | None) -> str:
    return "/".join([library, *(name for name in names if name)])


class Library:
    """One library of a registry."""

    def __init__(self, registry: Registry, name: str) -> None:
        self._registry = registry
        self._name = name

    @property
    def name(self) -> str:
        return self._name

    @property
    def registry(self) -> Registry:
        return self._registry

    def __repr__(self) -> str:
        return f"<vek.Library {self._name!r} of {self._registry!r}>"

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Library) and (self._registry, self._name) == (other._registry, other._name)

    def __hash__(self) -> int:
        return hash((id(self._registry), self._name))

    @property
    def directory(self) -> str:
        """The library's own directory."""
        return self._registry.find(self._name, access=Access.READ_LIBRARY)

    @property
    def defined_at(self) -> Place | None:
        """The latest definition."""
        file, line = ffi.new("const char **"), ffi.new("int *")
        with lock, Section() as section:
            code = lib.rynWhereDefined(self._registry._open(), encode(self._name), file, line)
            place = Place(decode(file[0]), line[0]) if code == 0 and file[0] else None
        if code != LibraryCode.INTERNAL_ERROR:
            self._registry._check(code, self._name, section.diagnostics)
        return place

    @property
    def attributes(self) -> dict[str, str]:
        """The attributes, the newest first. Names are in upper case."""
        context = ffi.new("rynContext **")
        name, value = ffi.new("const char **"), ffi.new("const char **")
        found = {}
        with lock, Section() as section:
            code = lib.rynIterateAttrs(self._registry._open(), encode(self._name), context)
            if code == 0:
                while lib.rynNextAttr(context[0], name, value) == 0:
                    found[decode(name[0])] = decode_optional(value[0]) or ""
                lib.rynIterateEnd(context[0])
        self._registry._check(code, self._name, section.diagnostics)
        return found

    def assigned_at(self, attribute: str) -> Place | None:
        """The statement that last assigned `attribute`, in any case, or None."""
        file, line = ffi.new("const char **"), ffi.new("int *")
        with lock, Section() as section:
            code = lib.rynWhereAssigned(self._registry._open(), encode(self._name), encode(attribute), file, line)
            place = Place(decode(file[0]), line[0]) if code == 0 and file[0] else None
        if code not in (LibraryCode.ATTRIBUTE_NOT_ASSIGNED, LibraryCode.INTERNAL_ERROR):
            self._registry._check(code, self._name, section.diagnostics)
        return place

    @property
    def temporary_directories(self) -> list[TemporaryDirectory]:
        """The temporary directories, in the order in which find() tries them."""
        registry = self._registry
        with lock, Section() as section:
            handle = registry._open()
            codes = {kind: lib.rynLibHasTmp(handle, encode(self._name), int(kind)) for kind in TemporaryKind}
        kinds = [kind for kind, code in codes.items() if code == 0]
        if not kinds:
            code = codes[TemporaryKind.EXPLICIT]
            if code != LibraryCode.ATTRIBUTE_NOT_ASSIGNED:
                registry._check(code, self._name, section.diagnostics)
        found = []
        if TemporaryKind.IMPLICIT in kinds:
            path = None if registry._implicit_root is None else f"{registry._implicit_root}/{self._name}"
            found.append(TemporaryDirectory(TemporaryKind.IMPLICIT, path))
        if TemporaryKind.EXPLICIT in kinds:
            found.append(TemporaryDirectory(TemporaryKind.EXPLICIT, self.attributes.get("TMP")))
        if TemporaryKind.GLOBAL in kinds:
            hidden = registry._global_directories
            path = self._global_directory() if hidden is None else hidden.get(self._name)
            found.append(TemporaryDirectory(TemporaryKind.GLOBAL, path))
        return found

    def _global_directory(self) -> str | None:
        """The directory under the global root, while there is no implicit one."""
        out = ffi.new("char[]", PATH_SIZE)
        with lock, Section():
            handle, name = self._registry._open(), encode(self._name)
            if lib.rynLibHasTmp(handle, name, lib.RYN_TMP_GLOBAL):
                return None
            code = lib.rynGetPath(handle, lib.RYN_PATH_READ_TMP, name, NULL, NULL, NULL, out, PATH_SIZE)
            return decode(out) if code == 0 else None

    def find(
        self, cell: str | None = None, view: str | None = None, file: str | None = None, *, access: Access = Access.READ
    ) -> str:
        """Registry.find() in this library."""
        return self._registry.find(self._name, cell, view, file, access=access)

    def exists(
        self, cell: str | None = None, view: str | None = None, file: str | None = None, *, query: Query = Query.EXISTS
    ) -> bool:
        """Registry.exists() in this library."""
        return self._registry.exists(self._name, cell, view, file, query=query)

    def cells(self, *, source: Source = Source.LIBRARY | Source.TMP) -> Iterator[str]:
        """Registry.cells() of this library."""
        return self._registry.cells(self._name, source=source)

    def views(self, cell: str, *, source: Source = Source.LIBRARY | Source.TMP) -> Iterator[str]:
        """Registry.views() of this library."""
        return self._registry.views(self._name, cell, source=source)

    def files(
        self,
        cell: str | None = None,
        view: str | None = None,
        *,
        recursive: bool = False,
        source: Source = Source.LIBRARY | Source.TMP,
    ) -> Iterator[str]:
        """Registry.files_in() of this library."""
        return self._registry.files_in(self._name, cell, view, recursive=recursive, source=source)
