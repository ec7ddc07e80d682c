// Drawing with pointer and keys; what counts is read from the service, not from the page.
import assert from "node:assert/strict";
import test, { after, before, beforeEach, afterEach } from "node:test";
import { accounts, button, development, launch, logIn, openTab, patience_ms, Service, show, text, until } from "./browser.mjs";

let browser, service, api, tab;
const camera = development ? "Back door" : "Back_door";
const settingsPath = `cameras/${encodeURIComponent(camera)}/settings`;
const settings = async () => (await api("GET", settingsPath)).body;

before(async () => {
  browser = await launch();
  service = await Service.start();
  api = await service.api(...accounts.operator);
});
after(async () => {
  await browser.close();
  await service.end();
});

const open = async (who = accounts.operator) => {
  const opened = await openTab(browser);
  await logIn(opened, service, who);
  await show(opened, `#/setup/${encodeURIComponent(camera)}/edit`);
  await until(opened, () => document.querySelector(".editor .picture canvas")?.dataset.frame);
  return opened;
};
beforeEach(async () => (tab = await open()));
afterEach(async () => {
  assert.deepEqual(tab.complaints, []);
  await tab.browserContext().close();
});

const place = async (on, [x, y]) => {
  const box = await (await on.$("svg.editing")).boundingBox();
  return [box.x + (x / 960) * box.width, box.y + (y / 544) * box.height];
};
const drag = async (on, from, to) => {
  await on.mouse.move(...(await place(on, from)));
  await on.mouse.down();
  await on.mouse.move(...(await place(on, to)), { steps: 6 });
};
const drop = (on) => on.mouse.up();
const clickAt = async (on, p, options) => on.mouse.click(...(await place(on, p)), options);
const points = (on) =>
  on.$$eval(".points tr", (rows) =>
    rows.map((row) => [...row.querySelectorAll("input")].map((i) => Number(i.value))),
  );
// The fields show tenths of a pixel.
const near = (a, b) =>
  a.length === b.length && a.every((p, i) => Math.hypot(p[0] - b[i][0], p[1] - b[i][1]) <= 2);
const dirty = (on) => until(on, () => document.querySelector(".bar .dirty"));
const save = async (on) => {
  await button(on, "Save …");
  await on.waitForSelector("dialog form");
  await button(on, "Save", "dialog");
};
const saved = (on) =>
  until(
    on,
    () =>
      /Saved: version/.test(document.querySelector(".bar").textContent) && !document.querySelector("dialog"),
  );

test("a line that is drawn with the mouse counts who walks over it", async () => {
  await button(tab, "Line");
  await drag(tab, [640, 150], [640, 400]);
  await drop(tab);
  await until(tab, () => document.querySelectorAll(".points tr").length === 2);
  assert.ok(
    near(await points(tab), [
      [640, 150],
      [640, 400],
    ]),
  );
  const name = await tab.$(".properties input");
  await name.click({ clickCount: 3 });
  await name.type("new gate");
  await save(tab);
  await saved(tab);
  const { settings: now } = await settings();
  const line = now.line.find((l) => l.name === "new gate");
  assert.ok(
    near(line.points, [
      [640, 150],
      [640, 400],
    ]),
  );

  let counted = [];
  for (const end = Date.now() + 5 * patience_ms; !counted.length && Date.now() < end;) {
    const { body } = await api("GET", "events?limit=1000");
    counted = body.events.filter((e) => e.kind === "crossing" && e.place === "new gate");
  }
  assert.ok(counted.length, "nobody was counted on the new line");
  // What a program of the machine is told is the same.
  if (!development) assert.ok(service.countedAt(camera, "new gate") >= counted.length);
});

test("points are moved, inserted and deleted, and all of it can be undone", async () => {
  const begin = (await settings()).settings.line[0];
  await tab.waitForSelector(".shapes button").then((b) => b.click());
  await tab.waitForSelector(".editing .point");
  const [a, b] = begin.points;
  await drag(tab, a, [a[0] - 60, a[1] + 15]);
  await drop(tab);
  await until(
    tab,
    (x) => Math.abs(Number(document.querySelector(".points input").value) - x) <= 2,
    a[0] - 60,
  );
  await clickAt(tab, [(a[0] - 60 + b[0]) / 2, (a[1] + 15 + b[1]) / 2 + 50], { count: 1 });
  await tab.waitForSelector(".shapes li:first-child button").then((button) => button.click());
  await clickAt(tab, [a[0] - 60 + (b[0] - a[0] + 60) * 0.25, a[1] + 15 + (b[1] - a[1] - 15) * 0.25], {
    count: 2,
  });
  await until(tab, () => document.querySelectorAll(".points tr").length === 3);
  await tab.keyboard.press("Delete");
  await until(tab, () => document.querySelectorAll(".points tr").length === 2);
  for (let i = 0; i < 3; ++i) {
    await tab.keyboard.down("Control");
    await tab.keyboard.press("z");
    await tab.keyboard.up("Control");
  }
  await until(tab, () => !document.querySelector(".bar .dirty"));
  assert.ok(near(await points(tab), begin.points));
  await tab.keyboard.down("Control");
  await tab.keyboard.press("y");
  await tab.keyboard.up("Control");
  await dirty(tab);
  await button(tab, "Discard");
  await until(tab, () => !document.querySelector(".bar .dirty"));
});

test("everything is done by keys alone", async () => {
  const before = (await settings()).settings;
  const [line] = before.line;
  await tab.focus(".tools button:nth-child(2)");
  await tab.keyboard.press("Enter");
  await until(tab, () => document.activeElement?.matches("svg.editing.drawing"));
  const walk = async (key, n) => {
    for (let i = 0; i < n; ++i) await tab.keyboard.press(key);
  };
  await tab.keyboard.press("Space");
  await walk("ArrowRight", 6);
  await tab.keyboard.press("Space");
  await walk("ArrowDown", 4);
  await tab.keyboard.press("Space");
  await tab.keyboard.press("Enter");
  await until(tab, () => document.querySelectorAll(".points tr").length === 3);
  assert.deepEqual(await points(tab), [
    [480, 272],
    [600, 272],
    [600, 352],
  ]);
  await tab.$eval(`[data-kind=region][data-index="${before.region.length}"]`, (shape) => shape.focus());
  await tab.keyboard.down("Shift");
  await walk("ArrowLeft", 3);
  await tab.keyboard.up("Shift");
  await until(tab, () => document.querySelector(".points input").value === "450");
  await tab.keyboard.press("Insert");
  await until(tab, () => document.querySelectorAll(".points tr").length === 4);
  await tab.$eval("[data-kind=line]", (shape) => shape.focus());
  await tab.keyboard.press("f");
  await dirty(tab);
  await tab.evaluate(() =>
    [...document.querySelectorAll(".bar button")].find((b) => b.textContent.startsWith("Save")).focus(),
  );
  await tab.keyboard.press("Enter");
  await tab.waitForSelector("dialog .changes li");
  const words = await text(tab, "dialog .changes");
  assert.match(words, new RegExp(`The region region ${before.region.length + 1} is new`));
  assert.match(words, new RegExp(`directions of the line ${line.name} are swapped`));
  await tab.focus("dialog input");
  await tab.keyboard.press("Enter");
  await saved(tab);
  const { settings: now } = await settings();
  assert.equal(now.region.length, before.region.length + 1);
  assert.equal(Boolean(now.line[0].flip), !before.line[0].flip);
});

test("a line that cannot count is told while it is drawn, and a wrong one is not saved", async () => {
  await button(tab, "Line");
  await drag(tab, [300, 20], [600, 20]);
  await drop(tab);
  await until(tab, () =>
    /People over a part of the line|too near the edge|heads are hardly in the picture/.test(document.querySelector(".notes").textContent),
  );
  const name = await tab.$(".properties input");
  await name.click({ clickCount: 3 });
  await name.type((await settings()).settings.line[0].name);
  await until(tab, () => document.querySelector(".notes .error"));
  assert.match(await text(tab, ".notes .error"), /used twice/);
  assert.ok(await tab.$eval(".bar .main", (b) => b.disabled));
  await button(tab, "Discard");
});

test("a U-turn area belongs to its line", async () => {
  await tab.waitForSelector(".shapes button").then((b) => b.click());
  await tab
    .waitForSelector(".properties .check input")
    .then(async (box) => (await box.evaluate((b) => b.checked)) || box.click());
  const [line] = (await settings()).settings.line;
  const has = line.area?.length > 0;
  if (has)
    await tab.$$eval(".shapes li", (all) =>
      all
        .find((li) => /around/.test(li.textContent))
        .querySelector("button")
        .click(),
    );
  if (has) await button(tab, `Delete around ${line.name}`);
  if (has) await tab.waitForSelector(".shapes button").then((b) => b.click());
  await button(tab, "Draw a U-turn area");
  for (const p of [
    [420, 220],
    [560, 220],
    [560, 340],
    [420, 340],
    [420, 220],
  ])
    await clickAt(tab, p);
  await until(tab, () => document.querySelectorAll(".points tr").length === 4);
  await save(tab);
  await saved(tab);
  const [now] = (await settings()).settings.line;
  assert.equal(now.uturn, true);
  assert.equal(now.area.length, 4);
});

test("a near edge is told with how far people are seen", async () => {
  // The development server's camera hangs higher.
  const y = development ? 412 : 368;
  await button(tab, "Line");
  await drag(tab, [300, y], [600, y]);
  await drop(tab);
  await until(tab, () =>
    /people are seen only 0\.\d+ m beyond it/.test(document.querySelector(".notes").textContent),
  );
  await tab.waitForSelector(".zone");
  await button(tab, "Discard");
});

test("of two who draw at once nobody loses anything", async () => {
  const other = await open();
  for (const [on, y] of [
    [tab, 200],
    [other, 360],
  ]) {
    await button(on, "Exclusion");
    for (const p of [
      [20, y],
      [90, y],
      [90, y + 60],
      [20, y + 60],
    ])
      await clickAt(on, p);
    await on.keyboard.press("Enter");
    await dirty(on);
  }
  await save(other);
  await saved(other);
  const theirs = await settings();
  await until(tab, () => document.querySelector(".notice"));
  await save(tab);
  await tab.waitForSelector("dialog .both");
  assert.match(await text(tab, "dialog"), new RegExp(`anna saved version ${theirs.version}`));
  assert.equal((await settings()).version, theirs.version, "nothing is saved before somebody has chosen");
  await button(tab, "Save mine over it", "dialog");
  await saved(tab);
  const mine = await settings();
  assert.equal(mine.version, theirs.version + 1);
  assert.equal(mine.settings.exclude.at(-1).points[0][1], 200);

  await until(
    other,
    (n) =>
      new RegExp(`Version ${n}`).test(document.querySelector(".bar").textContent) ||
      /Saved/.test(document.querySelector(".bar").textContent),
    mine.version,
  );
  await button(tab, "Earlier versions");
  await tab.waitForSelector("dialog .versions li:nth-child(2) button").then((b) => b.click());
  await button(tab, "Take it into the drawing", "dialog");
  await dirty(tab);
  await save(tab);
  await saved(tab);
  const restored = await settings();
  assert.deepEqual(restored.settings, theirs.settings);
  assert.match(restored.name, new RegExp(`version ${theirs.version} restored`));
  await other.browserContext().close();
});

test(
  "nothing is lost when the service restarts during a drag, nor by a reload",
  { skip: Boolean(process.env.VCA_PAGE_URL) },
  async () => {
    await tab.waitForSelector(".shapes button").then((b) => b.click());
    await tab.waitForSelector(".editing .point");
    const [from] = (await settings()).settings.line[0].points;
    const to = [from[0] - 90, from[1] + 40];
    await drag(tab, from, to);
    await service.kill();
    await until(tab, () => /connection is lost/.test(document.querySelector("[role=status]").textContent));
    await tab.mouse.move(...(await place(tab, [to[0] - 30, to[1]])), { steps: 3 });
    await drop(tab);
    await dirty(tab);
    const drawn = await points(tab);
    assert.ok(near([drawn[0]], [[to[0] - 30, to[1]]]));
    await until(tab, () => /cannot be asked/.test(document.querySelector(".notes").textContent));
    await service.begin();
    await until(tab, () => document.querySelector(".banner.back") || !document.querySelector(".banner"));
    await until(tab, () => !/cannot be asked/.test(document.querySelector(".notes").textContent));
    await tab.reload();
    await tab.waitForSelector(".shapes button").then((b) => b.click());
    await tab.waitForSelector(".points");
    assert.deepEqual(await points(tab), drawn);
    await save(tab);
    await saved(tab);
    api = await service.api(...accounts.operator);
    assert.ok(near((await settings()).settings.line[0].points, drawn));
  },
);

test("lines are copied to another camera", async () => {
  await button(tab, "Copy to another camera");
  await tab.waitForSelector("dialog select");
  await tab.select("dialog select", "Gallery");
  const before = (await api("GET", "cameras/Gallery/settings")).body.settings;
  await until(
    tab,
    (name) => document.querySelector("dialog").textContent.includes(`The line ${name} is gone`),
    before.line[0].name,
  );
  await button(tab, "Copy and save", "dialog");
  await until(tab, () => /Gallery has them now/.test(document.querySelector("dialog").textContent));
  const { body } = await api("GET", "cameras/Gallery/settings");
  assert.deepEqual(body.settings.line, (await settings()).settings.line);
  assert.deepEqual(body.settings.region, before.region);
});
