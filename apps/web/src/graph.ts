// The editor's document (nodes with positions, wires between pins) and its conversion from and
// to the graph file that `orva run` reads. Pure functions: the store and the tests share them.
import type { Graph, GraphNode, PinKind } from "./types";

export interface EditorNode {
    id: string;
    plugin: string;
    params: Record<string, unknown>;
    x: number;
    y: number;
    collapsed: boolean;
}

export interface Wire {
    from: string;
    fromPin: number;
    to: string;
    toPin: number;
}

export interface Doc {
    nodes: EditorNode[];
    wires: Wire[];
}

export const emptyDoc: Doc = { nodes: [], wires: [] };

export function wireKey(w: Wire): string {
    return `${w.from}:${w.fromPin}->${w.to}:${w.toPin}`;
}

// "read:0" -> {id: "read", pin: 0}; the id is everything before the last colon.
export function parseRef(ref: string): { id: string; pin: number } | null {
    const colon = ref.lastIndexOf(":");
    if (colon <= 0) return null;
    const pinText = ref.slice(colon + 1);
    if (!/^\d+$/.test(pinText)) return null;
    return { id: ref.slice(0, colon), pin: Number(pinText) };
}

export function kindsMeet(a: PinKind, b: PinKind): boolean {
    return a === b || a === "value" || b === "value";
}

export function isValidId(id: string): boolean {
    return id.length > 0 && !/[./:\s]/.test(id);
}

// An id made from the node's name: "Labeling" -> "labeling", then "labeling2", "labeling3".
export function makeId(name: string, taken: ReadonlySet<string>): string {
    const base = name.toLowerCase().replace(/[^a-z0-9_-]/g, "") || "node";
    if (!taken.has(base)) return base;
    for (let n = 2; ; ++n) if (!taken.has(`${base}${n}`)) return `${base}${n}`;
}

// Nodes in an order where every node comes after the nodes that feed it; among nodes that are
// ready at once the document order is kept, so an already sorted graph is left as it is.
export function topoOrder(doc: Doc): EditorNode[] {
    const waiting = new Map<string, number>();
    const next = new Map<string, string[]>();
    for (const n of doc.nodes) waiting.set(n.id, 0);
    for (const w of doc.wires) {
        if (!waiting.has(w.from) || !waiting.has(w.to)) continue;
        waiting.set(w.to, waiting.get(w.to)! + 1);
        next.set(w.from, [...(next.get(w.from) ?? []), w.to]);
    }
    const done = new Set<string>();
    const order: EditorNode[] = [];
    while (order.length < doc.nodes.length) {
        const ready = doc.nodes.find((n) => !done.has(n.id) && waiting.get(n.id) === 0);
        if (!ready) break;  // a cycle: the editor refuses those, a hand-written file may not
        done.add(ready.id);
        order.push(ready);
        for (const t of next.get(ready.id) ?? []) waiting.set(t, waiting.get(t)! - 1);
    }
    for (const n of doc.nodes) if (!done.has(n.id)) order.push(n);
    return order;
}

// Whether a wire from -> to would close a loop, that is whether `from` is reachable from `to`.
export function wouldCycle(doc: Doc, from: string, to: string): boolean {
    const seen = new Set<string>();
    const stack = [to];
    while (stack.length) {
        const id = stack.pop()!;
        if (id === from) return true;
        if (seen.has(id)) continue;
        seen.add(id);
        for (const w of doc.wires) if (w.from === id) stack.push(w.to);
    }
    return false;
}

// Adds a wire; an input takes one wire, so a wire already at that input is replaced.
export function connect(doc: Doc, wire: Wire): Doc {
    const wires = doc.wires.filter((w) => !(w.to === wire.to && w.toPin === wire.toPin));
    return { ...doc, wires: [...wires, wire] };
}

export function removeItems(doc: Doc, nodeIds: Iterable<string>, wireKeys: Iterable<string> = []): Doc {
    const ids = new Set(nodeIds);
    const keys = new Set(wireKeys);
    return {
        nodes: doc.nodes.filter((n) => !ids.has(n.id)),
        wires: doc.wires.filter((w) => !ids.has(w.from) && !ids.has(w.to) && !keys.has(wireKey(w))),
    };
}

// The selected nodes and the wires among them, as copied to the clipboard.
export function extract(doc: Doc, nodeIds: Iterable<string>): Doc {
    const ids = new Set(nodeIds);
    return {
        nodes: doc.nodes.filter((n) => ids.has(n.id)),
        wires: doc.wires.filter((w) => ids.has(w.from) && ids.has(w.to)),
    };
}

// Pastes copied nodes under fresh ids, shifted by `offset`; wires follow the renamed nodes.
export function paste(doc: Doc, clip: Doc, offset: number): { doc: Doc; ids: string[] } {
    const taken = new Set(doc.nodes.map((n) => n.id));
    const rename = new Map<string, string>();
    const nodes = clip.nodes.map((n) => {
        const id = makeId(n.id.replace(/\d+$/, ""), taken);
        taken.add(id);
        rename.set(n.id, id);
        return { ...n, id, x: n.x + offset, y: n.y + offset, params: structuredClone(n.params) };
    });
    const wires = clip.wires.map((w) => ({ ...w, from: rename.get(w.from)!, to: rename.get(w.to)! }));
    return { doc: { nodes: [...doc.nodes, ...nodes], wires: [...doc.wires, ...wires] }, ids: nodes.map((n) => n.id) };
}

export function renameNode(doc: Doc, from: string, to: string): Doc {
    const swap = (id: string) => (id === from ? to : id);
    return {
        nodes: doc.nodes.map((n) => (n.id === from ? { ...n, id: to } : n)),
        wires: doc.wires.map((w) => ({ ...w, from: swap(w.from), to: swap(w.to) })),
    };
}

export const LAYER_GAP = 300;
export const ROW_GAP = 40;

// Left-to-right layers by dependency depth (a node one layer right of its deepest feeder).
// Within a layer nodes follow the mean row of their feeders, which keeps wires from crossing in
// chains and trees. `heightOf` estimates a node's height on screen.
export function layeredLayout(doc: Doc, heightOf: (n: EditorNode) => number): Map<string, { x: number; y: number }> {
    const order = topoOrder(doc);
    const depth = new Map<string, number>();
    const feeders = new Map<string, string[]>();
    for (const w of doc.wires) feeders.set(w.to, [...(feeders.get(w.to) ?? []), w.from]);
    for (const n of order) {
        const d = (feeders.get(n.id) ?? []).map((f) => (depth.get(f) ?? -1) + 1);
        depth.set(n.id, Math.max(0, ...d));
    }
    const layers: EditorNode[][] = [];
    for (const n of order) (layers[depth.get(n.id)!] ??= []).push(n);
    const row = new Map<string, number>();
    const result = new Map<string, { x: number; y: number }>();
    layers.forEach((layer, d) => {
        const key = (n: EditorNode) => {
            const rows = (feeders.get(n.id) ?? []).map((f) => row.get(f)).filter((r) => r !== undefined) as number[];
            return rows.length ? rows.reduce((a, b) => a + b, 0) / rows.length : Infinity;
        };
        const sorted = layer.map((n, i) => ({ n, i, k: key(n) })).sort((a, b) => a.k - b.k || a.i - b.i);
        let y = 0;
        sorted.forEach(({ n }, r) => {
            row.set(n.id, r);
            result.set(n.id, { x: d * LAYER_GAP, y });
            y += heightOf(n) + ROW_GAP;
        });
    });
    return result;
}

// Reads a graph file. Nodes without a saved position are laid out.
export function docFromGraph(graph: Graph, heightOf: (n: EditorNode) => number): Doc {
    const ui = graph.ui?.nodes ?? {};
    const nodes: EditorNode[] = graph.nodes.map((g) => ({
        id: g.id,
        plugin: g.plugin,
        params: { ...(g.parameters ?? {}) },
        x: Number(ui[g.id]?.x ?? NaN),
        y: Number(ui[g.id]?.y ?? NaN),
        collapsed: ui[g.id]?.collapsed === true,
    }));
    const ids = new Set(nodes.map((n) => n.id));
    const wires: Wire[] = [];
    for (const g of graph.nodes) {
        const entries: [number, string | null][] = Array.isArray(g.inputs)
            ? g.inputs.map((ref, i) => [i, ref])
            : Object.entries(g.inputs ?? {}).map(([pin, ref]) => [Number(pin), ref]);
        for (const [toPin, ref] of entries) {
            const source = typeof ref === "string" ? parseRef(ref) : null;
            if (source && ids.has(source.id) && Number.isInteger(toPin))
                wires.push({ from: source.id, fromPin: source.pin, to: g.id, toPin });
        }
    }
    const doc = { nodes, wires };
    if (nodes.every((n) => Number.isFinite(n.x) && Number.isFinite(n.y))) return doc;
    const placed = layeredLayout(doc, heightOf);
    return {
        ...doc,
        nodes: nodes.map((n) => (Number.isFinite(n.x) && Number.isFinite(n.y) ? n : { ...n, ...placed.get(n.id)! })),
    };
}

// The graph in topological order, inputs as arrays (null for an empty pin), with the editor's
// positions under "ui" when `withUi`.
export function graphFromDoc(doc: Doc, withUi: boolean): Graph {
    const nodes: GraphNode[] = topoOrder(doc).map((n) => {
        const g: GraphNode = { id: n.id, plugin: n.plugin };
        if (Object.keys(n.params).length) g.parameters = n.params;
        const wires = doc.wires.filter((w) => w.to === n.id);
        if (wires.length) {
            const inputs: (string | null)[] = new Array(Math.max(...wires.map((w) => w.toPin)) + 1).fill(null);
            for (const w of wires) inputs[w.toPin] = `${w.from}:${w.fromPin}`;
            g.inputs = inputs;
        }
        return g;
    });
    if (!withUi) return { nodes };
    const ui: NonNullable<Graph["ui"]>["nodes"] = {};
    for (const n of doc.nodes) {
        ui[n.id] = { x: Math.round(n.x), y: Math.round(n.y) };
        if (n.collapsed) ui[n.id].collapsed = true;
    }
    return { nodes, ui: { nodes: ui } };
}

// JSON text of a graph, one node per line. Parameters that `isReal(plugin, key)` names are
// written with a decimal point even when whole, so that `orva run` reads them as doubles.
export function writeGraph(graph: Graph, isReal: (plugin: string, key: string) => boolean): string {
    const nodeLines = graph.nodes.map((n) => {
        const parts = [`"id": ${JSON.stringify(n.id)}`, `"plugin": ${JSON.stringify(n.plugin)}`];
        if (n.parameters) {
            const params = Object.entries(n.parameters).map(
                ([k, v]) => `${JSON.stringify(k)}: ${writeValue(v, isReal(n.plugin, k))}`,
            );
            parts.push(`"parameters": {${params.join(", ")}}`);
        }
        if (n.inputs) parts.push(`"inputs": ${writeValue(n.inputs, false)}`);
        return `  {${parts.join(", ")}}`;
    });
    let text = `{"nodes": [\n${nodeLines.join(",\n")}\n]`;
    if (graph.ui) text += `,\n "ui": ${writeValue(graph.ui, false)}`;
    return text + "}\n";
}

export function writeValue(v: unknown, real: boolean): string {
    if (typeof v === "number") {
        if (!Number.isFinite(v)) return `{"@double": "${Number.isNaN(v) ? "nan" : v > 0 ? "inf" : "-inf"}"}`;
        const text = String(v);
        return real && /^-?\d+$/.test(text) ? `${text}.0` : text;
    }
    if (Array.isArray(v)) return `[${v.map((e) => writeValue(e, real)).join(", ")}]`;
    if (v && typeof v === "object")
        return `{${Object.entries(v).map(([k, e]) => `${JSON.stringify(k)}: ${writeValue(e, real)}`).join(", ")}}`;
    return JSON.stringify(v ?? null);
}
