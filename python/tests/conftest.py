"""Engines for the emulated board. The tests need the library and the board's libraries where they can be loaded."""

from __future__ import annotations

import pathlib
from typing import Callable

import pytest

ENGINE = """\
format = "enhance-depth-emulated-engine"
version = 1
network = "{network}"

[parameters]
{parameters}

[[tensor]]
name = "rgb"
direction = "input"
type = "uint8"
shape = {rgb}

[[tensor]]
name = "dep"
direction = "input"
type = "float"
shape = [1, 1, -1, -1]

[[tensor]]
name = "pred"
direction = "output"
type = "float"
shape = [1, 1, -1, -1]
{confidence}
[[profile]]
rgb = {{ min = {rgb_min}, opt = {rgb_min}, max = {rgb_max} }}
dep = {{ min = [1, 1, 1, 1], opt = [1, 1, 1, 1], max = [1, 1, 1080, 1920] }}
"""

CONFIDENCE = """
[[tensor]]
name = "confidence_output"
direction = "output"
type = "float"
shape = [1, 1, -1, -1]
"""

MakeEngine = Callable[..., pathlib.Path]


@pytest.fixture
def make_engine(tmp_path: pathlib.Path) -> MakeEngine:
    """Writes an engine description of the given network and says where."""

    def make(
        network: str = "rgb-sum", parameters: str = "", *, planar: bool = True, confidence: bool = True
    ) -> pathlib.Path:
        path = tmp_path / f"{network}-{planar}-{confidence}.engine.toml"
        path.write_text(
            ENGINE.format(
                network=network,
                parameters=parameters,
                rgb="[1, 3, -1, -1]" if planar else "[-1, -1, 3]",
                rgb_min="[1, 3, 1, 1]" if planar else "[1, 1, 3]",
                rgb_max="[1, 3, 1080, 1920]" if planar else "[1080, 1920, 3]",
                confidence=CONFIDENCE if confidence else "",
            ),
            encoding="utf-8",
        )
        return path

    return make
