import { memo, useMemo, useState } from "react";
import { addNode } from "../actions";
import { groupNodes, paletteNodes, searchNodes } from "../catalog";
import { useEditor } from "../store";
import type { NodeInfo } from "../types";

export const DRAG_TYPE = "application/x-orva-node";

const Item = memo(function Item({ node }: { node: NodeInfo }) {
    // Unlisted names (old ones and other names of a node) only show for graphs that use them.
    const deprecated = node.deprecated || !node.listed;
    return (
        <li>
            <button
                type="button"
                className="palette-item"
                draggable
                onDragStart={(e) => {
                    e.dataTransfer.setData(DRAG_TYPE, node.address);
                    e.dataTransfer.effectAllowed = "copy";
                }}
                onClick={() => addNode(node.address)}
                aria-label={`Add ${node.name}${deprecated ? " (deprecated)" : ""}: ${node.brief}`}
                data-testid={`palette-${node.address}`}
            >
                <span className="name">{node.name}</span>
                {node.module !== "utility" && <span className="module">{node.module}</span>}
                {deprecated && <span className="tag">deprecated</span>}
                <span className="brief">{node.brief}</span>
            </button>
        </li>
    );
});

export function Palette() {
    const catalog = useEditor((s) => s.catalog);
    // A string, so that moving nodes does not recompute the palette.
    const usedKey = useEditor((s) => s.doc.nodes.map((n) => n.plugin).join("\n"));
    const [query, setQuery] = useState("");
    const available = useMemo(() => {
        const used = new Set(usedKey.split("\n").map((p) => catalog.resolve(p)?.address ?? ""));
        return paletteNodes(catalog.all, used);
    }, [catalog, usedKey]);
    const found = useMemo(() => (query.trim() ? searchNodes(available, query) : null), [available, query]);
    const groups = useMemo(() => groupNodes(available), [available]);
    return (
        <aside className="palette" aria-label="Node palette">
            <input
                type="search"
                placeholder="Search nodes (/)"
                aria-label="Search nodes"
                data-testid="palette-search"
                value={query}
                onChange={(e) => setQuery(e.target.value)}
                onKeyDown={(e) => {
                    if (e.key === "Enter" && found?.length) addNode(found[0].address);
                    if (e.key === "Escape") setQuery("");
                }}
            />
            {found ? (
                <ul className="palette-list" aria-label="Matching nodes">
                    {found.map((n) => (
                        <Item key={n.address} node={n} />
                    ))}
                    {!found.length && <li className="empty">No node matches</li>}
                </ul>
            ) : (
                groups.map((g) => (
                    <details key={g.group} open>
                        <summary>{g.group}</summary>
                        <ul className="palette-list" aria-label={g.group}>
                            {g.nodes.map((n) => (
                                <Item key={n.address} node={n} />
                            ))}
                        </ul>
                    </details>
                ))
            )}
        </aside>
    );
}
