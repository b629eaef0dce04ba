// Bundles the editor: `node build.mjs OUT_DIR` writes OUT_DIR/index.html, app.js and app.css.
// `node build.mjs --test OUT_DIR` bundles the unit tests of tests/web into OUT_DIR and runs them
// with node's test runner.
import * as esbuild from "esbuild";
import { spawnSync } from "node:child_process";
import { copyFileSync, mkdirSync, readdirSync, statSync } from "node:fs";
import { dirname, join, resolve } from "node:path";
import { fileURLToPath } from "node:url";

const here = dirname(fileURLToPath(import.meta.url));
const [mode, out] = process.argv[2] === "--test" ? ["test", process.argv[3]] : ["app", process.argv[2]];
if (!out) {
    console.error("usage: node build.mjs [--test] OUT_DIR");
    process.exit(2);
}
const outDir = resolve(out);
mkdirSync(outDir, { recursive: true });

if (mode === "app") {
    await esbuild.build({
        entryPoints: { app: join(here, "src/main.tsx") },
        outdir: outDir,
        bundle: true,
        minify: true,
        format: "iife",
        target: ["chrome110", "firefox110", "safari16"],
        define: { "process.env.NODE_ENV": '"production"' },
        jsx: "automatic",
        legalComments: "linked",
        logLevel: "warning",
    });
    copyFileSync(join(here, "index.html"), join(outDir, "index.html"));
    const size = (f) => `${f} ${(statSync(join(outDir, f)).size / 1024).toFixed(0)} KiB`;
    console.log(`web: ${outDir}: ${["app.js", "app.css"].map(size).join(", ")}`);
} else {
    const testDir = join(here, "../../tests/web");
    const tests = readdirSync(testDir).filter((f) => f.endsWith(".test.ts"));
    await esbuild.build({
        entryPoints: tests.map((f) => join(testDir, f)),
        outdir: outDir,
        outExtension: { ".js": ".mjs" },
        bundle: true,
        platform: "node",
        format: "esm",
        target: "node18",
        logLevel: "warning",
    });
    const run = spawnSync(process.execPath, ["--test", ...tests.map((f) => join(outDir, f.replace(/\.ts$/, ".mjs")))], { stdio: "inherit" });
    process.exit(run.status ?? 1);
}
