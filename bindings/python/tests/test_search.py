"""The search list, searches along it, and interpolation."""

from __future__ import annotations

import os

import pytest

import vek


@pytest.fixture
def site(write, tree, monkeypatch):
    """A work area and a site, which are both on the search list."""
    write("design/a.txt", "design")
    write("site/a.txt", "site")
    write("site/.tolvane/b.txt", "site")
    write("site/veksetup/c.txt", "site")
    write("site/rules/d.txt", "site")
    (tree / "here").mkdir()
    monkeypatch.setenv("VEK_WORKAREA", f"{tree}/design")
    monkeypatch.setenv("VEK_SITE", f"{tree}/site")
    monkeypatch.chdir("here")


def test_the_search_list_is_built_from_the_environment(site, tree):
    assert vek.search_list() == [".", f"{tree}/design", f"{tree}/site"]


def test_the_search_list_follows_the_environment_and_setup_loc(site, tree, monkeypatch, write):
    monkeypatch.delenv("VEK_WORKAREA")
    assert vek.search_list() == [".", f"{tree}/site"]
    write("here/setup.loc", f"{tree}/design -- first", "@LIBRARY", "; a comment", "/missing")
    assert vek.search_list() == [f"{tree}/design", "@LIBRARY"]


def test_search_returns_the_first_match_or_none(site, tree):
    assert vek.search("a.txt") == f"{tree}/design/a.txt"
    assert vek.search("b.txt") == f"{tree}/site/.tolvane/b.txt"
    assert vek.search("c.txt") == f"{tree}/site/veksetup/c.txt"
    assert vek.search("d.txt") is None
    assert vek.search("d.txt", groups=["rules"]) == f"{tree}/site/rules/d.txt"


def test_search_replaces_the_library_entry(site, tree, write):
    write("here/setup.loc", "@LIBRARY")
    write("lib/.tolvane/e.txt", "x")
    assert vek.search("e.txt") is None
    assert vek.search("e.txt", libraries=[f"{tree}/other", tree / "lib"]) == f"{tree}/lib/.tolvane/e.txt"


def test_search_all_returns_one_match_of_each_directory(site, tree):
    assert vek.search_all("a.txt") == [f"{tree}/design/a.txt", f"{tree}/site/a.txt"]
    assert vek.search_all("d.txt", groups=["rules"]) == [f"{tree}/site/rules/d.txt"]
    assert vek.search_all("nothing") == []


def test_search_writable_returns_the_first_match_that_can_be_written(site, tree):
    assert vek.search_writable("a.txt") == f"{tree}/design/a.txt"
    assert vek.search_writable("nothing") is None


def test_a_name_that_is_too_long_raises(site, tree):
    # Documented: a candidate that exists and does not fit into 1,024 bytes ends the search.
    directory = tree / "site"
    for _ in range(5):
        directory = directory / ("d" * 200)
    directory.mkdir(parents=True)
    (directory / "x").write_text("")
    with pytest.raises(vek.SearchError) as raised:
        vek.search(f"{directory.relative_to(tree / 'site')}/x")
    assert raised.value.code == vek.SearchCode.BUFFER_TOO_SMALL
    assert raised.value.text == "Buffer too small"


def test_an_unreadable_match_raises_with_its_path(site, tree):
    os.symlink("loop.txt", tree / "design/loop.txt")
    with pytest.raises(vek.SearchError) as raised:
        vek.search("loop.txt")
    assert raised.value.code == vek.SearchCode.PERMISSION_DENIED
    assert str(raised.value) == f"Permission denied: {tree}/design/loop.txt"


def test_the_configuration_file_says_which_names_are_searched(site, write):
    assert not vek.uses_search_list("foo")
    write("here/puxLookupConfig", "ALL", "EXCLUDE foo")
    assert not vek.uses_search_list("foo")
    assert vek.uses_search_list("bar")


# ---- interpolation


def test_references_are_expanded(monkeypatch):
    monkeypatch.setenv("HOME", "/h")
    monkeypatch.setenv("A", "$B")
    monkeypatch.setenv("B", "z")
    assert vek.interpolate("$HOME/x:${HOME}y:~/z:a$$b") == "/h/x:/hy:/h/z:a$b"
    assert vek.interpolate("$A") == "$B"
    assert vek.interpolate("$A", flags=vek.InterpolationFlag.RECURSIVE) == "z"
    flags = vek.InterpolationFlag.KEEP_VARIABLES | vek.InterpolationFlag.KEEP_HOMES
    assert vek.interpolate("$A ~/x", flags=flags) == "$A ~/x"


def test_a_result_of_any_length_is_returned(monkeypatch):
    monkeypatch.setenv("LONG", "x" * 2000)
    assert vek.interpolate("$LONG" * 50) == "x" * 100_000


@pytest.mark.parametrize(
    "text, code, position",
    [
        ("ab$NOT_SET_AT_ALL", vek.InterpolationCode.NOT_SET, 2),
        ("~no_such_user_at_all/x", vek.InterpolationCode.UNKNOWN_USER, 0),
        ("x$(foo", vek.InterpolationCode.BADLY_FORMED, 1),
        ("x${foo", vek.InterpolationCode.BADLY_FORMED, 1),
    ],
)
def test_a_reference_that_cannot_be_expanded_raises(text, code, position):
    with pytest.raises(vek.InterpolationError) as raised:
        vek.interpolate(text)
    assert (raised.value.code, raised.value.position) == (code, position)


def test_the_message_names_file_and_line():
    with pytest.raises(vek.InterpolationError) as raised:
        vek.interpolate("$NOT_SET_AT_ALL", file="setup.loc", line=3)
    assert str(raised.value) == "environment variable 'NOT_SET_AT_ALL' not set\n    file:setup.loc line:3"


def test_the_installation_root_is_that_of_the_tool_on_the_path(tree, write):
    """In a process of its own, because the library keeps the root that it found."""
    import subprocess
    import sys

    write("inst/tools/bin/vek_root").chmod(0o755)
    write("inst/tools/bin/vekinfo").chmod(0o755)
    program = "import vek; print(vek.interpolate('$(compute:THIS_TOOL_INST_ROOT)/x'))"
    environment = {**os.environ, "PATH": f"{tree}/inst/tools/bin:{os.environ['PATH']}"}
    done = subprocess.run([sys.executable, "-c", program], env=environment, capture_output=True, text=True, check=True)
    assert done.stdout == f"{tree}/inst/x\n"
