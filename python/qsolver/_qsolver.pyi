# Type stubs of the extension module qsolver._qsolver, for editors and type checkers.
import os
from typing import Iterable, Mapping, Optional, Sequence, Tuple, TypedDict, Union

import numpy as np
import numpy.typing as npt

Vector = npt.NDArray[np.float64]
PathLike = Union[str, "os.PathLike[str]"]
Changes = Mapping[str, float]

class SolveError(RuntimeError):
    """The solver could not re-solve the sketch after a change; the sketch is as it was."""

    step: str
    """The failed step: "build-cluster-chain", "solve-cluster-chain", "verify", ..."""
    detail: str
    """The library's detail (which relation failed the check), may be empty."""
    restored: bool

class Cluster:
    """One rigid cluster found by the analysis."""

    @property
    def nodes(self) -> list[str]: ...
    @property
    def free_num(self) -> int:
        """Rigid-body freedoms: 3 may move and turn, 2 may only move."""
    @property
    def fixed(self) -> bool: ...

class Analysis:
    """What the analysis pass concluded."""

    @property
    def verdict(self) -> str:
        """"ok", "over-constrained", "fixed-contradiction" or "seed-contradiction"."""
    @property
    def verdict_text(self) -> str: ...
    @property
    def ok(self) -> bool: ...
    @property
    def clusters(self) -> list[Cluster]: ...
    @property
    def stripped(self) -> list[str]: ...
    @property
    def unseeded(self) -> list[str]: ...
    @property
    def dof(self) -> int:
        """Remaining freedoms of the sketch at its current geometry."""
    @property
    def status(self) -> dict[str, tuple[str, int]]:
        """Node id -> (status, freedoms)."""
    @property
    def conflicting(self) -> list[str]:
        """Ids of a smallest set of relations that cannot hold together."""
    @property
    def redundant(self) -> list[str]:
        """Ids of relations the others already imply."""
    def __bool__(self) -> bool: ...

class DriveReport:
    """The outcome of one drive of drive_many; true when it solved."""

    @property
    def ok(self) -> bool: ...
    @property
    def step(self) -> str: ...
    @property
    def message(self) -> str: ...
    @property
    def restored(self) -> bool: ...
    def __bool__(self) -> bool: ...

class RelationCheck(TypedDict):
    """How well one relation holds, in the sketch's unit (an item of Sketch.check())."""

    id: str
    measured: float
    wanted: float
    error: float
    holds: bool
    constrains: bool

class Sketch:
    """A 2D sketch: points, lines, circles and relations under string ids.

    Angles are in the sketch's unit: degrees unless made with unit="rad".
    """

    def __init__(self, unit: str = "deg", description: Optional[str] = None) -> None: ...
    @staticmethod
    def from_json(text: str, name: str = "<json>") -> Sketch:
        """A sketch from sketch-file text; raises ValueError naming the place and problem."""
    @staticmethod
    def load(path: PathLike) -> Sketch:
        """Reads a sketch file; OSError when unreadable, ValueError when invalid."""
    def to_json(self) -> str: ...
    def save(self, path: PathLike) -> None: ...
    def to_svg(self, before: Optional[Sketch] = None, title: str = "") -> str: ...
    def copy(self) -> Sketch: ...
    def __copy__(self) -> Sketch: ...
    def __deepcopy__(self, memo: object) -> Sketch: ...

    @property
    def name(self) -> str: ...
    @property
    def unit(self) -> str: ...
    description: str
    @property
    def node_ids(self) -> list[str]: ...
    @property
    def point_ids(self) -> list[str]: ...
    @property
    def relation_ids(self) -> list[str]: ...
    @property
    def value_ids(self) -> list[str]: ...
    def kind(self, id: str) -> str: ...
    def point(self, id: str) -> Vector:
        """The point's coordinates [x, y]."""
    def line(self, id: str) -> Tuple[Vector, Vector]:
        """The line's through point and unit direction."""
    def circle(self, id: str) -> Tuple[Vector, float]:
        """The circle's centre and radius."""
    def points(self, ids: Optional[Sequence[str]] = None) -> Vector:
        """(N, 2) coordinates of the points named, or of every point (rows as point_ids)."""
    def value(self, id: str) -> float:
        """A relation's or named value's number, in the sketch's unit."""
    def measure(self, id: str) -> float:
        """What the relation measures at the current coordinates."""
    def check(self) -> list[RelationCheck]: ...
    def holds(self) -> bool:
        """True when every relation holds at the current coordinates."""

    def add_point(self, id: str, x: float, y: float) -> None: ...
    def add_line(
        self, id: str, x: float, y: float, dx: float, dy: float, dir_fixed: bool = False
    ) -> None: ...
    def add_circle(self, id: str, x: float, y: float, radius: float) -> None: ...
    def set_reference(self, node: str, ref: int) -> None: ...
    def add_value(self, id: str, value: float, known: bool = True) -> None: ...
    def add_fix(self, id: str, node: str) -> None: ...
    def add_ppdis(
        self, id: str, a: str, b: str, value: Optional[float] = None, *, shared: str = "",
        known: bool = True
    ) -> None: ...
    def add_pldis(
        self, id: str, point: str, line: str, value: Optional[float] = None, *,
        shared: str = "", known: bool = True
    ) -> None: ...
    def add_lldis(
        self, id: str, a: str, b: str, value: Optional[float] = None, *, shared: str = "",
        known: bool = True
    ) -> None: ...
    def add_llang(
        self, id: str, a: str, b: str, value: Optional[float] = None, *, shared: str = "",
        known: bool = True, reverse: Tuple[bool, bool] = (False, False)
    ) -> None: ...
    def add_rad(self, id: str, point: str, circle: str) -> None: ...
    def set_value_node(self, relation: str, circle: str) -> None: ...
    def remove_relation(self, id: str) -> None: ...
    def remove_node(self, id: str) -> None: ...

    def analyse(self) -> Analysis: ...
    def drive(self, changes: Changes, *, node_chain: bool = False, robust: bool = True) -> None:
        """Sets dimension values and re-solves; ValueError for a bad request, SolveError
        (sketch restored) when it cannot be re-solved."""
    def drag(self, point: str, x: float, y: float) -> float:
        """Drags a point towards (x, y); returns how far from it the point ended."""

class CadDiagnosis(TypedDict):
    dof: int
    status: dict[str, tuple[str, int]]
    conflicting: list[str]
    redundant: list[str]

class CadSketch:
    """A sketch in the CAD vocabulary (a format-2 file): points, segments, arcs, circles and
    lines with coincident, tangent, symmetric, dimensions... Dimensions in the file's units."""

    @staticmethod
    def from_json(text: str, name: str = "sketch.json") -> CadSketch: ...
    @staticmethod
    def load(path: str | os.PathLike[str]) -> CadSketch: ...
    def to_json(self) -> str: ...
    @property
    def entities(self) -> list[str]: ...
    def point(self, id: str) -> tuple[float, float]: ...
    def value(self, id: str) -> float: ...
    def drive(self, changes: Mapping[str, float]) -> None: ...
    def drag(self, point: str, x: float, y: float) -> float: ...
    def diagnose(self) -> CadDiagnosis: ...

def drive_many(
    sketches: Sequence[Sketch],
    changes: Union[Changes, Sequence[Changes]],
    workers: int = 0,
) -> list[DriveReport]:
    """Drives many sketches on a thread pool without the GIL; the core's calls still run one
    at a time (process-wide state). Failures are reported, not raised."""

def _time_cpp_drives(sketch: Sketch, relation: str, values: Iterable[float]) -> float: ...
