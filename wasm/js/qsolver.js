// Qsolver in JavaScript: sketches read from JSON text or built from plain objects, analysed,
// driven by their dimensions and dragged by their points. A sketch file of format 2 (entities
// and constraints) is held by the module's second session kind; every call then answers in its
// terms (constraint ids for dimensions, entity ids for points). No call throws for bad input or a
// failed solve: each answers with an object whose `ok` says whether it worked and whose `error`
// says why not.
//
// The calls a sketcher repeats pass numbers, not text: the module keeps two arrays (ints and
// doubles) that this file writes and reads in the module's memory, and nodes and relations
// travel as their index in the sketch. Ids cross once, when a sketch is built or first used.
import createQsolverModule from "./qsolver-wasm.mjs";

let modulePromise = null;

/** Loads the WebAssembly module once; later calls share it. */
export function loadQsolver() {
  modulePromise ??= createQsolverModule();
  return modulePromise;
}

const RELATION_TYPES = ["fix", "ppdis", "pldis", "lldis", "llang", "rad"];
const RELATION_CODE = new Map(RELATION_TYPES.map((t, i) => [t, i]));
// Flags of a packed relation (wasm/SketchPack.h).
const HAS_VALUE = 1;
const KNOWN = 2;
const REVERSE_FIRST = 4;
const REVERSE_SECOND = 8;

/** The words behind the module's codes, read once per module. */
const codeNames = new WeakMap();
function namesOf(module) {
  let names = codeNames.get(module);
  if (!names) {
    const groups = [[]];
    for (const word of module.codeNames().split("\0")) {
      if (word === "") groups.push([]);
      else groups.at(-1).push(word);
    }
    names = { verdictWords: groups[0], verdictTexts: groups[1], steps: groups[2] };
    codeNames.set(module, names);
  }
  return names;
}

/** What a packed description could not say, as a load failure. */
class Refusal {
  constructor(where, problem) {
    this.where = where;
    this.problem = problem;
  }
}

function idOf(item, where) {
  const id = item?.id;
  if (typeof id !== "string") throw new Refusal(`${where}.id`, `expected a string, found ${typeof id}`);
  if (id.includes("\0")) throw new Refusal(`${where}.id`, "an id cannot hold a NUL character");
  return id;
}

export class Sketch {
  #module;
  #session;
  #names;
  // The format-2 session, while the sketch loaded last is of format 2.
  #vocab = null;
  #vocabSession = null;
  // The session whose lastError counts: the one a failed load of the other format used.
  #failedLoad = null;
  // The sketch's ids and kinds in file order; null until a call needs them after a text load.
  #catalogue = null;

  /** Use Sketch.create(); the module must be loaded first. */
  constructor(module) {
    this.#module = module;
    this.#session = new module.SketchSession();
    this.#names = namesOf(module);
  }

  static async create() {
    return new Sketch(await loadQsolver());
  }

  /** 1 or 2: the format of the sketch held, which decides the shape of document(). */
  get format() {
    return this.#vocab ? 2 : 1;
  }

  /** Reads sketch text of either format (an object is written as JSON first); `name` names it
   * in errors. */
  load(text, name = "sketch.json") {
    const source = typeof text === "string" ? text : JSON.stringify(text);
    const result = JSON.parse(this.#session.load(source, name));
    // The reader of format 1 names format 2 when it meets it; reading the text only once for
    // the common case is worth the second read for the other.
    if (!result.ok && result.where === "format" && result.problem.startsWith("a format 2 sketch")) {
      this.#session.clearError();
      this.#vocabSession ??= new this.#module.VocabSession();
      const vocab = JSON.parse(this.#vocabSession.load(source, name));
      if (vocab.ok) this.#vocab = this.#vocabSession;
      this.#failedLoad = vocab.ok ? null : this.#vocabSession;
      return vocab;
    }
    if (result.ok) {
      this.#catalogue = null;
      this.#vocab = null;
    }
    this.#failedLoad = result.ok ? null : this.#session;
    return result;
  }

  /**
   * Builds a sketch from objects, without JSON text: `points` [{id, x, y, fixed}], `lines`
   * [{id, x, y, dx, dy, dirFixed, fixed}], `circles` [{id, x, y, radius, fixed}], `values`
   * [{id, value, known}] and `relations` [{id, type, nodes, value, known, shared, reverse}] as in
   * a sketch file; `angleUnit` "deg" (the default) or "rad". A node marked fixed gets a fix
   * relation `fix:<id>`, before the listed relations. Nodes are numbered points first, then
   * lines, then circles.
   */
  build(description, name = "sketch") {
    try {
      const result = this.#build(description ?? {}, name);
      if (result.ok) this.#vocab = null;
      this.#failedLoad = result.ok ? null : this.#session;
      return result;
    } catch (error) {
      if (!(error instanceof Refusal)) throw error;
      const message = this.#session.refuse(name, error.where, error.problem);
      this.#failedLoad = this.#session;
      return { ok: false, error: message, file: name, where: error.where, problem: error.problem };
    }
  }

  #build(d, name) {
    const list = (key) => {
      const value = d[key] ?? [];
      if (!Array.isArray(value)) throw new Refusal(key, `expected an array of ${key}`);
      return value;
    };
    const points = list("points");
    const lines = list("lines");
    const circles = list("circles");
    const values = list("values");
    const relations = list("relations");
    const nodeCount = points.length + lines.length + circles.length;
    const fixed = [];
    for (const list of [points, lines, circles]) for (const n of list) if (n?.fixed) fixed.push(n);
    const relationCount = fixed.length + relations.length;

    const s = this.#session;
    const intCount = 4 + 2 * nodeCount + values.length + 5 * relationCount;
    const numberCount = 4 * nodeCount + values.length + relationCount;
    const intsAt = s.ints(intCount) >> 2;
    const numbersAt = s.numbers(numberCount) >> 3;
    const I = this.#module.HEAP32;
    const F = this.#module.HEAPF64;
    let i = intsAt;
    let f = numbersAt;
    I[i++] = nodeCount;
    I[i++] = values.length;
    I[i++] = relationCount;
    I[i++] = d.angleUnit === "rad" ? 1 : 0;

    let ids = "";
    const nodeIds = new Array(nodeCount);
    const nodeTypes = new Array(nodeCount);
    const nodeIndex = new Map();
    let k = 0;
    const node = (n, type, where, a, b, c, e) => {
      const id = idOf(n, where);
      if (nodeIndex.has(id)) throw new Refusal(`${where}.id`, `duplicate id "${id}"`);
      nodeIndex.set(id, k);
      nodeIds[k] = id;
      nodeTypes[k++] = type;
      ids += id + "\0";
      I[i++] = type;
      I[i++] = n.dirFixed ? 1 : 0;
      F[f++] = a;
      F[f++] = b;
      F[f++] = c;
      F[f++] = e;
    };
    points.forEach((n, j) => node(n, 0, `points[${j}]`, n?.x, n?.y, 0, 0));
    lines.forEach((n, j) => node(n, 1, `lines[${j}]`, n?.x, n?.y, n?.dx, n?.dy));
    circles.forEach((n, j) => node(n, 2, `circles[${j}]`, n?.x, n?.y, n?.radius, 0));

    const valueIndex = new Map();
    values.forEach((v, j) => {
      const id = idOf(v, `values[${j}]`);
      valueIndex.set(id, j);
      ids += id + "\0";
      I[i++] = v.known === false ? 0 : 1;
      F[f++] = typeof v.value === "number" ? v.value : NaN;
    });

    const relIds = new Array(relationCount);
    const relTypes = new Array(relationCount);
    let r = 0;
    for (const n of fixed) {
      relIds[r] = `fix:${n.id}`;
      relTypes[r++] = 0;
      ids += `fix:${n.id}\0`;
      I[i++] = 0;
      I[i++] = nodeIndex.get(n.id);
      I[i++] = -1;
      I[i++] = 0;
      I[i++] = -1;
      F[f++] = 0;
    }
    relations.forEach((rel, j) => {
      const where = `relations[${j}]`;
      const id = idOf(rel, where);
      const type = RELATION_CODE.get(rel.type);
      if (type === undefined) {
        throw new Refusal(`${where}.type`, `unknown relation type "${rel.type}" (expected ${RELATION_TYPES.join(", ")})`);
      }
      const ends = rel.nodes;
      if (!Array.isArray(ends) || ends.length < 1 || ends.length > 2) {
        throw new Refusal(`${where}.nodes`, "expected one or two node ids");
      }
      const at = ends.map((e, m) => {
        const index = nodeIndex.get(e);
        if (index === undefined) throw new Refusal(`${where}.nodes[${m}]`, `no node has the id "${e}"`);
        return index;
      });
      let shared = -1;
      if (rel.shared !== undefined) {
        shared = valueIndex.get(rel.shared) ?? -1;
        if (shared < 0) throw new Refusal(`${where}.shared`, `no entry of values has the id "${rel.shared}"`);
      }
      const hasValue = rel.value !== undefined;
      relIds[r] = id;
      relTypes[r++] = type;
      ids += id + "\0";
      I[i++] = type;
      I[i++] = at[0];
      I[i++] = at.length > 1 ? at[1] : -1;
      I[i++] =
        (hasValue ? HAS_VALUE : 0) |
        (rel.known === false ? 0 : KNOWN) |
        (rel.reverse?.[0] ? REVERSE_FIRST : 0) |
        (rel.reverse?.[1] ? REVERSE_SECOND : 0);
      I[i++] = shared;
      F[f++] = hasValue ? (typeof rel.value === "number" ? rel.value : NaN) : 0;
    });

    if (s.build(intCount, numberCount, ids, name) !== 1) {
      const error = s.lastError();
      const place = s.lastPlace();
      const problem = error.slice(error.indexOf(place) + place.length + 2);
      // The module numbers the nodes in one list; name the list the caller gave instead.
      const where = place.replace(/^nodes\[(\d+)\]/, (_, n) => {
        const k = Number(n);
        if (k < points.length) return `points[${k}]`;
        if (k < points.length + lines.length) return `lines[${k - points.length}]`;
        return `circles[${k - points.length - lines.length}]`;
      });
      const message = this.#session.refuse(name, where, problem);
      return { ok: false, error: message, file: name, where, problem };
    }
    this.#catalogue = { nodeIds, nodeTypes, relIds, relTypes };
    return { ok: true, nodes: nodeCount, relations: relationCount, description: "" };
  }

  #known() {
    if (this.#catalogue) return this.#catalogue;
    const s = this.#session;
    const ids = JSON.parse(s.ids());
    const nodeCount = s.kinds();
    const at = s.ints(0) >> 2;
    const I = this.#module.HEAP32;
    const relationCount = I[at + 1];
    this.#catalogue = {
      nodeIds: ids.slice(0, nodeCount),
      nodeTypes: Array.from(I.subarray(at + 2, at + 2 + nodeCount)),
      relIds: ids.slice(nodeCount, nodeCount + relationCount),
      relTypes: Array.from(I.subarray(at + 2 + nodeCount, at + 2 + nodeCount + relationCount)),
    };
    return this.#catalogue;
  }

  /** The relations not holding, from the arrays at (ints, numbers): count, then indices. */
  #notHolding(relIds, i, f) {
    const I = this.#module.HEAP32;
    const F = this.#module.HEAPF64;
    const count = I[i];
    if (count === 0) return [];
    const out = [];
    for (let k = 0; k < count; ++k) out.push({ id: relIds[I[i + 1 + k]], measured: F[f + 2 * k], wanted: F[f + 2 * k + 1] });
    return out;
  }

  #refuse(where, problem) {
    return { ok: false, error: this.#session.refuse("", where, problem), where };
  }

  #refused() {
    return { ok: false, error: this.#session.lastError(), where: this.#session.lastPlace() };
  }

  analyse() {
    if (this.#vocab) return JSON.parse(this.#vocab.analyse());
    // The catalogue first: reading it uses the arrays the analysis answers in.
    const { nodeIds, relIds } = this.#known();
    const s = this.#session;
    const ok = s.analyse() === 1;
    const I = this.#module.HEAP32;
    let i = s.ints(0) >> 2;
    const list = () => {
      const out = new Array(I[i++]);
      for (let k = 0; k < out.length; ++k) out[k] = nodeIds[I[i++]];
      return out;
    };
    const verdict = I[i++];
    const clusters = new Array(I[i++]);
    for (let k = 0; k < clusters.length; ++k) {
      const freeNum = I[i++];
      const fixed = I[i++] === 1;
      clusters[k] = { nodes: list(), freeNum, fixed };
    }
    const stripped = list();
    const unseeded = list();
    return {
      ok,
      verdict: this.#names.verdictWords[verdict],
      verdictText: this.#names.verdictTexts[verdict],
      clusters,
      stripped,
      unseeded,
      notHolding: this.#notHolding(relIds, i, s.numbers(0) >> 3),
    };
  }

  /** Changes dimension values ({relationId: value}, angles in the file's unit) and re-solves. */
  drive(changes) {
    if (this.#vocab) return JSON.parse(this.#vocab.drive(JSON.stringify(changes ?? {})));
    const keys = changes !== null && typeof changes === "object" ? Object.keys(changes) : [];
    if (keys.length === 0) return this.#refuse("drive", "the changes must be a non-empty object {relation: value}");
    const { relIds } = this.#known();
    const s = this.#session;
    const intsAt = s.ints(keys.length) >> 2;
    const numbersAt = s.numbers(keys.length) >> 3;
    const I = this.#module.HEAP32;
    const F = this.#module.HEAPF64;
    for (let k = 0; k < keys.length; ++k) {
      const index = relIds.indexOf(keys[k]);
      if (index < 0) return this.#refuse(`drive.${keys[k]}`, "no such relation");
      const value = changes[keys[k]];
      I[intsAt + k] = index;
      F[numbersAt + k] = typeof value === "number" ? value : NaN;
    }
    const code = s.drive(keys.length);
    if (code < 0) return this.#refused();
    const i = s.ints(0) >> 2;
    const H = this.#module.HEAP32;
    const step = this.#names.steps[H[i]];
    if (code === 1) return { ok: true, solved: true, step, notHolding: [] };
    return {
      ok: false,
      solved: false,
      step,
      error: s.lastError(),
      restored: H[i + 1] === 1,
      notHolding: this.#notHolding(relIds, i + 2, s.numbers(0) >> 3),
    };
  }

  /** Moves a point as near to (x, y) as the relations allow. */
  drag(pointId, x, y) {
    const id = String(pointId);
    if (this.#vocab) return JSON.parse(this.#vocab.drag(id, Number(x), Number(y)));
    const { nodeIds, nodeTypes, relIds } = this.#known();
    const index = nodeIds.indexOf(id);
    if (index < 0 || nodeTypes[index] !== 0) return this.#refuse(`drag.${id}`, "no such point");
    const s = this.#session;
    const code = s.drag(index, Number(x), Number(y));
    if (code < 0) return this.#refused();
    const i = s.ints(0) >> 2;
    const f = s.numbers(0) >> 3;
    const I = this.#module.HEAP32;
    const distance = this.#module.HEAPF64[f];
    const iterations = I[i];
    if (code === 1) return { ok: true, solved: true, distance, iterations, notHolding: [] };
    return { ok: false, solved: false, error: s.lastError(), distance, iterations, notHolding: this.#notHolding(relIds, i + 1, f + 1) };
  }

  diagnostics() {
    return JSON.parse((this.#vocab ?? this.#session).diagnose());
  }

  /** Nodes with their coordinates, relations with their values; for format 2, entities with
   * their geometry and constraints with their values and measures. */
  document() {
    return JSON.parse((this.#vocab ?? this.#session).document());
  }

  /** {id: {x, y}} for points, {id: {x, y, dx, dy}} for lines, {id: {x, y, radius}} for circles. */
  coordinates() {
    if (this.#vocab) return JSON.parse(this.#vocab.coordinates());
    const { nodeIds, nodeTypes } = this.#known();
    const s = this.#session;
    const count = s.places();
    const F = this.#module.HEAPF64;
    let f = s.numbers(0) >> 3;
    const out = {};
    for (let k = 0; k < count; ++k, f += 4) {
      const type = nodeTypes[k];
      out[nodeIds[k]] =
        type === 0
          ? { x: F[f], y: F[f + 1] }
          : type === 1
            ? { x: F[f], y: F[f + 1], dx: F[f + 2], dy: F[f + 3] }
            : { x: F[f], y: F[f + 1], radius: F[f + 2] };
    }
    return out;
  }

  /** The sketch file text of the current state. */
  save() {
    return (this.#vocab ?? this.#session).save();
  }

  get lastError() {
    return (this.#failedLoad ?? this.#vocab ?? this.#session).lastError();
  }

  clearError() {
    this.#session.clearError();
    this.#vocabSession?.clearError();
  }

  /** Frees the sketch's memory in the module; the object is unusable afterwards. */
  delete() {
    this.#session.delete();
    this.#vocabSession?.delete();
    this.#session = null;
    this.#vocabSession = null;
    this.#vocab = null;
  }
}
