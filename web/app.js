// The sketcher: draws a sketch in its status colours, drives it by its dimensions and drags its
// points through Qsolver's WebAssembly module, with undo and redo over whole sketch states.
// Sketches of format 1 are nodes and relations; of format 2, segments, arcs, circles and lines
// with CAD constraints, construction geometry dashed.
import { Sketch } from "/wasm/qsolver.js";

const SVG = "http://www.w3.org/2000/svg";
const $ = (id) => document.getElementById(id);
const canvas = $("canvas");

const sketch = await Sketch.create();
const state = {
  name: "",
  doc: null,
  diagnostics: { available: false },
  analysis: null,
  view: null, // world-to-screen: {scale, ox, oy}
  undo: [],
  redo: [],
  drag: null,
};

// ---- Loading and history

function open(text, name) {
  const start = performance.now();
  const loaded = sketch.load(text, name);
  if (!loaded.ok) {
    say(loaded.error, true);
    return false;
  }
  state.name = name;
  state.undo = [];
  state.redo = [];
  state.view = null;
  refresh();
  showTime("open and analyse", performance.now() - start);
  say(`Opened ${name}.`);
  return true;
}

async function openExample(name) {
  const response = await fetch(`/examples/${name}.json`);
  if (!response.ok) {
    say(`examples/${name}.json: ${response.status} ${response.statusText}`, true);
    return;
  }
  open(await response.text(), `${name}.json`);
}

/** Runs a change; keeps it in the history when it worked, says why when it did not. */
function change(what, run) {
  const before = sketch.save();
  const start = performance.now();
  const result = run();
  showTime(what, performance.now() - start);
  if (!result.ok) {
    say(result.error ?? "the solver could not do that", true);
    sketch.clearError();
    return result;
  }
  state.undo.push(before);
  state.redo = [];
  refresh();
  say(`${what}: done.`);
  return result;
}

function restore(from, to) {
  if (from.length === 0) return;
  to.push(sketch.save());
  sketch.load(from.pop(), state.name);
  refresh();
}

// ---- What the page shows

function say(text, error = false) {
  $("message").textContent = text;
  $("message").className = error ? "error" : "";
}

function showTime(what, ms) {
  $("solve-time").textContent = `${ms < 10 ? ms.toFixed(2) : ms.toFixed(1)} ms (${what})`;
}

function refresh({ quick = false } = {}) {
  state.doc = sketch.document();
  if (!quick) {
    state.analysis = sketch.analyse();
    state.diagnostics = sketch.diagnostics();
  }
  // A drive may move geometry out of sight: fit the view again then (never while dragging).
  if (!state.view || (!quick && !inView(state.doc))) state.view = fit(state.doc);
  draw();
  panel();
}

function panel() {
  const { analysis, diagnostics, doc } = state;
  $("description").textContent = doc.description;
  $("verdict").textContent = analysis ? analysis.verdictText : "–";
  $("freedoms").textContent = diagnostics.available
    ? String(diagnostics.dof)
    : "n/a (this build has no diagnostics)";
  const list = $("conflicts");
  list.replaceChildren();
  for (const [id, why] of troubles()) {
    const item = document.createElement("li");
    item.textContent = `${id}: ${why}`;
    item.className = "over-constrained";
    list.append(item);
  }
  $("undo").disabled = state.undo.length === 0;
  $("redo").disabled = state.redo.length === 0;
}

/** Relations to highlight, with why: conflicting, redundant or not holding. */
function troubles() {
  const out = new Map();
  const d = state.diagnostics;
  if (d.available) {
    for (const id of d.conflicting) out.set(id, "conflicting");
    for (const id of d.redundant) if (!out.has(id)) out.set(id, "redundant");
  }
  for (const off of state.analysis?.notHolding ?? []) {
    if (out.has(off.id)) continue;
    out.set(off.id, off.measured === undefined ? `off by ${round(off.error)}` : `measures ${round(off.measured)}, wants ${round(off.wanted)}`);
  }
  return out;
}

function statusOf(id) {
  const d = state.diagnostics;
  if (d.available) return d.nodes.find((n) => n.id === id)?.status ?? "unknown";
  const fixed = state.doc.format === 2
    ? state.doc.constraints.some((c) => c.type === "fix" && c.refs.includes(id))
    : state.doc.relations.some((r) => r.type === "fix" && r.nodes[0] === id);
  return fixed ? "fixed" : "unknown";
}

// ---- Drawing

function fit(doc) {
  const xs = [];
  const ys = [];
  for (const n of doc.nodes ?? doc.entities.filter((e) => e.x !== undefined && e.type !== "line")) {
    // A whole arc's circle: its radius label sits outside the curve.
    const r = n.type === "circle" || n.type === "arc" ? n.radius ?? 0 : 0;
    xs.push(n.x - r, n.x + r);
    ys.push(n.y - r, n.y + r);
  }
  if (xs.length === 0) xs.push(0, 1), ys.push(0, 1);
  const box = canvas.getBoundingClientRect();
  const w = Math.max(box.width, 200);
  const h = Math.max(box.height, 200);
  const spanX = Math.max(Math.max(...xs) - Math.min(...xs), 1e-9);
  const spanY = Math.max(Math.max(...ys) - Math.min(...ys), 1e-9);
  const scale = 0.7 * Math.min(w / spanX, h / spanY);
  const cx = (Math.max(...xs) + Math.min(...xs)) / 2;
  const cy = (Math.max(...ys) + Math.min(...ys)) / 2;
  return { scale, ox: w / 2 - cx * scale, oy: h / 2 + cy * scale };
}

/** Whether every point (and circle) lies inside the canvas at the current view. */
function inView(doc) {
  const box = canvas.getBoundingClientRect();
  return (doc.nodes ?? doc.entities).every((n) => {
    if (n.x === undefined || n.type === "line") return true;
    const r = (n.radius ?? 0) * state.view.scale;
    return sx(n.x) - r >= 0 && sx(n.x) + r <= box.width && sy(n.y) - r >= 0 && sy(n.y) + r <= box.height;
  });
}

const sx = (x) => state.view.ox + x * state.view.scale;
const sy = (y) => state.view.oy - y * state.view.scale;
const wx = (px) => (px - state.view.ox) / state.view.scale;
const wy = (py) => (state.view.oy - py) / state.view.scale;
const round = (v) => String(Math.round(v * 1000) / 1000);

function el(name, attrs, parent) {
  const node = document.createElementNS(SVG, name);
  for (const [k, v] of Object.entries(attrs)) node.setAttribute(k, v);
  parent.append(node);
  return node;
}

function draw() {
  if (state.doc.format === 2) {
    drawEntities();
    return;
  }
  const { doc } = state;
  const at = Object.fromEntries(doc.nodes.map((n) => [n.id, n]));
  const bad = troubles();
  canvas.replaceChildren();
  const geometry = el("g", {}, canvas);
  const labels = el("g", {}, canvas);

  for (const n of doc.nodes) {
    if (n.type === "line") {
      const len = Math.hypot(n.dx, n.dy);
      const far = 1e4 / state.view.scale;
      const ux = (n.dx / len) * far;
      const uy = (n.dy / len) * far;
      el("line", { class: "geom line", "data-id": n.id, x1: sx(n.x - ux), y1: sy(n.y - uy), x2: sx(n.x + ux), y2: sy(n.y + uy) }, geometry);
    } else if (n.type === "circle") {
      el("circle", { class: "geom circle", "data-id": n.id, cx: sx(n.x), cy: sy(n.y), r: n.radius * state.view.scale }, geometry);
    }
  }
  // Distances between points are drawn as bars, so a conflict has something to colour.
  for (const r of doc.relations) {
    if (r.type === "ppdis") {
      const [a, b] = r.nodes.map((id) => at[id]);
      el("line", { class: `geom bar${bad.has(r.id) ? " conflict" : ""}`, "data-rel": r.id, x1: sx(a.x), y1: sy(a.y), x2: sx(b.x), y2: sy(b.y) }, geometry);
    } else if ((r.type === "pldis" || r.type === "lldis") && r.value !== 0) {
      const [from, to] = distanceEnds(r.nodes.map((id) => at[id]), at);
      el("line", { class: "dimline", "data-rel": r.id, x1: sx(from.x), y1: sy(from.y), x2: sx(to.x), y2: sy(to.y) }, geometry);
    }
  }
  for (const r of doc.relations) {
    const place = dimensionPlace(r, at);
    if (!place) continue;
    const text = el("text", { class: `dim${bad.has(r.id) ? " conflict" : ""}`, "data-rel": r.id, x: place.x, y: place.y, "text-anchor": "middle" }, labels);
    const unit = r.type === "llang" ? (doc.angleUnit === "deg" ? "°" : " rad") : "";
    text.textContent = `${r.type === "rad" ? "R" : ""}${round(r.value)}${unit}`;
    text.addEventListener("click", (event) => editDimension(r, event));
  }
  for (const n of doc.nodes) {
    if (n.type !== "point") continue;
    const status = statusOf(n.id);
    const dot = el("circle", { class: `point ${status}`, "data-id": n.id, "data-x": n.x, "data-y": n.y, cx: sx(n.x), cy: sy(n.y), r: 6 }, labels);
    el("text", { class: "label", x: sx(n.x) + 8, y: sy(n.y) - 8 }, labels).textContent = n.id;
    if (status !== "fixed") dot.addEventListener("pointerdown", (event) => startDrag(n.id, event));
  }
}

/** Where a dimension's label goes, in screen units; null for relations without a number. */
function dimensionPlace(r, at) {
  if (r.value === undefined || r.type === "fix") return null;
  const [a, b] = r.nodes.map((id) => at[id]);
  switch (r.type) {
    case "ppdis": {
      const mx = (sx(a.x) + sx(b.x)) / 2;
      const my = (sy(a.y) + sy(b.y)) / 2;
      const len = Math.hypot(sx(b.x) - sx(a.x), sy(b.y) - sy(a.y)) || 1;
      return { x: mx - ((sy(b.y) - sy(a.y)) / len) * 12, y: my + ((sx(b.x) - sx(a.x)) / len) * 12 + 4 };
    }
    case "pldis":
    case "lldis": {
      if (r.value === 0) return null;
      const [from, to] = distanceEnds([a, b], at);
      return besideSpan(from, to);
    }
    case "llang": {
      const det = a.dx * b.dy - a.dy * b.dx;
      let x = a.x;
      let y = a.y;
      if (Math.abs(det) > 1e-12) {
        const t = ((b.x - a.x) * b.dy - (b.y - a.y) * b.dx) / det;
        x = a.x + t * a.dx;
        y = a.y + t * a.dy;
      }
      return { x: sx(x) + 30, y: sy(y) - 10 };
    }
    case "rad":
      return { x: sx(b.x) + b.radius * state.view.scale * 0.7, y: sy(b.y) - b.radius * state.view.scale * 0.7 };
    default:
      return null;
  }
}

// ---- Drawing a sketch of format 2

function drawEntities() {
  const { doc } = state;
  const at = Object.fromEntries(doc.entities.map((e) => [e.id, e]));
  const bad = troubles();
  canvas.replaceChildren();
  const geometry = el("g", {}, canvas);
  const labels = el("g", {}, canvas);
  const kind = (e, what) => `geom ${what}${e.construction ? " construction" : ""}`;

  for (const e of doc.entities) {
    if (e.type === "segment") {
      const [a, b] = e.points.map((id) => at[id]);
      el("line", { class: kind(e, "segment"), "data-id": e.id, x1: sx(a.x), y1: sy(a.y), x2: sx(b.x), y2: sy(b.y) }, geometry);
    } else if (e.type === "arc") {
      el("path", { class: kind(e, "arc"), "data-id": e.id, d: arcPath(e, at) }, geometry);
    } else if (e.type === "circle") {
      el("circle", { class: kind(e, "circle"), "data-id": e.id, cx: sx(e.x), cy: sy(e.y), r: e.radius * state.view.scale }, geometry);
    } else if (e.type === "line") {
      const len = Math.hypot(e.dx, e.dy);
      const far = 1e4 / state.view.scale;
      const ux = (e.dx / len) * far;
      const uy = (e.dy / len) * far;
      el("line", { class: kind(e, "infinite"), "data-id": e.id, x1: sx(e.x - ux), y1: sy(e.y - uy), x2: sx(e.x + ux), y2: sy(e.y + uy) }, geometry);
    }
  }
  for (const c of doc.constraints) {
    if (c.type !== "distance") continue;
    const [a, b] = distanceEnds(c.refs.map((id) => at[id]), at);
    el("line", { class: "dimline", "data-rel": c.id, x1: sx(a.x), y1: sy(a.y), x2: sx(b.x), y2: sy(b.y) }, geometry);
  }
  for (const c of doc.constraints) {
    if (c.value === undefined) continue;
    const place = constraintPlace(c, at);
    if (!place) continue;
    const cls = `dim${c.driven ? " reference" : ""}${bad.has(c.id) ? " conflict" : ""}`;
    const text = el("text", { class: cls, "data-rel": c.id, x: place.x, y: place.y, "text-anchor": "middle" }, labels);
    const unit = c.type === "angle" ? (doc.angleUnit === "deg" ? "°" : " rad") : "";
    const prefix = c.type === "radius" ? "R" : c.type === "diameter" ? "⌀" : "";
    const shown = `${prefix}${round(c.driven ? c.measured : c.value)}${unit}`;
    text.textContent = c.driven ? `(${shown})` : shown;
    if (!c.driven) text.addEventListener("click", (event) => editDimension(c, event));
  }
  for (const e of doc.entities) {
    if (e.type !== "point") continue;
    const status = statusOf(e.id);
    const dot = el("circle", { class: `point ${status}${e.construction ? " construction" : ""}`, "data-id": e.id, "data-x": e.x, "data-y": e.y, cx: sx(e.x), cy: sy(e.y), r: 5 }, labels);
    el("text", { class: "label", x: sx(e.x) + 7, y: sy(e.y) - 7 }, labels).textContent = e.id;
    if (status !== "fixed") dot.addEventListener("pointerdown", (event) => startDrag(e.id, event));
  }
}

/** An arc runs counter-clockwise from its start to its end, which on screen (y down) is SVG's
 * negative sweep. */
function arcPath(e, at) {
  const [, start, end] = e.points.map((id) => at[id]);
  const a0 = Math.atan2(start.y - e.y, start.x - e.x);
  const a1 = Math.atan2(end.y - e.y, end.x - e.x);
  const sweep = (((a1 - a0) % (2 * Math.PI)) + 2 * Math.PI) % (2 * Math.PI);
  const r = e.radius * state.view.scale;
  const x1 = sx(e.x + e.radius * Math.cos(a1));
  const y1 = sy(e.y + e.radius * Math.sin(a1));
  return `M ${sx(start.x)} ${sy(start.y)} A ${r} ${r} 0 ${sweep > Math.PI ? 1 : 0} 0 ${x1} ${y1}`;
}

/** A line-like entity as a point and a direction: a segment's start and span, a line itself. */
function direction(e, at) {
  if (e.type === "segment") {
    const [a, b] = e.points.map((id) => at[id]);
    return { x: a.x, y: a.y, dx: b.x - a.x, dy: b.y - a.y, mx: (a.x + b.x) / 2, my: (a.y + b.y) / 2 };
  }
  return { x: e.x, y: e.y, dx: e.dx, dy: e.dy, mx: e.x, my: e.y };
}

/** Beside a span between two world points, on its left, in screen units. */
function besideSpan(a, b) {
  const mx = (sx(a.x) + sx(b.x)) / 2;
  const my = (sy(a.y) + sy(b.y)) / 2;
  const len = Math.hypot(sx(b.x) - sx(a.x), sy(b.y) - sy(a.y)) || 1;
  return { x: mx - ((sy(b.y) - sy(a.y)) / len) * 12, y: my + ((sx(b.x) - sx(a.x)) / len) * 12 + 4 };
}

/** The two world points a distance is measured between: two points, a point and its foot on a
 * line or segment, or a line's point and its foot on the other line. */
function distanceEnds(refs, at) {
  const [a, b] = refs;
  if (b.type === "point" && a.type !== "point") return distanceEnds([b, a], at);
  const from = a.type === "point" ? a : direction(a, at);
  if (b.type === "point") return [from, b];
  const d = direction(b, at);
  const len = Math.hypot(d.dx, d.dy) || 1;
  const t = ((from.x - d.x) * d.dx + (from.y - d.y) * d.dy) / len;
  return [from, { x: d.x + (t * d.dx) / len, y: d.y + (t * d.dy) / len }];
}

/** Where a dimension's label goes, in screen units. */
function constraintPlace(c, at) {
  const refs = c.refs.map((id) => at[id]);
  switch (c.type) {
    case "length": {
      const [a, b] = refs[0].points.map((id) => at[id]);
      return besideSpan(a, b);
    }
    case "distance": {
      const [a, b] = distanceEnds(refs, at);
      return besideSpan(a, b);
    }
    case "radius":
    case "diameter": {
      // Outside the curve, in the middle of an arc's sweep (up and right on a circle).
      const e = refs[0];
      let angle = Math.PI / 4;
      if (e.type === "arc") {
        const [, start, end] = e.points.map((id) => at[id]);
        const a0 = Math.atan2(start.y - e.y, start.x - e.x);
        const a1 = Math.atan2(end.y - e.y, end.x - e.x);
        angle = a0 + ((((a1 - a0) % (2 * Math.PI)) + 2 * Math.PI) % (2 * Math.PI)) / 2;
      }
      const r = e.radius * state.view.scale + 14;
      return { x: sx(e.x) + r * Math.cos(angle), y: sy(e.y) - r * Math.sin(angle) + 4 };
    }
    case "angle": {
      const a = direction(refs[0], at);
      const b = direction(refs[1], at);
      const det = a.dx * b.dy - a.dy * b.dx;
      let x = a.mx;
      let y = a.my;
      if (Math.abs(det) > 1e-12) {
        const t = ((b.x - a.x) * b.dy - (b.y - a.y) * b.dx) / det;
        x = a.x + t * a.dx;
        y = a.y + t * a.dy;
      }
      return { x: sx(x) + 30, y: sy(y) - 10 };
    }
    default:
      return null;
  }
}

// ---- Editing a dimension

let editing = null;

function editDimension(r, event) {
  editing = r;
  const form = $("dim-editor");
  $("dim-name").textContent = r.id;
  $("dim-value").value = String(r.value);
  form.style.left = `${event.pageX + 8}px`;
  form.style.top = `${event.pageY + 8}px`;
  form.hidden = false;
  $("dim-value").focus();
  $("dim-value").select();
}

$("dim-editor").addEventListener("submit", (event) => {
  event.preventDefault();
  $("dim-editor").hidden = true;
  const value = Number($("dim-value").value);
  if (editing && Number.isFinite(value)) {
    const id = editing.id;
    change(`${id} = ${value}`, () => sketch.drive({ [id]: value }));
  }
  editing = null;
});
$("dim-cancel").addEventListener("click", () => ($("dim-editor").hidden = true));

// ---- Dragging a point: each move is a drag solve

function startDrag(id, event) {
  event.preventDefault();
  canvas.setPointerCapture(event.pointerId);
  state.drag = { id, before: sketch.save(), moved: false, total: 0, count: 0 };
}

canvas.addEventListener("pointermove", (event) => {
  const drag = state.drag;
  if (!drag) return;
  const box = canvas.getBoundingClientRect();
  const start = performance.now();
  const result = sketch.drag(drag.id, wx(event.clientX - box.left), wy(event.clientY - box.top));
  drag.total += performance.now() - start;
  drag.count += 1;
  showTime(`drag, ${drag.count} moves, mean`, drag.total / drag.count);
  if (result.ok) {
    drag.moved = true;
    refresh({ quick: true });
  } else {
    say(result.error, true);
    sketch.clearError();
  }
});

function endDrag() {
  const drag = state.drag;
  if (!drag) return;
  state.drag = null;
  if (drag.moved) {
    state.undo.push(drag.before);
    state.redo = [];
    refresh();
    say(`Dragged ${drag.id}.`);
  }
}
canvas.addEventListener("pointerup", endDrag);
canvas.addEventListener("pointercancel", endDrag);

// ---- Controls

$("example").addEventListener("change", (event) => openExample(event.target.value));
$("file").addEventListener("change", async (event) => {
  const file = event.target.files[0];
  if (file) open(await file.text(), file.name);
  event.target.value = "";
});
$("undo").addEventListener("click", () => restore(state.undo, state.redo));
$("redo").addEventListener("click", () => restore(state.redo, state.undo));
$("save").addEventListener("click", () => {
  const link = document.createElement("a");
  link.href = URL.createObjectURL(new Blob([sketch.save()], { type: "application/json" }));
  link.download = state.name || "sketch.json";
  link.click();
});
document.addEventListener("keydown", (event) => {
  if (!(event.ctrlKey || event.metaKey) || event.target.tagName === "INPUT") return;
  if (event.key === "z") restore(state.undo, state.redo);
  if (event.key === "y") restore(state.redo, state.undo);
});

window.qsolverSketcher = { open, openExample, state };
await openExample($("example").value);
document.body.dataset.ready = "true";
