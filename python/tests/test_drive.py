# Whole sketches through the Python API: driven and checked as a host checks them (every
# relation holds, fixed geometry unmoved, the linkage kept on its branch).
import math

import numpy as np
import pytest

import qsolver
from conftest import chain_sketch, rocker_angle


def cross(o, a, b):
    return (a[0] - o[0]) * (b[1] - o[1]) - (a[1] - o[1]) * (b[0] - o[0])


def test_fourbar_crank_sweep_keeps_branch_and_relations(fourbar):
    o1, o2 = fourbar.point("O1"), fourbar.point("O2")
    side = np.sign(cross(fourbar.point("A"), fourbar.point("B"), o2))

    for angle in range(60, 60 + 360, 10):
        fourbar.drive({"crankAngle": float(angle % 360)})

        assert fourbar.holds()
        np.testing.assert_array_equal(fourbar.point("O1"), o1)
        np.testing.assert_array_equal(fourbar.point("O2"), o2)
        a = fourbar.point("A")
        assert math.degrees(math.atan2(a[1], a[0])) % 360 == pytest.approx(angle % 360, abs=1e-9)
        assert np.linalg.norm(fourbar.point("B") - a) == pytest.approx(90, abs=1e-9)
        assert np.sign(cross(a, fourbar.point("B"), o2)) == side
        assert fourbar.value("crankAngle") == angle % 360


def test_fourbar_output_angle_matches_closed_form(fourbar):
    # The rocker's angle from the circle intersection of coupler and rocker, on the branch
    # the file starts on (B above the line from A to O2).
    def closed_form(theta):
        a = np.array([40 * math.cos(math.radians(theta)), 40 * math.sin(math.radians(theta))])
        o2 = np.array([100.0, 0.0])
        d = np.linalg.norm(o2 - a)
        along = (90**2 - 70**2 + d * d) / (2 * d)
        h = math.sqrt(90**2 - along**2)
        u = (o2 - a) / d
        b = a + along * u + h * np.array([-u[1], u[0]])
        return math.degrees(math.atan2(b[1], b[0] - 100.0))

    for theta in (0.0, 45.0, 90.0, 135.0, 200.0, 300.0):
        fourbar.drive({"crankAngle": theta})
        assert rocker_angle(fourbar) == pytest.approx(closed_form(theta), abs=1e-7)


def test_several_changes_in_one_pass(fourbar):
    fourbar.drive({"crankAngle": 90.0, "coupler": 95.0, "rocker": 75.0})

    assert fourbar.holds()
    assert np.linalg.norm(fourbar.point("B") - fourbar.point("A")) == pytest.approx(95)
    assert np.linalg.norm(fourbar.point("B") - fourbar.point("O2")) == pytest.approx(75)
    assert [fourbar.value(r) for r in ("crankAngle", "coupler", "rocker")] == [90, 95, 75]


@pytest.mark.parametrize(
    "name, changes",
    [
        ("triangle.json", {"d1": 90.0, "angleA": 50.0}),
        ("plate.json", {"width": 120.0, "height": 70.0}),
        ("slot.json", {"length": 55.0}),
        ("equal.json", {"span": 80.0}),
        ("truss.json", None),
    ],
)
def test_examples_analyse_and_drive(examples, name, changes):
    s = qsolver.Sketch.load(examples / name)
    fixed = {r: s.point(r) for r in s.point_ids}

    analysis = s.analyse()
    assert analysis.ok and analysis.verdict == "ok" and bool(analysis)
    if changes is None:  # the first known distance, a tenth longer
        rid = next(r for r in s.relation_ids if s.kind(r) == "ppdis")
        changes = {rid: s.value(rid) * 1.1}
    s.drive(changes)

    assert s.holds()
    for rid, value in changes.items():
        assert s.value(rid) == value
        assert s.measure(rid) == pytest.approx(value, abs=1e-6)
    for rid in s.relation_ids:
        if s.kind(rid) == "fix" and s.kind(s_node := fix_node(s, rid)) == "point":
            np.testing.assert_allclose(s.point(s_node), fixed[s_node], atol=1e-12)


def fix_node(s, rid):
    import json

    return next(r for r in json.loads(s.to_json())["relations"] if r["id"] == rid)["nodes"][0]


def test_equal_distances_follow_the_span(examples):
    s = qsolver.Sketch.load(examples / "equal.json")

    s.drive({"span": 80.0})

    assert s.point("H2") == pytest.approx([40.0, 0.0])
    # The shared unknown value carries what its relations measure now.
    assert s.value("half") == pytest.approx(40.0)


def test_over_constrained_sketch_is_reported(examples):
    analysis = qsolver.Sketch.load(examples / "overconstrained.json").analyse()

    assert not analysis.ok and not analysis
    assert analysis.verdict in ("over-constrained", "fixed-contradiction", "seed-contradiction")
    assert analysis.verdict_text != qsolver.Sketch().analyse().verdict_text


def test_reference_dimension_is_measured_after_a_drive():
    s = qsolver.Sketch()
    for pid, x, y in (("A", 0, 0), ("B", 3, 0), ("D", 6, 0), ("C", 3, 4)):
        s.add_point(pid, x, y)
    for pid in "ABD":
        s.add_fix("f" + pid, pid)
    s.add_ppdis("ac", "A", "C", 5)
    s.add_ppdis("bc", "B", "C", 4)
    s.add_ppdis("cd_ref", "C", "D", 5, known=False)

    s.drive({"bc": 3.0})

    x = 25 / 6
    assert s.point("C") == pytest.approx([x, math.sqrt(25 - x * x)])
    assert s.value("cd_ref") == pytest.approx(math.hypot(6 - x, math.sqrt(25 - x * x)))
    assert s.holds()
    with pytest.raises(ValueError, match="unknown"):
        s.drive({"cd_ref": 6.0})


def test_radians_sketch_takes_and_writes_radians():
    s = qsolver.Sketch(unit="rad")
    s.add_line("g", 0, 0, 1, 0)
    s.add_line("m", 0, 0, 1, 1)
    s.add_fix("fg", "g")
    s.add_point("O", 0, 0)
    s.add_fix("fO", "O")
    s.add_pldis("on", "O", "m", 0)
    s.add_llang("ang", "g", "m", math.pi / 4)

    s.drive({"ang": math.pi / 2})

    _, direction = s.line("m")
    assert direction == pytest.approx([0.0, 1.0], abs=1e-12)
    assert '"unit": "rad"' in s.to_json()
    with pytest.raises(ValueError, match="2pi"):
        s.add_llang("bad", "g", "m", 7.0)


def test_negative_angle_is_taken_modulo_a_turn(fourbar):
    fourbar.drive({"crankAngle": -30.0})

    assert fourbar.value("crankAngle") == pytest.approx(330.0)
    assert qsolver.Sketch.from_json(fourbar.to_json()).holds()


def test_node_chain_solves_the_same_linkage(fourbar):
    other = fourbar.copy()

    fourbar.drive({"crankAngle": 75.0})
    other.drive({"crankAngle": 75.0}, node_chain=True)

    np.testing.assert_allclose(other.points(), fourbar.points(), atol=1e-6)


def test_chain_drive_moves_every_point():
    s = chain_sketch(200)
    before = s.points()

    s.drive({"a2": 11.0})

    after = s.points()
    assert s.holds()
    np.testing.assert_array_equal(after[:2], before[:2])
    assert np.all(np.linalg.norm(after[3:] - before[3:], axis=1) > 1e-3)
    assert after.shape == (202, 2)
    np.testing.assert_array_equal(s.points(["P5", "P0"]), after[[5, 0]])


def test_points_line_and_circle_accessors(examples):
    s = qsolver.Sketch.load(examples / "slot.json")

    through, direction = s.line("upper")
    centre, radius = s.circle("end2")

    assert through == pytest.approx([0, 8]) and direction == pytest.approx([1, 0])
    assert centre == pytest.approx([40, 0]) and radius == 8
    assert s.value("r2") == 8 and s.value("halfWidth") == 8
    assert s.kind("end2") == "circle" and s.kind("r2") == "rad" and s.kind("halfWidth") == "value"
    assert s.points().dtype == np.float64
    s.drive({"r2": 5.0})
    assert s.circle("end2")[1] == 5.0


def test_drag_moves_the_point_as_near_as_the_relations_let_it(fourbar):
    o1, o2 = fourbar.point("O1"), fourbar.point("O2")
    fourbar.remove_relation("crankAngle")  # the linkage may now turn

    distance = fourbar.drag("B", 100.0, 70.0)

    assert distance == pytest.approx(0.0, abs=1e-6)
    assert fourbar.point("B") == pytest.approx([100.0, 70.0], abs=1e-6)
    assert fourbar.holds()
    np.testing.assert_array_equal(fourbar.point("O1"), o1)
    np.testing.assert_array_equal(fourbar.point("O2"), o2)
    assert np.linalg.norm(fourbar.point("A")) == pytest.approx(40)
    assert qsolver.Sketch.from_json(fourbar.to_json()).holds()


def test_drag_of_a_determined_point_moves_nothing(fourbar):
    before = fourbar.points()

    distance = fourbar.drag("B", 100.0, 70.0)

    np.testing.assert_allclose(fourbar.points(), before, atol=1e-9)
    assert distance == pytest.approx(np.linalg.norm(before[3] - [100.0, 70.0]), abs=1e-6)


def test_drag_beyond_reach_stops_at_the_nearest_placement():
    s = qsolver.Sketch()
    s.add_point("O", 0, 0)
    s.add_point("P", 10, 0)
    s.add_fix("fO", "O")
    s.add_ppdis("r", "O", "P", 10)

    distance = s.drag("P", 0, 30)

    assert s.point("P") == pytest.approx([0, 10], abs=1e-6)
    assert distance == pytest.approx(20, abs=1e-6)


@pytest.mark.parametrize(
    "point, x, y, message",
    [("O1", 5.0, 5.0, "is fixed"), ("nope", 1.0, 1.0, "no node has the id 'nope'"),
     ("crank", 1.0, 1.0, "is a line"), ("B", float("nan"), 1.0, "not finite")],
)
def test_refused_drag_changes_nothing(fourbar, point, x, y, message):
    before = fourbar.to_json()

    with pytest.raises(ValueError, match=message):
        fourbar.drag(point, x, y)

    assert fourbar.to_json() == before
