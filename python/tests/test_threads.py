# Solves release the GIL: other Python threads run while the core works. The core itself takes
# one call at a time, so drives from many threads (or drive_many's pool) must give exactly what
# the same drives give one after another.
import threading
import time

import numpy as np
import pytest

import qsolver
from conftest import chain_sketch


@pytest.fixture(scope="module")
def long_chain():
    s = chain_sketch(20000)
    s.drive({"a2": 10.0})  # builds the solver's side once, outside the timed calls
    return s


def progress_during(solve):
    """Runs solve() on a thread while this one counts loop turns; returns the turns counted
    while the solve was inside the extension (its Python-side edges trimmed off)."""
    stamps = []
    window = {}

    def worker():
        window["start"] = time.perf_counter()
        solve()
        window["end"] = time.perf_counter()

    t = threading.Thread(target=worker)
    t.start()
    while t.is_alive():
        stamps.append(time.perf_counter())
    t.join()
    # A thread switch may hand over the GIL just before the call: allow a few switch intervals.
    start = window["start"] + 0.02
    inside = [s for s in stamps if start < s < window["end"]]
    return len(inside), window["end"] - window["start"]


def test_drive_releases_the_gil(long_chain):
    values = iter([10.5, 10.0, 10.5, 10.0])
    turns, took = 0, 0.0
    while took < 0.1:  # a solve long enough to tell the two cases apart
        n, t = progress_during(lambda: long_chain.drive({"a2": next(values)}))
        turns, took = turns + n, took + t
    assert turns > 100, f"{turns} turns of the main thread during {took:.3f} s of solving"


def test_drive_many_releases_the_gil():
    sketches = [chain_sketch(300) for _ in range(40)]
    qsolver.drive_many(sketches, {"a2": 10.0})

    turns, took = progress_during(lambda: qsolver.drive_many(sketches, {"a2": 11.0}, workers=2))

    assert all(s.holds() for s in sketches)
    if took > 0.05:
        assert turns > 100, f"{turns} turns during {took:.3f} s"


def test_a_sketch_being_solved_refuses_other_threads(long_chain):
    refused = []
    t = threading.Thread(target=lambda: long_chain.drive({"a2": 10.5}))
    t.start()
    while t.is_alive() and not refused:
        try:
            long_chain.point("P0")
        except RuntimeError as e:
            refused.append(str(e))
    t.join()
    long_chain.drive({"a2": 10.0})

    assert refused and "being solved by another thread" in refused[0]


def crank_variants(fourbar, n):
    return [fourbar.copy() for _ in range(n)], [{"crankAngle": 7.0 * i % 360} for i in range(n)]


def test_drive_many_gives_the_answers_of_one_drive_after_another(fourbar):
    batch, changes = crank_variants(fourbar, 60)
    serial, _ = crank_variants(fourbar, 60)
    changes[5] = {"rocker": 1.0}  # cannot be reached: reported, restored
    changes[9] = {"crankAngle": 33.0, "coupler": 91.0}

    reports = qsolver.drive_many(batch, changes, workers=4)

    for s, c in zip(serial, changes):
        try:
            s.drive(c)
        except qsolver.SolveError:
            pass
    assert [bool(r) for r in reports] == [i != 5 for i in range(60)]
    assert reports[5].restored and reports[5].step != "none" and "restored" in reports[5].message
    assert reports[0].message == "" and reports[0].step == "none"
    for a, b in zip(batch, serial):
        assert a.to_json() == b.to_json()


def test_python_threads_each_driving_their_own_sketch(fourbar):
    per_thread = 4
    sketches = [fourbar.copy() for _ in range(per_thread)]
    reference = [fourbar.copy() for _ in range(per_thread)]
    angles = [[(17.0 * k + 3 * i) % 360 for k in range(40)] for i in range(per_thread)]

    def run(s, seq):
        for a in seq:
            s.drive({"crankAngle": a})

    threads = [threading.Thread(target=run, args=(s, a)) for s, a in zip(sketches, angles)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    for s, a in zip(reference, angles):
        run(s, a)

    for a, b in zip(sketches, reference):
        np.testing.assert_array_equal(a.points(), b.points())


@pytest.mark.parametrize(
    "make, message",
    [
        (lambda s: ([s, s], {"coupler": 91.0}), "listed twice"),
        (lambda s: ([s, s.copy()], [{"coupler": 91.0}]), "1 changes for 2 sketches"),
        (lambda s: ([s.copy(), s], [{"coupler": 91.0}, {"nope": 1.0}]), r"sketches\[1\]: .*nope"),
    ],
)
def test_drive_many_refuses_bad_batches_before_running(fourbar, make, message):
    sketches, changes = make(fourbar)
    before = [s.to_json() for s in sketches]

    with pytest.raises(ValueError, match=message):
        qsolver.drive_many(sketches, changes)

    assert [s.to_json() for s in sketches] == before
