// The shapes the server's JSON API sends and takes.

export type PinKind = "image" | "map" | "vector" | "long" | "double" | "bool" | "string" | "value";

export interface PinInfo {
    pin: number;
    kind: PinKind;
    label: string;
    optional?: boolean;
}

export type ParamType = "long" | "double" | "double or long" | "bool" | "string" | "value";

export interface ParamInfo {
    key: string;
    type: ParamType;
    value: unknown;
    enum?: string[];
    toggle?: boolean;
    path?: boolean;
    filter?: string;
    save?: boolean;
    visibleIf?: string;
    desc?: string;
    documentationOnly?: boolean;
}

export interface NodeInfo {
    address: string;
    name: string;
    module: string;
    listed: boolean;
    deprecated: boolean;
    pluginType: string;
    subType: string;
    brief: string;
    description: string;
    keywords: string[];
    help?: string;
    parameters: ParamInfo[];
    inputs: PinInfo[];
    outputs: PinInfo[];
}

export interface NodesResponse {
    modules: { name: string; nodes: NodeInfo[] }[];
}

export interface GraphNode {
    id: string;
    plugin: string;
    parameters?: Record<string, unknown>;
    inputs?: (string | null)[] | Record<string, string | null>;
}

export interface GraphUi {
    nodes?: Record<string, { x?: number; y?: number; collapsed?: boolean }>;
}

export interface Graph {
    nodes: GraphNode[];
    ui?: GraphUi;
}

export interface ImageStats {
    type: string;
    size: number[];
    min: number;
    max: number;
    mean: number;
    nonfinite?: number;
    attributes?: Record<string, unknown>;
}

export type Output =
    | { pin: number; kind: "image"; version: number; image: ImageStats; preview: string }
    | { pin: number; kind: "map" | "vector"; json: unknown; version?: number }
    | { pin: number; kind: "long" | "double" | "bool" | "string"; text: string; version?: number }
    | { pin: number; kind: "null"; version?: number };

export type NodeState = "pending" | "running" | "done" | "cached" | "error" | "skipped";

export interface NodeEvent {
    type: "node";
    id: string;
    state: NodeState;
    time_ms?: number;
    message?: string;
    outputs?: Output[];
}

export interface EndEvent {
    type: "end";
    state: "done" | "error" | "cancelled";
}

export type RunEvent = NodeEvent | EndEvent;

export interface FileEntry {
    name: string;
    dir: boolean;
    size?: number;
}
