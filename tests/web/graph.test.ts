/// <reference types="node" />
import assert from "node:assert/strict";
import { test } from "node:test";
import * as G from "../../apps/web/src/graph";
import type { Doc, EditorNode } from "../../apps/web/src/graph";

const node = (id: string, extra: Partial<EditorNode> = {}): EditorNode => ({
    id, plugin: "P", params: {}, x: 0, y: 0, collapsed: false, ...extra,
});
const chain = (...ids: string[]): Doc => ({
    nodes: ids.map((id) => node(id)),
    wires: ids.slice(1).map((to, i) => ({ from: ids[i], fromPin: 0, to, toPin: 0 })),
});
const ids = (nodes: EditorNode[]) => nodes.map((n) => n.id);

test("references name the node before the last colon", () => {
    const cases: [string, ReturnType<typeof G.parseRef>][] = [
        ["read:0", { id: "read", pin: 0 }],
        ["a:b:12", { id: "a:b", pin: 12 }],
        ["read", null],
        [":0", null],
        ["read:", null],
        ["read:x", null],
        ["read:-1", null],
    ];
    for (const [ref, want] of cases) assert.deepEqual(G.parseRef(ref), want, ref);
});

test("ids come from the name, numbered from 2 when taken", () => {
    const cases: [string, string[], string][] = [
        ["Labeling", [], "labeling"],
        ["Labeling", ["labeling"], "labeling2"],
        ["Labeling", ["labeling", "labeling2", "labeling4"], "labeling3"],
        ["Read Image::x!", [], "readimagex"],
        ["++", [], "node"],
    ];
    for (const [name, taken, want] of cases) assert.equal(G.makeId(name, new Set(taken)), want, name);
});

test("topological order keeps the document order among ready nodes", () => {
    const wire = (from: string, to: string) => ({ from, fromPin: 0, to, toPin: 0 });
    const cases: [string[], [string, string][], string[]][] = [
        [["c", "a", "b"], [["a", "b"], ["b", "c"]], ["a", "b", "c"]],
        [["x", "y", "z"], [], ["x", "y", "z"]],
        [["d", "b", "a", "c"], [["a", "d"], ["b", "d"], ["c", "d"]], ["b", "a", "c", "d"]],
        // a loop from a hand-written file: what cannot be ordered follows in document order
        [["a", "b", "c"], [["b", "c"], ["c", "b"]], ["a", "b", "c"]],
    ];
    for (const [order, wires, want] of cases) {
        const doc = { nodes: order.map((id) => node(id)), wires: wires.map(([f, t]) => wire(f, t)) };
        assert.deepEqual(ids(G.topoOrder(doc)), want, order.join());
    }
});

test("a wire that closes a loop is seen", () => {
    const doc = chain("a", "b", "c");
    assert.equal(G.wouldCycle(doc, "c", "a"), true);
    assert.equal(G.wouldCycle(doc, "b", "a"), true);
    assert.equal(G.wouldCycle(doc, "a", "c"), false);
});

test("a new wire to a taken input replaces the old one", () => {
    const doc = { nodes: [node("a"), node("b"), node("c")], wires: [{ from: "a", fromPin: 0, to: "c", toPin: 1 }] };
    const next = G.connect(doc, { from: "b", fromPin: 2, to: "c", toPin: 1 });
    assert.deepEqual(next.wires, [{ from: "b", fromPin: 2, to: "c", toPin: 1 }]);
    const both = G.connect(next, { from: "a", fromPin: 0, to: "c", toPin: 0 });
    assert.deepEqual(both.wires.map(G.wireKey), ["b:2->c:1", "a:0->c:0"]);
});

test("removing a node takes its wires along", () => {
    const doc = chain("a", "b", "c");
    assert.deepEqual(G.removeItems(doc, ["b"]).wires, []);
    assert.deepEqual(G.removeItems(doc, [], ["a:0->b:0"]).wires.map(G.wireKey), ["b:0->c:0"]);
});

test("pasted nodes get fresh ids and keep their wires among them", () => {
    const doc = chain("read", "label");
    const { doc: pasted, ids: fresh } = G.paste(doc, G.extract(doc, ["read", "label"]), 40);
    assert.deepEqual(fresh, ["read2", "label2"]);
    assert.deepEqual(pasted.wires.map(G.wireKey), ["read:0->label:0", "read2:0->label2:0"]);
    assert.deepEqual(pasted.nodes.slice(2).map((n) => [n.x, n.y]), [[40, 40], [40, 40]]);
});

test("layers follow dependency depth and feeders' rows", () => {
    // x1 feeds y2 and x2 feeds y1: y2 goes in the first row of its layer, beside x1
    const doc: Doc = {
        nodes: ["x1", "x2", "y1", "y2", "z"].map((id) => node(id)),
        wires: [
            { from: "x2", fromPin: 0, to: "y1", toPin: 0 },
            { from: "x1", fromPin: 0, to: "y2", toPin: 0 },
            { from: "y1", fromPin: 0, to: "z", toPin: 0 },
            { from: "x1", fromPin: 0, to: "z", toPin: 1 },
        ],
    };
    const at = G.layeredLayout(doc, (n) => (n.id === "x1" ? 200 : 100));
    assert.deepEqual(Object.fromEntries(at), {
        x1: { x: 0, y: 0 },
        x2: { x: 0, y: 240 },
        y2: { x: 300, y: 0 },
        y1: { x: 300, y: 140 },
        z: { x: 600, y: 0 },
    });
});

test("graph files read both input forms and lay out nodes without positions", () => {
    const doc = G.docFromGraph(
        {
            nodes: [
                { id: "read", plugin: "ReadImage", parameters: { filename: "a.png" } },
                { id: "sel", plugin: "SelectPixel", inputs: ["read:0", null, "read:0"] },
                { id: "zones", plugin: "ZoneList", inputs: { "1": "sel:0", "2": "gone:0", "3": null } },
            ],
        },
        () => 100,
    );
    assert.deepEqual(doc.wires.map(G.wireKey), ["read:0->sel:0", "read:0->sel:2", "sel:0->zones:1"]);
    assert.deepEqual(doc.nodes.map((n) => [n.id, n.x, n.y]), [["read", 0, 0], ["sel", 300, 0], ["zones", 600, 0]]);
    assert.deepEqual(doc.nodes[0].params, { filename: "a.png" });
});

test("saved positions and folds are kept", () => {
    const doc = G.docFromGraph(
        { nodes: [{ id: "a", plugin: "P" }], ui: { nodes: { a: { x: 12, y: -5, collapsed: true } } } },
        () => 100,
    );
    assert.deepEqual(doc.nodes, [node("a", { x: 12, y: -5, collapsed: true })]);
});

test("graphs are written in running order with array inputs", () => {
    const doc: Doc = {
        nodes: [node("zones", { x: 10.6, collapsed: true }), node("read", { params: { scale: 2 }, y: -3.2 })],
        wires: [{ from: "read", fromPin: 0, to: "zones", toPin: 2 }],
    };
    const graph = G.graphFromDoc(doc, true);
    assert.deepEqual(graph, {
        nodes: [
            { id: "read", plugin: "P", parameters: { scale: 2 } },
            { id: "zones", plugin: "P", inputs: [null, null, "read:0"] },
        ],
        ui: { nodes: { zones: { x: 11, y: 0, collapsed: true }, read: { x: 0, y: -3 } } },
    });
    assert.equal(
        G.writeGraph(graph, (_, key) => key === "scale"),
        '{"nodes": [\n' +
            '  {"id": "read", "plugin": "P", "parameters": {"scale": 2.0}},\n' +
            '  {"id": "zones", "plugin": "P", "inputs": [null, null, "read:0"]}\n' +
            '],\n "ui": {"nodes": {"zones": {"x": 11, "y": 0, "collapsed": true}, "read": {"x": 0, "y": -3}}}}\n',
    );
});

test("doubles keep a decimal point; non-finite ones use the tagged form", () => {
    const cases: [unknown, boolean, string][] = [
        [2, true, "2.0"],
        [2, false, "2"],
        [-7, true, "-7.0"],
        [2.5, true, "2.5"],
        [1e21, true, "1e+21"],
        [NaN, true, '{"@double": "nan"}'],
        [-Infinity, false, '{"@double": "-inf"}'],
        [[1, 2], true, "[1.0, 2.0]"],
        [{ a: "x\"y", b: null, c: true }, false, '{"a": "x\\"y", "b": null, "c": true}'],
    ];
    for (const [value, real, want] of cases) assert.equal(G.writeValue(value, real), want, String(value));
});
