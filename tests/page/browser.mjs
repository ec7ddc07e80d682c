// A browser, and the service that it looks at: the development server, the program in VCA_PROGRAM,
// or any other service whose address is in VCA_PAGE_URL.
import { spawn } from "node:child_process";
import { mkdtempSync, rmSync } from "node:fs";
import { createServer } from "node:net";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { fileURLToPath } from "node:url";
import puppeteer from "puppeteer-core";
import { RealService } from "./real_service.mjs";

const devServer = fileURLToPath(new URL("../../page/dev/server.mjs", import.meta.url));
// The machine may be loaded; a test waits for a state and is never decided by time.
export const patience_ms = 60_000;

// What only the development server can do is left out with others.
export const development = !process.env.VCA_PAGE_URL && !process.env.VCA_PROGRAM;

export function freePort() {
  return new Promise((done) => {
    const server = createServer().listen(0, "127.0.0.1", () => {
      const { port } = server.address();
      server.close(() => done(port));
    });
  });
}

export class Service {
  static async start(...args) {
    if (process.env.VCA_PROGRAM) return startRealService();
    const service = new Service();
    service.external = process.env.VCA_PAGE_URL;
    if (service.external) {
      service.url = service.external;
      return service;
    }
    service.folder = mkdtempSync(join(tmpdir(), "vca-page-"));
    service.port = await freePort();
    service.args = ["--port", String(service.port), "--state", join(service.folder, "state.json"), ...args];
    await service.begin();
    return service;
  }

  begin() {
    return new Promise((done, failed) => {
      this.text = "";
      this.errors = "";
      const command = ["--pdeathsig", "KILL", "--", process.execPath, devServer, ...this.args];
      this.process = spawn("setpriv", command, {
        stdio: ["ignore", "pipe", "pipe"],
      });
      this.process.stderr.on("data", (data) => {
        this.errors += data;
        process.stderr.write(data);
      });
      this.process.stdout.on("data", (data) => {
        this.text += data;
        this.url = /http:\S+/.exec(this.text)?.[0];
        if (this.url && /Log in as/.test(this.text)) done();
      });
      this.process.on("exit", () => failed(new Error(`the service ended: ${this.text}`)));
    });
  }

  kill() {
    return new Promise((done) => {
      this.process.removeAllListeners("exit");
      this.process.on("exit", done);
      this.process.kill("SIGKILL");
    });
  }

  async end() {
    if (this.external) return;
    await this.kill();
    rmSync(this.folder, { recursive: true, force: true });
  }

  api(name, password) {
    return api(this.url, name, password);
  }
}

// As a program asks: with a session of its own.
export async function api(url, name, password) {
  const origin = new URL(url).origin;
  const login = await fetch(`${url}api/v1/session`, {
    method: "POST",
    headers: { origin, "content-type": "application/json" },
    body: JSON.stringify({ name, password }),
  });
  const cookie = login.headers.get("set-cookie").split(";")[0];
  return async (method, path, body) => {
    const answer = await fetch(`${url}api/v1/${path}`, {
      method,
      headers: { cookie, origin, "content-type": "application/json" },
      ...(body ? { body: JSON.stringify(body) } : {}),
    });
    const text = await answer.text();
    return { status: answer.status, body: text.startsWith("{") ? JSON.parse(text) : text };
  };
}

// With the three users that the tests know.
export async function startRealService() {
  const service = new RealService(process.env.VCA_PROGRAM, await freePort());
  service.api = (name, password) => api(service.url, name, password);
  await service.begin();
  const [admin, password] = accounts.admin;
  const ask = await service.api(admin, service.oneTimePassword);
  await ask("PUT", "session/password", { old: service.oneTimePassword, new: password });
  for (const role of ["operator", "viewer"])
    await ask("POST", "users", { name: accounts[role][0], role, password: accounts[role][1] });
  return service;
}

export const accounts = {
  admin: ["admin", process.env.VCA_PAGE_ADMIN ?? "open-the-shop"],
  operator: ["anna", process.env.VCA_PAGE_OPERATOR ?? "draw-the-line"],
  viewer: ["tom", process.env.VCA_PAGE_VIEWER ?? "look-and-see"],
};

export function launch(language = "en-US") {
  return puppeteer.launch({
    executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
    headless: true,
    acceptInsecureCerts: true, // a test signs its own
    pipe: true, // it ends with the test, however that ends
    args: ["--no-sandbox", "--disable-gpu", `--lang=${language}`, `--accept-lang=${language}`],
    env: { ...process.env, LANGUAGE: language.slice(0, 2) },
  });
}

// A tab of its own browser context, so that two people can be logged in at once. What the page
// complains about is collected in `complaints`.
export async function openTab(browser, { width = 1280, height = 900, dark = false, touch = false } = {}) {
  const context = await browser.createBrowserContext();
  const tab = await context.newPage();
  tab.setDefaultTimeout(patience_ms);
  await tab.setViewport({ width, height, hasTouch: touch });
  await tab.emulateMediaFeatures([
    { name: "prefers-color-scheme", value: dark ? "dark" : "light" },
    // Colours that are on their way from one to another have no contrast that could be judged.
    { name: "prefers-reduced-motion", value: "reduce" },
  ]);
  tab.complaints = [];
  tab.on("pageerror", (error) => tab.complaints.push(String(error)));
  tab.on("console", (message) => {
    // A refused or broken request is told by the browser as well; what the page makes of it is tested.
    if (message.type() === "error" && !/Failed to load resource|net::ERR_/.test(message.text()))
      tab.complaints.push(message.text());
  });
  return tab;
}

export async function logIn(tab, service, [name, password]) {
  await tab.goto(service.url, { waitUntil: "domcontentloaded" });
  await tab.locator("input[type=password]").wait();
  await tab.type("input[autocomplete=username]", name);
  await tab.type("input[type=password]", password);
  await tab.keyboard.press("Enter");
  await tab.waitForSelector("header.head");
}

export const show = (tab, hash) => tab.evaluate((to) => void (location.hash = to), hash);

export const until = (tab, condition, ...args) =>
  tab.waitForFunction(condition, { timeout: patience_ms, polling: 50 }, ...args);

export const text = (tab, selector) => tab.$eval(selector, (element) => element.textContent);

export async function button(tab, name, within = "body") {
  const handle = await tab.waitForSelector(`${within} ::-p-aria([name="${name}"][role="button"])`);
  await handle.click();
}

// The guide of a camera, which is open, from its source to where a line is drawn.
export async function guideToDrawing(tab) {
  await tab.waitForSelector(".guide .good");
  await button(tab, "Next");
  await until(tab, () => document.querySelector(".step .picture canvas")?.dataset.frame);
  await button(tab, "Next");
  await button(tab, "Measure again");
  await until(tab, () => /Measuring/.test(document.querySelector(".step").textContent));
  await until(tab, () => /The floor was measured/.test(document.querySelector(".step").textContent));
  await button(tab, "This is the height");
  await until(tab, () => /Saved\./.test(document.querySelector(".step").textContent));
  await button(tab, "Next");
  await until(tab, () => /The camera hangs/.test(document.querySelector(".step").textContent));
  await button(tab, "Next");
  await until(tab, () => document.querySelector(".editor .picture canvas")?.dataset.frame);
}
