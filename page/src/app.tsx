// The frame around all screens: where one is, who one is, whether the connection holds.
import type { JSX } from "preact";
import { useEffect } from "preact/hooks";
import { ask, loadPlace, loadSession, may, message, place, session } from "./api";
import { connection, unfollow } from "./live";
import { go, link, route } from "./route";
import { HeatScreen } from "./screens/heat";
import { HistoryScreen } from "./screens/history";
import { Live } from "./screens/live";
import { Login, NewPassword } from "./screens/login";
import { SettingsScreen } from "./screens/settings";
import { Setup } from "./screens/setup";
import { Store, useStore } from "./store";
import { chooseLanguage, language, t, type Language } from "./text";
import type { Place } from "./types";

const screens = {
  live: Live,
  setup: Setup,
  history: HistoryScreen,
  heat: HeatScreen,
  settings: SettingsScreen,
};
type Screen = keyof typeof screens;
const names = Object.keys(screens) as Screen[];

const failure = new Store("");

function Languages(): JSX.Element {
  const now = useStore(language);
  const all: [Language, string][] = [
    ["en", "English"],
    ["de", "Deutsch"],
  ];
  return (
    <select
      class="small"
      aria-label={t("language")}
      value={now}
      onChange={(e) => chooseLanguage(e.currentTarget.value as Language)}
    >
      {all.map(([code, name]) => (
        <option key={code} value={code} lang={code}>
          {name}
        </option>
      ))}
    </select>
  );
}

function Connected(): JSX.Element {
  const now = useStore(connection);
  const text = now === "lost" ? t("connection.lost") : now === "back" ? t("connection.back") : "";
  return (
    <div role="status" class={text ? `banner ${now}` : "hidden"}>
      {text}
    </div>
  );
}

async function logOut(): Promise<void> {
  unfollow();
  await ask("DELETE", "session").catch(() => undefined);
  place.set(null);
  go("live");
  await loadSession();
}

function Head(props: { place: Place; screen: Screen }): JSX.Element {
  return (
    <header class="head">
      <a
        class="skip"
        href="#main"
        onClick={(e) => (e.preventDefault(), document.getElementById("main")?.focus())}
      >
        {t("skip")}
      </a>
      <span class="name">{props.place.name}</span>
      <nav aria-label={t("nav")}>
        {names
          .filter((name) => name !== "setup" || may("operator"))
          .map((name) => (
            <a key={name} href={link(name)} aria-current={name === props.screen ? "page" : undefined}>
              {t(`nav.${name}`)}
            </a>
          ))}
      </nav>
      <span class="who">
        <Languages />
        <button type="button" class="plain" onClick={() => void logOut()}>
          {t("logout")} <span class="roomy">{session.value?.name}</span>
        </button>
      </span>
    </header>
  );
}

function start(): void {
  failure.set("");
  loadSession().catch((error: unknown) => {
    failure.set(message(error));
    window.setTimeout(start, 2000);
  });
}

export function App(): JSX.Element {
  const who = useStore(session);
  const where = useStore(place);
  const wrong = useStore(failure);
  const { screen } = useStore(route);
  useStore(language);
  useEffect(start, []);
  const inside = Boolean(who?.name && !who.must_change_password);
  useEffect(() => {
    if (!inside) {
      unfollow();
      place.set(null);
      return;
    }
    loadPlace().catch((error: unknown) => failure.set(message(error)));
  }, [inside, who?.name]);
  const name: Screen = names.find((n) => n === screen) ?? "live";
  useEffect(() => {
    document.title = where ? `${t(`nav.${name}`)} – ${where.name}` : t("title");
  });
  if (wrong && !where)
    return (
      <p class="alone" role="alert">
        {wrong}
      </p>
    );
  if (!who) return <p class="alone">{t("loading")}</p>;
  if (!inside)
    return (
      <main class="alone" id="main">
        {who.name ? <NewPassword once /> : <Login session={who} />}
        <Languages />
      </main>
    );
  if (!where) return <p class="alone">{t("loading")}</p>;
  const Shown = screens[name];
  return (
    <>
      <Head place={where} screen={name} />
      <Connected />
      <main id="main" tabIndex={-1}>
        <Shown place={where} />
      </main>
    </>
  );
}
