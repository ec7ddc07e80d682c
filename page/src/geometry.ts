// Lines and polygons in pixels of the picture: x to the right, y down.
import type { Direction, Line, Point } from "./types";

export const distance = (a: Point, b: Point): number => Math.hypot(b[0] - a[0], b[1] - a[1]);

export const between = (a: Point, b: Point, part: number): Point => [
  a[0] + (b[0] - a[0]) * part,
  a[1] + (b[1] - a[1]) * part,
];

export const moved = (p: Point, dx: number, dy: number): Point => [p[0] + dx, p[1] + dy];

// The place on the piece a-b that is nearest to p, as a share of its length.
export function nearestPart(a: Point, b: Point, p: Point): number {
  const square = distance(a, b) ** 2;
  if (square === 0) return 0;
  const part = ((p[0] - a[0]) * (b[0] - a[0]) + (p[1] - a[1]) * (b[1] - a[1])) / square;
  return Math.max(0, Math.min(1, part));
}

// Pieces of a line, or of a polygon with the one that closes it.
export function pieces(points: Point[], closed: boolean): [Point, Point][] {
  const list: [Point, Point][] = [];
  for (let i = 1; i < points.length; ++i) list.push([points[i - 1]!, points[i]!]);
  if (closed && points.length > 2) list.push([points[points.length - 1]!, points[0]!]);
  return list;
}

export const length = (points: Point[]): number =>
  pieces(points, false).reduce((sum, [a, b]) => sum + distance(a, b), 0);

export function middle(points: Point[]): Point {
  const sum = points.reduce((s, p) => moved(s, p[0], p[1]), [0, 0] as Point);
  return [sum[0] / Math.max(1, points.length), sum[1] / Math.max(1, points.length)];
}

// A place on a line and the way in which somebody leaves it there who is counted in a direction.
// Direction 1 ends on the left-hand side of somebody who walks along the line in the picture.
export function arrowAt(line: Line, part: number, direction: Direction): { at: Point; way: Point } {
  let rest = length(line.points) * part;
  for (const [a, b] of pieces(line.points, false)) {
    const piece = distance(a, b);
    if (rest > piece && b !== line.points[line.points.length - 1]) {
      rest -= piece;
      continue;
    }
    const size = piece || 1;
    const side = (direction === 1) !== Boolean(line.flip) ? 1 : -1;
    return {
      at: between(a, b, Math.min(1, rest / size)),
      way: [(side * (b[1] - a[1])) / size, (-side * (b[0] - a[0])) / size],
    };
  }
  return { at: line.points[0] ?? [0, 0], way: [0, -1] };
}

export const path = (points: Point[]): string => points.map((p) => p.join(",")).join(" ");

// In words, for those who do not see the arrow.
export function wayWord(way: Point): "up" | "down" | "left" | "right" {
  if (Math.abs(way[0]) > Math.abs(way[1])) return way[0] > 0 ? "right" : "left";
  return way[1] > 0 ? "down" : "up";
}

export const directionNames = (line: Line): [string, string] => line.directions ?? ["in", "out"];
