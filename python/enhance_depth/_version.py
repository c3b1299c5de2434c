"""The package's version: that of the C header that it was written for. A test compares the two."""

__version__ = "0.7.0"
