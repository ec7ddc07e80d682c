// What the development server answers to each path and method of the API.
import { randomBytes } from "node:crypto";
import { check } from "./checks.mjs";
import * as place from "./place.mjs";
import { schema } from "./start.mjs";
import { plans } from "./world.mjs";

const { cameras, cameraNames, inForce, keep, measuring, nowUs, numbers, recent, state, streams, zone } =
  place;

export class Refusal extends Error {
  constructor(status, text, more = {}) {
    super(text);
    Object.assign(this, { status, more });
  }
}

const failures = [];
export function logIn({ name, password }) {
  const now = Date.now();
  while (failures.length && now - failures[0] > 30000) failures.shift();
  if (failures.length >= 5)
    throw new Refusal(429, "There were too many wrong passwords; wait half a minute.", { retry: 30 });
  const user = state.users[name];
  if (!user || user.password !== password) {
    failures.push(now);
    throw new Refusal(401, "Name or password is wrong.");
  }
  state.seen = true;
  user.last_login = zone.text(nowUs());
  const id = randomBytes(24).toString("base64url");
  state.sessions[id] = { name, until: now + place.sessionSeconds * 1000 };
  keep();
  return id;
}

export const sessionAnswer = (who) => ({
  name: who?.name ?? null,
  role: who ? state.users[who.name].role : null,
  must_change_password: Boolean(who && state.users[who.name].once),
  first_start: !state.seen,
});

function events(query) {
  const limit = Number(query.get("limit") ?? 100);
  const after = query.get("after");
  const from = after === null ? recent.slice(-limit) : recent.filter((e) => e.sequence > Number(after));
  const list = from.slice(0, limit);
  return {
    events: list.map(({ sequence: _, ...e }) => e),
    next: String(list.at(-1)?.sequence ?? after ?? place.lastSequence()),
    more: from.length > limit,
  };
}

function save(camera, body, who) {
  const current = inForce(camera);
  if (body.base_version !== current.version)
    throw new Refusal(409, `${current.author} saved version ${current.version} meanwhile.`, {
      body: { current },
    });
  const error = check(body.settings, cameras.get(camera)).notes.find((n) => n.level === "error");
  if (error) throw new Refusal(400, error.text, { body: error.place ? { place: error.place } : {} });
  const time_us = nowUs();
  const version = {
    version: current.version + 1,
    time_us,
    time: zone.text(time_us),
    author: who.name,
    name: body.name || "changed",
    settings: body.settings,
  };
  state.versions[camera].push(version);
  numbers.changes.push({ camera, time_us, version: version.version, name: version.name, author: who.name });
  keep();
  for (const stream of streams)
    stream.send("settings", { camera, version: version.version, author: who.name });
  return version;
}

function span(query) {
  const [from, to, by] = ["from", "to", "by"].map((name) => query.get(name));
  if (to < from) throw new Refusal(400, "The last day lies before the first one.");
  const days = (Date.parse(to) - Date.parse(from)) / 86400e3 + 1;
  const each = { minute: 1440, quarter: 96, hour: 24, day: 1, month: 1 / 28 }[by];
  if (days * each > 2000)
    throw new Refusal(400, "These are more than 2000 spans; choose longer ones or fewer days.");
  return numbers.history(from, to, by, query.get("open") === "true");
}

const needs = (who, role) => {
  const order = ["viewer", "operator", "admin"];
  if (order.indexOf(state.users[who.name].role) < order.indexOf(role))
    throw new Refusal(403, `This needs the role ${role}.`);
};

// Operations by path and method; each returns [status, body].
export const operations = {
  "get /api/v1/session": (c) => [200, sessionAnswer(c.who)],
  "delete /api/v1/session": (c) => {
    delete state.sessions[c.session];
    keep();
    return [204];
  },
  "put /api/v1/session/password": (c) => {
    const user = state.users[c.who.name];
    if (user.password !== c.body.old) throw new Refusal(400, "The old password is wrong.");
    Object.assign(user, { password: c.body.new, once: false });
    keep();
    return [204];
  },
  "get /api/v1/place": () => [
    200,
    {
      name: "Corner shop",
      time_zone: zone.name,
      version: "0.1.0",
      now_us: nowUs(),
      now: zone.text(nowUs()),
      today: zone.dateOf(nowUs()),
      first_day: place.history ? numbers.firstDay : null,
      cameras: cameraNames.map((name) => ({
        name,
        width: 960,
        height: 544,
        state: cameras.get(name).stopped ? "offline" : "online",
        colour: false,
        commissioned: state.commissioned[name] ?? null,
      })),
      areas: [{ name: "shop", capacity: 80 }],
      opening_hours: [{ days: ["mon", "tue", "wed", "thu", "fri", "sat"], from: "09:00", to: "20:00" }],
    },
  ],
  "get /api/v1/health": () => [200, place.health()],
  "get /api/v1/cameras/{camera}/status": (c) => [200, place.status(c.camera)],
  "post /api/v1/cameras/{camera}/measure": (c) => {
    needs(c.who, "operator");
    measuring.set(c.camera, Date.now());
    return [202];
  },
  "put /api/v1/cameras/{camera}/commissioned": (c) => {
    needs(c.who, "operator");
    state.commissioned[c.camera] = { time: zone.text(nowUs()), author: c.who.name };
    keep();
    return [204];
  },
  "get /api/v1/cameras/{camera}/settings": (c) => [200, inForce(c.camera)],
  "put /api/v1/cameras/{camera}/settings": (c) => {
    needs(c.who, "operator");
    return [200, save(c.camera, c.body, c.who)];
  },
  "post /api/v1/cameras/{camera}/settings/check": (c) => [200, check(c.body, cameras.get(c.camera))],
  "get /api/v1/cameras/{camera}/settings/versions": (c) => [
    200,
    {
      versions: state.versions[c.camera]
        .map(({ settings: _, ...v }) => v)
        .reverse()
        .slice(0, 200),
    },
  ],
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
    return [
      200,
      {
        camera: c.camera,
        what,
        ...numbers.heat(what, { paths: plan.routes, stop: plan.stop, days: (days * hours) / 24 }),
        hours: Math.round(days * hours * 9.6) / 10,
      },
    ];
  },
  "get /api/v1/counts": (c) => [
    200,
    place.history ? numbers.counts(span(c.query), place.withLines()) : { ...span(c.query), series: [] },
  ],
  "get /api/v1/regions": (c) => [200, numbers.regions(span(c.query), place.regionsOf())],
  "get /api/v1/areas": (c) => [200, numbers.areas(span(c.query), [place.area()])],
  "get /api/v1/visitors": (c) => [200, numbers.visitors(span(c.query), place.doors())],
  "get /api/v1/events": (c) => [200, events(c.query)],
  "get /api/v1/people": (c) => {
    const found = cameras.get(c.query.get("camera"))?.person(Number(c.query.get("track")), zone);
    if (!found) throw new Refusal(404, "Nothing is kept of this person any more.");
    return [200, found];
  },
  "get /api/v1/schema": () => [200, schema],
  "get /api/v1/users": (c) => {
    needs(c.who, "admin");
    return [
      200,
      {
        users: Object.entries(state.users).map(([name, u]) => ({
          name,
          role: u.role,
          last_login: u.last_login ?? null,
        })),
      },
    ];
  },
  "post /api/v1/users": (c) => {
    needs(c.who, "admin");
    if (state.users[c.body.name]) throw new Refusal(400, `There is a user ${c.body.name} already.`);
    state.users[c.body.name] = { password: c.body.password, role: c.body.role };
    keep();
    return [201];
  },
  "put /api/v1/users/{user}": (c) => {
    needs(c.who, "admin");
    Object.assign(userOf(c), c.body);
    keep();
    return [204];
  },
  "delete /api/v1/users/{user}": (c) => {
    needs(c.who, "admin");
    if (
      userOf(c).role === "admin" &&
      Object.values(state.users).filter((u) => u.role === "admin").length === 1
    )
      throw new Refusal(400, "The last admin stays.");
    delete state.users[c.parameters.user];
    for (const [id, s] of Object.entries(state.sessions))
      if (s.name === c.parameters.user) delete state.sessions[id];
    keep();
    return [204];
  },
  "get /api/v1/tokens": (c) => {
    needs(c.who, "admin");
    return [200, { tokens: state.tokens }];
  },
  "post /api/v1/tokens": (c) => {
    needs(c.who, "admin");
    const id = randomBytes(4).toString("hex");
    state.tokens.push({
      id,
      name: c.body.name,
      role: c.body.role,
      created: zone.text(nowUs()),
      last_used: null,
    });
    keep();
    return [201, { id, token: `vca_${randomBytes(24).toString("base64url")}` }];
  },
  "delete /api/v1/tokens/{token}": (c) => {
    needs(c.who, "admin");
    state.tokens = state.tokens.filter((t) => t.id !== c.parameters.token);
    keep();
    return [204];
  },
};

function userOf(c) {
  const user = state.users[c.parameters.user];
  if (!user) throw new Refusal(404, "There is no such user.");
  return user;
}
