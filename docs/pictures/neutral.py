#!/usr/bin/python3
"""Draws neutral.png: a drawing made to be hard for half-size colour, what a neutral recipe makes of it, and the difference.

PYTHONPATH=build/release/python docs/pictures/neutral.py
"""
import pathlib
import struct
import zlib

import numpy as np
import pixmill


def drawing(n: int = 48) -> np.ndarray:
    """Strokes one pixel wide and edges between strong colours."""
    a = np.full((n, n, 3), 128, np.uint8)
    a[:, : n // 2], a[:, n // 2 :] = (200, 40, 40), (40, 80, 200)
    for i in range(6):
        a[6 + 6 * i, 4:20] = (250, 220, 40)
    for i in range(5):
        a[4:20, 28 + 4 * i] = (60, 220, 90)
    y, x = np.mgrid[:n, :n]
    ring = (y - 34) ** 2 + (x - 36) ** 2
    a[ring < 81] = (240, 240, 240)
    a[ring < 25] = (220, 30, 120)
    return a


def save(path: pathlib.Path, picture: np.ndarray) -> None:
    def chunk(name: bytes, data: bytes) -> bytes:
        return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))

    height, width, _ = picture.shape
    rows = b"".join(b"\0" + row.tobytes() for row in picture)
    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    data = chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(rows, 9)) + chunk(b"IEND", b"")
    path.write_bytes(b"\x89PNG\r\n\x1a\n" + data)


before = drawing()
after = pixmill.develop(before, {})
apart = np.abs(before.astype(int) - after).astype(np.uint8)
gap = np.full((before.shape[0], 2, 3), 48, np.uint8)
row = np.concatenate([before, gap, after, gap, apart], axis=1)
save(pathlib.Path(__file__).with_suffix(".png"), row.repeat(6, axis=0).repeat(6, axis=1))
print(f"mean difference {apart.mean():.1f}, largest {apart.max()}, of 255")
