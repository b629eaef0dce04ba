/// <reference types="node" />
import assert from "node:assert/strict";
import { test } from "node:test";
import * as P from "../../apps/web/src/params";
import type { ParamInfo, ParamType } from "../../apps/web/src/types";
import { isVisible } from "../../apps/web/src/visibleIf";

test("number fields take only what the parameter's type holds", () => {
    const cases: [string, ParamType, P.Parsed][] = [
        ["42", "long", { ok: true, value: 42 }],
        [" -2147483648 ", "long", { ok: true, value: -2147483648 }],
        ["2147483648", "long", { ok: false, error: "out of the range of a long" }],
        ["4.0", "long", { ok: false, error: "a whole number is expected" }],
        ["nan", "long", { ok: false, error: "a whole number is expected" }],
        ["1e3", "double", { ok: true, value: 1000 }],
        [".5", "double", { ok: true, value: 0.5 }],
        ["5.", "double", { ok: true, value: 5 }],
        ["-INF", "double", { ok: true, value: -Infinity }],
        ["nan", "double or long", { ok: true, value: NaN }],
        ["1e999", "double", { ok: false, error: "out of the range of a double" }],
        ["constructor", "double", { ok: false, error: "a number is expected" }],
        ["", "double", { ok: false, error: "a number is expected" }],
        ["0x10", "double or long", { ok: false, error: "a number is expected" }],
        ["7", "double or long", { ok: true, value: 7 }],
        ["7.5", "double or long", { ok: true, value: 7.5 }],
        ["3000000000", "double or long", { ok: false, error: "out of the range of a long" }],
    ];
    for (const [text, type, want] of cases) assert.deepEqual(P.parseNumber(text, type), want, `${text} as ${type}`);
});

test("doubles show their kind", () => {
    const cases: [unknown, ParamType, string][] = [
        [2, "double", "2.0"],
        [2, "double or long", "2"],
        [0.25, "double", "0.25"],
        [NaN, "double", "nan"],
        [{ "@double": "nan" }, "double or long", "nan"],
        [-Infinity, "double", "-inf"],
        [undefined, "long", ""],
    ];
    for (const [value, type, want] of cases) assert.equal(P.formatNumber(value, type), want);
});

test("a drop-down offers the trimmed values and keeps an unknown current one", () => {
    const param: ParamInfo = { key: "out_type", type: "string", value: "", enum: ["IMAGE_GREY_F", " IMAGE_GREY_8", ""] };
    assert.deepEqual(P.enumChoices(param, " IMAGE_GREY_8"), ["IMAGE_GREY_F", "IMAGE_GREY_8"]);
    assert.deepEqual(P.enumChoices(param, "IMAGE_RGB_8"), ["IMAGE_RGB_8", "IMAGE_GREY_F", "IMAGE_GREY_8"]);
});

test("file filters split into groups of patterns", () => {
    assert.deepEqual(P.parseFilter("Images (*.png *.tif);; All files (*.*)"), [
        { label: "Images (*.png *.tif)", patterns: ["*.png", "*.tif"] },
        { label: "All files (*.*)", patterns: ["*.*"] },
    ]);
    assert.deepEqual(P.parseFilter("Anything;;"), [{ label: "Anything", patterns: ["*"] }]);
    assert.deepEqual(P.parseFilter(undefined), [{ label: "All files", patterns: ["*"] }]);
});

test("file names match glob patterns whole and in any case", () => {
    const cases: [string, string[], boolean][] = [
        ["a.PNG", ["*.png"], true],
        ["a.png.bak", ["*.png"], false],
        ["README", ["*.*"], true],
        ["x1.txt", ["x?.txt"], true],
        ["x12.txt", ["x?.txt"], false],
        ["a+b(1).txt", ["a+b(1).*"], true],
        ["aab.txt", ["a+b.txt"], false],
        ["c.tif", ["*.png", "*.tif"], true],
    ];
    for (const [name, patterns, want] of cases) assert.equal(P.matchesFilter(name, patterns), want, `${name} ~ ${patterns}`);
});

test("relative paths join and climb within the root", () => {
    const joins: [string, string, string][] = [
        ["", "a.png", "a.png"],
        [".", "a.png", "a.png"],
        ["examples/", "a.png", "examples/a.png"],
        ["examples/images", "..", "examples"],
        ["examples", "..", ""],
    ];
    for (const [dir, name, want] of joins) assert.equal(P.joinPath(dir, name), want);
    const dirs: [string | null, string][] = [
        ["examples/zones.json", "examples"],
        ["zones.json", ""],
        ["%ORVADIR%/examples/images/coconut.png", ""],
        ["/abs/file.png", ""],
        [null, ""],
    ];
    for (const [path, want] of dirs) assert.equal(P.dirOf(path), want, String(path));
});

test("visible_if conditions are read leniently, and unreadable ones show the field", () => {
    const values: Record<string, unknown> = { mode: "IMAGE", run_once: false, count: 4, flag: true, name: "" };
    const lookup = (key: string) => ({ found: key in values, value: values[key] });
    const cases: [string, boolean][] = [
        ['mode == "IMAGE"', true],
        ["mode=IMAGE", true],
        ["mode != 'IMAGE'", false],
        ["mode <> VALUEVECTOR", true],
        ["mode == VALUEVECTOR", false],
        ['mode == " IMAGE "', true],
        ["!run_once", true],
        ["run_once", false],
        ["!!flag", true],
        ["!name", true],
        ["count == 4.0", true],
        ["count==04", true],
        ["flag == True", true],
        ["mode == IMAGE && run_once", false],
        ["mode == X || !run_once", true],
        ["(mode == IMAGE)", true],
        ["unknown == 1", true],
        ["!unknown", true],
        ["mode >= 3", true],
        ["mode ==", true],
        ["", true],
    ];
    for (const [condition, want] of cases) assert.equal(isVisible(condition, lookup), want, condition);
});
