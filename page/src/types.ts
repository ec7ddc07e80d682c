// The records of the API; api.json says what they mean.
export type Role = "viewer" | "operator" | "admin";
export type Level = "ok" | "degraded" | "failed";
export type CameraState = "online" | "stopped" | "offline";
export type Point = [number, number];
export type Values = Record<string, string | number>;
export type Direction = 1 | 2;

export interface Session {
  name: string | null;
  role: Role | null;
  must_change_password: boolean;
  first_start: boolean;
}

export interface PlaceCamera {
  name: string;
  width: number;
  height: number;
  state: CameraState;
  colour: boolean;
  commissioned: { time: string; author: string } | null;
}

export interface Place {
  name: string;
  time_zone: string;
  version: string;
  now_us: number;
  now: string;
  today: string;
  first_day: string | null;
  cameras: PlaceCamera[];
  areas: { name: string; capacity: number | null }[];
  opening_hours: { days: string[]; from: string; to: string }[];
}

export interface Problem {
  camera: string | null;
  level: Level;
  code: string;
  text: string;
  values: Values;
  since_us: number;
  since: string;
}

export interface Health {
  level: Level;
  problems: Problem[];
  cameras: { name: string; state: CameraState; frames_per_second: number }[];
}

export interface LivePerson {
  track: number;
  x: number;
  y: number;
  w: number;
  h: number;
  height_mm: number | null;
  staff: boolean;
  foot: Point;
  trail: Point[];
  region: string | null;
  stay_ms: number;
}

export interface LiveFrame {
  camera: string;
  frame: number;
  time_us: number;
  people: LivePerson[];
}

export interface LiveLine {
  camera: string;
  line: string;
  directions: { direction: Direction; name: string; people: number }[];
}

export interface LiveRegion {
  camera: string;
  region: string;
  people: number;
  longest_stay_ms: number;
}

export interface LiveCounts {
  today: string;
  visitors: number | null;
  lines: LiveLine[];
  regions: LiveRegion[];
  areas: { area: string; inside: number; capacity: number | null; level: "ok" | "full" }[];
  hours: { label: string; people: number | null }[];
}

export interface LiveSettings {
  camera: string;
  version: number;
  author: string;
}

export interface CountEvent {
  camera: string;
  time_us: number;
  time: string;
  kind: "crossing" | "crossing_left_out" | "group" | "stay" | "settings" | "capacity";
  place: string | null;
  direction: Direction | null;
  direction_name: string | null;
  track: number | null;
  person: "adult" | "child" | "staff" | null;
  people: number;
  stay_ms?: number;
}

export interface Person {
  camera: string;
  track: number;
  from: string;
  to: string;
  ended: boolean;
  counted: boolean;
  why: string;
  steps: { time_us: number; time: string; code: string; text: string; values: Values; at: Point | null }[];
  path: Point[];
}

export interface CameraStatus {
  camera: string;
  state: CameraState;
  source: string;
  width: number;
  height: number;
  frames_per_second: number;
  valid_share: number | null;
  floor_mm: number | null;
  noise_mm: number | null;
  height_mm: number | null;
  height_from: "settings" | "measured" | "source" | null;
  tilt: { roll_deg: number; pitch_deg: number } | null;
  levelled: boolean;
  measuring: number | null;
  notes: Note[];
}

export interface Line {
  name: string;
  points: Point[];
  directions?: [string, string];
  uturn?: boolean;
  area?: Point[];
  flip?: boolean;
}

export interface Region {
  name: string;
  points: Point[];
}

export interface Settings {
  height_mm?: number | string | null;
  line: Line[];
  region: Region[];
  exclude: { points: Point[] }[];
  [key: string]: unknown;
}

export interface VersionHead {
  version: number;
  time: string;
  author: string;
  name: string;
}

export interface Version extends VersionHead {
  settings: Settings;
  waiting?: boolean; // these count until the camera takes over what was saved
}

export type ShapeKind = "line" | "area" | "region" | "exclude";

export interface Note {
  level: "error" | "warning";
  code: string;
  text: string;
  values: Values;
  place?: { kind: ShapeKind | "setting"; index: number; point: number | null };
}

export interface Check {
  notes: Note[];
  zones: { line: number; points: Point[] }[];
}

export interface Heat {
  camera: string;
  what: "dwell" | "motion";
  columns: number;
  rows: number;
  cells: number[];
  hours: number;
}

export type Numbers = (number | null)[];

export interface Span {
  from_us: number;
  to_us: number;
  label: string;
  date: string;
}

export interface History {
  time_zone: string;
  spans: Span[];
  gaps: { camera: string; from_us: number; to_us: number; from: string; to: string; why: string }[];
  changes: { camera: string; time_us: number; time: string; version: number; name: string; author: string }[];
  clock_changes: { time_us: number; date: string; hours: number }[];
}

export interface Counts extends History {
  series: {
    camera: string;
    line: string;
    direction: Direction;
    direction_name: string;
    adult: Numbers;
    child: Numbers;
    staff: Numbers;
    groups: Numbers;
  }[];
}

export interface Regions extends History {
  series: {
    camera: string;
    region: string;
    mean_people: Numbers;
    most: Numbers;
    stays: Numbers;
    mean_stay_s: Numbers;
  }[];
}

export interface Areas extends History {
  series: { area: string; capacity: number | null; most: Numbers; at_end: Numbers }[];
}

export interface Visitors extends History {
  adults: Numbers;
  children: Numbers;
}

export interface Field {
  key: string;
  label: string;
  help: string;
  type: "whole" | "number" | "text" | "flag" | "choice" | "range" | "height" | "tilt";
  unit: string | null;
  minimum: number | null;
  maximum: number | null;
  default: unknown;
  choices: string[];
}

export interface Schema {
  camera: Field[];
  place: { key: string; label: string; help: string; value: string }[];
}

export interface User {
  name: string;
  role: Role;
  last_login: string | null;
}

export interface Token {
  id: string;
  name: string;
  role: Role;
  created: string;
  last_used: string | null;
}
