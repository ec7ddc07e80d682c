// The service in miniature, for whoever works on the page: made-up people who are really counted by
// the lines in force, two years of made-up counts, users, conflicts. It listens on loopback only.
//   node dev/server.mjs [--port N] [--now 2026-11-23T10:00:00Z] [--state FILE] [--first-start]
//                       [--prefix /shop/] [--seconds-of-session N]
import { createHash, randomBytes } from "node:crypto";
import { existsSync, readFileSync, writeFileSync } from "node:fs";
import { createServer } from "node:http";
import { fileURLToPath } from "node:url";
import { gzipSync } from "node:zlib";
import { check } from "./checks.mjs";
import { answerDifference, bodyDifference, find, liveDifference, queryDifference } from "./contract.mjs";
import { Numbers } from "./numbers.mjs";
import { empty, schema, settingsOf, users } from "./places.mjs";
import { Camera, plans } from "./world.mjs";
import { hour, Zone } from "./zone.mjs";

const argument = (name, fallback) => {
  const at = process.argv.indexOf(`--${name}`);
  return at < 0 ? fallback : process.argv[at + 1];
};
const port = Number(argument("port", 8080));
const prefix = argument("prefix", "/");
const stateFile = argument("state", "");
const firstStart = process.argv.includes("--first-start");
const sessionSeconds = Number(argument("seconds-of-session", 12 * 3600));
const dist = fileURLToPath(new URL("../dist/", import.meta.url));
const shift = argument("now") ? Date.parse(argument("now")) - Date.now() : 0;
const nowUs = () => (Date.now() + shift) * 1000;

const zone = new Zone("Europe/Berlin");
const numbers = new Numbers(zone, nowUs());
numbers.clock = nowUs;
const cameraNames = firstStart ? ["Entrance"] : Object.keys(settingsOf);

const fresh = () => ({
  users: firstStart ? { admin: { password: randomBytes(9).toString("base64url"), role: "admin", once: true } } : users,
  sessions: {}, tokens: [], commissioned: firstStart ? {} : { Entrance: { time: zone.text(nowUs() - 86400e6 * 200), author: "anna" } },
  seen: !firstStart,
  versions: Object.fromEntries(cameraNames.map((name) => [name, firstVersions(name)])),
});

function firstVersions(name) {
  const version = (n, author, text, settings, time_us) => ({ version: n, time_us, time: zone.text(time_us), author, name: text, settings });
  const now = settingsOf[name];
  if (firstStart) return [version(1, "vca", "first start", empty, nowUs())];
  const list = [version(1, "vca", "first start", { ...now, line: now.line.slice(0, 1), region: [], exclude: [] }, nowUs() - 200 * 86400e6)];
  for (const change of numbers.changes.filter((c) => c.camera === name).reverse()) {
    const settings = change.version < 4 ? { ...now, line: now.line.map((l) => ({ ...l, points: l.points.map(([x, y]) => [x, y - 40]) })) } : now;
    list.push(version(change.version, change.author, change.name, settings, change.time_us));
  }
  if (list.at(-1).settings !== now) list.push(version(list.at(-1).version + 1, "anna", "as hung up", now, nowUs() - 90 * 86400e6));
  return list;
}

const state = stateFile && existsSync(stateFile) ? JSON.parse(readFileSync(stateFile)) : fresh();
const keep = () => stateFile && writeFileSync(stateFile, JSON.stringify(state));
const inForce = (camera) => state.versions[camera].at(-1);

const recent = [];
const streams = new Set();
const measuring = new Map();
const broken = new Map();  // camera → Problem
let sequence = 0;

function happened(event) {
  const full = { ...event, time: zone.text(event.time_us) };
  recent.push({ ...full, sequence: ++sequence });
  if (recent.length > 2000) recent.shift();
  numbers.add(event);
  for (const stream of streams) stream.send("happened", full);
}

const cameras = new Map(cameraNames.map((name) => [name, new Camera(name, () => inForce(name).settings, happened, nowUs)]));

const area = () => ({ area: "shop", capacity: 80 });
const doors = () => {
  const line = inForce("Entrance").settings.line[0];
  return line ? [{ camera: "Entrance", line: line.name, way: line.directions?.[1] === "in" ? 2 : 1 }] : [];
};
const withLines = () => cameraNames.map((name) => ({ name, lines: inForce(name).settings.line }));
const regionsOf = () => cameraNames.flatMap((camera) => inForce(camera).settings.region.map((r) => ({ camera, region: r.name })));

const history = firstStart ? null : numbers;
function countOf(camera, line, way, from, to) {
  if (history) return history.count(camera, line, way, from, to);
  const mine = numbers.since.filter((e) => e.kind === "crossing" && e.camera === camera && e.place === line && e.direction === way && e.time_us >= from && e.time_us < to);
  return ["adult", "child", "staff"].map((kind) => mine.filter((e) => e.person === kind).length).concat(0, to > numbers.startUs && from < nowUs() ? 1 : 0);
}

function liveCounts() {
  const today = zone.dateOf(nowUs());
  const from = zone.dayStart(today), to = zone.dayStart(Zone.add(today, 1));
  const come = (f, t) => doors().reduce((sum, d) => { const c = countOf(d.camera, d.line, d.way, f, t); return [sum[0] + c[0] + c[1], sum[1] + c[4]]; }, [0, 0]);
  const gone = () => doors().reduce((sum, d) => { const c = countOf(d.camera, d.line, 3 - d.way, from, to); return sum + c[0] + c[1]; }, 0);
  const visitors = come(from, to)[0];
  return {
    today, visitors: doors().length ? visitors : null,
    lines: withLines().flatMap((c) => c.lines.map((line) => ({
      camera: c.name, line: line.name,
      directions: [1, 2].map((direction) => ({ direction, name: (line.directions ?? ["in", "out"])[direction - 1], people: countOf(c.name, line.name, direction, from, to).slice(0, 3).reduce((a, b) => a + b) })),
    }))),
    regions: regionsOf().map((r) => {
      const stays = cameras.get(r.camera).newest().live.people.filter((p) => p.region === r.region).map((p) => p.stay_ms);
      return { ...r, people: stays.length, longest_stay_ms: Math.max(0, ...stays) };
    }),
    areas: doors().length ? [{ ...area(), inside: Math.max(0, visitors - gone()) % 80, level: "ok" }] : [],
    hours: zone.pieces(today, hour).map((s) => { const [people, watched] = come(s.from_us, s.to_us); return { label: s.label, people: watched ? people : null }; }),
  };
}
function health() {
  const problems = [...broken.values()];
  const level = problems.some((p) => p.level === "failed") ? "failed" : problems.length ? "degraded" : "ok";
  return { level, problems, cameras: cameraNames.map((name) => ({ name, state: cameras.get(name).stopped ? "offline" : "online", frames_per_second: cameras.get(name).stopped ? 0 : 15 })) };
}

function status(name) {
  const camera = cameras.get(name);
  const settings = inForce(name).settings;
  const since = measuring.get(name);
  const share = since ? (Date.now() - since) / 4000 : null;
  if (share >= 1) measuring.delete(name);
  return {
    camera: name, state: camera.stopped ? "offline" : "online", source: "made-up depth camera, 480 x 272", width: 480, height: 272, frames_per_second: 15,
    valid_share: 0.993, floor_mm: share === null || share >= 1 ? 4204 : null, noise_mm: 6.1,
    height_mm: typeof settings.height_mm === "number" ? settings.height_mm : 4204, height_from: typeof settings.height_mm === "number" ? "settings" : "measured",
    tilt: { roll_deg: 1.8, pitch_deg: -0.6 }, levelled: true, measuring: share !== null && share < 1 ? share : null, notes: [],
  };
}

class Refusal extends Error {
  constructor(status, text, more = {}) { super(text); Object.assign(this, { status, more }); }
}

const failures = [];
function logIn({ name, password }) {
  const now = Date.now();
  while (failures.length && now - failures[0] > 30000) failures.shift();
  if (failures.length >= 5) throw new Refusal(429, "There were too many wrong passwords; wait half a minute.", { retry: 30 });
  const user = state.users[name];
  if (!user || user.password !== password) {
    failures.push(now);
    throw new Refusal(401, "Name or password is wrong.");
  }
  state.seen = true;
  user.last_login = zone.text(nowUs());
  const id = randomBytes(24).toString("base64url");
  state.sessions[id] = { name, until: now + sessionSeconds * 1000 };
  keep();
  return id;
}

const sessionAnswer = (who) => ({ name: who?.name ?? null, role: who ? state.users[who.name].role : null, must_change_password: Boolean(who && state.users[who.name].once), first_start: !state.seen });

function events(query) {
  const limit = Number(query.get("limit") ?? 100);
  const after = query.get("after");
  const from = after === null ? recent.slice(-limit) : recent.filter((e) => e.sequence > Number(after));
  const list = from.slice(0, limit);
  return { events: list.map(({ sequence: _, ...e }) => e), next: String(list.at(-1)?.sequence ?? after ?? sequence), more: from.length > limit };
}

function save(camera, body, who) {
  const current = inForce(camera);
  if (body.base_version !== current.version) throw new Refusal(409, `${current.author} saved version ${current.version} meanwhile.`, { body: { current } });
  const error = check(body.settings, cameras.get(camera)).notes.find((n) => n.level === "error");
  if (error) throw new Refusal(400, error.text, { body: error.place ? { place: error.place } : {} });
  const time_us = nowUs();
  const version = { version: current.version + 1, time_us, time: zone.text(time_us), author: who.name, name: body.name || "changed", settings: body.settings };
  state.versions[camera].push(version);
  numbers.changes.push({ camera, time_us, version: version.version, name: version.name, author: who.name });
  keep();
  for (const stream of streams) stream.send("settings", { camera, version: version.version, author: who.name });
  return version;
}

function span(query) {
  const [from, to, by] = ["from", "to", "by"].map((name) => query.get(name));
  if (to < from) throw new Refusal(400, "The last day lies before the first one.");
  const days = (Date.parse(to) - Date.parse(from)) / 86400e3 + 1;
  const each = { minute: 1440, quarter: 96, hour: 24, day: 1, month: 1 / 28 }[by];
  if (days * each > 2000) throw new Refusal(400, "These are more than 2000 spans; choose longer ones or fewer days.");
  return numbers.history(from, to, by, query.get("open") === "true");
}

const needs = (who, role) => {
  const order = ["viewer", "operator", "admin"];
  if (order.indexOf(state.users[who.name].role) < order.indexOf(role)) throw new Refusal(403, `This needs the role ${role}.`);
};

// Operations by path and method; each returns [status, body].
const operations = {
  "get /api/v1/session": (c) => [200, sessionAnswer(c.who)],
  "delete /api/v1/session": (c) => { delete state.sessions[c.session]; keep(); return [204]; },
  "put /api/v1/session/password": (c) => {
    const user = state.users[c.who.name];
    if (user.password !== c.body.old) throw new Refusal(400, "The old password is wrong.");
    Object.assign(user, { password: c.body.new, once: false });
    keep();
    return [204];
  },
  "get /api/v1/place": () => [200, {
    name: "Corner shop", time_zone: zone.name, version: "0.1.0", now_us: nowUs(), now: zone.text(nowUs()), today: zone.dateOf(nowUs()), first_day: history ? numbers.firstDay : null,
    cameras: cameraNames.map((name) => ({ name, width: 960, height: 544, state: cameras.get(name).stopped ? "offline" : "online", colour: false, commissioned: state.commissioned[name] ?? null })),
    areas: [{ name: "shop", capacity: 80 }], opening_hours: [{ days: ["mon", "tue", "wed", "thu", "fri", "sat"], from: "09:00", to: "20:00" }],
  }],
  "get /api/v1/health": () => [200, health()],
  "get /api/v1/cameras/{camera}/status": (c) => [200, status(c.camera)],
  "post /api/v1/cameras/{camera}/measure": (c) => { needs(c.who, "operator"); measuring.set(c.camera, Date.now()); return [202]; },
  "put /api/v1/cameras/{camera}/commissioned": (c) => {
    needs(c.who, "operator");
    state.commissioned[c.camera] = { time: zone.text(nowUs()), author: c.who.name };
    keep();
    return [204];
  },
  "get /api/v1/cameras/{camera}/settings": (c) => [200, inForce(c.camera)],
  "put /api/v1/cameras/{camera}/settings": (c) => { needs(c.who, "operator"); return [200, save(c.camera, c.body, c.who)]; },
  "post /api/v1/cameras/{camera}/settings/check": (c) => [200, check(c.body, cameras.get(c.camera))],
  "get /api/v1/cameras/{camera}/settings/versions": (c) => [200, { versions: state.versions[c.camera].map(({ settings: _, ...v }) => v).reverse().slice(0, 200) }],
  "get /api/v1/cameras/{camera}/settings/versions/{version}": (c) => {
    const found = state.versions[c.camera].find((v) => v.version === Number(c.parameters.version));
    if (!found) throw new Refusal(404, "There is no such version.");
    return [200, found];
  },
  "get /api/v1/cameras/{camera}/heat": (c) => {
    const days = (Date.parse(c.query.get("to")) - Date.parse(c.query.get("from"))) / 86400e3 + 1;
    if (!(days >= 1)) throw new Refusal(400, "The last day lies before the first one.");
    const plan = plans[c.camera] ?? plans.Entrance;
    const what = c.query.get("what") ?? "dwell";
    const hours = Math.max(0, Number(c.query.get("to_hour") ?? 24) - Number(c.query.get("from_hour") ?? 0));
    return [200, { camera: c.camera, what, ...numbers.heat(what, { paths: plan.routes, stop: plan.stop, days: (days * hours) / 24 }), hours: Math.round(days * hours * 9.6) / 10 }];
  },
  "get /api/v1/counts": (c) => [200, history ? numbers.counts(span(c.query), withLines()) : { ...span(c.query), series: [] }],
  "get /api/v1/regions": (c) => [200, numbers.regions(span(c.query), regionsOf())],
  "get /api/v1/areas": (c) => [200, numbers.areas(span(c.query), [area()])],
  "get /api/v1/visitors": (c) => [200, numbers.visitors(span(c.query), doors())],
  "get /api/v1/events": (c) => [200, events(c.query)],
  "get /api/v1/people": (c) => {
    const found = cameras.get(c.query.get("camera"))?.person(Number(c.query.get("track")), zone);
    if (!found) throw new Refusal(404, "Nothing is kept of this person any more.");
    return [200, found];
  },
  "get /api/v1/schema": () => [200, schema],
  "get /api/v1/users": (c) => { needs(c.who, "admin"); return [200, { users: Object.entries(state.users).map(([name, u]) => ({ name, role: u.role, last_login: u.last_login ?? null })) }]; },
  "post /api/v1/users": (c) => {
    needs(c.who, "admin");
    if (state.users[c.body.name]) throw new Refusal(400, `There is a user ${c.body.name} already.`);
    state.users[c.body.name] = { password: c.body.password, role: c.body.role };
    keep();
    return [201];
  },
  "put /api/v1/users/{user}": (c) => { needs(c.who, "admin"); Object.assign(userOf(c), c.body); keep(); return [204]; },
  "delete /api/v1/users/{user}": (c) => {
    needs(c.who, "admin");
    if (userOf(c).role === "admin" && Object.values(state.users).filter((u) => u.role === "admin").length === 1) throw new Refusal(400, "The last admin stays.");
    delete state.users[c.parameters.user];
    for (const [id, s] of Object.entries(state.sessions)) if (s.name === c.parameters.user) delete state.sessions[id];
    keep();
    return [204];
  },
  "get /api/v1/tokens": (c) => { needs(c.who, "admin"); return [200, { tokens: state.tokens }]; },
  "post /api/v1/tokens": (c) => {
    needs(c.who, "admin");
    const id = randomBytes(4).toString("hex");
    state.tokens.push({ id, name: c.body.name, role: c.body.role, created: zone.text(nowUs()), last_used: null });
    keep();
    return [201, { id, token: `vca_${randomBytes(24).toString("base64url")}` }];
  },
  "delete /api/v1/tokens/{token}": (c) => { needs(c.who, "admin"); state.tokens = state.tokens.filter((t) => t.id !== c.parameters.token); keep(); return [204]; },
};

function userOf(c) {
  const user = state.users[c.parameters.user];
  if (!user) throw new Refusal(404, "There is no such user.");
  return user;
}

function asCsv(answer) {
  const rows = [["from", "to", "camera", "place", "direction", "what", "value"]];
  const list = answer.series ?? [{ adults: answer.adults, children: answer.children }];
  for (const s of list) for (const [key, column] of Object.entries(s)) {
    if (!Array.isArray(column)) continue;
    answer.spans.forEach((span, i) => rows.push([zone.text(span.from_us), zone.text(span.to_us), s.camera ?? "", s.line ?? s.region ?? s.area ?? "", s.direction_name ?? "", key, column[i] ?? ""]));
  }
  return rows.map((row) => row.map((cell) => (/[",\n]/.test(cell) ? `"${String(cell).replaceAll('"', '""')}"` : cell)).join(",")).join("\r\n") + "\r\n";
}

class Stream {
  constructor(response, camera, session) {
    Object.assign(this, { response, camera, session, last: 0 });
    response.writeHead(200, { "content-type": "text/event-stream", "cache-control": "no-store", "x-accel-buffering": "no" });
    this.send("health", health());
    this.sendCounts();
  }
  send(name, body) {
    const wrong = liveDifference(name, body);
    if (wrong) console.error(`live ${name}: ${wrong}`);
    this.response.write(`event: ${name}\ndata: ${JSON.stringify(body)}\n\n`);
  }
  sendCounts(always = true) {
    const text = JSON.stringify(liveCounts());
    if (!always && text === this.counts) return;
    this.counts = text;
    this.send("counts", JSON.parse(text));
  }
}

function who(request) {
  const id = /(?:^|; )vca_session=([\w-]+)/.exec(request.headers.cookie ?? "")?.[1];
  const session = id && state.sessions[id];
  if (!session || session.until < Date.now() || !state.users[session.name]) return {};
  return { session: id, who: session };
}

async function bodyOf(request) {
  let text = "";
  for await (const part of request) if ((text += part).length > 200_000) throw new Refusal(413, "The body is larger than 200 kB.");
  if (!text) return undefined;
  if (!/^application\/json/.test(request.headers["content-type"] ?? "")) throw new Refusal(415, "The body must be application/json.");
  try { return JSON.parse(text); } catch { throw new Refusal(400, "The body is not JSON."); }
}

const answer = (response, status, body, headers = {}) => {
  response.writeHead(status, { "cache-control": "no-store", ...(body === undefined ? {} : { "content-type": "application/json" }), ...headers });
  response.end(body === undefined ? undefined : JSON.stringify(body));
};

async function handleApi(request, response, url) {
  const found = find(request.method, url.pathname);
  if (!found) throw new Refusal(404, "There is nothing here.");
  if (!found.operation) throw new Refusal(405, "This cannot be done here.");
  if (request.method !== "GET" && (request.headers["sec-fetch-site"] ?? "same-origin") !== "same-origin") throw new Refusal(403, "Another site asked for this.");
  const wrongQuery = queryDifference(found.operation, url.searchParams);
  if (wrongQuery) throw new Refusal(400, `${wrongQuery}.`);
  const context = { ...who(request), parameters: found.parameters, query: url.searchParams, camera: found.parameters.camera };
  const body = request.method === "GET" ? undefined : await bodyOf(request);
  const wrongBody = bodyDifference(found.operation, body);
  if (wrongBody) throw new Refusal(400, `${wrongBody}.`);
  const open = found.template === "/api/v1/session";
  if (!open && !context.who) throw new Refusal(401, "Please log in.");
  if (!open && found.template !== "/api/v1/session/password" && state.users[context.who.name].once) throw new Refusal(403, "Please choose a password of your own first.");
  if (context.camera !== undefined && !cameras.has(context.camera)) throw new Refusal(404, `There is no camera ${context.camera}.`);
  if (found.template === "/api/v1/live") return startStream(request, response, context);
  if (found.template.endsWith("/picture")) return sendPicture(response, context);
  if (open && request.method === "POST") {
    const id = logIn(body);
    const cookie = `vca_session=${id}; HttpOnly; SameSite=Strict; Path=${prefix}`;
    return answer(response, 200, sessionAnswer(state.sessions[id]), { "set-cookie": cookie });
  }
  const [status, result] = operations[`${request.method.toLowerCase()} ${found.template}`]({ ...context, body });
  const wrong = answerDifference(found.operation, status, result);
  if (wrong) throw new Refusal(500, `The answer breaks the contract: ${wrong}.`);
  if (url.searchParams.get("format") === "csv") {
    response.writeHead(200, { "content-type": "text/csv; charset=utf-8", "content-disposition": `attachment; filename="${url.pathname.split("/").at(-1)}.csv"` });
    return response.end(asCsv(result));
  }
  return answer(response, status, result);
}

function startStream(request, response, context) {
  const camera = context.query.get("camera");
  if (camera !== null && !cameras.has(camera)) throw new Refusal(404, `There is no camera ${camera}.`);
  const stream = new Stream(response, camera, context.session);
  streams.add(stream);
  request.on("close", () => streams.delete(stream));
}

function sendPicture(response, context) {
  const asked = context.query.get("frame");
  const camera = cameras.get(context.camera);
  const picture = camera.picture(asked === null ? undefined : Number(asked));
  if (!picture) throw new Refusal(404, "This frame is gone.");
  response.writeHead(200, { "content-type": "image/png", "cache-control": "no-store", frame: asked ?? camera.frame });
  response.end(picture);
}

const types = { html: "text/html; charset=utf-8", js: "text/javascript; charset=utf-8", css: "text/css; charset=utf-8", svg: "image/svg+xml", txt: "text/plain; charset=utf-8" };
function sendFile(request, response, path) {
  const name = path === "" ? "index.html" : path;
  if (!/^[\w.-]+$/.test(name) || !existsSync(dist + name)) throw new Refusal(404, "There is nothing here.");
  const bytes = readFileSync(dist + name);
  const etag = `"${createHash("sha256").update(bytes).digest("base64url").slice(0, 16)}"`;
  const headers = { etag, "cache-control": "no-cache", "content-security-policy": "default-src 'self'; frame-ancestors 'none'; base-uri 'none'; form-action 'self'", "x-content-type-options": "nosniff", "referrer-policy": "no-referrer" };
  if (request.headers["if-none-match"] === etag) { response.writeHead(304, headers); return response.end(); }
  response.writeHead(200, { ...headers, "content-type": types[name.split(".").at(-1)] ?? "application/octet-stream", "content-encoding": "gzip" });
  return response.end(gzipSync(bytes));
}

// What a person who tries the page may want to see: POST dev/fault?camera=Entrance and dev/fault.
function provoke(url, response) {
  const camera = url.searchParams.get("camera");
  if (!camera) broken.clear();
  else broken.set(camera, { camera, level: "failed", code: "no_frames", text: `No frames come from ${camera}.`, values: { camera }, since_us: nowUs(), since: zone.text(nowUs()) });
  for (const [name, c] of cameras) c.stopped = broken.has(name);
  for (const stream of streams) stream.send("health", health());
  answer(response, 204);
}

const server = createServer(async (request, response) => {
  try {
    const url = new URL(request.url, "http://localhost");
    if (!url.pathname.startsWith(prefix)) throw new Refusal(404, "There is nothing here.");
    url.pathname = "/" + url.pathname.slice(prefix.length);
    if (url.pathname === "/dev/fault" && request.method === "POST") provoke(url, response);
    else if (url.pathname.startsWith("/api/")) await handleApi(request, response, url);
    else sendFile(request, response, url.pathname.slice(1));
  } catch (error) {
    if (!(error instanceof Refusal)) console.error(error);
    if (response.headersSent) return response.end();
    const { status = 500, message, more = {} } = error;
    answer(response, status, { error: error instanceof Refusal ? message : "Something is wrong in the service.", ...more.body }, more.retry ? { "retry-after": more.retry } : {});
  }
});

let beat = 0;
setInterval(() => {
  for (const camera of cameras.values()) camera.step();
  ++beat;
  for (const stream of streams) {
    if (!state.sessions[stream.session] || state.sessions[stream.session].until < Date.now()) {
      stream.send("bye", { why: "session" });
      stream.response.end();
      streams.delete(stream);
      continue;
    }
    if (stream.camera !== null && beat % 2 === 0 && !cameras.get(stream.camera).stopped) stream.send("frame", cameras.get(stream.camera).newest().live);
    if (beat % 10 === 0) stream.sendCounts(beat % 60 === 0);
    if (beat % 150 === 0) stream.response.write(":\n\n");
  }
}, 1000 / 15);

function stop() {
  for (const stream of streams) { stream.send("bye", { why: "restart" }); stream.response.end(); }
  process.exit(0);
}
process.on("SIGTERM", stop);
process.on("SIGINT", stop);

server.listen(port, "127.0.0.1", () => {
  console.log(`http://127.0.0.1:${server.address().port}${prefix}`);
  const admin = state.users.admin;
  if (admin?.once) console.log(`Log in as admin with ${admin.password}`);
  else if (!firstStart) console.log("Log in as admin (open-the-shop), anna (draw-the-line) or tom (look-and-see)");
});
