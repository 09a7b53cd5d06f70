"""Reads a DDS file with Pillow: dds_read.py IN OUT. OUT gets the pixels of its first level without padding."""

import pathlib
import sys

from PIL import Image

pathlib.Path(sys.argv[2]).write_bytes(Image.open(sys.argv[1]).tobytes())
