"""Shared pieces of the module's tests: random frames, the command-line tool, netpbm pictures."""
import os
import subprocess

import numpy as np
import pytest

import alad


@pytest.fixture
def rng():
    return np.random.default_rng(20261124)


def frame12(rng, height, width, dtype=np.int32):
    """A random 12-bit B, G, R frame."""
    return rng.integers(0, 4096, (height, width, 3)).astype(dtype)


@pytest.fixture
def tool():
    """Runs the alad command-line tool (the build's, named by ALAD_TOOL); skips without one."""
    path = os.environ.get("ALAD_TOOL")
    if not path or not os.path.exists(path):
        pytest.skip("the alad tool is not built (ALAD_TOOL unset)")

    def run(*args):
        done = subprocess.run([path, *map(str, args)], capture_output=True, text=True)
        assert done.returncode == 0, done.stderr
        return done

    return run


def write_ppm(path, bgr):
    """An 8-bit B, G, R picture as a binary PPM (what OpenCV reads)."""
    height, width, _ = bgr.shape
    with open(path, "wb") as f:
        f.write(b"P6\n%d %d\n255\n" % (width, height))
        f.write(np.ascontiguousarray(bgr[..., ::-1]).tobytes())


def read_ppm(path):
    with open(path, "rb") as f:
        data = f.read()
    magic, width, height, maxval, pixels = data.split(maxsplit=4)
    assert magic == b"P6" and maxval == b"255"
    rgb = np.frombuffer(pixels, np.uint8).reshape(int(height), int(width), 3)
    return np.ascontiguousarray(rgb[..., ::-1])


@pytest.fixture(autouse=True)
def fresh_engine_state():
    """Every test leaves the library as it found it: one thread."""
    yield
    alad.set_threads(1)
