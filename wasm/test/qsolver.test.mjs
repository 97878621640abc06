// The wasm module as a JavaScript host uses it: whole sketches loaded, analysed, driven and
// dragged, with every relation measured again here rather than taken from the module's word.
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

async function open(file) {
  const sketch = await Sketch.create();
  const loaded = sketch.load(read(file), path.basename(file));
  assert.equal(loaded.ok, true, loaded.error);
  return sketch;
}

const dist = (p, q) => Math.hypot(p.x - q.x, p.y - q.y);

/** Measures every point-to-point distance and point-on-line relation at the coordinates. */
function assertHolds(sketch, tol = 1e-7) {
  const doc = sketch.document();
  const at = Object.fromEntries(doc.nodes.map((n) => [n.id, n]));
  for (const r of doc.relations) {
    if (r.type === "ppdis") {
      assert.ok(Math.abs(dist(at[r.nodes[0]], at[r.nodes[1]]) - r.value) < tol, `${r.id} holds`);
    } else if (r.type === "pldis") {
      const p = at[r.nodes[0]];
      const l = at[r.nodes[1]];
      const off = Math.abs(l.dx * (p.y - l.y) - l.dy * (p.x - l.x)) / Math.hypot(l.dx, l.dy);
      assert.ok(Math.abs(off - r.value) < tol, `${r.id} holds`);
    }
  }
}

test("triangle: analysed, then a side changed moves only the apex, along its line", async () => {
  const sketch = await open("examples/triangle.json");
  const analysis = sketch.analyse();
  assert.equal(analysis.verdict, "ok");
  assert.deepEqual(analysis.notHolding, []);
  assert.deepEqual(analysis.clusters[0].nodes, ["A", "base"]);
  assert.equal(analysis.clusters[0].fixed, true);

  const result = sketch.drive({ ac: 60 });
  assert.equal(result.ok, true, result.error);
  const c = sketch.coordinates();
  assert.deepEqual([c.A.x, c.A.y], [0, 0]);
  assert.ok(Math.abs(c.C.x - 30) < 1e-9 && Math.abs(c.C.y - 60 * Math.sin(Math.PI / 3)) < 1e-9);
  assert.deepEqual([c.B.x, c.B.y], [80, 0]);
  assertHolds(sketch);
  assert.equal(sketch.document().relations.find((r) => r.id === "ac").value, 60);
});

test("triangle: an angle is driven in the file's degrees", async () => {
  const sketch = await open("examples/triangle.json");
  assert.equal(sketch.drive({ angleA: 90 }).ok, true);
  const c = sketch.coordinates();
  assert.ok(Math.abs(c.C.x) < 1e-9 && Math.abs(c.C.y - 50) < 1e-9);
  assertHolds(sketch);
});

test("linkage: dragging the crank end keeps every bar's length and the ground fixed", async () => {
  const sketch = await open("web/examples/linkage.json");
  const dragged = sketch.drag("A", 0, 45);
  assert.equal(dragged.ok, true, dragged.error);
  const c = sketch.coordinates();
  // The crank is 40 long: the nearest the point can come to (0, 45) is (0, 40). The distance
  // is flat there, so the point's place along the circle is only as close as the distance.
  assert.ok(Math.abs(dragged.distance - 5) < 1e-6);
  assert.ok(Math.hypot(c.A.x, c.A.y - 40) < 1e-3, `A at ${c.A.x}, ${c.A.y}`);
  assert.deepEqual([c.O1.x, c.O1.y, c.O2.x, c.O2.y], [0, 0, 100, 0]);
  assertHolds(sketch);
  // The coupler then changed: the drag's geometry is where the drive starts.
  assert.equal(sketch.drive({ coupler: 95 }).ok, true);
  assert.ok(Math.abs(sketch.coordinates().A.y - 40) < 1e-6);
  assertHolds(sketch);
});

test("a drive the sketch cannot take fails, says why and leaves the sketch as it was", async () => {
  const sketch = await open("web/examples/linkage.json");
  const before = sketch.save();
  const result = sketch.drive({ coupler: 500 });
  assert.equal(result.ok, false);
  assert.equal(result.restored, true);
  assert.notEqual(sketch.lastError, "");
  assert.equal(sketch.save(), before);
  sketch.clearError();
  assert.equal(sketch.lastError, "");
});

test("refused requests name the place and change nothing", async () => {
  const sketch = await open("examples/triangle.json");
  const before = sketch.save();
  const cases = [
    [() => sketch.drive({ nope: 1 }), /drive\.nope: no such relation/],
    [() => sketch.drive({ ac: "x" }), /finite number/],
    [() => sketch.drive({ fixA: 3 }), /no value to change/],
    [() => sketch.drive({}), /non-empty object/],
    [() => sketch.drive({ ac: -5 }), /negative/],
    [() => sketch.drag("base", 1, 2), /drag\.base: no such point/],
    [() => sketch.drag("C", NaN, 2), /finite/],
  ];
  for (const [call, message] of cases) {
    const result = call();
    assert.equal(result.ok, false);
    assert.match(result.error, message);
  }
  assert.equal(sketch.save(), before);
});

test("bad sketch text is refused with file and place, and the old sketch stays", async () => {
  const sketch = await open("examples/triangle.json");
  const bad = sketch.load('{"nodes": [', "broken.json");
  assert.equal(bad.ok, false);
  assert.equal(bad.file, "broken.json");
  assert.match(bad.error, /^broken\.json: line 1/);
  const unknown = sketch.load({ nodes: [], relations: [{ id: "f", type: "fix", nodes: ["Z"] }] });
  assert.equal(unknown.ok, false);
  assert.match(unknown.where, /relations\[0\]/);
  assert.equal(sketch.coordinates().C.x, 25);
});

test("saved text reads back as the same sketch", async () => {
  const sketch = await open("web/examples/linkage.json");
  sketch.drag("A", -10, 30);
  const again = await Sketch.create();
  assert.equal(again.load(sketch.save()).ok, true);
  assert.deepEqual(again.coordinates(), sketch.coordinates());
  assert.match(sketch.save(), /"at": \[100, 0\]/);
});

test("an over-constrained sketch is reported so", async () => {
  const sketch = await open("examples/overconstrained.json");
  const analysis = sketch.analyse();
  assert.equal(analysis.ok, false);
  assert.notEqual(analysis.verdict, "ok");
});

test("diagnostics count the freedoms left", async (t) => {
  const triangle = await open("examples/triangle.json");
  const d = triangle.diagnostics();
  if (!d.available) {
    t.skip("this build has no diagnostics");
    return;
  }
  assert.equal(d.dof, 0);
  const linkage = await open("web/examples/linkage.json");
  const l = linkage.diagnostics();
  assert.equal(l.dof, 1);
  assert.equal(l.nodes.find((n) => n.id === "O1").status, "fixed");
  assert.equal(l.nodes.find((n) => n.id === "A").status, "under-constrained");
  const over = await open("examples/overconstrained.json");
  assert.ok(over.diagnostics().conflicting.length + over.diagnostics().redundant.length > 0);
});

test("coordinates agree with the document after a solve, for points, lines and circles", async () => {
  const sketch = await open("examples/plate.json");
  assert.equal(sketch.analyse().ok, true);
  const doc = sketch.document();
  const at = sketch.coordinates();
  assert.deepEqual(Object.keys(at).sort(), doc.nodes.map((n) => n.id).sort());
  const kinds = new Set();
  for (const { id, type, ...place } of doc.nodes) {
    kinds.add(type);
    assert.deepEqual(at[id], place, id);
  }
  assert.ok(kinds.has("line") && kinds.has("circle"), "the example has every kind of node");
});
