#!/usr/bin/python3
"""Measures what an operator waits for: status, queue list of 100 messages, metrics and others beside a long event log.

Usage: operator_desk.py [ROUNDS]      (after: cmake --preset bench && cmake --build --preset bench)

The event log has 100,000 entries: of the switch with a hundredth of the daemon's; of the daemon's failures alone; and
large ones. Prints a line for each command and log: milliseconds by the clock and of processor time of switchctl, of
switchd and of the daemon, each the least of the rounds. A machine with other work shows the processor's time right.
"""

import resource
import sqlite3
import subprocess
import sys
import time

from real_stack import BIN, Stack, cpu_us, wait_until

ENTRIES = 100000
ROOM = 2000  # for what the daemon writes meanwhile
COMMANDS = (("status",), ("status", "--passive"), ("queue", "list"), ("queue", "list", "--passive"), ("metrics",),
            ("ledger",), ("timeline", "5"), ("log", "-n", "20"), ("callhome", "queue"))


def of_the_switch(number):
    if number % 100 == 0:
        return 3, 0x8B00000F, "orvApp", f"Will retry sending via SMTP server=192.0.2.{number % 250}, port=25, after 5 seconds"
    return 3, 0x10002, "fan", f"fan {number % 8} runs at {number} turns a minute"


def of_failures(number):
    if number % 2 == 0:
        return 3, 0x8B000013, "orvApp", ("Encountered failure communicating with SMTP server=192.0.2.1, port=25, "
                                         "Reason=[Open], Description=[Connection refused], Response=[]")
    return 3, 0x8B00000F, "orvApp", "Will retry sending via SMTP server=192.0.2.1, port=25, after 300 seconds"


def of_large_texts(number):
    return 3, 0x10002, "fan", f"{number} " + "x" * 990


LOGS = (("100,000 of the switch's", of_the_switch), ("100,000 failures of the daemon's", of_failures),
        ("100 MB of the switch's", of_large_texts))


def fill(stack, make):
    """Puts the entries into the log while nobody has it open."""
    log = sqlite3.connect(stack.directory / "switchd" / "switch.db")
    with log:
        begin = int(time.time()) - ENTRIES
        rows = ((begin + number, 0, *make(number)) for number in range(ENTRIES - ROOM))
        log.executemany("INSERT INTO event (seconds, microseconds, level, number, flags, component, text)"
                        " VALUES (?, ?, ?, ?, 0, CAST(? AS BLOB), CAST(? AS BLOB))", rows)
    log.close()


def least(stack, command, rounds):
    """Milliseconds: by the clock, of switchctl's, switchd's and the daemon's processor time."""
    results = []
    switchd = stack.switchd.pid
    for _ in range(rounds):
        before = (cpu_us(switchd), cpu_us(stack.daemon.pid), resource.getrusage(resource.RUSAGE_CHILDREN))
        begin = time.monotonic()
        subprocess.run([BIN / "switchctl", *command], env=stack.environment, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, check=False)
        wall = time.monotonic() - begin
        own = resource.getrusage(resource.RUSAGE_CHILDREN)
        used = own.ru_utime + own.ru_stime - before[2].ru_utime - before[2].ru_stime
        results.append((wall * 1000, used * 1000, (cpu_us(switchd) - before[0]) / 1000,
                        (cpu_us(stack.daemon.pid) - before[1]) / 1000))
    return [min(column) for column in zip(*results)]


def measure(name, make, rounds):
    with Stack(with_sink=False) as stack:
        stack.configure()  # Nobody takes mails: all messages wait.
        stack.stop_switchd()
        fill(stack, make)
        stack.start_switchd()
        stack.start_daemon()
        stack.ready()
        for number in range(100):
            stack.ctl("event", "log", "--type", "0", "--number", str(number + 1), f"event {number}")
        wait_until(lambda: stack.waiting() >= 99, "the messages are not in the queue")
        for command in COMMANDS:
            figures = least(stack, command, rounds)
            print(f"{name:<34} {' '.join(command):<22} {figures[0]:8.1f} {figures[1]:10.1f} {figures[2]:8.1f} "
                  f"{figures[3]:8.2f}", flush=True)


def main():
    rounds = int(sys.argv[1]) if len(sys.argv) > 1 else 10
    print(f"{'milliseconds':<34} {'command':<22} {'clock':>8} {'switchctl':>10} {'switchd':>8} {'orvApp':>8}")
    for name, make in LOGS:
        measure(name, make, rounds)


if __name__ == "__main__":
    main()
