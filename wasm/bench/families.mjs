// The benchmark's sketches as plain geometry, the same for both solvers: points, fixes and
// point-to-point distances, the one dimension that is changed, and the triangles whose
// orientation a solve must keep. They follow the native benchmark's families.

const jitter = (i, salt) => (0.04 * (((i * 7 + salt * 13) % 11) - 5)) / 5.0;

function family(name) {
  return { name, points: [], fixed: [], distances: [], triangles: [], changed: -1, newValue: 0 };
}

function distance(f, a, b) {
  const p = f.points[a];
  const q = f.points[b];
  f.distances.push({ a, b, value: Math.hypot(q.x - p.x, q.y - p.y) });
}

function changeBy(f, index, factor) {
  f.changed = index;
  f.newValue = f.distances[index].value * factor;
}

/** One triangle: the base fixed, the apex at two distances; its left side changes. */
export function triangle() {
  const f = family("triangle");
  f.points.push({ x: 0, y: 0 }, { x: 80, y: 0 }, { x: 25, y: 43.30127018922193 });
  f.fixed.push(0, 1);
  distance(f, 0, 2);
  distance(f, 1, 2);
  f.triangles.push([0, 1, 2]);
  changeBy(f, 0, 1.2);
  return f;
}

/** A zigzag strip, each point at given distances from the two before it. */
export function truss(points) {
  const f = family("truss");
  for (let i = 0; i < points; ++i) f.points.push({ x: 0.5 * i + jitter(i, 1), y: (i % 2) * 0.9 + jitter(i, 2) });
  f.fixed.push(0, 1);
  for (let i = 2; i < points; ++i) {
    distance(f, i - 2, i);
    distance(f, i - 1, i);
    f.triangles.push([i - 2, i - 1, i]);
  }
  changeBy(f, 0, 1.02);
  return f;
}

/** An n x n grid: cell sides, and a diagonal in each cell of the first row and column. */
export function grid(n) {
  const f = family("grid");
  const id = (i, j) => j * n + i;
  for (let j = 0; j < n; ++j) {
    for (let i = 0; i < n; ++i) f.points.push({ x: i + jitter(i + 3 * j, 3), y: j + jitter(2 * i + j, 4) });
  }
  f.fixed.push(id(0, 0), id(1, 0));
  let changed = -1;
  for (let j = 0; j < n; ++j) {
    for (let i = 0; i < n; ++i) {
      if (i + 1 < n && !(i === 0 && j === 0)) distance(f, id(i, j), id(i + 1, j));
      if (j + 1 < n) {
        if (i === 0 && j === 0) changed = f.distances.length;
        distance(f, id(i, j), id(i, j + 1));
      }
      if (i + 1 < n && j + 1 < n) {
        if (j === 0 || i === 0) distance(f, id(i + 1, j), id(i, j + 1));
        f.triangles.push([id(i, j), id(i + 1, j), id(i, j + 1)]);
        f.triangles.push([id(i + 1, j), id(i + 1, j + 1), id(i, j + 1)]);
      }
    }
  }
  changeBy(f, changed, 1.02);
  return f;
}

/** Rigid triangles in a row, each joined to the one before by three bars; the first is fixed. */
export function linkage(links) {
  const f = family("linkage");
  const b = (k) => 3 * k;
  const c = (k) => 3 * k + 1;
  const e = (k) => 3 * k + 2;
  for (let k = 0; k <= links; ++k) {
    const x = 2.0 * k;
    f.points.push({ x: x + jitter(k, 8), y: jitter(k, 9) });
    f.points.push({ x: x + 1.0 + jitter(k, 10), y: 0.1 + jitter(k, 11) });
    f.points.push({ x: x + 0.5 + jitter(k, 12), y: 0.9 + jitter(k, 13) });
  }
  f.fixed.push(b(0), c(0), e(0));
  for (let k = 1; k <= links; ++k) {
    distance(f, b(k), c(k));
    distance(f, c(k), e(k));
    distance(f, e(k), b(k));
    distance(f, b(k - 1), b(k));
    distance(f, e(k - 1), c(k));
    distance(f, c(k - 1), e(k));
    f.triangles.push([b(k), c(k), e(k)], [b(k - 1), c(k - 1), e(k)], [e(k - 1), b(k), c(k)]);
  }
  changeBy(f, 3, 1.01);
  return f;
}

/** Whether solved points keep every relation (the changed one at its new value), the fixed
 *  points and every triangle's orientation; the largest error found. */
export function judge(f, solved) {
  let worst = 0;
  f.distances.forEach((d, i) => {
    const p = solved[d.a];
    const q = solved[d.b];
    const want = i === f.changed ? f.newValue : d.value;
    const e = Math.abs(Math.hypot(q.x - p.x, q.y - p.y) - want);
    if (!(e <= worst)) worst = e;
  });
  for (const i of f.fixed) {
    const e = Math.hypot(solved[i].x - f.points[i].x, solved[i].y - f.points[i].y);
    if (!(e <= worst)) worst = e;
  }
  const cross = (n, [a, b, c]) => (n[b].x - n[a].x) * (n[c].y - n[a].y) - (n[b].y - n[a].y) * (n[c].x - n[a].x);
  const flipped = f.triangles.filter((t) => !(cross(f.points, t) * cross(solved, t) > 0)).length;
  return { worst, flipped, ok: worst < 1e-6 && flipped === 0 };
}
