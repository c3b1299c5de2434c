"""The whole program on the emulated board: what it prints, writes and returns.

tool_cli_test.py TOOL ENGINE [unittest arguments]
"""

import json
import os
import struct
import subprocess
import sys
import tempfile
import unittest
import zlib
from pathlib import Path

TOOL = Path(sys.argv[1]).resolve()
ENGINE = Path(sys.argv[2]).resolve()


def png(width, height, bits, channels, rows):
    """A PNG file; `rows` gives the bytes of each row."""
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    header = struct.pack(">IIBBBBB", width, height, bits, {1: 0, 3: 2}[channels], 0, 0, 0)
    pixels = b"".join(b"\0" + rows(y) for y in range(height))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(pixels, 1)) +
            chunk(b"IEND", b""))


def color_png(width=64, height=48):
    return png(width, height, 8, 3, lambda y: bytes(v for x in range(width) for v in (x % 256, y % 256, 90)))


def depth_png(width=64, height=48, offset=0):
    """A slanted wall with a hole of 4 x 4 pixels."""
    def row(y):
        return b"".join(struct.pack(">H", 0 if 10 <= x < 14 and 10 <= y < 14 else 1000 + 5 * x + y + offset)
                        for x in range(width))
    return png(width, height, 16, 1, row)


class Case(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def run_tool(self, *arguments, **options):
        return subprocess.run([TOOL, *map(str, arguments)], cwd=self.folder, capture_output=True, text=True,
                              timeout=120, check=False, **options)

    def write(self, name, data):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(data)
        return path

    def expect_failure(self, result, status, *texts):
        self.assertEqual(result.returncode, status, result.stderr)
        for text in texts:
            self.assertIn(text, result.stderr)


class RefineTest(Case):
    def setUp(self):
        super().setUp()
        self.write("color.png", color_png())
        self.write("depth.png", depth_png())

    def refine(self, *arguments, color="color.png", depth="depth.png", engine=ENGINE, output="out.png"):
        return self.run_tool("refine", "--engine", engine, "--color", color, "--depth", depth, "--output", output,
                             *arguments)

    def test_writes_what_was_asked_for_and_says_what_it_did(self):
        result = self.refine("--confidence", "c.tiff", "--preview", "p.png", "--json", "s.json")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("Refined 64 x 48 pixels", result.stdout)
        self.assertIn("99.5 % before, 100.0 % after", result.stdout)
        summary = json.loads((self.folder / "s.json").read_text())
        self.assertEqual((summary["width"], summary["height"]), (64, 48))
        self.assertGreater(summary["library_ms"], summary["network_ms"])
        self.assertGreater(summary["total_ms"], summary["library_ms"])
        self.assertAlmostEqual(summary["depth_before"]["valid_share"], 1 - 16 / (64 * 48))
        self.assertAlmostEqual(summary["depth_before"]["nearest_m"], 1.0)
        self.assertEqual(sorted(os.listdir(self.folder)),
                         ["c.tiff", "color.png", "depth.png", "out.png", "p.png", "s.json"])
        self.assertNotIn("\033", result.stdout, "no colours in a pipe")

    def test_states_metres_by_the_depth_scale_and_leaves_the_depth_alone(self):
        self.assertIn("depth before    1.00 to", self.refine().stdout)
        first = (self.folder / "out.png").read_bytes()
        self.assertIn("depth before    0.20 to", self.refine("--depth-scale", 5000).stdout)
        self.assertEqual((self.folder / "out.png").read_bytes(), first)

    def test_reports_unusable_input_as_usage(self):
        self.write("small.png", depth_png(32, 24))
        self.expect_failure(self.refine(depth="small.png"), 2, "color.png has 64 x 48 pixels and small.png has 32 x 24",
                            "Register the depth")
        self.expect_failure(self.refine(depth="missing.png"), 2, "missing.png does not exist")
        self.expect_failure(self.refine(output="depth.png"), 2, "depth.png is named twice")
        self.expect_failure(self.refine("--depth-scale", 0), 2, "--depth-scale")
        self.expect_failure(self.run_tool("refine"), 2, "required")
        self.expect_failure(self.run_tool(), 2, "subcommand is required")
        self.assertFalse((self.folder / "out.png").exists())

    def test_reports_an_engine_that_cannot_be_loaded(self):
        self.write("bad.engine", b"not an engine")
        self.expect_failure(self.refine(engine="bad.engine"), 3, "The engine bad.engine cannot be loaded", "(code 13)",
                            "Build the engine on this machine")
        self.expect_failure(self.refine(engine="missing.engine"), 3, "missing.engine", "(code 1)")

    def test_reports_a_size_that_the_engine_does_not_admit(self):
        self.write("color.png", color_png(2000, 4))
        self.write("depth.png", depth_png(2000, 4))
        self.expect_failure(self.refine(), 1, "cannot be set up for 2000 x 4 pixels", "(code 26)")
        self.assertFalse((self.folder / "out.png").exists())

    def test_says_when_the_engine_has_no_confidence(self):
        text = ENGINE.read_text()
        start = text.index('[[tensor]]\nname = "confidence_output"')
        end = text.index("\n\n", start)
        self.write("plain.engine.toml", (text[:start] + text[end:]).encode())
        self.expect_failure(self.refine("--confidence", "c.tiff", engine="plain.engine.toml"), 2,
                            "has no confidence output")
        self.assertFalse((self.folder / "out.png").exists())
        self.assertEqual(self.refine("--preview", "p.jpg", engine="plain.engine.toml").returncode, 0)


class HelpTest(Case):
    def test_prints_the_version_of_the_library(self):
        result = self.run_tool("--version")
        self.assertRegex(result.stdout, r"^enhance-depth \d+\.\d+\.\d+ \(built on .*\)\n$")
        self.assertEqual(result.returncode, 0)

    def test_shows_an_example_of_every_subcommand_within_80_columns(self):
        overview = self.run_tool("--help").stdout
        listed = overview.split("Subcommands:\n")[1].split("\n\n")[0]
        names = [line.split()[0] for line in listed.splitlines() if line.startswith("  ") and line[2] != " "]
        self.assertIn("refine", names)
        for name in names:
            result = self.run_tool(name, "--help")
            self.assertEqual(result.returncode, 0)
            self.assertIn(f"Example:\n  enhance-depth {name} ", result.stdout)
            self.assertLessEqual(max(map(len, result.stdout.splitlines())), 80)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
