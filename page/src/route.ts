// Where the reader is: "#/history/lines?from=2026-11-01" is the screen history with one part and
// one value. It lies behind the # so that the service needs to know one document only.
import { Store } from "./store";

export interface Route {
  screen: string;
  parts: string[];
  query: URLSearchParams;
}

function parsed(): Route {
  const [path = "", query = ""] = location.hash.replace(/^#\/?/, "").split("?");
  const [screen = "", ...parts] = path.split("/").map(decodeURIComponent);
  return { screen: screen || "live", parts, query: new URLSearchParams(query) };
}

export const route = new Store<Route>(parsed());

window.addEventListener("hashchange", () => {
  route.set(parsed());
  window.scrollTo(0, 0);
});

export const link = (...parts: string[]): string => `#/${parts.map(encodeURIComponent).join("/")}`;

export function go(...parts: string[]): void {
  location.hash = link(...parts);
}

// Notes the reader's choices in the address without a step in the browser's history.
export function setQuery(query: URLSearchParams): void {
  const path = location.hash.split("?")[0] || "#/live";
  const text = query.toString();
  history.replaceState(null, "", text ? `${path}?${text}` : path);
  route.set(parsed());
}
