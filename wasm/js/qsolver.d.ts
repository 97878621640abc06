// Declarations of the Qsolver JavaScript API (qsolver.js).

export type Failure = { ok: false; error: string; where?: string };

export type LoadResult =
  | { ok: true; nodes: number; relations: number; description: string }
  | { ok: false; error: string; file: string; where: string; problem: string };

export interface RelationOff {
  id: string;
  measured: number;
  wanted: number;
}

export interface Cluster {
  nodes: string[];
  freeNum: number;
  fixed: boolean;
}

export interface AnalysisResult {
  ok: boolean;
  verdict: "ok" | "over-constrained" | "fixed-contradiction" | "seed-contradiction";
  verdictText: string;
  clusters: Cluster[];
  stripped: string[];
  unseeded: string[];
  notHolding: RelationOff[];
}

/** The analysis of a format-2 sketch: constraints that do not hold, with how far they are off. */
export interface VocabAnalysisResult {
  ok: boolean;
  verdict: AnalysisResult["verdict"];
  verdictText: string;
  notHolding: { id: string; error: number }[];
}

export type DriveResult =
  | { ok: true; solved: true; step: string; notHolding: [] }
  | { ok: false; solved: false; step: string; error: string; restored?: boolean; notHolding?: RelationOff[] }
  | Failure;

export type DragResult =
  | { ok: true; solved: true; distance: number; iterations: number; notHolding: [] }
  | { ok: false; solved?: false; error: string; distance?: number; iterations?: number; notHolding?: RelationOff[] };

export type NodeStatus = "fixed" | "well-constrained" | "under-constrained" | "over-constrained";

export type Diagnostics =
  | {
      ok: true;
      available: true;
      dof: number;
      unknowns: number;
      rank: number;
      nodes: { id: string; status: NodeStatus; dof: number }[];
      conflicting: string[];
      redundant: string[];
      complete: boolean;
    }
  | { ok: true; available: false };

export interface DocNode {
  id: string;
  type: "point" | "line" | "circle";
  x: number;
  y: number;
  dx?: number;
  dy?: number;
  radius?: number;
}

export interface DocRelation {
  id: string;
  type: "fix" | "ppdis" | "pldis" | "lldis" | "llang" | "rad";
  nodes: string[];
  value?: number;
  shared?: string;
}

export interface SketchDocument {
  ok: true;
  description: string;
  angleUnit: "deg" | "rad";
  nodes: DocNode[];
  relations: DocRelation[];
}

/** A sketch as objects, for Sketch.build: the fields of a sketch file, without its text. */
export interface SketchDescription {
  angleUnit?: "deg" | "rad";
  points?: { id: string; x: number; y: number; fixed?: boolean }[];
  lines?: { id: string; x: number; y: number; dx: number; dy: number; dirFixed?: boolean; fixed?: boolean }[];
  circles?: { id: string; x: number; y: number; radius: number; fixed?: boolean }[];
  values?: { id: string; value: number; known?: boolean }[];
  relations?: {
    id: string;
    type: DocRelation["type"];
    nodes: [string] | [string, string];
    value?: number;
    known?: boolean;
    shared?: string;
    reverse?: [boolean, boolean];
  }[];
}

/** The document of a format-2 sketch: entities with their geometry now, constraints. */
export interface VocabDocument {
  ok: true;
  format: 2;
  description: string;
  angleUnit: "deg" | "rad";
  entities: {
    id: string;
    type: "point" | "segment" | "arc" | "circle" | "line";
    construction: boolean;
    /** A point's place, a line's through point, a circle's or arc's centre. */
    x?: number;
    y?: number;
    dx?: number;
    dy?: number;
    radius?: number;
    /** Segment: its ends; arc: centre, start, end; circle: its centre. */
    points?: string[];
  }[];
  constraints: {
    id: string;
    type: string;
    refs: string[];
    /** Dimensions only, in the file's unit; `measured` is what the geometry measures now. */
    value?: number;
    driven?: boolean;
    measured?: number;
  }[];
}

export function loadQsolver(): Promise<unknown>;

export class Sketch {
  static create(): Promise<Sketch>;
  /** Format 2 is recognised by the file's "format": 2. */
  load(text: string | object, name?: string): LoadResult;
  /** The format of the sketch held: 2 for entities and constraints. */
  readonly format: 1 | 2;
  /** Nodes numbered points, lines, circles; a fixed node gets the fix relation "fix:<id>". */
  build(description: SketchDescription, name?: string): LoadResult;
  analyse(): AnalysisResult | VocabAnalysisResult;
  drive(changes: Record<string, number>): DriveResult;
  drag(pointId: string, x: number, y: number): DragResult;
  diagnostics(): Diagnostics;
  document(): SketchDocument | VocabDocument;
  coordinates(): Record<string, Omit<DocNode, "id" | "type">>;
  save(): string;
  readonly lastError: string;
  clearError(): void;
  delete(): void;
}
