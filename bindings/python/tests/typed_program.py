"""A program as its users write it. `mypy --strict` accepts it; it is not run."""

from __future__ import annotations

from typing import Optional

import vek
from vek.site import Site, read_site


def dm_types(file: str) -> dict[str, Optional[str]]:
    found: dict[str, Optional[str]] = {}
    with vek.Registry(file, check_existence=False) as registry:
        for name, library in registry.items():
            entry = vek.lookup(library.directory, "DMTYPE")
            found[name] = entry.value if entry is not None else None
            for cell in library.cells(source=vek.Source.LIBRARY):
                print(library.find(cell, access=vek.Access.READ_LIBRARY))
    return found


def problems(site: Site) -> list[str]:
    return [f"{problem.path}:{problem.line}: {problem.message}" for problem in site.problems]


def code(error: vek.LibraryError) -> str:
    return error.code.text


print(problems(read_site(progress=lambda done, total, name: None)))
