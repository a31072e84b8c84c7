"""The wheel and the source archive, built without a network."""

from __future__ import annotations

import os
import pathlib
import subprocess
import tarfile
import zipfile

import pytest

import vek
from conftest import SOURCE

BINDING = SOURCE / "bindings/python"
PIP = ["/usr/bin/python3", "-m", "pip", "--isolated", "--disable-pip-version-check"]


def run(*command: str, directory: pathlib.Path = pathlib.Path(".")) -> None:
    environment = {name: value for name, value in os.environ.items() if name not in {"PYTHONPATH", "VEK_INCLUDE_DIR"}}
    done = subprocess.run(
        command, cwd=directory, env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True
    )
    assert done.returncode == 0, done.stdout


def modules(wheel: pathlib.Path) -> dict[str, bytes]:
    with zipfile.ZipFile(wheel) as archive:
        return {name: archive.read(name) for name in archive.namelist() if name.startswith("vek/")}


@pytest.fixture
def wheel(tree):
    run(*PIP, "wheel", "--no-deps", "--no-index", "--no-build-isolation", "-w", "dist", str(BINDING))
    return tree / "dist" / f"vek-{vek.__version__}-py3-none-any.whl"


def test_pip_builds_a_wheel_of_pure_python(wheel):
    names = set(modules(wheel))
    assert {"vek/py.typed", "vek/_declarations.py", "vek/_declarations.pyi", "vek/codes.py", "vek/site.py"} <= names
    assert {
        "vek/report/page.html.j2",
        "vek/report/page.css",
        "vek/report/page.js",
        "vek/report/site.schema.json",
    } <= names
    assert not [name for name in names if name.endswith((".so", ".pyc"))]


def test_an_installed_wheel_runs(wheel, project):
    run(*PIP, "install", "--no-deps", "--no-index", "--no-compile", "--target", "installed", str(wheel))
    environment = {**os.environ, "PYTHONPATH": "installed"}
    command = ["installed/bin/vekreport", "--quiet", "-o", "-"]
    done = subprocess.run(command, env=environment, capture_output=True, text=True, check=True)
    assert "<!DOCTYPE html>" in done.stdout


def test_a_wheel_from_the_source_archive_is_the_same(wheel, tree):
    run("/usr/bin/python3", "-m", "hatchling", "build", "-t", "sdist", "-d", str(tree), directory=BINDING)
    with tarfile.open(tree / f"vek-{vek.__version__}.tar.gz") as archive:
        archive.extractall(tree)
    source = tree / f"vek-{vek.__version__}"
    run("/usr/bin/python3", "-m", "hatchling", "build", "-t", "wheel", "-d", str(tree), directory=source)
    assert modules(tree / wheel.name) == modules(wheel)


def test_a_wheel_is_the_same_at_another_time_and_place(wheel, tree):
    run(*PIP, "wheel", "--no-deps", "--no-index", "--no-build-isolation", "-w", "again", str(BINDING))
    assert wheel.read_bytes() == (tree / "again" / wheel.name).read_bytes()


def test_another_version_than_that_of_the_headers_cannot_be_built(tree):
    """The version is read from the header alone."""
    project = (BINDING / "pyproject.toml").read_text()
    assert "\nversion =" not in project and 'dynamic = ["version"]' in project
