// Lines and polygons in pixels of the picture.
export const cross = (a, b, c) => (b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]);

export function cut(a, b, c, d) {
  return cross(a, b, c) * cross(a, b, d) < 0 && cross(c, d, a) * cross(c, d, b) < 0;
}

export function inside(polygon, [x, y]) {
  let is = false;
  for (let i = 0, j = polygon.length - 1; i < polygon.length; j = i++) {
    const [ax, ay] = polygon[i],
      [bx, by] = polygon[j];
    if (ay > y !== by > y && x < ax + ((y - ay) / (by - ay)) * (bx - ax)) is = !is;
  }
  return is;
}

export function area(polygon) {
  return (
    Math.abs(
      polygon.reduce((sum, [x, y], i) => {
        const [nx, ny] = polygon[(i + 1) % polygon.length];
        return sum + x * ny - nx * y;
      }, 0),
    ) / 2
  );
}

export const distance = (a, b) => Math.hypot(b[0] - a[0], b[1] - a[1]);

// To the left-hand side of somebody who walks from a to b in the picture.
export function left(a, b) {
  const length = distance(a, b) || 1;
  return [(b[1] - a[1]) / length, -(b[0] - a[0]) / length];
}

// 1 or 2 for a step over the line, 0 for none.
export function direction(line, before, now) {
  for (let i = 1; i < line.points.length; ++i) {
    const a = line.points[i - 1],
      b = line.points[i];
    if (!cut(a, b, before, now)) continue;
    const first = cross(a, b, now) < 0;
    return first !== Boolean(line.flip) ? 1 : 2;
  }
  return 0;
}

export function distanceToLine(points, p) {
  let least = Infinity;
  for (let i = 1; i < points.length; ++i) {
    const [a, b] = [points[i - 1], points[i]];
    const l = distance(a, b) ** 2 || 1;
    const t = Math.max(0, Math.min(1, ((p[0] - a[0]) * (b[0] - a[0]) + (p[1] - a[1]) * (b[1] - a[1])) / l));
    least = Math.min(least, distance(p, [a[0] + t * (b[0] - a[0]), a[1] + t * (b[1] - a[1])]));
  }
  return least;
}
