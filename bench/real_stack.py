"""The real processes that the benchmarks run: bus, switch, mail sink, daemon, and the floor beside it.

Everything stands in a directory in memory. The daemon, the sink and the floor share one core, all else has the other.
"""

import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import time

# Where the programs are: those of the bench preset, unless ORV_BIN says otherwise.
BIN = pathlib.Path(os.environ.get("ORV_BIN") or pathlib.Path(__file__).resolve().parent.parent / "build/bench/bin")
SERVED, SERVING = 1, 0  # the cores of daemon, sink and floor; and of the rest

BUS_CONFIG = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig><type>session</type><listen>unix:path={socket}</listen><auth>EXTERNAL</auth>
<policy context="default"><allow send_destination="*" eavesdrop="false"/><allow receive_sender="*"/><allow own="*"/>
</policy></busconfig>
"""


def wait_until(condition, what, seconds=60.0):
    """Polls a condition; raises when it does not come true in time."""
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            raise TimeoutError(what)
        time.sleep(0.0005)


def cpu_us(pid):
    """Microseconds of processor time that the living threads of a process have used."""
    total = 0
    for thread in pathlib.Path(f"/proc/{pid}/task").iterdir():
        total += int((thread / "schedstat").read_text().split()[0])
    return total / 1000


def memory_kib(pid, what):
    """Pss, Private_Dirty or another sum over all that a process has mapped, in KiB."""
    for line in pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines():
        if line.startswith(what + ":"):
            return int(line.split()[1])
    raise RuntimeError(f"no {what} of process {pid}")


def pss_kib(pid):
    """Proportional set size in KiB."""
    return memory_kib(pid, "Pss")


def figures(text):
    """'name 1 other 2' as a dictionary."""
    words = text.split()
    return {name: int(value) for name, value in zip(words[::2], words[1::2])}


class Sink:
    """A mail server that takes everything; end() gives its figures."""

    def __init__(self, directory, port=None):
        self.port_file = directory / "sink.port"
        self.port_file.unlink(missing_ok=True)
        command = ["taskset", "-c", str(SERVED), BIN / "mail_sink", self.port_file] + ([str(port)] if port else [])
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
        wait_until(self.port_file.exists, "the sink does not listen")
        self.port = int(self.port_file.read_text())

    def taken(self):
        """Mails taken until now."""
        text = self.port_file.with_suffix(".port.mails").read_text()
        return int(text) if text.endswith("\n") else 0

    def hold(self):
        self.process.send_signal(signal.SIGUSR1)
        time.sleep(0.05)

    def release(self):
        self.process.send_signal(signal.SIGUSR2)

    def end(self):
        self.process.terminate()
        result = figures(self.process.communicate(timeout=10)[0])
        result["span_us"] = result["last_us"] - result["first_us"]
        return result


class Stack:
    """A switch of its own, without a daemon until start_daemon(), and where nothing is mailed without a sink."""

    def __init__(self, with_sink=True):
        self.directory = pathlib.Path(tempfile.mkdtemp(prefix="orv-bench-", dir="/dev/shm"))
        self.root = self.directory / "root"
        self.root.mkdir()
        self.children = []
        self.daemon = None
        self.published = 0
        self.environment = dict(os.environ, HSB_ROOT=str(self.root), TZ="UTC")
        config = self.directory / "bus.conf"
        config.write_text(BUS_CONFIG.format(socket=self.directory / "bus"))
        bus = self.spawn(["dbus-daemon", f"--config-file={config}", "--nofork", "--print-address=1"],
                         stdout=subprocess.PIPE, text=True)
        self.environment["HSB_BUS"] = bus.stdout.readline().strip()
        self.start_switchd()
        self.sink = Sink(self.directory) if with_sink else None
        self.port = self.sink.port if with_sink else 1

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop_daemon()
        if self.sink is not None:
            self.sink.process.kill()
        for child in reversed(self.children):
            child.terminate()
            child.wait()
        shutil.rmtree(self.directory)

    def start_switchd(self):
        self.switchd = self.spawn([BIN / "switchd", "--state", self.directory / "switchd"])
        self.ctl("attr", "get", "Config.Switch.SymName")  # when that answers, the switch's directories are there

    def stop_switchd(self):
        self.switchd.terminate()
        self.switchd.wait()

    def spawn(self, command, core=SERVING, **options):
        options.setdefault("env", self.environment)
        child = subprocess.Popen(["taskset", "-c", str(core)] + [str(word) for word in command], **options)
        self.children.append(child)
        return child

    def run(self, command, core=SERVING):
        done = subprocess.run(["taskset", "-c", str(core)] + [str(word) for word in command], env=self.environment,
                              stdout=subprocess.PIPE, text=True, check=True)
        return done.stdout

    def ctl(self, *words):
        return self.run([BIN / "switchctl", *words])

    def configure(self):
        """One profile for everything, one server, and room for everything."""
        self.ctl("attr", "set", "Global.Callhome.FilesAllowed=100000",
                 "Global.Callhome.FileSystemSpaceAllowed=2000000000")
        self.ctl("callhome", "setup", "--enable", "--from", "switch@example.com", "--smtp",
                 f"1-127.0.0.1:{self.port}")
        self.add_profile()

    def add_profile(self, *more):
        self.ctl("profile", "add", "Operators", "--level", "Alarm", "--format", "FullText", "--email",
                 "operator@example.com", "--max-size", "2000000", *more)

    def start_daemon(self, **environment):
        self.daemon = subprocess.Popen(["taskset", "-c", str(SERVED), str(BIN / "orvApp")],
                                       env=dict(self.environment, **environment))

    def ready(self):
        """Waits until the daemon is open for business with its profile."""
        self.ctl("wait", "orvApp", "started", "--timeout", "30")
        wait_until(lambda: "Operators" in self.processed(), "the profile is not in use")

    def processed(self):
        """What the daemon says of its profiles; nothing while it reads them."""
        return subprocess.run([BIN / "switchctl", "callhome", "processed"], env=self.environment,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=False).stdout

    def stop_daemon(self):
        if self.daemon is not None:
            self.daemon.terminate()
            self.daemon.wait()
            self.daemon = None

    def publish(self, count, pause_us=0, length=200):
        self.run([BIN / "publish", count, self.published, pause_us, length])
        self.published += count

    @property
    def queue(self):
        return self.root / "ostrel/conf/orv/callHome/queues/send"

    def waiting(self):
        """Entries that the order file lists."""
        try:
            return (self.queue / "order").stat().st_size // 4 - 1
        except FileNotFoundError:
            return 0

    def wait_waiting(self, count):
        wait_until(lambda: self.waiting() == count, f"{self.waiting()} entries wait instead of {count}")

    def wait_taken(self, count):
        """Waits until the sink has so many mails and the daemon has put them away."""
        wait_until(lambda: self.sink.taken() >= count, f"fewer than {count} mails arrive")
        self.wait_waiting(0)

    def fresh_sink(self):
        """Ends the sink, gives its figures, and puts a new one in its place."""
        result = self.sink.end()
        self.sink = Sink(self.directory, self.port)
        return result

    def floor(self, mode, mails, lines, length, *care):
        """Runs the floor against the sink, bare or with the care that is "required"; its figures and the sink's."""
        scratch = self.directory / "floor"
        scratch.mkdir(exist_ok=True)
        self.fresh_sink()
        own = figures(self.run([BIN / "floor", mode, mails, self.port, scratch, lines, length, *care],
                               SERVED))
        return own, self.fresh_sink()
