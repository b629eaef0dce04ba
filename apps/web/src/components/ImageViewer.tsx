import { useEffect, useLayoutEffect, useRef, useState } from "react";
import { api, previewUrl } from "../api";
import { store, useEditor } from "../store";
import { pixelText, statsText } from "../values";
import { planeKey, setPlane } from "./Preview";

const clampZoom = (z: number) => Math.min(64, Math.max(1 / 16, z));

// Asks the server for the pixel under the cursor; one request at a time, the latest position wins.
function usePixel(node: string | undefined, pin: number | undefined) {
    const [text, setText] = useState("");
    const want = useRef<{ x: number; y: number; z: number } | null>(null);
    const busy = useRef(false);
    useEffect(() => {
        want.current = null;
        setText("");
    }, [node, pin]);
    const ask = async () => {
        if (busy.current || !want.current || node === undefined || pin === undefined) return;
        const at = want.current;
        busy.current = true;
        try {
            const { value } = await api.pixel(node, pin, at.x, at.y, at.z);
            setText(`x ${at.x} y ${at.y}${at.z ? ` z ${at.z}` : ""}: ${pixelText(value)}`);
        } catch {
            setText(`x ${at.x} y ${at.y}: not available`);
        }
        busy.current = false;
        if (want.current !== at) ask();
    };
    return {
        text,
        at(x: number, y: number, z: number) {
            if (want.current && want.current.x === x && want.current.y === y && want.current.z === z) return;
            want.current = { x, y, z };
            ask();
        },
    };
}

export function ImageViewer() {
    const viewer = useEditor((s) => s.viewer);
    const output = useEditor((s) => (viewer ? s.runs[viewer.node]?.outputs.find((o) => o.pin === viewer.pin) : undefined));
    const plane = useEditor((s) => (viewer ? (s.planes[planeKey(viewer.node, viewer.pin)] ?? 0) : 0));
    const dialog = useRef<HTMLDialogElement>(null);
    const body = useRef<HTMLDivElement>(null);
    const [zoom, setZoom] = useState(1);
    const anchor = useRef<{ px: number; py: number; cx: number; cy: number } | null>(null);
    const pixel = usePixel(viewer?.node, viewer?.pin);

    useEffect(() => {
        const d = dialog.current!;
        if (viewer && !d.open) {
            d.showModal();
            setZoom(1);
        }
        if (!viewer && d.open) d.close();
    }, [viewer]);

    // Keeps the image point under the cursor in place while zooming.
    useLayoutEffect(() => {
        const a = anchor.current;
        if (!a || !body.current) return;
        body.current.scrollLeft = a.px * zoom - a.cx;
        body.current.scrollTop = a.py * zoom - a.cy;
        anchor.current = null;
    }, [zoom]);

    const image = output?.kind === "image" ? output : undefined;
    const [w = 1, h = 1, d = 1] = image?.image.size ?? [];
    const zoomAt = (factor: number, cx?: number, cy?: number) => {
        const b = body.current!;
        const x = cx ?? b.clientWidth / 2;
        const y = cy ?? b.clientHeight / 2;
        anchor.current = { px: (b.scrollLeft + x) / zoom, py: (b.scrollTop + y) / zoom, cx: x, cy: y };
        setZoom(clampZoom(zoom * factor));
    };
    const fit = () => {
        const b = body.current!;
        setZoom(clampZoom(Math.min(b.clientWidth / w, b.clientHeight / h)));
    };
    const title = viewer ? `Output ${viewer.pin} of ${viewer.node}` : "Image";
    const zoomRef = useRef(zoomAt);
    zoomRef.current = zoomAt;

    // The wheel zooms about the cursor; a native listener, since React's is passive and the
    // page must not scroll as well.
    useEffect(() => {
        const b = body.current!;
        const onWheel = (e: WheelEvent) => {
            e.preventDefault();
            const box = b.getBoundingClientRect();
            zoomRef.current(e.deltaY < 0 ? 1.25 : 1 / 1.25, e.clientX - box.left, e.clientY - box.top);
        };
        b.addEventListener("wheel", onWheel, { passive: false });
        return () => b.removeEventListener("wheel", onWheel);
    }, []);

    return (
        <dialog ref={dialog} className="viewer" aria-label={title} data-testid="viewer" onClose={() => store.set({ viewer: null })}>
            <header>
                <h2>{title}</h2>
                <div role="group" aria-label="Zoom">
                    <button type="button" onClick={() => zoomAt(1 / 1.5)} aria-label="Zoom out">
                        −
                    </button>
                    <span data-testid="viewer-zoom">{Math.round(zoom * 100)}%</span>
                    <button type="button" onClick={() => zoomAt(1.5)} aria-label="Zoom in">
                        +
                    </button>
                    <button type="button" onClick={() => setZoom(1)}>
                        1:1
                    </button>
                    <button type="button" onClick={fit}>
                        Fit
                    </button>
                </div>
                {viewer && d > 1 && (
                    <label>
                        Plane {plane}
                        <input type="range" min={0} max={d - 1} value={plane} onChange={(e) => setPlane(viewer.node, viewer.pin, Number(e.target.value))} />
                    </label>
                )}
                <button type="button" onClick={() => dialog.current!.close()} aria-label="Close">
                    ✕
                </button>
            </header>
            <div className="viewer-body" ref={body}>
                {viewer && image && (
                    <img
                        src={previewUrl(image.preview, Math.min(plane, d - 1), 0)}
                        alt={title}
                        style={{ width: w * zoom, height: h * zoom }}
                        className={zoom >= 2 ? "pixelated" : undefined}
                        data-testid="viewer-image"
                        onMouseMove={(e) => {
                            const box = e.currentTarget.getBoundingClientRect();
                            const x = Math.min(w - 1, Math.max(0, Math.floor((e.clientX - box.left) / zoom)));
                            const y = Math.min(h - 1, Math.max(0, Math.floor((e.clientY - box.top) / zoom)));
                            pixel.at(x, y, Math.min(plane, d - 1));
                        }}
                    />
                )}
            </div>
            <footer>
                <span role="status" data-testid="pixel-readout">
                    {pixel.text || "Point at the image to read a pixel"}
                </span>
                {image && <span className="stats">{statsText(image.image)}</span>}
            </footer>
        </dialog>
    );
}
