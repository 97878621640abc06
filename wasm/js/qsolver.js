// Qsolver in JavaScript: sketches read from JSON text, analysed, driven by their dimensions and
// dragged by their points. No call throws for bad input or a failed solve: each answers with
// an object whose `ok` says whether it worked and whose `error` says why not.
import createQsolverModule from "./qsolver-wasm.mjs";

let modulePromise = null;

/** Loads the WebAssembly module once; later calls share it. */
export function loadQsolver() {
  modulePromise ??= createQsolverModule();
  return modulePromise;
}

export class Sketch {
  #session;

  /** Use Sketch.create(); the module must be loaded first. */
  constructor(module) {
    this.#session = new module.SketchSession();
  }

  static async create() {
    return new Sketch(await loadQsolver());
  }

  /** Reads sketch text (an object is written as JSON first); `name` names it in errors. */
  load(text, name = "sketch.json") {
    const source = typeof text === "string" ? text : JSON.stringify(text);
    return JSON.parse(this.#session.load(source, name));
  }

  analyse() {
    return JSON.parse(this.#session.analyse());
  }

  /** Changes dimension values ({relationId: value}, angles in the file's unit) and re-solves. */
  drive(changes) {
    return JSON.parse(this.#session.drive(JSON.stringify(changes ?? {})));
  }

  /** Moves a point as near to (x, y) as the relations allow. */
  drag(pointId, x, y) {
    return JSON.parse(this.#session.drag(String(pointId), Number(x), Number(y)));
  }

  diagnostics() {
    return JSON.parse(this.#session.diagnose());
  }

  /** Nodes with their coordinates, relations with their values. */
  document() {
    return JSON.parse(this.#session.document());
  }

  /** {id: {x, y}} for points, {id: {x, y, dx, dy}} for lines, {id: {x, y, radius}} for circles. */
  coordinates() {
    return JSON.parse(this.#session.coordinates());
  }

  /** The sketch file text of the current state. */
  save() {
    return this.#session.save();
  }

  get lastError() {
    return this.#session.lastError();
  }

  clearError() {
    this.#session.clearError();
  }

  /** Frees the sketch's memory in the module; the object is unusable afterwards. */
  delete() {
    this.#session.delete();
    this.#session = null;
  }
}
