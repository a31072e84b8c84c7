"""Every test runs in a directory of its own, with an environment that it sets whole."""

from __future__ import annotations

import os
import pathlib
import re
import shutil
import subprocess
import sys
from collections.abc import Iterator
from typing import Callable

import pytest

SOURCE = pathlib.Path(__file__).resolve().parents[3]
# chromium.py
sys.path.append(str(SOURCE / "tests" / "support"))

#: The tool that the results of the binding are compared with.
VEKINFO = os.environ.get("VEKINFO", "vekinfo")


@pytest.fixture(autouse=True)
def tree(tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch) -> Iterator[pathlib.Path]:
    """An empty working directory. Variables that the library reads are not set."""
    for name in list(os.environ):
        if name.startswith(("VEK_", "RYN_")) or name in {"PWD", "home"}:
            monkeypatch.delenv(name)
    monkeypatch.setenv("HOME", str(tmp_path / "no-home"))
    directory = pathlib.Path(os.path.realpath(tmp_path)) / "tree"
    directory.mkdir()
    monkeypatch.chdir(directory)
    yield directory


@pytest.fixture
def project(tree: pathlib.Path) -> pathlib.Path:
    """A copy of the sample project, as working directory."""
    shutil.copytree(SOURCE / "examples" / "project", tree, dirs_exist_ok=True)
    return tree


@pytest.fixture
def write(tree: pathlib.Path) -> Callable[..., pathlib.Path]:
    """Writes the lines of a file below the working directory, and makes its directories."""

    def write_lines(name: str, *lines: str) -> pathlib.Path:
        file = tree / name
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text("".join(f"{line}\n" for line in lines))
        return file

    return write_lines


Tool = Callable[..., "subprocess.CompletedProcess[str]"]


@pytest.fixture
def vekinfo() -> Tool:
    """Runs the tool in the working directory."""

    def run(*arguments: str) -> subprocess.CompletedProcess[str]:
        return subprocess.run(
            [VEKINFO, *arguments], capture_output=True, encoding="utf-8", errors="surrogateescape", timeout=60
        )

    return run


@pytest.fixture
def lookup_of_tool(vekinfo: Tool) -> Callable[[str, str], "tuple[str, str] | None"]:
    """The result of `vekinfo -lookup` in a new process: (value, file), or None."""

    def look_up(path: str, name: str) -> tuple[str, str] | None:
        output = vekinfo("-path", path, "-lookup", name).stdout.partition("\n")[2]
        found = re.fullmatch(r"(.*)\n    defines '\S+ (.*)'\.\n", output)
        if found:
            return found.group(2), found.group(1)
        entry = re.search(r"The vekinfo.tag file at: (.*)\nhas a VEKLIBRARY entry defined\.\n", output)
        return ("", entry.group(1)) if entry else None

    return look_up
