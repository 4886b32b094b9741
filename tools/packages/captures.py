"""Captures as the installed daemon runs them: commands of the switch under the unit's restrictions."""
import datetime
import email
import email.policy
import gzip
import os
import pathlib
import random
import re
import time

from packages.booted import ROOT, Booted
from packages.outcome import Skip
from packages.tree import wait_for

SUPPORT = f"{ROOT}/ostrel/bin/clish"
# The first goes with the shell of the capture; the second has left its group.
SLOW = """#!/bin/sh
trap '' TERM
setsid sh -c "trap '' TERM; exec sleep 54321" &
sleep 54321
"""
REPORTING = f"""#!/bin/sh
cat /srv/packages/report >{ROOT}/tmp/smlCapture.txt
"""
LARGE = 50_000_000
# As much as a mail of 2,000,000 bytes has room for, compressed and encoded.
DENSE = 1_300_000
BOTH = "pgrep -c -f 'sleep 5432[1]'"


class Captures(Booted):
    def support(self, script):
        place = self.tree.path / SUPPORT.lstrip("/")
        place.write_text(script)
        place.chmod(0o755)

    def capture_soon(self):
        """In the next minute that is far enough away. Checks come every second here, not every minute."""
        self.override("orvapp", "Environment=HSB_TIME_SCALE=60")
        self.tree.do("systemctl restart orvapp", wait=90)
        if self.tree.status("switchctl profile show Support").returncode != 0:
            self.tree.do("switchctl profile add Support --level None --format FullText --email support@example.com")
        now = datetime.datetime.fromisoformat(self.tree.do("date +%Y-%m-%dT%H:%M:%S").strip())
        due = now + datetime.timedelta(seconds=65)
        self.tree.do(f"switchctl profile set Support --capture {due:%a,%H:%M},1")

    def stopped_while_capturing(self):
        """The daemon ends the capture's own processes; what has made itself independent goes with the unit."""
        self.support(SLOW)
        said = []
        for how in ("systemctl stop orvapp", "systemctl kill --signal=KILL --kill-who=main orvapp"):
            self.capture_soon()
            wait_for("a capture", lambda: self.tree.status(BOTH).stdout.strip() == "2", 90)
            began = time.monotonic()
            self.tree.do(how)
            wait_for(f"an end of the capture's commands after {how!r}", lambda: self.tree.status(BOTH).returncode == 1, 30)
            said.append(f"{time.monotonic() - began:.1f} s after {how!r}")
            self.begin_again()
        self.after_captures()
        return "nothing runs any more " + ", ".join(said)

    def after_captures(self):
        self.tree.do(f"switchctl profile remove Support; rm -f {SUPPORT}")
        self.as_shipped("orvapp")
        self.tree.do("systemctl restart orvapp", wait=90)
        wait_for("a daemon that serves", self.serves)

    def fits_the_memory(self):
        """50 MB of report and 50 MB of log: the one is mailed whole, the other is larger than any mail."""
        noise = random.Random(1)
        report = noise.randbytes(DENSE) + bytes(LARGE - DENSE)
        (self.tree.path / "srv/packages/report").write_bytes(report)
        log = self.tree.path / ROOT.lstrip("/") / "ostrel/conf/logfile"
        log.write_bytes(noise.randbytes(LARGE))
        log.chmod(0o644)
        self.support(REPORTING)
        self.tree.do("switchctl attr set Global.Callhome.FileSystemSpaceAllowed=200000000")
        self.capture_soon()
        daemon = self.tree.pid("orvapp")
        group = self.limited(self.tree.host_pid(daemon))
        wait_for("the capture's mail", lambda: self.server.times("-CallHome-CronCapture-"), 180)
        assert self.tree.pid("orvapp") == daemon, "another daemon runs now"
        assert group.killed() == 0, f"{group.killed()} processes were killed for want of memory"
        self.judge(report)
        self.tree.do("switchctl attr set Global.Callhome.FileSystemSpaceAllowed=5120000")
        log.unlink()
        peak = re.search(r"VmHWM:\s+(\d+) kB", self.tree.do(f"cat /proc/{daemon}/status"))[1]
        said = f"{group}; the daemon itself {int(peak) >> 10} MB at most"
        self.after_captures()
        group.off()
        return said

    def judge(self, report):
        text = next(mail for mail in self.server.mails() if "-CallHome-CronCapture-" in mail)
        parts = list(email.message_from_string(text, policy=email.policy.default).iter_attachments())
        assert parts[0].get_filename() == "smlCapture.txt.gz", parts[0]
        assert gzip.decompress(parts[0].get_payload(decode=True)) == report, "the attachment is not what was captured"
        assert "logfile.gz" in parts[1].get_content() and "could not be included" in parts[1].get_content(), parts[1]

    def limited(self, process):
        """The group that keeps the unit's limit: its own where the tree has a controller for it, else one made by hand."""
        limit = int(self.tree.do("systemctl show --property=MemoryMax --value orvapp"))
        own = re.search(r"^0::/(.*)$", pathlib.Path(f"/proc/{process}/cgroup").read_text(), re.M)
        if own and (pathlib.Path("/sys/fs/cgroup") / own[1] / "memory.max").exists():
            group = Group(pathlib.Path("/sys/fs/cgroup") / own[1], "memory.max", "memory.peak", "memory.events", limit)
            assert group.limit() == limit, f"the unit's limit is {limit}, its group's {group.limit()}"
            return group
        top = pathlib.Path("/sys/fs/cgroup/memory")
        if not (top / "memory.limit_in_bytes").exists():
            raise Skip("no group of this machine limits memory")
        (top / f"orv-{os.getpid()}").mkdir()
        group = Group(top / f"orv-{os.getpid()}", "memory.limit_in_bytes", "memory.max_usage_in_bytes", "memory.oom_control", limit)
        (group.path / group.names[0]).write_text(str(limit))
        (group.path / "cgroup.procs").write_text(str(process))
        return group


class Group:
    def __init__(self, path, limit, peak, events, expected):
        self.path, self.names, self.expected = path, (limit, peak, events), expected

    def read(self, which):
        return (self.path / self.names[which]).read_text()

    def limit(self):
        return int(self.read(0))

    def killed(self):
        return int(re.search(r"oom_kill (\d+)", self.read(2))[1])

    def __str__(self):
        peak = int(self.read(1)) >> 20 if (self.path / self.names[1]).exists() else 0
        return f"files and processes {peak} MB of {self.expected >> 20}"

    def off(self):
        if self.names[0] != "memory.max":
            self.path.rmdir()
