// Edits of the document. Each user action is one step of undo history; positions change
// continuously during a drag and become one step when it ends.
import { guessPins } from "./catalog";
import * as G from "./graph";
import type { Doc, EditorNode } from "./graph";
import { store, say } from "./store";
import type { Graph, NodeInfo, PinInfo } from "./types";

const HISTORY = 200;

function commit(doc: Doc, extra: Partial<ReturnType<typeof store.get>> = {}) {
    store.set((s) => (s.doc === doc ? extra : { doc, past: [...s.past.slice(1 - HISTORY), s.doc], future: [], ...extra }));
}

export function undo() {
    const { past, future, doc } = store.get();
    if (!past.length) return;
    store.set({ doc: past[past.length - 1], past: past.slice(0, -1), future: [doc, ...future] });
}

export function redo() {
    const { past, future, doc } = store.get();
    if (!future.length) return;
    store.set({ doc: future[0], future: future.slice(1), past: [...past, doc] });
}

export function nodeInfo(plugin: string): NodeInfo | undefined {
    return store.get().catalog.resolve(plugin);
}

// The pins a node shows: its declared ones, or for an unknown node those its wires use.
export function pinsOf(node: EditorNode, doc: Doc): { inputs: PinInfo[]; outputs: PinInfo[] } {
    const info = nodeInfo(node.plugin);
    if (info) return { inputs: info.inputs, outputs: info.outputs };
    const max = (pins: number[]) => (pins.length ? Math.max(...pins) + 1 : 0);
    return {
        inputs: guessPins(max(doc.wires.filter((w) => w.to === node.id).map((w) => w.toPin))),
        outputs: guessPins(max(doc.wires.filter((w) => w.from === node.id).map((w) => w.fromPin))),
    };
}

// Height on screen for the layout: header, one row per pin, a preview per image output.
export function heightOf(n: EditorNode): number {
    const info = nodeInfo(n.plugin);
    const pins = Math.max(info?.inputs.length ?? 1, info?.outputs.length ?? 1);
    const previews = n.collapsed ? 0 : (info?.outputs.length ?? 0) * 150;
    return 60 + 24 * pins + previews;
}

export function loadGraph(graph: Graph | null, path: string | null) {
    const doc = graph ? G.docFromGraph(graph, heightOf) : G.emptyDoc;
    store.set({
        doc,
        past: [],
        future: [],
        path,
        runs: {},
        run: { id: null, state: "idle" },  // events of an earlier run no longer apply
        selection: { nodes: [], wires: [] },
        inspected: doc.nodes[0]?.id ?? null,
        fits: store.get().fits + 1,
    });
}

let placement: () => { x: number; y: number } = () => ({ x: 0, y: 0 });

// The canvas tells where new nodes go (the middle of what is on screen).
export function setPlacement(where: () => { x: number; y: number }) {
    placement = where;
}

function freeSpot(doc: Doc, at: { x: number; y: number }) {
    let { x, y } = at;
    while (doc.nodes.some((n) => Math.abs(n.x - x) < 40 && Math.abs(n.y - y) < 40)) {
        x += 30;
        y += 30;
    }
    return { x, y };
}

export function addNode(address: string, at?: { x: number; y: number }) {
    const { doc, catalog } = store.get();
    const info = catalog.resolve(address);
    const id = G.makeId(info?.name ?? address, new Set(doc.nodes.map((n) => n.id)));
    const node: EditorNode = { id, plugin: address, params: {}, ...freeSpot(doc, at ?? placement()), collapsed: false };
    commit({ ...doc, nodes: [...doc.nodes, node] }, { selection: { nodes: [id], wires: [] }, inspected: id });
    say(`Added ${id}`);
    return id;
}

export function moveNodes(moves: { id: string; x: number; y: number }[]) {
    const at = new Map(moves.map((m) => [m.id, m]));
    store.set((s) => ({
        doc: { ...s.doc, nodes: s.doc.nodes.map((n) => (at.has(n.id) ? { ...n, x: at.get(n.id)!.x, y: at.get(n.id)!.y } : n)) },
    }));
}

let dragStart: Doc | null = null;

export function beginDrag() {
    dragStart ??= store.get().doc;
}

export function endDrag() {
    const before = dragStart;
    dragStart = null;
    if (before && before !== store.get().doc)
        store.set((s) => ({ past: [...s.past.slice(1 - HISTORY), before], future: [] }));
}

// Why a wire from an output to an input cannot be made, or null when it can.
export function refuseWire(from: string, fromPin: number, to: string, toPin: number): string | null {
    const { doc } = store.get();
    const source = doc.nodes.find((n) => n.id === from);
    const target = doc.nodes.find((n) => n.id === to);
    if (!source || !target) return "unknown node";
    if (from === to) return "a node cannot feed itself";
    const out = pinsOf(source, doc).outputs.find((p) => p.pin === fromPin);
    const input = pinsOf(target, doc).inputs.find((p) => p.pin === toPin);
    if (!out || !input) return "no such pin";
    const a = (kind: string) => (/^[aeiou]/.test(kind) ? `an ${kind}` : `a ${kind}`);
    if (!G.kindsMeet(out.kind, input.kind)) return `${a(out.kind)} output cannot feed ${a(input.kind)} input`;
    if (G.wouldCycle(doc, from, to)) return "the wire would make a loop";
    return null;
}

export function connectPins(from: string, fromPin: number, to: string, toPin: number): boolean {
    const why = refuseWire(from, fromPin, to, toPin);
    if (why) {
        say(`Cannot connect ${from}:${fromPin} to ${to}:${toPin}: ${why}`, true);
        return false;
    }
    commit(G.connect(store.get().doc, { from, fromPin, to, toPin }));
    say(`Connected ${from}:${fromPin} to ${to}:${toPin}`);
    return true;
}

export function deleteItems(nodeIds: string[], wireKeys: string[]) {
    if (!nodeIds.length && !wireKeys.length) return;
    const s = store.get();
    const inspected = s.inspected && nodeIds.includes(s.inspected) ? null : s.inspected;
    commit(G.removeItems(s.doc, nodeIds, wireKeys), { selection: { nodes: [], wires: [] }, inspected });
    say(`Deleted ${[...nodeIds, ...wireKeys].join(", ")}`);
}

export function deleteSelection() {
    const { nodes, wires } = store.get().selection;
    deleteItems(nodes, wires);
}

let clipboard: Doc | null = null;

export function copySelection() {
    const s = store.get();
    if (!s.selection.nodes.length) return;
    clipboard = G.extract(s.doc, s.selection.nodes);
    say(`Copied ${clipboard.nodes.length} node(s)`);
}

export function cutSelection() {
    copySelection();
    deleteItems(store.get().selection.nodes, []);
}

export function pasteClipboard() {
    if (!clipboard?.nodes.length) return;
    const { doc, ids } = G.paste(store.get().doc, clipboard, 40);
    clipboard = G.extract(doc, ids);  // a second paste lands beside the first
    commit(doc, { selection: { nodes: ids, wires: [] }, inspected: ids[0] });
    say(`Pasted ${ids.join(", ")}`);
}

export function selectAll() {
    const { doc } = store.get();
    store.set({ selection: { nodes: doc.nodes.map((n) => n.id), wires: doc.wires.map(G.wireKey) } });
}

function updateNode(id: string, change: (n: EditorNode) => EditorNode) {
    const { doc } = store.get();
    commit({ ...doc, nodes: doc.nodes.map((n) => (n.id === id ? change(n) : n)) });
}

export function setParam(id: string, key: string, value: unknown) {
    updateNode(id, (n) => ({ ...n, params: { ...n.params, [key]: value } }));
}

// Back to the node's own default: the key leaves the graph.
export function resetParam(id: string, key: string) {
    updateNode(id, (n) => {
        const params = { ...n.params };
        delete params[key];
        return { ...n, params };
    });
}

export function setCollapsed(id: string, collapsed: boolean) {
    updateNode(id, (n) => ({ ...n, collapsed }));
}

export function renameNode(id: string, to: string): string | null {
    const s = store.get();
    if (to === id) return null;
    if (!G.isValidId(to)) return "an id is not empty and holds no '.', '/', ':' or blank";
    if (s.doc.nodes.some((n) => n.id === to)) return `${to} is already taken`;
    const runs = { ...s.runs, [to]: s.runs[id] };
    delete runs[id];
    commit(G.renameNode(s.doc, id, to), {
        runs,
        inspected: s.inspected === id ? to : s.inspected,
        selection: { nodes: s.selection.nodes.map((n) => (n === id ? to : n)), wires: [] },
    });
    return null;
}

export function autoLayout() {
    const { doc } = store.get();
    const at = G.layeredLayout(doc, heightOf);
    commit({ ...doc, nodes: doc.nodes.map((n) => ({ ...n, ...at.get(n.id)! })) }, { fits: store.get().fits + 1 });
}

// The graph's JSON text as `orva run` reads it.
export function graphText(withUi: boolean): string {
    const { doc, catalog } = store.get();
    return G.writeGraph(G.graphFromDoc(doc, withUi), (plugin, key) => catalog.isReal(plugin, key));
}

// Opens the file dialog; resolves to the chosen path relative to the server's root.
export function pickFile(request: Omit<import("./store").FileRequest, "resolve">): Promise<string | null> {
    return new Promise((resolve) => store.set({ fileRequest: { ...request, resolve } }));
}

export function newGraph() {
    commit(G.emptyDoc, { path: null, runs: {}, selection: { nodes: [], wires: [] }, inspected: null });
    say("New graph");
}
