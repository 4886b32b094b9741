#!/usr/bin/python3
"""Measures what a general mail server spends on the same job: Postfix, relaying mails to the daemon's sink.

Usage: real_postfix.py [MAILS]      (as root, with Debian's postfix installed; nothing of it need be configured)

Prints the CPU a mail of the floor's mails through Postfix, and of the same number of events through the daemon, and
how many of the daemon's own mails came through Postfix.
"""

import pathlib
import re
import shutil
import socket
import subprocess
import sys

from real_stack import BIN, Stack, cpu_us, wait_until

MAIN_CF = """compatibility_level = 3.6
queue_directory = {directory}/queue
data_directory = {directory}/data
maillog_file = {directory}/log/mail
maillog_file_prefixes = {directory}
mail_owner = postfix
setgid_group = postdrop
inet_interfaces = 127.0.0.1
inet_protocols = ipv4
myhostname = mail.example.com
mydestination =
mynetworks = 127.0.0.0/8
relayhost = [127.0.0.1]:{sink}
smtp_dns_support_level = disabled
smtputf8_enable = no
"""


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Postfix:
    """A mail server of its own on 127.0.0.1, without chroot, that relays everything to the sink."""

    def __init__(self, directory, sink):
        self.directory = directory / "postfix"
        for name in ("etc", "queue", "data", "log"):
            (self.directory / name).mkdir(parents=True)
        directory.chmod(0o755)
        shutil.chown(self.directory / "data", "postfix")
        self.port = free_port()
        etc = self.directory / "etc"
        (etc / "main.cf").write_text(MAIN_CF.format(directory=self.directory, sink=sink))
        services = pathlib.Path("/usr/share/postfix/master.cf.dist").read_text()
        services = re.sub(r"(?m)^smtp +inet .*$", f"127.0.0.1:{self.port} inet n - n - - smtpd", services)
        services = re.sub(r"(?m)^(\w+ +(?:unix|fifo) +\S+ +\S+ +)y", r"\1n", services)
        (etc / "master.cf").write_text(services)
        self.command("start")
        self.master = int((self.directory / "queue/pid/master.pid").read_text())

    def command(self, word):
        subprocess.run(["postfix", "-c", str(self.directory / "etc"), word], check=True, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL)

    def cpu_us(self):
        """Of the master and of its children; none ends within a measurement."""
        children = pathlib.Path(f"/proc/{self.master}/task/{self.master}/children").read_text().split()
        return sum(cpu_us(pid) for pid in [self.master, *children])

    def stop(self):
        self.command("stop")


def relayed(stack, mails, work, postfix):
    """Mails through Postfix: its CPU a mail."""
    stack.fresh_sink()
    before = postfix.cpu_us()
    work()
    wait_until(lambda: stack.sink.taken() >= mails, "mails stay in Postfix")
    return (postfix.cpu_us() - before) / mails


def main():
    mails = int(sys.argv[1]) if len(sys.argv) > 1 else 200
    with Stack() as stack:
        postfix = Postfix(stack.directory, stack.port)
        try:
            scratch = stack.directory / "floor"
            scratch.mkdir()

            def feed():
                stack.run([BIN / "floor", "drain", mails, postfix.port, scratch, 0, 600])

            relayed(stack, mails, feed, postfix)  # its processes are there from now on
            own = relayed(stack, mails, feed, postfix)
            stack.start_daemon()
            stack.ctl("wait", "orvApp", "started", "--timeout", "30")
            stack.configure()
            stack.ready()
            stack.fresh_sink()
            before = cpu_us(stack.daemon.pid)
            stack.publish(mails)
            stack.wait_taken(mails)
            daemon = (cpu_us(stack.daemon.pid) - before) / mails
            print(f"CPU a mail, microseconds: Postfix {own:.0f}, the daemon {daemon:.0f}: {daemon / own:.2f}")
            stack.ctl("callhome", "setup", "--smtp", f"1-127.0.0.1:{postfix.port}")
            stack.ready()
            relayed(stack, mails, lambda: stack.publish(mails), postfix)
            print(f"{mails} of {mails} mails of the daemon came through Postfix")
        finally:
            postfix.stop()


if __name__ == "__main__":
    main()
