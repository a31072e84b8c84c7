"""Text for people."""

from __future__ import annotations


def visible(text: object) -> str:
    """The text with every character that does not print, or changes the direction of others, written as an escape.

    A byte that is not valid UTF-8 becomes "\\xNN".
    """
    string = str(text)
    if string.isprintable():
        return string
    return "".join(character if character.isprintable() else _escape(character) for character in string)


def _escape(character: str) -> str:
    code = ord(character)
    if 0xDC80 <= code <= 0xDCFF:
        return f"\\x{code - 0xDC00:02x}"
    return character.encode("unicode_escape", "surrogatepass").decode()
