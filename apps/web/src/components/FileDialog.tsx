import { useEffect, useRef, useState } from "react";
import { api } from "../api";
import { joinPath, matchesFilter, parentDir, parseFilter } from "../params";
import { store, useEditor } from "../store";
import type { FileEntry } from "../types";

// Browses the server's root for a file to open or a name to save under.
export function FileDialog() {
    const request = useEditor((s) => s.fileRequest);
    const dialog = useRef<HTMLDialogElement>(null);
    const [dir, setDir] = useState("");
    const [entries, setEntries] = useState<FileEntry[]>([]);
    const [name, setName] = useState("");
    const [group, setGroup] = useState(0);
    const [error, setError] = useState<string | null>(null);
    const groups = parseFilter(request?.filter);

    const browse = async (to: string) => {
        try {
            const listing = await api.files(to);
            setDir(listing.dir === "." ? "" : listing.dir);
            setEntries([...listing.entries].sort((a, b) => Number(b.dir) - Number(a.dir) || a.name.localeCompare(b.name)));
            setError(null);
        } catch (e) {
            setError(e instanceof Error ? e.message : String(e));
        }
    };

    useEffect(() => {
        const d = dialog.current!;
        if (!request) {
            if (d.open) d.close();
            return;
        }
        setName(request.name ?? "");
        setGroup(0);
        browse(request.start);
        if (!d.open) d.showModal();
    }, [request]);

    const finish = (path: string | null) => {
        const r = store.get().fileRequest;
        if (!r) return;
        store.set({ fileRequest: null });
        r.resolve(path);
    };
    const choose = () => {
        const chosen = name.trim();
        if (!chosen) return;
        const entry = entries.find((e) => e.name === chosen);
        if (entry?.dir) browse(joinPath(dir, chosen));
        else finish(joinPath(dir, chosen));
    };
    const shown = entries.filter((e) => e.dir || matchesFilter(e.name, groups[group]?.patterns ?? ["*"]));
    const title = request?.title ?? "Choose a file";

    return (
        <dialog ref={dialog} className="files" aria-label={title} data-testid="file-dialog" onClose={() => finish(null)}>
            <h2>{title}</h2>
            <div className="files-where">
                <button type="button" onClick={() => browse(parentDir(dir))} disabled={!dir} aria-label="Parent folder">
                    ↑
                </button>
                <span data-testid="file-dir">/{dir}</span>
            </div>
            <ul className="files-list" aria-label="Files">
                {shown.map((e) => (
                    <li key={e.name}>
                        <button
                            type="button"
                            className={e.dir ? "dir" : name === e.name ? "file chosen" : "file"}
                            aria-label={e.dir ? `Folder ${e.name}` : `File ${e.name}`}
                            aria-pressed={!e.dir ? name === e.name : undefined}
                            data-testid={`entry-${e.name}`}
                            onClick={() => (e.dir ? browse(joinPath(dir, e.name)) : setName(e.name))}
                            onDoubleClick={() => !e.dir && finish(joinPath(dir, e.name))}
                        >
                            {e.dir ? `${e.name}/` : e.name}
                            {!e.dir && e.size !== undefined && <span className="size">{e.size} B</span>}
                        </button>
                    </li>
                ))}
                {!shown.length && <li className="empty">No files here</li>}
            </ul>
            <form
                method="dialog"
                onSubmit={(e) => {
                    e.preventDefault();
                    choose();
                }}
            >
                <label>
                    File name
                    <input value={name} onChange={(e) => setName(e.target.value)} data-testid="file-name" autoFocus />
                </label>
                <label>
                    Type
                    <select value={group} onChange={(e) => setGroup(Number(e.target.value))}>
                        {groups.map((g, i) => (
                            <option key={g.label} value={i}>
                                {g.label}
                            </option>
                        ))}
                    </select>
                </label>
                {error && (
                    <p className="field-error" role="alert">
                        {error}
                    </p>
                )}
                <div className="buttons">
                    <button type="button" onClick={() => finish(null)}>
                        Cancel
                    </button>
                    <button type="submit" disabled={!name.trim()} data-testid="file-ok">
                        {request?.mode === "save" ? "Save" : "Open"}
                    </button>
                </div>
            </form>
        </dialog>
    );
}
