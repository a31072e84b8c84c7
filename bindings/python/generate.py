"""Generates the modules of the package that follow from the public headers.

The C preprocessor reduces the headers to declarations and macros, pycparser parses them, and four modules are
written: `_declarations.py` (cffi's out-of-line ABI form: no compiler and no parser at run time), its type stub
`_declarations.pyi`, `codes.py` (the error codes and flags as enumerations), and `_version.py`.

Usage: python3 generate.py DIRECTORY
"""

from __future__ import annotations

import functools
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile
from typing import NamedTuple

import cffi
from pycparser import c_ast, c_generator, c_parser

HERE = pathlib.Path(__file__).resolve().parent

# The headers that the binding uses; all of them are installed in one folder.
HEADERS = ["vek_version.h", "vek_error.h", "vek_init.h", "vek_strlist.h", "vek_interp.h", "pux.h", "tov.h", "ryn.h"]

# In the source tree a header names another one by its folder.
FOLDER_IN_INCLUDE = re.compile(r'^(#include ")[a-z_/]+/', re.MULTILINE)

# Types of the C library that the declarations mention. cffi has them built in; pycparser needs their names.
SYSTEM_TYPES = "size_t ssize_t uint8_t uint16_t int32_t uint32_t int64_t uint64_t FILE DIR mode_t uid_t gid_t".split()


class Group(NamedTuple):
    """How one enumeration of a header becomes a class."""

    name: str
    base: str
    prefix: str
    description: str


# By the first constant of the enumeration.
GROUPS = {
    "TOV_OK": Group("TagCode", "Code", "TOV_", "Codes of the tag-file layer."),
    "RYN_OK": Group("LibraryCode", "Code", "RYN_", "Codes of the library-definition layer."),
    "PUX_OK": Group("SearchCode", "Code", "PUX_", "Codes of the search-file layer."),
    "VEK_INTERP_OK": Group("InterpolationCode", "Code", "VEK_INTERP_", "Codes of variable interpolation."),
    "VEK_INTERP_KEEP_VARIABLES": Group(
        "InterpolationFlag", "enum.IntFlag", "VEK_INTERP_", "What interpolate() leaves unexpanded, and how it expands."
    ),
    "RYN_PATH_READ": Group("Access", "enum.IntEnum", "RYN_PATH_", "Where find() looks, and what the path is for."),
    "RYN_QUERY_LIBRARY": Group("Query", "enum.IntFlag", "RYN_QUERY_", "Where exists() looks, and what it checks."),
    "RYN_TMP_EXPLICIT": Group(
        "TemporaryKind", "enum.IntFlag", "RYN_TMP_", "Where a library's temporary directory comes from."
    ),
    "RYN_SOURCE_LIBRARY": Group(
        "Source", "enum.IntFlag", "RYN_SOURCE_", "Directories whose cells, views and files are listed."
    ),
}


# ---- headers


def header_directory(scratch: pathlib.Path) -> pathlib.Path:
    """Returns a directory that holds the public headers as they are installed, all in one folder.

    $VEK_INCLUDE_DIR names it, or it is `include` in a source archive. In the source tree it is made in `scratch`.
    """
    named = os.environ.get("VEK_INCLUDE_DIR")
    if named:
        return pathlib.Path(named)
    if (HERE / "include").is_dir():
        return HERE / "include"
    root = HERE.parents[1]
    for header in (*HEADERS, "vek_api.h", "vek_fs.h"):
        found = [
            file
            for folder in ("common", "fs", "search", "tagfile", "libdef")
            for file in root.glob(f"{folder}/**/{header}")
        ]
        if len(found) != 1:
            raise SystemExit(f"generate.py: {len(found)} files named {header} in the source tree")
        (scratch / header).write_text(FOLDER_IN_INCLUDE.sub(r"\1", found[0].read_text()))
    return scratch


@functools.lru_cache(maxsize=None)
def header_version() -> str:
    """The version of the library, which is the version of the package."""
    with tempfile.TemporaryDirectory() as scratch:
        text = (header_directory(pathlib.Path(scratch)) / "vek_version.h").read_text()
    match = re.search(r'^#define VEK_VERSION "([^"]+)"', text, re.MULTILINE)
    if not match:
        raise SystemExit("generate.py: vek_version.h does not define VEK_VERSION")
    return match.group(1)


def preprocess(text: str, directory: pathlib.Path, *options: str) -> str:
    """Runs the C preprocessor with the public headers in reach. $CC names the compiler."""
    command = [
        *shlex.split(os.environ.get("CC", "cc")),
        "-E",
        "-std=c11",
        "-D__attribute__(x)=",
        "-D__extension__=",
        "-I",
        str(directory),
        *options,
    ]
    return subprocess.run([*command, "-x", "c", "-"], input=text, stdout=subprocess.PIPE, text=True, check=True).stdout


class Source(NamedTuple):
    """What the headers declare, without what they include from the C library."""

    declarations: str
    origin: dict[int, str]  # the header of each line of `declarations`
    macros: list[str]


def read_headers(directory: pathlib.Path) -> Source:
    includes = "".join(f'#include "{header}"\n' for header in HEADERS)
    lines: list[str] = []
    origin: dict[int, str] = {}
    macros = []
    current = ""
    for line in preprocess(includes, directory, "-dD").splitlines():
        marker = re.match(r'# \d+ "([^"]*)"', line)
        if marker:
            path = pathlib.Path(marker.group(1))
            current = path.name if path.parent == directory else ""
        elif current and line.startswith("#define "):
            macro = re.match(r"#define (\w+) \S", line)
            if macro:
                macros.append(macro.group(1))
        elif current and not line.startswith("#"):
            lines.append(line)
            origin[len(lines)] = current
    return Source("\n".join(lines), origin, macros)


def macro_values(directory: pathlib.Path, macros: list[str]) -> dict[str, int]:
    """The object-like macros whose expansion is a number."""
    includes = "".join(f'#include "{header}"\n' for header in HEADERS)
    text = includes + "".join(f'"{macro}" {macro}\n' for macro in macros)
    values = {}
    for line in preprocess(text, directory, "-P").splitlines():
        match = re.match(r'"(\w+)" \(?(0[xX][0-9a-fA-F]+|\d+)[uUlL]*\)?$', line)
        if match:
            values[match.group(1)] = int(match.group(2), 0)
    return values


# ---- declarations


def parse(source: Source) -> list[c_ast.Node]:
    """The declarations of HEADERS. Types of other headers that these mention become opaque."""
    prelude = "".join(f"typedef int {name};\n" for name in SYSTEM_TYPES) + "struct stat { int opaque; };\n"
    first = prelude.count("\n")
    tree = c_parser.CParser().parse(prelude + source.declarations)
    nodes = [node for node in tree.ext if node.coord.line > first]
    wanted = [node for node in nodes if source.origin[node.coord.line - first] in HEADERS]
    mentioned = {name for node in wanted for name in type_names(node)}
    others = [
        node for node in nodes if node not in wanted and isinstance(node, c_ast.Typedef) and node.name in mentioned
    ]
    return [opaque(node.name) for node in others] + wanted


def type_names(node: c_ast.Node) -> set[str]:
    names = set(node.names) if isinstance(node, c_ast.IdentifierType) else set()
    for _, child in node.children():
        names |= type_names(child)
    return names


def opaque(name: str) -> c_ast.Node:
    return c_parser.CParser().parse(f"typedef struct {name} {name};").ext[0]


def c_text(nodes: list[c_ast.Node], macros: dict[str, int]) -> str:
    generator = c_generator.CGenerator()
    declarations = "".join(f"{generator.visit(node)};\n" for node in nodes)
    return declarations + "".join(f"#define {name} {value}\n" for name, value in macros.items())


def write_declarations(directory: pathlib.Path, nodes: list[c_ast.Node], macros: dict[str, int]) -> None:
    ffi = cffi.FFI()
    ffi.cdef(c_text(nodes, macros))
    ffi.set_source("vek._declarations", None)
    ffi.emit_python_code(str(directory / "_declarations.py"))


# ---- the type stub

STUB = '''"""Types of cffi's module. Generated from the public headers of libvek: do not edit."""

from collections.abc import Callable
from typing import Any

class CData:
    """A C pointer, array or structure."""

    def __bool__(self) -> bool: ...
    def __getitem__(self, index: int) -> Any: ...
    def __setitem__(self, index: int, value: Any) -> None: ...
    def __getattr__(self, name: str) -> Any: ...
    def __setattr__(self, name: str, value: Any) -> None: ...

class FFI:
    NULL: CData
    def new(self, cdecl: str, init: object = ...) -> CData: ...
    def string(self, cdata: CData, maxlen: int = ...) -> bytes: ...
    def sizeof(self, cdecl: str) -> int: ...
    def integer_const(self, name: str) -> int: ...
    def dlopen(self, name: str, flags: int = ...) -> Lib: ...
    def callback(
        self,
        cdecl: str,
        python_callable: Callable[..., Any],
        *,
        error: object = ...,
        onerror: Callable[..., None] = ...,
    ) -> CData: ...

ffi: FFI

class Lib:
'''


def python_type(node: c_ast.Node, argument: bool) -> str:
    """The Python type of a C type: cffi converts numbers, and bytes to `const char *`."""
    if isinstance(node, c_ast.PtrDecl):
        pointed = node.type
        is_text = (
            isinstance(pointed, c_ast.TypeDecl)
            and isinstance(pointed.type, c_ast.IdentifierType)
            and pointed.type.names == ["char"]
            and "const" in pointed.quals
        )
        return "CData | bytes" if is_text and argument else "CData"
    if isinstance(node, c_ast.TypeDecl) and isinstance(node.type, c_ast.IdentifierType):
        names = node.type.names
        if names == ["void"]:
            return "None"
        if names[-1] in {"int", "unsigned", "long", "char"} or names[-1] in SYSTEM_TYPES:
            return "int"
    return "CData"


def stub_line(node: c_ast.Decl) -> str:
    arguments = node.type.args.params if node.type.args else []
    types = [python_type(argument.type, True) for argument in arguments]
    types = [] if types == ["None"] else types
    # Positional, under names with an underscore: cffi takes no keywords.
    names = [f"_{argument.name}" if isinstance(argument, c_ast.Decl) else "_" for argument in arguments]
    parameters = "".join(f", {name}: {kind}" for name, kind in zip(names, types)) + (", /" if types else "")
    return f"    def {node.name}(self{parameters}) -> {python_type(node.type.type, False)}: ...\n"


def write_stub(directory: pathlib.Path, nodes: list[c_ast.Node], macros: dict[str, int]) -> None:
    functions = [node for node in nodes if isinstance(node, c_ast.Decl) and isinstance(node.type, c_ast.FuncDecl)]
    constants = [*(name for node in enumerations(nodes) for name, _ in constants_of(node)), *macros]
    (directory / "_declarations.pyi").write_text(
        STUB + "".join(f"    {name}: int\n" for name in constants) + "".join(stub_line(node) for node in functions)
    )


# ---- enumerations


def enumerations(nodes: list[c_ast.Node]) -> list[c_ast.Enum]:
    return [node.type for node in nodes if isinstance(node, c_ast.Decl) and isinstance(node.type, c_ast.Enum)]


def constants_of(node: c_ast.Enum) -> list[tuple[str, int]]:
    """The constants with their values. Every value is written out: a number, or one shifted by another."""
    return [(constant.name, value_of(constant.value)) for constant in node.values.enumerators]


def value_of(node: c_ast.Node) -> int:
    if isinstance(node, c_ast.Constant):
        return int(node.value.rstrip("uUlL"), 0)
    if isinstance(node, c_ast.UnaryOp) and node.op == "-":
        return -value_of(node.expr)
    if isinstance(node, c_ast.BinaryOp) and node.op == "<<":
        return value_of(node.left) << value_of(node.right)
    raise SystemExit(f"generate.py: {node.coord}: not a constant that is understood")


def comments(directory: pathlib.Path) -> dict[str, str]:
    """The comments of constants in the headers."""
    found = {}
    for header in HEADERS:
        text = (directory / header).read_text()
        for match in re.finditer(r"^ *(\w+) = [^,/\n]+,? *///< (.*(?:\n *///< .*)*)", text, re.MULTILINE):
            found[match.group(1)] = re.sub(r"\s*\n *///< ", " ", match.group(2))
    return found


def write_codes(directory: pathlib.Path, nodes: list[c_ast.Node], said: dict[str, str]) -> None:
    groups = {constants_of(node)[0][0]: constants_of(node) for node in enumerations(nodes)}
    missing = GROUPS.keys() - groups.keys()
    if missing:
        raise SystemExit(f"generate.py: no enumeration begins with {', '.join(sorted(missing))}")
    text = '"""Codes and flags. Generated from the public headers of libvek: do not edit."""\n\n'
    text += "from __future__ import annotations\n\nimport enum\n\nfrom vek._code import Code\n"
    text += f"\n__all__ = {sorted(group.name for group in GROUPS.values())!r}\n"
    for first, group in GROUPS.items():
        text += f'\n\nclass {group.name}({group.base}):\n    """{group.description}"""\n\n'
        for name, value in groups[first]:
            if name in said:
                text += f"    #: {said[name]}\n"
            text += f"    {name[len(group.prefix):]} = {value}\n"
    texts = {value: said.get(name, "no error") for name, value in groups["VEK_INTERP_OK"]}
    text += f"\n\n#: What each code of interpolation means; the library composes whole messages.\nINTERPOLATION_TEXTS = {texts!r}\n"
    (directory / "codes.py").write_text(text)


def generate(directory: pathlib.Path) -> None:
    """Writes the generated modules into `directory`."""
    with tempfile.TemporaryDirectory() as scratch:
        headers = header_directory(pathlib.Path(scratch).resolve())
        source = read_headers(headers)
        nodes = parse(source)
        macros = macro_values(headers, source.macros)
        directory.mkdir(parents=True, exist_ok=True)
        write_declarations(directory, nodes, macros)
        write_stub(directory, nodes, macros)
        write_codes(directory, nodes, comments(headers))
        (directory / "_version.py").write_text(f'"""Generated."""\n\n__version__ = "{header_version()}"\n')


if __name__ == "__main__":
    if len(sys.argv) != 2:
        raise SystemExit("usage: generate.py DIRECTORY")
    generate(pathlib.Path(sys.argv[1]))
