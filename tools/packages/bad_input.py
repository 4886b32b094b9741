"""What keeps an installed switch from starting: one line that says it, a status that is not 0, and an end of the tries."""
import contextlib
import pathlib
import re
import sqlite3
import time

from packages.booted import ROOT, Booted
from packages.tree import wait_for

BUS = "HSB_BUS=unix:path=/run/dbus/system_bus_socket"
NOWHERE = "HSB_BUS=unix:path=/nowhere"
POLICY = "/usr/share/dbus-1/system.d/orvapp.conf"
STORE = "/var/lib/switchd/switch.db"
MOST_TRIES = 5


class BadInput(Booted):
    # By hand, as the services' user.

    def fails_in_one_line(self, command, line, status=1, user="orvapp"):
        done = self.tree.status(command, user)
        lines = [one for one in done.stdout.splitlines() if line in one]
        assert done.returncode == status and len(lines) == 1, f"{command!r} ended with {done.returncode}: {done.stdout}"

    def bad_inputs(self):
        switchd = "switchd --state"
        self.fails_in_one_line(f"{NOWHERE} {switchd} /tmp/s1", "cannot connect with the bus unix:path=/nowhere: ")
        self.fails_in_one_line(f"{BUS} {switchd} /tmp/s2", "another switchd runs on this bus")
        self.fails_in_one_line(f"{BUS} {switchd} /root/s3", "cannot create the directory /root/s3: Permission denied")
        self.fails_in_one_line(f"HSB_ROOT={ROOT} {BUS} orvApp", "another daemon serves this switch")

    # Through the units.

    def bad_starts(self):
        """Each: the unit that cannot start, what is done to it, what undoes that, and the line; none where status has it."""
        without_policy = f"mv {POLICY} /root/policy && systemctl reload dbus", f"mv /root/policy {POLICY} && systemctl reload dbus"
        cases = {
            "a missing directory of the host root":
                ("orvapp", f"mv {ROOT}/tmp {ROOT}/tmp.away", f"systemd-tmpfiles --create orvapp.conf; rm -r {ROOT}/tmp.away",
                 f"the directory {ROOT}/tmp is missing"),
            "a directory of another owner":
                ("orvapp", f"chown stranger {ROOT}/ostrel/conf", f"chown -R orvapp:orvapp {ROOT}",
                 "belongs to another user than orvapp"),
            "a store of another owner":
                ("switchd", f"chown stranger {STORE} && chmod 600 {STORE}", f"chown orvapp {STORE}", STORE),
            "no bus for switchd": ("switchd", *self.elsewhere("switchd"), "cannot connect with the bus unix:path=/nowhere: "),
            "no bus for orvapp": ("orvapp", *self.elsewhere("orvapp"), "cannot connect with the bus unix:path=/nowhere: "),
            "no policy": ("switchd", *without_policy, "cannot take the name hsb.Switchd: Permission denied"),
            "a full disk for switchd": ("switchd", *self.full("/var/lib/switchd"), "switchd: "),
            "a full disk for orvapp": ("orvapp", *self.full(ROOT, "ostrel/conf", "tmp"), None),
            "a newer version's store":
                ("switchd", self.renumber_store(999), self.renumber_store(1), "has layout 999, this program knows layout 1"),
        }
        tries = [self.start_fails(name, *case) for name, case in cases.items()]
        return f"{len(cases)} cases, {min(tries)} to {max(tries)} restarts each"

    @staticmethod
    def elsewhere(unit):
        place = f"/run/systemd/system/{unit}.service.d"
        return (f"mkdir -p {place} && printf '[Service]\\nEnvironment={NOWHERE}\\n' >{place}/test.conf && systemctl daemon-reload",
                f"rm -r {place} && systemctl daemon-reload")

    @staticmethod
    def full(place, *directories):
        made = " ".join(f"{place}/{name}" for name in directories)
        return (f"mount -t tmpfs -o size=64k,mode=750,uid=$(id -u orvapp),gid=$(id -g orvapp) none {place} && "
                + (f"install -d -o orvapp -g orvapp {made} && " if made else "")
                + f"! dd if=/dev/zero of={place}/filled 2>/dev/null", f"umount {place}")

    def renumber_store(self, layout):
        def renumber():
            store = pathlib.Path(f"/proc/{self.tree.leader}/root{STORE}")
            copy = self.scratch / "switch.db"  # SQLite does not see through the other's root
            copy.write_bytes(store.read_bytes())
            with contextlib.closing(sqlite3.connect(copy)) as database:
                assert database.execute("PRAGMA user_version").fetchone()[0] != layout
                database.execute(f"PRAGMA user_version = {layout}")
            store.write_bytes(copy.read_bytes())
        return renumber

    def carry_out(self, step):
        return step() if callable(step) else self.tree.do(step)

    def start_fails(self, name, unit, damage, repair, line):
        self.tree.do("systemctl stop orvapp switchd && systemctl reset-failed")
        if unit == "orvapp":
            self.tree.do("systemctl start switchd")
        self.carry_out(damage)
        since = time.time()
        try:
            assert self.tree.status(f"systemctl start {unit}", wait=120).returncode != 0, f"{name}: it starts"
            tries = self.given_up(unit)
            said = self.journal(since)
            if line:
                found, starts = (sum(text in one for one in said.splitlines()) for text in (line, f"Starting {unit}.service"))
                assert found == starts > 0, f"{name}: {found} lines with {line!r} for {starts} starts in\n{said}"
            else:
                cause = self.tree.status("switchctl status").stdout
                assert "orvApp does not run" in cause and "the flash is full: 0 bytes" in cause, f"{name}: {cause}\n{said}"
        finally:
            self.carry_out(repair)
            self.begin_again()
        return tries

    def journal(self, since):
        """Of all units: a process that is gone before its line is looked at may have none any more."""
        return self.tree.do(f"journalctl --no-pager --output cat --since @{since:.3f}")

    def given_up(self, unit):
        """The number of restarts that came before."""
        wait_for("an end of the tries", lambda: "ActiveState=failed" in
                 self.tree.do(f"systemctl show --property=ActiveState {unit}"), 60)
        tries = int(self.tree.do(f"systemctl show --property=NRestarts --value {unit}"))
        assert tries <= MOST_TRIES, f"{tries} restarts"
        return tries

    def never_ready(self):
        """The daemon's own way with what it cannot do is to end with status 0: the unit fails all the same."""
        self.tree.do(f"systemctl stop orvapp && cd {ROOT}/ostrel/conf/orv/callHome && mv capture.seq seq.away && mkdir capture.seq")
        began = time.monotonic()
        assert self.tree.status("systemctl start orvapp", wait=90).returncode != 0
        tries = self.given_up("orvapp")
        cause = re.search(r"orvApp does not run.*", self.tree.status("switchctl status").stdout)
        self.tree.do(f"cd {ROOT}/ostrel/conf/orv/callHome && rmdir capture.seq && mv seq.away capture.seq")
        self.begin_again()
        assert cause and len(cause[0]) > len("orvApp does not run"), cause
        return f"{tries} restarts in {time.monotonic() - began:.0f} s, then it stays down; status says: {cause[0]}"

    def waits_for_the_bus(self):
        """A bus that takes connections and does not answer is waited for, aloud."""
        self.tree.do("systemctl stop orvapp switchd")
        bus = self.tree.pid("dbus")
        since = time.time()
        self.tree.do(f"kill -STOP {bus}")
        try:
            self.tree.do("systemctl start --no-block switchd")
            wait_for("a word about it", lambda: "hsb: waiting for the bus " in self.journal(since), 30)
        finally:
            self.tree.do(f"kill -CONT {bus}")
        self.begin_again()

    def nameless(self):
        """Its name keeps a second daemon away, as the lock on its files does: without it the daemon says so, and serves."""
        self.tree.do(f"systemctl stop orvapp && sed -i.bak /hsb.OrvApp/d {POLICY} && systemctl reload dbus")
        since = time.time()
        try:
            self.tree.do("systemctl start orvapp", wait=90)
            assert "cannot take the name hsb.OrvApp against a second daemon: Permission denied" in self.journal(since)
            self.fails_in_one_line(f"HSB_ROOT={ROOT} {BUS} orvApp", "another daemon serves this switch")
            self.event("from a daemon without a name")
            self.mailed_once("from a daemon without a name")
        finally:
            self.tree.do(f"mv {POLICY}.bak {POLICY} && systemctl reload dbus && systemctl restart orvapp", wait=90)
        wait_for("services that serve", self.serves)

    def foreign_directory(self):
        """Its owner is put right by the service manager, before anything runs."""
        self.tree.do("systemctl stop orvapp switchd && chown -R stranger:stranger /var/lib/switchd")
        self.begin_again()
        owners = self.tree.do("find /var/lib/switchd -printf '%u\\n' | sort -u")
        assert owners == "orvapp\n", owners
