// What the page says, in the reader's language, and how numbers and times are written in it.
import de from "../text/de.json";
import en from "../text/en.json";
import { Store } from "./store";
import type { Values } from "./types";

export type Key = keyof typeof en;
export type Language = "en" | "de";
type Sentence = string | { one: string; other: string };

const texts: Record<Language, Record<string, Sentence>> = { en, de };
const remembered = "language";

function preferred(): Language {
  const chosen = localStorage.getItem(remembered) ?? navigator.language;
  return chosen.startsWith("de") ? "de" : "en";
}

export const language = new Store<Language>(preferred());

export function chooseLanguage(to: Language): void {
  localStorage.setItem(remembered, to);
  document.documentElement.lang = to;
  language.set(to);
}

function filled(sentence: Sentence, values: Values): string {
  let text = sentence as string;
  if (typeof sentence !== "string") {
    text =
      new Intl.PluralRules(language.value).select(Number(values.n)) === "one" ? sentence.one : sentence.other;
  }
  return text.replace(/\{(\w+)\}/g, (_, name: string) => {
    const value = values[name];
    return typeof value === "number" ? number(value) : String(value ?? "");
  });
}

export function t(key: Key, values: Values = {}): string {
  return filled(texts[language.value][key] ?? en[key], values);
}

// A sentence of the service, which speaks English; other languages have it by its code.
export function said(sentence: { code: string; text: string; values: Values }): string {
  const known = texts[language.value][`server.${sentence.code}`];
  return known ? filled(known, sentence.values) : sentence.text;
}

// Words of the service that have a code: help texts and labels of settings.
export function worded(code: string, text: string): string {
  return said({ code, text, values: {} });
}

export function number(value: number, digits = 2): string {
  return new Intl.NumberFormat(language.value, { maximumFractionDigits: digits }).format(value);
}

// Times come as the place's clock shows them, so they are cut and never converted.
export const clock = (time: string): string => time.slice(11, 16);
export const clockSeconds = (time: string): string => time.slice(11, 19);

// A date of the calendar has no time zone; it is written as one of UTC so that nothing shifts it.
export function day(date: string, form: "short" | "long" | "tiny" = "short"): string {
  const options: Intl.DateTimeFormatOptions =
    form === "tiny"
      ? { day: "numeric", month: "short" }
      : { weekday: form, day: "numeric", month: form, year: "numeric" };
  return new Intl.DateTimeFormat(language.value, { ...options, timeZone: "UTC" }).format(asUtc(date));
}

export function month(date: string): string {
  return new Intl.DateTimeFormat(language.value, { month: "short", year: "numeric", timeZone: "UTC" }).format(
    asUtc(date),
  );
}

export const moment = (time: string): string => `${day(time.slice(0, 10))}, ${clock(time)}`;

function asUtc(date: string): Date {
  return new Date(`${date.length === 7 ? `${date}-01` : date}T00:00:00Z`);
}

export function addDays(date: string, days: number): string {
  return new Date(asUtc(date).getTime() + days * 86400e3).toISOString().slice(0, 10);
}

export function daysBetween(from: string, to: string): number {
  return Math.round((asUtc(to).getTime() - asUtc(from).getTime()) / 86400e3);
}

// 0:45, 12:07, 1:02:33
export function duration(ms: number): string {
  const s = Math.floor(ms / 1000);
  const two = (n: number) => String(n).padStart(2, "0");
  const minutes = Math.floor(s / 60);
  return minutes < 60
    ? `${minutes}:${two(s % 60)}`
    : `${Math.floor(minutes / 60)}:${two(minutes % 60)}:${two(s % 60)}`;
}

// Settings that were edited by hand have a number only.
export const versionText = (n: number, name: string): string =>
  name ? t("version.named", { n, name }) : number(n);

export const metres = (mm: number): string => `${number(mm / 1000)} m`;
