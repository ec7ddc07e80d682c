// People who walk below made-up cameras, fifteen times a second, and the lines that count them.
import { direction, distanceToLine, inside } from "./geometry.mjs";
import { draw, makeFloor } from "./picture.mjs";

const framesPerSecond = 15;
const keptFrames = 60; // whose pictures can be had: 4 s
const trailPoints = 30;
const personBox_px = 84;

function randomOf(seed) {
  let state = seed;
  return () => (state = (Math.imul(state, 1664525) + 1013904223) >>> 0) / 4294967296;
}

// Where people come from, where they go, and where some of them stop, in pixels.
export const plans = {
  Entrance: {
    seed: 7,
    every_s: 2.6,
    routes: [
      [
        [300, -60],
        [330, 600],
      ],
      [
        [560, 610],
        [520, -60],
      ],
      [
        [430, -60],
        [720, 430],
        [1030, 470],
      ],
      [
        [640, 610],
        [610, -60],
      ],
    ],
    stop: [735, 425],
    floor: [
      [392, 182, 60, 60, 62],
      [0, 236, 150, 36, 84],
    ],
  },
  "Back door": {
    seed: 21,
    every_s: 7,
    routes: [
      [
        [-60, 260],
        [1030, 290],
      ],
      [
        [1030, 330],
        [-60, 230],
      ],
    ],
    stop: null,
    floor: [[190, 0, 110, 46, 92]],
  },
  Gallery: {
    seed: 33,
    every_s: 4,
    routes: [
      [
        [-60, 150],
        [430, 210],
        [1030, 140],
      ],
      [
        [1030, 420],
        [520, 380],
        [-60, 430],
      ],
    ],
    stop: [450, 215],
    floor: [
      [200, 62, 46, 22, 120],
      [330, 190, 40, 40, 104],
    ],
  },
};

class Walker {
  constructor(track, route, stop, random) {
    this.track = track;
    this.height_mm = Math.round(random() < 0.12 ? 1050 + random() * 220 : 1580 + random() * 330);
    this.staff = random() < 0.08;
    const shift = (random() - 0.5) * 110;
    this.route = route.map(([x, y]) => [x + shift, y + shift * 0.4]);
    this.turnsBack = random() < 0.08;
    this.stops = stop && random() < 0.35 ? stop : null;
    this.stay_s = 2 + random() * 12;
    this.speed = 105 + random() * 60; // pixels a second
    this.next = 1;
    this.head = [...this.route[0]];
    this.angle = 0;
    this.time = random() * 10;
    this.trail = [];
    this.steps = [];
    this.path = [];
    this.regions = new Map();
    this.near = new Set();
    this.counted = [];
  }

  move(dt) {
    this.time += dt;
    const target = this.route[this.next];
    const [dx, dy] = [target[0] - this.head[0], target[1] - this.head[1]];
    const far = Math.hypot(dx, dy);
    if (
      this.stops &&
      Math.hypot(this.head[0] - this.stops[0], this.head[1] - this.stops[1]) < 70 &&
      this.stay_s > 0
    ) {
      this.stay_s -= dt;
      this.head[0] += Math.sin(this.time * 2) * 0.4;
      return true;
    }
    if (this.turnsBack && this.next === this.route.length - 1 && this.head[1] > 240 && this.head[1] < 300) {
      this.turnsBack = false;
      this.route.push([...this.route[0]]);
      this.next = this.route.length - 1;
    }
    if (far < 8) return ++this.next < this.route.length;
    const step = Math.min(far, this.speed * dt);
    this.angle = Math.atan2(dy, dx) + Math.PI / 2;
    const sway = Math.sin(this.time * 6) * 0.5;
    this.head[0] += (dx / far) * step - (dy / far) * sway;
    this.head[1] += (dy / far) * step + (dx / far) * sway;
    return true;
  }
}

export class Camera {
  // `settings()` are those in force; `happened(event, walker)` is told of each event.
  constructor(name, settings, happened, nowUs) {
    Object.assign(this, {
      name,
      settings,
      happened,
      nowUs,
      width: 960,
      height: 544,
      height_mm: 4200,
      focal_px: 515,
    });
    this.plan = plans[name] ?? { ...plans.Entrance, seed: name.length * 13 };
    this.random = randomOf(this.plan.seed);
    this.floor = makeFloor(this.plan.seed, this.plan.floor);
    this.frame = 100000;
    this.track = 1;
    this.wait_s = 0.5;
    this.walkers = [];
    this.ended = [];
    this.frames = new Map();
    this.stopped = false;
    for (let i = 0; i < 8 * framesPerSecond; ++i) this.step(true);
  }

  // The point on the floor below a head.
  foot(walker) {
    const k = (this.height_mm - walker.height_mm) / this.height_mm;
    return [
      this.width / 2 + (walker.head[0] - this.width / 2) * k,
      this.height / 2 + (walker.head[1] - this.height / 2) * k,
    ];
  }

  step(quiet = false) {
    if (this.stopped) return;
    const dt = 1 / framesPerSecond;
    ++this.frame;
    this.wait_s -= dt;
    if (this.wait_s < 0) {
      const route = this.plan.routes[Math.floor(this.random() * this.plan.routes.length)];
      this.walkers.push(new Walker(this.track++, route, this.plan.stop, this.random));
      this.wait_s = this.plan.every_s * (0.4 + 1.2 * this.random());
    }
    const time_us = this.nowUs();
    this.walkers = this.walkers.filter((w) => {
      const before = this.foot(w);
      const stays = w.move(dt);
      const now = this.foot(w);
      if (!w.steps.length && this.isSeen(w)) this.note(w, time_us, "born", "appeared", {}, now);
      if (w.steps.length) this.follow(w, before, now, time_us, quiet);
      if (!stays) this.end(w, time_us);
      return stays;
    });
    this.frames.set(this.frame, this.snapshot(time_us));
    this.frames.delete(this.frame - keptFrames);
  }

  isSeen(w) {
    return w.head[0] > 10 && w.head[1] > 10 && w.head[0] < this.width - 10 && w.head[1] < this.height - 10;
  }

  note(w, time_us, code, text, values, at) {
    w.steps.push({ time_us, code, text, values, at: at && [Math.round(at[0]), Math.round(at[1])] });
  }

  follow(w, before, now, time_us, quiet) {
    w.foot = now;
    w.trail.push([Math.round(now[0]), Math.round(now[1])]);
    if (this.frame % 3 === 0) w.path.push(w.trail.at(-1));
    if (w.trail.length > trailPoints) w.trail.shift();
    const settings = this.settings();
    const person = w.staff ? "staff" : w.height_mm < 1300 ? "child" : "adult";
    for (const line of settings.line) {
      if (line.points.length < 2) continue;
      if (!w.near.has(line.name) && distanceToLine(line.points, now) < 30) {
        w.near.add(line.name);
        this.note(w, time_us, "near_line", `came near the line ${line.name}`, { line: line.name }, now);
      }
      const way = direction(line, before, now);
      if (!way) continue;
      const name = (line.directions ?? ["in", "out"])[way - 1];
      this.note(w, time_us, "crossed", `crossed the line ${line.name}`, { line: line.name }, now);
      this.note(
        w,
        time_us,
        "counted",
        `was counted at ${line.name}: ${name}`,
        { line: line.name, direction: name },
        now,
      );
      w.counted.push(`${line.name}: ${name}`);
      if (!quiet)
        this.happened({
          camera: this.name,
          time_us,
          kind: "crossing",
          place: line.name,
          direction: way,
          direction_name: name,
          track: w.track,
          person,
          people: 1,
        });
    }
    for (const region of settings.region) {
      const is = region.points.length > 2 && inside(region.points, now);
      const since = w.regions.get(region.name);
      if (is && since === undefined) {
        w.regions.set(region.name, time_us);
        this.note(w, time_us, "entered", `entered the region ${region.name}`, { region: region.name }, now);
      } else if (!is && since !== undefined) {
        w.regions.delete(region.name);
        const stay_ms = Math.round((time_us - since) / 1000);
        this.note(
          w,
          time_us,
          "left",
          `left the region ${region.name} after ${(stay_ms / 1000).toFixed(1)} s`,
          { region: region.name, s: Math.round(stay_ms / 100) / 10 },
          now,
        );
        if (!quiet)
          this.happened({
            camera: this.name,
            time_us,
            kind: "stay",
            place: region.name,
            direction: null,
            direction_name: null,
            track: w.track,
            person,
            people: 1,
            stay_ms,
          });
      }
    }
  }

  end(w, time_us) {
    this.note(w, time_us, "ended", "was not seen any more: the track ended", {}, null);
    this.ended.push(w);
    if (this.ended.length > 400) this.ended.shift();
  }

  snapshot(time_us) {
    const seen = this.walkers.filter((w) => w.steps.length && this.isSeen(w) && w.foot);
    return {
      heads: this.walkers.map((w) => ({
        x: w.head[0] / 2,
        y: w.head[1] / 2,
        angle: w.angle,
        height_mm: w.height_mm,
        stepX: Math.sin(w.time * 6) * 7 * Math.cos(w.angle - Math.PI / 2),
        stepY: Math.sin(w.time * 6) * 7 * Math.sin(w.angle - Math.PI / 2),
      })),
      live: {
        camera: this.name,
        frame: this.frame,
        time_us,
        people: seen.map((w) => {
          const [region, since] = [...w.regions][0] ?? [null, time_us];
          return {
            track: w.track,
            x: Math.round(w.head[0] - personBox_px / 2),
            y: Math.round(w.head[1] - personBox_px / 2),
            w: personBox_px,
            h: personBox_px,
            height_mm: w.height_mm,
            staff: w.staff,
            foot: w.trail.at(-1),
            trail: w.trail.slice(),
            region,
            stay_ms: Math.round((time_us - since) / 1000),
          };
        }),
      },
    };
  }

  newest() {
    return this.frames.get(this.frame);
  }
  picture(frame) {
    const found = this.frames.get(frame ?? this.frame);
    return found && draw(this.floor, found.heads);
  }

  person(track, zone) {
    const walker = [...this.walkers, ...this.ended].find((w) => w.track === track);
    if (!walker?.steps.length) return null;
    const steps = walker.steps.map((s) => ({ ...s, time: zone.text(s.time_us) }));
    const ended = this.ended.includes(walker);
    const why = walker.counted.length
      ? `was counted at ${walker.counted.join(", then at ")}`
      : ended
        ? "crossed no line"
        : "has crossed no line so far";
    return {
      camera: this.name,
      track,
      from_us: steps[0].time_us,
      to_us: steps.at(-1).time_us,
      from: steps[0].time,
      to: steps.at(-1).time,
      ended,
      counted: walker.counted.length > 0,
      why,
      steps,
      path: walker.path.slice(-200),
    };
  }
}
