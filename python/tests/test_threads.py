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
    return chain_sketch(20000)


def longest_pause(solve):
    """Runs solve() on a thread while this one loops; returns the longest pause between two
    turns of this loop and how long solve() took. Holding the GIL through the solve would
    pause this loop for the whole solve."""
    stamps = [time.perf_counter()]
    took = []

    def worker():
        start = time.perf_counter()
        solve()
        took.append(time.perf_counter() - start)

    t = threading.Thread(target=worker)
    t.start()
    while t.is_alive():
        stamps.append(time.perf_counter())
    t.join()
    return float(np.max(np.diff(stamps))), took[0]


def test_drive_releases_the_gil(long_chain):
    # A new node makes the next drive rebuild the solver's side of 60000 objects first: a
    # solve long enough to tell a held GIL from scheduling noise.
    long_chain.add_point("extra", -10, -10)

    pause, took = longest_pause(lambda: long_chain.drive({"a2": 10.5}))

    assert took > 0.1
    assert pause < took / 2, f"this thread paused {pause:.3f} s of a {took:.3f} s solve"
    long_chain.remove_node("extra")
    long_chain.drive({"a2": 10.0})


def test_drive_many_releases_the_gil():
    sketches = [chain_sketch(300) for _ in range(60)]
    for s in sketches:
        s.add_point("extra", -10, -10)  # each drive rebuilds first: a longer batch

    pause, took = longest_pause(lambda: qsolver.drive_many(sketches, {"a2": 11.0}, workers=2))

    assert all(s.holds() for s in sketches)
    assert took > 0.05
    assert pause < took / 2, f"this thread paused {pause:.3f} s of a {took:.3f} s batch"


def test_a_sketch_being_solved_refuses_other_threads(long_chain):
    refused = []
    long_chain.add_point("extra2", -10, -10)  # a long drive: rebuilds first
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
