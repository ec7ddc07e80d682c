// Lines, U-turn areas, regions and exclusions, drawn over the live picture.
import type { JSX } from "preact";
import { useEffect, useState } from "preact/hooks";
import { ApiError, ask, cameraPath, message, read } from "../api";
import { changed, connection } from "../live";
import { Failure, useLoaded } from "../parts";
import { Picture } from "../picture";
import { useStore } from "../store";
import { said, t, versionText } from "../text";
import type { Check, Note, PlaceCamera, ShapeKind, Settings, Version } from "../types";
import { DrawingCanvas, type Tool } from "./canvas";
import { CopyDialog, SaveDialog, VersionsDialog } from "./dialogs";
import { Draft } from "./draft";
import * as model from "./model";
import type { Selection } from "./model";
import { Panel } from "./panel";

const checkAfter_ms = 200;

// The service's own checks, a moment after each change. What it said last stays while it cannot be
// asked.
function useCheck(camera: string, settings: Settings): { check: Check | null; waiting: boolean } {
  const [check, setCheck] = useState<Check | null>(null);
  const [waiting, setWaiting] = useState(false);
  const link = useStore(connection);
  const back = link === "open" || link === "back";
  useEffect(() => {
    let current = true;
    const timer = window.setTimeout(() => {
      ask<Check>("POST", cameraPath(camera, "settings/check"), settings).then(
        (answer) => {
          if (!current) return;
          setCheck(answer);
          setWaiting(false);
        },
        (error: unknown) => current && setWaiting(!(error instanceof ApiError) || error.status === 0),
      );
    }, checkAfter_ms);
    return () => {
      current = false;
      window.clearTimeout(timer);
    };
  }, [camera, settings, back]);
  return { check, waiting };
}

function Notes(props: { notes: Note[]; waiting: boolean; select: (note: Note) => void }): JSX.Element {
  return (
    <div class="notes" aria-live="polite">
      {props.waiting && <p class="quiet">{t("checks.waiting")}</p>}
      {!props.notes.length && !props.waiting && <p class="good">{t("checks.good")}</p>}
      <ul>
        {props.notes.map((note) => (
          <li key={said(note)} class={note.level}>
            {note.place ? (
              <button type="button" class="text" onClick={() => props.select(note)}>
                {said(note)}
              </button>
            ) : (
              said(note)
            )}
          </li>
        ))}
      </ul>
    </div>
  );
}

function Tools(props: {
  draft: Draft;
  settings: Settings;
  tool: Tool;
  setTool: (tool: Tool) => void;
}): JSX.Element {
  const { draft, tool, settings, setTool } = props;
  const kinds: Exclude<ShapeKind, "area">[] = ["line", "region", "exclude"];
  return (
    <div class="tools" role="toolbar" aria-label={t("editor.tools")}>
      {kinds.map((kind) => (
        <button
          key={kind}
          type="button"
          aria-pressed={tool === kind}
          disabled={settings[kind].length >= model.mostShapes}
          onClick={() => setTool(tool === kind ? "select" : kind)}
        >
          {t(`editor.add_${kind}`)}
        </button>
      ))}
      <span class="gap" />
      <button type="button" disabled={!draft.state.undo.length} onClick={() => draft.undo()}>
        {t("editor.undo")}
      </button>
      <button type="button" disabled={!draft.state.redo.length} onClick={() => draft.redo()}>
        {t("editor.redo")}
      </button>
    </div>
  );
}

// Ctrl+Z and Ctrl+Y or Ctrl+Shift+Z, but for fields, which have an undo of their own.
function useUndoKeys(draft: Draft): void {
  useEffect(() => {
    const key = (event: KeyboardEvent): void => {
      if (!(event.ctrlKey || event.metaKey) || event.target instanceof HTMLInputElement) return;
      const name = event.key.toLowerCase();
      if (name === "z" && !event.shiftKey) draft.undo();
      else if (name === "y" || name === "z") draft.redo();
      else return;
      event.preventDefault();
    };
    window.addEventListener("keydown", key);
    return () => window.removeEventListener("keydown", key);
  }, [draft]);
}

type Open = "save" | "versions" | "copy" | null;

function Opened(props: {
  camera: PlaceCamera;
  others: PlaceCamera[];
  draft: Draft;
  saved: (version: Version) => void;
}): JSX.Element {
  const { camera, draft } = props;
  const { settings, base } = useStore(draft.store);
  const [tool, setTool] = useState<Tool>("select");
  const [selection, select] = useState<Selection | null>(null);
  const [open, setOpen] = useState<Open>(null);
  const [suggested, setSuggested] = useState("");
  const [status, setStatus] = useState("");
  const { check, waiting } = useCheck(camera.name, settings);
  useUndoKeys(draft);
  useOthers(camera.name, draft);
  const other = useStore(changed);
  const newer = other && other.camera === camera.name && other.version > base.version ? other : null;
  const there = selection && model.pointsOf(settings, selection).length ? selection : null;
  const notes = check?.notes ?? [];
  const wrong = notes.some((n) => n.level === "error");
  const dirty = draft.isChanged;
  const lineZones = (check?.zones ?? []).filter((z) => there?.kind === "line" && there.index === z.line);
  const panel = { camera, draft, settings, selection: there, select, setTool };
  const hint =
    tool === "select"
      ? there
        ? t("editor.hint_selected")
        : t("editor.hint")
      : t(tool === "line" ? "editor.hint_line" : "editor.hint_polygon");
  return (
    <div class="editor">
      <Tools draft={draft} settings={settings} tool={tool} setTool={setTool} />
      <div class="columns">
        <div class="main">
          <Picture camera={camera}>
            {(_, unit) => (
              <DrawingCanvas
                {...panel}
                tool={tool}
                unit={unit}
                zones={lineZones.map((z) => z.points)}
                faulty={(kind, index) => notes.some((n) => n.place?.kind === kind && n.place.index === index)}
              />
            )}
          </Picture>
          <p id="editor-hint" class="help">
            {hint}
          </p>
          <Notes
            notes={notes}
            waiting={waiting}
            select={({ place }) =>
              place &&
              place.kind !== "setting" &&
              select({ kind: place.kind, index: place.index, point: place.point })
            }
          />
        </div>
        <div class="side">
          <Panel {...panel} />
        </div>
      </div>
      {newer && dirty && (
        <p class="notice" role="status">
          {t("editor.newer", { author: newer.author })}
        </p>
      )}
      <div class="bar">
        <span role="status" class={dirty ? "dirty" : ""}>
          {dirty ? t("editor.unsaved") : status || t("editor.saved", { version: versionText(base.version, base.name) })}
        </span>
        <button type="button" class="main" disabled={!dirty || wrong} onClick={() => setOpen("save")}>
          {t("editor.save")}
        </button>
        <button type="button" disabled={!dirty} onClick={() => draft.change(base.settings)}>
          {t("editor.discard")}
        </button>
        <button type="button" class="plain" onClick={() => setOpen("versions")}>
          {t("versions.title")}
        </button>
        {props.others.length > 0 && (
          <button type="button" class="plain" onClick={() => setOpen("copy")}>
            {t("copy.title")}
          </button>
        )}
      </div>
      {open === "save" && (
        <SaveDialog
          camera={camera.name}
          draft={draft}
          suggested={suggested}
          close={() => setOpen(null)}
          saved={(version) => {
            setOpen(null);
            setSuggested("");
            setStatus(t("editor.just_saved", { n: version.version }));
            props.saved(version);
          }}
        />
      )}
      {open === "versions" && (
        <VersionsDialog
          camera={camera.name}
          draft={draft}
          close={() => setOpen(null)}
          restored={(head) => {
            setSuggested(t("versions.restored_name", { n: head.version }));
            setOpen(null);
          }}
        />
      )}
      {open === "copy" && (
        <CopyDialog from={camera} settings={settings} others={props.others} close={() => setOpen(null)} />
      )}
    </div>
  );
}

// Somebody else's version is taken at once where nothing has been drawn yet.
function useOthers(camera: string, draft: Draft): void {
  const other = useStore(changed);
  useEffect(() => {
    if (!other || other.camera !== camera || other.version <= draft.state.base.version || draft.isChanged)
      return;
    read<Version>(cameraPath(camera, "settings")).then(
      (version) => !draft.isChanged && draft.begin(version),
      () => undefined, // saving will tell of the conflict
    );
  }, [other?.version]);
}

export function Editor(props: {
  camera: PlaceCamera;
  others: PlaceCamera[];
  saved?: (version: Version) => void;
}): JSX.Element {
  const { camera } = props;
  const { value, error, reload } = useLoaded(camera.name, async () => ({
    camera: camera.name,
    draft: await Draft.open(camera.name),
  }));
  if (value?.camera === camera.name)
    return (
      <Opened
        key={camera.name}
        camera={camera}
        others={props.others}
        draft={value.draft}
        saved={props.saved ?? (() => undefined)}
      />
    );
  if (!error) return <p class="quiet">{t("loading")}</p>;
  return (
    <>
      <Failure error={new Error(message(error))} />
      <button type="button" onClick={reload}>
        {t("again")}
      </button>
    </>
  );
}
