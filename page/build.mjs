// Makes the page: one document, one script, one style sheet, an icon, and the licences of what is in
// the script. `node build.mjs [--out FOLDER] [--watch]`; without --out into dist/ beside this file.
import { copyFileSync, mkdirSync, readFileSync, writeFileSync } from "node:fs";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";
import { gzipSync } from "node:zlib";
import * as esbuild from "esbuild";

// What a first visit over a slow line may cost, compressed.
const mostBytes = 100_000;

const here = dirname(fileURLToPath(import.meta.url));
const outAt = process.argv.indexOf("--out");
const out = outAt < 0 ? join(here, "dist") : process.argv[outAt + 1];
const watch = process.argv.includes("--watch");

const options = {
  entryPoints: { page: join(here, "src/main.tsx") },
  outdir: out,
  bundle: true,
  minify: !watch,
  format: "iife",
  target: ["chrome100", "firefox100", "safari15.4"],
  jsx: "automatic",
  jsxImportSource: "preact",
  legalComments: "none",
  logLevel: "warning",
};

function licences() {
  const parts = ["preact", "uplot"].map((name) => {
    const { version } = JSON.parse(readFileSync(join(here, "node_modules", name, "package.json")));
    const text = readFileSync(join(here, "node_modules", name, "LICENSE"), "utf8");
    return `${name} ${version}\n\n${text.trim()}\n`;
  });
  return parts.join("\n----\n\n");
}

// Beside each file its compressed form, which the service sends to whoever takes it.
function compress() {
  const names = ["index.html", "page.js", "page.css", "icon.svg"];
  const sizes = names.map((name) => {
    const packed = gzipSync(readFileSync(join(out, name)), { level: 9 });
    writeFileSync(join(out, `${name}.gz`), packed);
    return packed.length;
  });
  const sum = sizes.reduce((a, b) => a + b, 0);
  console.log(names.map((name, i) => `${name} ${sizes[i]}`).join(", ") + `: ${sum} bytes compressed`);
  if (sum <= mostBytes) return;
  console.error(`The page has ${sum} bytes compressed; ${mostBytes} are allowed.`);
  process.exit(1);
}

mkdirSync(out, { recursive: true });
for (const name of ["index.html", "icon.svg"]) copyFileSync(join(here, name), join(out, name));
writeFileSync(join(out, "licences.txt"), licences());
if (watch) {
  const context = await esbuild.context(options);
  await context.watch();
} else {
  await esbuild.build(options);
  compress();
}
