// Asking the service. All addresses are relative to the document, so that a prefix of a reverse
// proxy needs no setting.
import { Store } from "./store";
import { t } from "./text";
import type { Place, Role, Session } from "./types";

const base = "api/v1/";

export class ApiError extends Error {
  // status 0: there was no answer at all.
  constructor(
    readonly status: number,
    message: string,
    readonly body: Record<string, unknown> = {},
  ) {
    super(message);
  }
}

export const address = (path: string): string => base + path;
export const cameraPath = (camera: string, rest: string): string =>
  `cameras/${encodeURIComponent(camera)}/${rest}`;

export async function ask<T>(
  method: "GET" | "POST" | "PUT" | "DELETE",
  path: string,
  body?: unknown,
): Promise<T> {
  let response: Response;
  let answer: unknown;
  try {
    response = await fetch(address(path), {
      method,
      credentials: "same-origin",
      // Sent without a body, too: no form of another site can send it.
      ...(method === "GET" ? {} : { headers: { "content-type": "application/json" } }),
      ...(body === undefined ? {} : { body: JSON.stringify(body) }),
    });
    const text = await response.text();
    answer = text ? JSON.parse(text) : {};
  } catch {
    throw new ApiError(0, t("error.network"));
  }
  if (response.ok) return answer as T;
  const record = answer as Record<string, unknown>;
  if (response.status === 401 && path !== "session") session.set({ ...nobody });
  throw new ApiError(
    response.status,
    String(record.error ?? t("error.unknown", { n: response.status })),
    record,
  );
}

export const read = <T>(path: string): Promise<T> => ask<T>("GET", path);

const nobody: Session = { name: null, role: null, must_change_password: false, first_start: false };

export const session = new Store<Session | null>(null);
export const place = new Store<Place | null>(null);

export async function loadSession(): Promise<void> {
  session.set(await read<Session>("session"));
}

export async function loadPlace(): Promise<void> {
  place.set(await read<Place>("place"));
}

const order: Role[] = ["viewer", "operator", "admin"];

export function may(role: Role): boolean {
  const mine = session.value?.role;
  return mine ? order.indexOf(mine) >= order.indexOf(role) : false;
}

export const message = (error: unknown): string => (error instanceof Error ? error.message : String(error));
