"""The shared library, and the one section of code in which it may be called.

The library is not re-entrant and reports through process-wide handlers. A `Section` therefore holds the lock,
installs this module's handlers, collects what they receive, and puts the previous handlers back. Values are copied
before the section ends, because they point into caches of the library.
"""

from __future__ import annotations

import collections
import os
import pathlib
import sys
import threading
from collections.abc import Callable, Iterator, Sequence
from contextlib import contextmanager
from types import FrameType, TracebackType
from typing import TYPE_CHECKING, Any, Optional, Union

from vek import codes
from vek._code import Code
from vek._declarations import ffi
from vek.diagnostics import Diagnostic

if TYPE_CHECKING:
    from vek._declarations import CData, Lib

#: What names a file or directory. Bytes and str are both names; a str may hold surrogate escapes.
Path = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]

#: The name under which the library looks for the running tool, and so for its installation root.
EXECUTABLE = b"vekinfo"

NULL = ffi.NULL
PATH_SIZE = ffi.integer_const("VEK_PATH_SIZE")
SEARCH_PATH_SIZE = ffi.integer_const("VEK_SEARCH_PATH_SIZE")

#: Held while the library is called. It is re-entrant: a program that calls the library by other means as well, or
#: needs several calls to belong together, holds it, too.
lock = threading.RLock()


def _load() -> Lib:
    soname = f"libvek.so.{ffi.integer_const('VEK_VERSION_MAJOR')}"
    named = os.environ.get("LIBVEK")
    # PREFIX/lib/python3/dist-packages/vek: prefer the library that is installed under the same prefix.
    beside = pathlib.Path(__file__).resolve().parent.parent.parent.parent / soname
    try:
        return ffi.dlopen(named or (str(beside) if beside.is_file() else soname))
    except OSError as error:
        raise ImportError(
            f"{error}. Install {soname}, or let LD_LIBRARY_PATH name its directory or LIBVEK the file."
        ) from None


lib = _load()

# fork() waits until no thread is in the library, so that the child finds it between two calls.
os.register_at_fork(before=lock.acquire, after_in_parent=lock.release, after_in_child=lock.release)


# ---- text


def encode(name: Path) -> bytes:
    """The bytes of a name. A name that holds a NUL cannot be passed to C."""
    data = os.fsencode(name)
    if b"\0" in data:
        raise ValueError("embedded null byte")
    return data


def encode_optional(name: Path | None) -> CData | bytes:
    return NULL if name is None else encode(name)


def decode(text: CData) -> str:
    """The text of a C string; bytes that are not valid become surrogate escapes."""
    return os.fsdecode(ffi.string(text))


def decode_optional(text: CData) -> str | None:
    return decode(text) if text else None


def text_of(code: Code) -> str:
    if isinstance(code, codes.InterpolationCode):
        return codes.INTERPOLATION_TEXTS[code.value]
    if isinstance(code, codes.TagCode):
        return decode(lib.tovGetErrorMsg(code))
    if isinstance(code, codes.LibraryCode):
        return decode(lib.rynGetErrorMsg(code))
    return decode(lib.puxGetErrorMsg(code))


def string_list(names: Sequence[Path]) -> tuple[CData, list[CData]]:
    """A null-terminated array of C strings, and what must stay alive beside it."""
    strings = [ffi.new("char[]", encode(name)) for name in names]
    return ffi.new("char *[]", [*strings, NULL]), strings


def decode_list(names: CData) -> list[str]:
    decoded: list[str] = []
    while names and names[len(decoded)]:
        decoded.append(decode(names[len(decoded)]))
    return decoded


# ---- sections


class Section:
    """One use of the library: `with lock, Section() as section: ...`. Sections do not nest.

    An exception that a signal handler raises, KeyboardInterrupt for instance, can end __enter__() or __exit__()
    halfway. CPython's lock is not affected, because its methods are C: PyPy may leave it locked. Other state that
    remains is recognized by the next section, because the frame that it belongs to is no longer on the stack.
    """

    _current: Optional[Section] = None
    _frame: Optional[FrameType] = None
    #: The handlers that this module's replaced; more than one after an interrupted section.
    _tag_handlers: list[CData] = []
    _message_handlers: list[CData] = []

    def __init__(self, *, stop_at_first: bool = False) -> None:
        self.diagnostics: list[Diagnostic] = []
        self.stop_at_first = stop_at_first
        self.interrupt: BaseException | None = None

    def __enter__(self) -> Section:
        frame = sys._getframe(1)
        if Section._frame is not None and _is_running(Section._frame, frame):
            # A signal handler, a finalizer or a trace function of the thread that is in the library.
            raise RuntimeError("vek is called while the same thread is in another call of it")
        Section._frame = frame
        Section._current = self
        _replace(lib.tovRegisterErrorHandler, _tag_handler, Section._tag_handlers)
        _replace(lib.vekRegErrorFunc, _message_handler, Section._message_handlers)
        if not lib.vekInitDone():
            lib.vekInitNonVEKApp(EXECUTABLE)
        while abandoned:
            lib.rynReleaseHandle(abandoned.popleft())
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        _put_back(lib.tovRegisterErrorHandler, _tag_handler, Section._tag_handlers)
        _put_back(lib.vekRegErrorFunc, _message_handler, Section._message_handlers)
        Section._current = Section._frame = None
        if self.interrupt is not None and error is None:
            raise self.interrupt

    @contextmanager
    def search_list(self) -> Iterator[tuple[int, CData]]:
        """Builds the search list anew, as a fresh process does: (code, list). It is the default list meanwhile."""
        handle = ffi.new("char ***")
        code = lib.puxInitialize(handle)
        try:
            yield code, handle[0]
        finally:
            if handle[0]:
                lib.puxReleaseHandle(handle[0])


def _replace(register: Callable[[CData], CData], handler: CData, replaced: list[CData]) -> None:
    """Installs a handler and appends the previous one to `replaced`.

    Both happen within one call of C code: a signal handler, which runs between two calls, cannot separate them.
    """
    replaced.extend(map(register, (handler,)))


def _put_back(register: Callable[[CData], CData], handler: CData, replaced: list[CData]) -> None:
    """Installs the last handler of `replaced` that is not `handler` itself."""
    register([other for other in replaced if other != handler][-1])
    replaced.clear()


def _is_running(frame: FrameType, innermost: FrameType) -> bool:
    """Whether `frame` is on the stack of this thread. No other thread is in a section."""
    caller: FrameType | None = innermost
    while caller is not None and caller is not frame:
        caller = caller.f_back
    return caller is frame


#: Registries whose objects were collected: released in the next section, because a finalizer may run inside one.
abandoned: collections.deque[CData] = collections.deque()


# ---- handlers. A C caller cannot receive an exception: it is stored, and raised when the section ends.


def _keep_exception(kind: type[BaseException], error: BaseException, trace: TracebackType) -> None:
    if Section._current is not None:
        Section._current.interrupt = error


def _take(diagnostic: Diagnostic) -> int:
    section = Section._current
    if section is None:
        # A call by other means than this package, in a registry or process that has these handlers.
        print(diagnostic, file=sys.stderr)
        return 0
    section.diagnostics.append(diagnostic)
    return int(diagnostic.code or 0) if section.stop_at_first else 0


def _on_tag_error(code: int, text: CData, where: CData, line: int) -> None:
    _take(Diagnostic(tag_code(code), decode(text), decode_optional(where) or None, line or None))


def _on_message(message: CData) -> None:
    _take(Diagnostic(None, decode(message), None, None))


def _on_warning(code: int, subject: CData, file: CData, line: int) -> int:
    return _take(Diagnostic(library_code(code), decode_optional(subject) or "", decode_optional(file), line))


def _on_fatal(code: int, text: CData, same_text: CData) -> int:
    return _take(Diagnostic(library_code(code), decode_optional(text) or "", None, None))


def _callback(kind: str, function: Any, error: object) -> CData:
    return ffi.callback(kind, function, error=error, onerror=_keep_exception)


_tag_handler = _callback("tovErrorHandler", _on_tag_error, None)
_message_handler = _callback("vekErrorFunc", _on_message, None)
# After an exception the file is not read further.
warning_handler = _callback("rynWarningHandler", _on_warning, 1)
fatal_handler = _callback("rynErrorHandler", _on_fatal, 0)


def tag_code(code: int) -> codes.TagCode:
    return codes.TagCode(min(max(code, 0), codes.TagCode.INVALID_ERROR_NUMBER))


def library_code(code: int) -> codes.LibraryCode:
    last = codes.LibraryCode.INVALID_ERROR_NUMBER
    return codes.LibraryCode(code if 0 <= code < last else last)


def search_code(code: int) -> codes.SearchCode:
    last = codes.SearchCode.NOT_INITIALIZED
    return codes.SearchCode(code if 0 <= code <= last else codes.SearchCode.INTERNAL_ERROR)
