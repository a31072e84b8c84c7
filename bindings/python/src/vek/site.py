"""A whole site at once: every library that a `vek.lib` defines, where from, its tags, and what is wrong.

read_site() is what the command vekreport shows. It writes nothing itself and does not probe file systems. Reading a
`vek.lib` that assigns a global temporary root creates the libraries' directories under it, as in any program.
"""

from __future__ import annotations

import collections
import dataclasses
import enum
import errno
import os
import subprocess
from collections.abc import Callable, Iterable, Iterator, Sequence
from dataclasses import dataclass, field
from typing import Any

from vek._library import Path
from vek._version import __version__
from vek.codes import Access, SearchCode, TagCode, TemporaryKind
from vek.diagnostics import Diagnostic, Place, SearchError, TagError
from vek.registry import Library, Registry, TemporaryDirectory
from vek.search import search_all, search_list
from vek.tags import Entry, lookup, read_tags

__all__ = [
    "Check",
    "ConfigurePlan",
    "Problem",
    "ProblemKind",
    "Site",
    "SiteFile",
    "SiteLibrary",
    "read_site",
    "run_check",
]


class ProblemKind(str, enum.Enum):
    """What kind of problem; the values are those of the JSON form."""

    #: A diagnostic of a library definition file.
    DEFINITION = "definition"
    MISSING_DIRECTORY = "missing-directory"
    UNREADABLE_DIRECTORY = "unreadable-directory"
    #: The library's directory has no tag file with a VEKLIBRARY entry.
    NO_LIBRARY_ENTRY = "no-library-entry"
    #: A tag file that cannot be read, or has a syntax error.
    TAG_FILE = "tag-file"
    #: A tag file below a library's directory.
    REDUNDANT_TAG_FILE = "redundant-tag-file"
    #: A symbolic link below a library that leads to one of the directories above it.
    LINK_LOOP = "link-loop"
    #: `vekinfo -checklibrary` found that the NAMESPACE entry does not suit the file system.
    NAMESPACE = "namespace"
    #: Any other line that the check printed on standard error.
    CHECK = "check"

    def __str__(self) -> str:
        return self.value


@dataclass(frozen=True)
class Problem:
    """One thing that is wrong, and where."""

    kind: ProblemKind
    message: str
    #: The name of the library that it concerns, or None.
    library: str | None
    #: The file or directory to look at, or None.
    path: str | None
    #: The line of the file, or None.
    line: int | None = None
    #: The code of a diagnostic, or None.
    code: int | None = None


@dataclass(frozen=True)
class ConfigurePlan:
    """What `vekinfo -configurelibrary` would do to a library without a VEKLIBRARY entry."""

    #: The tag file that it would append to.
    file: str
    #: The entries. Which NAMESPACE it is depends on a probe: "NAMESPACE: by probe".
    appends: tuple[str, ...]
    #: Why it would fail, or None.
    refusal: str | None


@dataclass(frozen=True)
class SiteLibrary:
    """One library of a site."""

    name: str
    directory: str
    #: The directory that vekinfo looks at: a temporary directory, if the library has one.
    checked_directory: str
    defined_at: Place | None
    #: Definitions that the latest one replaces, the oldest first.
    earlier_definitions: tuple[Place, ...]
    temporary_directories: tuple[TemporaryDirectory, ...]
    attributes: dict[str, str]
    #: As lookup() finds them for the checked directory.
    dmtype: Entry | None
    namespace: Entry | None
    library_entry: Entry | None
    configure: ConfigurePlan | None
    problems: tuple[Problem, ...]


@dataclass(frozen=True)
class SiteFile:
    """One library definition file of a site."""

    path: str
    included_from: Place | None
    #: Libraries whose latest definition is in this file.
    libraries: int
    #: Diagnostics of this file.
    diagnostics: int


@dataclass(frozen=True)
class Check:
    """A run of `vekinfo -verbose -checklibrary`."""

    command: tuple[str, ...]
    status: int
    #: The lines of standard output and of standard error.
    output: tuple[str, ...]
    errors: tuple[str, ...]


@dataclass(frozen=True)
class Site:
    """Every library that one `vek.lib` defines."""

    #: The version of the package that read it.
    version: str
    #: The full path of the library definition file, and the directory in which it was asked for.
    file: str
    working_directory: str
    search_list: tuple[str, ...]
    #: The statement of the global temporary root, or None. Reading the file created directories under it.
    global_temporary_root: Place | None
    files: tuple[SiteFile, ...]
    libraries: tuple[SiteLibrary, ...]
    #: All problems: those of libraries, and those that concern none.
    problems: tuple[Problem, ...]
    #: Whether the directories below the libraries were looked at.
    scanned: bool
    check: Check | None

    def to_dict(self) -> dict[str, Any]:
        """The form that vekreport writes as JSON; `vekreport --schema` prints its schema."""
        return {
            "schema": 1,
            **dataclasses.asdict(self, dict_factory=_plain_dict),
            "counts": {
                "libraries": len(self.libraries),
                "files": len(self.files),
                "diagnostics": sum(file.diagnostics for file in self.files),
                "problems": len(self.problems),
            },
        }


def _plain_dict(items: list[tuple[str, Any]]) -> dict[str, Any]:
    return {name: _plain(value) for name, value in items}


def _plain(value: Any) -> Any:
    if isinstance(value, TemporaryKind):
        return str(value.name).lower()
    if isinstance(value, enum.Enum):
        return value.value
    return list(value) if isinstance(value, tuple) else value


# ---- reading

#: Called before each library: how many are done, of how many, and the name of this one.
Progress = Callable[[int, int, str], None]


def read_site(
    file: Path | None = None,
    *,
    scan: bool = True,
    check: bool = False,
    vekinfo: Path = "vekinfo",
    progress: Progress | None = None,
) -> Site:
    """Reads the library definition file `file`, or the first `vek.lib` of the search list, and all its libraries.

    With `scan`, the directories below each library are searched for redundant tag files, as a check does. With
    `check`, `vekinfo -verbose -checklibrary` is run as well, which probes file systems by creating small files; it
    looks at the `vek.lib` of the search list, so `file` must be that one, or ValueError is raised.

    A file that cannot be read raises LibraryError, a directory instead of a file IsADirectoryError, and a missing
    `vek.lib` SearchError.
    """
    directories = tuple(_search_list())
    searched = next(iter(search_all("vek.lib")), None) if directories else None
    if file is None and searched is None:
        raise SearchError(SearchCode.FILE_NOT_FOUND, "vek.lib")
    name = os.fsdecode(file) if file is not None else str(searched)
    if check and not (searched is not None and os.path.exists(name) and os.path.samefile(name, searched)):
        raise ValueError(f"{name} is not the vek.lib that vekinfo checks ({searched or 'there is none'})")
    # As vekinfo reads it: libraries whose directory is missing are defined.
    with Registry(name, check_existence=False) as registry:
        # The library reads a directory as an empty file: a mistyped name would be a site without problems.
        path = registry.files[0].path
        if os.path.isdir(path):
            raise IsADirectoryError(errno.EISDIR, os.strerror(errno.EISDIR), path)
        return _Reader(registry, directories, scan, progress).read(run_check(vekinfo) if check else None)


def _search_list() -> list[str]:
    try:
        return search_list()
    except SearchError:
        return []


def run_check(vekinfo: Path = "vekinfo") -> Check:
    """Runs `vekinfo -verbose -checklibrary` in the working directory."""
    command = (os.fsdecode(vekinfo), "-verbose", "-checklibrary")
    done = subprocess.run(
        command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False
    )
    return Check(command, done.returncode, _lines(done.stdout), _lines(done.stderr))


def _lines(data: bytes) -> tuple[str, ...]:
    lines = data.split(b"\n")
    return tuple(os.fsdecode(line) for line in (lines if lines[-1] else lines[:-1]))


@dataclass
class _Reader:
    """Reads one site from its registry."""

    registry: Registry
    directories: tuple[str, ...]
    scan: bool
    progress: Progress | None
    #: The definition that the one at a place replaces.
    replaced: dict[Place, Place] = field(default_factory=dict)
    at_place: dict[Place, list[Problem]] = field(default_factory=dict)

    def read(self, check: Check | None) -> Site:
        registry = self.registry
        for diagnostic in registry.diagnostics:
            self._take(diagnostic)
        names = list(registry)
        libraries = []
        for index, name in enumerate(names):
            if self.progress is not None:
                self.progress(index, len(names), name)
            libraries.append(self._library(registry[name]))
        if check is not None:
            libraries = _with_check(libraries, check)
        own = [problem for library in libraries for problem in library.problems]
        loose = [problem for problems in self.at_place.values() for problem in problems]
        loose += [_problem_of(diagnostic, None) for diagnostic in registry.diagnostics if not _place_of(diagnostic)]
        if check is not None:
            loose += _other_lines(check)
        return Site(
            version=__version__,
            file=registry.files[0].path,
            working_directory=os.getcwd(),
            search_list=self.directories,
            global_temporary_root=registry.global_temporary_root,
            files=tuple(self._files(libraries)),
            libraries=tuple(libraries),
            problems=(*loose, *own),
            scanned=self.scan,
            check=check,
        )

    def _take(self, diagnostic: Diagnostic) -> None:
        place = _place_of(diagnostic)
        if place is None:
            return
        earlier = diagnostic.earlier_definition
        if earlier is not None:
            self.replaced[place] = earlier
        self.at_place.setdefault(place, []).append(_problem_of(diagnostic, None))

    def _earlier_definitions(self, place: Place | None) -> tuple[Place, ...]:
        """The definitions that the one at `place` replaces, the oldest first."""
        found: list[Place] = []
        while place in self.replaced and len(found) < len(self.replaced):
            place = self.replaced[place]
            found.append(place)
        return tuple(reversed(found))

    def _files(self, libraries: Sequence[SiteLibrary]) -> Iterator[SiteFile]:
        defined = collections.Counter(library.defined_at.file for library in libraries if library.defined_at)
        reported = collections.Counter(diagnostic.file for diagnostic in self.registry.diagnostics)
        for file in self.registry.files:
            yield SiteFile(file.path, file.included_from, defined[file.path], reported[file.path])

    # ---- one library

    def _library(self, library: Library) -> SiteLibrary:
        directory = library.directory
        checked = library.find(access=Access.READ)
        place = library.defined_at
        earlier = self._earlier_definitions(place)
        problems = [
            dataclasses.replace(problem, library=library.name)
            for at in (*earlier, *([place] if place is not None else []))
            for problem in self.at_place.pop(at, ())
        ]
        problems += self._directory_problems(library.name, dict.fromkeys((directory, checked)), place)
        entries, reported = _entries(checked)
        problems += [_problem_of(diagnostic, library.name, ProblemKind.TAG_FILE) for diagnostic in reported]
        plan = None
        if os.path.isdir(checked):
            plan = _configure_plan(checked)
            if plan is not None:
                problems.append(
                    Problem(
                        ProblemKind.NO_LIBRARY_ENTRY, "no VEKLIBRARY entry in its own tag file", library.name, plan.file
                    )
                )
            if self.scan:
                problems += _scan(checked, library.name)
        return SiteLibrary(
            name=library.name,
            directory=directory,
            checked_directory=checked,
            defined_at=place,
            earlier_definitions=earlier,
            temporary_directories=tuple(library.temporary_directories),
            attributes=library.attributes,
            dmtype=entries["DMTYPE"],
            namespace=entries["NAMESPACE"],
            library_entry=entries["VEKLIBRARY"],
            configure=plan,
            problems=tuple(problems),
        )

    @staticmethod
    def _directory_problems(name: str, directories: Iterable[str], place: Place | None) -> Iterator[Problem]:
        file, line = (place.file, place.line) if place is not None else (None, None)
        for directory in directories:
            if not os.path.isdir(directory):
                text = "does not exist"
                if os.path.lexists(directory):
                    text = "is not a directory" if os.path.exists(directory) else "is a symbolic link to nothing"
                yield Problem(ProblemKind.MISSING_DIRECTORY, f"{directory} {text}", name, file, line)
            elif not _is_allowed(directory, os.R_OK | os.X_OK):
                yield Problem(ProblemKind.UNREADABLE_DIRECTORY, f"{directory} cannot be read", name, file, line)


def _place_of(diagnostic: Diagnostic) -> Place | None:
    return Place(diagnostic.file, diagnostic.line) if diagnostic.file and diagnostic.line else None


def _problem_of(diagnostic: Diagnostic, library: str | None, kind: ProblemKind = ProblemKind.DEFINITION) -> Problem:
    message = f"{diagnostic.text}: {diagnostic.subject}" if diagnostic.code is not None else diagnostic.subject
    code = None if diagnostic.code is None else int(diagnostic.code)
    return Problem(kind, message, library, diagnostic.file, diagnostic.line, code)


def _is_allowed(path: str, mode: int) -> bool:
    return os.access(path, mode, effective_ids=os.access in os.supports_effective_ids)


# ---- tags of a library


def _entries(directory: str) -> tuple[dict[str, Entry | None], list[Diagnostic]]:
    """The entries of a library, and what was reported on the way, each once."""
    reported: list[Diagnostic] = []
    entries = {name: lookup(directory, name, diagnostics=reported) for name in ("VEKLIBRARY", "DMTYPE", "NAMESPACE")}
    return entries, list(dict.fromkeys(reported))


def _configure_plan(directory: str) -> ConfigurePlan | None:
    """What -configurelibrary would append; None if the directory's own tag file has the entry."""
    file = directory + "/vekinfo.tag"
    try:
        if read_tags(file).library:
            return None
    except TagError as error:
        if error.code != TagCode.NO_SUCH_FILE and not error.diagnostics:
            raise
    appends = ["VEKLIBRARY", *(["DMTYPE none"] if _dm_tag_says_none(directory) else []), "NAMESPACE: by probe"]
    refusal = None if _is_allowed(directory, os.W_OK | os.X_OK) else "the directory cannot be written"
    return ConfigurePlan(file, tuple(appends), refusal)


def _dm_tag_says_none(directory: str) -> bool:
    try:
        with open(directory + "/dm.tag", "rb") as file:
            return file.readline(4095).split()[:1] == [b"none"]
    except OSError:
        return False


def _scan(top: str, library: str) -> Iterator[Problem]:
    """Redundant tag files below a library, and links that lead back. Every directory is looked at once."""
    seen: set[tuple[int, int]] = set()
    pending = [top]
    while pending:
        directory = pending.pop()
        try:
            status = os.stat(directory)
            entries = sorted(os.scandir(directory), key=lambda entry: entry.name)
        except OSError:
            continue
        if (status.st_dev, status.st_ino) in seen:
            continue
        seen.add((status.st_dev, status.st_ino))
        for entry in entries:
            if _is_directory(entry):
                target = os.path.realpath(entry.path) if entry.is_symlink() else entry.path
                if entry.is_symlink() and f"{os.path.realpath(directory)}/".startswith(f"{target.rstrip('/')}/"):
                    yield Problem(
                        ProblemKind.LINK_LOOP, f"the link leads to {target}, which it lies in", library, entry.path
                    )
                else:
                    pending.append(target)
            elif entry.name == "vekinfo.tag" and directory != top:
                yield Problem(
                    ProblemKind.REDUNDANT_TAG_FILE, "a tag file below the library's directory", library, entry.path
                )


def _is_directory(entry: os.DirEntry[str]) -> bool:
    try:
        return entry.is_dir()
    except OSError:
        return False


# ---- what a check prints


def _with_check(libraries: Sequence[SiteLibrary], check: Check) -> list[SiteLibrary]:
    printed = set(check.output)
    return [_with_namespace(library, printed) for library in libraries]


def _with_namespace(library: SiteLibrary, printed: set[str]) -> SiteLibrary:
    directory = library.checked_directory
    if f"Warning: Library {library.name} at {directory} has incorrect namespace in vekinfo.tag file" not in printed:
        return library
    message = "the NAMESPACE entry does not suit the file system"
    problem = Problem(ProblemKind.NAMESPACE, message, library.name, directory + "/vekinfo.tag")
    return dataclasses.replace(library, problems=(*library.problems, problem))


def _other_lines(check: Check) -> Iterator[Problem]:
    """Warnings of the check itself; the diagnostics of the definition files are known already."""
    for line in check.errors:
        if line.startswith("WARNING: "):
            yield Problem(ProblemKind.CHECK, line, None, None)
