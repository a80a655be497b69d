"""ALAD, the ambient-light adaptive display engine: type stubs of the extension module."""
from os import PathLike
from typing import Literal, Sequence, Union

import numpy as np
import numpy.typing as npt

__version__: str
LUX_LEVELS: tuple[int, ...]
DEBUG_TYPES: tuple[str, ...]

_Path = Union[str, bytes, PathLike[str], PathLike[bytes]]
_Frame = Union[npt.NDArray[np.int32], npt.NDArray[np.uint16]]
_Block = Union[int, tuple[int, int]]
_Registers = dict[str, Union[int, npt.ArrayLike]]

class EngineError(RuntimeError):
    """The library refused a call; the message is the last warning or error it logged."""

class Engine:
    """The ALAD engine: one per process; making one replaces the one before."""

    def __init__(
        self,
        *,
        width: int = 800,
        height: int = 480,
        order: int = 3,
        block: _Block = 256,
        strength: int = 8,
        curve: int = 1,
        filter: bool = False,
        gamma: float = 2.2,
        white: float = 500.0,
        black: float = 0.2,
        backlight: float = 1.0,
        reflectance: float = 0.01,
        src_lux: float = 0.0,
        dst_lux: float = 0.0,
    ) -> None: ...
    def run(self, frame: _Frame, *, rgb: bool = False, out: _Frame | None = None) -> _Frame:
        """One (H, W, 3) 12-bit frame through the engine; the result has its shape and dtype."""
    def run_argb(self, buffer: npt.NDArray[np.uint8]) -> None:
        """The driver's path: an (H, W, 4) A, R, G, B uint8 buffer processed in place."""
    def update_view(self, *, src_lux: float | None = None, dst_lux: float | None = None) -> None: ...
    def update_display(
        self,
        *,
        gamma: float | None = None,
        white: float | None = None,
        black: float | None = None,
        backlight: float | None = None,
        reflectance: float | None = None,
    ) -> None: ...
    def update_cltm(
        self,
        *,
        width: int | None = None,
        height: int | None = None,
        order: int | None = None,
        block: _Block | None = None,
        strength: int | None = None,
        curve: int | None = None,
        filter: bool | None = None,
    ) -> None: ...
    def reset(self) -> None: ...
    def load_registers(self, registers: Union[_Registers, _Path]) -> None: ...
    def registers(self) -> dict[str, Union[int, npt.NDArray[np.uint32], npt.NDArray[np.int32]]]: ...
    def debug(self) -> dict[str, Union[npt.NDArray[np.uint32], npt.NDArray[np.int32]]]: ...
    def dump(self, folder: _Path, result: _Frame | None = None) -> None: ...
    @property
    def settings(self) -> dict[str, object]: ...

class ContentLTM:
    """The CLTM on single pictures, outside the engine."""

    def __init__(
        self, *, block: _Block | None = None, strength: int = 8, curve: int = 1, filter: bool = False, video: bool = False
    ) -> None: ...
    def bgr(self, image: _Frame, frame: int = 0) -> npt.NDArray[np.int32]: ...
    def gray(
        self, brightness: npt.NDArray[np.float64], frame: int = 0
    ) -> tuple[npt.NDArray[np.float32], npt.NDArray[np.float32]]: ...

def agtm_table(
    src_lux: float,
    dst_lux: float,
    *,
    gamma: float = 2.2,
    white: float = 500.0,
    black: float = 0.2,
    backlight: float = 1.0,
    reflectance: float = 0.01,
) -> npt.NDArray[np.int32]: ...
def tone_curve(
    src_lux: float,
    dst_lux: float,
    *,
    gamma: float = 2.2,
    white: float = 500.0,
    black: float = 0.2,
    backlight: float = 1.0,
    reflectance: float = 0.01,
) -> npt.NDArray[np.float64]: ...
def level(lux: int) -> int: ...
def level_table(level: int) -> npt.NDArray[np.int32]: ...
def content_curve(
    gray: npt.NDArray[np.uint8], *, content_weight: float = 0.5, temporal_weight: float = 0.7
) -> tuple[npt.NDArray[np.float64], npt.NDArray[np.float64]]: ...
def clear_content_curve() -> None: ...
def global_tone_map(
    image: npt.NDArray[np.uint8],
    ambient: npt.ArrayLike,
    *,
    method: Literal["gray", "1d", "combine", "scaler"] = "gray",
) -> npt.NDArray[np.uint8]: ...
def combined(
    image: _Frame,
    table: npt.ArrayLike,
    *,
    method: Literal["deep", "ltm-agtm", "agtm-ltm"] = "deep",
    ltm: ContentLTM | None = None,
) -> tuple[npt.NDArray[np.int32], npt.NDArray[np.int32]]: ...
def widen8(image: npt.NDArray[np.uint8]) -> npt.NDArray[np.int32]: ...
def widen10(image: npt.NDArray[np.int32]) -> npt.NDArray[np.int32]: ...
def set_threads(threads: int) -> None: ...
def threads() -> int: ...
def read_registers(path: _Path) -> dict[str, Union[int, npt.NDArray[np.uint32], npt.NDArray[np.int32]]]: ...
def write_registers(path: _Path, registers: _Registers) -> None: ...
def read_pixels(path: _Path, width: int, height: int, *, packed: bool = True) -> npt.NDArray[np.int32]: ...
def write_pixels(path: _Path, image: _Frame) -> None: ...
def read_yuv10(path: _Path, width: int, height: int) -> npt.NDArray[np.int32]: ...
def read_dump(path: _Path) -> npt.NDArray[np.uint32]: ...
def read_dumps(folder: _Path, width: int, height: int) -> dict[str, Union[npt.NDArray[np.uint32], npt.NDArray[np.int32]]]: ...
