// The server's JSON API. The first visit with ?token=T sets a cookie that images and the event
// stream rely on; fetches also send the token as a header, for a browser that refused the cookie.
import type { FileEntry, Graph, NodeInfo, NodesResponse, RunEvent, NodeEvent } from "./types";

const token = new URLSearchParams(location.search).get("token") ?? sessionStorage.getItem("orva_token");
if (token) sessionStorage.setItem("orva_token", token);

export class ApiError extends Error {}

async function call<T>(path: string, init?: { method?: string; body?: string }): Promise<T> {
    const headers: Record<string, string> = {};
    if (token) headers["X-Orva-Token"] = token;
    if (init?.body !== undefined) headers["Content-Type"] = "application/json";
    const response = await fetch(path, { ...init, headers, credentials: "same-origin" });
    const text = await response.text();
    if (!response.ok) {
        let message = text;
        try {
            const body = JSON.parse(text);
            message = body.error ?? body.message ?? text;
        } catch {
            // not JSON: the text is the message
        }
        throw new ApiError(`${response.status}: ${message || response.statusText}`);
    }
    return JSON.parse(text) as T;
}

const query = (params: Record<string, string | number>) => new URLSearchParams(Object.entries(params).map(([k, v]) => [k, String(v)]));

export const api = {
    nodes: () => call<NodesResponse>("/api/nodes"),
    // One node by the name a graph uses, also one its module does not list.
    node: (address: string) => call<NodeInfo>(`/api/node?${query({ address })}`),
    graph: () => call<{ graph: Graph | null; path: string | null }>("/api/graph"),
    // The graph goes as text: its doubles must keep their decimal point.
    run: (graphText: string) => call<{ run: string }>("/api/run", { method: "POST", body: `{"graph": ${graphText}}` }),
    runState: (id: string) =>
        call<{ state: string; nodes: Record<string, NodeEvent> }>(`/api/run/${encodeURIComponent(id)}`),
    cancel: (id: string) => call<object>(`/api/run/${encodeURIComponent(id)}/cancel`, { method: "POST", body: "{}" }),
    pixel: (node: string, pin: number, x: number, y: number, z: number) =>
        call<{ value: number | number[] | null }>(`/api/pixel/${encodeURIComponent(node)}/${pin}?${query({ x, y, z })}`),
    files: (dir: string) => call<{ dir: string; entries: FileEntry[] }>(`/api/files?${query({ dir })}`),
    save: (path: string, graphText: string) =>
        call<{ path: string }>("/api/save", { method: "POST", body: `{"path": ${JSON.stringify(path)}, "graph": ${graphText}}` }),
    load: (path: string) => call<{ graph: Graph }>(`/api/load?${query({ path })}`),
};

// The preview URL the server gave, with the plane and the longest side asked for.
export function previewUrl(preview: string, plane: number, max: number): string {
    const url = new URL(preview, location.href);
    url.searchParams.set("plane", String(plane));
    url.searchParams.set("max", String(max));
    return url.pathname + url.search;
}

// Follows a run's event stream; falls back to polling the run's state when the stream breaks
// before the end. Returns a function that stops listening.
export function followRun(id: string, onEvent: (e: RunEvent) => void): () => void {
    let stopped = false;
    let timer: ReturnType<typeof setTimeout> | undefined;
    const source = new EventSource(`/api/run/${encodeURIComponent(id)}/events`);
    const stop = () => {
        stopped = true;
        source.close();
        clearTimeout(timer);
    };
    source.onmessage = (m) => {
        const event = JSON.parse(m.data) as RunEvent;
        if (event.type === "end") stop();
        onEvent(event);
    };
    source.onerror = () => {
        if (stopped) return;
        source.close();
        const poll = async () => {
            try {
                const state = await api.runState(id);
                if (stopped) return;
                for (const e of Object.values(state.nodes)) onEvent({ ...e, type: "node" });
                if (state.state !== "running") {
                    stop();
                    onEvent({ type: "end", state: state.state === "done" ? "done" : state.state === "cancelled" ? "cancelled" : "error" });
                    return;
                }
            } catch {
                // the server may be busy; keep polling
            }
            if (!stopped) timer = setTimeout(poll, 150);
        };
        poll();
    };
    return stop;
}
