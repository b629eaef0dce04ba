import * as A from "../actions";
import { openGraph, saveGraph, saveGraphAs } from "../commands";
import { cancelRun, runGraph } from "../run";
import { store, useEditor } from "../store";

function Button(props: { label: string; keys?: string; onClick: () => void; disabled?: boolean; testid?: string }) {
    return (
        <button
            type="button"
            onClick={props.onClick}
            disabled={props.disabled}
            title={props.keys ? `${props.label} (${props.keys})` : props.label}
            aria-keyshortcuts={props.keys}
            data-testid={props.testid}
        >
            {props.label}
        </button>
    );
}

export function Toolbar() {
    const path = useEditor((s) => s.path);
    const canUndo = useEditor((s) => s.past.length > 0);
    const canRedo = useEditor((s) => s.future.length > 0);
    const hasSelection = useEditor((s) => s.selection.nodes.length + s.selection.wires.length > 0);
    const runState = useEditor((s) => s.run.state);
    const runId = useEditor((s) => s.run.id);
    const running = runState === "running";
    const runOnChange = useEditor((s) => s.runOnChange);
    const status = useEditor((s) => s.status);
    // "2 of 4" while a run goes on: nodes that finished, of all nodes.
    const progress = useEditor((s) => {
        if (s.run.state !== "running") return "";
        const states = s.doc.nodes.map((n) => s.runs[n.id]?.state);
        const ended = states.filter((st) => st && st !== "pending" && st !== "running").length;
        return ` ${ended} of ${states.length}`;
    });
    return (
        <header className="toolbar" role="toolbar" aria-label="Editor commands">
            <strong className="brand">orva</strong>
            <Button label="New" onClick={A.newGraph} testid="new" />
            <Button label="Open" keys="Control+O" onClick={openGraph} testid="open" />
            <Button label="Save" keys="Control+S" onClick={saveGraph} testid="save" />
            <Button label="Save as" keys="Control+Shift+S" onClick={saveGraphAs} testid="save-as" />
            <span className="sep" />
            <Button label="Undo" keys="Control+Z" onClick={A.undo} disabled={!canUndo} testid="undo" />
            <Button label="Redo" keys="Control+Y" onClick={A.redo} disabled={!canRedo} testid="redo" />
            <Button label="Delete" keys="Delete" onClick={A.deleteSelection} disabled={!hasSelection} testid="delete" />
            <Button label="Layout" onClick={A.autoLayout} testid="layout" />
            <span className="sep" />
            <Button label="Run" keys="Control+Enter" onClick={runGraph} testid="run" />
            <Button label="Cancel" onClick={cancelRun} disabled={!running} testid="cancel" />
            <label className="toggle">
                <input
                    type="checkbox"
                    role="switch"
                    checked={runOnChange}
                    onChange={(e) => store.set({ runOnChange: e.target.checked })}
                    data-testid="run-on-change"
                />
                Run on change
            </label>
            <span className="path" data-testid="graph-path" title="Graph file">
                {path ?? "unsaved graph"}
            </span>
            <span
                className={status.error ? "status error" : "status"}
                role={status.error ? "alert" : "status"}
                aria-live="polite"
                data-testid="status"
                data-run={runState}
                data-run-id={runId ?? undefined}
            >
                {status.text}
                {progress}
            </span>
        </header>
    );
}
