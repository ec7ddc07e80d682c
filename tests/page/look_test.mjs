// Every screen, as a screen reader, a narrow screen and a dark room see it.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import test, { after, before } from "node:test";
import { accounts, launch, logIn, openTab, Service, show, until } from "./browser.mjs";

const axe = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");

const screens = {
  live: ["#/live", ".marks .line"],
  editor: ["#/setup/Entrance/edit", ".editing .shape"],
  "editor with a line chosen": [
    "#/setup/Entrance/edit",
    ".handles",
    () => document.querySelector(".shapes button").click(),
  ],
  saving: [
    "#/setup/Entrance/edit",
    "dialog form",
    async () => {
      if (!document.querySelector(".bar .dirty"))
        document.querySelector(".properties .buttons button").click();
      while (document.querySelector(".bar .main").disabled) await new Promise((done) => setTimeout(done, 50));
      document.querySelector(".bar .main").click();
    },
  ],
  guide: ["#/setup/Gallery/guide", ".step .values"],
  report: [
    "#/setup/Gallery/guide",
    ".report .marks",
    () => document.querySelector(".progress li:last-child button").click(),
  ],
  history: ["#/history?what=counts&from=2026-11-18&to=2026-11-18", ".chart canvas"],
  heat: ["#/heat", ".heat-layer"],
  settings: ["#/settings/camera", ".camera-form"],
  place: ["#/settings/place", ".settings .values"],
  password: ["#/settings/password", ".login"],
  users: ["#/settings/users", "tbody tr"],
  tokens: ["#/settings/tokens", ".settings button"],
  story: [
    "#/live",
    "dialog .steps",
    async () => {
      while (!document.querySelector(".events button")) await new Promise((done) => setTimeout(done, 50));
      document.querySelector(".events button").click();
    },
  ],
};

let browser, service;
before(async () => {
  browser = await launch();
  service = await Service.start("--now", "2026-11-20T15:20:00Z");
});
after(async () => {
  await browser.close();
  await service.end();
});

async function visit(tab, look) {
  for (const [name, [hash, selector, act]] of Object.entries(screens)) {
    const screen = `.${/^#\/(\w+)/.exec(hash)[1]}`;
    if (!["editor with a line chosen", "saving"].includes(name)) await show(tab, "#/history");
    await show(tab, hash);
    await tab.waitForSelector(screen);
    if (act) {
      await tab.waitForSelector(name === "story" ? ".live" : name === "report" ? ".progress" : ".shapes");
      await tab.evaluate(act);
    }
    await tab.waitForSelector(selector);
    await look(name);
    if (await tab.$("dialog")) {
      await tab.keyboard.press("Escape");
      await until(tab, () => !document.querySelector("dialog"));
    }
  }
}

async function serious(tab) {
  await tab.evaluate(axe);
  const { violations } = await tab.evaluate(() => window.axe.run(document, { resultTypes: ["violations"] }));
  return violations
    .filter((v) => ["serious", "critical"].includes(v.impact))
    .map(
      (v) =>
        `${v.id}: ${v.nodes
          .map((n) => n.html.slice(0, 160))
          .slice(0, 3)
          .join(" | ")}`,
    );
}

for (const dark of [false, true])
  test(`axe finds nothing serious, ${dark ? "dark" : "light"}`, async () => {
    const tab = await openTab(browser, { dark });
    await tab.goto(service.url);
    await tab.waitForSelector("input[type=password]");
    assert.deepEqual(await serious(tab), [], "login");
    await logIn(tab, service, accounts.admin);
    const found = {};
    await visit(tab, async (name) => {
      const list = await serious(tab);
      if (list.length) found[name] = list;
    });
    assert.deepEqual(found, {});
    assert.deepEqual(tab.complaints, []);
    await tab.browserContext().close();
  });

test("at 320 pixels nothing is wider than the screen", async () => {
  const tab = await openTab(browser, { width: 320, height: 640, touch: true });
  for (const language of ["en", "de"]) {
    if (language === "en") await logIn(tab, service, accounts.admin);
    else await tab.select("header select", "de");
    const found = {};
    await visit(tab, async (name) => {
      const wide = await tab.evaluate(() => document.documentElement.scrollWidth);
      if (wide > 320) found[name] = wide;
    });
    assert.deepEqual(found, {}, language);
  }
  assert.deepEqual(tab.complaints, []);
  await tab.browserContext().close();
});

test("dark is dark and light is light", async () => {
  for (const dark of [false, true]) {
    const tab = await openTab(browser, { dark });
    await tab.goto(service.url);
    await tab.waitForSelector("input[type=password]");
    const [red] = await tab.evaluate(() =>
      getComputedStyle(document.body).backgroundColor.match(/\d+/g).map(Number),
    );
    assert.ok(dark ? red < 60 : red > 200, `${red}`);
    await tab.browserContext().close();
  }
});

test("every control of the live screen is reached by the tab key", async () => {
  const tab = await openTab(browser);
  await logIn(tab, service, accounts.viewer);
  await tab.waitForSelector(".counts button");
  const wanted = await tab.$$eval(
    "header a:not(.skip), header button, header select, .live .tabs a, .counts button, .in-view summary",
    (all) => all.length,
  );
  const reached = new Set();
  for (let i = 0; i < 60; ++i) {
    await tab.keyboard.press("Tab");
    const now = await tab.evaluate(() => {
      const e = document.activeElement;
      return e.matches(
        "header a:not(.skip), header button, header select, .live .tabs a, .counts button, .in-view summary",
      )
        ? [...document.querySelectorAll("*")].indexOf(e)
        : -1;
    });
    if (now >= 0) reached.add(now);
  }
  assert.ok(reached.size >= wanted - 1, `${reached.size} of ${wanted}`);
  await tab.browserContext().close();
});
