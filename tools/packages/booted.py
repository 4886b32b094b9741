"""An installed switch in a booted tree: what all trials of it need."""
import re
import shutil
import time

from packages.tree import TOP, wait_for

ROOT = "/var/lib/orvapp/root"
DROP_INS = "/run/systemd/system"


class Booted:
    """Needs: tree, server, first, next."""

    def put(self):
        place = self.tree.path / "srv/packages"
        (place / "new").mkdir(parents=True)
        for file in self.first.glob("*.deb"):
            shutil.copy(file, place)
        for file in self.next.glob("*.deb"):
            shutil.copy(file, place / "new")
        with (self.tree.path / "etc/hosts").open("a") as hosts:
            hosts.write(f"127.0.0.1 localhost\n{self.server.address} mail.example.com\n")

    def install(self):
        self.put()
        self.tree.do("useradd --create-home alice && useradd stranger")
        self.server.start()

    def section(self, title):
        """Executes the commands of one section of docs/install.md and compares what they print."""
        text = (TOP / "docs/install.md").read_text().split(f"\n## {title}\n")[1].split("\n## ")[0]
        steps = []
        for block in re.findall(r"```console\n(.*?)```", text, re.S):
            for line in block.splitlines():
                if line[:2] in ("# ", "$ "):
                    steps.append(("root" if line[0] == "#" else "alice", line[2:], []))
                else:
                    steps[-1][2].append(line)
        for user, command, expected in steps:
            self.step(user, command, expected)

    def step(self, user, command, expected):
        pattern = "".join(".*" if line == "..." else re.escape(line).replace(r"\.\.\.", ".*") + r"\n" for line in expected)
        words = re.sub("^apt ", "apt-get --yes ", command)
        good = (0, 2) if command.startswith("ls -d") else (0,)
        for _ in range(100):
            done = self.tree.status(words, user, 180)
            holds = done.returncode in good and (not expected or re.fullmatch(pattern, done.stdout, re.S))
            # The daemon takes a moment to read what has just been set, or to come back.
            if holds or not re.search("callhome test|is-active", command):
                break
            time.sleep(0.1)
        assert holds, f"{command!r} as {user} ended with {done.returncode} and printed:\n{done.stdout[-2000:]}"

    def event(self, text):
        self.tree.do(f'switchctl event log --type 0 --number 0x00010002 --slot 3 "{text}"')

    def mailed_once(self, text):
        wait_for(f"the mail about {text!r}", lambda: self.server.times(text))
        assert self.server.times(text) == 1, f"{self.server.times(text)} mails about {text!r}"

    def each_once(self, texts):
        """What has waited in the queue."""
        for text in texts:
            wait_for(f"the mail about {text!r}", lambda: self.server.times(text), 400)
        wait_for("an empty queue", lambda: self.waiting() == 0)
        counts = [self.server.times(text) for text in texts]
        assert counts == [1] * len(texts), counts
        return f"{len(texts)} mails waited, each came once"

    def waiting(self):
        return int(re.search(r'"waiting":(\d+)', self.tree.do("switchctl callhome queue --json"))[1])

    def serves(self):
        return self.tree.status("systemctl is-active switchd orvapp").stdout == "active\nactive\n"

    def begin_again(self):
        """After whatever was done to the services."""
        self.tree.do("systemctl reset-failed switchd orvapp; systemctl start switchd orvapp", wait=90)
        wait_for("services that serve", self.serves)

    def override(self, unit, *settings):
        text = "\\n".join(("[Service]", *settings))
        self.tree.do(f"mkdir -p {DROP_INS}/{unit}.service.d && printf '{text}\\n' >{DROP_INS}/{unit}.service.d/test.conf && "
                     "systemctl daemon-reload")

    def as_shipped(self, unit):
        self.tree.do(f"rm -rf {DROP_INS}/{unit}.service.d && systemctl daemon-reload")
