# Shared fixtures: the example sketches of the repository and small sketches built in Python.
import math
from pathlib import Path

import pytest

import qsolver

EXAMPLES = Path(__file__).resolve().parents[2] / "examples"


@pytest.fixture
def examples():
    return EXAMPLES


@pytest.fixture
def fourbar():
    return qsolver.Sketch.load(EXAMPLES / "fourbar.json")


def chain_sketch(n, unit="deg"):
    """A braced chain of n triangles: two fixed points, then each new point placed by its
    distances to the two before it (every node placed one at a time, so a drive of the first
    distance moves them all)."""
    s = qsolver.Sketch(unit=unit, description=f"chain of {n}")
    s.add_point("P0", 0.0, 0.0)
    s.add_point("P1", 5.0, 8.660254037844386)
    s.add_fix("f0", "P0")
    s.add_fix("f1", "P1")
    for i in range(2, n + 2):
        s.add_point(f"P{i}", 5.0 * i, 8.660254037844386 if i % 2 else 0.0)
        s.add_ppdis(f"a{i}", f"P{i - 2}", f"P{i}", 10.0)
        s.add_ppdis(f"b{i}", f"P{i - 1}", f"P{i}", 10.0)
    return s


def rocker_angle(s):
    """The fourbar's output: the rocker's angle at O2, in degrees."""
    d = s.point("B") - s.point("O2")
    return math.degrees(math.atan2(d[1], d[0]))
