import { ReactFlowProvider } from "@xyflow/react";
import { useEffect } from "react";
import * as A from "../actions";
import { openGraph, saveGraph, saveGraphAs } from "../commands";
import { runGraph } from "../run";
import { store } from "../store";
import { Canvas } from "./Canvas";
import { FileDialog } from "./FileDialog";
import { ImageViewer } from "./ImageViewer";
import { Palette } from "./Palette";
import { ParamPanel } from "./ParamPanel";
import { Toolbar } from "./Toolbar";

// Shortcuts act on the canvas; while a field or a dialog has the keyboard they stay out of it.
function onKey(e: KeyboardEvent) {
    const target = e.target as HTMLElement;
    if (target.closest("input, textarea, select, [contenteditable], dialog")) return;
    const { fileRequest, viewer } = store.get();
    if (fileRequest || viewer) return;
    const mod = e.ctrlKey || e.metaKey;
    const key = e.key.toLowerCase();
    const commands: Record<string, () => void> = mod
        ? {
              z: e.shiftKey ? A.redo : A.undo,
              y: A.redo,
              c: A.copySelection,
              x: A.cutSelection,
              v: A.pasteClipboard,
              a: A.selectAll,
              s: e.shiftKey ? saveGraphAs : saveGraph,
              o: openGraph,
              enter: runGraph,
          }
        : {
              f5: runGraph,
              "/": () => document.querySelector<HTMLInputElement>("[data-testid=palette-search]")?.focus(),
          };
    const command = commands[key];
    if (!command) return;
    e.preventDefault();
    command();
}

export function App() {
    useEffect(() => {
        window.addEventListener("keydown", onKey);
        return () => window.removeEventListener("keydown", onKey);
    }, []);
    return (
        <div className="app">
            <Toolbar />
            <Palette />
            <main className="canvas" aria-label="Graph canvas">
                <ReactFlowProvider>
                    <Canvas />
                </ReactFlowProvider>
            </main>
            <ParamPanel />
            <ImageViewer />
            <FileDialog />
        </div>
    );
}
