"""The programs below models/ are not an installed package: tests import them from there."""

import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "models"))
