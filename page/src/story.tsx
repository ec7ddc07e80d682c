// Why somebody was counted, or not.
import type { JSX } from "preact";
import { useEffect } from "preact/hooks";
import { cameraPath, read } from "./api";
import { path } from "./geometry";
import { Dialog, Failure, useLoaded } from "./parts";
import { clockSeconds, language, said, t } from "./text";
import type { CountEvent, Person, PlaceCamera, Version } from "./types";

export interface StoryOf {
  camera: string;
  track: number;
  at_us: number;
}

export function sentenceOf(event: CountEvent): string {
  const who = event.person ? t(`who.${event.person}`) : t("who.somebody");
  const values = {
    who,
    place: event.place ?? "",
    direction: event.direction_name ?? "",
    n: event.people,
    s: Math.round((event.stay_ms ?? 0) / 1000),
  };
  return t(`event.${event.kind}`, values);
}

export function Story(props: {
  of: StoryOf;
  camera: PlaceCamera | undefined;
  close: () => void;
}): JSX.Element {
  const { camera, track, at_us } = props.of;
  const query = new URLSearchParams({ camera, track: String(track), at_us: String(at_us) });
  const { value, error, reload } = useLoaded(query.toString(), () =>
    read<Person>(`people?${query.toString()}`),
  );
  // There is no story before the track has ended.
  useEffect(() => {
    if (value) return undefined;
    const timer = window.setInterval(reload, 2000);
    return () => window.clearInterval(timer);
  }, [value === null]);
  return (
    <Dialog title={t("story.title")} close={props.close}>
      <Failure error={error} />
      {value && <Told person={value} camera={props.camera} />}
    </Dialog>
  );
}

function outcome(person: Person): string {
  const counts = person.steps
    .filter((step) => step.code === "counted")
    .map((step) => `${step.values.line}: ${step.values.direction}`);
  if (counts.length) return t("story.counted", { where: counts.join(", ") });
  return language.value === "en" ? capital(person.why) : t("story.not_counted");
}

const capital = (text: string): string =>
  text.charAt(0).toUpperCase() + text.slice(1) + (text.endsWith(".") ? "" : ".");

function Told(props: { person: Person; camera: PlaceCamera | undefined }): JSX.Element {
  const { person, camera } = props;
  const { value: version } = useLoaded(person.camera, () =>
    read<Version>(cameraPath(person.camera, "settings")),
  );
  return (
    <>
      <p class="lead">{outcome(person)}</p>
      <p class="quiet">
        {t("story.track", {
          track: String(person.track),
          camera: person.camera,
          from: clockSeconds(person.from),
          to: clockSeconds(person.to),
        })}{" "}
        {!person.ended && t("story.in_view")}
      </p>
      {camera && person.path.length > 1 && (
        <svg
          class="way"
          viewBox={`0 0 ${camera.width} ${camera.height}`}
          role="img"
          aria-label={t("story.way")}
        >
          {version?.settings.region.map((r) => (
            <polygon key={r.name} points={path(r.points)} />
          ))}
          {version?.settings.line.map((l) => (
            <polyline key={l.name} class="line" points={path(l.points)} />
          ))}
          <polyline points={path(person.path)} />
          {person.steps.map(
            (step, i) =>
              step.at && (
                <circle
                  key={i}
                  cx={step.at[0]}
                  cy={step.at[1]}
                  r="9"
                  class={step.code === "counted" ? "counted" : ""}
                />
              ),
          )}
        </svg>
      )}
      <ol class="steps">
        {person.steps.map((step, i) => (
          <li key={i} class={step.code === "counted" ? "counted" : ""}>
            <time>{clockSeconds(step.time)}</time> {said(step)}
          </li>
        ))}
      </ol>
    </>
  );
}
