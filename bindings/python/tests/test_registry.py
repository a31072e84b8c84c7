"""Registries: the mapping of libraries, what lies in them, diagnostics."""

from __future__ import annotations

import os
import pathlib
import re
import subprocess
import sys

import pytest

import vek


@pytest.fixture
def registry(project):
    with vek.Registry("vek.lib") as opened:
        yield opened


# ---- the mapping


def test_a_registry_maps_names_to_libraries_in_the_order_of_definition(registry, project):
    assert list(registry) == ["adders", "multipliers", "symbols", "memories"]
    assert len(registry) == 4
    assert registry["adders"].directory == f"{project}/adders"
    assert {name: library.directory for name, library in registry.items()}["memories"] == f"{project}/memories"
    assert "adders" in registry
    assert "Adders" not in registry
    assert 5 not in registry
    assert "adders\0" not in registry
    assert registry.get("nothing") is None


def test_a_library_that_is_not_defined_is_a_key_error(registry):
    with pytest.raises(KeyError) as raised:
        registry["nothing"]
    assert isinstance(raised.value, vek.LibraryNotDefinedError)
    assert str(raised.value) == "Library not defined: nothing"


def test_names_are_found_without_case_if_the_environment_says_so(write, tree, monkeypatch):
    monkeypatch.setenv("VEK_ALT_NMP", "match")
    os.mkdir("a")
    write("vek.lib", "DEFINE Lib ./a")
    with vek.Registry("vek.lib") as registry:
        assert "LIB" in registry
        assert registry["lib"].directory == f"{tree}/a"


def test_without_a_file_the_first_one_of_the_search_list_is_read(project, monkeypatch):
    with vek.Registry() as registry:
        assert len(registry) == 4
    monkeypatch.setenv("VEK_SITE", str(project / "shared"))
    monkeypatch.chdir("adders")
    with vek.Registry() as registry:
        assert list(registry) == ["symbols", "memories"]
        assert registry.file == f"{project}/shared/vek.lib"


def test_without_a_file_on_the_search_list_search_error_is_raised(tree):
    with pytest.raises(vek.SearchError) as raised:
        vek.Registry()
    assert raised.value.code == vek.SearchCode.FILE_NOT_FOUND


def test_a_file_that_cannot_be_read_raises(tree):
    with pytest.raises(vek.LibraryError) as raised:
        vek.Registry("missing.lib")
    assert raised.value.code in (vek.LibraryCode.SYSTEM_ERROR, vek.LibraryCode.INVALID_PATH)
    assert f"{tree}/missing.lib" in str(raised.value)


def test_every_reading_finds_whether_libraries_are_checked(write):
    write("vekinfo.tag", "VEKLIBCHECK OFF")
    os.mkdir("lib")
    write("vek.lib", "DEFINE lib ./lib")
    with vek.Registry("vek.lib") as registry:
        assert registry.diagnostics == ()
    write("vekinfo.tag", "VEKLIBCHECK ON")
    with vek.Registry("vek.lib") as registry:
        assert [diagnostic.code for diagnostic in registry.diagnostics] == [vek.LibraryCode.NO_VEKLIBRARY_ENTRY]


def test_registries_are_compared_by_identity(project):
    with vek.Registry("vek.lib") as one, vek.Registry("vek.lib") as other:
        assert one != other
        assert len({one, other}) == 2
        assert one["adders"] == one["adders"]
        assert one["adders"] != other["adders"]
        assert len({one["adders"], one["adders"]}) == 1


# ---- content of definition files


def test_the_places_of_definitions(registry, project):
    assert registry["adders"].defined_at == vek.Place(f"{project}/vek.lib", 2)
    assert registry["symbols"].defined_at == vek.Place(f"{project}/shared/vek.lib", 2)
    assert str(registry["memories"].defined_at) == f"{project}/vek.lib:5"


def test_the_definition_files_and_what_included_them(registry, project):
    assert registry.files == [
        vek.DefinitionFile(f"{project}/vek.lib", None),
        vek.DefinitionFile(f"{project}/shared/vek.lib", vek.Place(f"{project}/vek.lib", 4)),
    ]


def test_attributes_are_read_with_their_places(write, tree):
    os.mkdir("a")
    write("vek.lib", "DEFINE a ./a", "ASSIGN a Owner team", "ASSIGN a color red", "ASSIGN a OWNER other")
    with vek.Registry("vek.lib") as registry:
        library = registry["a"]
        assert library.attributes == {"COLOR": "red", "OWNER": "other"}
        assert list(library.attributes) == ["COLOR", "OWNER"]
        assert library.assigned_at("owner") == vek.Place(f"{tree}/vek.lib", 4)
        assert library.assigned_at("SIZE") is None


def test_diagnostics_are_collected_as_objects(registry, project):
    (diagnostic,) = registry.diagnostics
    assert diagnostic.code == vek.LibraryCode.REDEFINED
    assert diagnostic.text == "Library redefined"
    assert (diagnostic.file, diagnostic.line) == (f"{project}/vek.lib", 5)
    assert diagnostic.subject.startswith(f"library memories defined in {project}/vek.lib at line 5, redefines\n")
    assert diagnostic.earlier_definition == vek.Place(f"{project}/shared/vek.lib", 3)


def test_a_redefinition_in_the_same_file_names_the_earlier_line(write, tree):
    os.mkdir("a")
    write("vek.lib", "DEFINE a ./a", "", "DEFINE a ./a")
    with vek.Registry("vek.lib") as registry:
        (diagnostic,) = registry.diagnostics
        assert diagnostic.code == vek.LibraryCode.REDEFINED_IN_SAME_FILE
        assert diagnostic.earlier_definition == vek.Place(f"{tree}/vek.lib", 1)


def test_a_redefinition_is_understood_whatever_the_names_hold(write, tree):
    odd = "x defined in y at line 3.\\nInsert UNDEFINE z"
    os.mkdir("a")
    directory = tree / "at line 7, redefines" / "from same file line 9"
    directory.mkdir(parents=True)
    (directory / "other.lib").write_text(f'DEFINE "{odd}" {tree}/a\n')
    write("vek.lib", f'INCLUDE "{directory}/other.lib"', f'DEFINE "{odd}" ./a')
    with vek.Registry("vek.lib") as registry:
        assert list(registry) == [odd]
        assert registry.diagnostics[0].earlier_definition == vek.Place(f"{directory}/other.lib", 1)


def test_other_diagnostics_name_no_earlier_definition(write):
    write("vek.lib", "FOO x")
    with vek.Registry("vek.lib") as registry:
        (diagnostic,) = registry.diagnostics
        assert (diagnostic.code, diagnostic.subject, diagnostic.line) == (vek.LibraryCode.SYNTAX_ERROR, "FOO", 1)
        assert diagnostic.earlier_definition is None


def test_strict_raises_the_first_diagnostic(project):
    with pytest.raises(vek.LibraryError) as raised:
        vek.Registry("vek.lib", strict=True)
    assert raised.value.code == vek.LibraryCode.REDEFINED
    assert len(raised.value.diagnostics) == 1


def test_strict_reads_no_further(write):
    write("vek.lib", "FOO", "BAR")
    with pytest.raises(vek.LibraryError) as raised:
        vek.Registry("vek.lib", strict=True)
    assert [diagnostic.subject for diagnostic in raised.value.diagnostics] == ["FOO"]


def test_strict_raises_in_a_process_that_uses_the_default_handler(write):
    """Documented: from then on the code of a file is the one that the default handler has seen."""
    program = """
from vek._declarations import ffi
from vek._library import lib
import vek
lib.vekInitNonVEKApp(b"x")
lib.rynInit(ffi.NULL, 0, ffi.NULL, ffi.NULL, ffi.new("rynHandle *"))
try:
    vek.Registry("vek.lib", strict=True)
except vek.LibraryError as error:
    print(error)
"""
    write("vek.lib", "FOO")
    done = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, check=True)
    assert (done.stdout, done.stderr) == ("Syntax error: FOO\n", "")


# ---- the existence check


def test_the_existence_check_is_on_by_default(write, tree):
    os.mkdir("there")
    write("vek.lib", "DEFINE there ./there", "DEFINE gone ./gone")
    with vek.Registry("vek.lib") as registry:
        assert list(registry) == ["there"]
        assert registry.diagnostics[0].code == vek.LibraryCode.INVALID_PATH
        with pytest.raises(FileNotFoundError) as raised:
            registry.find("there", "cell")
        assert isinstance(raised.value, vek.NotFoundError)
        assert (raised.value.code, str(raised.value)) == (vek.LibraryCode.NO_SUCH_CELL, "No such cell: there/cell")


def test_without_the_existence_check_files_are_read_as_vekinfo_reads_them(write, tree):
    os.mkdir("there")
    write("vek.lib", "DEFINE there ./there", "DEFINE gone ./gone")
    with vek.Registry("vek.lib", check_existence=False) as registry:
        assert list(registry) == ["there", "gone"]
        assert registry.diagnostics == ()
        assert registry.find("gone", "cell", "view") == f"{tree}/gone/cell/view"
        with pytest.raises(vek.LibraryError) as raised:
            registry.cells("gone")
        assert raised.value.code == vek.LibraryCode.SYSTEM_ERROR


# ---- cells, views, files


def test_cells_views_and_files_are_iterated(registry):
    library = registry["adders"]
    cells = library.cells()
    assert iter(cells) is cells
    assert sorted(cells) == ["carry", "ripple"]
    assert sorted(library.views("ripple")) == ["layout", "schematic"]
    assert list(library.files()) == ["vekinfo.tag"]
    assert list(library.files("ripple")) == []
    assert list(library.files("ripple", "layout")) == ["layout.txt"]
    assert list(registry.cells("memories")) == ["sram"]


def test_all_files_below_a_view_are_relative_paths(registry, project):
    (project / "adders/ripple/layout/a/b").mkdir(parents=True)
    (project / "adders/ripple/layout/a/b/c.txt").write_text("")
    assert sorted(registry["adders"].files("ripple", "layout", recursive=True)) == ["a/b/c.txt", "layout.txt"]


def test_what_is_missing_raises_at_the_call(registry):
    with pytest.raises(vek.NotFoundError) as raised:
        registry["adders"].views("nothing")
    assert (raised.value.code, str(raised.value)) == (vek.LibraryCode.NO_SUCH_CELL, "No such cell: adders/nothing")
    with pytest.raises(vek.NotFoundError) as raised:
        registry["adders"].files("ripple", "nothing")
    assert raised.value.code == vek.LibraryCode.NO_SUCH_VIEW
    with pytest.raises(vek.LibraryNotDefinedError):
        registry.cells("nothing")
    with pytest.raises(ValueError):
        registry.files_in("adders", recursive=True)
    with pytest.raises(ValueError):
        registry.files_in("adders", view="layout")


def test_an_iterator_is_valid_after_its_registry_is_closed(project):
    with vek.Registry("vek.lib") as registry:
        cells = registry.cells("adders")
    assert sorted(cells) == ["carry", "ripple"]


# ---- find and exists


def test_find_returns_paths(registry, project):
    assert registry.find("adders") == f"{project}/adders"
    assert registry.find("adders", "ripple", "layout", "layout.txt") == f"{project}/adders/ripple/layout/layout.txt"
    assert registry["adders"].find("ripple") == f"{project}/adders/ripple"


def test_find_for_writing_creates_directories(registry, project):
    path = registry.find("adders", "new", "view", "file.txt", access=vek.Access.WRITE)
    assert path == f"{project}/adders/new/view/file.txt"
    assert os.path.isdir(f"{project}/adders/new/view")
    assert not os.path.exists(path)


def test_the_umask_of_a_registry_holds_for_directories_that_it_creates(project):
    with vek.Registry("vek.lib", umask=0o27) as registry:
        path = registry.find("adders", "new", access=vek.Access.WRITE)
    assert os.stat(path).st_mode & 0o777 == 0o750


@pytest.mark.parametrize(
    "names, code",
    [
        (("nothing",), vek.LibraryCode.LIBRARY_NOT_DEFINED),
        (("adders", "nothing"), vek.LibraryCode.NO_SUCH_CELL),
        (("adders", "ripple", "nothing"), vek.LibraryCode.NO_SUCH_VIEW),
        (("adders", "ripple", "layout", "nothing"), vek.LibraryCode.NO_SUCH_FILE),
        (("adders", None, "layout"), vek.LibraryCode.INVALID_PATH),
    ],
)
def test_find_raises_the_code_of_what_is_missing(registry, names, code):
    with pytest.raises(vek.LibraryError) as raised:
        registry.find(*names)
    assert raised.value.code == code


def test_find_of_a_temporary_directory_that_a_library_does_not_have_raises(registry):
    with pytest.raises(vek.NotFoundError) as raised:
        registry.find("adders", access=vek.Access.READ_TMP)
    assert raised.value.code == vek.LibraryCode.NO_SUCH_DIRECTORY


def test_denied_access_is_a_permission_error(registry, project):
    """Root has all permissions, so a child process runs as another user."""
    for parent in project.parents:
        if parent.stat().st_uid == os.getuid() and parent != pathlib.Path("/tmp"):
            parent.chmod(0o755)
    os.chmod(project / "adders", 0o755)
    child = os.fork()
    if child == 0:
        status = 2
        try:
            if os.getuid() == 0:
                os.setgid(65534)
                os.setuid(65534)
            with vek.Registry("vek.lib") as own:
                own.find("adders", access=vek.Access.WRITE)
        except PermissionError as error:
            is_right = isinstance(error, vek.AccessDeniedError)
            status = 0 if is_right and error.code == vek.LibraryCode.PERMISSION_DENIED_LIBRARY else 1
        finally:
            os._exit(status)
    if os.getuid() != 0:
        os.chmod(project / "adders", 0o555)
    assert os.waitpid(child, 0)[1] == 0


def test_exists_checks_what_the_query_asks_for(registry, project):
    library = registry["adders"]
    assert library.exists()
    assert library.exists("ripple", "layout", "layout.txt", query=vek.Query.READABLE | vek.Query.WRITABLE)
    assert not library.exists("ripple", "nothing")
    assert not library.exists("ripple", query=vek.Query.EXISTS | vek.Query.TMP)
    with pytest.raises(vek.LibraryNotDefinedError):
        registry.exists("nothing")


# ---- temporary directories


def test_the_global_root_gives_every_library_a_directory(project):
    with vek.Registry("scratch/vek.lib") as registry:
        assert registry.global_temporary_root == vek.Place(f"{project}/scratch/vek.lib", 3)
        assert registry["adders"].temporary_directories == [
            vek.TemporaryDirectory(vek.TemporaryKind.GLOBAL, f"{project}/scratch/adders")
        ]
        assert os.path.isdir(f"{project}/scratch/adders")
    with vek.Registry("vek.lib") as registry:
        assert registry.global_temporary_root is None
        assert registry["adders"].temporary_directories == []


def test_an_explicit_directory_is_the_one_assigned(write, tree):
    os.mkdir("a")
    os.mkdir("t")
    write("vek.lib", "DEFINE a ./a", "ASSIGN a TMP ./t", "ASSIGN a X y")
    with vek.Registry("vek.lib") as registry:
        expected = [vek.TemporaryDirectory(vek.TemporaryKind.EXPLICIT, f"{tree}/t")]
        assert registry["a"].temporary_directories == expected
        # Documented: UNASSIGN of any attribute clears it.
        registry.execute("UNASSIGN a X")
        assert registry["a"].temporary_directories == []


def test_an_implicit_directory_comes_before_the_others(project):
    os.mkdir("implicit")
    with vek.Registry("scratch/vek.lib") as registry:
        registry.set_implicit_temporary_directory("implicit")
        assert registry["adders"].temporary_directories == [
            vek.TemporaryDirectory(vek.TemporaryKind.IMPLICIT, f"{project}/implicit/adders"),
            vek.TemporaryDirectory(vek.TemporaryKind.GLOBAL, f"{project}/scratch/adders"),
        ]
        expected = registry["adders"].temporary_directories
        os.mkdir("implicit/adders")
        assert registry["adders"].temporary_directories == expected
        assert registry.find("adders", access=vek.Access.READ_TMP) == f"{project}/implicit/adders"
        registry.set_implicit_temporary_directory(None)
        assert registry.find("adders", access=vek.Access.READ_TMP) == f"{project}/scratch/adders"
        with pytest.raises(vek.LibraryError) as raised:
            registry.set_implicit_temporary_directory("missing")
        assert raised.value.code == vek.LibraryCode.INVALID_PATH
        with pytest.raises(ValueError):
            registry.set_implicit_temporary_directory("$HOME")


def test_only_the_implicit_directory_is_tried_if_asked(project):
    os.mkdir("implicit")
    with vek.Registry("scratch/vek.lib") as registry:
        registry.set_implicit_temporary_directory("implicit", only=True)
        with pytest.raises(vek.NotFoundError):
            registry.find("adders", access=vek.Access.READ_TMP)


def test_cells_of_temporary_directories_are_listed_unless_left_out(project):
    with vek.Registry("scratch/vek.lib") as registry:
        os.mkdir(project / "scratch/adders/scratched")
        library = registry["adders"]
        assert sorted(library.cells()) == ["carry", "ripple", "scratched"]
        assert sorted(library.cells(source=vek.Source.LIBRARY)) == ["carry", "ripple"]
        assert list(library.cells(source=vek.Source.TMP)) == ["scratched"]


# ---- statements and searches


def test_a_statement_is_executed_and_a_bad_one_has_no_effect(registry, project):
    registry.execute("DEFINE rom ./shared/memories/rom")
    assert registry["rom"].directory == f"{project}/shared/memories/rom"
    before = list(registry)
    registry.execute("NONSENSE")
    assert list(registry) == before
    assert len(registry.diagnostics) == 1


def test_searches_include_the_directories_of_a_library(registry, project, write):
    write("setup.loc", ".", "@LIBRARY")
    write("adders/.tolvane/rules.txt", "x")
    assert registry.search("rules.txt", library="adders") == f"{project}/adders/.tolvane/rules.txt"
    assert registry.search("rules.txt", library="memories") is None
    assert registry.search("vek.lib") == "./vek.lib"
    assert registry.search("vek.lib", groups=["shared"]) == "./shared/vek.lib"
    assert registry.search_all("rules.txt", library="adders") == [f"{project}/adders/.tolvane/rules.txt"]
    assert registry.search_all("nothing.txt", library="adders") == []
    assert registry.search_writable("rules.txt", library="adders") == f"{project}/adders/.tolvane/rules.txt"
    assert registry.search_writable("nothing.txt", library="adders") is None


def test_the_registry_reads_as_the_tool_does(project, vekinfo):
    """The directories are those that the check names."""
    output = vekinfo("-verbose", "-checklibrary").stdout
    with vek.Registry("vek.lib", check_existence=False) as registry:
        for name, directory in re.findall(r"The library (\S+) at (\S+) has a vekinfo.tag definition", output):
            assert registry.find(name) == directory
