// Evaluates a parameter's "visible_if" condition against the other parameters' current values.
// Nodes write these conditions freely (`mode == "IMAGE"`, `mode=IMAGE`, `!run_once`), so the
// reading is lenient: terms joined by && and ||, each a key, a negated key or a comparison. A
// condition that cannot be read, or that names an unknown key, shows the field.

class Unreadable extends Error {}

type Lookup = (key: string) => { found: boolean; value: unknown };

const KEY = "[A-Za-z_][\\w/]*";
const FLAG = new RegExp(`^(!+)?\\s*(${KEY})$`);
const COMPARE = new RegExp(`^(${KEY})\\s*(==|!=|=|<>)\\s*(.*)$`);

function valueOf(lookup: Lookup, key: string): unknown {
    const { found, value } = lookup(key);
    if (!found) throw new Unreadable(key);
    return value;
}

function truthy(v: unknown): boolean {
    if (typeof v === "string") return !["", "false", "0"].includes(v.trim().toLowerCase());
    return Boolean(v);
}

function unquote(text: string): string {
    const t = text.trim();
    return /^(".*"|'.*')$/.test(t) ? t.slice(1, -1) : t;
}

export function sameValue(current: unknown, written: string): boolean {
    const a = String(current).trim();
    const b = unquote(written).trim();
    if (a === b) return true;
    if (a !== "" && b !== "" && Number.isFinite(Number(a)) && Number(a) === Number(b)) return true;
    return typeof current === "boolean" && b.toLowerCase() === String(current);
}

function term(text: string, lookup: Lookup): boolean {
    let t = text.trim();
    while (/^\(.*\)$/.test(t)) t = t.slice(1, -1).trim();
    const flag = FLAG.exec(t);
    if (flag) return truthy(valueOf(lookup, flag[2])) !== ((flag[1]?.length ?? 0) % 2 === 1);
    const cmp = COMPARE.exec(t);
    if (!cmp || cmp[3].trim() === "") throw new Unreadable(t);
    const equal = sameValue(valueOf(lookup, cmp[1]), cmp[3]);
    return cmp[2] === "!=" || cmp[2] === "<>" ? !equal : equal;
}

export function isVisible(condition: string | undefined, lookup: Lookup): boolean {
    if (!condition || !condition.trim()) return true;
    try {
        return condition.split("||").some((any) => any.split("&&").every((all) => term(all, lookup)));
    } catch (e) {
        if (e instanceof Unreadable) return true;
        throw e;
    }
}
