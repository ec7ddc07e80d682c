// The guide for the first start, and the editor for whoever knows the way.
import type { JSX } from "preact";
import { useEffect, useMemo } from "preact/hooks";
import { may } from "../api";
import { Editor } from "../editor/editor";
import { follow } from "../live";
import { link, route } from "../route";
import { useStore } from "../store";
import { t } from "../text";
import type { Place } from "../types";
import { Guide } from "./guide";

export function Setup(props: { place: Place }): JSX.Element {
  const { place } = props;
  const { parts } = useStore(route);
  const camera = place.cameras.find((c) => c.name === parts[0]) ?? place.cameras[0];
  useEffect(() => follow(camera?.name ?? null), [camera?.name]);
  // Decided once: who follows the guide stays in it when its last step has noted the camera as done.
  const usual = useMemo(() => (camera?.commissioned ? "edit" : "guide"), [camera?.name]);
  if (!camera) return <p>{t("live.no_camera")}</p>;
  if (!may("operator")) return <p>{t("setup.operator")}</p>;
  const tab = parts[1] ?? usual;
  return (
    <div class="setup">
      <h1>{t("nav.setup")}</h1>
      {place.cameras.length > 1 && (
        <nav class="tabs" aria-label={t("cameras")}>
          {place.cameras.map((c) => (
            <a key={c.name} href={link("setup", c.name)} aria-current={c === camera ? "page" : undefined}>
              {c.name}
            </a>
          ))}
        </nav>
      )}
      <nav class="tabs second" aria-label={t("setup.ways")}>
        <a href={link("setup", camera.name, "edit")} aria-current={tab === "edit" ? "page" : undefined}>
          {t("setup.edit")}
        </a>
        <a href={link("setup", camera.name, "guide")} aria-current={tab === "guide" ? "page" : undefined}>
          {t("setup.guide")}
        </a>
      </nav>
      {tab === "edit" ? (
        <Editor camera={camera} others={place.cameras.filter((c) => c !== camera)} />
      ) : (
        <Guide key={camera.name} place={place} camera={camera} />
      )}
    </div>
  );
}
