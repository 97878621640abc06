"""The four-bar linkage studies shared by the example scripts: the output (rocker) angle over a
turn of the crank, and the same for variants whose link lengths are off by manufacturing
tolerances. Each variant starts from a fresh copy of the nominal sketch, so the answers do not
depend on the order or the process in which variants are computed."""

import math
from pathlib import Path

import numpy as np

import qsolver

FOURBAR = Path(__file__).resolve().parents[1] / "fourbar.json"
LINKS = ("crankLength", "coupler", "rocker")
NOMINAL = np.array([40.0, 90.0, 70.0])


def load_fourbar():
    return qsolver.Sketch.load(FOURBAR)


def rocker_angle(sketch):
    """The output: the rocker's angle at its ground pivot O2, in degrees."""
    d = sketch.point("B") - sketch.point("O2")
    return math.degrees(math.atan2(d[1], d[0]))


def output_curve(sketch, crank_angles):
    """Turns the crank through the angles (degrees) and returns the rocker angle at each;
    NaN where the linkage cannot reach (the sketch is then left where it was)."""
    out = np.empty(len(crank_angles))
    for i, theta in enumerate(crank_angles):
        try:
            sketch.drive({"crankAngle": float(theta)})
            out[i] = rocker_angle(sketch)
        except qsolver.SolveError:
            out[i] = math.nan
    return out


def variant_curves(base_json, lengths, crank_angles):
    """Output curves of the variants: one row of `lengths` (crank, coupler, rocker) per
    variant. `base_json` is the nominal sketch's text, which travels to other processes."""
    base = qsolver.Sketch.from_json(base_json, name="fourbar variant")
    curves = np.full((len(lengths), len(crank_angles)), math.nan)
    for row, links in enumerate(lengths):
        sketch = base.copy()
        try:
            sketch.drive(dict(zip(LINKS, map(float, links))))
        except qsolver.SolveError:
            continue  # this variant cannot be assembled
        curves[row] = output_curve(sketch, crank_angles)
    return curves


def tolerance_variants(count, sigma=0.15, seed=2024):
    """Link lengths drawn around the nominal ones (normal, standard deviation sigma)."""
    rng = np.random.default_rng(seed)
    return NOMINAL + rng.normal(0.0, sigma, size=(count, len(NOMINAL)))
