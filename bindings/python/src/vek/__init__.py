"""Tag files, library definitions and search lists of the design-data infrastructure, over libvek.

    >>> import vek
    >>> vek.lookup("adders/ripple/layout", "PROCESS")
    Entry(value='n7', file='/proj/adders/vekinfo.tag')

Names and paths are `str`, `bytes` or path objects; results are `str`. Bytes that are not valid in the encoding of
the file system become surrogate escapes, as everywhere in Python, and lead to the same file.

The library is not re-entrant: every call holds `vek.lock`, a re-entrant lock. Its handlers are set for one call, and
the previous ones are put back. A process that loads another binding of libvek as well calls both from one thread.
"""

from vek._library import lock
from vek._version import __version__
from vek.codes import (
    Access,
    InterpolationCode,
    InterpolationFlag,
    LibraryCode,
    Query,
    SearchCode,
    Source,
    TagCode,
    TemporaryKind,
)
from vek.diagnostics import (
    AccessDeniedError,
    Diagnostic,
    EntriesWouldBeDroppedError,
    InterpolationError,
    LibraryError,
    LibraryNotDefinedError,
    NotFoundError,
    Place,
    SearchError,
    TagError,
    VekError,
)
from vek.registry import DefinitionFile, Library, Registry, TemporaryDirectory
from vek.search import interpolate, search, search_all, search_list, search_writable, uses_search_list
from vek.tags import Entry, TagFile, add_entry, clear_entry, create_tags, is_library, lookup, read_tags, tags

__all__ = [
    "Access",
    "AccessDeniedError",
    "DefinitionFile",
    "Diagnostic",
    "EntriesWouldBeDroppedError",
    "Entry",
    "InterpolationCode",
    "InterpolationError",
    "InterpolationFlag",
    "Library",
    "LibraryCode",
    "LibraryError",
    "LibraryNotDefinedError",
    "NotFoundError",
    "Place",
    "Query",
    "Registry",
    "SearchCode",
    "SearchError",
    "Source",
    "TagCode",
    "TagError",
    "TagFile",
    "TemporaryDirectory",
    "TemporaryKind",
    "VekError",
    "__version__",
    "add_entry",
    "clear_entry",
    "create_tags",
    "interpolate",
    "is_library",
    "lock",
    "lookup",
    "read_tags",
    "search",
    "search_all",
    "search_list",
    "search_writable",
    "tags",
    "uses_search_list",
]
