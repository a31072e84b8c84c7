"""The base class of the error codes."""

from __future__ import annotations

import enum


class Code(enum.IntEnum):
    """An error code of one layer of the library."""

    @property
    def text(self) -> str:
        """The documented text of the code, as the library gives it."""
        from vek._library import text_of  # the library is loaded after the codes are defined

        return text_of(self)
