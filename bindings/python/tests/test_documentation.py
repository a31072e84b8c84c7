"""The examples of the README and the manual page."""

from __future__ import annotations

import doctest
import json
import re
import shutil
import subprocess
import sys

import pytest

from conftest import SOURCE
from vek.report import main

BINDING = SOURCE / "bindings/python"


def test_the_examples_of_the_readme_give_what_it_shows(project):
    text = (BINDING / "README.md").read_text().replace("/proj/", f"{project}/")
    # An indented block ends with its last line; Markdown needs no empty line for that, doctest does.
    test = doctest.DocTestParser().get_doctest(text, {}, "README.md", None, 0)
    assert len(test.examples) >= 6
    runner = doctest.DocTestRunner(optionflags=doctest.IGNORE_EXCEPTION_DETAIL)
    runner.run(test)
    assert runner.failures == 0


def test_the_readme_fits_one_screen():
    assert len((BINDING / "README.md").read_text().splitlines()) <= 66


def test_the_manual_page_has_no_fault():
    subprocess.run(["mandoc", "-T", "lint", "-W", "warning", str(BINDING / "man/vekreport.1")], check=True)


def test_the_manual_page_describes_every_option(capsys):
    with pytest.raises(SystemExit):
        main(["--help"])
    page = (BINDING / "man/vekreport.1").read_text()
    options = set(re.findall(r"--([a-z-]+)", capsys.readouterr().out))
    assert len(options) >= 9
    for option in options - {"vekinfo-verbose"}:
        assert re.search(rf"^\.It Fl .*-{option}\b", page, re.MULTILINE), option


def test_the_examples_of_the_manual_page_run(project, capsys):
    assert main(["--strict", "-o", "site.html"]) == 1
    shutil.rmtree("memories")
    capsys.readouterr()
    assert main(["--json"]) == 0
    problems = json.loads(capsys.readouterr().out)["problems"]
    assert [problem["library"] for problem in problems if problem["kind"] == "missing-directory"] == ["memories"]


def test_the_module_runs_as_the_command(project):
    done = subprocess.run([sys.executable, "-m", "vek.report", "--version"], capture_output=True, text=True, check=True)
    assert re.fullmatch(r"vekreport \d+\.\d+\.\d+\n", done.stdout)
