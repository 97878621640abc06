// Sketches of format 2 (entities and constraints) through the same JavaScript API: loaded,
// driven by a dimension, dragged by a point, with the geometry measured again here.
import { test } from "node:test";
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { fileURLToPath, pathToFileURL } from "node:url";
import path from "node:path";

const here = path.dirname(fileURLToPath(import.meta.url));
const root = path.resolve(here, "../..");
const moduleDir = process.env.QSOLVER_WASM_DIR ?? path.join(root, "build/wasm");
const { Sketch } = await import(pathToFileURL(path.join(moduleDir, "qsolver.js")).href);

const read = (file) => readFileSync(path.join(root, file), "utf8");
const near = (a, b, tol = 1e-7) => Math.abs(a - b) < tol;

async function open(file) {
  const sketch = await Sketch.create();
  const loaded = sketch.load(read(file), path.basename(file));
  assert.equal(loaded.ok, true, loaded.error);
  assert.equal(sketch.format, 2);
  return sketch;
}

/** The slot's outline: each side touches both end arcs, the arcs are equal and 40 + apart. */
function assertSlot(at, centres, radius) {
  assert.deepEqual([at.C1.x, at.C1.y], [0, 0]);
  assert.ok(near(at.C2.x, centres) && near(at.C2.y, 0), `C2 at ${at.C2.x}, ${at.C2.y}`);
  for (const end of ["leftEnd", "rightEnd"]) assert.ok(near(at[end].radius, radius), end);
  // Tangent sides of a horizontal slot lie a radius above and below the centres.
  for (const p of ["T1", "T2"]) assert.ok(near(at[p].y, radius), p);
  for (const p of ["B1", "B2"]) assert.ok(near(at[p].y, -radius), p);
}

test("the slot: analysed, its centre distance and width driven, its reference measured", async () => {
  const sketch = await open("examples/slot-cad.json");
  const analysis = sketch.analyse();
  assert.equal(analysis.verdict, "ok");
  assert.deepEqual(analysis.notHolding, []);
  assertSlot(sketch.coordinates(), 40, 8);

  assert.equal(sketch.drive({ centres: 55 }).ok, true);
  assertSlot(sketch.coordinates(), 55, 8);
  const width = sketch.drive({ width: 20 });
  assert.equal(width.ok, true, width.error);
  assertSlot(sketch.coordinates(), 55, 10);
  const doc = sketch.document();
  const overall = doc.constraints.find((c) => c.id === "overall");
  assert.equal(overall.driven, true);
  assert.ok(near(overall.measured, 55));
  assert.equal(doc.constraints.find((c) => c.id === "width").value, 20);
  assert.deepEqual(sketch.analyse().notHolding, []);
  // Construction geometry stays marked as such in the document.
  assert.equal(doc.entities.find((e) => e.id === "axis").construction, true);
  assert.deepEqual(doc.entities.find((e) => e.id === "leftEnd").points, ["C1", "T1", "B1"]);
});

test("the gear lever's angle is driven in degrees and its knob dragged round the pivot", async () => {
  const sketch = await open("examples/gear-lever.json");
  assert.equal(sketch.analyse().ok, true);
  assert.equal(sketch.diagnostics().dof, 0);
  assert.equal(sketch.drive({ shift: 110 }).ok, true);
  let at = sketch.coordinates();
  // The lever turns about P; K at 120 from it, at 110 degrees from the guide's direction.
  const angle = (Math.atan2(at.K.y - at.P.y, at.K.x - at.P.x) * 180) / Math.PI;
  assert.ok(near(angle, 110, 1e-6), `lever at ${angle}`);
  assert.ok(near(Math.hypot(at.K.x, at.K.y), 120));
  assert.ok(near(at.S.y, -60) && near(Math.hypot(at.S.x - at.L.x, at.S.y - at.L.y), 100));

  // Without the angle the lever is free to turn: take it away by loading the file without it.
  const file = JSON.parse(read("examples/gear-lever.json"));
  file.constraints = file.constraints.filter((c) => c.id !== "shift");
  assert.equal(sketch.load(file, "free-lever.json").ok, true);
  assert.equal(sketch.diagnostics().dof, 1);
  const dragged = sketch.drag("K", -60, 100);
  assert.equal(dragged.ok, true, dragged.error);
  at = sketch.coordinates();
  assert.ok(near(Math.hypot(at.K.x, at.K.y), 120));
  // The nearest place on the circle of 120 to (-60, 100) lies along that direction.
  const want = Math.atan2(100, -60);
  assert.ok(Math.abs(Math.atan2(at.K.y, at.K.x) - want) < 1e-3, `K at ${at.K.x}, ${at.K.y}`);
  assert.deepEqual([at.P.x, at.P.y], [0, 0]);
});

test("format-2 requests the sketch cannot take are refused and change nothing", async () => {
  const sketch = await open("examples/slot-cad.json");
  const before = sketch.save();
  const cases = [
    [() => sketch.drive({ overall: 50 }), /reference dimension/],
    [() => sketch.drive({ t1: 3 }), /drive\.t1: the constraint has no value to change/],
    [() => sketch.drive({ nope: 3 }), /drive\.nope: no such constraint/],
    [() => sketch.drive({ width: "x" }), /finite number/],
    [() => sketch.drive({}), /non-empty object/],
    [() => sketch.drag("upper", 0, 0), /drag\.upper: no such point/],
    [() => sketch.drag("T1", 0, Infinity), /finite/],
  ];
  for (const [call, message] of cases) {
    const result = call();
    assert.equal(result.ok, false);
    assert.match(result.error, message);
    assert.equal(sketch.lastError, result.error);
  }
  assert.equal(sketch.save(), before);
});

test("one sketch object moves between the formats; a failed load keeps the format it had", async () => {
  const sketch = await open("examples/slot-cad.json");
  const bad = sketch.load('{"format": 2, "entities": [{"id": "A", "type": "point"}], "constraints": []}', "bad.json");
  assert.equal(bad.ok, false);
  assert.match(sketch.lastError, /^bad\.json: entities\[0\]/);
  assert.equal(sketch.format, 2);
  assert.ok("leftEnd" in sketch.coordinates());

  assert.equal(sketch.load(read("examples/triangle.json"), "triangle.json").ok, true);
  assert.equal(sketch.format, 1);
  assert.equal(sketch.drive({ ac: 60 }).ok, true);
  assert.ok(near(sketch.coordinates().C.x, 30));
  assert.equal(sketch.load(read("examples/slot-cad.json"), "slot-cad.json").ok, true);
  assert.equal(sketch.format, 2);
  assert.equal(sketch.drive({ centres: 45 }).ok, true);
  assert.ok(near(sketch.coordinates().C2.x, 45));
  const built = sketch.build({
    points: [{ id: "A", x: 0, y: 0, fixed: true }, { id: "B", x: 3, y: 4 }],
    relations: [{ id: "ab", type: "ppdis", nodes: ["A", "B"], value: 5 }],
  });
  assert.equal(built.ok, true, built.error);
  assert.equal(sketch.format, 1);
  assert.equal(sketch.drive({ ab: 10 }).ok, true);
  assert.deepEqual(Object.keys(sketch.coordinates()), ["A", "B"]);
});

test("a driven format-2 sketch saves to text that reads back as the same sketch", async () => {
  const sketch = await open("examples/symmetric-plate.json");
  const dims = sketch.document().constraints.filter((c) => c.value !== undefined && !c.driven);
  assert.equal(sketch.drive({ [dims[0].id]: dims[0].value * 1.1 }).ok, true);
  const again = await Sketch.create();
  assert.equal(again.load(sketch.save(), "again.json").ok, true);
  assert.deepEqual(again.coordinates(), sketch.coordinates());
  assert.deepEqual(again.analyse().notHolding, []);
});
