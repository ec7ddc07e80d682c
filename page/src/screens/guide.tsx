// From a camera that was just hung up to three counts that are right, one step after the other.
import type { JSX } from "preact";
import { useEffect, useRef, useState } from "preact/hooks";
import { ask, cameraPath, loadPlace, read } from "../api";
import { Editor } from "../editor/editor";
import { happened } from "../live";
import { Failure, Labelled, Select, useLoaded } from "../parts";
import { Picture } from "../picture";
import { useStore } from "../store";
import { metres, number, said, t } from "../text";
import type { CameraStatus, CountEvent, Place, PlaceCamera, Version } from "../types";
import { Report } from "./report";

const steps = ["source", "picture", "height", "tilt", "line", "walk", "report"] as const;
type Step = (typeof steps)[number];

const walks = 3;
const poll_ms = 1000;
const levelWithin_deg = 0.5;
const most_deg = 15;

export interface Walked {
  line: string;
  events: CountEvent[];
}

// The camera's state, asked again while it is looked at.
function useStatus(camera: string): { status: CameraStatus | null; error: unknown } {
  const { value, error, reload } = useLoaded(camera, () => read<CameraStatus>(cameraPath(camera, "status")));
  useEffect(() => {
    const timer = window.setInterval(reload, poll_ms);
    return () => window.clearInterval(timer);
  }, [camera]);
  return { status: value?.camera === camera ? value : null, error };
}

function Source(props: { status: CameraStatus }): JSX.Element {
  const { status } = props;
  if (status.state !== "online") return <p class="warning">{t("guide.source_none")}</p>;
  return (
    <>
      <p class="good">{t("guide.source_found", { source: status.source })}</p>
      <dl class="values">
        <div>
          <dt>{t("guide.resolution")}</dt>
          <dd>
            {status.width} × {status.height}
          </dd>
        </div>
        <div>
          <dt>{t("guide.rate")}</dt>
          <dd>{t("guide.fps", { n: status.frames_per_second })}</dd>
        </div>
        {status.valid_share !== null && (
          <div>
            <dt>{t("guide.valid")}</dt>
            <dd>{number(100 * status.valid_share, 1)} %</dd>
          </div>
        )}
      </dl>
      {status.notes.map((note) => (
        <p key={note.code} class="warning">
          {said(note)}
        </p>
      ))}
    </>
  );
}

function Height(props: { camera: PlaceCamera; status: CameraStatus }): JSX.Element {
  const { camera, status } = props;
  const [mm, setMm] = useState<number | null>(null);
  const [error, setError] = useState<unknown>(null);
  const [saved, setSaved] = useState(false);
  const value = mm ?? Math.round(status.height_mm ?? status.floor_mm ?? 3000);
  const off = status.floor_mm === null ? 0 : Math.abs(status.floor_mm - value);
  const confirm = async (event: Event): Promise<void> => {
    event.preventDefault();
    setError(null);
    try {
      const { version, settings } = await read<Version>(cameraPath(camera.name, "settings"));
      const known = status.height_from === "source" && Math.round(status.height_mm ?? 0) === value;
      if (settings.height_mm !== value && !known)
        await ask("PUT", cameraPath(camera.name, "settings"), {
          base_version: version,
          name: t("guide.height_version", { height: metres(value) }),
          settings: { ...settings, height_mm: value },
        });
      setSaved(true);
    } catch (e) {
      setError(e);
    }
  };
  return (
    <form onSubmit={(e) => void confirm(e)}>
      {status.measuring !== null ? (
        <p role="status">{t("guide.measuring", { n: Math.round(100 * status.measuring) })}</p>
      ) : (
        <p>
          {status.floor_mm === null
            ? t("guide.floor_none")
            : t("guide.floor", { height: metres(Math.round(status.floor_mm)) })}
        </p>
      )}
      <p class="buttons">
        <button
          type="button"
          disabled={status.measuring !== null}
          onClick={() => void ask("POST", cameraPath(camera.name, "measure")).catch(setError)}
        >
          {t("guide.measure")}
        </button>
      </p>
      <Labelled label={t("guide.height_label")} help={t("guide.height_help")}>
        {(ids) => (
          <span class="together">
            <input
              {...ids}
              type="number"
              min="1500"
              max="15000"
              required
              value={value}
              onInput={(e) => (setSaved(false), setMm(e.currentTarget.valueAsNumber))}
            />
            <span class="unit">mm</span>
          </span>
        )}
      </Labelled>
      {off > 50 && <p class="warning">{t("guide.height_off", { off: number(off, 0) })}</p>}
      <Failure error={error} />
      <p class="buttons">
        <button>{t("guide.height_confirm")}</button>{" "}
        {saved && (
          <span role="status" class="good">
            {t("guide.height_saved")}
          </span>
        )}
      </p>
    </form>
  );
}

function TiltStep(props: { status: CameraStatus }): JSX.Element {
  const { tilt, levelled } = props.status;
  if (!tilt) return <p class="warning">{t("guide.tilt_none")}</p>;
  const size = Math.hypot(tilt.roll_deg, tilt.pitch_deg);
  const text = t("guide.tilt_found", { roll: tilt.roll_deg, pitch: tilt.pitch_deg });
  if (size > most_deg) return <p class="warning">{`${text} ${t("guide.tilt_much")}`}</p>;
  return (
    <p class="good">{`${text} ${t(size < levelWithin_deg || !levelled ? "guide.tilt_level" : "guide.tilt_put_right")}`}</p>
  );
}

function Walk(props: {
  camera: PlaceCamera;
  walked: Walked | null;
  set: (walked: Walked | null) => void;
}): JSX.Element {
  const { camera, walked, set } = props;
  const events = useStore(happened);
  const since = useRef(0);
  const { value } = useLoaded(camera.name, () => read<Version>(cameraPath(camera.name, "settings")));
  const lines = value?.settings.line ?? [];
  const [line, setLine] = useState("");
  const chosen = line || lines[0]?.name || "";
  useEffect(() => {
    if (!walked || walked.events.length >= walks) return;
    const mine = events
      .filter(
        (e) =>
          e.kind === "crossing" &&
          e.camera === camera.name &&
          e.place === walked.line &&
          e.time_us > since.current,
      )
      .reverse();
    if (mine.length !== walked.events.length) set({ ...walked, events: mine.slice(0, walks) });
  }, [events]);
  if (value && !lines.length) return <p class="warning">{t("guide.walk_no_line")}</p>;
  const begin = (): void => {
    since.current = Math.max(0, ...events.map((e) => e.time_us));
    set({ line: chosen, events: [] });
  };
  return (
    <>
      <p>{t("guide.walk_how", { n: walks })}</p>
      <Picture camera={camera} />
      {lines.length > 1 && (
        <Select
          label={t("history.line")}
          value={chosen}
          change={setLine}
          options={lines.map((l) => ({ value: l.name, text: l.name }))}
        />
      )}
      {walked && (
        <ol class="walks" aria-live="polite">
          {Array.from({ length: walks }, (_, i) => (
            <li key={i} class={walked.events[i] ? "done" : ""}>
              {walked.events[i]
                ? t("guide.walk_counted", { direction: walked.events[i]!.direction_name ?? "" })
                : t("guide.walk_waiting")}
            </li>
          ))}
        </ol>
      )}
      {walked && walked.events.length >= walks && <p class="good">{t("guide.walk_done")}</p>}
      <p class="buttons">
        <button type="button" onClick={begin} disabled={!chosen}>
          {walked ? t("guide.walk_again") : t("guide.walk_begin")}
        </button>
      </p>
    </>
  );
}

export function Guide(props: { place: Place; camera: PlaceCamera }): JSX.Element {
  const { place, camera } = props;
  const [step, setStep] = useState<Step>("source");
  const [walked, setWalked] = useState<Walked | null>(null);
  const [error, setError] = useState<unknown>(null);
  const { status, error: unread } = useStatus(camera.name);
  const heading = useRef<HTMLHeadingElement>(null);
  const at = steps.indexOf(step);
  const go = (to: number): void => {
    setStep(steps[to]!);
    window.setTimeout(() => heading.current?.focus(), 0);
  };
  const next = (): void => {
    setError(null);
    if (step !== "walk" || !walked) return go(at + 1);
    const note = { line: walked.line, walked: walks, counted: walked.events.length };
    ask("PUT", cameraPath(camera.name, "commissioned"), note).then(() => (go(at + 1), loadPlace()), setError);
    return undefined;
  };
  const waits =
    (step === "source" && status?.state !== "online") ||
    (step === "walk" && (walked?.events.length ?? 0) < walks);
  return (
    <div class="guide">
      <ol class="progress">
        {steps.map((name, i) => (
          <li key={name} class={i < at ? "done" : ""} aria-current={name === step ? "step" : undefined}>
            <button type="button" class="text" onClick={() => go(i)}>
              {t(`guide.${name}`)}
            </button>
          </li>
        ))}
      </ol>
      <section class="step">
        <h2 tabIndex={-1} ref={heading}>
          {t(`guide.${step}`)}
        </h2>
        <Failure error={unread} />
        {status && step === "source" && <Source status={status} />}
        {step === "picture" && (
          <>
            <p>{t("guide.picture_look")}</p>
            <Picture camera={camera} />
          </>
        )}
        {status && step === "height" && <Height camera={camera} status={status} />}
        {status && step === "tilt" && <TiltStep status={status} />}
        {step === "line" && (
          <>
            <p>{t("guide.line_how")}</p>
            <Editor camera={camera} others={[]} />
          </>
        )}
        {step === "walk" && <Walk camera={camera} walked={walked} set={setWalked} />}
        {status && step === "report" && (
          <Report place={place} camera={camera} status={status} walked={walked} />
        )}
        <Failure error={error} />
      </section>
      <p class="buttons steps-bar">
        {at > 0 && (
          <button type="button" onClick={() => go(at - 1)}>
            {t("guide.back")}
          </button>
        )}
        {at + 1 < steps.length && (
          <button type="button" class="main" disabled={waits} onClick={next}>
            {t("guide.next")}
          </button>
        )}
        {step === "walk" && waits && (
          <button type="button" class="plain" onClick={() => go(at + 1)}>
            {t("guide.skip_walk")}
          </button>
        )}
      </p>
    </div>
  );
}
