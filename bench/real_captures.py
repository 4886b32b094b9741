#!/usr/bin/python3
"""Measures captures of the daemon as it really runs, beside a plain shell pipeline.

Usage: real_captures.py [ROUNDS]      (after: cmake --preset bench && cmake --build --preset bench)

From "due" to "queued" for 5 and 50 MB of logs, beside `gzip -c | base64 -w 72` over the same files on the same core;
then a mail of nearly 2,000,000 bytes. Each capture is due at the next full minute. Prints one line a figure: what was
measured, the value, what stands beside it.
Times are the medians of the rounds, and memory is the most there was in any of them.
"""

import ctypes
import datetime
import os
import pathlib
import random
import re
import statistics
import subprocess
import sys
import time

from real_stack import SERVED, SERVING, Stack, wait_until

LOGS = ["logfile"] + [f"logfile.{i}" for i in range(1, 10)] + ["messages"] + [f"messages.{i}" for i in range(1, 6)]
DUE = re.compile(r"(\d\d:\d\d:\d\d\.\d{3})  \d+ OrvCHCapture pushExecMesg: Entry")
QUEUED = re.compile(r"(\d\d:\d\d:\d\d\.\d{3})  \d+ OrvCHMesgQ saveEntryToFile: file=")


def report(what, value, beside):
    print(f"{what:<66} {value:>12}   {beside}", flush=True)


def next_minute():
    """Day and time of the next full minute that leaves the daemon time to start; and how long that is from now."""
    now = datetime.datetime.now(datetime.timezone.utc)
    due = (now + datetime.timedelta(seconds=70)).replace(second=0, microsecond=0)
    if (due - now).total_seconds() > 66:
        due -= datetime.timedelta(minutes=1)
    return due.strftime("%a"), due.strftime("%H:%M")


def seconds(stamp):
    hours, minutes, rest = stamp.split(":")
    return int(hours) * 3600 + int(minutes) * 60 + float(rest)


def peak_kib(pid):
    for line in pathlib.Path(f"/proc/{pid}/status").read_text().splitlines():
        if line.startswith("VmHWM:"):
            return int(line.split()[1])
    raise RuntimeError(f"no peak of process {pid}")


def log_text(count, seed):
    """Lines as a switch writes them, each another one."""
    numbers = random.Random(seed)
    lines = []
    size = 0
    while size < count:
        number = numbers.getrandbits(32)
        lines.append(f"Sat Jan  6 04:12:40 2024  Info      0002.0010  Port {number >> 26}: frames in {number}, "
                     f"errors {number >> 20 & 255}\n")
        size += len(lines[-1])
    return "".join(lines)[:count].encode()


def write_logs(stack, total):
    for index, name in enumerate(LOGS):
        (stack.root / "ostrel/conf" / name).write_bytes(log_text(total // len(LOGS), index))


def capture(stack):
    """One capture of a fresh daemon: seconds from due to queued, and the daemon's peak memory before and after."""
    day, minute = next_minute()
    capture_keys = "Global.CallhomeDB.Profile.1.Capture.0."
    stack.ctl("attr", "set", f"{capture_keys}DayOfWeek={day}", f"{capture_keys}TimeOfDay={minute}")
    # A check comes every second; the calendar is the machine's.
    stack.start_daemon(HSB_TIME_SCALE="60")
    stack.ready()
    before = peak_kib(stack.daemon.pid)
    trace = stack.root / "tmp/orv.out.Main"
    deadline = time.monotonic() + 150
    while not QUEUED.search(trace.read_text(errors="replace")):
        if time.monotonic() > deadline:
            raise TimeoutError("nothing was queued")
        time.sleep(0.05)  # the daemon says itself when what happened
    text = trace.read_text(errors="replace")
    return seconds(QUEUED.search(text)[1]) - seconds(DUE.search(text)[1]), before, peak_kib(stack.daemon.pid)


def run_measured(script):
    """Runs a shell script on the daemon's core; the peak memory of the largest of its programs in KiB.

    A program's peak counts what its process was before, which here would be this one. So a shell between starts the
    script and ends, and this process, to which its orphans go, waits for the script itself.
    """
    set_child_subreaper = 36
    if ctypes.CDLL(None, use_errno=True).prctl(set_child_subreaper, 1, 0, 0, 0) != 0:
        raise OSError(ctypes.get_errno(), "cannot become the parent of orphans")
    between = 'sh -ec "$1" >/dev/null & exec echo $!'  # as it is no shell any more, it waits for nobody
    pid = int(subprocess.run(["taskset", "-c", str(SERVED), "sh", "-c", between, "sh", script], check=True,
                             stdout=subprocess.PIPE).stdout)
    _, status, usage = os.wait4(pid, 0)
    if status != 0:
        raise RuntimeError(f"the script ended with status {status}")
    return usage.ru_maxrss


def pipeline(stack):
    """The same files through the shell: seconds, and the peak memory of its programs in KiB."""
    conf = stack.root / "ostrel/conf"
    out = stack.directory / "pipeline"
    out.mkdir(exist_ok=True)
    script = "\n".join(f"gzip -c {path} | base64 -w 72 > {out}/{path.name}.gz"
                       for path in [stack.root / "tmp/smlCapture.txt"] + [conf / name for name in LOGS])
    begin = time.monotonic()
    peak = run_measured(script)
    return time.monotonic() - begin, peak


def fresh_stack():
    stack = Stack()
    stack.configure()
    stack.ctl("profile", "add", "Support", "--level", "None", "--format", "FullText", "--email", "support@example.com",
              "--capture", "Mon,02:30,1")
    return stack


def measure_capture(megabytes, rounds):
    own, shell, before, after, largest = [], [], 0, 0, 0
    with fresh_stack() as stack:
        stack.sink.hold()
        write_logs(stack, megabytes << 20)
        for _ in range(rounds):
            took, idle, peak = capture(stack)
            own.append(took)
            before, after = max(before, idle), max(after, peak)
            stack.stop_daemon()
            for entry in stack.queue.glob("m*"):
                entry.unlink()
            took, peak = pipeline(stack)
            shell.append(took)
            largest = max(largest, peak)
    beside = statistics.median(shell)
    report(f"{megabytes} MB of logs, due to queued, seconds", f"{statistics.median(own):.2f}", f"pipeline {beside:.2f}")
    report("  times the pipeline's", f"{statistics.median(own) / beside:.2f}", "at most 1.1")
    report("  peak memory of orvApp, KiB", after, f"{before} before it was due; pipeline {largest}")


def measure_mail(rounds):
    """A capture whose mail is just below the limit of 2,000,000 bytes."""
    took, floor, peak, before, size = [], [], 0, 0, 0
    for turn in range(rounds):
        with fresh_stack() as stack:
            noise = random.Random(turn).randbytes(1450000)
            for name in LOGS:
                (stack.root / "ostrel/conf" / name).unlink(missing_ok=True)
            (stack.root / "ostrel/conf/messages").write_bytes(noise)
            before = max(before, capture(stack)[1])
            wait_until(lambda: list((stack.root / "tmp").glob("output.1")), "nothing was mailed")
            trace = stack.root / "tmp/orv.out.SMTPClient"
            wait_until(lambda: b"QUIT" in b"".join(p.read_bytes() for p in trace.parent.glob(trace.name + "*")),
                       "the mail did not end")
            peak = max(peak, peak_kib(stack.daemon.pid))
            sink = stack.fresh_sink()
            size = sink["bytes"]
            took.append(sink["longest_us"])
            floor.append(stack.floor("drain", 1, 20, size)[1]["longest_us"])
    beside = statistics.median(floor) / 1000
    report(f"mail of {size} bytes, composed and sent, milliseconds", f"{statistics.median(took) / 1000:.1f}",
           f"floor {beside:.1f}")
    report("  peak memory of orvApp, KiB", peak, f"{before} before, at most 12288")


def main():
    os.sched_setaffinity(0, {SERVING})
    rounds = int(sys.argv[1]) if len(sys.argv) > 1 else 3
    measure_mail(rounds)
    for megabytes in (5, 50):
        measure_capture(megabytes, rounds)


if __name__ == "__main__":
    main()
