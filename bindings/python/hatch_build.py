"""Build hook: the generated modules go into the wheel, the public headers into the source archive."""

from __future__ import annotations

import pathlib
import sys
import tempfile
from typing import Any

from hatchling.builders.hooks.plugin.interface import BuildHookInterface

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))

import generate  # noqa: E402 # it lies beside this file


class GenerateHook(BuildHookInterface):  # type: ignore[misc] # hatchling has no types here
    def initialize(self, version: str, build_data: dict[str, Any]) -> None:
        self.scratch = tempfile.TemporaryDirectory()
        made = pathlib.Path(self.scratch.name)
        if self.target_name == "sdist":
            headers = generate.header_directory(made)
            names = [*generate.HEADERS, "vek_api.h", "vek_fs.h"]
            build_data["force_include"].update({str(headers / name): f"include/{name}" for name in names})
        else:
            generate.generate(made)
            build_data["force_include"].update({str(file): f"vek/{file.name}" for file in made.iterdir()})

    def finalize(self, version: str, build_data: dict[str, Any], artifact_path: str) -> None:
        self.scratch.cleanup()
