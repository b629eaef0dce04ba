/// <reference types="node" />
import assert from "node:assert/strict";
import { test } from "node:test";
import { Catalog, paletteNodes, searchNodes } from "../../apps/web/src/catalog";
import type { NodeInfo, Output } from "../../apps/web/src/types";
import * as V from "../../apps/web/src/values";

test("the text format's wrappers come off for display", () => {
    const cases: [unknown, unknown][] = [
        [{ "@value": [{ label: 1 }], "@meta": { ID: "ZoneList" } }, [{ label: 1 }]],
        [{ "@vector": [1, { "@double": "nan" }] }, [1, "nan"]],
        [{ "@@key": { "@long": 5 }, k: null }, { "@key": 5, k: null }],
        [{ "@image": { type: "IMAGE_GREY_8", size: [2, 3, 1], data: [] } }, "image IMAGE_GREY_8 2 x 3 x 1"],
        [{ "@image": null }, null],
        [{ "@value": 1, extra: 2 }, { "@value": 1, extra: 2 }],
    ];
    for (const [value, want] of cases) assert.deepEqual(V.unwrap(value), want, JSON.stringify(value));
});

test("a vector of like maps of scalars becomes a table", () => {
    assert.deepEqual(V.tableOf([{ label: 1, ax: 5 }, { ax: 7, label: 2 }]), {
        columns: ["label", "ax"],
        rows: [[1, 5], [2, 7]],
    });
    const notTables: unknown[] = [[], [{}], [{ a: 1 }, { b: 1 }], [{ a: 1 }, { a: 1, b: 2 }], [{ a: [1] }], [1, 2], { a: 1 }, [{ a: 1 }, null]];
    for (const value of notTables) assert.equal(V.tableOf(value), null, JSON.stringify(value));
});

test("image facts read short", () => {
    assert.equal(
        V.statsText({ type: "IMAGE_GREY_F", size: [512, 384, 1], min: -1.5, max: 255, mean: 38.37712, nonfinite: 0 }),
        "IMAGE_GREY_F · 512×384 · min -1.5 · max 255 · mean 38.377",
    );
    assert.equal(
        V.statsText({ type: "IMAGE_GREY_D", size: [4, 4, 3], min: 0, max: 1e-7, mean: 1 / 3, nonfinite: 2 }),
        "IMAGE_GREY_D · 4×4×3 · min 0 · max 1e-7 · mean 0.33333 · 2 non-finite",
    );
    assert.deepEqual([V.pixelText(null), V.pixelText([1, 2.123456, 3]), V.pixelText(7)], ["–", "(1, 2.1235, 3)", "7"]);
});

test("unchanged outputs keep their objects, so their previews are not redrawn", () => {
    const image = (version: number): Output => ({
        pin: 0, kind: "image", version, preview: `/api/preview/n/0?v=${version}`,
        image: { type: "IMAGE_GREY_8", size: [1, 1, 1], min: 0, max: 0, mean: 0 },
    });
    const text: Output = { pin: 1, kind: "long", text: "42" };
    const before = [image(5), text];
    assert.equal(V.mergeOutputs(before, [image(5), { ...text }]), before);
    const after = V.mergeOutputs(before, [image(6), { ...text }]);
    assert.deepEqual(after, [image(6), text]);
    assert.equal(after[1], before[1]);
    assert.deepEqual(V.mergeOutputs(before, [image(5)]), [before[0]]);
});

const info = (name: string, extra: Partial<NodeInfo> = {}): NodeInfo => ({
    address: name, name, module: "utility", listed: true, deprecated: false, pluginType: "Image", subType: "Utility",
    brief: "", description: "", keywords: [], parameters: [], inputs: [], outputs: [], ...extra,
});

test("graphs name nodes by address, module and name, or a module path", () => {
    const catalog = new Catalog({
        modules: [
            { name: "utility", nodes: [info("Labeling", { parameters: [{ key: "t", type: "double", value: 1 }] })] },
            { name: "filters", nodes: [info("Threshold", { address: "filters::Threshold", module: "filters" })] },
        ],
    });
    const cases: [string, string | undefined][] = [
        ["Labeling", "Labeling"],
        ["utility::Labeling", "Labeling"],
        ["%ORVADIR%/bin/utility::Labeling", "Labeling"],
        ["filters::Threshold", "filters::Threshold"],
        ["/opt/x/bin/filters::Threshold", "filters::Threshold"],
        ["Threshold", undefined],
        ["other::Labeling", undefined],
    ];
    for (const [plugin, want] of cases) assert.equal(catalog.resolve(plugin)?.address, want, plugin);
    assert.deepEqual([catalog.isReal("utility::Labeling", "t"), catalog.isReal("Labeling", "x")], [true, false]);
});

test("search ranks name matches first; unlisted nodes show only when used", () => {
    const nodes = [
        info("ZoneList", { keywords: ["label", "bounding box"] }),
        info("Labeling", { brief: "Labels connected regions" }),
        info("PixelLabel"),
        info("ExpandBox", { listed: false, deprecated: true, keywords: ["box"] }),
    ];
    const names = (list: NodeInfo[]) => list.map((n) => n.name);
    assert.deepEqual(names(searchNodes(nodes, "label")), ["Labeling", "PixelLabel", "ZoneList"]);
    assert.deepEqual(names(searchNodes(nodes, "BOX  zone")), ["ZoneList"]);
    assert.deepEqual(names(searchNodes(nodes, "connected regions")), ["Labeling"]);
    assert.deepEqual(names(paletteNodes(nodes, new Set())), ["ZoneList", "Labeling", "PixelLabel"]);
    assert.deepEqual(names(paletteNodes(nodes, new Set(["ExpandBox"]))), ["ZoneList", "Labeling", "PixelLabel", "ExpandBox"]);
});
