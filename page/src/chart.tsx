// Numbers of spans as bars or steps. The x axis counts spans, so that days of 23 and 25 hours need
// no care: what a span is called and when it is, the service says.
import type { JSX } from "preact";
import { useEffect, useRef, useState } from "preact/hooks";
import uPlot from "uplot";
import "uplot/dist/uPlot.min.css";
import { useWidth } from "./parts";
import { day, language, month, number, t } from "./text";
import { useStore } from "./store";
import type { History, Numbers, Span } from "./types";

export interface Series {
  name: string;
  values: Numbers;
  colour: string; // name of a custom property
  dashed?: boolean;
}

// The service's label in the reader's language.
function spanName(span: Span): string {
  if (/^\d{4}-\d{2}$/.test(span.label)) return month(span.label);
  if (/^\d{4}-\d{2}-\d{2}$/.test(span.label)) return day(span.label);
  return span.label;
}

// With its day, where there are several and it is named by the clock.
export function spanTitle(span: Span, spans: Span[]): string {
  const dated = span.label.includes(":") && spans[0]!.date !== spans[spans.length - 1]!.date;
  return dated ? `${day(span.date, "tiny")}, ${span.label}` : spanName(span);
}

function spanTick(span: Span, before: Span | undefined): string {
  if (/^\d{4}-\d{2}$/.test(span.label)) return month(span.label);
  if (/^\d{4}-\d{2}-\d{2}$/.test(span.label)) return day(span.label, "tiny");
  const hour = span.label.slice(0, 5);
  return before && before.date !== span.date ? `${hour}\n${day(span.date, "tiny")}` : hour;
}

// Where a moment lies on the axis: 2.5 is the middle of the third span.
function place(spans: Span[], time_us: number): number {
  for (let i = 0; i < spans.length; ++i) {
    const span = spans[i]!;
    if (time_us < span.from_us) return i;
    if (time_us < span.to_us) return i + (time_us - span.from_us) / (span.to_us - span.from_us);
  }
  return spans.length;
}

const axisPixels = 46;

// Index of each tick: so many that their texts do not touch.
function ticks(spans: Span[], width: number): number[] {
  const most = Math.max(2, Math.floor(width / 64));
  const steps = [1, 2, 3, 6, 7, 12, 14, 24, 30, 48, 60, 120, 180, 240, 360];
  const step = steps.find((s) => spans.length / s <= most) ?? Math.ceil(spans.length / most);
  return spans.map((_, i) => i).filter((i) => i % step === 0);
}

function colourOf(element: Element, name: string): string {
  return getComputedStyle(element).getPropertyValue(name).trim();
}

function drawGaps(chart: uPlot, history: History, element: Element): void {
  const { ctx } = chart;
  const x = (time_us: number) => chart.valToPos(place(history.spans, time_us) - 0.5, "x", true);
  ctx.save();
  ctx.fillStyle = colourOf(element, "--gap");
  ctx.font = `${11 * devicePixelRatio}px system-ui, sans-serif`;
  for (const gap of history.gaps) {
    const [left, right] = [x(gap.from_us), x(gap.to_us)];
    ctx.fillStyle = colourOf(element, "--gap");
    ctx.fillRect(left, chart.bbox.top, Math.max(2, right - left), chart.bbox.height);
    ctx.fillStyle = colourOf(element, "--quiet");
    if (right - left > ctx.measureText(gap.why).width + 12)
      ctx.fillText(gap.why, left + 6, chart.bbox.top + 14 * devicePixelRatio);
  }
  ctx.strokeStyle = colourOf(element, "--quiet");
  ctx.lineWidth = devicePixelRatio;
  ctx.setLineDash([4 * devicePixelRatio, 4 * devicePixelRatio]);
  for (const change of history.changes) {
    const at = Math.round(x(change.time_us)) + 0.5;
    ctx.beginPath();
    ctx.moveTo(at, chart.bbox.top);
    ctx.lineTo(at, chart.bbox.top + chart.bbox.height);
    ctx.stroke();
  }
  ctx.restore();
}

// 1, 2, 5, 10, 20 ...
const wholeSteps = Array.from({ length: 8 }, (_, power) => [1, 2, 5].map((n) => n * 10 ** power)).flat();

const barsUpTo = 62;
const mostBars = 4; // side by side

// What is compared with is fainter as bars, and dashed as a line.
function drawn(s: Series, place: number, of: number, spans: number, element: Element): uPlot.Series {
  const colour = colourOf(element, s.colour);
  const common = { label: s.name, stroke: colour, points: { show: false } };
  if (spans > barsUpTo || of > mostBars)
    return {
      ...common,
      width: 1.5,
      dash: s.dashed ? [5, 4] : undefined,
      paths: uPlot.paths.stepped!({ align: 1 }),
    };
  const disp = of > 1 ? { disp: shifted(place, of, spans) } : {};
  return {
    ...common,
    fill: s.dashed ? `color-mix(in srgb, ${colour} 38%, transparent)` : colour,
    width: 0,
    paths: uPlot.paths.bars!({ size: [0.8, 60], align: 0, ...disp }),
  };
}

function options(
  history: History,
  series: Series[],
  width: number,
  element: Element,
  hover: (index: number | null) => void,
): uPlot.Options {
  const { spans } = history;
  const whole = series.every((s) => s.values.every((n) => n === null || Number.isInteger(n)));
  const text = colourOf(element, "--quiet");
  const grid = { stroke: colourOf(element, "--rule"), width: 1 };
  return {
    width,
    height: Math.round(Math.max(200, Math.min(340, width * 0.45))),
    legend: { show: false },
    cursor: { points: { show: false }, drag: { x: false, y: false }, y: false },
    padding: [12, 16, 0, 0],
    scales: {
      x: { time: false, range: [-0.5, spans.length - 0.5] },
      y: { range: (_, __, most) => [0, Math.max(1, most) * 1.08] },
    },
    axes: [
      {
        stroke: text,
        grid: { show: false },
        ticks: grid,
        size: 44,
        splits: () => ticks(spans, width - axisPixels),
        values: (_, at) => at.map((i) => (spans[i] ? spanTick(spans[i]!, spans[i - 1]) : "")),
      },
      {
        stroke: text,
        grid,
        ticks: { show: false },
        size: axisPixels,
        incrs: whole ? wholeSteps : undefined,
        values: (_, at) => at.map((n) => number(n, 1)),
      },
    ],
    series: [{}, ...series.map((s, i) => drawn(s, i, series.length, spans.length, element))],
    hooks: {
      drawClear: [(chart) => drawGaps(chart, history, element)],
      setCursor: [(chart) => hover(chart.cursor.idx ?? null)],
    },
  };
}

// Bars of several series side by side within their span.
function shifted(place: number, of: number, spans: number): uPlot.Series.BarsPathBuilderOpts["disp"] {
  const size = 0.84 / of;
  const values = (f: (i: number) => number): number[] => Array.from({ length: spans }, (_, i) => f(i));
  return {
    x0: { unit: 1, values: () => values((i) => i - 0.42 + place * size) },
    size: { unit: 1, values: () => values(() => size * 0.92) },
  };
}

// `named` lists the series below also while no span is pointed at.
export function Chart(props: {
  history: History;
  series: Series[];
  label: string;
  unit: string;
  named: boolean;
}): JSX.Element {
  const { history, series } = props;
  const [element, width] = useWidth();
  const target = useRef<HTMLDivElement>(null);
  const [index, setIndex] = useState<number | null>(null);
  const speaks = useStore(language);
  const [dark, setDark] = useState(0);
  useEffect(() => {
    const query = matchMedia("(prefers-color-scheme: dark)");
    const again = () => setDark((n) => n + 1);
    query.addEventListener("change", again);
    return () => query.removeEventListener("change", again);
  }, []);
  useEffect(() => {
    if (!target.current || width < 50) return undefined;
    const data = [
      history.spans.map((_, i) => i),
      ...series.map((s) => history.spans.map((_, i) => s.values[i] ?? null)),
    ] as uPlot.AlignedData;
    const chart = new uPlot(
      options(history, series, Math.floor(width), target.current, setIndex),
      data,
      target.current,
    );
    return () => chart.destroy();
  }, [history, series, width, dark, speaks]);
  const span = index === null ? undefined : history.spans[index];
  return (
    <figure class="chart" ref={element}>
      <div ref={target} role="img" aria-label={props.label} />
      <figcaption>
        <span class="span">{span ? spanTitle(span, history.spans) : props.unit}</span>
        {(props.named || span) &&
          series.map((s) => (
            <span key={s.name} class={`key ${s.colour.slice(2)}${s.dashed ? " dashed" : ""}`}>
              {s.name}{" "}
              {span && (
                <b>
                  {s.values[index!] === null || s.values[index!] === undefined
                    ? t("history.unwatched")
                    : number(s.values[index!]!)}
                </b>
              )}
            </span>
          ))}
      </figcaption>
    </figure>
  );
}
