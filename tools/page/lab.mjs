// A bus, a switch, its daemon, a mail server and the page, on paths and ports of their own.
import {execFile, spawn} from "node:child_process";
import {createWriteStream, existsSync, mkdirSync, mkdtempSync, readFileSync, readdirSync, rmSync, statSync} from "node:fs";
import {tmpdir} from "node:os";
import {join} from "node:path";
import {setTimeout as pause} from "node:timers/promises";
import {promisify} from "node:util";

const run = promisify(execFile);

// Comes back with what the condition gives as soon as that is true.
export async function until(what, condition, seconds = 30) {
  const end = Date.now() + seconds * 1000;
  for (;;) {
    const result = await condition();
    if (result) return result;
    if (Date.now() > end) throw new Error(`not within ${seconds} s: ${what}`);
    await pause(50);
  }
}

export class Lab {
  constructor(programs, top) {
    this.programs = programs;
    this.top = top;
    this.directory = mkdtempSync(join(tmpdir(), "orv-page-"));
    mkdirSync(join(this.directory, "root"));
    this.children = {};
    this.env = {...process.env, HSB_ROOT: join(this.directory, "root"), TZ: "UTC", LC_ALL: "C.UTF-8"};
  }

  spawn(name, program, words) {
    const child = spawn(program, words, {env: this.env, stdio: ["ignore", "pipe", "pipe"]});
    child.stderr.pipe(createWriteStream(join(this.directory, `${name}.log`)));
    child.said = "";
    child.stdout.on("data", (data) => { child.said += data; });
    child.ended = new Promise((resolve) => { child.on("exit", resolve); });
    this.children[name] = child;
    return child;
  }
  program(name) { return join(this.programs, name); }

  async start() {
    const bus = this.spawn("bus", "dbus-daemon", ["--session", "--nofork", "--print-address=1",
      `--address=unix:path=${join(this.directory, "bus")}`]);
    this.env.HSB_BUS = (await until("the bus", () => /\n/.test(bus.said) && bus.said)).trim();
    this.startSwitch();
    await until("the switch", () => this.answers());
    await this.startDaemon();
  }
  async answers() {
    try {
      await this.ctl("attr", "get", "Config.Switch.SymName");
      return true;
    } catch {
      return false;
    }
  }
  startSwitch() { this.spawn("switchd", this.program("switchd"), ["--state", join(this.directory, "switchd")]); }
  async startDaemon() {
    this.spawn("orvApp", this.program("orvApp"), []);
    await this.ctl("wait", "orvApp", "started", "--timeout", "30");
  }
  // On the port that it had before, where it had one.
  async startMailServer(name, address = "127.0.0.1") {
    const port = join(this.directory, `${name}.port`);
    this.spawn(name, "/usr/bin/python3", [join(this.top, "tools/mail_server.py"), join(this.directory, name), port, address]);
    await until("the mail server", () => existsSync(port));
    return Number(readFileSync(port, "ascii"));
  }
  // Where the page is, with its token where it has one.
  async startPage(...words) {
    const page = this.spawn("serve", this.program("switchctl"), ["serve", "--listen", "127.0.0.1:0", ...words]);
    return (await until("the page's address", () => /at (http\S+)\n/.exec(page.said)))[1];
  }

  async ctl(...words) {
    return (await run(this.program("switchctl"), words, {env: this.env, timeout: 60000})).stdout;
  }
  async end(name, signal = "SIGTERM") {
    const child = this.children[name];
    delete this.children[name];
    child.kill(signal);
    await child.ended;
  }
  async stop() {
    for (const name of Object.keys(this.children).reverse()) await this.end(name);
    rmSync(this.directory, {recursive: true, force: true});
  }

  mails(name) {
    const box = join(this.directory, name, "new");
    return existsSync(box) ? readdirSync(box).map((mail) => readFileSync(join(box, mail), "utf8")) : [];
  }
  traceSize() { return statSync(join(this.env.HSB_ROOT, "tmp/orv.out.Main")).size; }
  // What the process has had of a processor, in milliseconds, its threads included.
  cpu(name) {
    const tasks = `/proc/${this.children[name].pid}/task`;
    return readdirSync(tasks).reduce((all, task) => all + Number(readFileSync(join(tasks, task, "schedstat"), "ascii").split(" ")[0]) / 1e6, 0);
  }
  // The most memory that it has ever had, in kB.
  memory(name) { return Number(/VmHWM:\s*(\d+)/.exec(readFileSync(`/proc/${this.children[name].pid}/status`, "ascii"))[1]); }
}
