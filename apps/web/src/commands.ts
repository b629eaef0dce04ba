// File commands of the toolbar and the keyboard: open, save, save as.
import { graphText, loadGraph, pickFile } from "./actions";
import { api } from "./api";
import { Catalog } from "./catalog";
import { dirOf } from "./params";
import { cancelRun } from "./run";
import { store, say } from "./store";
import type { Graph, NodeInfo } from "./types";

const GRAPH_FILTER = "Graphs (*.json);; All files (*)";

function failed(what: string, e: unknown) {
    say(`${what}: ${e instanceof Error ? e.message : String(e)}`, true);
}

// Asks the server about the nodes a graph uses that the catalogue lacks (unlisted names); a
// name the server does not know either stays unknown, with pins guessed from its wires.
async function learnNodes(graph: Graph | null) {
    const { catalog } = store.get();
    const missing = [...new Set((graph?.nodes ?? []).map((n) => n.plugin))].filter((p) => !catalog.resolve(p));
    const found = await Promise.all(missing.map((p) => api.node(p).catch(() => undefined)));
    const known = found.filter((n): n is NodeInfo => n !== undefined);
    if (known.length) store.set({ catalog: store.get().catalog.with(known) });
}

export async function start() {
    try {
        store.set({ catalog: new Catalog(await api.nodes()) });
        const { graph, path } = await api.graph();
        await learnNodes(graph);
        loadGraph(graph, path);
        say(path ? `Loaded ${path}` : "Ready");
    } catch (e) {
        failed("Cannot reach the server", e);
    }
}

export async function openGraph() {
    const path = await pickFile({ mode: "open", title: "Open graph", filter: GRAPH_FILTER, start: dirOf(store.get().path) });
    if (!path) return;
    try {
        const { graph } = await api.load(path);
        await learnNodes(graph);
        cancelRun();
        loadGraph(graph, path);
        say(`Loaded ${path}`);
    } catch (e) {
        failed(`Cannot open ${path}`, e);
    }
}

export async function saveGraphAs() {
    const current = store.get().path;
    const name = current?.split("/").pop() ?? "graph.json";
    const path = await pickFile({ mode: "save", title: "Save graph", filter: GRAPH_FILTER, start: dirOf(current), name });
    if (path) await saveTo(path.endsWith(".json") ? path : `${path}.json`);
}

export async function saveGraph() {
    const { path } = store.get();
    if (path) await saveTo(path);
    else await saveGraphAs();
}

async function saveTo(path: string) {
    try {
        const saved = await api.save(path, graphText(true));
        store.set({ path: saved.path });
        say(`Saved ${saved.path}`);
    } catch (e) {
        failed(`Cannot save ${path}`, e);
    }
}
