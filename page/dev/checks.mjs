// What is wrong or doubtful in lines and areas: the most important of the service's own checks.
import { area, cut, distance, inside, left } from "./geometry.mjs";

const past_m = 0.25; // in which somebody must be seen before and behind a line
const typical_mm = 1700;
const halfPerson_px = 20;

const fill = (text, values) => text.replace(/\{(\w+)\}/g, (_, key) => values[key]);

export function check(settings, camera) {
  const notes = [];
  const note = (level, code, text, values, place) =>
    notes.push({ level, code, text: fill(text, values), values, ...(place ? { place } : {}) });
  const height_mm = typeof settings.height_mm === "number" ? settings.height_mm : camera.height_mm;
  const mmPerPixel = height_mm / camera.focal_px;
  const middle = [camera.width / 2, camera.height / 2];
  const outwards = height_mm > 1.2 * typical_mm ? height_mm / (height_mm - typical_mm) : 1;
  const seen = (p) => {
    const x = middle[0] + (p[0] - middle[0]) * outwards,
      y = middle[1] + (p[1] - middle[1]) * outwards;
    return (
      x >= halfPerson_px &&
      y >= halfPerson_px &&
      x <= camera.width - halfPerson_px &&
      y <= camera.height - halfPerson_px
    );
  };

  const names = new Map();
  const checkName = (name, place) => {
    if (!name.trim()) return note("error", "name_empty", "The name is empty.", {}, place);
    if (names.has(place.kind + name))
      note("error", "name_twice", "The name {name} is used twice.", { name }, place);
    names.set(place.kind + name, true);
  };
  const checkPoints = (points, least, most, place) => {
    if (points.length < least || points.length > most) {
      note(
        "error",
        "points",
        "This has {n} points; it needs {least} to {most}.",
        { n: points.length, least, most },
        place,
      );
      return false;
    }
    const out = points.findIndex(([x, y]) => !(x >= 0 && y >= 0 && x < camera.width && y < camera.height));
    if (out >= 0)
      note("error", "outside", "Point {n} leaves the picture.", { n: out + 1 }, { ...place, point: out });
    return out < 0;
  };
  const checkPolygon = (points, place) => {
    if (checkPoints(points, 3, 10, place) && area(points) < 1)
      note("error", "encloses_nothing", "This encloses nothing; its corners lie on one line.", {}, place);
  };

  settings.line.forEach((line, index) => {
    const place = { kind: "line", index, point: null };
    checkName(line.name, place);
    if (line.directions?.[0] === line.directions?.[1] && line.directions)
      note(
        "error",
        "directions_same",
        "Both directions of the line {line} have the same name.",
        { line: line.name },
        place,
      );
    if (!checkPoints(line.points, 2, 5, place)) return;
    for (let i = 1; i < line.points.length; ++i)
      if (line.points.slice(0, i).some((p) => distance(p, line.points[i]) < 1))
        note(
          "error",
          "point_twice",
          "The line {line} passes point {n} twice.",
          { line: line.name, n: i + 1 },
          { ...place, point: i },
        );
    for (let i = 1; i < line.points.length; ++i)
      for (let j = i + 2; j < line.points.length; ++j)
        if (cut(line.points[i - 1], line.points[i], line.points[j - 1], line.points[j]))
          note(
            "warning",
            "crosses_itself",
            "The line {line} crosses itself; anyone who walks over both parts is counted twice.",
            { line: line.name },
            place,
          );
    let beyond = Infinity;
    for (let i = 1; i < line.points.length; ++i) {
      const [a, b] = [line.points[i - 1], line.points[i]];
      const l = left(a, b);
      for (let k = 0; k <= 8; ++k) {
        const p = [a[0] + ((b[0] - a[0]) * k) / 8, a[1] + ((b[1] - a[1]) * k) / 8];
        for (const side of [1, -1]) {
          let m = 0;
          while (
            m < past_m &&
            seen([p[0] + (side * l[0] * m * 1000) / mmPerPixel, p[1] + (side * l[1] * m * 1000) / mmPerPixel])
          )
            m += 0.05;
          beyond = Math.min(beyond, m);
        }
      }
    }
    if (beyond < past_m - 0.001) {
      const m = Math.max(0, Math.round(beyond * 20 - 1) / 20);
      if (m <= 0)
        note(
          "warning",
          "line_unseen",
          "People over a part of the line {line} are not seen whole; nobody is counted there.",
          { line: line.name },
          place,
        );
      else
        note(
          "warning",
          "line_near_edge",
          "The line {line} is too near the edge: people are seen only {m} m beyond it, {needed} m are needed.",
          { line: line.name, m, needed: past_m },
          place,
        );
    }
    if (settings.exclude.some((e) => e.points.length > 2 && line.points.some((p) => inside(e.points, p))))
      note(
        "warning",
        "line_excluded",
        "The line {line} lies partly in an exclusion area; nobody is counted there.",
        { line: line.name },
        place,
      );
    if (line.uturn && line.area?.length) {
      const areaPlace = { kind: "area", index, point: null };
      checkPolygon(line.area, areaPlace);
      const touches =
        line.points.some((p) => inside(line.area, p)) ||
        line.points.some(
          (p, i) =>
            i > 0 &&
            line.area.some((q, j) => cut(line.points[i - 1], p, q, line.area[(j + 1) % line.area.length])),
        );
      if (!touches)
        note(
          "error",
          "area_apart",
          "The U-turn area does not touch its line {line}.",
          { line: line.name },
          areaPlace,
        );
    }
  });
  settings.region.forEach((region, index) => {
    const place = { kind: "region", index, point: null };
    checkName(region.name, place);
    checkPolygon(region.points, place);
  });
  settings.exclude.forEach((e, index) => checkPolygon(e.points, { kind: "exclude", index, point: null }));
  if (!settings.line.length) note("warning", "no_line", "There is no line, so nobody is counted.", {});

  const zones = settings.line.map((line, index) => ({
    line: index,
    points: zone(line.points, (past_m * 1000) / mmPerPixel),
  }));
  return { notes, zones: zones.filter((z) => z.points.length > 3) };
}

// Around a line, so many pixels to both sides.
function zone(points, px) {
  const sides = [[], []];
  for (let i = 0; i < points.length; ++i) {
    const before = i > 0 ? left(points[i - 1], points[i]) : null;
    const after = i + 1 < points.length ? left(points[i], points[i + 1]) : null;
    const [u, v] = [before ?? after, after ?? before];
    if (!u) return [];
    const sum = [u[0] + v[0], u[1] + v[1]];
    const length2 = (sum[0] ** 2 + sum[1] ** 2) / 2 || 1;
    const out = [(sum[0] / length2) * px, (sum[1] / length2) * px];
    sides[0].push([Math.round(points[i][0] + out[0]), Math.round(points[i][1] + out[1])]);
    sides[1].unshift([Math.round(points[i][0] - out[0]), Math.round(points[i][1] - out[1])]);
  }
  return [...sides[0], ...sides[1]];
}
