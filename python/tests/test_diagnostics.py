"""analyse() reports the freedoms, node statuses and the relations in conflict."""

import pathlib

import qsolver

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples"


def test_fixed_triangle_is_fully_defined_and_a_free_point_keeps_two_freedoms():
    sketch = qsolver.Sketch.load(str(EXAMPLES / "triangle.json"))
    analysis = sketch.analyse()
    assert analysis.dof == 0
    assert all(status in ("fixed", "well-constrained") for status, _ in analysis.status.values())

    sketch.add_point("P", 7.0, 7.0)
    analysis = sketch.analyse()
    assert analysis.dof == 2
    assert analysis.status["P"] == ("under-constrained", 2)


def test_over_constrained_triangle_names_the_relation_it_does_not_need():
    analysis = qsolver.Sketch.load(str(EXAMPLES / "overconstrained.json")).analyse()
    assert analysis.redundant or analysis.conflicting
    named = set(analysis.redundant) | set(analysis.conflicting)
    assert any(status == "over-constrained" for status, _ in analysis.status.values())
    assert named
