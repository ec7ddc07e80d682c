// The drawing over the picture: pointer and keys on lines and areas.
import type { JSX } from "preact";
import { useEffect, useRef, useState } from "preact/hooks";
import { arrowAt, between, directionNames, distance, moved, path, pieces, wayWord } from "../geometry";
import { AreaMark, LineMark } from "../marks";
import { t } from "../text";
import type { PlaceCamera, Point, Settings, ShapeKind } from "../types";
import type { Draft } from "./draft";
import * as model from "./model";
import type { Selection } from "./model";

export type Tool = "select" | ShapeKind;

interface Props {
  camera: PlaceCamera;
  draft: Draft;
  settings: Settings;
  zones: Point[][];
  tool: Tool;
  setTool: (tool: Tool) => void;
  selection: Selection | null;
  select: (selection: Selection | null) => void;
  faulty: (kind: ShapeKind, index: number) => boolean;
  unit: number;
}

interface Drag {
  of: Selection;
  start: Point;
  settings: Settings; // before it began
  name: string;
  moved: boolean;
}

const snap_px = 9;
const begins_px = 4;
let drags = 0;

const words = () => ({ line: t("editor.line_word"), region: t("editor.region_word") });

// A shape in words, for whoever tabs to it.
function describe(settings: Settings, kind: ShapeKind, index: number): string {
  const n = model.pointsOf(settings, { kind, index }).length;
  if (kind === "exclude") return t("editor.exclude_label", { i: index + 1, n });
  if (kind === "region") return t("editor.region_label", { name: settings.region[index]!.name, n });
  const line = settings.line[index]!;
  if (kind === "area") return t("editor.area_label", { name: line.name, n });
  const names = directionNames(line);
  return t("editor.line_label", {
    name: line.name,
    n,
    one: names[0],
    way: t(`way.${wayWord(arrowAt(line, 0.36, 1).way)}`),
    two: names[1],
  });
}

export function DrawingCanvas(props: Props): JSX.Element {
  const { camera, draft, settings, tool, selection, unit } = props;
  const svg = useRef<SVGSVGElement>(null);
  const drag = useRef<Drag | null>(null);
  const pressed = useRef<Point | null>(null);
  // A captured pointer makes the drawing itself the target of clicks, so what was hit is kept.
  const clicked = useRef<Selection | null>(null);
  const [drawn, setDrawn] = useState<Point[]>([]);
  const [cursor, setCursor] = useState<Point | null>(null);
  useEffect(() => {
    setDrawn([]);
    setCursor(null);
    if (tool !== "select") svg.current?.focus();
  }, [tool]);

  const at = (event: PointerEvent | MouseEvent): Point => {
    const box = svg.current!.getBoundingClientRect();
    return [
      ((event.clientX - box.left) / box.width) * camera.width,
      ((event.clientY - box.top) / box.height) * camera.height,
    ];
  };
  const fitted = (p: Point, of: Selection | null, neighbours: Point[], free: boolean): Point =>
    model.clamped(free ? p : model.snapped(p, settings, of, neighbours, snap_px * unit), camera);

  const finish = (points: Point[]): void => {
    setDrawn([]);
    setCursor(null);
    props.setTool("select");
    if (tool === "select" || points.length < model.leastPoints(tool)) return;
    const result = model.added(settings, tool, points, words(), selection?.index ?? 0);
    draft.change(result.settings);
    props.select(result.at);
  };

  const place = (p: Point): void => {
    if (tool === "select") return;
    const last = drawn[drawn.length - 1];
    const first = drawn[0];
    if (last && distance(last, p) < 2) return;
    if (first && model.isClosed(tool) && drawn.length > 2 && distance(first, p) < 2 * snap_px * unit)
      return finish(drawn);
    const points = [...drawn, p];
    if (points.length === model.mostPoints(tool)) finish(points);
    else setDrawn(points);
  };

  const down = (event: PointerEvent): void => {
    if (event.button !== 0) return;
    const p = at(event);
    svg.current!.setPointerCapture(event.pointerId);
    if (tool !== "select") {
      event.preventDefault();
      pressed.current = p;
      place(fitted(p, null, drawn.slice(-1), event.altKey));
      return;
    }
    const target = (event.target as Element).closest<SVGElement>("[data-kind]");
    clicked.current = null;
    if (!target) return props.select(null);
    const { kind, index, point, after } = target.dataset;
    let of: Selection = {
      kind: kind as ShapeKind,
      index: Number(index),
      point: point === undefined ? null : Number(point),
    };
    let begin = settings;
    const name = `drag ${++drags}`;
    if (after !== undefined) {
      const inserted = model.withInserted(settings, of, Number(after), model.clamped(p, camera));
      if (!inserted) return;
      of = { ...of, point: Number(after) + 1 };
      draft.change(inserted, name);
      begin = inserted;
    }
    clicked.current = of;
    props.select(of);
    drag.current = { of, start: p, settings: begin, name, moved: after !== undefined };
  };

  const move = (event: PointerEvent): void => {
    const p = at(event);
    if (tool !== "select") return setCursor(fitted(p, null, drawn.slice(-1), event.altKey));
    const d = drag.current;
    if (!d) return;
    if (!d.moved && distance(d.start, p) < begins_px * unit) return;
    d.moved = true;
    const points = model.pointsOf(d.settings, d.of);
    const by: Point = [p[0] - d.start[0], p[1] - d.start[1]];
    const next =
      d.of.point === null
        ? model.shifted(points, by[0], by[1], camera)
        : points.map((q, i) =>
            i === d.of.point
              ? fitted(
                  moved(q, by[0], by[1]),
                  d.of,
                  model.neighboursOf(points, i, model.isClosed(d.of.kind)),
                  event.altKey,
                )
              : q,
          );
    draft.change(model.withPoints(d.settings, d.of, next), d.name);
  };

  const up = (event: PointerEvent): void => {
    drag.current = null;
    const began = pressed.current;
    pressed.current = null;
    if (tool === "select" || !began) return;
    // A line may also be pulled from one end to the other.
    const p = at(event);
    if (tool === "line" && drawn.length === 1 && distance(began, p) > 20 * unit)
      finish([drawn[0]!, fitted(p, null, drawn, event.altKey)]);
  };

  const twice = (event: MouseEvent): void => {
    if (tool !== "select") return finish(drawn);
    const of = clicked.current;
    if (!of || of.point !== null) return;
    const p = at(event);
    const after = model.nearestPiece(model.pointsOf(settings, of), model.isClosed(of.kind), p);
    const inserted = model.withInserted(settings, of, after, model.clamped(p, camera));
    if (!inserted) return;
    draft.change(inserted);
    props.select({ ...of, point: after + 1 });
  };

  const drawingKey = (event: KeyboardEvent): boolean => {
    if (event.key === "Escape") {
      setDrawn([]);
      props.setTool("select");
      return true;
    }
    if (event.key === "Enter") {
      finish(drawn);
      return true;
    }
    const now = cursor ?? ([camera.width / 2, camera.height / 2] as Point);
    if (event.key === " ") {
      place(model.clamped(now, camera));
      setCursor(now);
      return true;
    }
    const way = arrows[event.key];
    if (!way) return false;
    const step = event.shiftKey ? 2 : 20;
    setCursor(model.clamped(moved(now, way[0] * step, way[1] * step), camera));
    return true;
  };

  const selectionKey = (event: KeyboardEvent): boolean => {
    if (event.key === "Escape" && drag.current) {
      if (drag.current.moved) draft.undo();
      drag.current = null;
      return true;
    }
    if (!selection) return false;
    const points = model.pointsOf(settings, selection);
    const way = arrows[event.key];
    if (way) {
      const step = event.shiftKey ? 10 : 1;
      const next =
        selection.point === null
          ? model.shifted(points, way[0] * step, way[1] * step, camera)
          : points.map((q, i) =>
              i === selection.point ? model.clamped(moved(q, way[0] * step, way[1] * step), camera) : q,
            );
      draft.change(
        model.withPoints(settings, selection, next),
        `keys ${selection.kind} ${selection.index} ${selection.point}`,
      );
      return true;
    }
    if (event.key === "Delete" || event.key === "Backspace") {
      const left =
        selection.point === null
          ? model.removed(settings, selection)
          : model.withoutPoint(settings, selection);
      if (left) {
        draft.change(left);
        props.select(selection.point === null ? null : { ...selection, point: null });
        svg.current?.focus();
      }
      return true;
    }
    if (event.key === "Insert" || event.key === "+") {
      const after = Math.min(selection.point ?? 0, points.length - (model.isClosed(selection.kind) ? 1 : 2));
      const inserted = model.withInserted(
        settings,
        selection,
        after,
        model.clamped(between(points[after]!, points[(after + 1) % points.length]!, 0.5), camera),
      );
      if (inserted) {
        draft.change(inserted);
        props.select({ ...selection, point: after + 1 });
      }
      return true;
    }
    if (event.key === "f" && selection.kind === "line" && !event.ctrlKey && !event.metaKey) {
      draft.change(model.flipped(settings, selection.index));
      return true;
    }
    return false;
  };

  const key = (event: KeyboardEvent): void => {
    if (tool === "select" ? selectionKey(event) : drawingKey(event)) event.preventDefault();
  };

  const isSelected = (kind: ShapeKind, index: number): boolean =>
    selection?.kind === kind && selection.index === index;
  const shape = (kind: ShapeKind, index: number, mark: JSX.Element): JSX.Element => {
    const points = model.pointsOf(settings, { kind, index });
    return (
      <g
        key={`${kind}${index}`}
        class={`shape ${isSelected(kind, index) ? "selected" : ""} ${props.faulty(kind, index) ? "faulty" : ""}`}
      >
        <g aria-hidden="true">{mark}</g>
        <g
          data-kind={kind}
          data-index={index}
          tabindex={0}
          role="button"
          aria-pressed={isSelected(kind, index)}
          aria-label={describe(settings, kind, index)}
          onFocus={() =>
            !drag.current && !isSelected(kind, index) && props.select({ kind, index, point: null })
          }
        >
          {kind === "line" ? (
            <polyline class="hit" points={path(points)} stroke-width={22 * unit} />
          ) : (
            <polygon class="hit" points={path(points)} stroke-width={14 * unit} />
          )}
        </g>
      </g>
    );
  };

  const all = [
    ...settings.exclude.map((e, i) =>
      shape(
        "exclude",
        i,
        <AreaMark kind="exclude" points={e.points} unit={unit} selected={isSelected("exclude", i)} />,
      ),
    ),
    ...settings.region.map((r, i) =>
      shape(
        "region",
        i,
        <AreaMark
          kind="region"
          points={r.points}
          text={r.name}
          unit={unit}
          selected={isSelected("region", i)}
        />,
      ),
    ),
    ...settings.line.flatMap((l, i) =>
      l.area?.length
        ? [
            shape(
              "area",
              i,
              <AreaMark kind="area" points={l.area} unit={unit} selected={isSelected("area", i)} />,
            ),
          ]
        : [],
    ),
    ...settings.line.map((l, i) =>
      shape(
        "line",
        i,
        <LineMark line={l} texts={directionNames(l)} unit={unit} selected={isSelected("line", i)} />,
      ),
    ),
  ];
  const rubber = cursor && tool !== "select" ? [...drawn, cursor] : drawn;
  return (
    <svg
      ref={svg}
      class={`marks editing ${tool === "select" ? "" : "drawing"}`}
      viewBox={`0 0 ${camera.width} ${camera.height}`}
      tabindex={0}
      role="application"
      aria-label={t("editor.canvas", { camera: camera.name })}
      aria-describedby="editor-hint"
      onPointerDown={down}
      onPointerMove={move}
      onPointerUp={up}
      onPointerCancel={() => (drag.current = null)}
      onDblClick={twice}
      onKeyDown={key}
    >
      {props.zones.map((zone, i) => (
        <polygon key={i} class="zone" points={path(zone)} stroke-width={unit} />
      ))}
      {all}
      {tool === "select" && selection && (
        <Handles settings={settings} selection={selection} unit={unit} select={props.select} />
      )}
      {rubber.length > 0 && <polyline class="rubber" points={path(rubber)} stroke-width={2 * unit} />}
      {rubber.map((p, i) => (
        <circle key={i} class="rubber" cx={p[0]} cy={p[1]} r={5 * unit} stroke-width={2 * unit} />
      ))}
    </svg>
  );
}

const arrows: Record<string, Point> = {
  ArrowUp: [0, -1],
  ArrowDown: [0, 1],
  ArrowLeft: [-1, 0],
  ArrowRight: [1, 0],
};

// The points of the selected shape, and between them the places of new ones.
function Handles(props: {
  settings: Settings;
  selection: Selection;
  unit: number;
  select: (s: Selection) => void;
}): JSX.Element {
  const { settings, selection, unit } = props;
  const { kind, index } = selection;
  const points = model.pointsOf(settings, selection);
  const data = { "data-kind": kind, "data-index": index };
  const more = points.length < model.mostPoints(kind);
  return (
    <g class="handles">
      {more &&
        pieces(points, model.isClosed(kind))
          .filter(([a, b]) => distance(a, b) > 50 * unit)
          .map(([a, b], i) => {
            const [x, y] = between(a, b, 0.5);
            return (
              <g key={`m${i}`} class="between" {...data} data-after={i} aria-hidden="true">
                <circle class="hit" cx={x} cy={y} r={14 * unit} />
                <circle cx={x} cy={y} r={6 * unit} stroke-width={1.5 * unit} />
                <path
                  d={`M${x - 3 * unit},${y}h${6 * unit}M${x},${y - 3 * unit}v${6 * unit}`}
                  stroke-width={1.5 * unit}
                />
              </g>
            );
          })}
      {points.map(([x, y], i) => (
        <g
          key={i}
          class={selection.point === i ? "point chosen" : "point"}
          {...data}
          data-point={i}
          tabindex={0}
          role="button"
          aria-pressed={selection.point === i}
          aria-label={t("editor.point", { i: i + 1, x, y })}
          onFocus={() => selection.point !== i && props.select({ ...selection, point: i })}
        >
          <circle class="hit" cx={x} cy={y} r={16 * unit} />
          <circle cx={x} cy={y} r={7 * unit} stroke-width={2 * unit} />
        </g>
      ))}
    </g>
  );
}
