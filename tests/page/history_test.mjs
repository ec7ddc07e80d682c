// A history with two changes of the clock, gaps and changed settings.
import assert from "node:assert/strict";
import test, { after, before } from "node:test";
import { accounts, launch, logIn, openTab, Service, show, text, until } from "./browser.mjs";

let browser, service, api, tab;
before(async () => {
  browser = await launch();
  service = await Service.start("--now", "2026-11-20T15:20:00Z");
  api = await service.api(...accounts.viewer);
  tab = await openTab(browser);
  await logIn(tab, service, accounts.viewer);
});
after(async () => {
  await browser.close();
  await service.end();
});

const rows = () =>
  tab.$$eval(".numbers tbody tr", (all) =>
    all.map((row) => [...row.children].map((cell) => cell.textContent.trim())),
  );
const loaded = async (hash, first) => {
  await show(tab, hash);
  await until(
    tab,
    (label) =>
      document.querySelector(".numbers tbody th")?.textContent.trim().startsWith(label) &&
      !document.querySelector(".stale"),
    first,
  );
};

test("days of 25 and 23 hours have all their hours, and say so", async () => {
  for (const [date, n, words] of [
    ["2026-10-25", 25, "had 25 hours"],
    ["2026-03-29", 23, "had 23 hours"],
  ]) {
    await loaded(`#/history?what=counts&split=all&from=${date}&to=${date}`, "00:00");
    await until(tab, (w) => document.querySelector(".remarks")?.textContent.includes(w), words);
    const shown = await rows();
    assert.equal(shown.length, n);
    const { body } = await api("GET", `counts?from=${date}&to=${date}&by=hour`);
    body.spans.forEach((span, i) => {
      const sum = body.series.reduce((all, s) => all + s.adult[i] + s.child[i] + s.staff[i], 0);
      assert.deepEqual(shown[i], [span.label, sum.toLocaleString("en")]);
    });
  }
});

test("the table has every line, also where the chart has room for the largest only", async () => {
  await loaded("#/history?what=counts&from=2026-11-18&to=2026-11-18", "00:00");
  await until(tab, () => document.querySelectorAll(".numbers thead th").length > 3);
  const { body } = await api("GET", "counts?from=2026-11-18&to=2026-11-18&by=hour");
  const names = await tab.$$eval(".numbers thead th", (all) => all.slice(1).map((th) => th.textContent));
  assert.deepEqual(
    names,
    body.series.map((s) => `${s.line}: ${s.direction_name}`),
  );
  assert.ok(names.length > 6);
  assert.match(await text(tab, ".history"), /The chart shows the 6 largest/);
});

test("what was not watched is shaded, named, and no zero", async () => {
  await loaded(
    "#/history?what=counts&line=Entrance%2Fdoor&from=2026-11-18&to=2026-11-18&by=quarter",
    "00:00",
  );
  assert.match(
    await text(tab, ".remarks"),
    /Entrance did not watch from .*13:10 to 14:35: no frames came from the camera/,
  );
  const at = (label) => rows().then((all) => all.find((row) => row[0] === label));
  assert.deepEqual((await at("13:30")).slice(1), ["not watched", "not watched"]);
  assert.notEqual((await at("12:30"))[1], "not watched");
});

test("a change of settings is told with its name", async () => {
  await loaded("#/history?from=2026-11-17&to=2026-11-17", "00:00");
  assert.match(
    await text(tab, ".remarks"),
    /anna put settings 4 \(“line moved away from the door”\) of Entrance in force/,
  );
});

test("from a minute to a year, with the keys and the mouse", async () => {
  await loaded("#/history?from=2026-11-18&to=2026-11-18", "00:00");
  await tab.select(".filters .field:nth-child(4) select", "minute");
  await until(tab, () => document.querySelectorAll(".numbers tbody tr").length === 400);
  assert.match(await text(tab, ".history"), /The table shows the first 400 rows/);
  await tab.$$eval(".tabs button", (all) => all.find((b) => b.textContent === "A year").click());
  await until(tab, () => document.querySelectorAll(".numbers tbody tr").length === 13);
  assert.equal((await rows())[0][0], "Nov 2025");
  assert.ok(
    !(await tab.$$eval(".filters .field:nth-child(4) option", (all) => all.map((o) => o.value))).includes(
      "minute",
    ),
    "a year has too many minutes",
  );
});

test("days are compared by the clock, and the table is there as a file", async () => {
  await loaded("#/history?from=2026-10-25&to=2026-10-25&compare=2026-10-24", "00:00");
  await until(tab, () => document.querySelectorAll(".numbers thead th").length === 3);
  const shown = await rows();
  const two = shown.filter((row) => row[0].startsWith("02:00"));
  assert.equal(two.length, 2);
  assert.equal(two[0][2], two[1][2], "both hours named 02:00 meet the one of the day before");
  const file = await tab.evaluate(async () => {
    const answer = await fetch(document.querySelector("a[download]").href);
    return { type: answer.headers.get("content-type"), text: await answer.text() };
  });
  assert.match(file.type, /^text\/csv/);
  assert.equal(file.text.trim().split("\r\n").length, 1 + 2 * 25);
  assert.deepEqual(tab.complaints, []);
});

test("the heat map is of the chosen time", async () => {
  await show(tab, "#/heat?what=motion&from=2026-11-18&to=2026-11-18&from_hour=9&to_hour=12");
  await tab.waitForSelector(".heat-layer");
  const { body } = await api(
    "GET",
    "cameras/Entrance/heat?what=motion&from=2026-11-18&to=2026-11-18&from_hour=9&to_hour=12",
  );
  await until(
    tab,
    (n) => document.querySelector(".heat")?.textContent.includes(`From ${n} watched hours`),
    body.hours.toLocaleString("en"),
  );
  const painted = await tab.$eval(".heat-layer", (c) =>
    c
      .getContext("2d")
      .getImageData(0, 0, c.width, c.height)
      .data.some((v, i) => i % 4 === 3 && v > 0),
  );
  assert.ok(painted);
});

test("lines of two cameras that have the same name stay apart", async () => {
  const operator = await service.api(...accounts.operator);
  const { body: version } = await operator("GET", "cameras/Gallery/settings");
  const settings = { ...version.settings, line: [{ ...version.settings.line[0], name: "door" }] };
  await operator("PUT", "cameras/Gallery/settings", { base_version: version.version, name: "door too", settings });
  await loaded("#/history?what=counts&split=line&from=2026-11-17&to=2026-11-17", "00:00");
  await until(tab, () => /Gallery, door/.test(document.querySelector(".numbers thead").textContent));
  const names = await tab.$$eval(".numbers thead th", (all) => all.slice(1).map((th) => th.textContent));
  assert.deepEqual(names, ["Entrance, door", "delivery", "Gallery, door"]);
});
