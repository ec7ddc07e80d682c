// What the service answers, held against the contract of its API.
import assert from "node:assert/strict";
import test, { after, before } from "node:test";
import { answerDifference, find } from "../../page/dev/contract.mjs";
import { accounts, Service } from "./browser.mjs";

let service, admin, viewer;
before(async () => {
  service = await Service.start();
  admin = await service.api(...accounts.admin);
  viewer = await service.api(...accounts.viewer);
});
after(() => service.end());

const days = "from=2026-10-25&to=2026-10-25";

test("every answer to a question has the described form", async () => {
  const { body: place } = await admin("GET", "place");
  const camera = `cameras/${encodeURIComponent(place.cameras[0].name)}`;
  const { body: version } = await admin("GET", `${camera}/settings`);
  const paths = [
    "session",
    "place",
    "health",
    "events",
    "events?after=0&limit=3",
    "schema",
    "users",
    "tokens",
    `${camera}/status`,
    `${camera}/settings`,
    `${camera}/settings/versions`,
    `${camera}/settings/versions/${version.version}`,
    `${camera}/heat?${days}&what=motion`,
    ...["counts", "regions", "areas", "visitors"].flatMap((what) =>
      ["minute", "quarter", "hour", "day", "month"].map((by) => `${what}?${days}&by=${by}`),
    ),
  ];
  for (const path of paths) {
    const { status, body } = await admin("GET", path);
    const { operation } = find("GET", `/api/v1/${path.split("?")[0]}`);
    assert.equal(status, 200, path);
    assert.equal(answerDifference(operation, status, body), null, path);
  }
});

test("a day on which the clock is changed has 25 or 23 hours, each with a name of its own", async () => {
  for (const [date, n] of [
    ["2026-10-25", 25],
    ["2026-03-29", 23],
    ["2026-10-26", 24],
  ]) {
    const { body } = await admin("GET", `visitors?from=${date}&to=${date}&by=hour`);
    assert.equal(body.spans.length, n);
    assert.equal(new Set(body.spans.map((s) => s.label)).size, n);
    assert.equal(body.clock_changes.length, n === 24 ? 0 : 1);
  }
});

test("what is wrong is refused with one sentence", async () => {
  for (const [path, status] of [
    ["counts?from=2026-10-25", 400],
    ["counts?from=yesterday&to=2026-10-25&by=hour", 400],
    ["counts?from=2025-01-01&to=2026-10-25&by=minute", 400],
    ["cameras/none/settings", 404],
    ["nothing", 404],
    ["place?x=1", 400],
  ]) {
    const answer = await admin("GET", path);
    assert.equal(answer.status, status, path);
    assert.match(answer.body.error, /^\S.*\.$/, path);
  }
});

test("a viewer changes nothing, and nobody sees anything without a session", async () => {
  const { body: version } = await viewer("GET", "cameras/Entrance/settings");
  const save = { base_version: version.version, name: "mine", settings: version.settings };
  assert.equal((await viewer("PUT", "cameras/Entrance/settings", save)).status, 403);
  assert.equal((await viewer("GET", "users")).status, 403);
  assert.equal((await viewer("POST", "tokens", { name: "x", role: "admin" })).status, 403);
  assert.equal((await fetch(`${service.url}api/v1/place`)).status, 401);
});

test("a save that began with an older version is refused and shows the newer one", async () => {
  const { body: version } = await admin("GET", "cameras/Gallery/settings");
  const save = (name) =>
    admin("PUT", "cameras/Gallery/settings", {
      base_version: version.version,
      name,
      settings: { ...version.settings, height_mm: 4100 },
    });
  assert.equal((await save("first")).status, 200);
  const second = await save("second");
  assert.equal(second.status, 409);
  assert.equal(second.body.current.version, version.version + 1);
  assert.equal(second.body.current.name, "first");
});
