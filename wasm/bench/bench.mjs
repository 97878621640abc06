// Qsolver's WebAssembly module against @salusoft89/planegcs in the same JavaScript engine, on the
// same sketches. Both timed regions start from the same plain description (points, fixed
// points, distances) and cover the same work: making the solver object, handing it the sketch,
// analysing it (the peer: solving it as given), changing one dimension and solving again, and
// reading every point's coordinates back as objects. Ours is timed twice: built from objects,
// and loaded from JSON text written outside the timed region. Times are medians of repeated
// runs; a solve counts only when every distance holds to 1e-6, the fixed points stayed and no
// triangle turned over.
//   node wasm/bench/bench.mjs [--quick] [--markdown]
import path from "node:path";
import { fileURLToPath, pathToFileURL } from "node:url";
import { init_planegcs_module, GcsWrapper } from "@salusoft89/planegcs";
import { triangle, truss, grid, linkage, judge } from "./families.mjs";

const root = path.resolve(path.dirname(fileURLToPath(import.meta.url)), "../..");
const moduleDir = process.env.QSOLVER_WASM_DIR ?? path.join(root, "build/wasm");
const { Sketch } = await import(pathToFileURL(path.join(moduleDir, "qsolver.js")).href);

const quick = process.argv.includes("--quick");
// An older module (QSOLVER_WASM_DIR) reads text only: then only the text column is measured.
const canBuild = typeof Sketch.prototype.build === "function";
const markdown = process.argv.includes("--markdown");
// A solver that took longer than this on a size is not run on the larger ones.
const giveUpMs = quick ? 2000 : 20000;

const cases = [
  ["triangle", [1], () => triangle()],
  ["linkage", quick ? [10, 100] : [10, 100, 1000], linkage],
  ["truss", quick ? [10, 100] : [10, 100, 1000, 10000], truss],
  ["grid", quick ? [3, 10] : [3, 10, 32, 100], grid],
];

function qsolverText(f) {
  return JSON.stringify({
    nodes: f.points.map((p, i) => ({ id: `P${i}`, type: "point", at: [p.x, p.y] })),
    relations: [
      ...f.fixed.map((i) => ({ id: `F${i}`, type: "fix", nodes: [`P${i}`] })),
      ...f.distances.map((d, i) => ({ id: `D${i}`, type: "ppdis", nodes: [`P${d.a}`, `P${d.b}`], value: d.value })),
    ],
  });
}

/** Ours from the description: built from objects, or read from `text` when given. */
function runQsolver(f, module, text = null) {
  const start = performance.now();
  const sketch = new Sketch(module);
  let loaded;
  if (text === null) {
    const fixed = new Set(f.fixed);
    loaded = sketch.build({
      points: f.points.map((p, i) => ({ id: `P${i}`, x: p.x, y: p.y, fixed: fixed.has(i) })),
      relations: f.distances.map((d, i) => ({ id: `D${i}`, type: "ppdis", nodes: [`P${d.a}`, `P${d.b}`], value: d.value })),
    });
  } else {
    loaded = sketch.load(text, `${f.name}.json`);
  }
  const loadMs = performance.now() - start;
  const analysis = loaded.ok && sketch.analyse();
  const driven = analysis?.ok && sketch.drive({ [`D${f.changed}`]: f.newValue });
  const at = driven?.ok ? sketch.coordinates() : null;
  const ms = performance.now() - start;
  sketch.delete();
  const verdict = at ? judge(f, f.points.map((_, i) => at[`P${i}`])) : { ok: false, worst: NaN, flipped: 0 };
  return { ms, loadMs, ...verdict };
}

function runPeer(f, mod) {
  const start = performance.now();
  const gcs = new GcsWrapper(new mod.GcsSystem());
  gcs.push_sketch_param("changed", f.distances[f.changed].value);
  const fixed = new Set(f.fixed);
  const primitives = f.points.map((p, i) => ({ id: `P${i}`, type: "point", x: p.x, y: p.y, fixed: fixed.has(i) }));
  f.distances.forEach((d, i) =>
    primitives.push({ id: `D${i}`, type: "p2p_distance", p1_id: `P${d.a}`, p2_id: `P${d.b}`, distance: i === f.changed ? "changed" : d.value }),
  );
  gcs.push_primitives_and_params(primitives);
  const first = gcs.solve();
  gcs.apply_solution();
  gcs.set_sketch_param("changed", f.newValue);
  const second = gcs.solve();
  gcs.apply_solution();
  const byId = new Map(gcs.sketch_index.get_primitives().map((p) => [p.id, p]));
  const ms = performance.now() - start;
  gcs.destroy_gcs_module();
  let verdict = { ok: false, worst: NaN, flipped: 0 };
  if (first === 0 && second === 0) verdict = judge(f, f.points.map((_, i) => byId.get(`P${i}`)));
  return { ms, ...verdict };
}

/** Runs `run` uncounted three times and for at least a tenth of a second (once when a run is
 * over the give-up time). */
function warm(run) {
  if (!run) return;
  const start = performance.now();
  for (let k = 0; k < 3 || performance.now() - start < 100; ++k) {
    if (run().ms >= giveUpMs) return;
  }
}

/** Median of runs: at least 5 and about a third of a second of them, at most 500 (one when a
 * run is over the give-up time). */
function measure(run) {
  const runs = [run()];
  let total = runs[0].ms;
  while (runs.length < 500 && (runs.length < 5 || total < 300) && runs[0].ms < giveUpMs) {
    runs.push(run());
    total += runs.at(-1).ms;
  }
  const sorted = [...runs].sort((a, b) => a.ms - b.ms);
  return { ...sorted[Math.floor(sorted.length / 2)], ok: runs.every((r) => r.ok), runs: runs.length };
}

const module = await (await import(pathToFileURL(path.join(moduleDir, "qsolver.js")).href)).loadQsolver();
let peer = await init_planegcs_module();
// Both engines compile WebAssembly lazily and optimise a function only once it is hot: warm
// both up on every family first, so that no row measures baseline code.
for (let i = 0; i < 200; ++i) {
  for (const f of [triangle(), truss(30), grid(5), linkage(10)]) {
    if (canBuild) runQsolver(f, module);
    runQsolver(f, module, qsolverText(f));
    runPeer(f, peer);
  }
}
const rows = [];
for (const [name, sizes, make] of cases) {
  const tooSlow = { qsolver: false, text: false, peer: false };
  for (const size of sizes) {
    const f = make(size);
    const text = qsolverText(f);
    // The engine optimises a solver's hot functions during its first runs at a new size: each
    // solver and path runs a few times first, so that none pays for it in its timed runs.
    const build = tooSlow.qsolver || !canBuild ? null : () => runQsolver(f, module);
    const fromText = tooSlow.text ? null : () => runQsolver(f, module, text);
    warm(build);
    warm(fromText);
    const q = build && measure(build);
    const t = fromText && measure(fromText);
    let p = null;
    if (!tooSlow.peer) {
      try {
        warm(() => runPeer(f, peer));
        p = measure(() => runPeer(f, peer));
      } catch (error) {
        // The peer's module aborts when its memory runs out, and is dead afterwards.
        p = { ms: NaN, ok: false, refused: String(error.message ?? error).split(".")[0] };
        tooSlow.peer = true;
        peer = await init_planegcs_module();
      }
    }
    if (q && q.ms > giveUpMs) tooSlow.qsolver = true;
    if (t && t.ms > giveUpMs) tooSlow.text = true;
    if (p && p.ms > giveUpMs) tooSlow.peer = true;
    rows.push({ family: name, size, points: f.points.length, distances: f.distances.length, q, t, p });
    if (!markdown) {
      const show = (r) => (r?.refused ? r.refused : r ? `${r.ms.toFixed(3)} ms ${r.ok ? "solved" : "FAILED"}` : "skipped");
      console.log(`${name} ${size}: qsolver ${show(q)}, from text ${show(t)}, peer ${show(p)}`);
    }
  }
}

const fmt = (r) => (r?.refused ? r.refused : r ? `${r.ms < 10 ? r.ms.toFixed(3) : r.ms.toFixed(1)}${r.ok ? "" : " (failed)"}` : "not run");
const lines = [
  "| family | size | points | distances | Qsolver-wasm ms | of which building | from JSON text ms | of which reading | planegcs ms | ratio |",
  "|---|---:|---:|---:|---:|---:|---:|---:|---:|---:|",
  ...rows.map(({ family: name, size, points, distances, q, t, p }) => {
    const ours = q ?? t;
    const ratio = ours && p && ours.ok && p.ok ? `${(p.ms / ours.ms).toFixed(1)}x` : "–";
    const load = (r) => (r ? fmt({ ms: r.loadMs, ok: true }) : "–");
    return `| ${name} | ${size} | ${points} | ${distances} | ${fmt(q)} | ${load(q)} | ${fmt(t)} | ${load(t)} | ${fmt(p)} | ${ratio} |`;
  }),
];
console.log((markdown ? "" : "\n") + lines.join("\n"));
const lost = rows.filter((r) => r.p?.ok && !((r.q?.ok || !canBuild) && r.t?.ok));
if (lost.length > 0) {
  console.log(`Qsolver failed where the peer solved: ${lost.map((r) => `${r.family} ${r.size}`).join(", ")}`);
  process.exitCode = 1;
}
