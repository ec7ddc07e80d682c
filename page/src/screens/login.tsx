// Logging in, and the password of one's own after the one-time one.
import type { JSX } from "preact";
import { useState } from "preact/hooks";
import { ask, loadSession, message, session } from "../api";
import { Labelled } from "../parts";
import { t } from "../text";
import type { Session } from "../types";

function useSending(send: () => Promise<void>): {
  error: string;
  busy: boolean;
  submit: (event: Event) => void;
} {
  const [error, setError] = useState("");
  const [busy, setBusy] = useState(false);
  const submit = (event: Event): void => {
    event.preventDefault();
    setBusy(true);
    setError("");
    send()
      .catch((e: unknown) => setError(message(e)))
      .finally(() => setBusy(false));
  };
  return { error, busy, submit };
}

function Secret(props: {
  label: string;
  value: string;
  change: (value: string) => void;
  fresh?: boolean;
  help?: string;
}): JSX.Element {
  return (
    <Labelled label={props.label} help={props.help}>
      {(ids) => (
        <input
          {...ids}
          type="password"
          required
          minLength={props.fresh ? 10 : undefined}
          maxLength={200}
          autocomplete={props.fresh ? "new-password" : "current-password"}
          value={props.value}
          onInput={(e) => props.change(e.currentTarget.value)}
        />
      )}
    </Labelled>
  );
}

export function Login(props: { session: Session }): JSX.Element {
  const [name, setName] = useState(props.session.first_start ? "admin" : "");
  const [password, setPassword] = useState("");
  const { error, busy, submit } = useSending(async () =>
    session.set(await ask<Session>("POST", "session", { name, password })),
  );
  return (
    <form class="login" onSubmit={submit}>
      <h1>{t("login.title")}</h1>
      {props.session.first_start && <p>{t("login.first")}</p>}
      <Labelled label={t("login.name")}>
        {(ids) => (
          <input
            {...ids}
            required
            maxLength={60}
            autocomplete="username"
            autocapitalize="none"
            value={name}
            onInput={(e) => setName(e.currentTarget.value)}
          />
        )}
      </Labelled>
      <Secret label={t("login.password")} value={password} change={setPassword} />
      <p class="failure" role="alert">
        {error}
      </p>
      <button class="main" disabled={busy}>
        {t("login.do")}
      </button>
    </form>
  );
}

export function NewPassword(props: { once?: boolean; done?: () => void }): JSX.Element {
  const [old, setOld] = useState("");
  const [fresh, setFresh] = useState("");
  const [again, setAgain] = useState("");
  const { error, busy, submit } = useSending(async () => {
    if (fresh !== again) throw new Error(t("password.differ"));
    await ask("PUT", "session/password", { old, new: fresh });
    await loadSession();
    props.done?.();
  });
  return (
    <form class="login" onSubmit={submit}>
      {props.once && <h1>{t("password.title")}</h1>}
      {props.once && <p>{t("password.once")}</p>}
      <Secret label={t(props.once ? "password.one_time" : "password.old")} value={old} change={setOld} />
      <Secret label={t("password.new")} help={t("password.help")} value={fresh} change={setFresh} fresh />
      <Secret label={t("password.again")} value={again} change={setAgain} fresh />
      <p class="failure" role="alert">
        {error}
      </p>
      <button class="main" disabled={busy}>
        {t("password.do")}
      </button>
    </form>
  );
}
