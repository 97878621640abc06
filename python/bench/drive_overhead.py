"""What the Python layer adds to a drive: the same drives on the same sketch, once through
Sketch.drive and once through the C++ Sketch::Drive in a loop inside the extension.

    python3 python/bench/drive_overhead.py [--seconds 1.0]

Each measurement repeats its sequence for at least --seconds and keeps the best of three.
"""

import argparse
import sys
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "tests"))

import qsolver  # noqa: E402
from qsolver import _qsolver  # noqa: E402
from conftest import EXAMPLES, chain_sketch  # noqa: E402


def per_drive(run, count, seconds):
    """Microseconds per drive of one measurement: run() does `count` drives and returns the
    seconds they took; it is repeated for at least `seconds`."""
    took, done = 0.0, 0
    while took < seconds:
        took += run()
        done += count
    return took / done * 1e6


def best_of_three(runs, count, seconds):
    """The best of three measurements of each run, taken in turn so that a neighbour's busy
    spell on the machine falls on both."""
    best = [float("inf")] * len(runs)
    for _ in range(3):
        for i, run in enumerate(runs):
            best[i] = min(best[i], per_drive(run, count, seconds))
    return best


def python_loop(sketch, relation, values):
    def run():
        start = time.perf_counter()
        for v in values:
            sketch.drive({relation: v})
        return time.perf_counter() - start
    return run


def cpp_loop(sketch, relation, values):
    return lambda: _qsolver._time_cpp_drives(sketch, relation, values)


def batch_loop(sketches, relation, values):
    changes = [[{relation: v}] * len(sketches) for v in values]

    def run():
        start = time.perf_counter()
        for c in changes:
            qsolver.drive_many(sketches, c, workers=1)
        return time.perf_counter() - start
    return run


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--seconds", type=float, default=1.0)
    args = parser.parse_args()

    fourbar = qsolver.Sketch.load(EXAMPLES / "fourbar.json")
    cases = [
        ("fourbar (6 nodes)", fourbar, "crankAngle", [float(a) for a in range(0, 360, 5)]),
        ("chain of 100 triangles", chain_sketch(100), "a2", [10.0, 10.5] * 20),
        ("chain of 5000 triangles", chain_sketch(5000), "a2", [10.0, 10.5]),
    ]
    print(f"{'sketch':26} {'C++ us/drive':>13} {'Python us/drive':>16} {'overhead us':>12} "
          f"{'overhead':>9}")
    for name, base, relation, values in cases:
        py_sketch, cpp_sketch = base.copy(), base.copy()
        cpp, py = best_of_three([cpp_loop(cpp_sketch, relation, values),
                                 python_loop(py_sketch, relation, values)],
                                len(values), args.seconds)
        print(f"{name:26} {cpp:13.2f} {py:16.2f} {py - cpp:12.2f} {(py - cpp) / cpp:9.1%}")

    batch = [fourbar.copy() for _ in range(200)]
    values = [float(a) for a in range(0, 360, 30)]
    per, = best_of_three([batch_loop(batch, "crankAngle", values)], len(values) * len(batch),
                         args.seconds)
    print(f"{'fourbar, drive_many x200':26} {'':13} {per:16.2f}")


if __name__ == "__main__":
    main()
