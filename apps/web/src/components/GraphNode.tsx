import { Handle, Position, type NodeProps } from "@xyflow/react";
import { memo } from "react";
import { pinsOf, setCollapsed } from "../actions";
import { wireKey } from "../graph";
import { store, useEditor } from "../store";
import type { PinInfo } from "../types";
import { OutputPreview } from "./Preview";

const STATE_TEXT: Record<string, string> = {
    pending: "waiting",
    running: "running…",
    done: "done",
    cached: "cached",
    error: "error",
    skipped: "skipped",
};

function Pin({ node, pin, side, connected }: { node: string; pin: PinInfo; side: "in" | "out"; connected: boolean }) {
    const what = `${side === "in" ? "Input" : "Output"} ${pin.pin} (${pin.kind}${pin.optional ? ", optional" : ""})`;
    const classes = ["pin-handle", `kind-${pin.kind}`, pin.optional ? "optional" : "", connected ? "connected" : ""];
    return (
        <div className={`pin ${side}`}>
            <Handle
                type={side === "in" ? "target" : "source"}
                position={side === "in" ? Position.Left : Position.Right}
                id={`${side === "in" ? "i" : "o"}${pin.pin}`}
                className={classes.join(" ")}
                title={pin.label ? `${what}: ${pin.label}` : what}
                aria-label={`${what} of ${node}${pin.label ? `: ${pin.label}` : ""}`}
                data-testid={`${side}-${node}-${pin.pin}`}
            />
            <span className="pin-name">
                {side === "in" ? `${pin.pin} ${pin.kind}` : `${pin.kind} ${pin.pin}`}
            </span>
        </div>
    );
}

export const GraphNodeView = memo(function GraphNodeView({ id, selected }: NodeProps) {
    const node = useEditor((s) => s.doc.nodes.find((n) => n.id === id));
    const info = useEditor((s) => (node ? s.catalog.resolve(node.plugin) : undefined));
    // Re-render when this node's wires change (a text, so other edits leave it alone).
    useEditor((s) => s.doc.wires.filter((w) => w.to === id || w.from === id).map(wireKey).join(" "));
    const run = useEditor((s) => s.runs[id]);
    if (!node) return null;
    const { doc } = store.get();
    const pins = pinsOf(node, doc);
    const connectedIn = new Set(doc.wires.filter((w) => w.to === id).map((w) => w.toPin));
    const connectedOut = new Set(doc.wires.filter((w) => w.from === id).map((w) => w.fromPin));
    const state = run?.state ?? "idle";
    const name = info?.name ?? node.plugin;
    const stale = state !== "done" && state !== "cached";
    return (
        <div
            className={`gnode state-${state}${selected ? " selected" : ""}`}
            role="group"
            aria-label={`Node ${id} (${name})`}
            data-testid={`node-${id}`}
            data-state={state}
        >
            <div className="gnode-head">
                <span className="gnode-title" data-testid={`title-${id}`}>
                    {id}
                </span>
                <span className="gnode-plugin">{name}</span>
                <button
                    type="button"
                    className="fold nodrag"
                    aria-expanded={!node.collapsed}
                    aria-label={`${node.collapsed ? "Show" : "Hide"} previews of ${id}`}
                    onClick={() => setCollapsed(id, !node.collapsed)}
                >
                    {node.collapsed ? "▸" : "▾"}
                </button>
            </div>
            {(!info || info.deprecated || !info.listed) && (
                <div className="gnode-tag">{info ? "deprecated" : "unknown node"}</div>
            )}
            {run && (
                <div className="gnode-state" role="status" aria-label={`State of ${id}`} data-testid={`state-${id}`}>
                    {STATE_TEXT[state] ?? state}
                    {run.time_ms !== undefined && (state === "done" || state === "error") && ` · ${run.time_ms.toFixed(1)} ms`}
                </div>
            )}
            <div className="gnode-pins">
                <div className="pins-in">
                    {pins.inputs.map((p) => (
                        <Pin key={p.pin} node={id} pin={p} side="in" connected={connectedIn.has(p.pin)} />
                    ))}
                </div>
                <div className="pins-out">
                    {pins.outputs.map((p) => (
                        <Pin key={p.pin} node={id} pin={p} side="out" connected={connectedOut.has(p.pin)} />
                    ))}
                </div>
            </div>
            {state === "error" && (
                <div className="gnode-error" role="alert" aria-label={`Error of ${id}`} data-testid={`error-${id}`}>
                    {run?.message || "failed"}
                </div>
            )}
            {!node.collapsed &&
                run?.outputs.map((o) => <OutputPreview key={o.pin} node={id} output={o} stale={stale} />)}
        </div>
    );
});
