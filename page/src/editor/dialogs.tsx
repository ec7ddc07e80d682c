// Saving, conflicts, earlier versions, and copying to another camera.
import type { JSX } from "preact";
import { useState } from "preact/hooks";
import { ApiError, ask, cameraPath, read } from "../api";
import { Dialog, Failure, Labelled, Select, useLoaded } from "../parts";
import { moment, t, versionText } from "../text";
import type { PlaceCamera, Settings, Version, VersionHead } from "../types";
import { changes } from "./changes";
import type { Draft } from "./draft";

const mostName = 60;

export function ChangeList(props: { before: Settings; after: Settings }): JSX.Element {
  const list = changes(props.before, props.after);
  if (!list.length) return <p class="quiet">{t("change.none")}</p>;
  return (
    <ul class="changes">
      {list.map((text) => (
        <li key={text}>{text}</li>
      ))}
    </ul>
  );
}

export async function saveSettings(
  camera: string,
  base_version: number,
  name: string,
  settings: Settings,
): Promise<Version> {
  const version = await ask<Version>("PUT", cameraPath(camera, "settings"), {
    base_version,
    name: name.slice(0, mostName),
    settings,
  });
  if (version.waiting) throw new Error(t("save.waiting"));
  return version;
}

// Asks before saving; on a conflict it shows what both sides changed.
export function SaveDialog(props: {
  camera: string;
  draft: Draft;
  suggested: string;
  saved: (version: Version) => void;
  close: () => void;
}): JSX.Element {
  const { draft, camera } = props;
  const { base, settings } = draft.state;
  const [name, setName] = useState(
    props.suggested || (changes(base.settings, settings)[0] ?? "").replace(/\.$/, "").slice(0, mostName),
  );
  const [error, setError] = useState<unknown>(null);
  const [theirs, setTheirs] = useState<Version | null>(null);
  const [busy, setBusy] = useState(false);
  const save = (over: Version): void => {
    setBusy(true);
    setError(null);
    saveSettings(camera, over.version, name, settings)
      .then((version) => {
        draft.begin(version);
        props.saved(version);
      })
      .catch((e: unknown) => {
        if (e instanceof ApiError && e.status === 409) setTheirs(e.body.current as Version);
        else setError(e);
      })
      .finally(() => setBusy(false));
  };
  if (theirs)
    return (
      <Dialog title={t("conflict.title")} close={props.close} wide>
        <p>
          {t("conflict.what", {
            author: theirs.author,
            time: moment(theirs.time),
            version: versionText(theirs.version, theirs.name),
          })}
        </p>
        <div class="both">
          <section>
            <h3>{t("conflict.theirs")}</h3>
            <ChangeList before={base.settings} after={theirs.settings} />
          </section>
          <section>
            <h3>{t("conflict.mine")}</h3>
            <ChangeList before={base.settings} after={settings} />
          </section>
        </div>
        <Failure error={error} />
        <p class="buttons">
          <button type="button" class="main" disabled={busy} onClick={() => save(theirs)}>
            {t("conflict.save_mine")}
          </button>
          <button
            type="button"
            onClick={() => {
              draft.begin(theirs);
              props.close();
            }}
          >
            {t("conflict.take_theirs")}
          </button>
          <button type="button" class="plain" onClick={props.close}>
            {t("conflict.later")}
          </button>
        </p>
        <p class="help">{t("conflict.nothing_lost")}</p>
      </Dialog>
    );
  return (
    <Dialog title={t("save.title")} close={props.close}>
      <form
        onSubmit={(e) => {
          e.preventDefault();
          save(base);
        }}
      >
        <p>{t("save.what", { camera })}</p>
        <ChangeList before={base.settings} after={settings} />
        <p class="help">{t("save.measure")}</p>
        <Labelled label={t("save.name")}>
          {(ids) => (
            <input
              {...ids}
              required
              maxLength={mostName}
              value={name}
              onInput={(e) => setName(e.currentTarget.value)}
            />
          )}
        </Labelled>
        <Failure error={error} />
        <p class="buttons">
          <button class="main" disabled={busy}>
            {t("save.do")}
          </button>
          <button type="button" class="plain" onClick={props.close}>
            {t("cancel")}
          </button>
        </p>
      </form>
    </Dialog>
  );
}

export function VersionsDialog(props: {
  camera: string;
  draft: Draft;
  restored: (head: VersionHead) => void;
  close: () => void;
}): JSX.Element {
  const { camera, draft } = props;
  const { value, error } = useLoaded(camera, () =>
    read<{ versions: VersionHead[] }>(cameraPath(camera, "settings/versions")),
  );
  const [open, setOpen] = useState<Version | null>(null);
  const [failed, setFailed] = useState<unknown>(null);
  const look = (version: number): void =>
    void read<Version>(cameraPath(camera, `settings/versions/${version}`)).then(setOpen, setFailed);
  return (
    <Dialog title={t("versions.title")} close={props.close} wide>
      <Failure error={error ?? failed} />
      <ul class="versions">
        {value?.versions.map((v) => (
          <li key={v.version}>
            <button
              type="button"
              class="text"
              aria-expanded={open?.version === v.version}
              onClick={() => (open?.version === v.version ? setOpen(null) : look(v.version))}
            >
              <b>{v.version}</b> {v.name}{" "}
              <small>{t("versions.by", { author: v.author, time: moment(v.time) })}</small>
            </button>
            {open?.version === v.version && (
              <div class="properties">
                <p>{t("versions.restoring")}</p>
                <ChangeList before={draft.state.settings} after={open.settings} />
                <button
                  type="button"
                  onClick={() => {
                    draft.change(open.settings);
                    props.restored(open);
                  }}
                >
                  {t("versions.restore")}
                </button>
              </div>
            )}
          </li>
        ))}
      </ul>
    </Dialog>
  );
}

type Part = "line" | "region" | "exclude";
const parts: Part[] = ["line", "region", "exclude"];

export function CopyDialog(props: {
  from: PlaceCamera;
  settings: Settings;
  others: PlaceCamera[];
  close: () => void;
}): JSX.Element {
  const [to, setTo] = useState(props.others[0]!.name);
  const [chosen, setChosen] = useState<Part[]>(["line"]);
  const [done, setDone] = useState("");
  const [error, setError] = useState<unknown>(null);
  const {
    value: target,
    error: unread,
    reload,
  } = useLoaded(to, () => read<Version>(cameraPath(to, "settings")));
  const after = target && {
    ...target.settings,
    ...Object.fromEntries(chosen.map((part) => [part, props.settings[part]])),
  };
  const copy = (event: Event): void => {
    event.preventDefault();
    if (!target || !after) return;
    saveSettings(to, target.version, t("copy.version", { camera: props.from.name }), after).then(
      () => setDone(t("copy.done", { camera: to })),
      (e: unknown) => {
        setError(e);
        reload();
      },
    );
  };
  return (
    <Dialog title={t("copy.title")} close={props.close}>
      {done ? (
        <>
          <p role="status">{done}</p>
          <button type="button" class="main" onClick={props.close}>
            {t("close")}
          </button>
        </>
      ) : (
        <form onSubmit={copy}>
          <Select
            label={t("copy.to")}
            value={to}
            change={setTo}
            options={props.others.map((c) => ({ value: c.name, text: c.name }))}
          />
          <fieldset>
            <legend>{t("copy.what")}</legend>
            {parts.map((part) => (
              <label key={part} class="check">
                <input
                  type="checkbox"
                  checked={chosen.includes(part)}
                  onChange={(e) =>
                    setChosen(e.currentTarget.checked ? [...chosen, part] : chosen.filter((p) => p !== part))
                  }
                />{" "}
                {t(`copy.${part}`)}
              </label>
            ))}
          </fieldset>
          {target && after && <ChangeList before={target.settings} after={after} />}
          <Failure error={error ?? unread} />
          <button class="main" disabled={!target || !chosen.length}>
            {t("copy.do")}
          </button>
        </form>
      )}
    </Dialog>
  );
}
