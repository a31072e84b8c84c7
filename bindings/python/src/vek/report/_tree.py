"""The picture of the tree of definition files: one row for each file, indented below the file that includes it."""

from __future__ import annotations

from collections.abc import Callable, Iterator, Sequence
from dataclasses import dataclass

from vek.site import SiteFile

ROW = 34
INDENT = 26
LEFT = 10
CHARACTER = 7.3  # pixels of one character of the monospaced font at 12 pixels
NAME_LIMIT = 72
BAR = 160


@dataclass(frozen=True)
class Node:
    """One file in the picture. Coordinates are pixels."""

    file: SiteFile
    label: str
    x: float
    y: float
    width: float
    #: The path of the connector from the including file, or None.
    connector: str | None
    #: The line of the INCLUDE statement, or None.
    line: int | None
    bar: float


@dataclass(frozen=True)
class Tree:
    nodes: tuple[Node, ...]
    width: float
    height: float
    #: Where the bars begin.
    bars: float


def tree_of(files: Sequence[SiteFile], label: Callable[[str], str]) -> Tree:
    """Lays out the tree. A file without a known includer is a root."""
    paths = {file.path for file in files}
    children: dict[str | None, list[SiteFile]] = {}
    for file in files:
        place = file.included_from
        parent = place.file if place is not None and place.file in paths and place.file != file.path else None
        children.setdefault(parent, []).append(file)

    most = max((file.libraries for file in files), default=0) or 1
    nodes: list[Node] = []
    rows: dict[str, float] = {}
    for file, depth in _in_order(children):
        text = shortened(label(file.path))
        y = len(nodes) * ROW + ROW / 2
        x = LEFT + depth * INDENT
        place = file.included_from
        connector = None
        if depth and place is not None:
            trunk = x - INDENT / 2
            connector = f"M{trunk:g} {rows[place.file] + 11:g}V{y:g}H{x:g}"
        rows[file.path] = y
        line = place.line if place is not None else None
        bar = BAR * file.libraries / most
        nodes.append(Node(file, text, x, y, len(text) * CHARACTER + 20, connector, line, bar))
    bars = max((node.x + node.width for node in nodes), default=0) + 24
    return Tree(tuple(nodes), bars + BAR + 150, len(nodes) * ROW, bars)


def _in_order(children: dict[str | None, list[SiteFile]]) -> Iterator[tuple[SiteFile, int]]:
    """Depth first, without recursion: files include each other to any depth."""
    pending = [(file, 0) for file in reversed(children.get(None, []))]
    while pending:
        file, depth = pending.pop()
        yield file, depth
        pending += [(child, depth + 1) for child in reversed(children.get(file.path, []))]


def shortened(text: str) -> str:
    """A text of at most NAME_LIMIT characters, cut in the middle."""
    if len(text) <= NAME_LIMIT:
        return text
    half = (NAME_LIMIT - 1) // 2
    return f"{text[:half]}…{text[-half:]}"
