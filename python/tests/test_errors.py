# Error paths: bad input raises ValueError (or OSError, TypeError) with the library's message
# and changes nothing; an impossible change raises SolveError and leaves the sketch as it was.
import numpy as np
import pytest

import qsolver


@pytest.mark.parametrize(
    "text, message",
    [
        ("{", r"bad\.json: .*line 1, column 2"),
        ('{"nodes": []', r"bad\.json"),
        ('{"nodes": [{"id": "A", "type": "point", "at": [0, 0]}], "oops": 1}', "unknown field"),
        ('{"nodes": [{"id": "A", "type": "point", "at": [0, "x"]}]}', r"nodes\[0\]\.at\[1\]"),
        ('{"nodes": [{"id": "A", "type": "point", "at": [0, 1e12]}]}', "absurdly large"),
        (
            '{"nodes": [{"id": "A", "type": "point", "at": [0, 0]}], "relations": '
            '[{"id": "f", "type": "fix", "nodes": ["Z"]}]}',
            r"relations\[0\]\.nodes\[0\]: no node has the id \"Z\"",
        ),
    ],
)
def test_bad_json_raises_value_error_naming_the_place(text, message):
    with pytest.raises(ValueError, match=message):
        qsolver.Sketch.from_json(text, name="bad.json")


def test_load_of_a_missing_file_raises_os_error(tmp_path):
    with pytest.raises(OSError, match="cannot open"):
        qsolver.Sketch.load(tmp_path / "missing.json")


def test_load_of_a_bad_file_names_the_file(tmp_path):
    path = tmp_path / "broken.json"
    path.write_text('{"nodes": [{"id": "A", "type": "square"}]}')

    with pytest.raises(ValueError, match=r"broken\.json: nodes\[0\]\.type: unknown node type"):
        qsolver.Sketch.load(path)


def small():
    s = qsolver.Sketch(description="small")
    s.add_point("A", 0, 0)
    s.add_point("B", 10, 0)
    s.add_line("L", 0, 0, 1, 0)
    s.add_circle("C", 0, 0, 5)
    s.add_value("v", 3.0)
    s.add_fix("fA", "A")
    s.add_ppdis("d", "A", "B", 10)
    return s


@pytest.mark.parametrize(
    "call, message",
    [
        (lambda s: s.add_point("A", 1, 1), "duplicate id 'A'"),
        (lambda s: s.add_point("", 1, 1), "empty id"),
        (lambda s: s.add_point("P", float("nan"), 1), "not finite"),
        (lambda s: s.add_point("P", 2e9, 1), "absurdly large"),
        (lambda s: s.add_line("M", 0, 0, 0, 0), "has no direction"),
        (lambda s: s.add_circle("K", 0, 0, 0), "radius must be greater than 0"),
        (lambda s: s.add_ppdis("e", "A", "Z", 1), "unknown node 'Z'"),
        (lambda s: s.add_ppdis("e", "A", "L", 1), "'L' is a line, not a point"),
        (lambda s: s.add_ppdis("e", "A", "A", 1), "to itself"),
        (lambda s: s.add_ppdis("e", "A", "B", -1), "cannot be negative"),
        (lambda s: s.add_ppdis("e", "A", "B"), "either a value or a shared value"),
        (lambda s: s.add_ppdis("e", "A", "B", 1, shared="v"), "either a value or a shared"),
        (lambda s: s.add_ppdis("e", "A", "B", shared="nope"), "unknown value 'nope'"),
        (lambda s: s.add_llang("e", "L", "L", 10), "to itself"),
        (lambda s: s.add_llang("e", "L", "M", 400), r"\[0, 360\)"),
        (lambda s: s.add_rad("e", "L", "C"), "not a point"),
        (lambda s: s.add_rad("e", "A", "B"), "not a circle"),
        (lambda s: s.set_value_node("fA", "C"), "only a relation with a value"),
        (lambda s: s.set_value_node("d", "A"), "not a circle"),
        (lambda s: s.set_reference("Z", 1), "no node has the id 'Z'"),
        (lambda s: s.set_reference("A", 2**40), "32 bits"),
        (lambda s: s.remove_node("Z"), "unknown node 'Z'"),
        (lambda s: s.remove_relation("Z"), "unknown relation 'Z'"),
        (lambda s: s.point("L"), "'L' is a line, not a point"),
        (lambda s: s.point("Z"), "no node has the id 'Z'"),
        (lambda s: s.value("fA"), "is a fix"),
        (lambda s: s.kind("Z"), "no node, relation or value"),
    ],
)
def test_refused_builder_changes_nothing(call, message):
    s = small()
    before = s.to_json()

    with pytest.raises(ValueError, match=message):
        call(s)

    assert s.to_json() == before
    s.drive({"d": 12.0})  # the sketch still works
    assert s.point("B") == pytest.approx([12, 0])


def test_a_value_shared_by_an_angle_and_a_distance_is_refused():
    s = small()
    s.add_line("M", 0, 0, 0, 1)
    s.add_llang("ang", "L", "M", shared="v")

    with pytest.raises(ValueError, match="shared by an angle and a distance"):
        s.add_ppdis("e", "A", "B", shared="v")


@pytest.mark.parametrize(
    "changes, error, message",
    [
        ({"nope": 1.0}, ValueError, "no relation has the id 'nope'"),
        ({"fixO1": 1.0}, ValueError, "is a fix"),
        ({"coupler": -5.0}, ValueError, "cannot be negative"),
        ({"coupler": float("inf")}, ValueError, "not finite"),
        ({"coupler": 1e10}, ValueError, "absurdly large"),
        ({"coupler": "95"}, TypeError, "must be a number"),
        ({1: 95.0}, TypeError, "must be a str"),
        ([("coupler", 95.0)], TypeError, "mapping"),
    ],
)
def test_bad_drive_request_raises_and_changes_nothing(fourbar, changes, error, message):
    before = fourbar.to_json()

    with pytest.raises(error, match=message):
        fourbar.drive(changes)

    assert fourbar.to_json() == before


def test_impossible_change_raises_solve_error_and_restores(fourbar):
    fourbar.drive({"crankAngle": 90.0})
    before = fourbar.to_json()
    points = fourbar.points()

    # The rocker and coupler can no longer reach each other.
    with pytest.raises(qsolver.SolveError) as caught:
        fourbar.drive({"rocker": 5.0})

    error = caught.value
    assert isinstance(error, RuntimeError)
    assert error.restored is True
    assert error.step != "none"
    assert "the sketch was restored" in str(error)
    assert fourbar.to_json() == before
    np.testing.assert_array_equal(fourbar.points(), points)
    # The restored sketch drives on from where it was.
    fourbar.drive({"crankAngle": 100.0})
    assert fourbar.holds()


def test_unknown_unit_is_refused():
    with pytest.raises(ValueError, match="unknown unit"):
        qsolver.Sketch(unit="grad")


def test_format_2_files_are_refused_with_a_clear_message(examples):
    with pytest.raises(ValueError, match="format 2"):
        qsolver.Sketch.load(examples / "bracket.json")
