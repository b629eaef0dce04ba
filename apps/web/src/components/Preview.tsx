import { memo, useMemo, useState } from "react";
import { previewUrl } from "../api";
import { store, useEditor } from "../store";
import type { Output } from "../types";
import { statsText, tableOf, unwrap } from "../values";

export const THUMB = 206;
const THUMB_HEIGHT = 160;
const SHOWN = 100;  // entries of a map or vector shown before "more"

export function planeKey(node: string, pin: number) {
    return `${node}:${pin}`;
}

export function setPlane(node: string, pin: number, plane: number) {
    store.set((s) => ({ planes: { ...s.planes, [planeKey(node, pin)]: plane } }));
}

function ImagePreview({ node, output }: { node: string; output: Extract<Output, { kind: "image" }> }) {
    const plane = useEditor((s) => s.planes[planeKey(node, output.pin)] ?? 0);
    const [w = 1, h = 1, depth = 1] = output.image.size;
    // Sized before it loads, so the node does not jump; small images are scaled up.
    const scale = Math.min(THUMB / w, THUMB_HEIGHT / h);
    return (
        <>
            <button
                type="button"
                className="thumb nodrag"
                onClick={() => store.set({ viewer: { node, pin: output.pin } })}
                aria-label={`Open output ${output.pin} of ${node} full size`}
            >
                <img
                    src={previewUrl(output.preview, Math.min(plane, depth - 1), THUMB)}
                    alt={`Output ${output.pin} of ${node}`}
                    loading="lazy"
                    decoding="async"
                    width={Math.max(1, Math.round(w * scale))}
                    height={Math.max(1, Math.round(h * scale))}
                    className={scale > 1 ? "pixelated" : undefined}
                    data-testid={`thumb-${node}-${output.pin}`}
                    data-version={output.version}
                />
            </button>
            {depth > 1 && (
                <label className="plane nodrag">
                    <input
                        type="range"
                        min={0}
                        max={depth - 1}
                        value={plane}
                        onChange={(e) => setPlane(node, output.pin, Number(e.target.value))}
                        aria-label={`Plane of output ${output.pin} of ${node}`}
                    />
                    <span>
                        {Math.min(plane, depth - 1)} / {depth}
                    </span>
                </label>
            )}
            <figcaption data-testid={`stats-${node}-${output.pin}`}>{statsText(output.image)}</figcaption>
        </>
    );
}

// A map or vector as a tree whose branches open on demand; a closed branch renders nothing.
export function JsonTree({ name, value, open = false }: { name: string; value: unknown; open?: boolean }) {
    const [isOpen, setOpen] = useState(open);
    if (value === null || typeof value !== "object")
        return (
            <div className="leaf">
                <span className="key">{name}</span>: <span className={`v-${typeof value}`}>{JSON.stringify(value)}</span>
            </div>
        );
    const entries = Array.isArray(value) ? value.map((v, i) => [String(i), v] as const) : Object.entries(value);
    return (
        <details open={isOpen} onToggle={(e) => setOpen((e.target as HTMLDetailsElement).open)}>
            <summary>
                <span className="key">{name}</span> {Array.isArray(value) ? `[${entries.length}]` : `{${entries.length}}`}
            </summary>
            {isOpen && (
                <div className="branch">
                    {entries.slice(0, SHOWN).map(([k, v]) => (
                        <JsonTree key={k} name={k} value={v} />
                    ))}
                    {entries.length > SHOWN && <div className="more">… {entries.length - SHOWN} more</div>}
                </div>
            )}
        </details>
    );
}

function JsonPreview({ node, output }: { node: string; output: Extract<Output, { kind: "map" | "vector" }> }) {
    const value = useMemo(() => unwrap(output.json), [output.json]);
    const table = useMemo(() => tableOf(value), [value]);
    return (
        <div className="json nodrag nowheel" data-testid={`json-${node}-${output.pin}`}>
            {table && (
                <table aria-label={`Output ${output.pin} of ${node} as a table`} data-testid={`table-${node}-${output.pin}`}>
                    <thead>
                        <tr>
                            {table.columns.map((c) => (
                                <th key={c} scope="col">
                                    {c}
                                </th>
                            ))}
                        </tr>
                    </thead>
                    <tbody>
                        {table.rows.slice(0, SHOWN).map((row, i) => (
                            <tr key={i}>
                                {row.map((cell, j) => (
                                    <td key={j}>{String(cell)}</td>
                                ))}
                            </tr>
                        ))}
                    </tbody>
                </table>
            )}
            <JsonTree name={output.kind} value={value} open={!table} />
        </div>
    );
}

export const OutputPreview = memo(function OutputPreview({ node, output, stale }: { node: string; output: Output; stale: boolean }) {
    let body;
    switch (output.kind) {
        case "image":
            body = <ImagePreview node={node} output={output} />;
            break;
        case "map":
        case "vector":
            body = <JsonPreview node={node} output={output} />;
            break;
        case "null":
            body = <span className="empty">no value</span>;
            break;
        default:
            body = (
                <output className="text-out" data-testid={`text-${node}-${output.pin}`}>
                    {output.text}
                </output>
            );
    }
    return (
        <figure
            className={`preview${stale ? " stale" : ""}`}
            aria-label={`Output ${output.pin} of ${node}`}
            data-testid={`preview-${node}-${output.pin}`}
            data-kind={output.kind}
        >
            <div className="preview-pin">out {output.pin}</div>
            {body}
        </figure>
    );
});
