"""Memory over 100,000 calls."""

from __future__ import annotations

import ctypes
import gc
import os
import resource

import pytest

import vek

CALLS = 100_000
#: Ten bytes for each call of one kind: the smallest block of the C library has 24.
ALLOWED_HEAP = CALLS // 10 * 10
#: Pages that the allocators of Python and C keep vary by some hundred kilobytes.
ALLOWED_RESIDENT = 2 * 1024 * 1024


class Mallinfo2(ctypes.Structure):
    """The C library's account of its heap: ten sizes."""

    _fields_ = [
        (name, ctypes.c_size_t)
        for name in "arena ordblks smblks hblks hblkhd usmblks fsmblks uordblks fordblks keepcost".split()
    ]


mallinfo2 = ctypes.CDLL(None).mallinfo2
mallinfo2.restype = Mallinfo2


def heap_bytes() -> int:
    """Bytes that are allocated from the C heap."""
    account = mallinfo2()
    return int(account.uordblks + account.hblkhd)


def resident_bytes() -> int:
    with open("/proc/self/statm") as file:
        return int(file.read().split()[1]) * resource.getpagesize()


def use(registry: vek.Registry, number: int) -> None:
    """One call of the package; ten kinds of them in turn."""
    kind = number % 10
    if kind == 0:
        vek.lookup("adders/ripple/layout", "PROCESS")
    elif kind == 1:
        vek.lookup("adders", "MISSING")
    elif kind == 2:
        with vek.Registry("vek.lib") as own:
            own.find("adders")
    elif kind == 3:
        vek.Registry("vek.lib")  # not closed
    elif kind == 4:
        list(registry.cells("adders"))
    elif kind == 5:
        vek.search_all("vek.lib")
    elif kind == 6:
        vek.tags("adders")
    elif kind == 7:
        with pytest.raises(vek.NotFoundError):
            registry.views("adders", "missing")
    elif kind == 8:
        registry.search_all("rules.txt", library="adders")
        registry.search("vek.lib", library="adders")
    else:
        vek.interpolate("$HOME/x")
        registry["adders"].attributes
        registry.files


def test_memory_does_not_grow_over_100000_calls(project, write):
    write("setup.loc", ".", "@LIBRARY")
    write("adders/.tolvane/rules.txt", "x")
    with vek.Registry("vek.lib") as registry:
        registry.execute("ASSIGN adders OWNER me")
        for number in range(5_000):
            use(registry, number)
        gc.collect()
        vek.lookup(".", "A")  # releases what was collected
        heap, resident = heap_bytes(), resident_bytes()
        descriptors = len(os.listdir("/proc/self/fd"))
        for number in range(CALLS):
            use(registry, number)
        gc.collect()
        vek.lookup(".", "A")
        heap_grown, resident_grown = heap_bytes() - heap, resident_bytes() - resident
        print(f"{CALLS:,} calls: the C heap grew by {heap_grown:,} bytes, resident memory by {resident_grown:,}")
        assert heap_grown < ALLOWED_HEAP
        assert resident_grown < ALLOWED_RESIDENT
        assert len(os.listdir("/proc/self/fd")) == descriptors
