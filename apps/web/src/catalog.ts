// The nodes the server offers: lookup by the name a graph uses, palette search and grouping.
import type { NodeInfo, NodesResponse, PinInfo } from "./types";

export class Catalog {
    readonly all: NodeInfo[];
    private readonly byAddress = new Map<string, NodeInfo>();
    private readonly resolved = new Map<string, NodeInfo | undefined>();

    constructor(response: NodesResponse) {
        this.all = response.modules.flatMap((m) => m.nodes.map((n) => ({ ...n, module: n.module ?? m.name })));
        for (const n of this.all) this.byAddress.set(n.address, n);
    }

    // A graph names a node by its address ("Labeling"), as MODULE::NAME ("utility::Labeling"),
    // or with a path before the module ("/opt/x/bin/filters::Threshold").
    resolve(plugin: string): NodeInfo | undefined {
        if (this.resolved.has(plugin)) return this.resolved.get(plugin);
        let found = this.byAddress.get(plugin);
        const sep = plugin.lastIndexOf("::");
        if (!found && sep >= 0) {
            const module = plugin.slice(0, sep).split("/").pop();
            const name = plugin.slice(sep + 2);
            found = this.all.find((n) => n.module === module && n.name === name);
        }
        this.resolved.set(plugin, found);
        return found;
    }

    // This catalogue with more nodes (those a graph uses that the palette does not list).
    with(nodes: NodeInfo[]): Catalog {
        return new Catalog({ modules: [{ name: "", nodes: [...this.all, ...nodes] }] });
    }

    // Whether a whole number given for this parameter must still be written as a double.
    isReal(plugin: string, key: string): boolean {
        return this.resolve(plugin)?.parameters.find((p) => p.key === key)?.type === "double";
    }
}

// Pins of a node the server does not know, guessed from the wires that use them.
export function guessPins(count: number): PinInfo[] {
    return Array.from({ length: count }, (_, pin) => ({ pin, kind: "value", label: "", optional: true }));
}

// Listed nodes, and unlisted ones (deprecated, other names) only where the graph uses them.
export function paletteNodes(all: NodeInfo[], used: ReadonlySet<string>): NodeInfo[] {
    return all.filter((n) => n.listed || used.has(n.address));
}

// Nodes whose name, keywords or brief hold every word of the query; exact and leading name
// matches first, then name matches, then the rest, each by name.
export function searchNodes(nodes: NodeInfo[], query: string): NodeInfo[] {
    const words = query.toLowerCase().split(/\s+/).filter((w) => w !== "");
    if (!words.length) return nodes;
    const q = words.join(" ");
    const scored: { n: NodeInfo; rank: number }[] = [];
    for (const n of nodes) {
        const name = n.name.toLowerCase();
        const text = [name, ...n.keywords.map((k) => k.toLowerCase()), n.brief.toLowerCase()].join("\n");
        if (!words.every((w) => text.includes(w))) continue;
        const rank = name === q ? 0 : name.startsWith(q) ? 1 : name.includes(q) ? 2 : 3;
        scored.push({ n, rank });
    }
    return scored.sort((a, b) => a.rank - b.rank || a.n.name.localeCompare(b.n.name)).map((s) => s.n);
}

// Palette groups "pluginType / subType", in the order the groups first appear.
export function groupNodes(nodes: NodeInfo[]): { group: string; nodes: NodeInfo[] }[] {
    const groups = new Map<string, NodeInfo[]>();
    for (const n of nodes) {
        const key = [n.pluginType, n.subType].filter(Boolean).join(" / ") || "Other";
        groups.set(key, [...(groups.get(key) ?? []), n]);
    }
    return [...groups].map(([group, list]) => ({ group, nodes: list.sort((a, b) => a.name.localeCompare(b.name)) }));
}
