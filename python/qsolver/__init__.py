"""Qsolver for Python: 2D sketches built, loaded, analysed, driven and saved.

    >>> import qsolver
    >>> s = qsolver.Sketch.load("examples/fourbar.json")
    >>> s.drive({"crankAngle": 90.0})
    >>> s.point("B")            # numpy array [x, y]

Angles are in the sketch's unit (degrees unless the sketch says "rad"). Bad input raises
ValueError with the library's message; a change the solver cannot make raises SolveError
and leaves the sketch as it was. Solves release the GIL, but the solver core runs one call
at a time per process: use processes (see examples/python/) for solves side by side.
"""

from ._qsolver import (
    Analysis,
    CadSketch,
    Cluster,
    DriveReport,
    Sketch,
    SolveError,
    drive_many,
)

__all__ = ["Analysis", "CadSketch", "Cluster", "DriveReport", "Sketch", "SolveError", "drive_many"]
