// What can be done to lines and areas. All functions return new settings and change nothing.
import { distance, moved, nearestPart, pieces } from "../geometry";
import type { Line, Point, Settings, ShapeKind } from "../types";

export interface Selection {
  kind: ShapeKind;
  index: number; // of an area: that of its line
  point: number | null;
}

export interface Size {
  width: number;
  height: number;
}

export const mostShapes = 4;
const pointLimits = { line: [2, 5], area: [3, 10], region: [3, 10], exclude: [3, 10] } as const;

export const leastPoints = (kind: ShapeKind): number => pointLimits[kind][0];
export const mostPoints = (kind: ShapeKind): number => pointLimits[kind][1];
export const isClosed = (kind: ShapeKind): boolean => kind !== "line";

export function pointsOf(settings: Settings, of: { kind: ShapeKind; index: number }): Point[] {
  if (of.kind === "area") return settings.line[of.index]?.area ?? [];
  return settings[of.kind][of.index]?.points ?? [];
}

function withLine(settings: Settings, index: number, change: Partial<Line>): Settings {
  return { ...settings, line: settings.line.map((line, i) => (i === index ? { ...line, ...change } : line)) };
}

export function withPoints(
  settings: Settings,
  of: { kind: ShapeKind; index: number },
  points: Point[],
): Settings {
  if (of.kind === "area") return withLine(settings, of.index, { area: points });
  const list = settings[of.kind].map((shape, i) => (i === of.index ? { ...shape, points } : shape));
  return { ...settings, [of.kind]: list };
}

export function withName(settings: Settings, of: Selection, name: string): Settings {
  if (of.kind === "line") return withLine(settings, of.index, { name });
  return { ...settings, region: settings.region.map((r, i) => (i === of.index ? { ...r, name } : r)) };
}

export const withDirections = (settings: Settings, index: number, directions: [string, string]): Settings =>
  withLine(settings, index, { directions });
export const flipped = (settings: Settings, index: number): Settings =>
  withLine(settings, index, { flip: !settings.line[index]?.flip });

// Without the filter there is no area either.
export function withUturn(settings: Settings, index: number, uturn: boolean): Settings {
  const line = settings.line.map((l, i) => {
    if (i !== index) return l;
    const { area: _, ...rest } = l;
    return uturn ? { ...l, uturn } : { ...rest, uturn };
  });
  return { ...settings, line };
}

export function withoutArea(settings: Settings, index: number): Settings {
  const line = settings.line.map((l, i) => {
    if (i !== index) return l;
    const { area: _, ...rest } = l;
    return rest;
  });
  return { ...settings, line };
}

function freeName(word: string, taken: string[]): string {
  for (let n = taken.length + 1; ; ++n) if (!taken.includes(`${word} ${n}`)) return `${word} ${n}`;
}

// `words` name a new line or region. `line` is the one that a new area belongs to.
export function added(
  settings: Settings,
  kind: ShapeKind,
  points: Point[],
  words: { line: string; region: string },
  line: number,
): { settings: Settings; at: Selection } {
  if (kind === "area")
    return {
      settings: withLine(settings, line, { uturn: true, area: points }),
      at: { kind, index: line, point: null },
    };
  const at: Selection = { kind, index: settings[kind].length, point: null };
  if (kind === "exclude")
    return { settings: { ...settings, exclude: [...settings.exclude, { points }] }, at };
  const name = freeName(
    words[kind],
    settings[kind].map((s) => s.name),
  );
  return { settings: { ...settings, [kind]: [...settings[kind], { name, points }] }, at };
}

export function removed(settings: Settings, of: Selection): Settings {
  if (of.kind === "area") return withoutArea(settings, of.index);
  return { ...settings, [of.kind]: settings[of.kind].filter((_, i) => i !== of.index) };
}

// Null where as few points as possible are left.
export function withoutPoint(settings: Settings, of: Selection): Settings | null {
  const points = pointsOf(settings, of);
  if (of.point === null || points.length <= leastPoints(of.kind)) return null;
  return withPoints(
    settings,
    of,
    points.filter((_, i) => i !== of.point),
  );
}

// A new point after the given one; null where there are as many as possible.
export function withInserted(
  settings: Settings,
  of: { kind: ShapeKind; index: number },
  after: number,
  point: Point,
): Settings | null {
  const points = pointsOf(settings, of);
  if (points.length >= mostPoints(of.kind)) return null;
  return withPoints(settings, of, [...points.slice(0, after + 1), point, ...points.slice(after + 1)]);
}

// The piece of a shape that is nearest to a point, by the number of its first point.
export function nearestPiece(points: Point[], closed: boolean, p: Point): number {
  let best = 0;
  let least = Infinity;
  pieces(points, closed).forEach(([a, b], i) => {
    const part = nearestPart(a, b, p);
    const away = distance(p, [a[0] + (b[0] - a[0]) * part, a[1] + (b[1] - a[1]) * part]);
    if (away < least) [best, least] = [i, away];
  });
  return best;
}

export function clamped(p: Point, size: Size): Point {
  const within = (value: number, most: number) => Math.round(Math.max(0, Math.min(most - 1, value)));
  return [within(p[0], size.width), within(p[1], size.height)];
}

// Moves a shape as a whole, as far as all of it stays in the picture.
export function shifted(points: Point[], dx: number, dy: number, size: Size): Point[] {
  const [xs, ys] = [points.map((p) => p[0]), points.map((p) => p[1])];
  const x = Math.max(-Math.min(...xs), Math.min(size.width - 1 - Math.max(...xs), dx));
  const y = Math.max(-Math.min(...ys), Math.min(size.height - 1 - Math.max(...ys), dy));
  return points.map((p) => moved(p, Math.round(x), Math.round(y)));
}

function otherPoints(settings: Settings, of: { kind: ShapeKind; index: number } | null): Point[] {
  const all: { kind: ShapeKind; index: number }[] = [
    ...settings.line.flatMap((_, index) => [
      { kind: "line" as const, index },
      { kind: "area" as const, index },
    ]),
    ...settings.region.map((_, index) => ({ kind: "region" as const, index })),
    ...settings.exclude.map((_, index) => ({ kind: "exclude" as const, index })),
  ];
  return all
    .filter((s) => !of || s.kind !== of.kind || s.index !== of.index)
    .flatMap((s) => pointsOf(settings, s));
}

// Takes a point to one of another shape within `reach`, or to the height or column of a neighbour.
export function snapped(
  p: Point,
  settings: Settings,
  of: { kind: ShapeKind; index: number } | null,
  neighbours: Point[],
  reach: number,
): Point {
  const near = otherPoints(settings, of).find((q) => distance(p, q) < reach);
  if (near) return near;
  const x = neighbours.find((n) => Math.abs(n[0] - p[0]) < reach)?.[0] ?? p[0];
  const y = neighbours.find((n) => Math.abs(n[1] - p[1]) < reach)?.[1] ?? p[1];
  return [x, y];
}

export function neighboursOf(points: Point[], index: number, closed: boolean): Point[] {
  const n = points.length;
  const before = index > 0 ? points[index - 1] : closed ? points[n - 1] : undefined;
  const after = index + 1 < n ? points[index + 1] : closed ? points[0] : undefined;
  return [before, after].filter((p): p is Point => p !== undefined);
}
