// The service in miniature, for whoever works on the page: made-up people who are really counted by
// the lines in force, two years of made-up counts, users, conflicts. It listens on loopback only.
//   node dev/server.mjs [--port N] [--now 2026-11-23T10:00:00Z] [--state FILE] [--first-start]
//                       [--prefix /shop/] [--seconds-of-session N]
import { createHash } from "node:crypto";
import { existsSync, readFileSync } from "node:fs";
import { createServer } from "node:http";
import { fileURLToPath } from "node:url";
import { gzipSync } from "node:zlib";
import { answerDifference, bodyDifference, find, liveDifference, queryDifference } from "./contract.mjs";
import { logIn, operations, Refusal, sessionAnswer } from "./operations.mjs";
import {
  broken,
  cameras,
  firstStart,
  health,
  liveCounts,
  nowUs,
  port,
  prefix,
  state,
  streams,
  zone,
} from "./place.mjs";

const dist = fileURLToPath(new URL("../dist/", import.meta.url));

function asCsv(answer) {
  const rows = [["from", "to", "camera", "place", "direction", "what", "value"]];
  const list = answer.series ?? [{ adults: answer.adults, children: answer.children }];
  for (const s of list)
    for (const [key, column] of Object.entries(s)) {
      if (!Array.isArray(column)) continue;
      answer.spans.forEach((span, i) =>
        rows.push([
          zone.text(span.from_us),
          zone.text(span.to_us),
          s.camera ?? "",
          s.line ?? s.region ?? s.area ?? "",
          s.direction_name ?? "",
          key,
          column[i] ?? "",
        ]),
      );
    }
  return (
    rows
      .map((row) =>
        row.map((cell) => (/[",\n]/.test(cell) ? `"${String(cell).replaceAll('"', '""')}"` : cell)).join(","),
      )
      .join("\r\n") + "\r\n"
  );
}

class Stream {
  constructor(response, camera, session) {
    Object.assign(this, { response, camera, session, last: 0 });
    response.writeHead(200, {
      "content-type": "text/event-stream",
      "cache-control": "no-store",
      "x-accel-buffering": "no",
    });
    this.send("health", health());
    this.sendCounts();
  }
  send(name, body) {
    const wrong = liveDifference(name, body);
    if (wrong) console.error(`live ${name}: ${wrong}`);
    this.response.write(`event: ${name}\ndata: ${JSON.stringify(body)}\n\n`);
  }
  sendCounts(always = true) {
    const text = JSON.stringify(liveCounts());
    if (!always && text === this.counts) return;
    this.counts = text;
    this.send("counts", JSON.parse(text));
  }
}

function who(request) {
  const id = /(?:^|; )vca_session=([\w-]+)/.exec(request.headers.cookie ?? "")?.[1];
  const session = id && state.sessions[id];
  if (!session || session.until < Date.now() || !state.users[session.name]) return {};
  return { session: id, who: session };
}

async function bodyOf(request) {
  let text = "";
  for await (const part of request)
    if ((text += part).length > 200_000) throw new Refusal(413, "The body is larger than 200 kB.");
  if (!text) return undefined;
  if (!/^application\/json/.test(request.headers["content-type"] ?? ""))
    throw new Refusal(415, "The body must be application/json.");
  try {
    return JSON.parse(text);
  } catch {
    throw new Refusal(400, "The body is not JSON.");
  }
}

const answer = (response, status, body, headers = {}) => {
  response.writeHead(status, {
    "cache-control": "no-store",
    ...(body === undefined ? {} : { "content-type": "application/json" }),
    ...headers,
  });
  response.end(body === undefined ? undefined : JSON.stringify(body));
};

async function handleApi(request, response, url) {
  const found = find(request.method, url.pathname);
  if (!found) throw new Refusal(404, "There is nothing here.");
  if (!found.operation) throw new Refusal(405, "This cannot be done here.");
  if (request.method !== "GET" && (request.headers["sec-fetch-site"] ?? "same-origin") !== "same-origin")
    throw new Refusal(403, "Another site asked for this.");
  const wrongQuery = queryDifference(found.operation, url.searchParams);
  if (wrongQuery) throw new Refusal(400, `${wrongQuery}.`);
  const context = {
    ...who(request),
    parameters: found.parameters,
    query: url.searchParams,
    camera: found.parameters.camera,
  };
  const body = request.method === "GET" ? undefined : await bodyOf(request);
  const wrongBody = bodyDifference(found.operation, body);
  if (wrongBody) throw new Refusal(400, `${wrongBody}.`);
  const open = found.template === "/api/v1/session";
  if (!open && !context.who) throw new Refusal(401, "Please log in.");
  if (!open && found.template !== "/api/v1/session/password" && state.users[context.who.name].once)
    throw new Refusal(403, "Please choose a password of your own first.");
  if (context.camera !== undefined && !cameras.has(context.camera))
    throw new Refusal(404, `There is no camera ${context.camera}.`);
  if (found.template === "/api/v1/live") return startStream(request, response, context);
  if (found.template.endsWith("/picture")) return sendPicture(response, context);
  if (open && request.method === "POST") {
    const id = logIn(body);
    const cookie = `vca_session=${id}; HttpOnly; SameSite=Strict; Path=${prefix}`;
    return answer(response, 200, sessionAnswer(state.sessions[id]), { "set-cookie": cookie });
  }
  const [status, result] = operations[`${request.method.toLowerCase()} ${found.template}`]({
    ...context,
    body,
  });
  const wrong = answerDifference(found.operation, status, result);
  if (wrong) throw new Refusal(500, `The answer breaks the contract: ${wrong}.`);
  if (url.searchParams.get("format") === "csv") {
    response.writeHead(200, {
      "content-type": "text/csv; charset=utf-8",
      "content-disposition": `attachment; filename="${url.pathname.split("/").at(-1)}.csv"`,
    });
    return response.end(asCsv(result));
  }
  return answer(response, status, result);
}

function startStream(request, response, context) {
  const camera = context.query.get("camera");
  if (camera !== null && !cameras.has(camera)) throw new Refusal(404, `There is no camera ${camera}.`);
  const stream = new Stream(response, camera, context.session);
  streams.add(stream);
  request.on("close", () => streams.delete(stream));
}

function sendPicture(response, context) {
  const asked = context.query.get("frame");
  const camera = cameras.get(context.camera);
  const picture = camera.picture(asked === null ? undefined : Number(asked));
  if (!picture) throw new Refusal(404, "This frame is gone.");
  response.writeHead(200, {
    "content-type": "image/png",
    "cache-control": "no-store",
    frame: asked ?? camera.frame,
  });
  response.end(picture);
}

const types = {
  html: "text/html; charset=utf-8",
  js: "text/javascript; charset=utf-8",
  css: "text/css; charset=utf-8",
  svg: "image/svg+xml",
  txt: "text/plain; charset=utf-8",
};
function sendFile(request, response, path) {
  const name = path === "" ? "index.html" : path;
  if (!/^[\w.-]+$/.test(name) || !existsSync(dist + name)) throw new Refusal(404, "There is nothing here.");
  const bytes = readFileSync(dist + name);
  const etag = `"${createHash("sha256").update(bytes).digest("base64url").slice(0, 16)}"`;
  const headers = {
    etag,
    "cache-control": "no-cache",
    "content-security-policy":
      "default-src 'self'; frame-ancestors 'none'; base-uri 'none'; form-action 'self'",
    "x-content-type-options": "nosniff",
    "referrer-policy": "no-referrer",
  };
  if (request.headers["if-none-match"] === etag) {
    response.writeHead(304, headers);
    return response.end();
  }
  response.writeHead(200, {
    ...headers,
    "content-type": types[name.split(".").at(-1)] ?? "application/octet-stream",
    "content-encoding": "gzip",
  });
  return response.end(gzipSync(bytes));
}

// What a person who tries the page may want to see: POST dev/fault?camera=Entrance and dev/fault.
function provoke(url, response) {
  const camera = url.searchParams.get("camera");
  if (!camera) broken.clear();
  else
    broken.set(camera, {
      camera,
      level: "failed",
      code: "no_frames",
      text: `No frames come from ${camera}.`,
      values: { camera },
      since_us: nowUs(),
      since: zone.text(nowUs()),
    });
  for (const [name, c] of cameras) c.stopped = broken.has(name);
  for (const stream of streams) stream.send("health", health());
  answer(response, 204);
}

const server = createServer(async (request, response) => {
  try {
    const url = new URL(request.url, "http://localhost");
    if (!url.pathname.startsWith(prefix)) throw new Refusal(404, "There is nothing here.");
    url.pathname = "/" + url.pathname.slice(prefix.length);
    if (url.pathname === "/dev/fault" && request.method === "POST") provoke(url, response);
    else if (url.pathname.startsWith("/api/")) await handleApi(request, response, url);
    else sendFile(request, response, url.pathname.slice(1));
  } catch (error) {
    if (!(error instanceof Refusal)) console.error(error);
    if (response.headersSent) return response.end();
    const { status = 500, message, more = {} } = error;
    answer(
      response,
      status,
      { error: error instanceof Refusal ? message : "Something is wrong in the service.", ...more.body },
      more.retry ? { "retry-after": more.retry } : {},
    );
  }
});

let beat = 0;
setInterval(() => {
  for (const camera of cameras.values()) camera.step();
  ++beat;
  for (const stream of streams) {
    if (!state.sessions[stream.session] || state.sessions[stream.session].until < Date.now()) {
      stream.send("bye", { why: "session" });
      stream.response.end();
      streams.delete(stream);
      continue;
    }
    if (stream.camera !== null && beat % 2 === 0 && !cameras.get(stream.camera).stopped)
      stream.send("frame", cameras.get(stream.camera).newest().live);
    if (beat % 10 === 0) stream.sendCounts(beat % 60 === 0);
    if (beat % 150 === 0) stream.response.write(":\n\n");
  }
}, 1000 / 15);

function stop() {
  for (const stream of streams) {
    stream.send("bye", { why: "restart" });
    stream.response.end();
  }
  process.exit(0);
}
process.on("SIGTERM", stop);
process.on("SIGINT", stop);

server.listen(port, "127.0.0.1", () => {
  console.log(`http://127.0.0.1:${server.address().port}${prefix}`);
  const admin = state.users.admin;
  if (admin?.once) console.log(`Log in as admin with ${admin.password}`);
  else if (!firstStart)
    console.log("Log in as admin (open-the-shop), anna (draw-the-line) or tom (look-and-see)");
});
