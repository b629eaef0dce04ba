// The editor's one store. Components read slices of it through `useEditor(selector)` and
// re-render only when their slice changes, so a run event repaints only its own node.
import { useSyncExternalStore } from "react";
import { Catalog } from "./catalog";
import { emptyDoc, type Doc } from "./graph";
import type { NodeState, Output } from "./types";

export interface NodeRun {
    state: NodeState;
    time_ms?: number;
    message?: string;
    outputs: Output[];
}

export type RunState = "idle" | "running" | "done" | "error" | "cancelled" | "failed";

export interface FileRequest {
    mode: "open" | "save";
    title: string;
    filter?: string;
    start: string;
    name?: string;  // proposed file name (save dialogs)
    resolve: (path: string | null) => void;
}

export interface EditorState {
    catalog: Catalog;
    doc: Doc;
    past: Doc[];
    future: Doc[];
    selection: { nodes: string[]; wires: string[] };
    inspected: string | null;  // the node the parameter panel shows
    path: string | null;  // where the graph was loaded from or saved to
    runs: Record<string, NodeRun>;
    run: { id: string | null; state: RunState };
    runOnChange: boolean;
    status: { text: string; error: boolean };
    viewer: { node: string; pin: number } | null;
    fileRequest: FileRequest | null;
    planes: Record<string, number>;  // "node:pin" -> the plane shown of a 3-D image
    fits: number;  // counts requests to fit the graph to the view (a load, a layout)
}

type Listener = () => void;

export function createStore<S>(initial: S) {
    let state = initial;
    const listeners = new Set<Listener>();
    return {
        get: () => state,
        set(update: Partial<S> | ((s: S) => Partial<S>)) {
            const patch = typeof update === "function" ? update(state) : update;
            state = { ...state, ...patch };
            for (const l of listeners) l();
        },
        subscribe(l: Listener) {
            listeners.add(l);
            return () => listeners.delete(l);
        },
    };
}

export const store = createStore<EditorState>({
    catalog: new Catalog({ modules: [] }),
    doc: emptyDoc,
    past: [],
    future: [],
    selection: { nodes: [], wires: [] },
    inspected: null,
    path: null,
    runs: {},
    run: { id: null, state: "idle" },
    runOnChange: false,
    status: { text: "", error: false },
    viewer: null,
    fileRequest: null,
    planes: {},
    fits: 0,
});

// The selector must return a value that stays identical while its slice is unchanged.
export function useEditor<T>(selector: (s: EditorState) => T): T {
    return useSyncExternalStore(store.subscribe, () => selector(store.get()));
}

export function say(text: string, error = false) {
    store.set({ status: { text, error } });
}
