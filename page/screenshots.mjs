// Every screen at three widths, light and dark, into shots/ beside this file; --only NAME for one
// screen. The moment is fixed, so that the same page gives much the same pictures.
// VCA_PROGRAM=build/dev/host/vca with --docs: those that are shown in docs/.
import { mkdirSync } from "node:fs";
import { fileURLToPath } from "node:url";
import { accounts, launch, logIn, openTab, Service, show, startRealService, until } from "../tests/page/browser.mjs";

const only = process.argv.includes("--only") ? process.argv[process.argv.indexOf("--only") + 1] : "";
const docs = process.argv.includes("--docs");
const out = fileURLToPath(new URL(docs ? "../docs/" : "shots/", import.meta.url));
mkdirSync(out, { recursive: true });

const moment = "2026-11-20T15:20:00Z";
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

// In docs/: the program's own service with its simulated cameras, but for history and heat, which
// take days: these are made up.
const shownInDocs = {
  login: {},
  live: {},
  editor: {},
  history: { madeUp: true },
  heat: { madeUp: true },
  settings: {},
  narrow: { screen: "live", width: 320, height: 640 },
  dark: { screen: "live", dark: true },
};
const enoughCounts = 10;

// So much has happened that there is something to see.
const busy = (tab) =>
  tab.waitForFunction(
    (least) => {
      const inTheMiddle = [...document.querySelectorAll(".marks .person rect")].some((mark) => {
        const { y, height } = mark.getBBox();
        const part = (y + height / 2) / mark.ownerSVGElement.viewBox.baseVal.height;
        return part > 0.3 && part < 0.7;
      });
      const counts = [...document.querySelectorAll(".counts b")].map((b) => Number(b.textContent));
      return counts.reduce((sum, n) => sum + n, 0) >= least && inTheMiddle;
    },
    { timeout: 600_000 },
    enoughCounts,
  );

async function shootForDocs() {
  const real = await startRealService();
  delete process.env.VCA_PROGRAM;
  const madeUp = await Service.start("--now", moment);
  try {
    for (const [name, how] of Object.entries(shownInDocs)) {
      const service = how.madeUp ? madeUp : real;
      const tab = await openTab(browser, { width: 1280, height: 900, ...how });
      if (name === "login") {
        await tab.goto(service.url);
        await tab.waitForSelector("input[type=password]");
      } else {
        await logIn(tab, service, accounts.admin);
        await screens[how.screen ?? name](tab);
        await settled(tab);
        if ((how.screen ?? name) === "live") await busy(tab);
      }
      await tab.screenshot({ path: `${out}page-${name}.jpg`, type: "jpeg", quality: 75 });
      for (const complaint of tab.complaints) console.error(complaint);
      await tab.browserContext().close();
    }
  } finally {
    await madeUp.end();
    await real.end();
  }
}

async function shootAll() {
  const service = await Service.start("--now", moment);
  try {
    for (const dark of [false, true])
      for (const width of [320, 800, 1280]) {
        const tab = await openTab(browser, { width, height: width === 320 ? 640 : 900, dark });
        const name = (screen) => `${out}${screen}-${width}${dark ? "-dark" : ""}.png`;
        if (!only || only === "login") {
          await tab.goto(service.url);
          await tab.waitForSelector("input[type=password]");
          await tab.screenshot({ path: name("login") });
        }
        await logIn(tab, service, accounts.admin);
        for (const [screen, go] of Object.entries(screens)) {
          if (only && only !== screen) continue;
          await go(tab);
          await settled(tab);
          await tab.screenshot({ path: name(screen), fullPage: screen !== "story" });
          if (screen === "story") await tab.keyboard.press("Escape");
        }
        for (const complaint of tab.complaints) console.error(complaint);
        await tab.browserContext().close();
      }
  } finally {
    await service.end();
  }
}

const browser = await launch();
try {
  await (docs ? shootForDocs() : shootAll());
} finally {
  await browser.close();
}
