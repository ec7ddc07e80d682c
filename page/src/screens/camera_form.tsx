// The settings of a camera but for lines and areas, as fields of the service's schema.
import type { JSX } from "preact";
import { useState } from "preact/hooks";
import { ApiError, may } from "../api";
import { Failure, Labelled } from "../parts";
import { link } from "../route";
import { moment, t, versionText, worded } from "../text";
import type { Field, Settings, Version } from "../types";

type Ids = { id: string; "aria-describedby"?: string };

// A key such as group.min lies in a table of the settings.
function valueOf(settings: Settings, key: string): unknown {
  return key
    .split(".")
    .reduce<unknown>((o, part) => (o as Record<string, unknown> | undefined)?.[part], settings);
}

function withValue(settings: Settings, key: string, value: unknown): Settings {
  const [first = "", second] = key.split(".");
  if (!second) return { ...settings, [first]: value };
  return { ...settings, [first]: { ...(settings[first] as object | undefined), [second]: value } };
}

function NumberInput(props: {
  ids?: Ids;
  label?: string;
  field: Field;
  value: unknown;
  change: (value: number) => void;
  disabled: boolean;
}): JSX.Element {
  const { field } = props;
  return (
    <input
      {...props.ids}
      aria-label={props.label}
      type="number"
      required
      step={field.type === "whole" || field.type === "range" || field.type === "height" ? 1 : "any"}
      min={field.minimum ?? undefined}
      max={field.maximum ?? undefined}
      value={typeof props.value === "number" ? props.value : ""}
      disabled={props.disabled}
      onInput={(e) =>
        Number.isFinite(e.currentTarget.valueAsNumber) && props.change(e.currentTarget.valueAsNumber)
      }
    />
  );
}

// A choice between words, and numbers that are given instead.
function WordOrNumbers(props: {
  ids: Ids;
  field: Field;
  value: unknown;
  change: (value: unknown) => void;
  disabled: boolean;
}): JSX.Element {
  const { field, value, change, disabled } = props;
  const height = field.type === "height";
  const given = height ? typeof value === "number" : Array.isArray(value);
  const word = given ? "given" : value === null || value === undefined ? "source" : String(value);
  const words = height ? (["auto", "source", "given"] as const) : (["auto", "none", "given"] as const);
  const pair = Array.isArray(value) ? (value as number[]) : [0, 0];
  return (
    <span class="together">
      <select
        {...props.ids}
        disabled={disabled}
        value={word}
        onChange={(e) => {
          const to = e.currentTarget.value;
          change(to === "given" ? (height ? 3000 : [0, 0]) : to === "source" ? null : to);
        }}
      >
        {words.map((w) => (
          <option key={w} value={w}>
            {t(`${field.type as "height" | "tilt"}.${w as "auto" | "given"}`)}
          </option>
        ))}
      </select>
      {given && height && (
        <NumberInput
          label={worded(`label.${field.key}`, field.label)}
          field={field}
          value={value}
          change={change}
          disabled={disabled}
        />
      )}
      {given && !height && (
        <NumberInput
          label={t("tilt.roll")}
          field={field}
          value={pair[0]}
          change={(roll) => change([roll, pair[1]])}
          disabled={disabled}
        />
      )}
      {given && !height && (
        <NumberInput
          label={t("tilt.pitch")}
          field={field}
          value={pair[1]}
          change={(pitch) => change([pair[0], pitch])}
          disabled={disabled}
        />
      )}
      {given && <span class="unit">{worded(`unit.${field.unit}`, field.unit ?? "")}</span>}
    </span>
  );
}

function Control(props: {
  ids: Ids;
  field: Field;
  value: unknown;
  change: (value: unknown) => void;
  disabled: boolean;
}): JSX.Element {
  const { ids, field, change, disabled } = props;
  const value = props.value ?? field.default;
  const unit = field.unit && <span class="unit">{worded(`unit.${field.unit}`, field.unit)}</span>;
  switch (field.type) {
    case "height":
    case "tilt":
      return <WordOrNumbers {...props} />;
    case "flag":
      return (
        <input
          {...ids}
          type="checkbox"
          disabled={disabled}
          checked={value === true}
          onChange={(e) => change(e.currentTarget.checked)}
        />
      );
    case "choice":
      return (
        <select
          {...ids}
          disabled={disabled}
          value={String(value)}
          onChange={(e) => change(e.currentTarget.value)}
        >
          {field.choices.map((c) => (
            <option key={c} value={c}>
              {worded(`choice.${field.key}.${c}`, c)}
            </option>
          ))}
        </select>
      );
    case "range": {
      const [least, most] = value as [number, number];
      return (
        <span class="together">
          <NumberInput
            ids={ids}
            field={field}
            value={least}
            change={(n) => change([n, most])}
            disabled={disabled}
          />
          {t("settings.up_to")}
          <NumberInput
            label={t("settings.most")}
            field={field}
            value={most}
            change={(n) => change([least, n])}
            disabled={disabled}
          />
          {unit}
        </span>
      );
    }
    case "text":
      return (
        <input
          {...ids}
          disabled={disabled}
          maxLength={300}
          value={String(value ?? "")}
          onInput={(e) => change(e.currentTarget.value)}
        />
      );
    default:
      return (
        <span class="together">
          <NumberInput ids={ids} field={field} value={value} change={change} disabled={disabled} />
          {unit}
        </span>
      );
  }
}

// Nobody's name stands for what was edited by hand, or is a scene's own.
function inForce({ version, name, time, author }: Version): string {
  if (author === "file" && !name) return t("settings.from_file", { n: version, time: moment(time) });
  return t("settings.in_force", { version: versionText(version, name), time: moment(time), author });
}

function newerText(error: unknown): string {
  if (!(error instanceof ApiError) || error.status !== 409) return "";
  const { author, version, name } = error.body.current as Version;
  return t("settings.faster", { author, version: versionText(version, name) });
}

export function CameraForm(props: {
  fields: Field[];
  version: Version;
  save: (settings: Settings) => Promise<void>;
  reload: () => void;
}): JSX.Element {
  const { version } = props;
  const [settings, setSettings] = useState(version.settings);
  const [error, setError] = useState<unknown>(null);
  const disabled = !may("operator");
  const same = JSON.stringify(settings) === JSON.stringify(version.settings);
  const newer = newerText(error);
  const submit = (event: Event): void => {
    event.preventDefault();
    props.save(settings).catch(setError);
  };
  return (
    <form class="camera-form" onSubmit={submit}>
      <p class="quiet">
        {inForce(version)}
      </p>
      <p>
        {t("settings.lines_elsewhere")} <a href={link("setup")}>{t("nav.setup")}</a>
      </p>
      {props.fields.map((field) => (
        <Labelled
          key={field.key}
          label={worded(`label.${field.key}`, field.label)}
          help={worded(`help.${field.key}`, field.help)}
        >
          {(ids) => (
            <Control
              ids={ids}
              field={field}
              value={valueOf(settings, field.key)}
              change={(value) => setSettings(withValue(settings, field.key, value))}
              disabled={disabled}
            />
          )}
        </Labelled>
      ))}
      <Failure error={newer ? new Error(newer) : error} />
      {newer && (
        <p class="buttons">
          <button type="button" onClick={props.reload}>
            {t("settings.newer")}
          </button>
        </p>
      )}
      {disabled ? (
        <p class="quiet">{t("settings.viewer")}</p>
      ) : (
        <button class="main" disabled={same}>
          {t("settings.save")}
        </button>
      )}
    </form>
  );
}
