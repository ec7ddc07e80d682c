// The one stream of live data. It is open while the page is visible; when it breaks it is opened
// again after 1, 2, 4 ... 10 s.
import { address, loadPlace, loadSession, place, read } from "./api";
import { Store } from "./store";
import type { CountEvent, Health, LiveCounts, LiveFrame, LiveSettings } from "./types";

const keptEvents = 200;
const shownEvents = 60;
const longestWait_ms = 10_000;
// Counts come at least every 5 s; who hears nothing for so long has lost the connection.
const silence_ms = 20_000;

export type Connection = "connecting" | "open" | "lost" | "back";

export const connection = new Store<Connection>("connecting");
export const health = new Store<Health | null>(null);
export const counts = new Store<LiveCounts | null>(null);
export const frame = new Store<LiveFrame | null>(null);
export const happened = new Store<CountEvent[]>([]); // the newest first
export const changed = new Store<LiveSettings | null>(null);

let source: EventSource | null = null;
let camera: string | null = null;
let wanted = false;
let wait_ms = 0;
let retry = 0;
let watchdog = 0;

// `of` is the camera whose frames are wanted, or null.
export function follow(of: string | null): void {
  if (wanted && of === camera && source) return;
  camera = of;
  wanted = true;
  frame.set(null);
  open();
}

export function unfollow(): void {
  wanted = false;
  close();
}

function close(): void {
  window.clearTimeout(retry);
  window.clearTimeout(watchdog);
  source?.close();
  source = null;
}

function open(): void {
  close();
  if (!wanted || document.hidden) return;
  source = new EventSource(address(camera === null ? "live" : `live?camera=${encodeURIComponent(camera)}`));
  source.onopen = () => void opened();
  source.onerror = lost;
  on<Health>("health", (value) => health.set(value));
  on<LiveCounts>("counts", (value) => {
    counts.set(value);
    // A new day has begun at the place.
    if (place.value && place.value.today !== value.today) loadPlace().catch(() => undefined);
  });
  on<LiveFrame>("frame", (value) => {
    if (value.camera === camera) frame.set(value);
  });
  on<CountEvent>("happened", (value) => happened.set([value, ...happened.value].slice(0, keptEvents)));
  on<LiveSettings>("settings", (value) => changed.set(value));
  on("bye", lost);
  heard();
}

function on<T>(name: string, take: (value: T) => void): void {
  source?.addEventListener(name, (event) => {
    heard();
    take(JSON.parse((event as MessageEvent<string>).data) as T);
  });
}

function heard(): void {
  window.clearTimeout(watchdog);
  watchdog = window.setTimeout(lost, silence_ms);
}

async function opened(): Promise<void> {
  wait_ms = 0;
  const wasLost = connection.value === "lost";
  connection.set(wasLost ? "back" : "open");
  if (wasLost) window.setTimeout(() => connection.value === "back" && connection.set("open"), 4000);
  try {
    if (wasLost) await loadPlace();
    const { events } = await read<{ events: CountEvent[] }>(`events?limit=${shownEvents}`);
    happened.set(events.reverse());
  } catch {
    // The stream itself says when the connection is lost.
  }
}

function lost(): void {
  close();
  connection.set("lost");
  wait_ms = Math.min(longestWait_ms, wait_ms ? wait_ms * 2 : 1000);
  retry = window.setTimeout(() => void tryAgain(), wait_ms);
}

// A stream tells no reason for failing, so the session is asked first: it may have ended.
async function tryAgain(): Promise<void> {
  try {
    await loadSession();
    if (wanted) open();
  } catch {
    lost();
  }
}

// Nobody looks at a hidden page, so nothing is made for it.
document.addEventListener("visibilitychange", () => {
  if (!wanted) return;
  if (document.hidden) close();
  else open();
});
