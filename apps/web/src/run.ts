// Runs the graph on the server and shows its progress node by node. The whole graph is sent
// each time; the server re-runs only what changed and reports the rest as cached.
import { graphText } from "./actions";
import { api, followRun, ApiError } from "./api";
import { store, say, type NodeRun } from "./store";
import type { NodeEvent, RunEvent } from "./types";
import { mergeOutputs } from "./values";

let lastSent: string | null = null;
let runAgain = false;

function applyNodeEvent(e: NodeEvent) {
    store.set((s) => {
        const before = s.runs[e.id];
        const outputs = e.outputs ? mergeOutputs(before?.outputs ?? [], e.outputs) : (before?.outputs ?? []);
        const run: NodeRun = { state: e.state, time_ms: e.time_ms, message: e.message, outputs };
        return { runs: { ...s.runs, [e.id]: run } };
    });
}

function finish(state: "done" | "error" | "cancelled" | "failed") {
    // Nodes the server did not report: unchanged after a good run, not reached otherwise.
    store.set((s) => {
        const runs = { ...s.runs };
        for (const [id, r] of Object.entries(runs))
            if (r.state === "pending" || r.state === "running") runs[id] = { ...r, state: state === "done" ? "cached" : "skipped" };
        return { runs, run: { id: s.run.id, state } };
    });
    const s = store.get();
    const failed = Object.entries(s.runs).find(([id, r]) => r.state === "error" && s.doc.nodes.some((n) => n.id === id));
    if (state === "error" && failed) say(`Run failed at ${failed[0]}: ${failed[1].message ?? "error"}`, true);
    else if (state !== "failed") {
        const ran = Object.values(s.runs).filter((r) => r.state === "done").length;
        say(`Run ${state}: ${ran} node(s) ran`, state !== "done");
    }
    if (runAgain || (s.runOnChange && graphText(false) !== lastSent)) queueMicrotask(runGraph);
}

function onEvent(id: string, e: RunEvent) {
    if (store.get().run.id !== id) return;
    if (e.type === "node") applyNodeEvent(e);
    else finish(e.state);
}

export async function runGraph() {
    const s = store.get();
    if (s.run.state === "running") {
        // Ask the server to stop between nodes; the end of that run starts this one.
        runAgain = true;
        if (s.run.id) api.cancel(s.run.id).catch(() => undefined);
        return;
    }
    runAgain = false;
    if (!s.doc.nodes.length) {
        say("Nothing to run: the graph is empty");
        return;
    }
    const text = graphText(false);
    lastSent = text;
    const runs: Record<string, NodeRun> = {};
    for (const n of s.doc.nodes) runs[n.id] = { ...s.runs[n.id], outputs: s.runs[n.id]?.outputs ?? [], state: "pending", message: undefined };
    store.set({ runs, run: { id: null, state: "running" } });
    say("Running…");
    try {
        const { run } = await api.run(text);
        store.set({ run: { id: run, state: "running" } });
        followRun(run, (e) => onEvent(run, e));
    } catch (e) {
        say(`The server refused the run: ${e instanceof ApiError ? e.message : String(e)}`, true);
        finish("failed");
    }
}

export function cancelRun() {
    const { run } = store.get();
    runAgain = false;
    if (run.state === "running" && run.id) api.cancel(run.id).catch(() => undefined);
}

// With "run on change", every edit that changes what the graph computes starts a run; moving
// or folding nodes does not.
let scheduled = false;
let seen = { doc: store.get().doc, on: false };
store.subscribe(() => {
    const s = store.get();
    if (s.doc === seen.doc && s.runOnChange === seen.on) return;
    seen = { doc: s.doc, on: s.runOnChange };
    if (!s.runOnChange || scheduled || s.run.state === "running" || !s.doc.nodes.length) return;
    scheduled = true;
    queueMicrotask(() => {
        scheduled = false;
        const now = store.get();
        if (now.runOnChange && now.run.state !== "running" && graphText(false) !== lastSent) runGraph();
    });
});
