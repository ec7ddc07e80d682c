// One page that says how the camera was left, to print and to sign.
import type { JSX } from "preact";
import { ask, cameraPath, read, session } from "../api";
import { arrowAt, directionNames, wayWord } from "../geometry";
import { AreaMark, LineMark } from "../marks";
import { useLoaded } from "../parts";
import { Picture } from "../picture";
import { clockSeconds, metres, moment, said, t, versionText } from "../text";
import type { CameraStatus, Check, Place, PlaceCamera, Version } from "../types";
import type { Walked } from "./guide";

function Row(props: { name: string; children: string }): JSX.Element {
  return (
    <div>
      <dt>{props.name}</dt>
      <dd>{props.children}</dd>
    </div>
  );
}

export function Report(props: {
  place: Place;
  camera: PlaceCamera;
  status: CameraStatus;
  walked: Walked | null;
}): JSX.Element {
  const { place, camera, status, walked } = props;
  const { value } = useLoaded(camera.name, async () => {
    const version = await read<Version>(cameraPath(camera.name, "settings"));
    return {
      version,
      check: await ask<Check>("POST", cameraPath(camera.name, "settings/check"), version.settings),
    };
  });
  const settings = value?.version.settings;
  return (
    <article class="report">
      <h3>{t("report.title", { place: place.name, camera: camera.name })}</h3>
      <dl class="values">
        <Row name={t("report.date")}>{moment(place.now)}</Row>
        <Row name={t("report.by")}>{session.value?.name ?? ""}</Row>
        <Row
          name={t("report.source")}
        >{`${status.source}, ${t("guide.fps", { n: status.frames_per_second })}`}</Row>
        <Row name={t("report.height")}>
          {status.height_mm === null
            ? "–"
            : `${metres(status.height_mm)} (${t(`from.${status.height_from ?? "source"}`)})`}
        </Row>
        <Row name={t("report.tilt")}>
          {status.tilt
            ? t("report.tilt_value", { roll: status.tilt.roll_deg, pitch: status.tilt.pitch_deg })
            : "–"}
        </Row>
        <Row name={t("report.version")}>
          {value ? versionText(value.version.version, value.version.name) : "…"}
        </Row>
        <Row name={t("report.program")}>{place.version}</Row>
      </dl>
      <Picture camera={camera} still>
        {(_, unit) =>
          settings && (
            <svg class="marks" viewBox={`0 0 ${camera.width} ${camera.height}`} aria-hidden="true">
              {settings.exclude.map((e, i) => (
                <AreaMark key={i} kind="exclude" points={e.points} unit={unit} />
              ))}
              {settings.region.map((r) => (
                <AreaMark key={r.name} kind="region" points={r.points} text={r.name} unit={unit} />
              ))}
              {settings.line.map((l) => (
                <LineMark key={l.name} line={l} texts={directionNames(l)} unit={unit} />
              ))}
            </svg>
          )
        }
      </Picture>
      <table>
        <thead>
          <tr>
            <th scope="col">{t("history.line")}</th>
            <th scope="col">{t("report.directions")}</th>
            <th scope="col">{t("report.walk")}</th>
          </tr>
        </thead>
        <tbody>
          {settings?.line.map((l) => (
            <tr key={l.name}>
              <th scope="row">{l.name}</th>
              <td>
                {([1, 2] as const)
                  .map((d) => `${directionNames(l)[d - 1]} (${t(`way.${wayWord(arrowAt(l, 0.5, d).way)}`)})`)
                  .join(", ")}
              </td>
              <td>
                {walked?.line === l.name && walked.events.length
                  ? t("report.walked", {
                      n: walked.events.length,
                      times: walked.events.map((e) => clockSeconds(e.time)).join(", "),
                    })
                  : t("report.not_walked")}
              </td>
            </tr>
          ))}
        </tbody>
      </table>
      {value &&
        (value.check.notes.length ? (
          <ul class="changes">
            {value.check.notes.map((n) => (
              <li key={said(n)}>{said(n)}</li>
            ))}
          </ul>
        ) : (
          <p>{t("checks.good")}</p>
        ))}
      <p class="signature">{t("report.signature")}</p>
      <p class="buttons no-print">
        <button type="button" class="main" onClick={() => window.print()}>
          {t("report.print")}
        </button>
      </p>
    </article>
  );
}
