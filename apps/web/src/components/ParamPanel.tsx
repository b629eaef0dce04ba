import { useEffect, useState, type ReactNode } from "react";
import * as A from "../actions";
import { wireKey } from "../graph";
import { dirOf, enumChoices, formatNumber, isNumeric, parseNumber } from "../params";
import { useEditor, store } from "../store";
import type { ParamInfo } from "../types";
import { isVisible } from "../visibleIf";

// The generated start of every parameter description; the field shows the type on its own.
const TYPE_PREAMBLE = /^The type of this parameter is of type [^.]*\.\s*/;

type Commit = (text: string) => string | null;  // null when taken, else why not

// A text field that keeps what is typed until Enter or leaving the field commits it; Escape
// brings back the stored value. `check` refuses text as it is typed.
function DraftInput(props: { id: string; value: string; commit: Commit; check?: (t: string) => string | null; describedBy?: string; testid?: string }) {
    const [draft, setDraft] = useState(props.value);
    const [error, setError] = useState<string | null>(null);
    useEffect(() => {
        setDraft(props.value);
        setError(null);
    }, [props.value]);
    const commit = () => {
        if (draft === props.value) return;
        setError(props.check?.(draft) ?? props.commit(draft));
    };
    const errorId = `${props.id}-error`;
    return (
        <>
            <input
                id={props.id}
                type="text"
                value={draft}
                aria-invalid={error ? true : undefined}
                aria-describedby={[error ? errorId : "", props.describedBy ?? ""].join(" ").trim() || undefined}
                data-testid={props.testid}
                onChange={(e) => {
                    setDraft(e.target.value);
                    setError(props.check?.(e.target.value) ?? null);
                }}
                onBlur={commit}
                onKeyDown={(e) => {
                    if (e.key === "Enter") commit();
                    if (e.key === "Escape") setDraft(props.value);
                }}
            />
            {error && (
                <span className="field-error" role="alert" id={errorId}>
                    {error}
                </span>
            )}
        </>
    );
}

function Control({ node, param, value, id, helpId }: { node: string; param: ParamInfo; value: unknown; id: string; helpId?: string }) {
    const set = (v: unknown) => A.setParam(node, param.key, v);
    const testid = `param-${param.key}`;
    if (param.type === "bool")
        return (
            <input
                id={id}
                type="checkbox"
                role="switch"
                className={param.toggle ? "toggle-button" : undefined}
                checked={value === true || value === "true"}
                onChange={(e) => set(e.target.checked)}
                aria-describedby={helpId}
                data-testid={testid}
            />
        );
    if (param.enum?.length) {
        const current = String(value ?? "").trim();
        return (
            <select
                id={id}
                value={current}
                aria-describedby={helpId}
                data-testid={testid}
                onChange={(e) => set(isNumeric(param.type) ? Number(e.target.value) : e.target.value)}
            >
                {enumChoices(param, value).map((c) => (
                    <option key={c} value={c}>
                        {c}
                    </option>
                ))}
            </select>
        );
    }
    if (isNumeric(param.type)) {
        const check = (t: string) => {
            const parsed = parseNumber(t, param.type);
            return parsed.ok ? null : parsed.error;
        };
        const commit = (t: string) => {
            const parsed = parseNumber(t, param.type);
            if (!parsed.ok) return parsed.error;
            set(parsed.value);
            return null;
        };
        return <DraftInput id={id} value={formatNumber(value, param.type)} check={check} commit={commit} describedBy={helpId} testid={testid} />;
    }
    if (param.type === "value" && value !== null && typeof value === "object") {
        const commit = (t: string) => {
            try {
                set(JSON.parse(t));
                return null;
            } catch {
                return "JSON is expected";
            }
        };
        return <DraftInput id={id} value={JSON.stringify(value)} commit={commit} describedBy={helpId} testid={testid} />;
    }
    const text = (
        <DraftInput
            id={id}
            value={String(value ?? "")}
            commit={(t) => {
                set(t);
                return null;
            }}
            describedBy={helpId}
            testid={testid}
        />
    );
    if (!param.path) return text;
    const browse = async () => {
        const path = await A.pickFile({
            mode: param.save ? "save" : "open",
            title: `${param.save ? "Save" : "Choose"} ${param.key}`,
            filter: param.filter,
            start: dirOf(String(value ?? "")),
        });
        if (path) set(path);
    };
    return (
        <div className="path-field">
            {text}
            <button type="button" onClick={browse} aria-label={`Browse for ${param.key}`} data-testid={`browse-${param.key}`}>
                Browse…
            </button>
        </div>
    );
}

function Field({ node, param, value, isSet }: { node: string; param: ParamInfo; value: unknown; isSet: boolean }) {
    const id = `param-${node}-${param.key}`;
    const help = (param.desc ?? "").replace(TYPE_PREAMBLE, "").trim();
    const helpId = help ? `${id}-help` : undefined;
    return (
        <div className={`field${isSet ? " set" : ""}`} data-testid={`field-${param.key}`}>
            <div className="field-head">
                <label htmlFor={id}>{param.key}</label>
                <span className="field-type">{param.type}</span>
                {isSet && (
                    <button type="button" className="reset" onClick={() => A.resetParam(node, param.key)} aria-label={`Reset ${param.key} to its default`} title="Back to the default">
                        ↺
                    </button>
                )}
            </div>
            <Control node={node} param={param} value={value} id={id} helpId={helpId} />
            {help && (
                <p className="help" id={helpId}>
                    {help}
                </p>
            )}
        </div>
    );
}

function Section({ title, children }: { title: string; children: ReactNode }) {
    return (
        <section aria-label={title}>
            <h3>{title}</h3>
            {children}
        </section>
    );
}

function IdField({ node }: { node: string }) {
    return (
        <div className="field">
            <label htmlFor="node-id">Id</label>
            <DraftInput id="node-id" value={node} commit={(t) => A.renameNode(node, t.trim())} testid="node-id" />
        </div>
    );
}

export function ParamPanel() {
    const id = useEditor((s) => s.inspected);
    const node = useEditor((s) => s.doc.nodes.find((n) => n.id === s.inspected));
    const info = useEditor((s) => (node ? s.catalog.resolve(node.plugin) : undefined));
    const wires = useEditor((s) => s.doc.wires);
    if (!id || !node)
        return (
            <aside className="panel" aria-label="Parameters" data-testid="param-panel">
                <p className="hint">Select a node to see its parameters.</p>
            </aside>
        );
    const declared = info?.parameters ?? [];
    const valueOf = (p: ParamInfo) => (p.key in node.params ? node.params[p.key] : p.value);
    const lookup = (key: string) => {
        const p = declared.find((d) => d.key === key);
        return { found: p !== undefined || key in node.params, value: p ? valueOf(p) : node.params[key] };
    };
    // Keys the graph sets that the node does not declare are still shown and editable.
    const extra: ParamInfo[] = Object.keys(node.params)
        .filter((k) => !declared.some((p) => p.key === k))
        .map((key) => ({ key, type: "value", value: node.params[key] }));
    const fields = [...declared.filter((p) => !p.documentationOnly), ...extra].filter((p) => isVisible(p.visibleIf, lookup));
    const pins = A.pinsOf(node, store.get().doc);
    return (
        <aside className="panel" aria-label={`Parameters of ${node.id}`} data-testid="param-panel">
            <IdField node={node.id} />
            <h2>
                {info?.name ?? node.plugin}
                {info && (info.deprecated || !info.listed) && <span className="tag">deprecated</span>}
                {!info && <span className="tag">unknown node</span>}
            </h2>
            {info?.brief && <p className="brief">{info.brief}</p>}
            {info?.help && (
                <a href={info.help} target="_blank" rel="noopener" data-testid="help-link">
                    Help page of {info.name}
                </a>
            )}
            {info?.description && (
                <details className="description">
                    <summary>Description</summary>
                    <pre>{info.description}</pre>
                </details>
            )}
            <Section title="Parameters">
                {fields.length === 0 && <p className="hint">This node has no parameters.</p>}
                {fields.map((p) => (
                    <Field key={`${node.id}/${p.key}`} node={node.id} param={p} value={valueOf(p)} isSet={p.key in node.params} />
                ))}
            </Section>
            {pins.inputs.length > 0 && (
                <Section title="Inputs">
                    <ul className="inputs">
                        {pins.inputs.map((p) => {
                            const wire = wires.find((w) => w.to === node.id && w.toPin === p.pin);
                            return (
                                <li key={p.pin}>
                                    <span className={p.optional ? "optional" : undefined}>
                                        {p.pin} {p.kind}
                                        {p.optional ? " (optional)" : ""}
                                    </span>{" "}
                                    {wire ? (
                                        <>
                                            from {wire.from}:{wire.fromPin}{" "}
                                            <button type="button" onClick={() => A.deleteItems([], [wireKey(wire)])} aria-label={`Disconnect input ${p.pin} of ${node.id}`}>
                                                Disconnect
                                            </button>
                                        </>
                                    ) : (
                                        "not connected"
                                    )}
                                    {p.label && <div className="help">{p.label}</div>}
                                </li>
                            );
                        })}
                    </ul>
                </Section>
            )}
        </aside>
    );
}
