// The list of lines and areas, with everything that can be set about the selected one; the same by
// numbers that can be drawn.
import type { JSX } from "preact";
import { arrowAt, directionNames, wayWord } from "../geometry";
import { Labelled } from "../parts";
import { t } from "../text";
import type { Direction, PlaceCamera, Point, Settings, ShapeKind } from "../types";
import type { Tool } from "./canvas";
import type { Draft } from "./draft";
import * as model from "./model";
import type { Selection } from "./model";

interface Props {
  camera: PlaceCamera;
  draft: Draft;
  settings: Settings;
  selection: Selection | null;
  select: (selection: Selection | null) => void;
  setTool: (tool: Tool) => void;
}

function Points(props: Props & { of: Selection }): JSX.Element {
  const { draft, settings, of, camera } = props;
  const points = model.pointsOf(settings, of);
  const set = (i: number, p: Point): void =>
    draft.change(
      model.withPoints(
        settings,
        of,
        points.map((q, k) => (k === i ? model.clamped(p, camera) : q)),
      ),
      `number ${of.kind} ${of.index} ${i}`,
    );
  const input = (i: number, axis: 0 | 1): JSX.Element => {
    const p = points[i]!;
    return (
      <input
        type="number"
        aria-label={t(axis === 0 ? "editor.x_of" : "editor.y_of", { i: i + 1 })}
        min="0"
        max={(axis === 0 ? camera.width : camera.height) - 1}
        step="any"
        value={Math.round(10 * p[axis]) / 10}
        onChange={(e) =>
          Number.isFinite(e.currentTarget.valueAsNumber) &&
          set(i, axis === 0 ? [e.currentTarget.valueAsNumber, p[1]] : [p[0], e.currentTarget.valueAsNumber])
        }
      />
    );
  };
  return (
    <table class="points">
      <caption>{t("editor.points")}</caption>
      <tbody>
        {points.map((_, i) => (
          <tr key={i} class={of.point === i ? "chosen" : ""}>
            <th scope="row">{i + 1}</th>
            <td>{input(i, 0)}</td>
            <td>{input(i, 1)}</td>
            <td>
              <button
                type="button"
                class="plain"
                aria-label={t("editor.delete_point", { i: i + 1 })}
                disabled={points.length <= model.leastPoints(of.kind)}
                onClick={() => {
                  const left = model.withoutPoint(settings, { ...of, point: i });
                  if (left) draft.change(left);
                  props.select({ ...of, point: null });
                }}
              >
                ✕
              </button>
            </td>
          </tr>
        ))}
      </tbody>
    </table>
  );
}

function LineFields(props: Props & { index: number }): JSX.Element {
  const { draft, settings, index } = props;
  const line = settings.line[index]!;
  const names = directionNames(line);
  const word = (d: Direction) => t(`way.${wayWord(arrowAt(line, 0.5, d).way)}`);
  return (
    <>
      {([1, 2] as Direction[]).map((d) => (
        <Labelled key={d} label={t("editor.direction", { way: word(d) })}>
          {(ids) => (
            <input
              {...ids}
              class={d === 1 ? "one" : "two"}
              maxLength={60}
              value={names[d - 1]}
              onInput={(e) =>
                draft.change(
                  model.withDirections(
                    settings,
                    index,
                    d === 1 ? [e.currentTarget.value, names[1]] : [names[0], e.currentTarget.value],
                  ),
                  `direction ${index} ${d}`,
                )
              }
            />
          )}
        </Labelled>
      ))}
      <p class="buttons">
        <button type="button" onClick={() => draft.change(model.flipped(settings, index))}>
          {t("editor.flip")}
        </button>
      </p>
      <label class="check">
        <input
          type="checkbox"
          checked={Boolean(line.uturn)}
          onChange={(e) => draft.change(model.withUturn(settings, index, e.currentTarget.checked))}
        />{" "}
        {t("editor.uturn")}
      </label>
      {line.uturn && !line.area?.length && (
        <p class="buttons">
          <button type="button" onClick={() => props.setTool("area")}>
            {t("editor.draw_area")}
          </button>
        </p>
      )}
    </>
  );
}

const nameOf = (settings: Settings, kind: ShapeKind, index: number): string =>
  kind === "exclude"
    ? t("editor.exclude_name", { i: index + 1 })
    : kind === "area"
      ? t("editor.area_name", { name: settings.line[index]!.name })
      : settings[kind][index]!.name;

function Item(props: Props & { kind: ShapeKind; index: number }): JSX.Element {
  const { settings, selection, draft, kind, index } = props;
  const of: Selection = { kind, index, point: null };
  const open = selection?.kind === kind && selection.index === index;
  return (
    <li class={open ? "open" : ""}>
      <button type="button" class="text" aria-expanded={open} onClick={() => props.select(open ? null : of)}>
        <i class={`mark ${kind}`} aria-hidden="true" /> {nameOf(settings, kind, index)}{" "}
        <small>{t(`kind_of.${kind}`)}</small>
      </button>
      {open && (
        <div class="properties">
          {(kind === "line" || kind === "region") && (
            <Labelled label={t("editor.name")}>
              {(ids) => (
                <input
                  {...ids}
                  maxLength={60}
                  value={settings[kind][index]!.name}
                  onInput={(e) =>
                    draft.change(model.withName(settings, of, e.currentTarget.value), `name ${kind} ${index}`)
                  }
                />
              )}
            </Labelled>
          )}
          {kind === "line" && <LineFields {...props} index={index} />}
          <Points {...props} of={{ ...selection }} />
          <p class="buttons">
            <button
              type="button"
              class="plain"
              onClick={() => {
                draft.change(model.removed(settings, of));
                props.select(null);
              }}
            >
              {t("editor.delete", { name: nameOf(settings, kind, index) })}
            </button>
          </p>
        </div>
      )}
    </li>
  );
}

export function Panel(props: Props): JSX.Element {
  const { settings } = props;
  const items: [ShapeKind, number][] = [
    ...settings.line.flatMap((l, i): [ShapeKind, number][] =>
      l.area?.length
        ? [
            ["line", i],
            ["area", i],
          ]
        : [["line", i]],
    ),
    ...settings.region.map((_, i): [ShapeKind, number] => ["region", i]),
    ...settings.exclude.map((_, i): [ShapeKind, number] => ["exclude", i]),
  ];
  if (!items.length) return <p class="quiet">{t("editor.empty")}</p>;
  return (
    <ul class="shapes">
      {items.map(([kind, index]) => (
        <Item key={`${kind}${index}`} {...props} kind={kind} index={index} />
      ))}
    </ul>
  );
}
