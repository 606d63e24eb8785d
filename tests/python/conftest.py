"""What the tests share: planes with a fixed content."""
import numpy as np
import pytest


class Planes:
    def __init__(self, rows: int, cols: int) -> None:
        random = np.random.default_rng(7)
        across, down = np.meshgrid(np.arange(cols), np.arange(rows))
        scene = 0.4 + 0.3 * np.sin(across / 9.0) * np.cos(down / 7.0) + 0.2 * (across > cols // 2)
        self.floats = np.clip(scene + random.normal(0, 0.02, scene.shape), 0, 1).astype(np.float32)
        self.guide = np.clip(scene, 0, 1).astype(np.float32)
        self.words = (self.floats * 65535).astype(np.uint16)
        self.bytes = (self.floats * 255).astype(np.uint8)
        self.colours = random.integers(0, 256, (rows, cols, 3)).astype(np.uint8)


@pytest.fixture(scope="session")
def planes() -> Planes:
    return Planes(157, 203)


def same(a: np.ndarray, b: np.ndarray) -> bool:
    """Whether two arrays have the same type, shape and bits."""
    return a.dtype == b.dtype and a.shape == b.shape and a.tobytes() == b.tobytes()
