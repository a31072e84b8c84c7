"""Memory over 100,000 calls."""

from __future__ import annotations

import gc
import os
import resource

import pytest

import vek

CALLS = 100_000
#: Pages that the allocators of Python and C keep back vary by some hundred kilobytes. One leaked path per call
#: would be 4 megabytes or more.
ALLOWED = 2 * 1024 * 1024


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
        registry.search("vek.lib", library="adders")
    else:
        vek.interpolate("$HOME/x")


def test_memory_does_not_grow_over_100000_calls(project):
    with vek.Registry("vek.lib") as registry:
        for number in range(5_000):
            use(registry, number)
        gc.collect()
        before = resident_bytes()
        descriptors = len(os.listdir("/proc/self/fd"))
        for number in range(CALLS):
            use(registry, number)
        gc.collect()
        grown = resident_bytes() - before
        print(f"grown by {grown} bytes over {CALLS} calls")
        assert grown < ALLOWED
        assert len(os.listdir("/proc/self/fd")) == descriptors
