"""The command line of vekreport."""

from __future__ import annotations

import argparse
import contextlib
import importlib.resources
import json
import os
import sys
import tempfile
import traceback
from collections.abc import Iterable, Iterator, Sequence

from vek._version import __version__
from vek.diagnostics import VekError
from vek.report._text import visible
from vek.site import Progress, Site, read_site

DESCRIPTION = """\
Shows a whole site on one page: the libraries that a vek.lib defines, where they are defined, their tags, and every
problem. Without FILE, the vek.lib of the search list is read. Nothing is written but the page; reading a vek.lib that
assigns a global temporary root creates the libraries' directories under it."""


def main(arguments: Sequence[str] | None = None) -> int:
    """Runs vekreport; the result is its exit status: 0, 1 with --strict for a problem, 2 for an error."""
    options = _parse(arguments)
    try:
        return _run(options)
    except (VekError, OSError, ValueError) as error:
        if isinstance(error, BrokenPipeError):
            sys.stdout = open(os.devnull, "w")  # the interpreter flushes it at exit
        print(f"vekreport: {visible(error)}", file=sys.stderr)
    except KeyboardInterrupt:
        return 130  # as shells report SIGINT
    except Exception:
        traceback.print_exc()  # not 1, which is the status of a site with problems
    return 2


def _run(options: argparse.Namespace) -> int:
    if options.schema:
        sys.stdout.write((importlib.resources.files("vek.report") / "site.schema.json").read_text(encoding="utf-8"))
        return 0
    with _progress_bar(options.quiet) as progress:
        site = read_site(
            options.file, scan=options.scan, check=options.check, vekinfo=options.vekinfo, progress=progress
        )
    _write(options.output, _json(site) if options.json else _page(site))
    if not options.quiet and options.output != "-":
        print(f"{visible(options.output)}: {_summary(site)}")
    return 1 if options.strict and site.problems else 0


def _parse(arguments: Sequence[str] | None) -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="vekreport", description=DESCRIPTION, allow_abbrev=False)
    parser.add_argument("file", nargs="?", metavar="FILE", help="the library definition file")
    parser.add_argument("-o", "--output", metavar="OUT", help="the file to write, - for standard output"
                        " (default: vekreport.html; with --json, standard output)")  # fmt: skip
    parser.add_argument("--json", action="store_true", help="write JSON instead of a page")
    parser.add_argument("--schema", action="store_true", help="print the schema of the JSON form and end")
    parser.add_argument("--strict", action="store_true", help="exit with 1 when there is a problem")
    parser.add_argument("--check", action="store_true",
                        help="also run `vekinfo -verbose -checklibrary`, which probes file systems by creating small"
                        " files, and show its lines")  # fmt: skip
    parser.add_argument("--vekinfo", metavar="PROGRAM", default="vekinfo", help="the vekinfo that --check runs")
    parser.add_argument("--no-scan", dest="scan", action="store_false",
                        help="do not look below the libraries for redundant tag files")  # fmt: skip
    parser.add_argument("-q", "--quiet", action="store_true", help="no progress bar and no closing line")
    parser.add_argument("--version", action="version", version=f"vekreport {__version__}")
    options = parser.parse_args(arguments)
    if options.output is None:
        options.output = "-" if options.json else "vekreport.html"
    return options


def _summary(site: Site) -> str:
    def counted(number: int, one: str, many: str) -> str:
        return f"{number:,} {one if number == 1 else many}"

    libraries = counted(len(site.libraries), "library", "libraries")
    return f"{libraries}, {counted(len(site.problems), 'problem', 'problems')}"


# ---- output


def _json(site: Site) -> Iterable[str]:
    # ASCII alone: a byte that is not valid UTF-8 is the escape of its surrogate.
    yield json.dumps(site.to_dict(), indent=2)
    yield "\n"


def _page(site: Site) -> Iterable[str]:
    try:
        from vek.report._page import render  # it needs Jinja2
    except ImportError as error:
        raise OSError(f"the page needs Jinja2 (python3-jinja2): {error}") from None
    return render(site)


def _write(output: str, pieces: Iterable[str]) -> None:
    """Writes standard output, or a file that is old or complete at any time."""
    if output == "-":
        # The page declares UTF-8, whatever the locale is.
        for piece in pieces:
            sys.stdout.buffer.write(piece.encode())
        sys.stdout.buffer.flush()
        return
    mask = os.umask(0)
    os.umask(mask)
    descriptor, name = tempfile.mkstemp(dir=os.path.dirname(output) or ".", prefix=".vekreport.")
    try:
        with open(descriptor, "w", encoding="utf-8") as file:
            file.writelines(pieces)
            os.fchmod(descriptor, 0o666 & ~mask)
        os.replace(name, output)
    except BaseException:
        os.unlink(name)
        raise


@contextlib.contextmanager
def _progress_bar(quiet: bool) -> Iterator[Progress | None]:
    """A bar on standard error while that is a terminal."""
    if quiet or not sys.stderr.isatty() or os.environ.get("TERM", "dumb") == "dumb":
        yield None
        return
    try:
        from tqdm import tqdm
    except ImportError:
        yield None
        return
    with tqdm(total=None, unit=" libraries", leave=False, dynamic_ncols=True, file=sys.stderr) as bar:

        def show(done: int, total: int, name: str) -> None:
            bar.total = total
            bar.set_postfix_str(visible(name)[:30], refresh=False)
            bar.update(done - bar.n)

        yield show
