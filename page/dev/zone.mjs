// Local days and hours of a place, by the machine's own table of time zones. All times are
// microseconds since 1970.
const minute = 60e6;
export const hour = 60 * minute;

export class Zone {
  constructor(name) {
    this.name = name;
    this.format = new Intl.DateTimeFormat("en-GB", {
      timeZone: name,
      hourCycle: "h23",
      year: "numeric",
      month: "2-digit",
      day: "2-digit",
      hour: "2-digit",
      minute: "2-digit",
      second: "2-digit",
    });
    this.offsets = new Map();
  }

  // Of the clock on the wall from UTC. Clocks change at whole quarters of an hour.
  offset(us) {
    const quarter = Math.floor(us / (15 * minute));
    let offset = this.offsets.get(quarter);
    if (offset === undefined) {
      const at = quarter * 15 * minute;
      const p = Object.fromEntries(this.format.formatToParts(at / 1000).map((x) => [x.type, +x.value]));
      offset = Date.UTC(p.year, p.month - 1, p.day, p.hour, p.minute, p.second) * 1000 - at;
      this.offsets.set(quarter, offset);
    }
    return offset;
  }

  offsetText(us) {
    const minutes = this.offset(us) / minute;
    const two = (n) => String(Math.floor(n)).padStart(2, "0");
    return (minutes < 0 ? "-" : "+") + two(Math.abs(minutes) / 60) + ":" + two(Math.abs(minutes) % 60);
  }

  wall(us) {
    return new Date((us + this.offset(us)) / 1000).toISOString();
  }
  text(us) {
    return this.wall(us).slice(0, 23) + this.offsetText(us);
  }
  dateOf(us) {
    return this.wall(us).slice(0, 10);
  }

  dayStart(date) {
    const local = Date.parse(date + "T00:00:00Z") * 1000;
    let at = local - this.offset(local);
    at = local - this.offset(at);
    return at;
  }

  // When the clock shows so many minutes after midnight on that day.
  at(date, minutes) {
    const local = Date.parse(date + "T00:00:00Z") * 1000 + minutes * minute;
    const at = local - this.offset(local);
    return local - this.offset(at);
  }

  static add(date, days) {
    return new Date(Date.parse(date + "T00:00:00Z") + days * 86400e3).toISOString().slice(0, 10);
  }

  // Pieces of a day, by the clock on the wall; where an hour comes twice its label has the offset.
  pieces(date, length) {
    const to = this.dayStart(Zone.add(date, 1));
    const seen = new Set();
    const list = [];
    for (let at = this.dayStart(date); at < to; at += length) {
      const label = this.wall(at).slice(11, 16);
      const again = seen.has(label) || this.comesAgain(at, label, to);
      list.push({
        from_us: at,
        to_us: Math.min(at + length, to),
        label: again ? label + this.offsetText(at) : label,
        date,
      });
      seen.add(label);
    }
    return list;
  }

  comesAgain(at, label, to) {
    return at + hour < to && this.wall(at + hour).slice(11, 16) === label;
  }

  spans(from, to, by) {
    const list = [];
    if (by === "month") {
      for (let month = from.slice(0, 7); month <= to.slice(0, 7);) {
        const [y, m] = month.split("-").map(Number);
        const next = m === 12 ? `${y + 1}-01` : `${y}-${String(m + 1).padStart(2, "0")}`;
        const last = Zone.add(next + "-01", -1) < to ? Zone.add(next + "-01", -1) : to;
        const first = month + "-01" > from ? month + "-01" : from;
        list.push({
          from_us: this.dayStart(first),
          to_us: this.dayStart(Zone.add(last, 1)),
          label: month,
          date: first,
        });
        month = next;
      }
      return list;
    }
    const length = { minute, quarter: 15 * minute, hour }[by];
    for (let date = from; date <= to; date = Zone.add(date, 1)) {
      if (by === "day")
        list.push({
          from_us: this.dayStart(date),
          to_us: this.dayStart(Zone.add(date, 1)),
          label: date,
          date,
        });
      else list.push(...this.pieces(date, length));
    }
    return list;
  }

  clockChanges(from, to) {
    const list = [];
    for (let date = from; date <= to; date = Zone.add(date, 1)) {
      const start = this.dayStart(date);
      const hours = (this.dayStart(Zone.add(date, 1)) - start) / hour;
      if (hours === 24) continue;
      let at = start;
      while (this.offset(at) === this.offset(start)) at += hour;
      list.push({ time_us: at, date, hours });
    }
    return list;
  }
}
