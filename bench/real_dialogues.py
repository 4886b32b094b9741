#!/usr/bin/python3
"""Measures what a mail costs in each of the two ways to speak SMTP, side by side.

Usage: real_dialogues.py [ROUNDS]      (after: cmake --preset bench && cmake --build --preset bench)

Two switches of their own, whose daemons differ in ORV_SMTP_DIALOGUE alone, mail piles of 200 in turn; all files, marks of
recipients among them, are in memory. Prints the CPU a mail of each, and the median of what each pair of rounds gives. What
else the machine does falls on both.
"""

import statistics
import sys

from real_stack import Stack, cpu_us

MAILS = 200
DIALOGUES = ["required", "conforming"]


def start(stack, dialogue):
    stack.start_daemon(ORV_SMTP_DIALOGUE=dialogue)
    stack.ctl("wait", "orvApp", "started", "--timeout", "30")
    stack.configure()
    stack.ready()


def drain(stack):
    """So many mails pile up and go out: the daemon's CPU a mail, from then on, and how large one is."""
    stack.fresh_sink()
    stack.sink.hold()
    stack.publish(MAILS)
    stack.wait_waiting(MAILS)
    before = cpu_us(stack.daemon.pid)
    stack.sink.release()
    stack.wait_waiting(0)
    used = cpu_us(stack.daemon.pid) - before
    sink = stack.fresh_sink()
    assert sink["mails"] == MAILS, sink
    return used / MAILS, sink["bytes"] // MAILS


def main():
    rounds = int(sys.argv[1]) if len(sys.argv) > 1 else 15
    with Stack() as first, Stack() as second:
        stacks = dict(zip(DIALOGUES, (first, second)))
        for name, stack in stacks.items():
            start(stack, name)
            drain(stack)  # warm
        spent = {name: [] for name in DIALOGUES}
        for turn in range(rounds):
            for name in DIALOGUES if turn % 2 == 0 else reversed(DIALOGUES):
                cpu, size = drain(stacks[name])
                spent[name].append(cpu)
                if turn == 0:
                    print(f"{name}: a mail of {size} bytes")
        for name in DIALOGUES:
            print(f"{name}: CPU a mail, microseconds: {statistics.median(spent[name]):.0f} (least {min(spent[name]):.0f})")
        ratio = statistics.median(theirs / ours for ours, theirs in zip(*(spent[name] for name in DIALOGUES)))
        least = min(spent["conforming"]) / min(spent["required"])
        print(f"conforming costs {ratio:.3f} times as much, by the least of each {least:.3f}; at most 1.10")


if __name__ == "__main__":
    main()
