"""A receiving mail server for trying things out: delivers every mail into a Maildir.

Usage: mail_server.py MAILDIR PORTFILE [ADDRESS]

Listens on a free port of ADDRESS (127.0.0.1) and writes that port's number into PORTFILE once it takes connections;
when PORTFILE is there already, on the port that it names. Ends on SIGTERM.
"""

import asyncio
import os
import signal
import sys

from aiosmtpd.handlers import Mailbox
from aiosmtpd.smtp import SMTP


class WholeReplies(SMTP):
    """Sends a reply of several lines at once: the daemon takes what has come for the whole reply."""

    held = b""

    async def push(self, status: str | bytes) -> None:
        line = status.encode() if isinstance(status, str) else status
        if line[3:4] == b"-":
            self.held += line + b"\r\n"
            return
        reply, self.held = self.held + line, b""
        await super().push(reply)


def wanted_port(port_file: str) -> int:
    try:
        with open(port_file, encoding="ascii") as former:
            return int(former.read())
    except FileNotFoundError:
        return 0


async def serve(maildir: str, port_file: str, address: str = "127.0.0.1") -> None:
    handler = Mailbox(maildir)
    loop = asyncio.get_running_loop()
    server = await loop.create_server(lambda: WholeReplies(handler, hostname="mail.example.com"), address,
                                      wanted_port(port_file))
    port = server.sockets[0].getsockname()[1]
    with open(port_file + ".new", "w", encoding="ascii") as out:
        out.write(f"{port}\n")
    os.rename(port_file + ".new", port_file)  # whole or not there
    stop = asyncio.Event()
    for number in (signal.SIGTERM, signal.SIGINT):
        loop.add_signal_handler(number, stop.set)
    await stop.wait()
    server.close()


if __name__ == "__main__":
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    asyncio.run(serve(*sys.argv[1:]))
