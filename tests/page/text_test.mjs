// Both languages say the same things, and nothing is said that no screen uses.
import assert from "node:assert/strict";
import { readdirSync, readFileSync } from "node:fs";
import test from "node:test";
import { fileURLToPath } from "node:url";
import { gzipSync } from "node:zlib";

const page = fileURLToPath(new URL("../../page/", import.meta.url));
const read = (name) => JSON.parse(readFileSync(`${page}text/${name}.json`));
const [en, de] = [read("en"), read("de")];
const server = (key) => key.startsWith("server.");
const source = readdirSync(`${page}src`, { recursive: true })
  .map(String)
  .filter((name) => /\.tsx?$/.test(name))
  .map((name) => readFileSync(`${page}src/${name}`, "utf8"))
  .join("\n");

test("both languages have the same keys", () => {
  assert.deepEqual(
    Object.keys(de).filter((key) => !server(key)),
    Object.keys(en),
  );
});

test("every key is used", () => {
  const whole = new Set([...source.matchAll(/["`]([a-z_]+(?:\.[a-z_]+)*)["`]/g)].map((m) => m[1]));
  const begins = [...source.matchAll(/t\(\s*`([a-z_]+\.[a-z_]*)\$\{/g)].map((m) => m[1]);
  // height.auto and tilt.auto are asked for by the type of a field.
  begins.push("height.", "tilt.");
  const unused = Object.keys(en).filter(
    (key) => !whole.has(key) && !begins.some((begin) => key.startsWith(begin)),
  );
  assert.deepEqual(unused, []);
});

const places = (value) => [...new Set(JSON.stringify(value).match(/\{\w+\}/g) ?? [])].sort();

test("both languages fill in the same values", () => {
  for (const key of Object.keys(en)) {
    assert.equal(typeof de[key], typeof en[key], key);
    assert.deepEqual(places(de[key]), places(en[key]), key);
  }
});

test("the contract refers to nothing that is missing", () => {
  const api = JSON.parse(readFileSync(`${page}api.json`));
  for (const [, path] of JSON.stringify(api).matchAll(/"\$ref":"#\/([^"]+)"/g)) {
    assert.ok(
      path.split("/").reduce((o, key) => o?.[key], api),
      path,
    );
  }
});

test("the built page has at most 100 kB compressed and refers to nothing elsewhere", () => {
  const names = ["index.html", "page.js", "page.css", "icon.svg"];
  const sizes = names.map((name) => gzipSync(readFileSync(`${page}dist/${name}`)).length);
  const sum = sizes.reduce((a, b) => a + b, 0);
  console.log(`# ${names.map((name, i) => `${name} ${sizes[i]}`).join(", ")}; together ${sum} bytes`);
  assert.ok(sum <= 100_000, `${sum} bytes`);
  const html = readFileSync(`${page}dist/index.html`, "utf8");
  assert.doesNotMatch(html, /(?:src|href)="(?:https?:)?\/|style=|<script>/);
  assert.match(readFileSync(`${page}dist/licences.txt`, "utf8"), /preact[\s\S]+uplot/);
});
