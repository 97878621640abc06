// Sketches built from objects must be the sketches their JSON text gives: the same analysis,
// the same drives and drags to the last bit, the same refusals.
import { test } from "node:test";
import assert from "node:assert/strict";
import { readFileSync, readdirSync } from "node:fs";
import { fileURLToPath, pathToFileURL } from "node:url";
import path from "node:path";
import { triangle, truss, grid, linkage, judge } from "../bench/families.mjs";

const here = path.dirname(fileURLToPath(import.meta.url));
const root = path.resolve(here, "../..");
const moduleDir = process.env.QSOLVER_WASM_DIR ?? path.join(root, "build/wasm");
const { Sketch } = await import(pathToFileURL(path.join(moduleDir, "qsolver.js")).href);

/** A sketch file as a build description. */
function describe(file) {
  const d = { points: [], lines: [], circles: [], values: file.values ?? [], relations: file.relations ?? [] };
  if (file.unit === "rad") d.angleUnit = "rad";
  for (const n of file.nodes) {
    if (n.type === "point") d.points.push({ id: n.id, x: n.at[0], y: n.at[1] });
    if (n.type === "line") {
      d.lines.push({ id: n.id, x: n.through[0], y: n.through[1], dx: n.direction[0], dy: n.direction[1], dirFixed: n.dirFixed });
    }
    if (n.type === "circle") d.circles.push({ id: n.id, x: n.center[0], y: n.center[1], radius: n.radius });
  }
  return d;
}

/** The sketch file a description stands for, its nodes in the order build numbers them. */
function fileOf(d) {
  const fixed = [...d.points, ...(d.lines ?? []), ...(d.circles ?? [])].filter((n) => n.fixed);
  return {
    ...(d.angleUnit === "rad" ? { unit: "rad" } : {}),
    nodes: [
      ...d.points.map((p) => ({ id: p.id, type: "point", at: [p.x, p.y] })),
      ...(d.lines ?? []).map((l) => ({ id: l.id, type: "line", through: [l.x, l.y], direction: [l.dx, l.dy], ...(l.dirFixed ? { dirFixed: true } : {}) })),
      ...(d.circles ?? []).map((c) => ({ id: c.id, type: "circle", center: [c.x, c.y], radius: c.radius })),
    ],
    ...(d.values?.length ? { values: d.values } : {}),
    relations: [...fixed.map((n) => ({ id: `fix:${n.id}`, type: "fix", nodes: [n.id] })), ...d.relations],
  };
}

function familyDescription(f) {
  return {
    points: f.points.map((p, i) => ({ id: `P${i}`, x: p.x, y: p.y, fixed: f.fixed.includes(i) })),
    relations: f.distances.map((d, i) => ({ id: `D${i}`, type: "ppdis", nodes: [`P${d.a}`, `P${d.b}`], value: d.value })),
  };
}

const examples = [
  ...readdirSync(path.join(root, "examples"))
    .filter((name) => name.endsWith(".json"))
    .map((name) => [name, JSON.parse(readFileSync(path.join(root, "examples", name), "utf8"))])
    .filter(([, file]) => file.format !== 2)
    .map(([name, file]) => [name, describe(file)]),
  ["linkage.json (web)", describe(JSON.parse(readFileSync(path.join(root, "web/examples/linkage.json"), "utf8")))],
  ["triangle family", familyDescription(triangle())],
  ["truss family", familyDescription(truss(12))],
  ["grid family", familyDescription(grid(4))],
  ["linkage family", familyDescription(linkage(3))],
  [
    "reversed angle, fixed direction, radians",
    {
      angleUnit: "rad",
      points: [{ id: "A", x: 3, y: 3, fixed: true }],
      lines: [
        { id: "L", x: 0, y: 0, dx: 1, dy: 0, dirFixed: true, fixed: true },
        { id: "M", x: 0, y: 0, dx: 1, dy: 1 },
      ],
      relations: [
        { id: "turn", type: "llang", nodes: ["L", "M"], value: (5 * Math.PI) / 4, reverse: [false, true] },
        { id: "on", type: "pldis", nodes: ["A", "M"], value: 0 },
      ],
    },
  ],
];

/** Every call a host makes, answered by both sketches alike. */
function assertSame(built, loaded, what) {
  assert.deepEqual(built.coordinates(), loaded.coordinates(), `${what}: coordinates`);
  assert.deepEqual(built.document(), loaded.document(), `${what}: document`);
}

for (const [name, description] of examples) {
  test(`${name}: built from objects as loaded from its text`, async () => {
    const built = await Sketch.create();
    const loaded = await Sketch.create();
    const b = built.build(description, name);
    assert.equal(b.ok, true, b.error);
    const l = loaded.load(JSON.stringify(fileOf(description)), name);
    assert.equal(l.ok, true, l.error);
    assert.equal(b.nodes, l.nodes);
    assert.equal(b.relations, l.relations);
    assertSame(built, loaded, "as built");

    const analysis = built.analyse();
    assert.deepEqual(analysis, loaded.analyse());
    assert.deepEqual(built.diagnostics(), loaded.diagnostics());

    // Each of the first dimensions changed by 2 %, one after the other, and a point dragged.
    const dims = loaded.document().relations.filter((r) => r.value !== undefined && r.type !== "rad" && r.value > 0);
    for (const r of dims.slice(0, 4)) {
      const value = r.type === "llang" ? (r.value * 1.02) % (description.angleUnit === "rad" ? 2 * Math.PI : 360) : r.value * 1.02;
      assert.deepEqual(built.drive({ [r.id]: value }), loaded.drive({ [r.id]: value }), `${name}: drive ${r.id}`);
      assertSame(built, loaded, `after ${r.id}`);
    }
    const free = analysis.stripped.find((id) => description.points.some((p) => p.id === id && !p.fixed));
    if (free) {
      const at = built.coordinates()[free];
      assert.deepEqual(built.drag(free, at.x + 0.5, at.y - 0.25), loaded.drag(free, at.x + 0.5, at.y - 0.25));
      assertSame(built, loaded, `after dragging ${free}`);
    }
  });
}

test("fixed flags hold their nodes as fix relations do", async () => {
  const sketch = await Sketch.create();
  const f = triangle();
  assert.equal(sketch.build(familyDescription(f)).ok, true);
  assert.deepEqual(
    sketch.document().relations.filter((r) => r.type === "fix").map((r) => [r.id, r.nodes[0]]),
    [["fix:P0", "P0"], ["fix:P1", "P1"]],
  );
  assert.equal(sketch.analyse().ok, true);
  assert.equal(sketch.drive({ D0: f.newValue }).ok, true);
  const at = sketch.coordinates();
  assert.deepEqual([at.P0, at.P1], [f.points[0], f.points[1]]);
  assert.ok(Math.abs(Math.hypot(at.P2.x, at.P2.y) - f.newValue) < 1e-9);
});

test("a description the sketch cannot be built from is refused at its place, the old sketch kept", async () => {
  const sketch = await Sketch.create();
  const good = familyDescription(triangle());
  assert.equal(sketch.build(good, "good").ok, true);
  const p = (id, x = 0, y = 0) => ({ id, x, y });
  const line = { id: "L", x: 0, y: 0, dx: 1, dy: 0 };
  const cases = [
    [{ points: [p("A"), p("A")] }, /points\[1\]\.id: duplicate id "A"/],
    [{ points: { A: p("A") } }, /points: expected an array of points/],
    [{ points: [null] }, /points\[0\]\.id: expected a string/],
    [{ points: [{ x: 1, y: 2 }] }, /points\[0\]\.id: expected a string/],
    [{ points: [p("A", NaN)] }, /points\[0\]: the number is not finite/],
    [{ points: [p("A", 2e9)] }, /absurdly large/],
    [{ points: [p("A")], lines: [{ ...line, dx: 0 }] }, /: lines\[0\]\.direction: the direction is zero/],
    [{ points: [p("A")], lines: [line], circles: [{ id: "c", x: 0, y: 0, radius: 0 }] }, /: circles\[0\]\.radius: a radius must be greater than 0/],
    [{ points: [p("A")], relations: [{ id: "r", type: "ppdis", nodes: ["A", "B"], value: 1 }] }, /relations\[0\]\.nodes\[1\]: no node has the id "B"/],
    [{ points: [p("A")], relations: [{ id: "r", type: "glue", nodes: ["A"] }] }, /relations\[0\]\.type: unknown relation type "glue"/],
    [{ points: [p("A")], lines: [line], relations: [{ id: "r", type: "pldis", nodes: ["L", "A"], value: 1 }] }, /relations\[0\]\.nodes\[0\]: "L" is a line; a pldis joins a point/],
    [{ points: [p("A"), p("B")], relations: [{ id: "r", type: "ppdis", nodes: ["A", "B"], value: -1 }] }, /relations\[0\]\.value: a distance cannot be negative/],
    [{ points: [p("A"), p("B")], relations: [{ id: "r", type: "ppdis", nodes: ["A", "A"], value: 1 }] }, /joins "A" to itself/],
    [{ points: [p("A"), p("B")], relations: [{ id: "r", type: "ppdis", nodes: ["A", "B"] }] }, /relations\[0\]: missing field "value"/],
    [{ points: [p("A")], relations: [{ id: "r", type: "fix", nodes: ["A"], value: 2 }] }, /a fix has no value/],
    [{ points: [p("A")], relations: [{ id: "r", type: "fix", nodes: ["A", "A", "A"] }] }, /relations\[0\]\.nodes: expected one or two/],
    [{ lines: [line, { ...line, id: "M" }], relations: [{ id: "r", type: "llang", nodes: ["L", "M"], value: 360 }] }, /an angle must lie in \[0, 360\)/],
    [{ points: [p("A"), p("B")], lines: [line], relations: [{ id: "r", type: "ppdis", nodes: ["A", "B"], value: 1, reverse: [true, false] }] }, /only an llang has "reverse"/],
    [{ points: [p("A"), p("B")], relations: [{ id: "A", type: "ppdis", nodes: ["A", "B"], value: 1 }] }, /relations\[0\]/],
    [
      {
        points: [p("A"), p("B"), p("C")],
        lines: [line, { ...line, id: "M", dy: 1 }],
        values: [{ id: "v", value: 1 }],
        relations: [
          { id: "r", type: "ppdis", nodes: ["A", "B"], shared: "v" },
          { id: "s", type: "llang", nodes: ["L", "M"], shared: "v" },
        ],
      },
      /relations\[1\]\.shared: value "v" is shared by an angle and a distance/,
    ],
  ];
  for (const [description, message] of cases) {
    const result = sketch.build(description, "bad");
    assert.equal(result.ok, false, JSON.stringify(description));
    assert.match(result.error, message);
    assert.match(result.error, /^bad: /);
    assert.equal(sketch.lastError, result.error);
    assert.deepEqual(Object.keys(sketch.coordinates()), ["P0", "P1", "P2"]);
  }
  assert.equal(sketch.drive({ D0: 30 }).ok, true);
});

test("sketches large enough to grow the module's memory are read back from the grown memory", async () => {
  // The arrays live in the module's memory; once a call grows it (building 12,000 points
  // does), a view of the memory taken earlier reads a detached buffer.
  const sketch = await Sketch.create();
  for (const size of [500, 4000, 12000]) {
    const f = truss(size);
    assert.equal(sketch.build(familyDescription(f)).ok, true);
    const analysis = sketch.analyse();
    assert.equal(analysis.ok, true);
    assert.equal(analysis.clusters[0].nodes.length + analysis.stripped.length, size);
    assert.equal(sketch.drive({ D0: f.newValue }).ok, true);
    const at = sketch.coordinates();
    const verdict = judge(f, f.points.map((_, i) => at[`P${i}`]));
    assert.ok(verdict.ok, `truss ${size}: off by ${verdict.worst}, ${verdict.flipped} flipped`);
  }
});
