"""Decodes a stream of texture blocks with Pillow: bcn_decode.py NUMBER FORMAT MODE WIDTH HEIGHT IN OUT.

NUMBER and FORMAT are those of Pillow's decoder "bcn" (1 DXT1, 2 DXT3, 3 DXT5, 4 BC4, 5 BC5, 6 BC6H or BC6HS, 7 BC7),
and MODE is that of the picture. OUT gets its pixels without padding.
"""

import pathlib
import sys

from PIL import Image

number, pixel_format, mode, width, height, source, target = sys.argv[1:]
stream = pathlib.Path(source).read_bytes()
image = Image.frombytes(mode, (int(width), int(height)), stream, "bcn", int(number), pixel_format)
pathlib.Path(target).write_bytes(image.tobytes())
