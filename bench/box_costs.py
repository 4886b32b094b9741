"""What the daemon costs in the box: one tick, one event with its mail, and how much faster than real time a busy history is.

Usage: box_costs.py [ORVBOX] [DAYS]     build/bench/bin/orvBox and 3, unless told

Processor time of histories without kills and failures, the same each time but for the machine's own noise.
"""
import re
import resource
import subprocess
import sys
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent
LINE = re.compile(r": (\d+) ([\d:.]+), (\d+) lives, (\d+) events, (\d+) mails")
BUSY = 11111  # a day: a million in ninety days


def run(program, *arguments):
    """Processor seconds, virtual seconds, events and mails."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    out = subprocess.run([program, *map(str, arguments)], capture_output=True, text=True, check=True).stdout
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    days, clock, _, events, mails = LINE.search(out).groups()
    hours, minutes, seconds = clock.split(":")
    virtual = int(days) * 86400 + int(hours) * 3600 + int(minutes) * 60 + float(seconds)
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime, virtual, int(events), int(mails)


def main():
    program = sys.argv[1] if len(sys.argv) > 1 else TOP / "build" / "bench" / "bin" / "orvBox"
    days = sys.argv[2] if len(sys.argv) > 2 else 3
    quiet, ticks, _, _ = run(program, "--days", days, "--events", 1, "--faults", "none")
    print(f"a tick: {quiet / ticks * 1e6:.1f} us")
    calm, virtual, events, mails = run(program, "--days", days, "--events", BUSY, "--faults", "none")
    print(f"an event, with its {mails / events:.1f} mails: {(calm - quiet * virtual / ticks) / events * 1e6:.0f} us")
    busy, virtual, events, mails = run(program, "--days", days, "--events", BUSY, "--faults", "servers")
    print(f"{days} days, {events} events, {mails} mails, servers that come and go: {busy:.1f} s, {virtual / busy:.0f} times real time")
    print(f"ninety days with a million events at this pace: {busy * 1e6 / events / 60:.1f} minutes")


if __name__ == "__main__":
    main()
