// Two years of counts that were never counted: the same for every start, with rush hours, weekends,
// gaps and the days on which clocks are changed.
import { hour, Zone } from "./zone.mjs";

const minute = 60e6;

function hash(...parts) {
  let h = 2166136261;
  for (const part of parts) {
    h = Math.imul(h ^ part, 16777619);
    h ^= h >>> 15;
    h = Math.imul(h, 2246822519);
    h ^= h >>> 13;
  }
  return (h >>> 0) / 4294967296;
}

// Share of the busiest hour, by the clock on the wall.
const day = [
  0, 0, 0, 0, 0, 0, 0, 0.02, 0.12, 0.45, 0.62, 0.8, 0.95, 0.85, 0.7, 0.74, 0.88, 1, 0.92, 0.6, 0.18, 0.02, 0,
  0,
];
const week = [0.35, 0.82, 0.8, 0.85, 0.95, 1.15, 1.35]; // from Sunday

export class Numbers {
  constructor(zone, startUs) {
    this.zone = zone;
    this.startUs = startUs;
    this.today = zone.dateOf(startUs);
    this.firstDay = Zone.add(this.today, -720);
    this.firstUs = zone.dayStart(this.firstDay);
    this.cache = new Map();
    this.since = []; // events since the start
    const at = (daysAgo, h, m) => zone.at(Zone.add(this.today, -daysAgo), 60 * h + m);
    this.gaps = [
      { camera: "Entrance", from_us: at(0, 7, 20), to_us: at(0, 7, 46), why: "the program was not running" },
      {
        camera: "Entrance",
        from_us: at(2, 13, 10),
        to_us: at(2, 14, 35),
        why: "no frames came from the camera",
      },
      { camera: "Entrance", from_us: at(9, 17, 0), to_us: at(8, 9, 30), why: "the power failed" },
      { camera: "Back door", from_us: at(4, 10, 0), to_us: at(4, 11, 15), why: "the camera was covered" },
      {
        camera: "Entrance",
        from_us: at(101, 6, 0),
        to_us: at(97, 12, 0),
        why: "the camera was taken down for painting",
      },
    ].filter((gap) => gap.to_us < startUs);
    this.changes = [
      {
        camera: "Entrance",
        time_us: at(3, 11, 30),
        version: 4,
        name: "line moved away from the door",
        author: "anna",
      },
      { camera: "Entrance", time_us: at(60, 9, 5), version: 3, name: "till added", author: "anna" },
      {
        camera: "Back door",
        time_us: at(200, 15, 0),
        version: 2,
        name: "names of directions",
        author: "tom",
      },
    ];
  }

  add(event) {
    this.since.push(event);
    if (this.since.length > 50000) this.since.shift();
  }

  watched(camera, us) {
    return (
      us >= this.firstUs &&
      us < this.startUs &&
      !this.gaps.some((gap) => gap.camera === camera && us >= gap.from_us && us < gap.to_us)
    );
  }

  // People a minute on average, by the clock on the wall.
  mean(camera, way, at) {
    const local = at + this.zone.offset(at);
    const weekday = (Math.floor(local / hour / 24) + 4) % 7;
    const season = 1 + 0.25 * Math.sin((at / hour / 8760) * 2 * Math.PI);
    const busy = { Entrance: 3.4, Gallery: 1.1 }[camera] ?? 0.5;
    return day[Math.floor(local / hour) % 24] * week[weekday] * season * busy * (way === 1 ? 0.98 : 1);
  }

  // [adult, child, staff, groups] of a minute that lies before the start.
  minuteOf(mean, seed, at) {
    if (mean === 0) return [0, 0, 0, 0];
    const n = Math.floor(at / minute);
    const people = Math.floor(mean * (0.4 + 1.2 * hash(n, seed)) + hash(n, seed, 3));
    if (people === 0) return [0, 0, 0, 0];
    const child = hash(n, seed, 5) < 0.14 ? 1 : 0;
    const staff = people > 1 && hash(n, seed, 9) < 0.1 ? 1 : 0;
    return [people - child - staff, child, staff, people > 2 && hash(n, seed, 11) < 0.3 ? 1 : 0];
  }

  // Of an hour or a part of it.
  partOf(camera, line, way, from, to) {
    const sum = [0, 0, 0, 0, 0];
    const mean = this.mean(camera, way, from);
    const seed = camera.length * 31 + line.length * 7 + way;
    for (let t = from; t < to; t += minute) {
      if (!this.watched(camera, t)) continue;
      const people = this.minuteOf(mean, seed, t);
      for (let i = 0; i < 4; ++i) sum[i] += people[i];
      ++sum[4];
    }
    return sum;
  }

  hourOf(camera, line, way, at) {
    const key = `${camera}\n${line}\n${way}\n${at}`;
    let sum = this.cache.get(key);
    if (!sum) this.cache.set(key, (sum = this.partOf(camera, line, way, at, at + hour)));
    if (this.cache.size > 400000) this.cache.clear();
    return sum;
  }

  // [adult, child, staff, groups, watched minutes] of a span.
  count(camera, line, way, from, to) {
    const sum = [0, 0, 0, 0, 0];
    for (let t = from; t < to && t < this.startUs;) {
      const whole = t % hour === 0 && t + hour <= to;
      const next = Math.min(to, (Math.floor(t / hour) + 1) * hour);
      const part = whole ? this.hourOf(camera, line, way, t) : this.partOf(camera, line, way, t, next);
      part.forEach((n, i) => (sum[i] += n));
      t = next;
    }
    if (to > this.startUs) {
      for (const e of this.since) {
        if (
          e.kind !== "crossing" ||
          e.camera !== camera ||
          e.place !== line ||
          e.direction !== way ||
          e.time_us < from ||
          e.time_us >= to
        )
          continue;
        ++sum[["adult", "child", "staff"].indexOf(e.person)];
      }
      if (from <= this.nowUs()) sum[4] += 1;
    }
    return sum;
  }

  nowUs() {
    return this.clock();
  }

  history(from, to, by, open) {
    const { zone } = this;
    let spans = zone.spans(from, to, by);
    if (open) spans = spans.map((s) => this.opened(s, by)).filter((s) => s.from_us < s.to_us);
    const first = spans[0]?.from_us ?? 0,
      last = spans.at(-1)?.to_us ?? 0;
    const within = (a, b) => a < last && b > first;
    return {
      time_zone: zone.name,
      spans,
      gaps: this.gaps
        .filter((g) => within(g.from_us, g.to_us))
        .map((g) => ({ ...g, from: zone.text(g.from_us), to: zone.text(g.to_us) })),
      changes: this.changes
        .filter((c) => within(c.time_us, c.time_us + 1))
        .map((c) => ({ ...c, time: zone.text(c.time_us) })),
      clock_changes: zone.clockChanges(from, to),
    };
  }

  // Open from 9 to 20 each day.
  opened(span, by) {
    if (by === "month") return span;
    const from = this.zone.at(span.date, 9 * 60),
      to = this.zone.at(span.date, 20 * 60);
    return { ...span, from_us: Math.max(span.from_us, from), to_us: Math.min(span.to_us, to) };
  }

  counts(head, cameras) {
    const series = cameras.flatMap((camera) =>
      camera.lines.flatMap((line) =>
        [1, 2].map((way) => {
          const parts = head.spans.map((s) => this.count(camera.name, line.name, way, s.from_us, s.to_us));
          const column = (i) => parts.map((p) => (p[4] ? p[i] : null));
          return {
            camera: camera.name,
            line: line.name,
            direction: way,
            direction_name: (line.directions ?? ["in", "out"])[way - 1],
            adult: column(0),
            child: column(1),
            staff: column(2),
            groups: column(3),
          };
        }),
      ),
    );
    return { ...head, series };
  }

  visitors(head, doors) {
    const parts = head.spans.map((s) =>
      doors.map((d) => this.count(d.camera, d.line, d.way, s.from_us, s.to_us)),
    );
    const column = (i) =>
      parts.map((p) => (p.some((d) => d[4]) ? p.reduce((sum, d) => sum + d[i], 0) : null));
    return { ...head, adults: column(0), children: column(1) };
  }

  regions(head, regions) {
    return {
      ...head,
      series: regions.map((r) => {
        const value = (f) =>
          head.spans.map((s) => {
            const [adult, , , , watched] = this.count(r.camera, r.region, 1, s.from_us, s.to_us);
            return watched ? f(adult, (s.to_us - s.from_us) / hour, Math.floor(s.from_us / minute)) : null;
          });
        return {
          ...r,
          mean_people: value((n, h) => Math.round((n / h) * 0.9) / 100),
          most: value((n, h, m) => Math.min(9, Math.ceil(n / h / 40 + 2 * hash(m, 17) * (n > 0)))),
          stays: value((n) => Math.round(n * 0.35)),
          mean_stay_s: value((n, _, m) => (n ? Math.round(180 + 120 * hash(m, 19)) / 10 : 0)),
        };
      }),
    };
  }

  areas(head, areas) {
    return {
      ...head,
      series: areas.map((a) => {
        const level = (us) => {
          const local = us + this.zone.offset(us);
          const h = (local / hour) % 24,
            k = Math.floor(h);
          return Math.round(
            (day[k] * (1 - (h - k)) + day[(k + 1) % 24] * (h - k)) *
              46 *
              week[(Math.floor(local / hour / 24) + 4) % 7],
          );
        };
        const value = (f) =>
          head.spans.map((s) =>
            this.watched("Entrance", s.from_us) || this.watched("Entrance", s.to_us - minute) ? f(s) : null,
          );
        return {
          ...a,
          most: value((s) => {
            let most = 0;
            for (let t = s.from_us; t < s.to_us; t += Math.max(minute, (s.to_us - s.from_us) / 96))
              most = Math.max(most, level(t));
            return most;
          }),
          at_end: value((s) => level(s.to_us - 1)),
        };
      }),
    };
  }

  heat(what, walked) {
    const [columns, rows] = [48, 27];
    const cells = new Array(columns * rows).fill(0);
    const add = (x, y, r, n) => {
      for (let j = 0; j < rows; ++j)
        for (let i = 0; i < columns; ++i) {
          const d = Math.hypot(i - x, j - y) / r;
          if (d < 2.5) cells[j * columns + i] += n * Math.exp(-d * d);
        }
    };
    for (const path of walked.paths)
      for (let k = 0; k <= 40; ++k) {
        const t = (k / 40) * (path.length - 1),
          i = Math.min(path.length - 2, Math.floor(t));
        const p = [0, 1].map((c) => path[i][c] + (path[i + 1][c] - path[i][c]) * (t - i));
        add(
          p[0] / 20,
          p[1] / 20.15,
          1.6,
          (what === "motion" ? 60 : 9) * walked.days * (0.6 + 0.8 * hash(k, path.length)),
        );
      }
    if (what === "dwell" && walked.stop)
      add(walked.stop[0] / 20, walked.stop[1] / 20.15, 2.2, 900 * walked.days);
    return { columns, rows, cells: cells.map((c) => Math.round(c)) };
  }
}
