// Minutes to years: visitors, lines, regions and areas, with what was not watched and what changed.
import type { JSX } from "preact";
import { useEffect, useMemo } from "preact/hooks";
import { address, read } from "../api";
import { Chart, spanTitle, type Series } from "../chart";
import { follow } from "../live";
import { Failure, Labelled, Select, useLoaded } from "../parts";
import { route, setQuery } from "../route";
import { useStore } from "../store";
import { addDays, clock, day, daysBetween, language, moment, number, t, versionText } from "../text";
import type { Areas, Counts, History, Numbers, Place, Regions, Visitors } from "../types";

type What = "visitors" | "counts" | "regions" | "areas";
type By = "minute" | "quarter" | "hour" | "day" | "month";
type Split = "all" | "direction" | "line" | "kind";

interface Choice {
  what: What;
  from: string;
  to: string;
  by: By;
  open: boolean;
  line: string; // "camera/line", empty for all
  split: Split;
  kind: string; // empty for all
  value: string; // which number of a region or an area
  compare: string; // first day to compare with, empty for none
}

const mostSpans = 2000;
const spansADay: Record<By, number> = { minute: 1440, quarter: 96, hour: 24, day: 1, month: 1 / 28 };
const uncoloured = "--quiet";
const colours = ["--one", "--two", "--three", "--four", "--five", "--six"];

function allowed(by: By, from: string, to: string): boolean {
  return (daysBetween(from, to) + 1) * spansADay[by] <= mostSpans;
}

function usual(from: string, to: string): By {
  const days = daysBetween(from, to) + 1;
  if (days <= 3) return "hour";
  return days <= 100 ? "day" : "month";
}

function choiceOf(query: URLSearchParams, today: string): Choice {
  const text = (name: string, fallback: string) => query.get(name) ?? fallback;
  const from = text("from", today);
  const to = text("to", today);
  const by = text("by", "") as By;
  const what = text("what", "visitors") as What;
  return {
    what,
    from,
    to,
    by: by in spansADay && allowed(by, from, to) ? by : usual(from, to),
    open: query.get("open") === "true",
    line: text("line", ""),
    split: text("split", what === "counts" ? "direction" : "all") as Split,
    kind: text("kind", ""),
    value: text("value", ""),
    compare: text("compare", ""),
  };
}

function request(c: Choice, from: string, to: string): string {
  return `${c.what}?${new URLSearchParams({ from, to, by: c.by, ...(c.open ? { open: "true" } : {}) }).toString()}`;
}

function add(columns: Numbers[], spans: number): Numbers {
  return Array.from({ length: spans }, (_, i) => {
    const known = columns.map((c) => c[i]).filter((n): n is number => n !== null && n !== undefined);
    return known.length ? known.reduce((a, b) => a + b, 0) : null;
  });
}

const sum = (values: Numbers): number => values.reduce<number>((a, b) => a + (b ?? 0), 0);

type Answer = History & Partial<Visitors> & Partial<Pick<Counts, "series">>;

// Lines and regions of several cameras may have the same name; then the camera's is before it.
function namesOf(all: { camera: string; name: string }[]): (camera: string, name: string) => string {
  return (camera, name) =>
    all.some((o) => o.name === name && o.camera !== camera) ? `${camera}, ${name}` : name;
}

function lineSeries(answer: Counts, c: Choice): Omit<Series, "colour">[] {
  const n = answer.spans.length;
  const chosen = answer.series.filter((s) => !c.line || c.line === `${s.camera}/${s.line}`);
  const kinds = (["adult", "child", "staff"] as const).filter((k) => !c.kind || c.kind === k);
  if (c.split === "kind")
    return kinds.map((k) => ({
      name: t(`kind.${k}`),
      values: add(
        chosen.map((s) => s[k]),
        n,
      ),
    }));
  const nameOf = namesOf(answer.series.map((s) => ({ camera: s.camera, name: s.line })));
  const key = (s: Counts["series"][number]): string => {
    const line = nameOf(s.camera, s.line);
    if (c.split === "all") return t("history.everybody");
    if (c.split === "line") return line;
    return c.line ? s.direction_name : `${line}: ${s.direction_name}`;
  };
  const names = [...new Set(chosen.map(key))];
  return names.map((name) => ({
    name,
    values: add(
      chosen.filter((s) => key(s) === name).flatMap((s) => kinds.map((k) => s[k])),
      n,
    ),
  }));
}

// The largest have a colour and are in the chart; the table has all.
function coloured(series: Omit<Series, "colour">[]): Series[] {
  const largest = [...series].sort((a, b) => sum(b.values) - sum(a.values)).slice(0, colours.length);
  let next = 0;
  return series.map((s) => ({ ...s, colour: largest.includes(s) ? colours[next++]! : uncoloured }));
}

function seriesOf(answer: Answer, c: Choice): Omit<Series, "colour">[] {
  const n = answer.spans.length;
  if (c.what === "visitors") {
    const both: [string, Numbers][] = [
      [t("kind.adult"), answer.adults ?? []],
      [t("kind.child"), answer.children ?? []],
    ];
    return c.split === "kind"
      ? both.map(([name, values]) => ({ name, values }))
      : [
          {
            name: t("history.visitors"),
            values: add(
              both.map(([, v]) => v),
              n,
            ),
          },
        ];
  }
  if (c.what === "counts") return lineSeries(answer as Counts, c);
  if (c.what === "regions") {
    const key = (c.value || "mean_people") as "mean_people" | "most" | "stays" | "mean_stay_s";
    const { series } = answer as unknown as Regions;
    const nameOf = namesOf(series.map((s) => ({ camera: s.camera, name: s.region })));
    return series.map((s) => ({ name: nameOf(s.camera, s.region), values: s[key] }));
  }
  const key = (c.value || "most") as "most" | "at_end";
  return (answer as unknown as Areas).series.map((s) => ({ name: s.area, values: s[key] }));
}

const load = (c: Choice, from: string, to: string): Promise<Answer> => read<Answer>(request(c, from, to));

// The days that are compared with, by what a span is called, so that a day of 25 hours meets one
// of 24.
function compared(answer: Answer, other: Answer, c: Choice): (Omit<Series, "colour"> & { of: string })[] {
  const single = c.from === c.to;
  return seriesOf(other, c).map((s) => ({
    of: s.name,
    name: t("history.compared", { name: s.name, day: day(c.compare, "tiny") }),
    values: answer.spans.map((span, i) => {
      const at = single ? other.spans.findIndex((o) => o.label.slice(0, 5) === span.label.slice(0, 5)) : i;
      return s.values[at] ?? null;
    }),
  }));
}

function Presets(props: {
  today: string;
  choice: Choice;
  choose: (from: string, to: string) => void;
}): JSX.Element {
  const { today } = props;
  const spans: [string, string, string][] = [
    [t("history.today"), today, today],
    [t("history.yesterday"), addDays(today, -1), addDays(today, -1)],
    [t("history.week"), addDays(today, -6), today],
    [t("history.month"), addDays(today, -29), today],
    [t("history.year"), addDays(today, -364), today],
  ];
  return (
    <div class="tabs" role="group" aria-label={t("history.span")}>
      {spans.map(([name, from, to]) => (
        <button
          key={name}
          type="button"
          aria-pressed={props.choice.from === from && props.choice.to === to}
          onClick={() => props.choose(from, to)}
        >
          {name}
        </button>
      ))}
    </div>
  );
}

function DateField(props: { label: string; value: string; change: (date: string) => void }): JSX.Element {
  return (
    <Labelled label={props.label}>
      {(ids) => (
        <input
          {...ids}
          type="date"
          value={props.value}
          onChange={(event) => event.currentTarget.value && props.change(event.currentTarget.value)}
        />
      )}
    </Labelled>
  );
}

function Filters(props: {
  choice: Choice;
  answer: Answer | null;
  set: (change: Partial<Choice>) => void;
  today: string;
}): JSX.Element {
  const { choice: c, set, today } = props;
  const by: By[] = (["minute", "quarter", "hour", "day", "month"] as By[]).filter((b) =>
    allowed(b, c.from, c.to),
  );
  const lines =
    c.what === "counts"
      ? [...new Set(((props.answer as Counts | null)?.series ?? []).map((s) => `${s.camera}/${s.line}`))]
      : [];
  const days = daysBetween(c.from, c.to) + 1;
  const spans: [string, string][] = [
    [t("history.compare_none"), ""],
    [t("history.compare_before"), addDays(c.from, -days)],
    [t("history.compare_week"), addDays(c.from, -7)],
    [t("history.compare_year"), addDays(c.from, -364)],
  ];
  const isOther = c.compare !== "" && !spans.some(([, from]) => from === c.compare);
  return (
    <div class="filters">
      <Select
        label={t("history.what")}
        value={c.what}
        change={(what) => set({ what, value: "", split: what === "counts" ? "direction" : "all" })}
        options={(["visitors", "counts", "regions", "areas"] as What[]).map((value) => ({
          value,
          text: t(`what.${value}`),
        }))}
      />
      <DateField
        label={t("history.from")}
        value={c.from}
        change={(from) => set({ from, to: from > c.to ? from : c.to })}
      />
      <DateField
        label={t("history.to")}
        value={c.to}
        change={(to) => set({ to, from: to < c.from ? to : c.from })}
      />
      <Select
        label={t("history.by")}
        value={c.by}
        change={(value) => set({ by: value })}
        options={by.map((value) => ({ value, text: t(`by.${value}`) }))}
      />
      {c.what === "counts" && (
        <Select
          label={t("history.line")}
          value={c.line}
          change={(line) => set({ line })}
          options={[
            { value: "", text: t("history.all_lines") },
            ...lines.map((value) => ({ value, text: value.replace("/", ": ") })),
          ]}
        />
      )}
      {(c.what === "counts" || c.what === "visitors") && (
        <Select
          label={t("history.split")}
          value={c.split}
          change={(split) => set({ split })}
          options={(c.what === "counts"
            ? (["direction", "line", "kind", "all"] as Split[])
            : (["all", "kind"] as Split[])
          ).map((value) => ({ value, text: t(`split.${value}`) }))}
        />
      )}
      {c.what === "counts" && (
        <Select
          label={t("history.kind")}
          value={c.kind}
          change={(kind) => set({ kind })}
          options={[
            { value: "", text: t("history.all_kinds") },
            ...(["adult", "child", "staff"] as const).map((value) => ({
              value: value as string,
              text: t(`kind.${value}`),
            })),
          ]}
        />
      )}
      {c.what === "regions" && (
        <Select
          label={t("history.value")}
          value={c.value || "mean_people"}
          change={(value) => set({ value })}
          options={["mean_people", "most", "stays", "mean_stay_s"].map((value) => ({
            value,
            text: t(`value.${value as "stays"}`),
          }))}
        />
      )}
      {c.what === "areas" && (
        <Select
          label={t("history.value")}
          value={c.value || "most"}
          change={(value) => set({ value })}
          options={["most", "at_end"].map((value) => ({ value, text: t(`value.${value as "at_end"}`) }))}
        />
      )}
      <Select
        label={t("history.compare")}
        value={isOther ? "other" : c.compare}
        change={(value) => set({ compare: value === "other" ? addDays(today, -1) : value })}
        options={[
          ...spans.map(([text, value]) => ({ value, text })),
          { value: "other", text: t("history.compare_other") },
        ]}
      />
      {isOther && (
        <DateField
          label={t("history.compare_day")}
          value={c.compare}
          change={(compare) => set({ compare })}
        />
      )}
      <label class="check">
        <input
          type="checkbox"
          checked={c.open}
          onChange={(event) => set({ open: event.currentTarget.checked })}
        />{" "}
        {t("history.open")}
      </label>
    </div>
  );
}

function Remarks(props: { answer: Answer }): JSX.Element | null {
  const { gaps, changes, clock_changes } = props.answer;
  if (!gaps.length && !changes.length && !clock_changes.length) return null;
  return (
    <section class="remarks">
      <h2>{t("history.remarks")}</h2>
      <ul>
        {clock_changes.map((c) => (
          <li key={c.date} class="clock">
            {t("history.clock_change", { day: day(c.date), n: c.hours })}
          </li>
        ))}
        {changes.map((c) => (
          <li key={`${c.camera}${c.version}`} class="change">
            {t("history.change", {
              time: moment(c.time),
              camera: c.camera,
              author: c.author,
              version: versionText(c.version, c.name),
            })}
          </li>
        ))}
        {gaps.map((g) => (
          <li key={`${g.camera}${g.from_us}`} class="gap">
            {t("history.gap", {
              from: moment(g.from),
              to: g.from.slice(0, 10) === g.to.slice(0, 10) ? clock(g.to) : moment(g.to),
              camera: g.camera,
              why: g.why,
            })}
          </li>
        ))}
      </ul>
    </section>
  );
}

const tableRows = 400;

function Table(props: { answer: Answer; series: Series[]; adds: boolean }): JSX.Element {
  const { answer, series } = props;
  const rows = answer.spans.slice(0, tableRows);
  return (
    <div class="scrolls" tabIndex={0} role="region" aria-label={t("history.table")}>
      <table class="numbers">
        <thead>
          <tr>
            <th scope="col">{t("history.span")}</th>
            {series.map((s) => (
              <th key={s.name} scope="col" class="number">
                {s.name}
              </th>
            ))}
          </tr>
        </thead>
        <tbody>
          {rows.map((span, i) => (
            <tr key={span.from_us}>
              <th scope="row">{spanTitle(span, answer.spans)}</th>
              {series.map((s) => (
                <td key={s.name} class="number">
                  {s.values[i] === null || s.values[i] === undefined ? (
                    <span class="quiet">{t("history.unwatched")}</span>
                  ) : (
                    number(s.values[i]!)
                  )}
                </td>
              ))}
            </tr>
          ))}
        </tbody>
        {props.adds && (
          <tfoot>
            <tr>
              <th scope="row">{t("history.sum")}</th>
              {series.map((s) => (
                <td key={s.name} class="number">
                  {number(sum(s.values))}
                </td>
              ))}
            </tr>
          </tfoot>
        )}
      </table>
      {answer.spans.length > tableRows && <p class="quiet">{t("history.table_cut", { n: tableRows })}</p>}
    </div>
  );
}

export function HistoryScreen(props: { place: Place }): JSX.Element {
  const { place } = props;
  const { query } = useStore(route);
  useEffect(() => follow(null), []);
  const c = choiceOf(query, place.today);
  const set = (change: Partial<Choice>): void => {
    const next = { ...c, ...change };
    if (change.from || change.to)
      next.by = allowed(c.by, next.from, next.to) && query.has("by") ? c.by : usual(next.from, next.to);
    if (change.from !== undefined && change.compare === undefined) next.compare = "";
    const kept = Object.entries(next).filter(([, value]) => value !== "" && value !== false);
    setQuery(new URLSearchParams(kept.map(([key, value]) => [key, String(value)])));
  };
  const key = request(c, c.from, c.to);
  const {
    value: answer,
    error,
    loading,
  } = useLoaded(key, async () => ({ key, what: c.what, data: await load(c, c.from, c.to) }));
  const days = daysBetween(c.from, c.to);
  const otherKey = c.compare ? request(c, c.compare, addDays(c.compare, days)) : "";
  const other = useLoaded(otherKey, async () =>
    c.compare ? { key: otherKey, data: await load(c, c.compare, addDays(c.compare, days)) } : null,
  );
  const speaks = useStore(language);
  const shown = answer?.what === c.what ? answer.data : null;
  const series = useMemo<Series[]>(() => {
    if (!shown) return [];
    const own = coloured(seriesOf(shown, c));
    if (!c.compare || other.value?.key !== otherKey) return own;
    const colourOf = (name: string): string => own.find((s) => s.name === name)?.colour ?? uncoloured;
    const then = compared(shown, other.value.data, c);
    return [...own, ...then.map(({ of, ...s }) => ({ ...s, colour: colourOf(of), dashed: true }))];
  }, [shown, other.value, c.split, c.line, c.kind, c.value, c.compare, otherKey, speaks]);
  const charted = useMemo(() => series.filter((s) => s.colour !== uncoloured), [series]);
  const adds = c.what === "visitors" || c.what === "counts" || c.value === "stays";
  const unit = t(
    `unit.${c.what === "regions" ? c.value || "mean_people" : c.what === "areas" ? "areas" : c.what}` as "unit.counts",
  );
  return (
    <div class="history">
      <h1>{t("nav.history")}</h1>
      <Presets today={place.today} choice={c} choose={(from, to) => set({ from, to })} />
      <Filters choice={c} answer={shown} set={set} today={place.today} />
      <Failure error={error ?? other.error} />
      {shown && (
        <div class={loading ? "stale" : ""} aria-busy={loading}>
          {adds && (
            <p class="totals">
              {series.map((s) => (
                <span key={s.name} class={`key ${s.colour.slice(2)}${s.dashed ? " dashed" : ""}`}>
                  {s.name} <b>{number(sum(s.values))}</b>
                </span>
              ))}
            </p>
          )}
          {series.length ? (
            <Chart
              history={shown}
              series={charted}
              unit={unit}
              named={!adds}
              label={t("history.chart", { what: t(`what.${c.what}`), from: day(c.from), to: day(c.to) })}
            />
          ) : (
            <p class="quiet">{t("history.nothing")}</p>
          )}
          {charted.length < series.length && (
            <p class="quiet">{t("history.chart_cut", { n: colours.length })}</p>
          )}
          <Remarks answer={shown} />
          <section>
            <h2>{t("history.table")}</h2>
            <p>
              <a href={`${address(key)}&format=csv`} download={`${c.what}-${c.from}-${c.to}.csv`}>
                {t("history.csv")}
              </a>
              <span class="quiet"> {t("history.zone", { zone: shown.time_zone })}</span>
            </p>
            <Table answer={shown} series={series} adds={adds} />
          </section>
        </div>
      )}
    </div>
  );
}
