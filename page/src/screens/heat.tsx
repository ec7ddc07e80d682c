// Where people stayed and where they walked, over the picture of the camera.
import type { JSX } from "preact";
import { useEffect, useRef } from "preact/hooks";
import { cameraPath, read } from "../api";
import { follow } from "../live";
import { Failure, Labelled, Select, useLoaded } from "../parts";
import { Picture } from "../picture";
import { route, setQuery } from "../route";
import { useStore } from "../store";
import { addDays, number, t } from "../text";
import type { Heat, Place } from "../types";

// Dark violet to yellow, from where hardly anybody was to where most were.
const stops = [
  [60, 15, 110],
  [150, 35, 125],
  [225, 80, 75],
  [250, 160, 40],
  [252, 240, 130],
];

function colour(share: number): [number, number, number] {
  const at = share * (stops.length - 1);
  const k = Math.min(stops.length - 2, Math.floor(at));
  const mix = (c: number) => Math.round(stops[k]![c]! + (stops[k + 1]![c]! - stops[k]![c]!) * (at - k));
  return [mix(0), mix(1), mix(2)];
}

// Square roots, because one bench would hide every path beside it.
const share = (value: number, most: number): number => Math.sqrt(value / Math.max(1, most));

function paint(canvas: HTMLCanvasElement, heat: Heat): void {
  const most = Math.max(...heat.cells);
  const image = new ImageData(heat.columns, heat.rows);
  heat.cells.forEach((cell, i) => {
    const part = share(cell, most);
    image.data.set([...colour(part), Math.round(part < 0.04 ? 0 : 90 + 140 * part)], 4 * i);
  });
  const small = document.createElement("canvas");
  small.width = heat.columns;
  small.height = heat.rows;
  small.getContext("2d")!.putImageData(image, 0, 0);
  const context = canvas.getContext("2d")!;
  context.clearRect(0, 0, canvas.width, canvas.height);
  context.imageSmoothingQuality = "high";
  context.drawImage(small, 0, 0, canvas.width, canvas.height);
}

function Layer(props: { heat: Heat; label: string }): JSX.Element {
  const canvas = useRef<HTMLCanvasElement>(null);
  useEffect(() => paint(canvas.current!, props.heat), [props.heat]);
  return (
    <canvas class="heat-layer" ref={canvas} width="960" height="544" role="img" aria-label={props.label} />
  );
}

function amount(heat: Heat, value: number): string {
  if (heat.what === "motion") return t("heat.passages", { n: Math.round(value) });
  return value < 120
    ? t("heat.seconds", { n: Math.round(value) })
    : value < 7200
      ? t("heat.minutes", { n: Math.round(value / 60) })
      : t("heat.hours", { n: Math.round(value / 3600) });
}

function Legend(props: { heat: Heat }): JSX.Element {
  const most = Math.max(...props.heat.cells);
  const steps = [0, 0.25, 0.5, 0.75, 1];
  return (
    <div class="heat-legend">
      {steps.map((part) => (
        <span key={part}>
          <i style={{ background: `rgb(${colour(part).join(",")})` }} />{" "}
          {amount(props.heat, part * part * most)}
        </span>
      ))}
    </div>
  );
}

// The picture in nine parts, for those who do not see it.
function Ninths(props: { heat: Heat }): JSX.Element {
  const { heat } = props;
  const sums = new Array<number>(9).fill(0);
  heat.cells.forEach((cell, i) => {
    const x = Math.floor(((i % heat.columns) * 3) / heat.columns);
    const y = Math.floor((Math.floor(i / heat.columns) * 3) / heat.rows);
    sums[3 * y + x]! += cell;
  });
  const all = Math.max(
    1,
    sums.reduce((a, b) => a + b, 0),
  );
  const columns = [t("heat.left"), t("heat.centre"), t("heat.right")];
  return (
    <table class="ninths">
      <caption>{t("heat.ninths")}</caption>
      <thead>
        <tr>
          <td />
          {columns.map((c) => (
            <th key={c} scope="col" class="number">
              {c}
            </th>
          ))}
        </tr>
      </thead>
      <tbody>
        {[t("heat.top"), t("heat.middle"), t("heat.bottom")].map((name, y) => (
          <tr key={name}>
            <th scope="row">{name}</th>
            {columns.map((c, x) => (
              <td key={c} class="number">
                {number((100 * sums[3 * y + x]!) / all, 0)} %
              </td>
            ))}
          </tr>
        ))}
      </tbody>
    </table>
  );
}

function Words(props: { heat: Heat }): JSX.Element {
  const { heat } = props;
  return (
    <>
      <Legend heat={heat} />
      <p class="quiet">{t("heat.note", { n: heat.hours })}</p>
      <Ninths heat={heat} />
    </>
  );
}

export function HeatScreen(props: { place: Place }): JSX.Element {
  const { place } = props;
  const { query } = useStore(route);
  const camera = place.cameras.find((c) => c.name === query.get("camera")) ?? place.cameras[0];
  useEffect(() => follow(camera?.name ?? null), [camera?.name]);
  const value = (name: string, fallback: string) => query.get(name) ?? fallback;
  const what = value("what", "dwell") as Heat["what"];
  const from = value("from", addDays(place.today, -6));
  const to = value("to", place.today);
  const [first, last] = [value("from_hour", "0"), value("to_hour", "24")];
  const request = new URLSearchParams({ what, from, to, from_hour: first, to_hour: last }).toString();
  const { value: heat, error } = useLoaded(`${camera?.name}?${request}`, () =>
    camera ? read<Heat>(cameraPath(camera.name, `heat?${request}`)) : Promise.resolve(null),
  );
  if (!camera) return <p>{t("live.no_camera")}</p>;
  const set = (name: string, to: string): void => {
    const next = new URLSearchParams(query);
    next.set(name, to);
    setQuery(next);
  };
  const hours = (least: number, most: number) =>
    Array.from({ length: most - least + 1 }, (_, i) => ({
      value: String(least + i),
      text: `${String(least + i).padStart(2, "0")}:00`,
    }));
  return (
    <div class="heat">
      <h1>{t("nav.heat")}</h1>
      <div class="filters">
        {place.cameras.length > 1 && (
          <Select
            label={t("camera")}
            value={camera.name}
            change={(v) => set("camera", v)}
            options={place.cameras.map((c) => ({ value: c.name, text: c.name }))}
          />
        )}
        <Select
          label={t("heat.what")}
          value={what}
          change={(v) => set("what", v)}
          options={(["dwell", "motion"] as const).map((v) => ({ value: v, text: t(`heat.${v}`) }))}
        />
        <Labelled label={t("history.from")}>
          {(ids) => (
            <input
              {...ids}
              type="date"
              value={from}
              max={to}
              onChange={(e) => e.currentTarget.value && set("from", e.currentTarget.value)}
            />
          )}
        </Labelled>
        <Labelled label={t("history.to")}>
          {(ids) => (
            <input
              {...ids}
              type="date"
              value={to}
              min={from}
              onChange={(e) => e.currentTarget.value && set("to", e.currentTarget.value)}
            />
          )}
        </Labelled>
        <Select
          label={t("heat.from_hour")}
          value={first}
          change={(v) => set("from_hour", v)}
          options={hours(0, Number(last) - 1)}
        />
        <Select
          label={t("heat.to_hour")}
          value={last}
          change={(v) => set("to_hour", v)}
          options={hours(Number(first) + 1, 24)}
        />
      </div>
      <Failure error={error} />
      <Picture camera={camera} still>
        {() => heat && <Layer heat={heat} label={t("heat.label", { what: t(`heat.${what}`) })} />}
      </Picture>
      {heat && (heat.cells.some((cell) => cell > 0) ? <Words heat={heat} /> : <p>{t("heat.none")}</p>)}
    </div>
  );
}
