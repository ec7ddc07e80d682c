// Depth as a picture in colours: near is bright, the floor is dark, and what was not measured is
// black. A PNG with a palette, because that needs nothing but zlib; browsers do not mind.
import { deflateSync } from "node:zlib";

export const width = 480,
  height = 272;

const stops = [
  [0, 0, 0],
  [18, 26, 58],
  [20, 72, 110],
  [24, 130, 132],
  [96, 190, 110],
  [236, 226, 92],
  [255, 250, 214],
];
const palette = Buffer.alloc(768);
for (let i = 1; i < 256; ++i) {
  const at = 1 + ((i - 1) / 254) * (stops.length - 2);
  const k = Math.min(stops.length - 2, Math.floor(at));
  for (let c = 0; c < 3; ++c) palette[3 * i + c] = stops[k][c] + (stops[k + 1][c] - stops[k][c]) * (at - k);
}

const table = Uint32Array.from({ length: 256 }, (_, n) => {
  for (let k = 0; k < 8; ++k) n = n & 1 ? 0xedb88320 ^ (n >>> 1) : n >>> 1;
  return n;
});
function crc32(bytes) {
  let c = 0xffffffff;
  for (let i = 0; i < bytes.length; ++i) c = table[(c ^ bytes[i]) & 255] ^ (c >>> 8);
  return (c ^ 0xffffffff) >>> 0;
}

function chunk(name, data) {
  const out = Buffer.alloc(12 + data.length);
  out.writeUInt32BE(data.length, 0);
  out.write(name, 4, "latin1");
  data.copy(out, 8);
  out.writeUInt32BE(crc32(out.subarray(4, 8 + data.length)), 8 + data.length);
  return out;
}

// A floor with furniture, noise and holes, the same for every frame but for a shift of the noise.
export function makeFloor(seed, things) {
  const floor = new Uint8Array(width * height);
  let state = seed;
  const random = () => (state = (Math.imul(state, 1664525) + 1013904223) >>> 0) / 4294967296;
  for (let y = 0; y < height; ++y)
    for (let x = 0; x < width; ++x) {
      const vignette = Math.hypot(x - width / 2, y - height / 2) / 40;
      floor[y * width + x] =
        random() < 0.004 ? 0 : 34 + random() * 9 - vignette + (x % 60 < 1 || y % 60 < 1 ? -4 : 0);
    }
  for (const [x0, y0, w, h, level] of things)
    for (let y = y0; y < y0 + h; ++y)
      for (let x = x0; x < x0 + w; ++x) floor[y * width + x] = random() < 0.01 ? 0 : level + random() * 7;
  return floor;
}

function blob(pixels, cx, cy, rx, ry, angle, low, high) {
  const reach = Math.ceil(Math.max(rx, ry));
  const [c, s] = [Math.cos(angle), Math.sin(angle)];
  for (let y = Math.max(0, (cy - reach) | 0); y < Math.min(height, cy + reach); ++y)
    for (let x = Math.max(0, (cx - reach) | 0); x < Math.min(width, cx + reach); ++x) {
      const u = ((x - cx) * c + (y - cy) * s) / rx,
        v = (-(x - cx) * s + (y - cy) * c) / ry;
      const d = u * u + v * v;
      if (d < 1)
        pixels[y * width + x] = Math.max(
          pixels[y * width + x],
          low + (high - low) * Math.sqrt(1 - d) + ((x * 7 + y * 13) % 5),
        );
    }
}

// `people` have x, y of the head in this picture, an angle of the shoulders, and a height in mm.
export function draw(floor, people) {
  const pixels = floor.slice();
  for (const p of people) {
    const tall = p.height_mm / 1750;
    blob(pixels, p.x, p.y, 25 * tall, 14 * tall, p.angle, 110, 168);
    blob(pixels, p.x + p.stepX, p.y + p.stepY, 11, 9, p.angle, 70, 96);
    blob(pixels, p.x, p.y, 10.5 * tall, 11.5 * tall, p.angle, 190, 165 + 78 * tall);
  }
  const rows = Buffer.alloc((width + 1) * height);
  for (let y = 0; y < height; ++y) rows.set(pixels.subarray(y * width, (y + 1) * width), y * (width + 1) + 1);
  const head = Buffer.alloc(13);
  head.writeUInt32BE(width, 0);
  head.writeUInt32BE(height, 4);
  head.set([8, 3, 0, 0, 0], 8);
  return Buffer.concat([
    Buffer.from([137, 80, 78, 71, 13, 10, 26, 10]),
    chunk("IHDR", head),
    chunk("PLTE", palette),
    chunk("IDAT", deflateSync(rows, { level: 1 })),
    chunk("IEND", Buffer.alloc(0)),
  ]);
}
