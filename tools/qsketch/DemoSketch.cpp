// The sketch the demo runs: the four-bar linkage of examples/fourbar.json, built in so the demo
// needs no files.
#include "Commands.h"

namespace qsketch
{

const char* DemoSketchText()
{
    return R"json({
  "description": "A four-bar linkage: crank 40 at 60 degrees, coupler 90, rocker 70, ground 100",
  "nodes": [
    {"id": "O1", "type": "point", "at": [0, 0]},
    {"id": "O2", "type": "point", "at": [100, 0]},
    {"id": "ground", "type": "line", "through": [0, 0], "direction": [1, 0]},
    {"id": "crank", "type": "line", "through": [0, 0], "direction": [0.5000000000000001, 0.8660254037844386]},
    {"id": "A", "type": "point", "at": [20.000000000000004, 34.64101615137754]},
    {"id": "B", "type": "point", "at": [102.78685798708682, 69.94450244701017]}
  ],
  "relations": [
    {"id": "fixO1", "type": "fix", "nodes": ["O1"]},
    {"id": "fixO2", "type": "fix", "nodes": ["O2"]},
    {"id": "fixGround", "type": "fix", "nodes": ["ground"]},
    {"id": "o1OnCrank", "type": "pldis", "nodes": ["O1", "crank"], "value": 0},
    {"id": "aOnCrank", "type": "pldis", "nodes": ["A", "crank"], "value": 0},
    {"id": "crankAngle", "type": "llang", "nodes": ["ground", "crank"], "value": 60},
    {"id": "crankLength", "type": "ppdis", "nodes": ["O1", "A"], "value": 40},
    {"id": "coupler", "type": "ppdis", "nodes": ["A", "B"], "value": 90},
    {"id": "rocker", "type": "ppdis", "nodes": ["O2", "B"], "value": 70}
  ]
}
)json";
}

} // namespace qsketch
