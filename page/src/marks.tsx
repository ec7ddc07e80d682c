// Lines and areas over a picture. `unit` is one CSS pixel in pixels of the picture, so that strokes
// and letters keep their size on every screen.
import type { JSX } from "preact";
import { arrowAt, middle, path } from "./geometry";
import type { Direction, Line, Point } from "./types";

function Arrow(props: { line: Line; direction: Direction; text: string; unit: number }): JSX.Element {
  const { line, direction, unit } = props;
  const { at, way } = arrowAt(line, direction === 1 ? 0.36 : 0.64, direction);
  const tip: Point = [at[0] + way[0] * 26 * unit, at[1] + way[1] * 26 * unit];
  const back = (side: number): Point => [
    tip[0] - (way[0] * 9 - side * way[1] * 6) * unit,
    tip[1] - (way[1] * 9 + side * way[0] * 6) * unit,
  ];
  const anchor = way[0] > 0.5 ? "start" : way[0] < -0.5 ? "end" : "middle";
  const y = tip[1] + (Math.abs(way[0]) > 0.5 ? 5 : way[1] > 0 ? 17 : -7) * unit;
  return (
    <g class={direction === 1 ? "one" : "two"}>
      <polyline class="halo" points={path([at, tip])} stroke-width={5 * unit} />
      <polyline class="stroke" points={path([at, tip])} stroke-width={2.5 * unit} />
      <polygon
        class="fill"
        points={path([[tip[0] + way[0] * 4 * unit, tip[1] + way[1] * 4 * unit], back(1), back(-1)])}
      />
      <text
        x={tip[0] + way[0] * 8 * unit}
        y={y}
        text-anchor={anchor}
        font-size={13 * unit}
        stroke-width={3.5 * unit}
      >
        {props.text}
      </text>
    </g>
  );
}

// `texts` stand at the arrows of direction 1 and 2.
export function LineMark(props: {
  line: Line;
  texts: [string, string];
  unit: number;
  selected?: boolean;
}): JSX.Element {
  const { line, unit } = props;
  const width = props.selected ? 4 : 3;
  return (
    <g class="line">
      <polyline class="halo" points={path(line.points)} stroke-width={(width + 2.5) * unit} />
      <polyline class="stroke" points={path(line.points)} stroke-width={width * unit} />
      {line.points.length > 1 &&
        ([1, 2] as Direction[]).map((d) => (
          <Arrow key={d} line={line} direction={d} text={props.texts[d - 1]!} unit={unit} />
        ))}
    </g>
  );
}

export function AreaMark(props: {
  kind: "area" | "region" | "exclude";
  points: Point[];
  text?: string;
  unit: number;
  selected?: boolean;
}): JSX.Element {
  const { points, unit } = props;
  const at = middle(points);
  const dashes = props.kind === "area" ? `${6 * unit} ${5 * unit}` : undefined;
  return (
    <g class={props.kind}>
      <polygon
        class="surface"
        points={path(points)}
        stroke-width={(props.selected ? 3 : 1.5) * unit}
        stroke-dasharray={dashes}
      />
      {props.text && (
        <text
          x={at[0]}
          y={at[1] + 5 * unit}
          text-anchor="middle"
          font-size={13 * unit}
          stroke-width={3.5 * unit}
        >
          {props.text}
        </text>
      )}
    </g>
  );
}
