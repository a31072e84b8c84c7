"""The page: one HTML file that needs nothing else."""

from __future__ import annotations

import base64
import collections
import hashlib
import importlib.resources
import os
import time
from collections.abc import Iterator
from dataclasses import dataclass

import jinja2
from markupsafe import Markup

from vek.codes import LibraryCode, TemporaryKind
from vek.diagnostics import Place
from vek.report._text import visible
from vek.report._tree import tree_of
from vek.site import Problem, ProblemKind, Site, SiteLibrary
from vek.tags import Entry

#: Of one kind of problem, the page lists so many; the table has them all.
LISTED = 100

#: Up to so many libraries, paths have line breaks after their slashes.
BREAKABLE = 1000

TITLES = {
    ProblemKind.DEFINITION: "Diagnostics of the definition files",
    ProblemKind.MISSING_DIRECTORY: "Missing directories",
    ProblemKind.UNREADABLE_DIRECTORY: "Unreadable directories",
    ProblemKind.TAG_FILE: "Tag files with errors",
    ProblemKind.NAMESPACE: "Namespaces that do not suit the file system",
    ProblemKind.NO_LIBRARY_ENTRY: "Libraries without a VEKLIBRARY entry",
    ProblemKind.REDUNDANT_TAG_FILE: "Redundant tag files",
    ProblemKind.LINK_LOOP: "Links that lead back",
    ProblemKind.CHECK: "Other messages of the check",
}

SHORT = {
    ProblemKind.DEFINITION: "definition",
    ProblemKind.MISSING_DIRECTORY: "missing directory",
    ProblemKind.UNREADABLE_DIRECTORY: "unreadable directory",
    ProblemKind.TAG_FILE: "tag file error",
    ProblemKind.NAMESPACE: "namespace",
    ProblemKind.NO_LIBRARY_ENTRY: "no VEKLIBRARY entry",
    ProblemKind.REDUNDANT_TAG_FILE: "redundant tag file",
    ProblemKind.LINK_LOOP: "link loop",
    ProblemKind.CHECK: "check",
}

TEMPORARY = {
    TemporaryKind.EXPLICIT: "its own",
    TemporaryKind.GLOBAL: "global root",
    TemporaryKind.IMPLICIT: "implicit",
}


@dataclass(frozen=True)
class Row:
    """Equal problems of several libraries, as one row of the list."""

    problem: Problem
    libraries: tuple[str, ...]


@dataclass(frozen=True)
class Group:
    """The problems of one kind."""

    kind: ProblemKind
    title: str
    count: int
    rows: tuple[Row, ...]
    #: Rows that are not listed.
    left_out: int
    #: Libraries that have such a problem.
    in_libraries: int


def render(site: Site) -> Iterator[str]:
    """Yields the page in pieces."""
    environment = jinja2.Environment(
        autoescape=True,
        undefined=jinja2.StrictUndefined,
        trim_blocks=True,
        lstrip_blocks=True,
        loader=jinja2.FunctionLoader(_resource),
    )
    names = _Names(site)
    environment.filters["visible"] = visible
    environment.filters["place"] = names.place
    environment.filters["short"] = names.short
    environment.filters["path"] = names.path
    environment.filters["place_key"] = names.key
    environment.filters["count"] = lambda number: f"{number:,}"
    environment.globals.update(kinds=SHORT, temporary=TEMPORARY, source_of=names.source_of, labels=labels)
    style, script = Markup(_resource("page.css")), Markup(_resource("page.js"))
    return environment.get_template("page.html.j2").generate(
        site=site,
        style=style,
        script=script,
        policy=_policy(style, script),
        root=names.root.rstrip("/") or "/",
        groups=groups(site),
        tree=tree_of(site.files, lambda path: visible(names.short(path))),
        written=_now(),
        has_temporary=any(library.temporary_directories for library in site.libraries),
        has_attributes=any(library.attributes for library in site.libraries),
        used_kinds=[kind for kind in TITLES if any(problem.kind == kind for problem in site.problems)],
        diagnostics=sum(file.diagnostics for file in site.files),
    )


def _resource(name: str) -> str:
    return (importlib.resources.files("vek.report") / name).read_text(encoding="utf-8")


def _policy(style: str, script: str) -> str:
    """Nothing is loaded from anywhere, and nothing runs but this style sheet and this script."""
    return (
        f"default-src 'none'; style-src '{_digest(style)}'; script-src '{_digest(script)}'; "
        "base-uri 'none'; form-action 'none'"
    )


def _digest(text: str) -> str:
    return "sha256-" + base64.b64encode(hashlib.sha256(text.encode()).digest()).decode()


def _now() -> str:
    epoch = os.environ.get("SOURCE_DATE_EPOCH")
    if epoch:
        return time.strftime("%Y-%m-%d %H:%M UTC", time.gmtime(int(epoch)))
    return time.strftime("%Y-%m-%d %H:%M")


class _Names:
    """Paths as the page shows them: relative to the directory of all definition files, if they lie below it."""

    def __init__(self, site: Site) -> None:
        directories = [os.path.dirname(file.path) for file in site.files]
        common = os.path.commonpath(directories)
        self.root = (os.path.dirname(site.file) if common == "/" else common).rstrip("/") + "/"
        # Half a million elements would make the page of a large site slow.
        self.is_breakable = len(site.libraries) <= BREAKABLE
        self.numbers = {file.path: index for index, file in enumerate(site.files)}

    def key(self, path: str) -> int:
        """The number of a definition file, which stands for its path in attributes."""
        return self.numbers.get(path, -1)

    def short(self, path: str) -> str:
        return path[len(self.root) :] if path.startswith(self.root) and path != self.root else path

    def path(self, path: str) -> Markup:
        """The path, with line breaks allowed after slashes."""
        separator = Markup("/<wbr>") if self.is_breakable else Markup("/")
        return separator.join(visible(path).split("/"))

    def place(self, place: Place) -> str:
        return f"{self.short(place.file)}:{place.line}"

    def source_of(self, entry: Entry, library: SiteLibrary) -> str:
        """The source of the value of an entry."""
        if entry.file is None:
            return "default"
        if entry.file == f"{library.checked_directory}/vekinfo.tag":
            return "own tag file"
        return self.short(entry.file)


def problem_label(problem: Problem) -> str:
    """The name of a problem in its library's row."""
    if problem.code in (LibraryCode.REDEFINED, LibraryCode.REDEFINED_IN_SAME_FILE):
        return "redefined"
    if problem.kind == ProblemKind.DEFINITION and problem.code is not None:
        return problem.message.partition(":")[0].lower()
    return SHORT[problem.kind]


@dataclass(frozen=True)
class Label:
    """Problems of one library that have the same name."""

    kind: ProblemKind
    text: str
    #: The message of the first one.
    message: str
    count: int


def labels(library: SiteLibrary) -> list[Label]:
    """The problems of a library by name: a library may have thousands of one kind."""
    counts = collections.Counter(problem_label(problem) for problem in library.problems)
    first = {problem_label(problem): problem for problem in reversed(library.problems)}
    return [Label(first[text].kind, text, first[text].message, count) for text, count in counts.items()]


def groups(site: Site) -> list[Group]:
    """The problems by kind, in the order of TITLES. Equal ones of several libraries are one row."""
    by_kind: dict[ProblemKind, dict[tuple[object, ...], list[Problem]]] = collections.defaultdict(dict)
    for problem in site.problems:
        key = (problem.message, problem.path, problem.line)
        by_kind[problem.kind].setdefault(key, []).append(problem)
    found = []
    for kind, title in TITLES.items():
        rows = [
            Row(equal[0], tuple(p.library for p in equal if p.library is not None)) for equal in by_kind[kind].values()
        ]
        if rows:
            count = sum(len(equal) for equal in by_kind[kind].values())
            libraries = {name for row in rows for name in row.libraries}
            left_out = max(0, len(rows) - LISTED)
            found.append(Group(kind, title, count, tuple(rows[:LISTED]), left_out, len(libraries)))
    return found
