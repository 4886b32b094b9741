"""Mail servers of Debian's, each on a port of its own of the loopback address: what tools/servers mails to.

All but aiosmtpd run in a small Debian tree of their own below build/servers, which is made once, with a layer in memory on
top: nothing of the machine's own configuration is read or changed, and nothing is left when one has been stopped.
"""

import os
import pathlib
import re
import shutil
import socket
import subprocess
import time

TREES = pathlib.Path(__file__).resolve().parent.parent / "build/servers"
SOURCES = pathlib.Path("/etc/apt/sources.list.d/debian.sources")

# Takes a mail as a mail server delivers it: for whom stands in its first line.
KEEP = """#!/bin/sh
mail=$(mktemp /kept/part.XXXXXX) || exit 75
{ echo "$*" && cat; } >"$mail" && chmod 644 "$mail" && mv "$mail" "/kept/mails/${mail##*.}" || exit 75
"""
# A tree with what it writes in memory, of which nobody else sees anything. The shell stays: it ends with us and everything in
# the tree with it, while a server that takes another user's rights would not be told that its parent has ended.
ENTER = """set -e
mount -t tmpfs tmpfs {layer}
mkdir {layer}/upper {layer}/work {layer}/tree
mount -t overlay overlay -o lowerdir={tree},upperdir={layer}/upper,workdir={layer}/work {layer}/tree
mount -t proc proc {layer}/tree/proc
mount --rbind /dev {layer}/tree/dev
mkdir {layer}/tree/kept
mount --bind {kept} {layer}/tree/kept
cd {layer}/tree
cp kept/hosts etc/hosts
{prepare}
chroot . {command}
exit $?
"""


def wait_until(condition, seconds):
    """True as soon as the condition holds; False when it does not in time."""
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            return False
        time.sleep(0.05)
    return True


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def greets(port):
    """What listens there sends a greeting."""
    try:
        with socket.create_connection(("127.0.0.1", port), 5) as connection:
            return connection.recv(3) == b"220"
    except OSError:
        return False


class Server:
    """What all have in common: where mails are kept, and how they are read."""

    def __init__(self, directory):
        directory.chmod(0o755)
        self.kept = directory / "kept"
        self.mails = self.kept / "mails"
        self.mails.mkdir(parents=True)
        for folder in (self.kept, self.mails):
            folder.chmod(0o777)
        self.port = free_port()
        self.process = None

    def taken(self):
        """Each mail with the recipients that it was taken for; copies of one mail share what the server has named it by."""
        mails = {}
        for file in sorted(self.mails.glob("*")):
            recipients, _, mail = file.read_bytes().partition(b"\n")
            received = re.search(rb"(?mi)^Received:[^\n]*(?:\n[ \t][^\n]*)*", mail[: mail.find(b"\n\n")])
            queued = re.search(rb"\bid ([\w-]+)", received[0]) if received else None
            mails.setdefault(queued[1] if queued else file.name, ([], mail))[0].extend(recipients.decode().split())
        return list(mails.values())

    def stop(self):
        self.process.kill()
        self.process.wait()


# A server of the library as it is: a reply's lines are sent one by one.
AIOSMTPD = """
import asyncio, pathlib, sys
from aiosmtpd.smtp import SMTP
class Keep:
    count = 0
    async def handle_DATA(self, server, session, envelope):
        Keep.count += 1
        part = pathlib.Path(sys.argv[1]) / f"part.{Keep.count:04}"
        part.write_bytes(" ".join(envelope.rcpt_tos).encode() + b"\\n" + envelope.original_content)
        part.rename(part.parent / "mails" / part.suffix[1:])
        return "250 kept"
async def main():
    loop = asyncio.get_running_loop()
    await loop.create_server(lambda: SMTP(Keep(), hostname="mail.test"), "127.0.0.1", int(sys.argv[2]))
    await asyncio.Event().wait()
asyncio.run(main())
"""


class Aiosmtpd(Server):
    name = "aiosmtpd"

    @staticmethod
    def missing():
        absent = subprocess.run(["/usr/bin/python3", "-c", "import aiosmtpd"], stderr=subprocess.DEVNULL, check=False).returncode
        return "it is not installed" if absent else ""

    def __init__(self, directory):
        super().__init__(directory)
        self.process = subprocess.Popen(["/usr/bin/python3", "-c", AIOSMTPD, str(self.kept), str(self.port)])
        assert wait_until(lambda: greets(self.port), 20), "aiosmtpd does not listen"


class TreeServer(Server):
    """One that runs in a tree of its package."""

    prepare = ""
    command = ""
    package = ""

    @classmethod
    def tree(cls):
        return TREES / cls.package

    @classmethod
    def missing(cls):
        if os.geteuid() != 0:
            return "wants root"
        if not cls.tree().exists():
            if not shutil.which("mmdebstrap") or not SOURCES.exists():
                return "wants Debian and mmdebstrap"
            cls.make_tree()
        return ""

    @classmethod
    def make_tree(cls):
        TREES.mkdir(parents=True, exist_ok=True)
        half_made = TREES / f"{cls.package}.new"
        shutil.rmtree(half_made, ignore_errors=True)
        without = [f"--dpkgopt=path-exclude=/usr/share/{folder}/*" for folder in ("doc", "man", "locale")]
        subprocess.run(["mmdebstrap", "--quiet", "--variant=minbase", *without, f"--include={cls.package}", "bookworm",
                        half_made, SOURCES], check=True, stdout=subprocess.DEVNULL)
        half_made.rename(cls.tree())

    def __init__(self, directory):
        super().__init__(directory)
        layer = directory / "layer"
        layer.mkdir()
        keep = self.kept / "keep"
        keep.write_text(KEEP)
        keep.chmod(0o755)
        (self.kept / "hosts").write_text("127.0.0.1 localhost mail.test\n")
        (self.kept / "config").write_text(self.config().format(port=self.port))
        script = ENTER.format(layer=layer, tree=self.tree(), kept=self.kept, prepare=self.prepare,
                              command=self.command.format(port=self.port))
        with open(self.kept / "log", "wb") as log:
            self.process = subprocess.Popen(["unshare", "--mount", "--pid", "--uts", "--ipc", "--fork", "--kill-child", "sh", "-c", script],
                                            stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        if not wait_until(lambda: greets(self.port) or self.process.poll() is not None, 30) or self.process.poll() is not None:
            self.stop()
            raise AssertionError(f"{self.name} does not listen: {(self.kept / 'log').read_text(errors='replace')[-2000:]}")

    def config(self):
        return ""


class Postfix(TreeServer):
    name = "Postfix"
    package = "postfix"
    prepare = "cp kept/config etc/postfix/main.cf && cp kept/services etc/postfix/master.cf && : >etc/aliases"
    command = "postfix start-fg"

    def config(self):
        services = (self.tree() / "usr/share/postfix/master.cf.dist").read_text()
        services = re.sub(r"(?m)^smtp +inet .*$", f"127.0.0.1:{self.port} inet n - n - - smtpd", services)
        services = re.sub(r"(?m)^(\w+ +(?:unix|fifo) +\S+ +\S+ +)y", r"\1n", services)
        services += "keep unix - n n - - pipe user=nobody argv=/kept/keep ${recipient}\n"
        (self.kept / "services").write_text(services)
        return ("compatibility_level = 3.6\nmaillog_file = /dev/stdout\ninet_interfaces = 127.0.0.1\ninet_protocols = ipv4\n"
                "myhostname = mail.test\nmydestination =\nmynetworks = 127.0.0.0/8\nvirtual_mailbox_domains = example.com\n"
                "virtual_transport = keep\nkeep_destination_recipient_limit = 50\nsmtpd_peername_lookup = no\n")


class Exim(TreeServer):
    name = "Exim"
    package = "exim4-daemon-light"
    prepare = "cp kept/config etc/exim4/exim4.conf"
    command = "exim4 -bdf -q1m"

    def config(self):
        return ("primary_hostname = mail.test\ndaemon_smtp_ports = {port}\nlocal_interfaces = 127.0.0.1\nlog_file_path = /kept/exim.%slog\n"
                "tls_advertise_hosts =\nhost_lookup =\nacl_smtp_rcpt = all\nbegin acl\nall:\n  accept\n"
                "begin routers\nkeep:\n  driver = accept\n  transport = keep\nbegin transports\nkeep:\n  driver = pipe\n"
                "  command = /kept/keep $pipe_addresses\n  batch_max = 50\n  user = nobody\n  group = nogroup\n  return_output\n")


class OpenSMTPD(TreeServer):
    name = "OpenSMTPD"
    package = "opensmtpd"
    prepare = "cp kept/config etc/smtpd.conf"
    command = "smtpd -d"

    def config(self):
        return ('table users {{ "@" = "nobody" }}\nlisten on 127.0.0.1 port {port} hostname mail.test\n'
                'action "keep" mda "/kept/keep %{{rcpt}}" virtual <users>\nmatch from any for domain "example.com" action "keep"\n')


class Msmtpd(TreeServer):
    """It keeps no mail itself: what would be sendmail behind it does."""

    name = "msmtpd"
    package = "msmtp-mta"
    command = "msmtpd --port={port} --command='/kept/keep'"


SERVERS = [Aiosmtpd, Postfix, Exim, OpenSMTPD, Msmtpd]
