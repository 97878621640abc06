// The sketcher in headless chromium: open the triangle and the linkage, change a dimension,
// drag a point, undo and redo, and check what is drawn against the geometry it must show.
import { test, before, after } from "node:test";
import assert from "node:assert/strict";
import { mkdirSync } from "node:fs";
import path from "node:path";
import { fileURLToPath } from "node:url";
import { chromium } from "playwright-core";
import { startServer } from "../serve.mjs";

const root = path.resolve(path.dirname(fileURLToPath(import.meta.url)), "../..");
const artefacts = process.env.QSOLVER_WEB_ARTEFACTS ?? path.join(root, "build/web-test");
const browserPath = process.env.CHROMIUM ?? "/usr/bin/chromium";

let server;
let browser;
let page;
const errors = [];

before(async () => {
  server = await startServer({ port: 0, wasmDir: process.env.QSOLVER_WASM_DIR });
  browser = await chromium.launch({ executablePath: browserPath, args: ["--no-sandbox"] });
  page = await browser.newPage({ viewport: { width: 1000, height: 700 } });
  page.on("pageerror", (e) => errors.push(e.message));
  page.setDefaultTimeout(15000);
  await page.goto(`http://127.0.0.1:${server.address().port}/`);
  await page.waitForSelector("body[data-ready=true]");
});

after(async () => {
  await browser?.close();
  await new Promise((resolve) => server?.close(resolve) ?? resolve());
});

/** The drawn points: world coordinates and status class, by id. */
async function points() {
  return page.$$eval("circle.point", (dots) =>
    Object.fromEntries(
      dots.map((d) => [d.dataset.id, { x: Number(d.dataset.x), y: Number(d.dataset.y), cls: d.getAttribute("class") }]),
    ),
  );
}

async function open(example, description) {
  await page.selectOption("#example", example);
  await page.waitForFunction((d) => document.getElementById("description").textContent.includes(d), description);
}

const near = (a, b, tol = 1e-6) => Math.abs(a - b) < tol;

test("the triangle opens, a side is changed through its dimension, and undo brings it back", async () => {
  await open("triangle", "A triangle");
  let p = await points();
  assert.ok(near(p.C.x, 25) && near(p.C.y, 43.30127018922193));
  assert.match(p.A.cls, /fixed/);
  assert.match(await page.textContent("#verdict"), /well constrained/);
  const freedoms = await page.textContent("#freedoms");
  assert.match(freedoms, /^(0|n\/a)/);

  await page.click("text.dim[data-rel=ac]");
  await page.fill("#dim-value", "60");
  await page.press("#dim-value", "Enter");
  await page.waitForFunction(() => document.querySelector("text.dim[data-rel=ac]").textContent === "60");
  p = await points();
  assert.ok(near(p.C.x, 30) && near(p.C.y, 60 * Math.sin(Math.PI / 3)));
  assert.ok(near(p.A.x, 0) && near(p.A.y, 0) && near(p.B.x, 80));
  assert.match(await page.textContent("#solve-time"), /ms \(ac = 60\)/);

  await page.click("#undo");
  p = await points();
  assert.ok(near(p.C.x, 25));
  await page.click("#redo");
  p = await points();
  assert.ok(near(p.C.x, 30));
});

test("a dimension the sketch cannot take is refused and the drawing stays", async () => {
  await open("triangle", "A triangle");
  await page.click("text.dim[data-rel=d1]");
  await page.fill("#dim-value", "-3");
  await page.press("#dim-value", "Enter");
  await page.waitForSelector("#message.error");
  assert.match(await page.textContent("#message"), /negative/);
  assert.ok(near((await points()).B.x, 80));
});

test("the linkage's crank end is dragged round its pivot, every bar keeping its length", async () => {
  await open("linkage", "free crank");
  const freedoms = await page.textContent("#freedoms");
  assert.match(freedoms, /^(1|n\/a)/);
  // Drag A towards the world point (0, 45): the crank holds it 40 from O1.
  const target = await page.evaluate(() => {
    const { view } = window.qsolverSketcher.state;
    const box = document.getElementById("canvas").getBoundingClientRect();
    return { x: box.left + view.ox, y: box.top + view.oy - 45 * view.scale };
  });
  const from = await page.$eval("circle.point[data-id=A]", (d) => {
    const b = d.getBoundingClientRect();
    return { x: b.left + b.width / 2, y: b.top + b.height / 2 };
  });
  await page.mouse.move(from.x, from.y);
  await page.mouse.down();
  for (let i = 1; i <= 5; ++i) {
    await page.mouse.move(from.x + ((target.x - from.x) * i) / 5, from.y + ((target.y - from.y) * i) / 5);
  }
  await page.mouse.up();
  const p = await points();
  const d = (a, b) => Math.hypot(p[a].x - p[b].x, p[a].y - p[b].y);
  assert.ok(Math.abs(p.A.x) < 0.5 && near(p.A.y, 40, 0.1), `A at ${p.A.x}, ${p.A.y}`);
  assert.ok(near(d("O1", "A"), 40) && near(d("A", "B"), 90) && near(d("O2", "B"), 70));
  assert.ok(near(p.O1.x, 0) && near(p.O2.x, 100));
  assert.match(await page.textContent("#solve-time"), /drag/);
  mkdirSync(artefacts, { recursive: true });
  await page.screenshot({ path: path.join(artefacts, "sketcher-linkage.png") });

  await page.click("#undo");
  assert.ok(near((await points()).A.x, 20));
});

test("the over-constrained triangle shows its verdict", async () => {
  await open("overconstrained", "Over-constrained");
  assert.doesNotMatch(await page.textContent("#verdict"), /^well/);
  const available = await page.evaluate(() => window.qsolverSketcher.state.diagnostics.available);
  if (available) {
    assert.ok((await page.$$("#conflicts li")).length > 0);
    assert.ok((await page.$$("text.dim.conflict, line.bar.conflict")).length > 0);
  }
  await page.screenshot({ path: path.join(artefacts, "sketcher-overconstrained.png") });
  assert.deepEqual(errors, []);
});

test("a CAD sketch of format 2: arcs and dashed construction drawn, dimensions driven and undone", async () => {
  await open("slot-cad", "A slot");
  // Two arcs, two outline sides, the construction axis dashed; the reference in parentheses.
  assert.equal((await page.$$("path.arc")).length, 2);
  assert.equal((await page.$$("line.segment:not(.construction)")).length, 2);
  assert.equal(await page.$eval("line.segment[data-id=axis]", (l) => getComputedStyle(l).strokeDasharray), "6px, 4px");
  assert.equal(await page.textContent("text.dim[data-rel=overall]"), "(40)");
  assert.equal(await page.textContent("text.dim[data-rel=width]"), "⌀16");
  assert.match(await page.textContent("#verdict"), /well constrained/);
  assert.match(await page.textContent("#freedoms"), /^\d+$/);
  let p = await points();
  assert.match(p.C1.cls, /fixed/);

  await page.click("text.dim[data-rel=centres]");
  await page.fill("#dim-value", "60");
  await page.press("#dim-value", "Enter");
  await page.waitForFunction(() => document.querySelector("text.dim[data-rel=centres]").textContent === "60");
  p = await points();
  assert.ok(near(p.C2.x, 60) && near(p.T2.x, 60) && near(p.B2.y, -8));
  // The reference follows what the geometry measures.
  assert.equal(await page.textContent("text.dim[data-rel=overall]"), "(60)");
  // The right arc is drawn round its centre, from B2 to T2 counter-clockwise: through the right.
  const box = await page.$eval("path.arc[data-id=rightEnd]", (a) => {
    const b = a.getBBox();
    return { x: b.x, width: b.width };
  });
  const c2 = await page.$eval("circle.point[data-id=C2]", (d) => Number(d.getAttribute("cx")));
  assert.ok(box.x >= c2 - 1 && box.x + box.width > c2 + 5, `arc box ${JSON.stringify(box)} centre ${c2}`);

  await page.click("text.dim[data-rel=width]");
  await page.fill("#dim-value", "20");
  await page.press("#dim-value", "Enter");
  await page.waitForFunction(() => document.querySelector("text.dim[data-rel=width]").textContent === "⌀20");
  p = await points();
  assert.ok(near(p.T1.y, 10) && near(p.B2.y, -10));
  mkdirSync(artefacts, { recursive: true });
  await page.screenshot({ path: path.join(artefacts, "sketcher-slot-cad.png") });
  // Every dimension's label lies inside the drawing (the arcs' radii count in the view's fit).
  const outside = await page.$$eval("text.dim", (texts) => {
    const c = document.getElementById("canvas").getBoundingClientRect();
    return texts
      .filter((t) => {
        const b = t.getBoundingClientRect();
        return b.left < c.left || b.right > c.right || b.top < c.top || b.bottom > c.bottom;
      })
      .map((t) => t.dataset.rel);
  });
  assert.deepEqual(outside, []);

  await page.click("#undo");
  await page.waitForFunction(() => document.querySelector("text.dim[data-rel=width]").textContent === "⌀16");
  assert.ok(near((await points()).T1.y, 8));
});

test("the gear lever's free knob is dragged: the lever turns about its pivot", async () => {
  await open("gear-lever", "gear lever");
  // The same lever without its shift angle, so that the knob is free to move.
  const text = await page.evaluate(async () => (await fetch("/examples/gear-lever.json")).text());
  const free = JSON.parse(text);
  free.constraints = free.constraints.filter((c) => c.id !== "shift");
  await page.evaluate((t) => window.qsolverSketcher.open(t, "free-lever.json"), JSON.stringify(free));
  assert.equal(await page.textContent("#freedoms"), "1");
  const from = await page.$eval("circle.point[data-id=K]", (d) => {
    const b = d.getBoundingClientRect();
    return { x: b.left + b.width / 2, y: b.top + b.height / 2 };
  });
  await page.mouse.move(from.x, from.y);
  await page.mouse.down();
  for (let i = 1; i <= 5; ++i) await page.mouse.move(from.x + 12 * i, from.y + 4 * i);
  await page.mouse.up();
  const p = await points();
  assert.ok(near(Math.hypot(p.K.x - p.P.x, p.K.y - p.P.y), 120), "the upper arm keeps its length");
  assert.ok(near(p.S.y, -60), "the rod's end stays on the guide");
  assert.ok(p.K.x > -20.8, `K moved right: ${p.K.x}`);
  await page.screenshot({ path: path.join(artefacts, "sketcher-gear-lever.png") });
  assert.deepEqual(errors, []);
});
