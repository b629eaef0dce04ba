// File commands of the toolbar and the keyboard: open, save, save as.
import { graphText, loadGraph, pickFile } from "./actions";
import { api } from "./api";
import { Catalog } from "./catalog";
import { dirOf } from "./params";
import { cancelRun } from "./run";
import { store, say } from "./store";

const GRAPH_FILTER = "Graphs (*.json);; All files (*)";

function failed(what: string, e: unknown) {
    say(`${what}: ${e instanceof Error ? e.message : String(e)}`, true);
}

export async function start() {
    try {
        store.set({ catalog: new Catalog(await api.nodes()) });
        const { graph, path } = await api.graph();
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
