// Cameras as a form of the service's own schema, the place, users and tokens.
import type { JSX } from "preact";
import { useEffect, useState } from "preact/hooks";
import { ask, cameraPath, may, read, session } from "../api";
import { saveSettings } from "../editor/dialogs";
import { follow } from "../live";
import { Dialog, Failure, Labelled, Select, useLoaded } from "../parts";
import { link, route } from "../route";
import { useStore } from "../store";
import { moment, t, worded } from "../text";
import type { Field, Place, Role, Schema, Settings, Token, User, Version } from "../types";
import { CameraForm } from "./camera_form";
import { NewPassword } from "./login";

const roles: Role[] = ["viewer", "operator", "admin"];
const roleOptions = () => roles.map((value) => ({ value, text: t(`role.${value}`) }));

function Cameras(props: { place: Place; fields: Field[] }): JSX.Element {
  const { parts } = useStore(route);
  const { place } = props;
  const camera = place.cameras.find((c) => c.name === parts[1]) ?? place.cameras[0]!;
  const { value, error, reload } = useLoaded(camera.name, async () => ({
    camera: camera.name,
    version: await read<Version>(cameraPath(camera.name, "settings")),
  }));
  return (
    <>
      {place.cameras.length > 1 && (
        <nav class="tabs" aria-label={t("cameras")}>
          {place.cameras.map((c) => (
            <a
              key={c.name}
              href={link("settings", "camera", c.name)}
              aria-current={c === camera ? "page" : undefined}
            >
              {c.name}
            </a>
          ))}
        </nav>
      )}
      <Failure error={error} />
      {value?.camera === camera.name && (
        <CameraForm
          key={`${camera.name} ${value.version.version}`}
          fields={props.fields}
          version={value.version}
          reload={reload}
          save={async (settings: Settings) => {
            await saveSettings(camera.name, value.version.version, t("settings.version_name"), settings);
            reload();
          }}
        />
      )}
    </>
  );
}

function PlaceValues(props: { schema: Schema }): JSX.Element {
  return (
    <>
      <p>{t("settings.by_hand")}</p>
      <dl class="values">
        {props.schema.place.map((item) => (
          <div key={item.key}>
            <dt>{worded(`label.${item.key}`, item.label)}</dt>
            <dd>
              {item.value}
              <p class="help">{worded(`help.${item.key}`, item.help)}</p>
            </dd>
          </div>
        ))}
      </dl>
    </>
  );
}

function AddUser(props: { done: () => void; close: () => void }): JSX.Element {
  const [name, setName] = useState("");
  const [role, setRole] = useState<Role>("viewer");
  const [password, setPassword] = useState("");
  const [error, setError] = useState<unknown>(null);
  const submit = (event: Event): void => {
    event.preventDefault();
    ask("POST", "users", { name, role, password }).then(props.done, setError);
  };
  return (
    <Dialog title={t("users.add")} close={props.close}>
      <form onSubmit={submit}>
        <Labelled label={t("login.name")}>
          {(ids) => (
            <input
              {...ids}
              required
              maxLength={60}
              autocomplete="off"
              value={name}
              onInput={(e) => setName(e.currentTarget.value)}
            />
          )}
        </Labelled>
        <Select label={t("users.role")} value={role} change={setRole} options={roleOptions()} />
        <Labelled label={t("login.password")} help={t("password.help")}>
          {(ids) => (
            <input
              {...ids}
              type="password"
              required
              minLength={10}
              maxLength={200}
              autocomplete="new-password"
              value={password}
              onInput={(e) => setPassword(e.currentTarget.value)}
            />
          )}
        </Labelled>
        <Failure error={error} />
        <button class="main">{t("users.add")}</button>
      </form>
    </Dialog>
  );
}

function Users(): JSX.Element {
  const { value, error, reload } = useLoaded("users", () => read<{ users: User[] }>("users"));
  const [adding, setAdding] = useState(false);
  const [failed, setFailed] = useState<unknown>(null);
  const me = session.value?.name;
  const change = (work: Promise<unknown>): void =>
    void work.then(() => setFailed(null), setFailed).finally(reload);
  return (
    <>
      <Failure error={error ?? failed} />
      <div class="scrolls" tabIndex={0} role="region" aria-label={t("users.title")}>
        <table>
          <thead>
            <tr>
              <th scope="col">{t("login.name")}</th>
              <th scope="col">{t("users.role")}</th>
              <th scope="col" class="roomy">
                {t("users.last")}
              </th>
              <td />
            </tr>
          </thead>
          <tbody>
            {value?.users.map((u) => (
              <tr key={u.name}>
                <th scope="row">
                  {u.name} {u.name === me && <small>{t("users.you")}</small>}
                </th>
                <td>
                  <select
                    aria-label={t("users.role_of", { name: u.name })}
                    value={u.role}
                    disabled={u.name === me}
                    onChange={(e) =>
                      change(
                        ask("PUT", `users/${encodeURIComponent(u.name)}`, { role: e.currentTarget.value }),
                      )
                    }
                  >
                    {roleOptions().map((o) => (
                      <option key={o.value} value={o.value}>
                        {o.text}
                      </option>
                    ))}
                  </select>
                </td>
                <td class="roomy">{u.last_login ? moment(u.last_login) : t("users.never")}</td>
                <td>
                  {u.name !== me && (
                    <button
                      type="button"
                      class="plain"
                      aria-label={t("users.remove", { name: u.name })}
                      onClick={() => change(ask("DELETE", `users/${encodeURIComponent(u.name)}`))}
                    >
                      {t("remove")}
                    </button>
                  )}
                </td>
              </tr>
            ))}
          </tbody>
        </table>
      </div>
      <p>
        <button type="button" onClick={() => setAdding(true)}>
          {t("users.add")}
        </button>
      </p>
      {adding && <AddUser close={() => setAdding(false)} done={() => (setAdding(false), reload())} />}
    </>
  );
}

function AddToken(props: { close: () => void }): JSX.Element {
  const [name, setName] = useState("");
  const [role, setRole] = useState<Role>("viewer");
  const [made, setMade] = useState("");
  const [error, setError] = useState<unknown>(null);
  const submit = (event: Event): void => {
    event.preventDefault();
    ask<{ token: string }>("POST", "tokens", { name, role }).then(
      (answer) => setMade(answer.token),
      setError,
    );
  };
  return (
    <Dialog title={t("tokens.add")} close={props.close}>
      {made ? (
        <>
          <p>{t("tokens.once")}</p>
          <p>
            <code class="secret">{made}</code>
          </p>
          <button type="button" class="main" onClick={props.close}>
            {t("close")}
          </button>
        </>
      ) : (
        <form onSubmit={submit}>
          <Labelled label={t("tokens.for")}>
            {(ids) => (
              <input
                {...ids}
                required
                maxLength={60}
                value={name}
                onInput={(e) => setName(e.currentTarget.value)}
              />
            )}
          </Labelled>
          <Select label={t("users.role")} value={role} change={setRole} options={roleOptions()} />
          <Failure error={error} />
          <button class="main">{t("tokens.add")}</button>
        </form>
      )}
    </Dialog>
  );
}

function Tokens(): JSX.Element {
  const { value, error, reload } = useLoaded("tokens", () => read<{ tokens: Token[] }>("tokens"));
  const [adding, setAdding] = useState(false);
  return (
    <>
      <p>{t("tokens.what")}</p>
      <Failure error={error} />
      {value && value.tokens.length > 0 && (
        <table>
          <thead>
            <tr>
              <th scope="col">{t("tokens.for")}</th>
              <th scope="col">{t("users.role")}</th>
              <th scope="col">{t("tokens.created")}</th>
              <td />
            </tr>
          </thead>
          <tbody>
            {value.tokens.map((token) => (
              <tr key={token.id}>
                <th scope="row">{token.name}</th>
                <td>{t(`role.${token.role}`)}</td>
                <td>{moment(token.created)}</td>
                <td>
                  <button
                    type="button"
                    class="plain"
                    aria-label={t("tokens.remove", { name: token.name })}
                    onClick={() => void ask("DELETE", `tokens/${token.id}`).finally(reload)}
                  >
                    {t("remove")}
                  </button>
                </td>
              </tr>
            ))}
          </tbody>
        </table>
      )}
      <p>
        <button type="button" onClick={() => setAdding(true)}>
          {t("tokens.add")}
        </button>
      </p>
      {adding && <AddToken close={() => (setAdding(false), reload())} />}
    </>
  );
}

const tabs = ["camera", "place", "password", "users", "tokens"] as const;
type Tab = (typeof tabs)[number];

export function SettingsScreen(props: { place: Place }): JSX.Element {
  const { parts } = useStore(route);
  useEffect(() => follow(null), []);
  const shown = tabs.filter((tab) => (tab !== "users" && tab !== "tokens") || may("admin"));
  const tab: Tab = shown.find((name) => name === parts[0]) ?? "camera";
  const { value: schema, error } = useLoaded("schema", () => read<Schema>("schema"));
  const [changedPassword, setChangedPassword] = useState(false);
  return (
    <div class="settings">
      <h1>{t("nav.settings")}</h1>
      <nav class="tabs" aria-label={t("nav.settings")}>
        {shown.map((name) => (
          <a key={name} href={link("settings", name)} aria-current={name === tab ? "page" : undefined}>
            {t(`settings.${name}`)}
          </a>
        ))}
      </nav>
      <Failure error={error} />
      {tab === "camera" && schema && <Cameras place={props.place} fields={schema.camera} />}
      {tab === "place" && schema && <PlaceValues schema={schema} />}
      {tab === "password" &&
        (changedPassword ? (
          <p role="status">{t("password.changed")}</p>
        ) : (
          <NewPassword done={() => setChangedPassword(true)} />
        ))}
      {tab === "users" && <Users />}
      {tab === "tokens" && <Tokens />}
    </div>
  );
}
