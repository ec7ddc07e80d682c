// What differs between two settings, in words.
import { directionNames } from "../geometry";
import { t } from "../text";
import type { Line, Point, Region, Settings } from "../types";

const same = (a: unknown, b: unknown): boolean => JSON.stringify(a) === JSON.stringify(b);

// Pairs of what was there before and after: by name, else by the same points under another name.
function pairs<T extends { name: string; points: Point[] }>(before: T[], after: T[]): { from?: T; to?: T }[] {
  const rest = [...before];
  const take = (is: (shape: T) => boolean): T | undefined => {
    const at = rest.findIndex(is);
    return at < 0 ? undefined : rest.splice(at, 1)[0];
  };
  const named = after.map((to) => ({ to, from: take((s) => s.name === to.name) }));
  const all: { from?: T; to?: T }[] = named.map(({ to, from }) => ({
    to,
    from: from ?? take((s) => same(s.points, to.points)),
  }));
  return [...all, ...rest.map((from) => ({ from }))];
}

function lineChanges(from: Line, to: Line): string[] {
  const values = { name: to.name, before: from.name };
  const list: string[] = [];
  if (from.name !== to.name) list.push(t("change.line_renamed", values));
  if (!same(from.points, to.points)) list.push(t("change.line_moved", values));
  if (Boolean(from.flip) !== Boolean(to.flip)) list.push(t("change.line_flipped", values));
  if (!same(directionNames(from), directionNames(to)))
    list.push(
      t("change.line_directions", { ...values, one: directionNames(to)[0], two: directionNames(to)[1] }),
    );
  if (Boolean(from.uturn) !== Boolean(to.uturn))
    list.push(t(to.uturn ? "change.uturn_on" : "change.uturn_off", values));
  else if (!same(from.area, to.area)) list.push(t("change.area", values));
  return list;
}

function regionChanges(from: Region, to: Region): string[] {
  const values = { name: to.name, before: from.name };
  const list: string[] = [];
  if (from.name !== to.name) list.push(t("change.region_renamed", values));
  if (!same(from.points, to.points)) list.push(t("change.region_moved", values));
  return list;
}

function text(value: unknown): string {
  if (value === null || value === undefined) return "–";
  return typeof value === "object" ? Object.values(value as object).join(", ") : String(value);
}

export function changes(before: Settings, after: Settings): string[] {
  const list: string[] = [];
  for (const { from, to } of pairs(before.line, after.line)) {
    if (from && to) list.push(...lineChanges(from, to));
    else list.push(t(to ? "change.line_added" : "change.line_removed", { name: (to ?? from)!.name }));
  }
  for (const { from, to } of pairs(before.region, after.region)) {
    if (from && to) list.push(...regionChanges(from, to));
    else list.push(t(to ? "change.region_added" : "change.region_removed", { name: (to ?? from)!.name }));
  }
  const n = after.exclude.length - before.exclude.length;
  if (n !== 0) list.push(t(n > 0 ? "change.exclude_added" : "change.exclude_removed", { n: Math.abs(n) }));
  else if (!same(before.exclude, after.exclude)) list.push(t("change.exclude_moved"));
  const others = new Set(
    [...Object.keys(before), ...Object.keys(after)].filter(
      (key) => !["line", "region", "exclude"].includes(key),
    ),
  );
  for (const key of others)
    if (!same(before[key], after[key]))
      list.push(t("change.value", { key, before: text(before[key]), after: text(after[key]) }));
  return list;
}
