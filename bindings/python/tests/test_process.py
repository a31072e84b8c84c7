"""What the binding does to the process that it runs in: handlers, threads, names, objects that are gone."""

from __future__ import annotations

import gc
import os
import signal
import subprocess
import sys
import threading

import pytest

import vek
from vek import _library
from vek._declarations import ffi
from vek._library import lib


def run(program: str, **environment: str) -> subprocess.CompletedProcess[str]:
    return subprocess.run(
        [sys.executable, "-c", program], env={**os.environ, **environment}, capture_output=True, text=True, timeout=60
    )


# ---- handlers


def test_handlers_are_set_for_a_call_and_the_previous_ones_put_back(write):
    seen: list[str] = []
    mine = ffi.callback("tovErrorHandler", lambda code, text, where, line: seen.append(ffi.string(text).decode()))
    message = ffi.callback("vekErrorFunc", lambda text: seen.append(ffi.string(text).decode()))
    write("lib/vekinfo.tag", "VEKLIBRARY yes")
    before = lib.tovRegisterErrorHandler(mine), lib.vekRegErrorFunc(message)
    try:
        with pytest.raises(vek.TagError):
            vek.lookup("lib", "A")
        assert seen == []
        lib.tovPrintError(3, b"mine", ffi.NULL, 0)
        lib.vekReportError(b"message")
        assert seen == ["mine", "message"]
    finally:
        assert lib.tovRegisterErrorHandler(before[0]) == mine
        assert lib.vekRegErrorFunc(before[1]) == message


def test_nothing_is_printed(project, capfd):
    with vek.Registry("vek.lib") as registry, pytest.raises(vek.LibraryError):
        registry.find("nothing")
    with pytest.raises(vek.LibraryError):
        vek.Registry("missing.lib")
    with pytest.raises(vek.TagError):
        vek.lookup("/no/such/dir", "A")
    assert capfd.readouterr() == ("", "")


def test_the_default_handle_of_the_process_stays(project):
    handle = ffi.new("rynHandle *")
    with vek.lock:
        assert lib.rynInit(ffi.NULL, 0, _library.warning_handler, ffi.NULL, handle) == 0
        with vek.Registry("vek.lib"):
            assert lib.rynGetCurHandle()[0] == handle[0]
        assert lib.rynGetCurHandle()[0] == handle[0]
        lib.rynReleaseHandle(handle[0])


def test_a_report_outside_a_call_goes_to_standard_error():
    """The first fatal handler of a process serves every later misuse, of other code as well."""
    program = """
import vek
from vek._declarations import ffi
from vek._library import lib
import pathlib
pathlib.Path("own.lib").write_text("")
vek.Registry("own.lib").close()
lib.rynIsDefined(ffi.NULL, b"x")
"""
    done = run(program)
    assert (done.returncode, done.stderr) == (0, "Invalid Parameter: rynIsDefined()\n")


def test_an_interrupt_in_a_handler_ends_the_call(write, monkeypatch):
    write("vek.lib", "FOO x", "FOO y")

    def interrupted(code):
        raise KeyboardInterrupt

    monkeypatch.setattr(_library, "library_code", interrupted)
    with pytest.raises(KeyboardInterrupt):
        vek.Registry("vek.lib")
    monkeypatch.undo()
    assert vek.lock.acquire(blocking=False)
    vek.lock.release()


# ---- threads


def test_two_threads_get_right_answers(project):
    failures: list[object] = []

    def look_up(directory: str, name: str, value: str) -> None:
        try:
            for _ in range(300):
                assert vek.lookup(directory, name).value == value
                with vek.Registry("vek.lib") as registry:
                    assert sorted(registry.cells("adders")) == ["carry", "ripple"]
        except BaseException as error:
            failures.append(error)

    threads = [
        threading.Thread(target=look_up, args=arguments)
        for arguments in (
            ("adders/ripple", "PROCESS", "n7"),
            ("memories", "OWNER", "datapath-team"),
            (".", "DMTYPE", "none"),
        )
    ]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert failures == []


def test_a_registry_that_another_thread_closes_raises_and_does_not_crash(project):
    for _ in range(50):
        registry = vek.Registry("vek.lib")
        ended: list[BaseException] = []

        def use(registry: vek.Registry = registry, ended: list[BaseException] = ended) -> None:
            try:
                while True:
                    list(registry.items())
                    list(registry.cells("adders"))
            except ValueError as error:
                ended.append(error)

        thread = threading.Thread(target=use)
        thread.start()
        registry.close()
        thread.join(30)
        assert not thread.is_alive()
        assert [str(error) for error in ended] == ["the registry is closed"]


def test_the_lock_is_reentrant(project):
    with vek.lock, vek.lock:
        assert vek.lookup("adders", "PROCESS").value == "n7"


def test_a_call_within_a_call_of_the_same_thread_raises(project):
    with _library.lock, _library.Section(), pytest.raises(RuntimeError, match="the same thread is in another call"):
        vek.lookup("adders", "PROCESS")
    assert vek.lookup("adders", "PROCESS").value == "n7"


def test_a_signal_handler_that_calls_vek_does_not_crash(project):
    """It works between two calls, and gets RuntimeError within one."""
    outcomes: set[str] = set()

    def on_alarm(number, frame):
        try:
            outcomes.add(vek.lookup("adders", "PROCESS").value)
        except RuntimeError:
            outcomes.add("refused")

    previous = signal.signal(signal.SIGALRM, on_alarm)
    signal.setitimer(signal.ITIMER_REAL, 0.0005, 0.0005)
    try:
        for _ in range(3000):
            assert vek.lookup("memories", "OWNER").value == "datapath-team"
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, previous)
    assert outcomes <= {"n7", "refused"} and outcomes


@pytest.mark.skipif(
    sys.implementation.name == "pypy",
    reason="PyPy may run a signal handler after a lock is acquired and before the with statement protects it",
)
def test_an_exception_of_a_signal_handler_leaves_a_library_that_can_be_used(project):
    """Also in another thread, and while the traceback of the interrupted call exists."""

    class Interrupt(Exception):
        pass

    def on_alarm(number, frame):
        raise Interrupt

    answers: list[str] = []
    previous = signal.signal(signal.SIGALRM, on_alarm)
    mine = ffi.callback("tovErrorHandler", lambda code, text, where, line: None)
    message = ffi.callback("vekErrorFunc", lambda text: None)
    before = lib.tovRegisterErrorHandler(mine), lib.vekRegErrorFunc(message)
    kept = None
    try:
        for number in range(1000):
            try:
                signal.setitimer(signal.ITIMER_REAL, 0.00005 + number % 97 * 0.000003)
                while True:
                    vek.lookup("adders/ripple", "COLOR")
            except Interrupt as interrupt:
                kept = interrupt  # with its frames
            assert vek.lookup("adders", "PROCESS").value == "n7"
            if number % 10 == 0:
                thread = threading.Thread(target=lambda: answers.append(vek.lookup("adders", "PROCESS").value))
                thread.start()
                thread.join(20)
                assert not thread.is_alive()
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, previous)
    assert kept is not None
    assert answers == ["n7"] * 100
    assert lib.tovRegisterErrorHandler(before[0]) == mine
    assert lib.vekRegErrorFunc(before[1]) == message


def test_a_forked_child_can_call_whatever_other_threads_do(project):
    stop = threading.Event()

    def look_up() -> None:
        while not stop.is_set():
            vek.lookup("adders", "OWNER")

    thread = threading.Thread(target=look_up)
    thread.start()
    try:
        for _ in range(20):
            child = os.fork()
            if child == 0:
                signal.alarm(20)  # a deadlock must end
                os._exit(0 if vek.lookup("adders", "PROCESS").value == "n7" else 1)
            assert os.waitpid(child, 0)[1] == 0
    finally:
        stop.set()
        thread.join()


# ---- objects that are gone


def test_use_after_close_raises_value_error(project):
    registry = vek.Registry("vek.lib")
    library = registry["adders"]
    registry.close()
    registry.close()
    assert registry.closed
    assert repr(registry) == "<vek.Registry 'vek.lib' closed>"
    uses = [
        lambda: list(registry), lambda: len(registry), lambda: registry["adders"], lambda: registry.files,
        lambda: registry.find("adders"), lambda: registry.exists("adders"), lambda: registry.cells("adders"),
        lambda: registry.search("x"), lambda: registry.search_all("x", library="adders"),
        lambda: registry.search_writable("x"), lambda: registry.execute("UNDEFINE adders"),
        lambda: registry.global_temporary_root, lambda: registry.set_implicit_temporary_directory(None),
        lambda: library.directory, lambda: library.attributes, lambda: library.defined_at,
        lambda: library.assigned_at("X"), lambda: library.temporary_directories, lambda: library.views("ripple"),
        lambda: library.files(), lambda: library.find(), lambda: library.exists(), lambda: "adders" in registry,
    ]  # fmt: skip
    for use in uses:
        with pytest.raises(ValueError, match="the registry is closed"):
            use()
    assert len(registry.diagnostics) == 1


def test_a_registry_that_is_collected_is_released_by_the_next_call(project):
    vek.lookup(".", "A")
    before = len(_library.abandoned)
    vek.Registry("vek.lib")
    for _ in range(3):  # finalizers may run a collection later
        gc.collect()
    assert len(_library.abandoned) == before + 1
    vek.lookup(".", "A")
    assert len(_library.abandoned) == 0


def test_a_process_may_end_with_an_open_registry(project):
    done = run("import vek; r = vek.Registry('vek.lib'); l = r['adders']; print(l.directory)")
    assert (done.returncode, done.stderr) == (0, "")


# ---- names


@pytest.mark.parametrize("name", [b"\xff\xfe", "ä".encode(), b"\xc3", "日本".encode(), b"a b'\"<&>"])
def test_names_of_any_bytes_lead_to_the_same_file(name, tree):
    directory = os.fsencode(tree) + b"/" + name
    os.mkdir(directory)
    with open(directory + b"/vekinfo.tag", "wb") as file:
        file.write(b"VEKLIBRARY\nA " + name.split(b" ")[0] + b"\n")
    os.mkdir(directory + b"/cell")
    with open("vek.lib", "wb") as file:
        file.write(b'DEFINE "' + name.replace(b'"', b"") + b'" "' + name.replace(b'"', b"") + b'"\n')
    text = os.fsdecode(directory)
    entry = vek.lookup(directory, "A")
    assert entry == vek.lookup(text, "A")
    assert os.fsencode(entry.value) == name.split(b" ")[0]
    assert os.path.samefile(entry.file, directory + b"/vekinfo.tag")
    if b'"' not in name:
        with vek.Registry("vek.lib") as registry:
            assert [os.fsencode(library) for library in registry] == [name]
            assert registry[os.fsdecode(name)].directory == text
            assert list(registry[os.fsdecode(name)].cells()) == ["cell"]


def test_a_name_with_a_nul_raises_value_error(project):
    with vek.Registry("vek.lib") as registry:
        for use in (lambda: vek.lookup("a\0b", "A"), lambda: vek.lookup(".", "A\0"), lambda: registry.find("a\0"),
                    lambda: vek.search("\0"), lambda: vek.interpolate("\0"), lambda: vek.Registry("\0")):  # fmt: skip
            with pytest.raises(ValueError):
                use()


def test_names_of_the_wrong_type_raise_type_error(project):
    with pytest.raises(TypeError):
        vek.lookup(3, "A")
    with pytest.raises(TypeError):
        vek.lookup(".", None)
    with vek.Registry("vek.lib") as registry, pytest.raises(TypeError):
        registry.find(None)


def test_very_long_names_raise_and_do_not_crash(project):
    long = "x" * 100_000
    with vek.Registry("vek.lib") as registry:
        assert long not in registry
        with pytest.raises(vek.LibraryError):
            registry.find("adders", long)
        assert not registry["adders"].exists("ripple", query=vek.Query.TMP)
    with pytest.raises(vek.LibraryError):
        vek.Registry(long)
    with pytest.raises(vek.VekError):
        vek.read_tags(long)


# ---- the shared library


def test_without_the_shared_library_the_import_says_what_to_do():
    done = run("import vek", LIBVEK="/no/such/libvek.so")
    assert done.returncode == 1
    assert "ImportError: " in done.stderr
    assert "or let LD_LIBRARY_PATH name its directory or LIBVEK the file." in done.stderr


def test_the_import_needs_neither_a_compiler_nor_a_parser():
    done = run(
        "import sys, vek; print([name for name in sys.modules if name.partition('.')[0] in ('cffi', 'pycparser')])"
    )
    assert (done.stdout, done.stderr) == ("[]\n", "")
