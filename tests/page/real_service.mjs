// `vca serve` with three simulated cameras in a folder of its own: VCA_PROGRAM is the program, which
// finds the page beside itself.
import { execFileSync, spawn } from "node:child_process";
import { mkdtempSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join, resolve } from "node:path";

const placeFile = (port, tls) => `place = "corner-shop"
time_zone = "Europe/Vienna"
[[camera]]
name = "Entrance"
scene = "doorway"
[[camera]]
name = "Back_door"
scene = "doorway"
seed = 2
[[camera]]
name = "Gallery"
scene = "gallery"
[[area]]
name = "shop"
capacity = 40
[[entrance]]
camera = "Entrance"
line = "door"
area = "shop"
[web]
port = ${port}
${tls ? 'certificate = "own.pem"\nkey = "own.key"\n' : ""}`;

// For this machine, signed by itself.
export const makeCertificate = (folder) =>
  execFileSync("openssl", [
    ...["req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-noenc", "-days", "2"],
    ...["-subj", "/CN=localhost", "-addext", "subjectAltName=IP:127.0.0.1"],
    ...["-keyout", join(folder, "own.key"), "-out", join(folder, "own.pem")],
  ], { stdio: "pipe" });

export class RealService {
  constructor(program, port, tls = false) {
    this.program = resolve(program);
    this.port = port;
    this.url = `${tls ? "https" : "http"}://127.0.0.1:${port}/`;
    this.folder = mkdtempSync(join(tmpdir(), "vca-place-"));
    writeFileSync(join(this.folder, "vca.toml"), placeFile(port, tls));
    if (tls) makeCertificate(this.folder);
  }

  // What it says when it has begun is in `text`.
  begin() {
    return new Promise((done, failed) => {
      this.text = "";
      // Whatever ends the test ends the service, and the service its cameras.
      const command = ["--pdeathsig", "TERM", "--", this.program, "serve", "--config", "vca.toml"];
      this.process = spawn("setpriv", command, {
        cwd: this.folder,
        stdio: ["ignore", "pipe", "pipe"],
      });
      this.process.stdout.on("data", (data) => {
        this.text += data;
        if (this.text.includes(`the page: ${this.url}\n`)) done();
      });
      let errors = "";
      this.process.stderr.on("data", (data) => (errors += data));
      this.process.on("exit", () => failed(new Error(`the service ended: ${errors}`)));
    });
  }

  get oneTimePassword() {
    return /one-time password (\S+)/.exec(this.text)?.[1];
  }

  // What another program of the machine is told, such as `vca counts`.
  vca(...words) {
    return execFileSync(this.program, [...words, "--config", "vca.toml"], {
      cwd: this.folder,
      encoding: "utf8",
    });
  }
  // People by camera, line and direction.
  counted() {
    const counts = new Map();
    for (const row of JSON.parse(this.vca("counts", "--format", "json"))) {
      const key = `${row.device} ${row.line} ${row.direction}`;
      counts.set(key, row.adult + row.child + row.staff);
    }
    return counts;
  }

  // People in both directions together.
  countedAt(camera, line) {
    const counts = this.counted();
    return [1, 2].reduce((sum, direction) => sum + (counts.get(`${camera} ${line} ${direction}`) ?? 0), 0);
  }

  kill(signal = "SIGKILL") {
    return new Promise((done) => {
      this.process.removeAllListeners("exit");
      this.process.on("exit", done);
      this.process.kill(signal);
    });
  }

  async end() {
    if (this.process.exitCode === null && this.process.signalCode === null) await this.kill("SIGTERM");
    rmSync(this.folder, { recursive: true, force: true });
  }
}
