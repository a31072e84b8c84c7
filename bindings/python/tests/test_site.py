"""Results of read_site(), and the command vekreport without a browser."""

from __future__ import annotations

import json
import os
import pathlib
import pty
import re
import subprocess
import sys

import jsonschema
import pytest

import vek
from conftest import VEKINFO
from vek.report import main
from vek.site import ConfigurePlan, Problem, ProblemKind, Site, SiteFile, read_site


def kinds(site: Site) -> list[str]:
    return [str(problem.kind) for problem in site.problems]


def snapshot(directory: pathlib.Path) -> dict[str, tuple[float, int]]:
    """Every file and directory with its time of change and size."""
    return {str(file): (file.stat().st_mtime_ns, file.stat().st_size) for file in [directory, *directory.rglob("*")]}


# ---- reading


def test_the_sample_project(project):
    site = read_site()
    assert site.file == f"{project}/vek.lib"
    assert site.search_list == (".",)
    assert site.working_directory == str(project)
    assert site.version == vek.__version__
    assert site.files == (
        SiteFile(f"{project}/vek.lib", None, libraries=3, diagnostics=1),
        SiteFile(f"{project}/shared/vek.lib", vek.Place(f"{project}/vek.lib", 4), libraries=1, diagnostics=0),
    )
    assert [library.name for library in site.libraries] == ["adders", "multipliers", "symbols", "memories"]
    adders, multipliers, symbols, memories = site.libraries
    assert adders.directory == adders.checked_directory == f"{project}/adders"
    assert adders.dmtype == vek.Entry("none", f"{project}/vekinfo.tag")
    assert adders.namespace == vek.Entry("LibraryUnix", f"{project}/vekinfo.tag")
    assert adders.library_entry == vek.Entry("", f"{project}/adders/vekinfo.tag")
    assert adders.problems == ()
    assert adders.configure is None
    assert multipliers.library_entry is None
    assert multipliers.configure == ConfigurePlan(
        f"{project}/multipliers/vekinfo.tag", ("VEKLIBRARY", "DMTYPE none", "NAMESPACE: by probe"), None
    )
    assert memories.defined_at == vek.Place(f"{project}/vek.lib", 5)
    assert memories.earlier_definitions == (vek.Place(f"{project}/shared/vek.lib", 3),)
    assert kinds(site) == ["no-library-entry", "redundant-tag-file", "definition"]
    assert symbols.problems == (
        Problem(ProblemKind.REDUNDANT_TAG_FILE, "a tag file below the library's directory", "symbols",
                f"{project}/shared/symbols/gates/vekinfo.tag"),
    )  # fmt: skip
    (redefined,) = memories.problems
    assert (redefined.path, redefined.line, redefined.code, redefined.library) == (
        f"{project}/vek.lib",
        5,
        31,
        "memories",
    )


def test_the_file_that_is_named_is_read(project):
    assert [library.name for library in read_site("shared/vek.lib").libraries] == ["symbols", "memories"]


def test_without_a_file_search_error_is_raised(tree):
    with pytest.raises(vek.SearchError):
        read_site()


def test_a_directory_instead_of_a_file_is_an_error_and_no_empty_site(project, capsys):
    with pytest.raises(IsADirectoryError) as raised:
        read_site("adders")
    assert raised.value.filename == f"{project}/adders"
    assert main(["--strict", "adders"]) == 2
    assert capsys.readouterr() == ("", f"vekreport: [Errno 21] Is a directory: '{project}/adders'\n")


def test_tags_are_those_that_new_processes_of_the_tool_find(project, write, lookup_of_tool):
    write("multipliers/vekinfo.tag", "OWNER only")
    write("more/vekinfo.tag", "A 1", "DMTYPE pkm")
    with open("vek.lib", "a") as file:
        file.write("DEFINE more ./more\nDEFINE again ./more/x\n")
    os.mkdir("more/x")
    for library in read_site().libraries:
        for name, entry in (
            ("DMTYPE", library.dmtype),
            ("NAMESPACE", library.namespace),
            ("VEKLIBRARY", library.library_entry),
        ):
            expected = lookup_of_tool(library.directory, name)
            answer = None if entry is None else (entry.value.lower(), entry.file or "")
            assert answer == (expected and (expected[0].lower(), expected[1]))


def test_three_definitions_are_a_chain(write, tree):
    for name in "abc":
        os.mkdir(name)
    write("x.lib", "DEFINE lib ./a")
    write("y.lib", "DEFINE lib ./b")
    write("vek.lib", "INCLUDE x.lib", "INCLUDE y.lib", "DEFINE lib ./c")
    (library,) = read_site().libraries
    assert library.directory == f"{tree}/c"
    assert library.earlier_definitions == (vek.Place(f"{tree}/x.lib", 1), vek.Place(f"{tree}/y.lib", 1))
    assert [problem.code for problem in library.problems if problem.kind == ProblemKind.DEFINITION] == [31, 31]


def test_a_library_may_be_redefined_many_times(write, tree):
    os.mkdir("a")
    write("vek.lib", *["DEFINE lib ./a"] * 3000)
    (library,) = read_site().libraries
    assert [place.line for place in library.earlier_definitions] == list(range(1, 3000))
    assert main(["--quiet"]) == 0
    page = pathlib.Path("vekreport.html").read_text()
    assert "and 2,989 earlier ones" in page
    assert "redefined ×2,999" in page


def test_directories_that_are_missing_or_no_directories_are_problems_at_their_definition(write, tree):
    write("file", "x")
    os.symlink("nowhere", "link")
    write("vek.lib", "DEFINE gone ./gone", "DEFINE file ./file", "DEFINE link ./link")
    site = read_site()
    assert [(p.kind, p.message, p.library, p.path, p.line) for p in site.problems] == [
        (ProblemKind.MISSING_DIRECTORY, f"{tree}/gone does not exist", "gone", f"{tree}/vek.lib", 1),
        (ProblemKind.MISSING_DIRECTORY, f"{tree}/file is not a directory", "file", f"{tree}/vek.lib", 2),
        (ProblemKind.MISSING_DIRECTORY, f"{tree}/link is a symbolic link to nothing", "link", f"{tree}/vek.lib", 3),
    ]  # fmt: skip
    assert all(library.configure is None for library in site.libraries)


def test_directories_that_cannot_be_read_are_problems(write, tree):
    """Root may read everything, so a child process reads the site as another user."""
    for name in ("closed", "open"):
        os.mkdir(name)
    write("open/vekinfo.tag", "DMTYPE none")
    write("vek.lib", "DEFINE closed ./closed", "DEFINE open ./open")
    os.chmod("closed", 0o700 if os.getuid() == 0 else 0)
    for parent in tree.parents:
        if parent.stat().st_uid == os.getuid() and parent != pathlib.Path("/tmp"):
            parent.chmod(0o755)
    child = os.fork()
    if child == 0:
        status = 1
        try:
            if os.getuid() == 0:
                os.setgid(65534)
                os.setuid(65534)
            closed, opened = read_site().libraries
            assert closed.problems[0].kind == ProblemKind.UNREADABLE_DIRECTORY
            assert opened.configure is not None
            assert os.getuid() != 65534 or opened.configure.refusal == "the directory cannot be written"
            status = 0
        finally:
            os._exit(status)
    assert os.waitpid(child, 0)[1] == 0


def test_a_temporary_directory_that_vanished_is_a_problem(project, monkeypatch):
    monkeypatch.setattr(vek.Library, "find", lambda library, access: f"{project}/gone")
    first = read_site("vek.lib").libraries[0]
    assert [problem.message for problem in first.problems] == [f"{project}/gone does not exist"]


def test_a_tag_file_with_an_error_is_a_problem_of_its_library(write, tree):
    write("lib/vekinfo.tag", "VEKLIBRARY", "NAMESPACE Unix")
    write("vek.lib", "DEFINE lib ./lib")
    (library,) = read_site().libraries
    first, second = library.problems
    assert (first.kind, first.path, first.line, first.code) == (ProblemKind.TAG_FILE, f"{tree}/lib/vekinfo.tag", 2, 9)
    # As the tool sees it: a file that cannot be read defines nothing.
    assert second.kind == ProblemKind.NO_LIBRARY_ENTRY


def test_diagnostics_that_concern_no_library_are_problems_of_the_site(write, tree):
    write("vek.lib", "NONSENSE x", "ASSIGN nothing A b")
    site = read_site()
    assert [(problem.library, problem.line, problem.code) for problem in site.problems] == [(None, 1, 16), (None, 2, 5)]


def test_a_library_without_the_entry_in_its_own_file_is_a_problem_although_it_inherits_one(write, tree):
    write("vekinfo.tag", "VEKLIBRARY")
    os.mkdir("lib")
    write("vek.lib", "DEFINE lib ./lib")
    (library,) = read_site().libraries
    assert library.library_entry == vek.Entry("", f"{tree}/vekinfo.tag")
    assert [problem.kind for problem in library.problems] == [ProblemKind.NO_LIBRARY_ENTRY]


def test_configure_plans_are_what_configurelibrary_appends(project, vekinfo):
    site = read_site()
    vekinfo("-configurelibrary")
    for library in site.libraries:
        if library.configure is not None:
            lines = pathlib.Path(library.configure.file).read_text().splitlines()
            appended = [line for line in lines if not line.startswith("#")]
            assert [line.split()[0] for line in appended] == [
                re.split("[: ]", entry)[0] for entry in library.configure.appends
            ]
            assert appended[1] == "DMTYPE none"
    assert all(library.configure is None for library in read_site().libraries)


def test_redundant_tag_files_are_those_that_the_check_names(project, vekinfo, write):
    write("adders/carry/vekinfo.tag", "A 1")
    write("adders/carry/schematic/deep/er/vekinfo.tag", "A 1")
    os.symlink("../../shared/symbols/gates", "adders/ripple/linked")
    output = vekinfo("-checklibrary").stdout
    expected = set(re.findall(r"There is a redundant vekinfo.tag file in the subdir: \n\t(.*)\n", output))
    found = {os.path.dirname(str(p.path)) for p in read_site().problems if p.kind == ProblemKind.REDUNDANT_TAG_FILE}
    assert found == {os.path.normpath(os.path.realpath(directory)) for directory in expected}
    assert len(found) == 3
    assert not any(p.kind == ProblemKind.REDUNDANT_TAG_FILE for p in read_site(scan=False).problems)


def test_a_link_that_leads_back_is_a_problem_and_ends_no_scan(project):
    os.symlink("../..", "adders/ripple/back")
    os.symlink("..", "adders/carry/up")
    loops = [(p.library, p.path) for p in read_site().problems if p.kind == ProblemKind.LINK_LOOP]
    assert loops == [
        ("adders", f"{project}/adders/ripple/back"),
        ("adders", f"{project}/adders/carry/up"),
    ] or loops == [
        ("adders", f"{project}/adders/carry/up"),
        ("adders", f"{project}/adders/ripple/back"),
    ]


def test_directories_that_link_to_each_other_are_scanned_once(write, tree):
    """Every path through them would be 2^30 directories."""
    for index in range(30):
        os.makedirs(f"lib/d{index}")
        if index:
            os.symlink(f"../d{index - 1}", f"lib/d{index}/a")
            os.symlink(f"../d{index - 1}", f"lib/d{index}/b")
    write("lib/d0/vekinfo.tag", "A 1")
    write("vek.lib", "DEFINE lib ./lib")
    assert kinds(read_site()) == ["no-library-entry", "redundant-tag-file"]


def test_a_global_temporary_root_is_named_and_its_directories_are_checked(project):
    site = read_site("scratch/vek.lib")
    assert site.global_temporary_root == vek.Place(f"{project}/scratch/vek.lib", 3)
    adders = site.libraries[0]
    assert adders.checked_directory == f"{project}/scratch/adders"
    assert adders.directory == f"{project}/adders"
    assert adders.temporary_directories == (vek.TemporaryDirectory(vek.TemporaryKind.GLOBAL, adders.checked_directory),)
    assert os.path.isdir(adders.checked_directory)


def test_reading_writes_nothing(project):
    before = snapshot(project)
    read_site()
    assert snapshot(project) == before


def test_progress_is_called_for_every_library(project):
    calls: list[tuple[int, int, str]] = []
    read_site(progress=lambda done, total, name: calls.append((done, total, name)))
    assert calls == [(0, 4, "adders"), (1, 4, "multipliers"), (2, 4, "symbols"), (3, 4, "memories")]


# ---- the check


def test_a_check_adds_its_lines_and_its_namespace_warnings(project):
    site = read_site(check=True, vekinfo=VEKINFO)
    assert site.check.command == (VEKINFO, "-verbose", "-checklibrary")
    assert site.check.status == 0
    assert f"The library adders at {project}/adders has a vekinfo.tag definition." in site.check.output
    assert site.check.errors[0] == f"Error at line 5 of {project}/vek.lib "
    assert [(p.kind, p.library, p.path) for p in site.problems if p.kind == ProblemKind.NAMESPACE] == [
        (ProblemKind.NAMESPACE, "symbols", f"{project}/shared/symbols/vekinfo.tag")
    ]


def test_a_check_of_another_file_is_refused(project):
    with pytest.raises(ValueError, match="is not the vek.lib that vekinfo checks"):
        read_site("shared/vek.lib", check=True)


def test_the_warnings_of_the_check_itself_are_problems(project, tree):
    tool = tree / "failing"
    tool.write_text("#!/bin/sh\necho 'WARNING: Problem found in rynGetPath: x' >&2\n")
    tool.chmod(0o755)
    site = read_site(check=True, vekinfo=tool)
    assert [p.message for p in site.problems if p.kind == ProblemKind.CHECK] == [
        "WARNING: Problem found in rynGetPath: x"
    ]


# ---- JSON


def schema() -> dict[str, object]:
    return json.loads((pathlib.Path(vek.__file__).parent / "report/site.schema.json").read_text())


def test_the_schema_is_valid_and_describes_every_field():
    jsonschema.Draft202012Validator.check_schema(schema())


@pytest.mark.parametrize("arguments", [[], ["scratch/vek.lib"], ["--check"], ["--no-scan"]])
def test_json_is_valid_against_the_schema(arguments, project, capsys):
    assert main(["--json", "--vekinfo", VEKINFO, *arguments]) == 0
    read = json.loads(capsys.readouterr().out)
    jsonschema.Draft202012Validator(schema()).validate(read)
    assert read["counts"]["libraries"] == len(read["libraries"]) == 4
    assert read["counts"]["problems"] == len(read["problems"])
    assert read["counts"]["files"] == len(read["files"])


def test_the_schema_rejects_what_is_not_in_it(project):
    value = read_site().to_dict()
    value["libraries"][0]["colour"] = "red"
    with pytest.raises(jsonschema.ValidationError):
        jsonschema.Draft202012Validator(schema()).validate(json.loads(json.dumps(value)))


def test_json_gives_names_that_are_not_utf8_back(tree, capsys):
    os.mkdir(b"\xff")
    with open("vek.lib", "wb") as file:
        file.write(b"DEFINE \xfe \xff\n")
    assert main(["--json"]) == 0
    output = capsys.readouterr().out
    assert output.isascii()
    library = json.loads(output)["libraries"][0]
    assert os.fsencode(library["name"]) == b"\xfe"
    assert os.path.isdir(os.fsencode(library["directory"]))


# ---- the command


def test_the_page_is_written_and_summed_up(project, capsys):
    assert main([]) == 0
    assert capsys.readouterr().out == "vekreport.html: 4 libraries, 3 problems\n"
    page = pathlib.Path("vekreport.html")
    assert page.read_text().startswith("<!DOCTYPE html>")
    mask = os.umask(0)
    os.umask(mask)
    assert page.stat().st_mode & 0o777 == 0o666 & ~mask
    assert main(["-o", "-"]) == 0
    assert capsys.readouterr().out.startswith("<!DOCTYPE html>")
    assert main(["--quiet", "-o", "other.html"]) == 0
    assert capsys.readouterr() == ("", "")


def test_strict_ends_with_1_for_a_problem_and_0_without(project, write, capsys):
    assert main(["--strict"]) == 1
    write("good/vekinfo.tag", "VEKLIBRARY")
    write("good.lib", "DEFINE good ./good")
    assert main(["--strict", "good.lib"]) == 0
    assert capsys.readouterr().out.endswith("vekreport.html: 1 library, 0 problems\n")


def test_errors_end_with_2_and_leave_the_old_page(project, capsys):
    pathlib.Path("vekreport.html").write_text("old")
    assert main(["missing.lib"]) == 2
    assert capsys.readouterr().err.startswith("vekreport: ")
    assert main(["-o", "/no/such/directory/x.html"]) == 2
    assert main(["--check", "--vekinfo", "/no/such/program"]) == 2
    assert main(["--check", "shared/vek.lib"]) == 2
    with pytest.raises(SystemExit) as ended:
        main(["--unknown"])
    assert ended.value.code == 2
    assert pathlib.Path("vekreport.html").read_text() == "old"
    assert [name for name in os.listdir(".") if name.startswith(".vekreport")] == []


def test_a_page_that_is_not_completed_leaves_the_old_one(project, monkeypatch):
    pathlib.Path("vekreport.html").write_text("old")

    def fail_halfway(site):
        yield "new"
        raise OSError("disk full")

    monkeypatch.setattr("vek.report._page.render", fail_halfway)
    assert main([]) == 2
    assert pathlib.Path("vekreport.html").read_text() == "old"
    assert [name for name in os.listdir(".") if name.startswith(".vekreport")] == []


def test_a_fault_of_the_program_is_not_the_status_of_a_problem(project, monkeypatch, capsys):
    def fail(*arguments, **options):
        raise RuntimeError("fault")

    monkeypatch.setattr("vek.report._command.read_site", fail)
    assert main([]) == 2
    assert "RuntimeError: fault" in capsys.readouterr().err


def test_a_reader_that_goes_away_is_an_error_without_a_traceback(project):
    command = f"{sys.executable} -m vek.report --json -o - | true; exec 2>&1"
    done = subprocess.run(["bash", "-c", command], capture_output=True, text=True, check=True)
    assert done.stderr in ("vekreport: [Errno 32] Broken pipe\n", "")


def test_the_page_is_utf8_whatever_the_locale(project):
    environment = {**os.environ, "PYTHONIOENCODING": "latin-1"}
    done = subprocess.run(
        [sys.executable, "-m", "vek.report", "-o", "-"], env=environment, capture_output=True, check=True
    )
    assert "creates the libraries" not in done.stdout.decode()
    assert "–" in done.stdout.decode()


def test_control_characters_of_names_do_not_reach_the_terminal(tree, capsys):
    assert main(["\x1b[31mmissing.lib"]) == 2
    assert "\x1b" not in capsys.readouterr().err


def test_without_a_vek_lib_the_command_says_so(tree, capsys):
    assert main([]) == 2
    assert capsys.readouterr().err == "vekreport: File not found: vek.lib\n"


def test_the_schema_is_printed(capsys):
    assert main(["--schema"]) == 0
    assert json.loads(capsys.readouterr().out) == schema()


def test_the_page_is_the_same_for_the_same_time(project, monkeypatch):
    monkeypatch.setenv("SOURCE_DATE_EPOCH", "1800000000")
    main(["-o", "one.html"])
    main(["-o", "two.html"])
    assert pathlib.Path("one.html").read_bytes() == pathlib.Path("two.html").read_bytes()
    assert "2027-01-15 08:00 UTC" in pathlib.Path("one.html").read_text()


def test_a_progress_bar_is_shown_on_a_terminal_and_erased(project):
    master, slave = pty.openpty()
    environment = {**os.environ, "TERM": "xterm"}
    command = [sys.executable, "-m", "vek.report", "-o", "x.html"]
    subprocess.run(command, env=environment, stdout=subprocess.DEVNULL, stderr=slave, check=True)
    os.close(slave)
    shown = b""
    while True:
        try:
            piece = os.read(master, 4096)
        except OSError:
            break
        if not piece:
            break
        shown += piece
    os.close(master)
    assert b"libraries" in shown
    assert b"\n" not in shown
    assert shown.endswith(b"\r")
    assert shown.rstrip(b"\r").rpartition(b"\r")[2].strip() == b""


@pytest.mark.parametrize("term, quiet", [("dumb", []), ("xterm", ["--quiet"])])
def test_no_progress_bar_on_a_dumb_terminal_or_if_quiet(term, quiet, project):
    master, slave = pty.openpty()
    command = [sys.executable, "-m", "vek.report", "-o", "x.html", *quiet]
    subprocess.run(command, env={**os.environ, "TERM": term}, stdout=subprocess.DEVNULL, stderr=slave, check=True)
    os.write(slave, b"end")
    assert os.read(master, 4096) == b"end"
    os.close(slave)
    os.close(master)


def test_no_progress_bar_in_a_pipe(project):
    done = subprocess.run([sys.executable, "-m", "vek.report"], capture_output=True, check=True)
    assert (done.stdout, done.stderr) == (b"vekreport.html: 4 libraries, 3 problems\n", b"")
