"""The wheel and the source archive, built without a network."""

from __future__ import annotations

import os
import pathlib
import shutil
import subprocess
import sys
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


def test_the_installed_command_finds_its_package(project):
    """As a prefix or a package installs them: the command in `bin`, the package below `lib`."""
    package = pathlib.Path(vek.__file__).parent
    os.makedirs("prefix/bin")
    os.makedirs("prefix/lib/python3/dist-packages")
    os.symlink(package, "prefix/lib/python3/dist-packages/vek")
    shutil.copy(BINDING / "vekreport", "prefix/bin")
    run("prefix/bin/vekreport", "--quiet", "-o", "page.html")
    assert (project / "page.html").exists()


def test_the_library_of_the_same_prefix_is_loaded_first(tree):
    package = pathlib.Path(vek.__file__).parent
    library = _loaded_library()
    os.makedirs("prefix/lib/python3/dist-packages")
    shutil.copytree(package, "prefix/lib/python3/dist-packages/vek")
    shutil.copy(library, "prefix/lib/libvek.so.6")
    program = "import vek; print([l.split()[-1] for l in open('/proc/self/maps') if 'libvek' in l][0])"
    environment = {k: v for k, v in os.environ.items() if k not in {"LIBVEK", "LD_LIBRARY_PATH"}}
    environment["PYTHONPATH"] = "prefix/lib/python3/dist-packages"
    done = subprocess.run([sys.executable, "-c", program], env=environment, capture_output=True, text=True, check=True)
    assert done.stdout == f"{tree}/prefix/lib/libvek.so.6\n"


def _loaded_library() -> str:
    with open("/proc/self/maps") as maps:
        return next(line.split()[-1] for line in maps if "libvek" in line)
