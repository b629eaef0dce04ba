// Reading what the user types into parameter fields, and the file-dialog helpers.
import type { ParamInfo, ParamType } from "./types";

export type Parsed = { ok: true; value: number } | { ok: false; error: string };

const INTEGER = /^[+-]?\d+$/;
const REAL = /^[+-]?(\d+\.?\d*|\.\d+)([eE][+-]?\d+)?$/;
// Doubles may be NaN or infinite; the graph file writes them as {"@double": "nan"}.
const SPECIAL = new Map([["nan", NaN], ["inf", Infinity], ["+inf", Infinity], ["-inf", -Infinity]]);
// Longs are 32-bit in the value model.
const LONG_MIN = -2147483648;
const LONG_MAX = 2147483647;

export function parseNumber(text: string, type: ParamType): Parsed {
    const t = text.trim();
    if (type === "long" || (type === "double or long" && INTEGER.test(t))) {
        if (!INTEGER.test(t)) return { ok: false, error: "a whole number is expected" };
        const value = Number(t);
        if (value < LONG_MIN || value > LONG_MAX) return { ok: false, error: "out of the range of a long" };
        return { ok: true, value };
    }
    const special = SPECIAL.get(t.toLowerCase());
    if (special !== undefined) return { ok: true, value: special };
    if (!REAL.test(t)) return { ok: false, error: "a number is expected" };
    const value = Number(t);
    if (!Number.isFinite(value)) return { ok: false, error: "out of the range of a double" };
    return { ok: true, value };
}

export function isNumeric(type: ParamType): boolean {
    return type === "long" || type === "double" || type === "double or long";
}

// Shows a double with a point even when whole ("2.0"), so the field says what kind it holds.
export function formatNumber(v: unknown, type: ParamType): string {
    if (v && typeof v === "object" && "@double" in v) v = (v as { "@double": unknown })["@double"];
    if (typeof v !== "number") return v === undefined || v === null ? "" : String(v);
    if (!Number.isFinite(v)) return Number.isNaN(v) ? "nan" : v > 0 ? "inf" : "-inf";
    const text = String(v);
    return type === "double" && /^-?\d+$/.test(text) ? `${text}.0` : text;
}

// The drop-down's choices: the allowed values, with the current one added when it is not
// among them (so a graph from elsewhere is shown as it is, not silently changed).
export function enumChoices(param: ParamInfo, current: unknown): string[] {
    const choices = (param.enum ?? []).map((e) => e.trim()).filter((e) => e !== "");
    const now = String(current ?? "").trim();
    return now === "" || choices.includes(now) ? choices : [now, ...choices];
}

export interface FilterGroup {
    label: string;
    patterns: string[];
}

// "Images (*.png *.tif);; All files (*.*)" -> two groups; a group without patterns takes all.
export function parseFilter(filter: string | undefined): FilterGroup[] {
    const groups = (filter ?? "")
        .split(";;")
        .map((g) => g.trim())
        .filter((g) => g !== "")
        .map((label) => {
            const inner = /\(([^)]*)\)\s*$/.exec(label);
            const patterns = inner ? inner[1].split(/\s+/).filter((p) => p !== "") : [];
            return { label, patterns: patterns.length ? patterns : ["*"] };
        });
    return groups.length ? groups : [{ label: "All files", patterns: ["*"] }];
}

// Glob match of a file name, case-insensitive; "*.*" takes names without a dot too.
export function matchesFilter(name: string, patterns: string[]): boolean {
    return patterns.some((p) => {
        if (p === "*" || p === "*.*") return true;
        const re = p.replace(/[.+^${}()|[\]\\]/g, "\\$&").replace(/\*/g, ".*").replace(/\?/g, ".");
        return new RegExp(`^${re}$`, "i").test(name);
    });
}

export function joinPath(dir: string, name: string): string {
    if (name === "..") return parentDir(dir);
    return dir === "" || dir === "." ? name : `${dir.replace(/\/+$/, "")}/${name}`;
}

export function parentDir(path: string): string {
    const parts = path.split("/").filter((p) => p !== "" && p !== ".");
    parts.pop();
    return parts.join("/");
}

// The directory part of a relative path ("" for a bare name), where a file dialog starts.
export function dirOf(path: string | null | undefined): string {
    if (!path || path.includes("%") || path.startsWith("/")) return "";
    return parentDir(path);
}
