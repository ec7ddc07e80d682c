// The made-up place as it is now: settings in force, cameras, people counted, health.
import { randomBytes } from "node:crypto";
import { existsSync, readFileSync, writeFileSync } from "node:fs";
import { Numbers } from "./numbers.mjs";
import { empty, settingsOf, users } from "./start.mjs";
import { Camera } from "./world.mjs";
import { hour, Zone } from "./zone.mjs";

const argument = (name, fallback) => {
  const at = process.argv.indexOf(`--${name}`);
  return at < 0 ? fallback : process.argv[at + 1];
};
export const port = Number(argument("port", 8080));
export const prefix = argument("prefix", "/");
const stateFile = argument("state", "");
export const firstStart = process.argv.includes("--first-start");
export const sessionSeconds = Number(argument("seconds-of-session", 12 * 3600));
const shift = argument("now") ? Date.parse(argument("now")) - Date.now() : 0;
export const nowUs = () => (Date.now() + shift) * 1000;

export const zone = new Zone("Europe/Berlin");
export const numbers = new Numbers(zone, nowUs());
numbers.clock = nowUs;
export const cameraNames = firstStart ? ["Entrance"] : Object.keys(settingsOf);

const fresh = () => ({
  users: firstStart
    ? { admin: { password: randomBytes(9).toString("base64url"), role: "admin", once: true } }
    : users,
  sessions: {},
  tokens: [],
  commissioned: firstStart ? {} : { Entrance: { time: zone.text(nowUs() - 86400e6 * 200), author: "anna" } },
  seen: !firstStart,
  versions: Object.fromEntries(cameraNames.map((name) => [name, firstVersions(name)])),
});

function firstVersions(name) {
  const version = (n, author, text, settings, time_us) => ({
    version: n,
    time_us,
    time: zone.text(time_us),
    author,
    name: text,
    settings,
  });
  const now = settingsOf[name];
  if (firstStart) return [version(1, "vca", "first start", empty, nowUs())];
  const list = [
    version(
      1,
      "vca",
      "first start",
      { ...now, line: now.line.slice(0, 1), region: [], exclude: [] },
      nowUs() - 200 * 86400e6,
    ),
  ];
  for (const change of numbers.changes.filter((c) => c.camera === name).reverse()) {
    const settings =
      change.version < 4
        ? { ...now, line: now.line.map((l) => ({ ...l, points: l.points.map(([x, y]) => [x, y - 40]) })) }
        : now;
    list.push(version(change.version, change.author, change.name, settings, change.time_us));
  }
  if (list.at(-1).settings !== now)
    list.push(version(list.at(-1).version + 1, "anna", "as hung up", now, nowUs() - 90 * 86400e6));
  return list;
}

export const state = stateFile && existsSync(stateFile) ? JSON.parse(readFileSync(stateFile)) : fresh();
export const keep = () => stateFile && writeFileSync(stateFile, JSON.stringify(state));
export const inForce = (camera) => state.versions[camera].at(-1);

export const recent = [];
export const streams = new Set();
export const measuring = new Map();
export const broken = new Map(); // camera → Problem
let sequence = 0;
export const lastSequence = () => sequence;

function happened(event) {
  const full = { ...event, time: zone.text(event.time_us) };
  recent.push({ ...full, sequence: ++sequence });
  if (recent.length > 2000) recent.shift();
  numbers.add(event);
  for (const stream of streams) stream.send("happened", full);
}

export const cameras = new Map(
  cameraNames.map((name) => [name, new Camera(name, () => inForce(name).settings, happened, nowUs)]),
);

export const area = () => ({ area: "shop", capacity: 80 });
export const doors = () => {
  const line = inForce("Entrance").settings.line[0];
  return line ? [{ camera: "Entrance", line: line.name, way: line.directions?.[1] === "in" ? 2 : 1 }] : [];
};
export const withLines = () => cameraNames.map((name) => ({ name, lines: inForce(name).settings.line }));
export const regionsOf = () =>
  cameraNames.flatMap((camera) => inForce(camera).settings.region.map((r) => ({ camera, region: r.name })));

export const history = firstStart ? null : numbers;
function countOf(camera, line, way, from, to) {
  if (history) return history.count(camera, line, way, from, to);
  const mine = numbers.since.filter(
    (e) =>
      e.kind === "crossing" &&
      e.camera === camera &&
      e.place === line &&
      e.direction === way &&
      e.time_us >= from &&
      e.time_us < to,
  );
  return ["adult", "child", "staff"]
    .map((kind) => mine.filter((e) => e.person === kind).length)
    .concat(0, to > numbers.startUs && from < nowUs() ? 1 : 0);
}

export function liveCounts() {
  const today = zone.dateOf(nowUs());
  const from = zone.dayStart(today),
    to = zone.dayStart(Zone.add(today, 1));
  const come = (f, t) =>
    doors().reduce(
      (sum, d) => {
        const c = countOf(d.camera, d.line, d.way, f, t);
        return [sum[0] + c[0] + c[1], sum[1] + c[4]];
      },
      [0, 0],
    );
  const gone = () =>
    doors().reduce((sum, d) => {
      const c = countOf(d.camera, d.line, 3 - d.way, from, to);
      return sum + c[0] + c[1];
    }, 0);
  const visitors = come(from, to)[0];
  return {
    today,
    visitors: doors().length ? visitors : null,
    lines: withLines().flatMap((c) =>
      c.lines.map((line) => ({
        camera: c.name,
        line: line.name,
        directions: [1, 2].map((direction) => ({
          direction,
          name: (line.directions ?? ["in", "out"])[direction - 1],
          people: countOf(c.name, line.name, direction, from, to)
            .slice(0, 3)
            .reduce((a, b) => a + b),
        })),
      })),
    ),
    regions: regionsOf().map((r) => {
      const stays = cameras
        .get(r.camera)
        .newest()
        .live.people.filter((p) => p.region === r.region)
        .map((p) => p.stay_ms);
      return { ...r, people: stays.length, longest_stay_ms: Math.max(0, ...stays) };
    }),
    areas: doors().length ? [{ ...area(), inside: Math.max(0, visitors - gone()) % 80, level: "ok" }] : [],
    hours: zone.pieces(today, hour).map((s) => {
      const [people, watched] = come(s.from_us, s.to_us);
      return { label: s.label, people: watched ? people : null };
    }),
  };
}
export function health() {
  const problems = [...broken.values()];
  const level = problems.some((p) => p.level === "failed") ? "failed" : problems.length ? "degraded" : "ok";
  return {
    level,
    problems,
    cameras: cameraNames.map((name) => ({
      name,
      state: cameras.get(name).stopped ? "offline" : "online",
      frames_per_second: cameras.get(name).stopped ? 0 : 15,
    })),
  };
}

export function status(name) {
  const camera = cameras.get(name);
  const settings = inForce(name).settings;
  const since = measuring.get(name);
  const share = since ? (Date.now() - since) / 4000 : null;
  if (share >= 1) measuring.delete(name);
  return {
    camera: name,
    state: camera.stopped ? "offline" : "online",
    source: "made-up depth camera, 480 x 272",
    width: 480,
    height: 272,
    frames_per_second: 15,
    valid_share: 0.993,
    floor_mm: share === null || share >= 1 ? 4204 : null,
    noise_mm: 6.1,
    height_mm: typeof settings.height_mm === "number" ? settings.height_mm : 4204,
    height_from: typeof settings.height_mm === "number" ? "settings" : "measured",
    tilt: { roll_deg: 1.8, pitch_deg: -0.6 },
    levelled: true,
    measuring: share !== null && share < 1 ? share : null,
    notes: [],
  };
}
