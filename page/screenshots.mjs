// Every screen at three widths, light and dark, into shots/ beside this file; --only NAME for one
// screen, --docs for the few that are shown in docs/. The moment is fixed, so that the same page
// gives much the same pictures.
import { mkdirSync } from "node:fs";
import { fileURLToPath } from "node:url";
import { accounts, launch, logIn, openTab, Service, show, until } from "../tests/page/browser.mjs";

const only = process.argv.includes("--only") ? process.argv[process.argv.indexOf("--only") + 1] : "";
const docs = process.argv.includes("--docs");
const out = fileURLToPath(new URL(docs ? "../docs/" : "shots/", import.meta.url));
mkdirSync(out, { recursive: true });

const settled = (tab) => tab.evaluate(() => new Promise((done) => setTimeout(done, 700)));
const picture = (tab) => until(tab, () => document.querySelector(".picture canvas")?.dataset.frame);

const screens = {
  live: async (tab) => {
    await show(tab, "#/live");
    await picture(tab);
    await until(tab, () => document.querySelector(".marks .person"));
  },
  editor: async (tab) => {
    await show(tab, "#/setup/Entrance/edit");
    await picture(tab);
    await (await tab.waitForSelector(".shapes button")).click();
    await tab.waitForSelector(".zone");
  },
  guide: async (tab) => {
    await show(tab, "#/setup/Gallery/guide");
    await tab.waitForSelector(".step .values");
  },
  height: async (tab) => {
    await show(tab, "#/setup/Gallery/guide");
    await tab.waitForSelector(".progress li:nth-child(3) button").then((b) => b.click());
    await tab.waitForSelector(".step form");
  },
  report: async (tab) => {
    await show(tab, "#/setup/Gallery/guide");
    await tab.waitForSelector(".progress li:nth-child(7) button").then((b) => b.click());
    await tab.waitForSelector(".report .marks");
  },
  history: async (tab) => {
    await show(tab, "#/history?what=counts&from=2026-11-18&to=2026-11-18&line=Entrance%2Fdoor");
    await tab.waitForSelector(".chart canvas");
  },
  compare: async (tab) => {
    await show(tab, "#/history?from=2026-10-22&to=2026-11-20&compare=2026-09-22");
    await tab.waitForSelector(".key.dashed");
  },
  year: async (tab) => {
    await show(tab, "#/history?from=2025-11-21&to=2026-11-20&by=day");
    await tab.waitForSelector(".chart canvas");
  },
  minutes: async (tab) => {
    await show(tab, "#/history?what=areas&from=2026-11-18&to=2026-11-18&by=minute");
    await tab.waitForSelector(".chart canvas");
  },
  heat: async (tab) => {
    await show(tab, "#/heat");
    await picture(tab);
    await tab.waitForSelector(".heat-layer");
  },
  settings: async (tab) => {
    await show(tab, "#/settings/camera");
    await tab.waitForSelector(".camera-form");
  },
  users: async (tab) => {
    await show(tab, "#/settings/users");
    await tab.waitForSelector("tbody tr");
  },
  story: async (tab) => {
    await show(tab, "#/live");
    await tab.waitForSelector(".events button").then((b) => b.click());
    await tab.waitForSelector("dialog .steps");
  },
};

const service = await Service.start("--now", "2026-11-20T15:20:00Z");
const browser = await launch();
try {
  for (const dark of docs ? [false] : [false, true])
    for (const width of docs ? [1280] : [320, 800, 1280]) {
      const tab = await openTab(browser, { width, height: width === 320 ? 640 : 900, dark });
      const name = (screen) =>
        `${out}${docs ? `page-${screen}.jpg` : `${screen}-${width}${dark ? "-dark" : ""}.png`}`;
      if (!docs && (!only || only === "login")) {
        await tab.goto(service.url);
        await tab.waitForSelector("input[type=password]");
        await tab.screenshot({ path: name("login") });
      }
      await logIn(tab, service, accounts.admin);
      for (const [screen, go] of Object.entries(screens)) {
        if (docs ? !["live", "editor", "history"].includes(screen) : only && only !== screen) continue;
        await go(tab);
        await settled(tab);
        await tab.screenshot({
          path: name(screen),
          ...(docs ? { type: "jpeg", quality: 80 } : { fullPage: true }),
        });
        if (screen === "story") await tab.keyboard.press("Escape");
      }
      for (const complaint of tab.complaints) console.error(complaint);
      await tab.browserContext().close();
    }
} finally {
  await browser.close();
  await service.end();
}
