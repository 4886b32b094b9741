#!/usr/bin/python3
"""Measures many switches on one host, each with a bus, a root, a daemon and a page of its own, watched by one monitoring system.

Usage: many_switches.py [SWITCHES] [BIN]      (50; BIN: where the programs are, build/release/bin)

Starts them, sends one event through each, lets prometheus scrape /metrics of all every five seconds where it is installed
(else does so itself), and tells what all of them take: memory (PSS) and processor time by program, and how long `metrics`
and `preview event` take beside them.
"""

import json
import os
import pathlib
import resource
import shutil
import socket
import statistics
import subprocess
import sys
import tempfile
import time
import urllib.request
from concurrent.futures import ThreadPoolExecutor

TOP = pathlib.Path(__file__).resolve().parent.parent
COUNT = int(sys.argv[1]) if len(sys.argv) > 1 else 50
BIN = pathlib.Path(sys.argv[2] if len(sys.argv) > 2 else TOP / "build/release/bin").resolve()
SECONDS = 30
SCRAPE = """global: {{scrape_interval: 5s, scrape_timeout: 4s}}
scrape_configs:
  - job_name: orvapp
    static_configs: [{{targets: [{targets}]}}]
"""


def wait_until(what, condition, seconds=60):
    deadline = time.monotonic() + seconds
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > deadline:
            raise TimeoutError(what)
        time.sleep(0.05)


class Switch:
    def __init__(self, directory, number, mail_port):
        self.directory = directory / f"switch{number}"
        (self.directory / "root").mkdir(parents=True)
        self.environment = dict(os.environ, HSB_ROOT=str(self.directory / "root"), TZ="UTC",
                                HSB_BUS=f"unix:path={self.directory}/bus")
        self.children = {}
        self.mail_port = mail_port

    def spawn(self, name, *command, **options):
        self.children[name] = subprocess.Popen([str(word) for word in command], env=self.environment,
                                               stderr=subprocess.DEVNULL, **options)
        return self.children[name]

    def ctl(self, *words):
        return subprocess.run([BIN / "switchctl", *words], env=self.environment, stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL, text=True, check=False)

    def start(self):
        bus = self.spawn("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--print-address=1",
                         "--address=" + self.environment["HSB_BUS"], stdout=subprocess.PIPE)
        bus.stdout.readline()
        self.spawn("switchd", BIN / "switchd", "--state", self.directory / "switchd")
        wait_until("switchd", lambda: self.ctl("attr", "get", "Config.Switch.SymName").returncode == 0)
        self.spawn("orvApp", BIN / "orvApp")
        self.ctl("wait", "orvApp", "started", "--timeout", "30")
        self.ctl("callhome", "setup", "--enable", "--from", "switch@example.com", "--smtp", f"1-127.0.0.1:{self.mail_port}")
        self.ctl("profile", "add", "Ops", "--level", "Alarm", "--format", "FullText", "--email", "ops@example.com")
        page = self.spawn("switchctl serve", BIN / "switchctl", "serve", "--listen", "127.0.0.1:0", stdout=subprocess.PIPE, text=True)
        self.address = page.stdout.readline().split()[-1]

    def stop(self):
        for child in reversed(self.children.values()):
            child.terminate()
            child.wait()


def pss_kib(pid):
    for line in pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines():
        if line.startswith("Pss:"):
            return int(line.split()[1])
    return 0


def cpu_ms(pid):
    return sum(int(task.read_text().split()[0]) for task in pathlib.Path(f"/proc/{pid}/task").glob("*/schedstat")) / 1e6


def monitored(directory, switches):
    """Whoever watches: a real one with a query for what it sees, or we."""
    if shutil.which("prometheus") is None:
        def scrape():
            texts = [urllib.request.urlopen(each.address + "metrics").read().decode() for each in switches]
            return sum("orvapp_up 1\n" in text for text in texts)
        return None, scrape
    targets = ", ".join(each.address.removeprefix("http://").rstrip("/") for each in switches)
    (directory / "prometheus.yml").write_text(SCRAPE.format(targets=targets))
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        listen = f"127.0.0.1:{probe.getsockname()[1]}"
    process = subprocess.Popen(["prometheus", f"--config.file={directory}/prometheus.yml", f"--storage.tsdb.path={directory}/tsdb",
                                f"--web.listen-address={listen}", "--log.level=error"])

    def query():
        try:
            with urllib.request.urlopen(f"http://{listen}/api/v1/query?query=sum(orvapp_up)") as answer:
                result = json.load(answer)["data"]["result"]
        except OSError:
            return 0
        return int(float(result[0]["value"][1])) if result else 0
    return process, query


def milliseconds(switch, *words):
    """Of the clock and of a processor, what the command starts included."""
    spans, used = [], []
    for _ in range(9):
        before, begin = resource.getrusage(resource.RUSAGE_CHILDREN), time.monotonic()
        if switch.ctl(*words).returncode != 0:
            raise RuntimeError(" ".join(words))
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        spans.append((time.monotonic() - begin) * 1000)
        used.append((after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime) * 1000)
    return statistics.median(spans), statistics.median(used)


def tell(switches, query):
    names = list(switches[0].children)
    before = {name: sum(cpu_ms(each.children[name].pid) for each in switches) for name in names}
    begin = time.monotonic()
    while time.monotonic() < begin + SECONDS:
        query()
        time.sleep(5)
    span = time.monotonic() - begin
    print(f"{'program':<18} {'PSS of all, MB':>15} {'of one, MB':>11} {'CPU of all, ms/s':>17} {'of one':>7}")
    for name in names:
        memory = sum(pss_kib(each.children[name].pid) for each in switches) / 1024
        used = (sum(cpu_ms(each.children[name].pid) for each in switches) - before[name]) / span
        print(f"{name:<18} {memory:>15.1f} {memory / len(switches):>11.2f} {used:>17.1f} {used / len(switches):>7.2f}")
    for words in (("metrics",), ("preview", "event", "--type", "0", "--number", "0x10002", "a fan has stopped")):
        span, used = milliseconds(switches[0], *words)
        print(f"switchctl {' '.join(words[:2]):<14} {span:>6.0f} ms, {used:.0f} ms of a processor")


def main():
    directory = pathlib.Path(tempfile.mkdtemp(prefix="orv-many-"))
    mails = directory / "mails"
    server = subprocess.Popen(["/usr/bin/python3", TOP / "tools/mail_server.py", mails, directory / "port"])
    switches, watcher = [], None
    try:
        wait_until("the mail server", (directory / "port").exists)
        port = (directory / "port").read_text().strip()
        switches = [Switch(directory, number, port) for number in range(COUNT)]
        with ThreadPoolExecutor(4) as starters:
            list(starters.map(Switch.start, switches))
        for each in switches:
            wait_until("a switch that can send", lambda each=each: each.ctl("status").returncode == 0)
            each.ctl("event", "log", "--type", "0", "--number", "0x10002", "a fan has stopped")
        wait_until("a mail of each", lambda: len(list((mails / "new").glob("*"))) >= COUNT)
        watcher, query = monitored(directory, switches)
        seen = wait_until("all are up", lambda: query() == COUNT and COUNT)
        print(f"{seen} switches are up, as {'prometheus' if watcher else 'a scrape of each'} sees them; each has mailed")
        tell(switches, query)
    finally:
        for process in [*([watcher] if watcher else []), server]:
            process.terminate()
            process.wait()
        for each in switches:
            each.stop()
        shutil.rmtree(directory)


if __name__ == "__main__":
    main()
