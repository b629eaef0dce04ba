import {
    Background,
    Controls,
    ReactFlow,
    useReactFlow,
    type Connection,
    type Edge,
    type FinalConnectionState,
    type Node,
    type NodeChange,
    type EdgeChange,
} from "@xyflow/react";
import { useCallback, useEffect, useMemo, useRef, useState } from "react";
import * as A from "../actions";
import { wireKey, type EditorNode } from "../graph";
import { store, useEditor } from "../store";
import { GraphNodeView } from "./GraphNode";
import { DRAG_TYPE } from "./Palette";

const nodeTypes = { orva: GraphNodeView };
const pinOf = (handle: string | null | undefined) => Number((handle ?? "").slice(1));

type Size = { width: number; height: number };

function changeSelection(kind: "nodes" | "wires", changes: { id: string; selected: boolean }[]) {
    store.set((s) => {
        const chosen = new Set(s.selection[kind]);
        for (const c of changes) {
            if (c.selected) chosen.add(c.id);
            else chosen.delete(c.id);
        }
        const selection = { ...s.selection, [kind]: [...chosen] };
        const inspected = kind === "nodes" && selection.nodes.length === 1 ? selection.nodes[0] : s.inspected;
        return { selection, inspected };
    });
}

function onNodesChange(changes: NodeChange[], setMeasured: (f: (m: Record<string, Size>) => Record<string, Size>) => void) {
    const moves: { id: string; x: number; y: number }[] = [];
    const selects: { id: string; selected: boolean }[] = [];
    const sizes: Record<string, Size> = {};
    for (const c of changes) {
        if (c.type === "position" && c.position) moves.push({ id: c.id, ...c.position });
        else if (c.type === "select") selects.push(c);
        else if (c.type === "dimensions" && c.dimensions) sizes[c.id] = c.dimensions;
    }
    if (moves.length) A.moveNodes(moves);
    if (selects.length) changeSelection("nodes", selects);
    if (Object.keys(sizes).length) setMeasured((m) => ({ ...m, ...sizes }));
}

function onEdgesChange(changes: EdgeChange[]) {
    const selects = changes.filter((c) => c.type === "select");
    if (selects.length) changeSelection("wires", selects);
}

function onConnect(c: Connection) {
    A.connectPins(c.source, pinOf(c.sourceHandle), c.target, pinOf(c.targetHandle));
}

function isValidConnection(c: Connection | Edge) {
    return A.refuseWire(c.source, pinOf(c.sourceHandle), c.target, pinOf(c.targetHandle)) === null;
}

function onDelete({ nodes, edges }: { nodes: Node[]; edges: Edge[] }) {
    A.deleteItems(nodes.map((n) => n.id), edges.map((e) => e.id));
}

// A wire dropped on a pin that refuses it: say why.
function onConnectEnd(_: MouseEvent | TouchEvent, state: FinalConnectionState) {
    if (state.isValid || !state.fromHandle || !state.toHandle) return;
    const [out, input] = state.fromHandle.type === "source" ? [state.fromHandle, state.toHandle] : [state.toHandle, state.fromHandle];
    A.connectPins(out.nodeId, pinOf(out.id), input.nodeId, pinOf(input.id));
}

export function Canvas() {
    const doc = useEditor((s) => s.doc);
    const selection = useEditor((s) => s.selection);
    const fits = useEditor((s) => s.fits);
    const flow = useReactFlow();
    const wrapper = useRef<HTMLDivElement>(null);
    const [measured, setMeasured] = useState<Record<string, Size>>({});
    const nodesChanged = useCallback((changes: NodeChange[]) => onNodesChange(changes, setMeasured), []);

    // React Flow gets a new node object only when that node changed, so the others keep still.
    const cache = useRef(new Map<string, { src: EditorNode; selected: boolean; size?: Size; node: Node }>());
    const nodes = useMemo(() => {
        const chosen = new Set(selection.nodes);
        const next = new Map<string, { src: EditorNode; selected: boolean; size?: Size; node: Node }>();
        const list = doc.nodes.map((n) => {
            const selected = chosen.has(n.id);
            const size = measured[n.id];
            let entry = cache.current.get(n.id);
            if (!entry || entry.src !== n || entry.selected !== selected || entry.size !== size) {
                const node: Node = { id: n.id, type: "orva", position: { x: n.x, y: n.y }, data: {}, selected, measured: size };
                entry = { src: n, selected, size, node };
            }
            next.set(n.id, entry);
            return entry.node;
        });
        cache.current = next;
        return list;
    }, [doc.nodes, selection.nodes, measured]);

    const edges = useMemo(() => {
        const chosen = new Set(selection.wires);
        return doc.wires.map((w): Edge => {
            const id = wireKey(w);
            return {
                id,
                source: w.from,
                sourceHandle: `o${w.fromPin}`,
                target: w.to,
                targetHandle: `i${w.toPin}`,
                selected: chosen.has(id),
                ariaLabel: `Wire from ${w.from} output ${w.fromPin} to ${w.to} input ${w.toPin}`,
            };
        });
    }, [doc.wires, selection.wires]);

    useEffect(() => {
        A.setPlacement(() => {
            const box = wrapper.current!.getBoundingClientRect();
            const centre = flow.screenToFlowPosition({ x: box.left + box.width / 2, y: box.top + box.height / 2 });
            return { x: Math.round(centre.x - 110), y: Math.round(centre.y - 60) };
        });
    }, [flow]);

    // A loaded or laid out graph is fitted to the view once its nodes have their sizes.
    useEffect(() => {
        const frame = requestAnimationFrame(() => requestAnimationFrame(() => flow.fitView({ padding: 0.1, maxZoom: 1 })));
        return () => cancelAnimationFrame(frame);
    }, [fits, flow]);

    const onDrop = useCallback(
        (e: React.DragEvent) => {
            const address = e.dataTransfer.getData(DRAG_TYPE);
            if (!address) return;
            e.preventDefault();
            A.addNode(address, flow.screenToFlowPosition({ x: e.clientX, y: e.clientY }));
        },
        [flow],
    );

    return (
        <div className="flow" ref={wrapper}>
            <ReactFlow
                nodes={nodes}
                edges={edges}
                nodeTypes={nodeTypes}
                onNodesChange={nodesChanged}
                onEdgesChange={onEdgesChange}
                onConnect={onConnect}
                onConnectEnd={onConnectEnd}
                isValidConnection={isValidConnection}
                onNodeDragStart={A.beginDrag}
                onNodeDragStop={A.endDrag}
                onDelete={onDelete}
                onDragOver={(e) => {
                    if (!e.dataTransfer.types.includes(DRAG_TYPE)) return;
                    e.preventDefault();
                    e.dataTransfer.dropEffect = "copy";
                }}
                onDrop={onDrop}
                deleteKeyCode={["Delete", "Backspace"]}
                minZoom={0.1}
                maxZoom={4}
                fitView
            >
                <Background gap={20} />
                <Controls />
            </ReactFlow>
        </div>
    );
}
