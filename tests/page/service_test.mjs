// The page and `vca serve` together, from the one-time password on. VCA_PROGRAM is the program;
// pictures of what was seen go to the folder VCA_SHOTS, if it is given.
import assert from "node:assert/strict";
import { createServer, request as ask } from "node:http";
import test, { after, before, describe } from "node:test";
import { connect } from "node:tls";
import { accounts, button, freePort, guideToDrawing, launch, logIn, openTab, patience_ms, show, startRealService, text, until } from "./browser.mjs";
import { makeCertificate, RealService } from "./real_service.mjs";

let browser;
before(async () => (browser = await launch()));
after(() => browser.close());

async function shot(tab, name) {
  if (process.env.VCA_SHOTS) await tab.screenshot({ path: `${process.env.VCA_SHOTS}/${name}.png` });
}

async function enter(tab, name, password) {
  await tab.waitForSelector("input[autocomplete=username]");
  await tab.$eval("input[autocomplete=username]", (input) => input.select());
  await tab.type("input[autocomplete=username]", name);
  await tab.type("input[type=password]", password);
  await tab.keyboard.press("Enter");
}

async function chooseAnother(tab, once, password) {
  await tab.waitForSelector("input[autocomplete=new-password]");
  await tab.type("input[autocomplete=current-password]", once);
  for (const field of await tab.$$("input[autocomplete=new-password]")) await field.type(password);
  await tab.keyboard.press("Enter");
  await tab.waitForSelector("header.head");
}

// What the live view shows of a line: people in both directions together.
const shown = (tab, camera, line) =>
  tab.evaluate(
    (c, l) => {
      const row = [...document.querySelectorAll(".counts tr")].find((tr) => {
        const head = tr.querySelector("th")?.textContent ?? "";
        return head.startsWith(l) && head.endsWith(c);
      });
      if (!row) return null;
      return [...row.querySelectorAll("b")].reduce((sum, b) => sum + Number(b.textContent), 0);
    },
    camera,
    line,
  );

// Nobody is shown who is not counted, and whoever is counted is shown soon.
async function showsWhatIsCounted(tab, service, camera, line, least) {
  const limit = Date.now() + 300_000;
  for (let sum = 0; sum < least; ) {
    assert.ok(Date.now() < limit, `${sum} people were counted at ${camera}`);
    sum = service.countedAt(camera, line);
  }
  const before = service.countedAt(camera, line);
  let now = null;
  while (now === null || now < before) {
    assert.ok(Date.now() < limit, `${now} people are shown, ${before} are counted`);
    now = await shown(tab, camera, line);
  }
  assert.ok(now <= service.countedAt(camera, line));
  return now;
}

test("the first start leads from the one-time password to a count", async (t) => {
  const service = new RealService(process.env.VCA_PROGRAM, await freePort());
  t.after(() => service.end());
  await service.begin();
  const tab = await openTab(browser);
  await tab.goto(service.url);
  await tab.waitForSelector("input[autocomplete=username]");
  assert.equal(await tab.$eval("input[autocomplete=username]", (input) => input.value), "admin");
  await shot(tab, "first-start");
  await tab.type("input[type=password]", service.oneTimePassword);
  await tab.keyboard.press("Enter");
  await tab.waitForSelector("input[autocomplete=new-password]");
  await shot(tab, "new-password");
  // Nothing else can be had before.
  await tab.reload();
  await tab.waitForSelector("input[autocomplete=new-password]");
  assert.equal(await tab.evaluate(async () => (await fetch("api/v1/place")).status), 403);
  await chooseAnother(tab, service.oneTimePassword, "a password of my own");
  await until(tab, () => document.querySelector(".picture canvas")?.dataset.frame);
  const first = await showsWhatIsCounted(tab, service, "Entrance", "door", 1);
  await shot(tab, "live");
  const later = await showsWhatIsCounted(tab, service, "Entrance", "door", first + 1);
  assert.ok(later > first);
  assert.deepEqual(tab.complaints, []);
  await tab.browserContext().close();
});

const fingerprint = (port) =>
  new Promise((done, failed) => {
    const socket = connect({ host: "127.0.0.1", port, rejectUnauthorized: false }, () => {
      done(socket.getPeerCertificate().fingerprint256);
      socket.end();
    });
    socket.on("error", failed);
  });

test("with a certificate the page comes by https, and its cookie goes no other way", async (t) => {
  const service = new RealService(process.env.VCA_PROGRAM, await freePort(), true);
  t.after(() => service.end());
  await service.begin();
  const tab = await openTab(browser);
  await tab.goto(service.url);
  await enter(tab, "admin", service.oneTimePassword);
  await chooseAnother(tab, service.oneTimePassword, "a password of my own");
  await until(tab, () => document.querySelector(".picture canvas")?.dataset.frame);
  const [cookie] = await tab.browserContext().cookies();
  assert.ok(cookie.secure && cookie.httpOnly);
  // Renewed files are taken while it runs.
  const before = await fingerprint(service.port);
  makeCertificate(service.folder);
  for (const limit = Date.now() + patience_ms; (await fingerprint(service.port)) === before;)
    assert.ok(Date.now() < limit, "the certificate of before is still shown");
  assert.deepEqual(tab.complaints, []);
  await tab.browserContext().close();
});

describe("a place that runs", () => {
  let service;
  before(async () => (service = await startRealService()));
  after(() => service.end());

  test("history has the people who were counted", async () => {
    const tab = await openTab(browser);
    await tab.evaluateOnNewDocument(() => {
      window.drawn = [];
      const draw = CanvasRenderingContext2D.prototype.fillText;
      CanvasRenderingContext2D.prototype.fillText = function (text, ...rest) {
        window.drawn.push(text);
        draw.call(this, text, ...rest);
      };
    });
    await logIn(tab, service, accounts.viewer);
    await showsWhatIsCounted(tab, service, "Entrance", "door", 2);
    await show(tab, "#/history");
    await tab.waitForSelector(".history .chart canvas");
    const total = () =>
      tab.$$eval(".numbers tbody td", (cells) =>
        cells.reduce((sum, cell) => sum + (Number(cell.textContent.replace(/\D/g, "")) || 0), 0),
      );
    await until(tab, () => document.querySelectorAll(".numbers tbody td").length > 0);
    assert.ok((await total()) > 0);
    const scale = (await tab.evaluate(() => window.drawn)).filter((text) => /^[\d.,]+$/.test(text));
    assert.ok(scale.length > 0 && scale.every((text) => /^\d+$/.test(text)), `people are whole: ${scale}`);
    await shot(tab, "history");
    assert.deepEqual(tab.complaints, []);
    await tab.browserContext().close();
  });

  test("the guide ends with a report of one page that can be printed", async () => {
    const tab = await openTab(browser);
    await logIn(tab, service, accounts.operator);
    await show(tab, "#/setup/Entrance/guide");
    await guideToDrawing(tab);
    await button(tab, "Next");
    await button(tab, "Begin");
    await tab.waitForFunction(() => document.querySelectorAll(".walks .done").length === 3, {
      timeout: 5 * patience_ms,
    });
    await button(tab, "Next");
    await tab.waitForSelector(".report .marks");
    assert.match(await text(tab, ".report"), /3 of 3 walks counted/);
    const ask = await service.api(...accounts.operator);
    const { cameras } = (await ask("GET", "place")).body;
    assert.equal(cameras.find((c) => c.name === "Entrance").commissioned.author, accounts.operator[0]);
    const paper = Buffer.from(await tab.pdf({ format: "A4" })).toString("latin1");
    assert.equal(paper.match(/\/Type\s*\/Page\b/g).length, 1);
    if (process.env.VCA_SHOTS) await tab.pdf({ format: "A4", path: `${process.env.VCA_SHOTS}/report.pdf` });
    await shot(tab, "report");
    assert.deepEqual(tab.complaints, []);
    await tab.browserContext().close();
  });

  test("roles: a viewer looks, an operator sets up, an admin manages", async () => {
    for (const [role, setup, users] of [
      ["viewer", false, 403],
      ["operator", true, 403],
      ["admin", true, 200],
    ]) {
      const tab = await openTab(browser);
      await logIn(tab, service, accounts[role]);
      assert.equal((await text(tab, "header.head nav")).includes("Setup"), setup, role);
      assert.equal(await tab.evaluate(async () => (await fetch("api/v1/users")).status), users, role);
      const measure = await tab.evaluate(
        async () =>
          (
            await fetch("api/v1/cameras/Entrance/measure", {
              method: "POST",
              headers: { "content-type": "application/json" },
            })
          ).status,
      );
      assert.equal(measure, role === "viewer" ? 403 : 202, role);
      await tab.browserContext().close();
    }
  });

  test("a password that was reset leads the open page to the login, and on", async () => {
    const tab = await openTab(browser);
    await logIn(tab, service, accounts.operator);
    await until(tab, () => document.querySelector(".picture canvas")?.dataset.frame);
    const once = /: (\S+)/.exec(service.vca("users", "reset", accounts.operator[0]))[1];
    await tab.waitForSelector("input[type=password]");
    await shot(tab, "session-ended");
    await enter(tab, accounts.operator[0], once);
    await chooseAnother(tab, once, "another good password");
    await until(tab, () => document.querySelector(".picture canvas")?.dataset.frame);
    assert.deepEqual(tab.complaints, []);
    await tab.browserContext().close();
  });

  test("a service that was killed is missed, and counts on where it was", async () => {
    const tab = await openTab(browser);
    await logIn(tab, service, accounts.viewer);
    const before = await showsWhatIsCounted(tab, service, "Entrance", "door", 1);
    await service.kill();
    await until(tab, () => document.querySelector(".banner.lost"));
    await shot(tab, "lost");
    await service.begin();
    assert.equal(service.oneTimePassword, undefined, "somebody has chosen a password");
    await until(tab, () => !document.querySelector(".banner.lost") && document.querySelector(".health.ok"));
    assert.ok((await showsWhatIsCounted(tab, service, "Entrance", "door", before)) >= before);
    assert.deepEqual(tab.complaints, []);
    await tab.browserContext().close();
  });

  test("behind a reverse proxy with a prefix everything is found", async () => {
    const prefix = "/shops/corner/";
    const proxy = createServer((from, to) => {
      if (!from.url.startsWith(prefix)) return to.writeHead(404).end();
      const onward = ask(
        `${service.url}${from.url.slice(prefix.length)}`,
        { method: from.method, headers: from.headers },
        (answer) => {
          to.writeHead(answer.statusCode, answer.headers);
          answer.pipe(to);
        },
      );
      onward.on("error", () => to.destroy());
      to.on("close", () => onward.destroy());
      from.pipe(onward);
    });
    const port = await freePort();
    await new Promise((done) => proxy.listen(port, "127.0.0.1", done));
    const tab = await openTab(browser);
    await logIn(tab, { url: `http://127.0.0.1:${port}${prefix}` }, accounts.viewer);
    await until(tab, () => document.querySelector(".picture canvas")?.dataset.frame);
    assert.equal(new URL(tab.url()).pathname, prefix);
    await show(tab, "#/history");
    await tab.waitForSelector(".history .chart canvas");
    await button(tab, `Log out ${accounts.viewer[0]}`);
    await tab.waitForSelector("input[type=password]");
    assert.deepEqual(tab.complaints, []);
    await tab.browserContext().close();
    proxy.closeAllConnections();
    proxy.close();
  });
});
