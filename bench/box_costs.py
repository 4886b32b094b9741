"""What the daemon costs in the box: one tick, one event, one mail, and how much faster than real time a busy history is.

Usage: box_costs.py [ORVBOX] [DAYS]     build/bench/bin/orvBox and 3, unless told
       box_costs.py --whole [ORVBOX] [DAYS]     90 unless told, with about a million events, servers that come and go, a
                                                restart each night, and a capture each week

Processor time of histories without kills and failures, the same each time but for the machine's own noise. A mail's time is what a
history takes longer in which events are mailed to a second profile, too.
"""
import re
import resource
import subprocess
import sys
import tempfile
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent
BOX = TOP / "build" / "bench" / "bin" / "orvBox"
LINE = re.compile(r": (\d+) ([\d:.]+), (\d+) lives, (\d+) events, (\d+) mails")
BUSY = 11111  # steps a day, most of them events: a million in ninety days


def spent_by(program, *arguments):
    """Processor seconds, and what was printed."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    out = subprocess.run([program, *map(str, arguments)], capture_output=True, text=True, check=True).stdout
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime, out


def run(program, *arguments):
    """Processor seconds, virtual seconds, events and mails."""
    spent, out = spent_by(program, *arguments)
    days, clock, _, events, mails = LINE.search(out).groups()
    hours, minutes, seconds = clock.split(":")
    virtual = int(days) * 86400 + int(hours) * 3600 + int(minutes) * 60 + float(seconds)
    return spent, virtual, int(events), int(mails)


def costs(program, days):
    quiet, span, _, _ = run(program, "--days", days, "--events", 1, "--faults", "none")
    tick = quiet / span
    print(f"a tick: {tick * 1e6:.1f} us")
    spent = []
    for profiles in (1, 2):
        calm, span, events, mails = run(program, "--days", days, "--events", BUSY, "--faults", "none", "--profiles", profiles)
        spent.append((calm - tick * span, mails))
        print(f"an event, with its {mails / events:.1f} mails: {spent[-1][0] / events * 1e6:.0f} us")
    print(f"a mail: {(spent[1][0] - spent[0][0]) / (spent[1][1] - spent[0][1]) * 1e6:.0f} us")
    busy, span, events, mails = run(program, "--days", days, "--events", BUSY, "--faults", "servers")
    print(f"{days} days, {events} events, {mails} mails, servers that come and go: {busy:.1f} s, {span / busy:.0f} times real time")


def whole(program, days):
    with tempfile.NamedTemporaryFile() as figures:
        busy, _ = spent_by(program, "--days", days, "--events", BUSY, "--faults", "servers,nights,captures", "--figures", figures.name)
        counted = {name: int(count) for count, name in (line.split("\t") for line in Path(figures.name).read_text().splitlines())}
    print(f"{days} days, {counted['events'] + counted['repeats']} events of which {counted['repeats']} are repeats, {counted['mails']} mails, "
          f"{counted['lives']} lives: {busy / 60:.1f} minutes, {counted['virtual seconds'] / busy:.0f} times real time")


def main():
    arguments = sys.argv[1:]
    if arguments[:1] == ["--whole"]:
        whole(*(arguments[1:2] or [BOX]), *(arguments[2:3] or [90]))
    else:
        costs(*(arguments[:1] or [BOX]), *(arguments[1:2] or [3]))


if __name__ == "__main__":
    main()
