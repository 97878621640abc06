# Format-2 sketches from Python: the CAD examples diagnosed, driven and dragged, every
# constraint kept, and bad input refused.
import math

import pytest

import qsolver

MIRRORED = """{"format": 2, "entities": [
  {"id": "A", "type": "point", "at": [0, 0]},
  {"id": "B", "type": "point", "at": [10, 0]},
  {"id": "ab", "type": "segment", "points": ["A", "B"]},
  {"id": "P", "type": "point", "at": [3, 4]},
  {"id": "Q", "type": "point", "at": [3, -4]}],
 "constraints": [
  {"id": "fixA", "type": "fix", "refs": ["A"]},
  {"id": "flat", "type": "horizontal", "refs": ["ab"]},
  {"id": "len", "type": "length", "refs": ["ab"], "value": 10},
  {"id": "mirror", "type": "symmetric", "refs": ["P", "Q", "ab"]}]}"""


@pytest.mark.parametrize("name", ["symmetric-plate", "gear-lever"])
def test_dimensioned_examples_have_no_freedom_left(examples, name):
    d = qsolver.CadSketch.load(examples / f"{name}.json").diagnose()
    assert d["dof"] == 0
    assert d["conflicting"] == []
    assert all("#" not in entity for entity in d["status"])


def test_a_drive_keeps_the_slot_and_round_trips(examples):
    s = qsolver.CadSketch.load(examples / "slot-cad.json")
    s.drive({"centres": 60})
    assert s.value("centres") == 60
    c1, c2 = s.point("C1"), s.point("C2")
    assert math.dist(c1, c2) == pytest.approx(60, abs=1e-9)
    again = qsolver.CadSketch.from_json(s.to_json())
    assert again.point("C2") == pytest.approx(c2, abs=1e-12)


def test_a_drag_moves_the_point_and_its_mirror_image_follows():
    s = qsolver.CadSketch.from_json(MIRRORED)
    assert s.diagnose()["dof"] == 2
    assert s.drag("P", 5, 6) == pytest.approx(0, abs=1e-6)
    px, py = s.point("P")
    qx, qy = s.point("Q")
    assert (px, py) == pytest.approx((5, 6), abs=1e-6)
    assert (qx, qy) == pytest.approx((px, -py), abs=1e-6)
    assert s.point("A") == (0, 0)


def test_bad_input_is_refused():
    s = qsolver.CadSketch.from_json(MIRRORED)
    with pytest.raises(ValueError, match="no constraint 'nosuch'"):
        s.drive({"nosuch": 1})
    with pytest.raises(ValueError, match="fixed"):
        s.drag("A", 1, 1)
    with pytest.raises(ValueError, match="not a point"):
        s.point("ab")
    with pytest.raises(ValueError, match="format"):
        qsolver.CadSketch.from_json('{"nodes": []}')
    with pytest.raises(ValueError, match="CadSketch"):
        qsolver.Sketch.from_json(MIRRORED)
