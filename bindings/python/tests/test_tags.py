"""Lookups and tag files, with the cases of the transcripts of the tool."""

from __future__ import annotations

import os
import pathlib

import pytest

import vek
from vek._declarations import ffi
from vek._library import lib


def answered(entry: vek.Entry | None) -> tuple[str, str] | None:
    """An entry in the spelling of the tool, which prints a namespace with a small letter."""
    if entry is None:
        return None
    value = {"LibraryUnix": "libraryUnix", "LibraryNT": "libraryNt"}.get(entry.value, entry.value)
    return value, entry.file or ""


@pytest.fixture
def library(write):
    write("lib/vekinfo.tag", "VEKLIBRARY", "DMTYPE none", "NAMESPACE LibraryNT", "FOO 1")
    (pathlib.Path("lib/cell")).mkdir()


# ---- lookups


def test_lookup_returns_the_value_and_the_file_that_defines_it(library, tree):
    assert vek.lookup("lib/cell", "DMTYPE") == vek.Entry("none", f"{tree}/lib/vekinfo.tag")
    assert vek.lookup("lib/cell", "FOO") == vek.Entry("1", f"{tree}/lib/vekinfo.tag")


def test_lookup_returns_none_if_no_file_defines_the_entry(library):
    assert vek.lookup("lib", "BAR") is None
    assert vek.lookup(".", "DMTYPE") is None
    assert vek.lookup(".", "VEKLIBRARY") is None
    assert vek.lookup(".", "VEKLIBCHECK") is None


def test_names_are_compared_without_case(library):
    assert vek.lookup("lib", "Foo").value == "1"
    assert vek.lookup("lib", "dmtype").value == "none"
    assert vek.lookup("lib", "VekLibrary").value == ""


def test_namespace_has_a_default_that_no_file_defines(tree):
    assert vek.lookup(".", "namespace") == vek.Entry("LibraryUnix", None)


def test_library_check_is_looked_up_from_the_working_directory(write, tree, monkeypatch):
    write("vekinfo.tag", "VEKLIBCHECK on")
    write("off/vekinfo.tag", "VEKLIBCHECK OFF")
    assert vek.lookup("off", "VEKLIBCHECK") == vek.Entry("ON", f"{tree}/vekinfo.tag")
    monkeypatch.chdir("off")
    assert vek.lookup("..", "VEKLIBCHECK") == vek.Entry("OFF", f"{tree}/off/vekinfo.tag")


def test_search_list_answers_what_no_directory_above_defines(write, tree, monkeypatch):
    write("site/vekinfo.tag", "FOO site", "VEKLIBRARY", "VEKLIBCHECK ON")
    write("elsewhere/lib/vekinfo.tag", "BAR 1")
    monkeypatch.setenv("VEK_SITE", f"{tree}/site")
    monkeypatch.chdir("elsewhere")
    assert vek.lookup("lib", "FOO") == vek.Entry("site", f"{tree}/site/vekinfo.tag")
    assert vek.lookup("lib", "VEKLIBCHECK") == vek.Entry("ON", f"{tree}/site/vekinfo.tag")
    # Documented: the library entry is not inherited along the search list.
    assert vek.lookup("lib", "VEKLIBRARY") is None


def test_the_search_list_is_built_anew_for_every_lookup(write, tree, monkeypatch):
    write("one/vekinfo.tag", "FOO 1", "VEKLIBCHECK ON")
    write("two/vekinfo.tag", "FOO 2", "VEKLIBCHECK OFF")
    for site, value, check in (("one", "1", "ON"), ("two", "2", "OFF"), ("one", "1", "ON")):
        monkeypatch.setenv("VEK_SITE", f"{tree}/{site}")
        assert vek.lookup(".", "VEKLIBCHECK").value == check
        assert vek.lookup(".", "FOO").value == value


def test_the_library_check_alone_follows_the_search_list(write, tree, monkeypatch):
    write("one/vekinfo.tag", "VEKLIBCHECK ON")
    write("two/vekinfo.tag", "VEKLIBCHECK OFF")
    for site, check in (("one", "ON"), ("two", "OFF")):
        monkeypatch.setenv("VEK_SITE", f"{tree}/{site}")
        assert vek.lookup(".", "VEKLIBCHECK").value == check


def test_an_error_above_a_file_without_the_entry_raises(write):
    write("vekinfo.tag", "VEKLIBRARY yes")
    write("lib/vekinfo.tag", "A 1")
    with pytest.raises(vek.TagError):
        vek.lookup("lib", "B")


def test_an_empty_value_sends_the_lookup_on_to_the_search_list(write, tree, monkeypatch):
    write("site/vekinfo.tag", "FOO site")
    write("lib/vekinfo.tag", "FOO")
    assert vek.lookup("lib", "FOO") is None
    monkeypatch.setenv("VEK_SITE", f"{tree}/site")
    assert vek.lookup("lib", "FOO") == vek.Entry("site", f"{tree}/site/vekinfo.tag")


def test_a_path_that_does_not_exist_counts_as_its_nearest_existing_ancestor(library, tree):
    assert vek.lookup("lib/none/deeper", "DMTYPE") == vek.Entry("none", f"{tree}/lib/vekinfo.tag")


def test_a_path_of_which_nothing_exists_raises(tree):
    with pytest.raises(vek.TagError) as raised:
        vek.lookup("/no/such/dir", "DMTYPE")
    assert raised.value.code == vek.TagCode.PATH_PROCESSING
    assert str(raised.value) == "error while processing path: tovNormalizePathSorta (/no/such/dir)"


@pytest.mark.parametrize("name", ["DMTYPE", "NAMESPACE", "VEKLIBRARY", "VEKLIBCHECK", "FOO", "foo", "BAR", "OWNER"])
@pytest.mark.parametrize("path", ["lib", "lib/cell", ".", "site", "lib/missing"])
def test_lookup_answers_as_a_new_process_of_the_tool(name, path, library, write, tree, monkeypatch, lookup_of_tool):
    write("site/vekinfo.tag", "OWNER site", "DMTYPE mrev", "VEKLIBCHECK OFF")
    monkeypatch.setenv("VEK_SITE", f"{tree}/site")
    if (name, path) == ("VEKLIBRARY", "lib/missing"):
        # Documented: the tool repeats its report without end.
        assert vek.lookup(path, name) == vek.Entry("", f"{tree}/lib/vekinfo.tag")
        return
    expected = lookup_of_tool(path, name)
    for _ in range(3):
        assert answered(vek.lookup(path, name)) == expected


def test_asking_again_gives_the_same_although_the_c_function_does_not(write):
    write("vekinfo.tag", "A 5")

    def asked_in_c() -> str | None:
        value = lib.tovLookupEntry(b".", b"A", ffi.NULL)
        return ffi.string(value).decode() if value else None

    with vek.lock:
        lib.tovResetCache()
        assert [asked_in_c(), asked_in_c(), asked_in_c()] == ["5", None, None]
    assert [vek.lookup(".", "A").value for _ in range(3)] == ["5", "5", "5"]


def test_asking_for_other_names_in_between_changes_nothing(write, tree, lookup_of_tool):
    write("vekinfo.tag", "A 5", "B 6")
    write("lib/vekinfo.tag", "C 7", "A 8")
    names = ["A", "B", "C", "A", "C", "D", "B", "B", "A", "DMTYPE", "A"]
    expected = {name: lookup_of_tool("lib", name) for name in set(names)}
    assert [answered(vek.lookup("lib", name)) for name in names] == [expected[name] for name in names]


def test_a_file_that_changed_is_read_again(write):
    write("vekinfo.tag", "A 5")
    assert vek.lookup(".", "A").value == "5"
    write("vekinfo.tag", "A 6", "DMTYPE none")
    assert vek.lookup(".", "A").value == "6"
    assert vek.lookup(".", "DMTYPE").value == "none"
    write("vekinfo.tag", "DMTYPE mrev", "VEKLIBCHECK ON")
    assert vek.lookup(".", "DMTYPE").value == "mrev"
    assert vek.lookup(".", "VEKLIBCHECK").value == "ON"
    write("vekinfo.tag", "VEKLIBCHECK OFF")
    assert vek.lookup(".", "VEKLIBCHECK").value == "OFF"


def test_errors_on_the_way_raise_or_are_collected(write, tree):
    write("lib/vekinfo.tag", "A 1", "NAMESPACE Unix")
    file = f"{tree}/lib/vekinfo.tag"
    with pytest.raises(vek.TagError) as raised:
        vek.lookup("lib", "A")
    expected = vek.Diagnostic(vek.TagCode.SYNTAX_ERROR, "NAMESPACE line in vekinfo.tag file", file, 2)
    assert raised.value.diagnostics == (expected,)
    assert raised.value.text == "syntax error"
    collected: list[vek.Diagnostic] = []
    assert vek.lookup("lib", "A", diagnostics=collected) is None
    assert collected == [expected]
    assert str(expected) == f"{file}:2: syntax error: NAMESPACE line in vekinfo.tag file"


def test_is_library_reads_the_directory_alone(library):
    assert vek.is_library("lib")
    assert not vek.is_library("lib/cell")
    assert vek.is_library("lib/missing")


# ---- tag files


def test_tags_returns_what_the_nearest_tag_file_says(write, tree):
    write("proj/lib/vekinfo.tag", "# our library", "VEKLIBRARY", "VEKLIBCHECK on", "DMTYPE Mrev",
          "NAMESPACE LIBRARYNT", "OWNER datapath-team", "COLOR", "OWNER other")  # fmt: skip
    os.makedirs("proj/lib/cell/view")
    expected = vek.TagFile(
        path=f"{tree}/proj/lib/vekinfo.tag",
        library=True,
        libcheck=True,
        dmtype="Mrev",
        namespace="LibraryNT",
        entries=(("OWNER", "datapath-team"), ("COLOR", ""), ("OWNER", "other")),
    )
    assert vek.tags("proj/lib/cell/view") == expected
    assert vek.tags(pathlib.Path("proj/lib")) == expected
    assert vek.read_tags("proj/lib/vekinfo.tag").entries == expected.entries


def test_tags_finds_the_file_that_show_finds(project, vekinfo):
    for path in (".", "adders", "adders/ripple/layout", "shared/symbols/gates", "shared", "adders/", "./adders"):
        shown = vekinfo("-path", path, "-show").stdout.splitlines()[0]
        assert shown == f"A vekinfo.tag file exists at: {vek.tags(path).path}"


def test_tags_returns_none_if_there_is_no_tag_file(tree):
    os.makedirs("/tmp/vek-no-tags", exist_ok=True)
    assert vek.tags("/tmp/vek-no-tags") is None


def test_what_a_file_does_not_set_is_none(write):
    write("vekinfo.tag", "VEKLIBCHECK OFF")
    said = vek.tags()
    assert (said.library, said.libcheck, said.dmtype, said.namespace, said.entries) == (False, False, None, None, ())


def test_tags_of_a_missing_path_raises(tree):
    with pytest.raises(vek.TagError) as raised:
        vek.tags("missing")
    assert raised.value.code == vek.TagCode.PATH_PROCESSING


def test_reading_a_missing_or_broken_file_raises(write):
    with pytest.raises(vek.TagError) as raised:
        vek.read_tags("vekinfo.tag")
    assert (raised.value.code, str(raised.value)) == (vek.TagCode.NO_SUCH_FILE, "no such file: vekinfo.tag")
    write("vekinfo.tag", "VEKLIBRARY yes")
    with pytest.raises(vek.TagError) as raised:
        vek.read_tags("vekinfo.tag")
    assert raised.value.code == vek.TagCode.SYNTAX_ERROR
    assert str(raised.value) == "syntax error: VEKLIBRARY line in vekinfo.tag file (vekinfo.tag line 1)"


# ---- edits


def settings(file: str = "vekinfo.tag") -> list[str]:
    """The lines after the template."""
    return pathlib.Path(file).read_text().splitlines()[38:]


def test_keywords_are_added_and_cleared(write, tree):
    write("vekinfo.tag", "FOO 1")
    vek.add_entry(".", "NAMESPACE", "libraryunix")
    vek.add_entry(".", "dmtype", "Mrev")
    vek.add_entry(".", "VEKLIBRARY")
    said = vek.add_entry(".", "VekLibCheck", "on")
    assert settings() == ["VEKLIBRARY", "VEKLIBCHECK ON", "DMTYPE Mrev", "NAMESPACE LibraryUnix", "FOO 1"]
    assert said == vek.read_tags("./vekinfo.tag")
    assert said.libcheck is True
    vek.clear_entry(".", "veklibrary")
    said = vek.clear_entry(".", "Namespace")
    assert settings() == ["VEKLIBCHECK ON", "DMTYPE Mrev", "FOO 1"]
    assert said.namespace is None


def test_adding_creates_the_file(tree, vekinfo):
    vek.add_entry(".", "FOO", "1")
    made = pathlib.Path("vekinfo.tag").read_bytes()
    os.mkdir("by_tool")
    vekinfo("-path", "by_tool", "-addentry", "FOO", "1")
    assert made == pathlib.Path("by_tool/vekinfo.tag").read_bytes()


def test_off_is_written_as_no_line(tree):
    vek.add_entry(".", "VEKLIBCHECK", "ON")
    assert vek.add_entry(".", "VEKLIBCHECK", "OFF").libcheck is None
    assert settings() == []


def test_an_edit_that_would_drop_entries_is_refused(write, tree):
    file = write("vekinfo.tag", "A 1", "B 2", "a 3")
    before = file.read_bytes()
    with pytest.raises(vek.EntriesWouldBeDroppedError) as raised:
        vek.add_entry(".", "a", "4")
    assert raised.value.entries == (("B", "2"),)
    assert str(raised.value) == (
        "./vekinfo.tag: the edit would drop the application entries 'B'; pass drop_other_entries=True to drop them"
    )
    with pytest.raises(vek.EntriesWouldBeDroppedError):
        vek.clear_entry(".", "A")
    with pytest.raises(vek.EntriesWouldBeDroppedError):
        vek.clear_entry(".", "Z")
    assert file.read_bytes() == before


def test_an_edit_that_may_drop_entries_does_as_the_tool_does(write, vekinfo):
    for directory, edit in (("binding", None), ("tool", vekinfo)):
        file = write(f"{directory}/vekinfo.tag", "A 1", "B 2")
        if edit is None:
            assert vek.add_entry(directory, "C", "3", drop_other_entries=True).entries == (("C", "3"),)
        else:
            edit("-path", directory, "-addentry", "C", "3")
        assert settings(str(file)) == ["C 3"]
    write("vekinfo.tag", "A 1", "B 2")
    # Documented: the entries of that name are the ones that stay.
    assert vek.clear_entry(".", "A", drop_other_entries=True).entries == (("A", "1"),)
    assert vek.clear_entry(".", "A").entries == (("A", "1"),)


def test_adding_an_existing_name_keeps_the_old_value_for_lookups(tree):
    vek.add_entry(".", "A", "1")
    assert vek.add_entry(".", "a", "2").entries == (("A", "1"), ("a", "2"))
    assert vek.lookup(".", "A").value == "1"


def test_an_edit_of_a_file_with_an_error_is_refused(write):
    file = write("vekinfo.tag", "A 1", "VEKLIBRARY yes")
    before = file.read_bytes()
    for edit in (lambda: vek.add_entry(".", "DMTYPE", "none"), lambda: vek.clear_entry(".", "DMTYPE")):
        with pytest.raises(vek.TagError) as raised:
            edit()
        assert raised.value.code == vek.TagCode.SYNTAX_ERROR
    assert file.read_bytes() == before
    assert vek.add_entry(".", "DMTYPE", "none", drop_other_entries=True).entries == ()


@pytest.mark.parametrize(
    "name, value",
    [
        ("A", "two words"), ("A", "x\nVEKLIBRARY"), ("A", "#x"), ("A", ";x"), ("A", "--x"), ("A B", "1"), ("", "1"),
        ("#A", "1"), ("A", "x" * 4095), ("VEKLIBCHECK", "maybe"), ("NAMESPACE", "Unix"), ("DMTYPE", ""), ("A", "\0"),
    ],
)  # fmt: skip
def test_an_entry_that_would_not_be_read_back_is_refused(name, value, tree):
    with pytest.raises(ValueError):
        vek.add_entry(".", name, value)
    assert not os.path.exists("vekinfo.tag")


def test_entries_that_look_odd_are_read_back(tree):
    for name, value in (("A", "x#y;z--"), ("B", "-x"), ("C", ""), ("D", "x" * 4000)):
        assert vek.add_entry(".", name, value, drop_other_entries=True).entries == ((name, value),)


def test_clearing_without_a_file_returns_none(tree):
    assert vek.clear_entry(".", "DMTYPE") is None
    assert not os.path.exists("vekinfo.tag")


def test_a_write_that_fails_raises(tree):
    with pytest.raises(vek.TagError) as raised:
        vek.add_entry("missing", "A", "1")
    assert raised.value.code == vek.TagCode.SYSTEM_ERROR
    assert raised.value.diagnostics[0].subject == "opening for write"


def test_create_tags_writes_the_lines_and_never_overwrites(tree):
    assert vek.create_tags(".", ["VEKLIBRARY", "A 1"]).entries == (("A", "1"),)
    with pytest.raises(vek.TagError) as raised:
        vek.create_tags(".", ["B 1"])
    assert raised.value.code == vek.TagCode.FILE_EXISTS
    assert vek.tags().entries == (("A", "1"),)
    with pytest.raises(ValueError):
        vek.create_tags(".", ["A 1\nB 2"])


def test_a_line_that_would_be_a_syntax_error_is_left_out_and_raises(tree):
    with pytest.raises(vek.TagError) as raised:
        vek.create_tags(".", ["A 1", "VEKLIBRARY yes"])
    assert raised.value.code == vek.TagCode.SYNTAX_ERROR
    assert vek.tags().entries == (("A", "1"),)
