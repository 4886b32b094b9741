"""A fresh Debian tree, booted, and mail servers beside it: what tools/try_packages works in."""
import os
import pathlib
import re
import socket
import subprocess
import threading
import time

TOP = pathlib.Path(__file__).resolve().parent.parent.parent
BOOT_PATIENCE = 120
# What the packages depend on: a tree keeps no lists to find anything more with.
INCLUDE = "systemd,systemd-sysv,dbus,libsqlite3-0,libsystemd0,libstdc++6,libcpp-httplib0.11,gzip,passwd,procps"


def run(*command, check=True, **options):
    done = subprocess.run([str(word) for word in command], text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          errors="replace", **options)
    if check and done.returncode != 0:
        raise AssertionError(f"{' '.join(map(str, command))} ended with {done.returncode}:\n{done.stdout[-3000:]}")
    return done.stdout if check else done


def wait_for(what, condition, seconds=60):
    deadline = time.monotonic() + seconds
    while not (result := condition()):
        if time.monotonic() > deadline:
            raise AssertionError(f"{what} did not come in {seconds} s")
        time.sleep(0.1)
    return result


class MailServer:
    """On an address of this machine's loopback that nobody else uses, so that port 25 is free there."""

    def __init__(self, scratch):
        self.address = f"127.{os.getpid() % 199 + 50}.{os.getpid() // 199 % 250 + 1}.25"
        self.maildir, self.port = scratch / "mail", scratch / "port"
        self.port.write_text("25\n")
        self.process = None

    def start(self):
        changed = self.port.stat().st_mtime_ns
        self.process = subprocess.Popen(["/usr/bin/python3", TOP / "tools/mail_server.py", self.maildir, self.port, self.address])
        wait_for("the mail server", lambda: self.port.stat().st_mtime_ns != changed, 20)

    def stop(self):
        if self.process:
            self.process.terminate()
            self.process.wait()
            self.process = None

    def mails(self):
        return [file.read_text(errors="replace") for file in sorted(self.maildir.glob("new/*"))]

    def times(self, text):
        return sum(text in mail for mail in self.mails())


class SlowServer(threading.Thread):
    """Takes one mail, and is slow to say so."""

    def __init__(self, address):
        super().__init__(daemon=True)
        self.listening = socket.create_server((address, 25))
        self.has_text, self.answered = threading.Event(), threading.Event()
        self.mail = ""

    def run(self):
        with self.listening, self.listening.accept()[0] as connection, connection.makefile("r", newline="\r\n") as lines:
            connection.sendall(b"220 slow\r\n")
            for line in lines:
                if line.startswith("DATA"):
                    connection.sendall(b"354 go on\r\n")
                    self.mail = "".join(iter(lines.readline, ".\r\n"))
                    self.has_text.set()
                    time.sleep(2)
                    self.answered.set()
                connection.sendall(b"221 bye\r\n" if line.startswith("QUIT") else b"250 well\r\n")


class Tree:
    """A fresh Debian, booted."""

    def __init__(self, scratch):
        self.path = scratch / "tree"
        self.nspawn = self.leader = None

    def make(self, fresh):
        if fresh:
            run("cp", "-a", fresh, self.path)
            return
        run("mmdebstrap", "--variant=minbase", f"--include={INCLUDE}", "bookworm", self.path,
            "/etc/apt/sources.list.d/debian.sources")

    def boot(self):
        self.nspawn = subprocess.Popen(["systemd-nspawn", "--quiet", "--keep-unit", "--register=no", "--boot", "--directory", self.path,
                                        "--machine", f"orv{os.getpid()}", "--console=pipe", "--resolv-conf=copy-host"],
                                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_for("a booted tree", self.is_up, BOOT_PATIENCE)

    def is_up(self):
        if self.nspawn.poll() is not None:
            raise AssertionError(f"systemd-nspawn ended with {self.nspawn.returncode}")
        children = run("ps", "-o", "pid=", "--ppid", self.nspawn.pid, check=False).stdout.split()
        if not children:
            return False
        self.leader = children[0]
        return self.status("systemctl is-system-running").stdout.strip() in ("running", "degraded")

    def words(self, command, user):
        words = ["nsenter", "--target", self.leader, "--all", "env", "-i", "PATH=/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL=C.UTF-8",
                 "DEBIAN_FRONTEND=noninteractive", "HOME=/root"]
        shell = ["sh", "-c", f"cd /srv/packages 2>/dev/null; {command}"]
        # As at a login: with the groups that the user has by now.
        as_user = shell if user == "root" else ["setpriv", f"--reuid={user}", f"--regid={user}", "--init-groups", *shell]
        return [*words, *as_user]

    def status(self, command, user="root", wait=60):
        return run(*self.words(command, user), check=False, stdin=subprocess.DEVNULL, timeout=wait)

    def begin(self, command, user="root"):
        return subprocess.Popen(self.words(command, user), text=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)

    def do(self, command, user="root", wait=60):
        done = self.status(command, user, wait)
        if done.returncode != 0:
            raise AssertionError(f"{command!r} as {user} ended with {done.returncode}: {done.stdout[-2000:]}")
        return done.stdout

    def pid(self, unit):
        return self.do(f"systemctl show --property=MainPID --value {unit}").strip()

    def host_pid(self, pid):
        """This machine's number of a process that the tree knows by another."""
        namespace = os.readlink(f"/proc/{self.leader}/ns/pid")
        for process in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                numbers = re.search(r"^NSpid:\t(.*)$", (process / "status").read_text(), re.M)[1].split()
                if numbers[-1] == pid and os.readlink(process / "ns/pid") == namespace:
                    return int(process.name)
            except OSError:
                continue  # it has ended meanwhile
        raise AssertionError(f"process {pid} has no number here")

    def off(self):
        if self.nspawn and self.nspawn.poll() is None:
            run("nsenter", "--target", self.leader, "--all", "systemctl", "poweroff", check=False)
            try:
                self.nspawn.wait(30)
            except subprocess.TimeoutExpired:
                self.nspawn.kill()
                self.nspawn.wait()
