// What a person does from the first start on: logs in, looks, asks why.
import assert from "node:assert/strict";
import test, { after, before, describe } from "node:test";
import { accounts, button, development, guideToDrawing, launch, logIn, openTab, Service, show, text, until } from "./browser.mjs";

let browser;
before(async () => (browser = await launch()));
after(() => browser.close());

describe("the first start", { skip: !development }, () => {
  let service, tab;
  before(async () => {
    service = await Service.start("--first-start");
    tab = await openTab(browser);
  });
  after(() => service.end());

  test("leads from the one-time password to three counts", async () => {
    const once = /Log in as admin with (\S+)/.exec(service.text)[1];
    await tab.goto(service.url);
    await tab.waitForSelector("input[autocomplete=username]");
    assert.equal(await tab.$eval("input[autocomplete=username]", (i) => i.value), "admin");
    await tab.type("input[type=password]", once);
    await tab.keyboard.press("Enter");
    await tab.waitForSelector("input[autocomplete=new-password]");
    await tab.type("input[autocomplete=current-password]", once);
    for (const field of await tab.$$("input[autocomplete=new-password]"))
      await field.type("a password of my own");
    await tab.keyboard.press("Enter");
    await tab.waitForSelector("header.head");
    assert.match(await text(tab, "main"), /There is no line yet/);

    await show(tab, "#/setup");
    await guideToDrawing(tab);
    await button(tab, "Line");
    await dragLine(tab, [230, 272], [730, 272]);
    await button(tab, "Save …");
    await button(tab, "Save", "dialog");
    await until(tab, () => /Saved: version 3/.test(document.querySelector(".bar").textContent));
    await button(tab, "Next");
    await button(tab, "Begin");
    await until(tab, () => document.querySelectorAll(".walks .done").length === 3);
    await button(tab, "Next");
    await tab.waitForSelector(".report .marks");
    assert.match(await text(tab, ".report"), /3 of 3 walks counted/);

    const api = await service.api("admin", "a password of my own");
    const { body } = await api("GET", "events?after=0&limit=1000");
    assert.ok(body.events.filter((e) => e.kind === "crossing" && e.place === "line 1").length >= 3);
    assert.equal((await api("GET", "place")).body.cameras[0].commissioned.author, "admin");
    assert.deepEqual(tab.complaints, []);
  });
});

async function dragLine(tab, from, to) {
  const box = await (await tab.waitForSelector("svg.editing")).boundingBox();
  const at = ([x, y]) => [box.x + (x / 960) * box.width, box.y + (y / 544) * box.height];
  await tab.mouse.move(...at(from));
  await tab.mouse.down();
  await tab.mouse.move(...at(to), { steps: 8 });
  await tab.mouse.up();
}

describe("looking", () => {
  let service;
  before(async () => (service = await Service.start()));
  after(() => service.end());

  test("a wrong password is refused in a sentence, a right one lets in", async () => {
    const tab = await openTab(browser);
    await tab.goto(service.url);
    await tab.waitForSelector("input[type=password]");
    await tab.type("input[autocomplete=username]", accounts.viewer[0]);
    await tab.type("input[type=password]", "wrong password");
    await tab.keyboard.press("Enter");
    await until(tab, () => document.querySelector(".login [role=alert]").textContent !== "");
    assert.match(await text(tab, ".login [role=alert]"), /wrong\.$/);
    await tab.$eval("input[type=password]", (input) => input.select());
    await tab.type("input[type=password]", accounts.viewer[1]);
    await tab.keyboard.press("Enter");
    await tab.waitForSelector("header.head");
    assert.ok(!(await text(tab, "header.head nav")).includes("Setup"), "a viewer has nothing to set up");
    await button(tab, "Log out tom");
    await tab.waitForSelector("input[type=password]");
    assert.deepEqual(tab.complaints, []);
    await tab.browserContext().close();
  });

  test("live tells health, visitors and people inside, and shows overlay and picture of one frame", async () => {
    const tab = await openTab(browser);
    await tab.evaluateOnNewDocument(() => {
      const watch = new MutationObserver(() => {
        if (document.querySelector(".figures") && !window.usefulAt) window.usefulAt = performance.now();
      });
      watch.observe(document, { childList: true, subtree: true });
    });
    await logIn(tab, service, accounts.viewer);
    await tab.setCacheEnabled(false);
    await tab.reload();
    await tab.waitForSelector(".figures");
    console.log(
      `# first useful paint after ${Math.round(await tab.evaluate(() => window.usefulAt))} ms, with an empty cache`,
    );
    assert.match(await text(tab, ".health"), /Everything works: 3 cameras/);
    const frames = new Set();
    for (let i = 0; i < 20; ++i) {
      await until(
        tab,
        (seen) => {
          const now = document.querySelector(".marks")?.dataset.frame;
          return now && !seen.includes(now);
        },
        [...frames],
      );
      const [canvas, marks] = await tab.evaluate(() => [
        document.querySelector(".picture canvas").dataset.frame,
        document.querySelector(".marks").dataset.frame,
      ]);
      assert.equal(canvas, marks);
      frames.add(marks);
    }
    await tab.browserContext().close();
  });

  test("a count tells its story", async () => {
    const tab = await openTab(browser);
    await tab.evaluateOnNewDocument(() => {
      window.closedDialogs = 0;
      const watch = new MutationObserver(() => {
        if (document.querySelector("dialog:not([open])")) ++window.closedDialogs;
      });
      watch.observe(document, { childList: true, subtree: true });
    });
    await logIn(tab, service, accounts.viewer);
    await until(tab, () =>
      [...document.querySelectorAll(".events button")].some((b) => / at door: /.test(b.textContent)),
    );
    const counted = await tab.evaluateHandle(() =>
      [...document.querySelectorAll(".counts button")].find(
        (b) => b.textContent.startsWith("in ") || b.textContent.startsWith("out "),
      ),
    );
    await until(tab, () => document.querySelector(".counts"));
    await counted.click();
    await tab.waitForSelector("dialog .events button, dialog .quiet");
    await tab.keyboard.press("Escape");
    await until(tab, () => !document.querySelector("dialog"));
    await tab.$$eval(".events button", (all) => all.find((b) => / at door: /.test(b.textContent)).click());
    await tab.waitForSelector("dialog .steps");
    assert.match(await text(tab, "dialog .lead"), /^Counted: door: (in|out)/);
    assert.match(await text(tab, "dialog .steps"), /crossed (the )?line door/);
    await tab.keyboard.press("Escape");
    await until(tab, () => !document.querySelector("dialog"));
    assert.equal(
      await tab.evaluate(() => window.closedDialogs),
      0,
      "a dialog is open from the moment it is there: no key goes past it",
    );
    assert.deepEqual(tab.complaints, []);
    await tab.browserContext().close();
  });

  test("the page speaks German where the reader does, and when asked to", async () => {
    const german = await openTab(browser);
    await german.evaluateOnNewDocument(() =>
      Object.defineProperty(navigator, "language", { value: "de-AT" }),
    );
    await german.goto(service.url);
    await until(
      german,
      () =>
        document.documentElement.lang === "de" &&
        document.querySelector(".login h1")?.textContent === "Anmelden",
    );
    await german.browserContext().close();
    const tab = await openTab(browser);
    await logIn(tab, service, accounts.admin);
    await tab.select("header select", "de");
    await until(
      tab,
      () => document.documentElement.lang === "de" && /Alles in Ordnung/.test(document.body.textContent),
    );
    await show(tab, "#/settings/camera");
    await until(tab, () => /Höhe der Kamera/.test(document.querySelector(".camera-form")?.textContent ?? ""));
    await tab.browserContext().close();
  });

  test("a session that has ended leads to the login, and back", async () => {
    const tab = await openTab(browser);
    await logIn(tab, service, accounts.viewer);
    await tab.waitForSelector(".figures");
    await tab.evaluate(() => fetch("api/v1/session", { method: "DELETE", headers: { "content-type": "application/json" } }));
    await show(tab, "#/history");
    await tab.waitForSelector("input[type=password]");
    await tab.type("input[autocomplete=username]", accounts.viewer[0]);
    await tab.type("input[type=password]", accounts.viewer[1]);
    await tab.keyboard.press("Enter");
    await tab.waitForSelector(".history .chart canvas");
    await tab.browserContext().close();
  });

  test("settings of a camera are saved from the form, unless somebody was faster", async () => {
    const tab = await openTab(browser);
    const api = await service.api(...accounts.operator);
    const path = "cameras/Gallery/settings";
    await logIn(tab, service, accounts.operator);
    await show(tab, "#/settings/camera/Gallery");
    const field = '::-p-aria([name="Smallest group"])';
    await tab.waitForSelector(field);
    const enter = async (people) => {
      await tab.click(field, { clickCount: 3 });
      await tab.keyboard.type(String(people));
      await tab.keyboard.press("Enter");
    };
    const { body: before } = await api("GET", path);
    await enter(3);
    await until(
      tab,
      (n) => document.querySelector(".camera-form .quiet")?.textContent.startsWith(`Version ${n}`),
      before.version + 1,
    );
    const { body: mine } = await api("GET", path);
    assert.equal(mine.settings.group.min, 3);
    assert.deepEqual(mine.settings.line, before.settings.line);
    const other = { ...mine.settings, group: { ...mine.settings.group, min: 4 } };
    assert.equal(
      (await api("PUT", path, { base_version: mine.version, name: "other", settings: other })).status,
      200,
    );
    await enter(5);
    await until(tab, () => /anna saved version/.test(document.querySelector(".failure")?.textContent ?? ""));
    assert.equal((await api("GET", path)).body.settings.group.min, 4);
    await button(tab, "Discard mine and show the newer settings");
    await until(tab, () => {
      const label = [...document.querySelectorAll("label")].find((l) => l.textContent === "Smallest group");
      return label && document.getElementById(label.htmlFor)?.value === "4";
    });
    assert.deepEqual(tab.complaints, []);
    await tab.browserContext().close();
  });

  test("a height that a simulated camera cannot have is refused in a sentence", { skip: development }, async () => {
    const tab = await openTab(browser);
    const api = await service.api(...accounts.operator);
    const { body: before } = await api("GET", "cameras/Gallery/settings");
    await logIn(tab, service, accounts.operator);
    await show(tab, "#/settings/camera/Gallery");
    const field = await tab.waitForSelector('::-p-aria([name="Height of the camera"])');
    await field.select("given");
    await button(tab, "Save");
    await until(tab, () => /^The height goes with recordings/.test(document.querySelector(".failure")?.textContent ?? ""));
    assert.equal((await api("GET", "cameras/Gallery/settings")).body.version, before.version);
    assert.deepEqual(tab.complaints, []);
    await tab.browserContext().close();
  });

  test("users and tokens are made and removed", async () => {
    const tab = await openTab(browser);
    const api = await service.api(...accounts.admin);
    await logIn(tab, service, accounts.admin);
    await show(tab, "#/settings/users");
    await button(tab, "Add a user");
    await tab.waitForSelector("dialog[open] input");
    await tab.type("dialog input[autocomplete=off]", "mia");
    await tab.type("dialog input[type=password]", "short");
    await button(tab, "Add a user", "dialog");
    assert.equal((await api("GET", "users")).body.users.length, 3, "a short password is not sent");
    await tab.type("dialog input[type=password]", " but now longer");
    await tab.keyboard.press("Enter");
    await until(tab, () => /mia/.test(document.querySelector(".settings table").textContent));
    assert.equal((await api("GET", "users")).body.users.find((u) => u.name === "mia").role, "viewer");
    await button(tab, "Remove mia");
    await until(tab, () => !/mia/.test(document.querySelector(".settings table").textContent));
    await show(tab, "#/settings/tokens");
    await button(tab, "Make a token");
    await tab.waitForSelector("dialog[open] input");
    await tab.type("dialog input", "the till");
    await tab.keyboard.press("Enter");
    await tab.waitForSelector("dialog .secret");
    assert.match(await text(tab, "dialog .secret"), /^vca_\S{20}/);
    assert.equal((await api("GET", "tokens")).body.tokens[0].name, "the till");
    assert.deepEqual(tab.complaints, []);
    await tab.browserContext().close();
  });
});

describe("when something is wrong", { skip: !development }, () => {
  test("a camera that is gone is told in a sentence, and so is its return", async () => {
    const service = await Service.start();
    const tab = await openTab(browser);
    await logIn(tab, service, accounts.viewer);
    await until(tab, () => document.querySelector(".picture canvas")?.dataset.frame);
    await fetch(`${service.url}dev/fault?camera=Entrance`, { method: "POST" });
    await until(tab, () =>
      /^No frames come from Entrance\. Since /.test(
        document.querySelector(".health.failed")?.textContent ?? "",
      ),
    );
    assert.match(await text(tab, ".picture .over"), /the camera does not answer/);
    await fetch(`${service.url}dev/fault`, { method: "POST" });
    await until(tab, () => document.querySelector(".health.ok") && !document.querySelector(".picture .over"));
    await service.end();
  });

  test("a session that ends while somebody draws costs no point", async () => {
    const service = await Service.start();
    const tab = await openTab(browser);
    await logIn(tab, service, accounts.operator);
    await show(tab, "#/setup/Gallery/edit");
    await until(tab, () => document.querySelector(".editor .picture canvas")?.dataset.frame);
    await button(tab, "Line");
    await dragLine(tab, [400, 200], [560, 330]);
    await until(tab, () => document.querySelectorAll(".points tr").length === 2);
    await tab.evaluate(() => fetch("api/v1/session", { method: "DELETE", headers: { "content-type": "application/json" } }));
    await tab.waitForSelector("input[type=password]");
    await tab.type("input[autocomplete=username]", accounts.operator[0]);
    await tab.type("input[type=password]", accounts.operator[1]);
    await tab.keyboard.press("Enter");
    await until(
      tab,
      () =>
        document.querySelector(".bar .dirty") && document.querySelectorAll(".editing .shape").length === 4,
    );
    assert.deepEqual(tab.complaints, []);
    await service.end();
  });
});

describe("behind a proxy with a prefix", { skip: !development }, () => {
  test("everything is found", async () => {
    const service = await Service.start("--prefix", "/shops/corner/");
    const tab = await openTab(browser);
    await logIn(tab, service, accounts.viewer);
    await until(tab, () => document.querySelector(".picture canvas")?.dataset.frame);
    assert.equal(new URL(tab.url()).pathname, "/shops/corner/");
    assert.deepEqual(tab.complaints, []);
    await service.end();
  });
});
