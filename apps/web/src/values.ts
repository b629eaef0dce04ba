// How output values are shown: the text format's wrappers taken off, numbers kept short,
// vectors of like maps turned into table rows.
import type { ImageStats, Output } from "./types";

// {"@value": v, "@meta": m} -> v, {"@vector": [...]} -> [...], {"@double": "nan"} -> "nan",
// {"@image": {...}} -> a short description; "@@key" -> "@key".
export function unwrap(v: unknown): unknown {
    if (Array.isArray(v)) return v.map(unwrap);
    if (!v || typeof v !== "object") return v;
    const o = v as Record<string, unknown>;
    const keys = Object.keys(o);
    if ("@value" in o && keys.every((k) => k === "@value" || k === "@meta")) return unwrap(o["@value"]);
    if (keys.length === 1) {
        const [k] = keys;
        if (k === "@vector" || k === "@double" || k === "@long") return unwrap(o[k]);
        if (k === "@image") {
            const image = o[k] as { type?: string; size?: number[] } | null;
            return image ? `image ${image.type} ${(image.size ?? []).join(" x ")}` : null;
        }
    }
    return Object.fromEntries(Object.entries(o).map(([k, e]) => [k.startsWith("@@") ? k.slice(1) : k, unwrap(e)]));
}

export interface Table {
    columns: string[];
    rows: unknown[][];
}

// A vector whose entries are all maps of scalars with the same keys reads best as a table.
export function tableOf(v: unknown): Table | null {
    if (!Array.isArray(v) || !v.length) return null;
    const scalar = (e: unknown) => e === null || typeof e !== "object";
    const first = v[0];
    if (!first || typeof first !== "object" || Array.isArray(first)) return null;
    const columns = Object.keys(first);
    if (!columns.length) return null;
    for (const row of v) {
        if (!row || typeof row !== "object" || Array.isArray(row)) return null;
        const keys = Object.keys(row);
        if (keys.length !== columns.length || !keys.every((k) => columns.includes(k))) return null;
        if (!Object.values(row).every(scalar)) return null;
    }
    return { columns, rows: v.map((row) => columns.map((c) => (row as Record<string, unknown>)[c])) };
}

export function shortNumber(n: number): string {
    if (!Number.isFinite(n)) return String(n);
    if (Number.isInteger(n)) return String(n);
    return String(Number(n.toPrecision(5)));
}

export function statsText(image: ImageStats): string {
    const [w = 0, h = 1, d = 1] = image.size;
    const size = d > 1 ? `${w}×${h}×${d}` : `${w}×${h}`;
    const parts = [image.type, size, `min ${shortNumber(image.min)}`, `max ${shortNumber(image.max)}`, `mean ${shortNumber(image.mean)}`];
    if (image.nonfinite) parts.push(`${image.nonfinite} non-finite`);
    return parts.join(" · ");
}

export function pixelText(value: number | number[] | null | undefined): string {
    if (value === null || value === undefined) return "–";
    return Array.isArray(value) ? `(${value.map(shortNumber).join(", ")})` : shortNumber(value);
}

function sameOutput(a: Output, b: Output): boolean {
    if (a.pin !== b.pin || a.kind !== b.kind) return false;
    if (a.kind === "image" && b.kind === "image") return a.version === b.version && a.preview === b.preview;
    return JSON.stringify(a) === JSON.stringify(b);
}

// Keeps the previous output objects where nothing changed, so their previews do not repaint.
export function mergeOutputs(previous: Output[], next: Output[]): Output[] {
    const merged = next.map((o) => previous.find((p) => sameOutput(p, o)) ?? o);
    return merged.length === previous.length && merged.every((o, i) => o === previous[i]) ? previous : merged;
}
