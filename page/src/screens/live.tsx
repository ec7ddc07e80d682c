// Does it work, how many today, how many inside, what happened last.
import type { JSX } from "preact";
import { useEffect, useMemo, useState } from "preact/hooks";
import { cameraPath, read } from "../api";
import { path } from "../geometry";
import { changed, connection, counts, follow, happened, health } from "../live";
import { AreaMark, LineMark } from "../marks";
import { Dialog, useLoaded } from "../parts";
import { Picture } from "../picture";
import { go, link, route } from "../route";
import { useStore } from "../store";
import { sentenceOf, Story, type StoryOf } from "../story";
import { clock, duration, metres, moment, number, said, t } from "../text";
import type {
  CountEvent,
  Direction,
  LiveCounts,
  LiveFrame,
  LivePerson,
  Place,
  PlaceCamera,
  Settings,
  Version,
} from "../types";

export function HealthSentence(): JSX.Element {
  const now = useStore(health);
  const link = useStore(connection);
  if (link === "lost") return <p class="health failed">{t("health.unknown")}</p>;
  if (!now) return <p class="health">{t("health.waiting")}</p>;
  const worst = now.problems.find((p) => p.level === now.level) ?? now.problems[0];
  const online = now.cameras.filter((c) => c.state === "online").length;
  return (
    <p class={`health ${now.level}`}>
      {worst
        ? `${said(worst)} ${t("health.since", { time: moment(worst.since) })}`
        : t("health.ok", { n: online })}
      {now.problems.length > 1 && ` ${t("health.more", { n: now.problems.length - 1 })}`}
    </p>
  );
}

function Figure(props: { label: string; value: string; note?: string; full?: boolean }): JSX.Element {
  return (
    <div class={props.full ? "figure full" : "figure"}>
      <dt>{props.label}</dt>
      <dd>
        <b>{props.value}</b> {props.note && <small>{props.note}</small>}
      </dd>
    </div>
  );
}

function Figures(props: { now: LiveCounts; last: CountEvent | undefined }): JSX.Element {
  const { now, last } = props;
  return (
    <dl class="figures">
      <Figure label={t("live.visitors")} value={now.visitors === null ? "–" : number(now.visitors)} />
      {now.areas.map((area) => (
        <Figure
          key={area.area}
          label={t("live.inside", { area: area.area })}
          value={number(area.inside)}
          note={
            area.capacity === null
              ? undefined
              : t(area.level === "full" ? "live.full" : "live.of", { n: area.capacity })
          }
          full={area.level === "full"}
        />
      ))}
      <Figure
        label={t("live.last")}
        value={last ? clock(last.time) : "–"}
        note={last ? `${sentenceOf(last)}` : t("live.nothing")}
      />
    </dl>
  );
}

// Bars of today's hours, with a table for those who do not see them.
export function Hours(props: { hours: LiveCounts["hours"] }): JSX.Element {
  const most = Math.max(1, ...props.hours.map((h) => h.people ?? 0));
  const watched = props.hours.filter((h) => h.people !== null);
  return (
    <section>
      <h2>{t("live.hours")}</h2>
      <svg
        class="hours"
        viewBox={`0 0 ${props.hours.length * 10} 60`}
        preserveAspectRatio="none"
        aria-hidden="true"
      >
        {props.hours.map((h, i) => {
          const high = ((h.people ?? 0) / most) * 56;
          return h.people === null ? (
            <rect key={i} class="none" x={i * 10 + 1.5} y="58" width="7" height="2" />
          ) : (
            <rect key={i} x={i * 10 + 1.5} y={60 - high} width="7" height={high} />
          );
        })}
      </svg>
      <p class="scale" aria-hidden="true">
        {["0", "6", "12", "18", "24"].map((h) => (
          <span key={h}>{h}</span>
        ))}
      </p>
      <div class="hidden">
        <table>
          <caption>{t("live.hours")}</caption>
          <tbody>
            {watched.map((h) => (
              <tr key={h.label}>
                <th scope="row">{h.label}</th>
                <td>{h.people}</td>
              </tr>
            ))}
          </tbody>
        </table>
      </div>
    </section>
  );
}

function PersonMark(props: { person: LivePerson; unit: number; open: () => void }): JSX.Element {
  const { person: p, unit } = props;
  return (
    <g class={p.staff ? "person staff" : "person"} onClick={props.open}>
      <polyline points={path(p.trail)} stroke-width={2 * unit} />
      <circle cx={p.foot[0]} cy={p.foot[1]} r={4 * unit} />
      <rect x={p.x} y={p.y} width={p.w} height={p.h} rx={8 * unit} stroke-width={2 * unit} />
    </g>
  );
}

function Overlay(props: {
  shown: LiveFrame;
  settings: Settings;
  camera: PlaceCamera;
  now: LiveCounts | null;
  unit: number;
  open: (of: StoryOf) => void;
}): JSX.Element {
  const { shown, settings, camera, now, unit } = props;
  const count = (line: string, direction: Direction): string => {
    const found = now?.lines
      .find((l) => l.camera === camera.name && l.line === line)
      ?.directions.find((d) => d.direction === direction);
    return found ? `${found.name} ${number(found.people)}` : "";
  };
  const inside = (region: string): string => {
    const people = shown.people.filter((p) => p.region === region);
    const longest = Math.max(0, ...people.map((p) => p.stay_ms));
    return people.length ? `${region} ${people.length} · ${duration(longest)}` : `${region} 0`;
  };
  return (
    <svg
      class="marks"
      viewBox={`0 0 ${camera.width} ${camera.height}`}
      data-frame={shown.frame}
      aria-hidden="true"
    >
      {settings.region.map((r) => (
        <AreaMark key={r.name} kind="region" points={r.points} text={inside(r.name)} unit={unit} />
      ))}
      {shown.people.map((p) => (
        <PersonMark
          key={p.track}
          person={p}
          unit={unit}
          open={() => props.open({ camera: camera.name, track: p.track, at_us: shown.time_us })}
        />
      ))}
      {settings.line.map((l) => (
        <LineMark key={l.name} line={l} texts={[count(l.name, 1), count(l.name, 2)]} unit={unit} />
      ))}
    </svg>
  );
}

// Once a second is often enough to read; a table that changes 15 times a second is not.
function useSlow<T>(value: T, ms: number): T {
  const [slow, setSlow] = useState(value);
  const latest = useMemo(() => ({ value }), []);
  latest.value = value;
  useEffect(() => {
    const timer = window.setInterval(() => setSlow(latest.value), ms);
    return () => window.clearInterval(timer);
  }, [ms]);
  return slow;
}

function InView(props: { people: LivePerson[]; open: (track: number) => void }): JSX.Element {
  const people = useSlow(props.people, 1000);
  return (
    <details class="in-view">
      <summary>{t("live.in_view", { n: people.length })}</summary>
      <table>
        <thead>
          <tr>
            <th scope="col">{t("live.person")}</th>
            <th scope="col">{t("live.height")}</th>
            <th scope="col">{t("live.where")}</th>
          </tr>
        </thead>
        <tbody>
          {people.map((p) => (
            <tr key={p.track}>
              <td>
                <button type="button" class="text" onClick={() => props.open(p.track)}>
                  {t(p.staff ? "live.staff_number" : "live.person_number", { n: String(p.track) })}
                </button>
              </td>
              <td>{p.height_mm === null ? "–" : metres(p.height_mm)}</td>
              <td>{p.region ? `${p.region}, ${duration(p.stay_ms)}` : "–"}</td>
            </tr>
          ))}
        </tbody>
      </table>
    </details>
  );
}

interface CountOf {
  camera: string;
  line: string;
  direction: Direction;
  name: string;
}

function Lines(props: { now: LiveCounts; open: (of: CountOf) => void }): JSX.Element | null {
  if (!props.now.lines.length)
    return (
      <section>
        <h2>{t("live.lines")}</h2>
        <p>
          {t("live.no_line")} <a href={link("setup")}>{t("live.to_setup")}</a>
        </p>
      </section>
    );
  const several = new Set(props.now.lines.map((l) => l.camera)).size > 1;
  return (
    <section>
      <h2>{t("live.lines")}</h2>
      <table class="counts">
        <tbody>
          {props.now.lines.map((l) => (
            <tr key={l.camera + l.line}>
              <th scope="row">
                {l.line} {several && <small>{l.camera}</small>}
              </th>
              {l.directions.map((d) => (
                <td key={d.direction} class={d.direction === 1 ? "one" : "two"}>
                  <button
                    type="button"
                    class="text"
                    onClick={() => props.open({ camera: l.camera, line: l.line, ...d })}
                  >
                    {d.name} <b>{number(d.people)}</b>
                  </button>
                </td>
              ))}
            </tr>
          ))}
        </tbody>
      </table>
    </section>
  );
}

function RegionTable(props: { now: LiveCounts }): JSX.Element | null {
  if (!props.now.regions.length) return null;
  const several = new Set(props.now.regions.map((r) => r.camera)).size > 1;
  return (
    <section>
      <h2>{t("live.regions")}</h2>
      <table>
        <thead>
          <tr>
            <th scope="col">{t("live.region")}</th>
            <th scope="col" class="number">
              {t("live.people")}
            </th>
            <th scope="col" class="number">
              {t("live.longest")}
            </th>
          </tr>
        </thead>
        <tbody>
          {props.now.regions.map((r) => (
            <tr key={r.camera + r.region}>
              <th scope="row">
                {r.region} {several && <small>{r.camera}</small>}
              </th>
              <td class="number">{r.people}</td>
              <td class="number">{r.people ? duration(r.longest_stay_ms) : "–"}</td>
            </tr>
          ))}
        </tbody>
      </table>
    </section>
  );
}

function EventList(props: { events: CountEvent[]; open: (of: StoryOf) => void; empty: string }): JSX.Element {
  if (!props.events.length) return <p class="quiet">{props.empty}</p>;
  return (
    <ul class="events">
      {props.events.map((e) => (
        <li key={`${e.camera}${e.time_us}${e.kind}${e.track}`}>
          <time>{clock(e.time)}</time>
          {e.track === null ? (
            <span>{sentenceOf(e)}</span>
          ) : (
            <button
              type="button"
              class="text"
              onClick={() => props.open({ camera: e.camera, track: e.track!, at_us: e.time_us })}
            >
              {sentenceOf(e)}
            </button>
          )}
        </li>
      ))}
    </ul>
  );
}

function CameraChoice(props: { cameras: PlaceCamera[]; chosen: string }): JSX.Element | null {
  if (props.cameras.length < 2) return null;
  return (
    <nav class="tabs" aria-label={t("cameras")}>
      {props.cameras.map((c) => (
        <a
          key={c.name}
          href={link("live", c.name)}
          aria-current={c.name === props.chosen ? "page" : undefined}
        >
          {c.name}
        </a>
      ))}
    </nav>
  );
}

export function Live(props: { place: Place }): JSX.Element {
  const { place } = props;
  const { parts } = useStore(route);
  const now = useStore(counts);
  const events = useStore(happened);
  const other = useStore(changed);
  const [story, setStory] = useState<StoryOf | null>(null);
  const [count, setCount] = useState<CountOf | null>(null);
  const camera = place.cameras.find((c) => c.name === parts[0]) ?? place.cameras[0];
  useEffect(() => follow(camera?.name ?? null), [camera?.name]);
  const version = other?.camera === camera?.name ? other?.version : 0;
  const { value: settings } = useLoaded(`${camera?.name} ${version}`, () =>
    camera
      ? read<Version>(cameraPath(camera.name, "settings"))
      : Promise.reject(new Error(t("live.no_camera"))),
  );
  if (!camera) return <p>{t("live.no_camera")}</p>;
  const last = events.find((e) => e.kind === "crossing");
  return (
    <div class="live">
      <h1 class="hidden">{t("nav.live")}</h1>
      <HealthSentence />
      {now && <Figures now={now} last={last} />}
      <div class="columns">
        <section class="main">
          <CameraChoice cameras={place.cameras} chosen={camera.name} />
          <Picture
            camera={camera}
            below={(shown) => (
              <InView
                people={shown.people}
                open={(track) => setStory({ camera: camera.name, track, at_us: shown.time_us })}
              />
            )}
          >
            {(shown, unit) =>
              shown &&
              settings && (
                <Overlay
                  shown={shown}
                  settings={settings.settings}
                  camera={camera}
                  now={now}
                  unit={unit}
                  open={setStory}
                />
              )
            }
          </Picture>
        </section>
        <div class="side">
          {now && <Lines now={now} open={setCount} />}
          {now && <RegionTable now={now} />}
          {now && <Hours hours={now.hours} />}
          <section>
            <h2>{t("live.happened")}</h2>
            <EventList events={events.slice(0, 6)} open={setStory} empty={t("live.nothing")} />
          </section>
        </div>
      </div>
      {count && (
        <Dialog
          title={t("live.count_title", { line: count.line, direction: count.name })}
          close={() => setCount(null)}
        >
          <p>{t("live.count_hint")}</p>
          <EventList
            events={events
              .filter(
                (e) =>
                  e.kind === "crossing" &&
                  e.camera === count.camera &&
                  e.place === count.line &&
                  e.direction === count.direction,
              )
              .slice(0, 12)}
            open={setStory}
            empty={t("live.count_none")}
          />
          <p>
            <button type="button" onClick={() => go("history")}>
              {t("live.to_history")}
            </button>
          </p>
        </Dialog>
      )}
      {story && (
        <Story
          of={story}
          camera={place.cameras.find((c) => c.name === story.camera)}
          close={() => setStory(null)}
        />
      )}
    </div>
  );
}
