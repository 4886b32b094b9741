#!/usr/bin/python3
"""Measures the daemon as it really runs, on a real bus and against a real mail server, beside the floor.

Usage: real_processes.py [ROUNDS]      (after: cmake --preset bench && cmake --build --preset bench)

Prints one line a figure: what was measured, the value, the value beside which it stands, and the aim. Figures are the
medians of the rounds. Wants two cores with nothing else to do.
"""

import datetime
import pathlib
import random
import re
import signal
import statistics
import subprocess
import sys
import time

from real_stack import BIN, SERVED, Stack, cpu_us, figures, memory_kib, pss_kib, wait_until

MAILS = 200


def report(what, value, aim):
    print(f"{what:<74} {value:>12}   {aim}", flush=True)


def median(values):
    return statistics.median(list(values))


def drain(stack, mails):
    """So many mails pile up and go out: microseconds of wall and CPU a mail, and the bytes of one."""
    stack.fresh_sink()
    stack.sink.hold()
    stack.publish(mails)
    stack.wait_waiting(mails)
    before = cpu_us(stack.daemon.pid)
    stack.sink.release()
    stack.wait_waiting(0)
    used = cpu_us(stack.daemon.pid) - before
    sink = stack.fresh_sink()
    return sink["span_us"] / (sink["mails"] - 1), used / mails, sink["bytes"] // sink["mails"]


def road(stack, mails, pause_us):
    """Events from the bus to the mail: CPU a mail, and the slowest dialogue, in microseconds."""
    stack.fresh_sink()
    before = cpu_us(stack.daemon.pid)
    stack.publish(mails, pause_us)
    stack.wait_taken(mails)
    used = cpu_us(stack.daemon.pid) - before
    return used / mails, stack.fresh_sink()["longest_us"]


def traced(stack, work, *options):
    """What strace lists of the daemon while work() runs."""
    listing = stack.directory / "strace"
    tracer = subprocess.Popen(["strace", "-f", *options, "-p", str(stack.daemon.pid), "-o", str(listing)],
                              stderr=subprocess.PIPE, text=True)
    tracer.stderr.readline()  # it is attached
    work()
    tracer.terminate()
    tracer.wait()
    return listing.read_text().splitlines()


def traced_calls(stack, work):
    """System calls of the daemon while work() runs, by name."""
    calls = {}
    for line in traced(stack, work, "-c"):
        match = re.match(r"\s*[\d.]+\s+[\d.]+\s+\d+\s+(\d+)\s+(?:\d+\s+)?(\w+)$", line)
        if match and match.group(2) != "total":
            calls[match.group(2)] = int(match.group(1))
    return calls


def trace_lines(stack, work):
    """Trace lines of the daemon while work() runs, by what each opens with: a write may hold several."""
    calls = traced(stack, work, "-y", "-s", "8192", "-e", "trace=write,writev")
    traces = [call for call in calls if re.search(r" writev?\(\d+<[^>]*/orv\.out\.", call)]
    return sum(len(re.findall(r"\d\d/\d\d/\d{4} UTC \d\d:\d\d:\d\d\.\d{3} ", call)) for call in traces)


def each_by_itself(stack, mails):
    """So many events, each of which finds the daemon idle."""
    stack.fresh_sink()
    stack.publish(mails, pause_us=20000)
    stack.wait_taken(mails)


def calls_a_mail(stack, mails=50):
    drain(stack, 5)
    return {name: count / mails for name, count in traced_calls(stack, lambda: each_by_itself(stack, mails)).items()}


def lines_of_the_road(stack, mails=50):
    """Trace lines a mail, from the event on."""
    return round(trace_lines(stack, lambda: each_by_itself(stack, mails)) / mails)


def lines_of_the_drain(stack, mails=50):
    """Trace lines a mail, of the way out alone."""
    stack.fresh_sink()
    stack.sink.hold()
    stack.publish(mails)
    stack.wait_waiting(mails)

    def work():
        stack.sink.release()
        stack.wait_waiting(0)

    lines = trace_lines(stack, work)
    stack.fresh_sink()
    return round(lines / mails)


def floor_drain(stack, mails, lines, length, *care):
    """Microseconds of wall and CPU a mail of the floor."""
    ran, sink = stack.floor("drain", mails, lines, length, *care)
    return sink["span_us"] / (mails - 1), ran["cpu_us"] / mails


def floor_road(stack, mails, lines, length, *care):
    """Microseconds of CPU a mail of the floor, from the event on."""
    return stack.floor("road", mails, lines, length, *care)[0]["cpu_us"] / mails


def report_beside(name, ratios, aim):
    """What each round's figure is times that of the bare floor, and times that of the one with the required care."""
    report(f"  {name}: against the bare floor", f"{median(r[0] for r in ratios):.2f}", "")
    report(f"  {name}: against the floor with the required care", f"{median(r[1] for r in ratios):.2f}", aim)


def measure_mails(stack, rounds):
    calls = calls_a_mail(stack)
    report("system calls a mail, event in to file gone", f"{sum(calls.values()):.1f}", "at most 85")
    print("    " + ", ".join(f"{name} {count:.1f}" for name, count in sorted(calls.items(), key=lambda c: -c[1])))
    road_lines, drain_lines = lines_of_the_road(stack), lines_of_the_drain(stack)
    drain(stack, MAILS)  # warm
    drains, roads, singles, slowest, length = [], [], [], [], 0
    for _ in range(rounds):
        wall, cpu, length = drain(stack, MAILS)
        floors = [floor_drain(stack, MAILS, drain_lines, length, *care) for care in ((), ("required",))]
        drains.append(((wall, cpu), *floors))
        own = road(stack, MAILS, 0)[0]
        roads.append((own, *(floor_road(stack, MAILS, road_lines, length, *care) for care in ((), ("required",)))))
        cpu, longest = road(stack, MAILS, 5000)
        singles.append(cpu)
        slowest.append(longest)
    report_drains(drains, drain_lines, length)
    bare, required = (median(r[at] for r in roads) for at in (1, 2))
    report(f"event in to mail out, CPU a mail, microseconds, {road_lines} trace lines", f"{median(r[0] for r in roads):.0f}",
           f"floors {bare:.0f}, {required:.0f}")
    report_beside("CPU", [(own / bare, own / required) for own, bare, required in roads], "at most 1.4")
    report("CPU seconds a 1000 mails", f"{median(r[0] for r in roads) / 1000:.3f}", "")
    report("  with 5 ms between the events", f"{median(singles) / 1000:.3f}", "")
    report(f"slowest of {MAILS} mails, milliseconds", f"{median(slowest) / 1000:.2f}", "5")


def report_drains(drains, lines, length):
    """Rounds of (wall, CPU) of the daemon, the bare floor and the one with the required care."""
    walls = [[side[0] for side in one] for one in drains]
    cpus = [[side[1] for side in one] for one in drains]
    own, bare, required = (median(w[at] for w in walls) for at in range(3))
    report(f"mails a second, {MAILS} waiting, {length} bytes each, {lines} trace lines each", f"{1e6 / own:.0f}",
           f"floors {1e6 / bare:.0f}, {1e6 / required:.0f}")
    report_beside("rate", [(w[1] / w[0], w[2] / w[0]) for w in walls], "at least 0.85")
    own, bare, required = (median(c[at] for c in cpus) for at in range(3))
    report("  CPU a mail, microseconds", f"{own:.0f}", f"floors {bare:.0f}, {required:.0f}")
    report_beside("CPU", [(c[0] / c[1], c[0] / c[2]) for c in cpus], "at most 1.25")


def admission_rate(stack, events, piled):
    """Events a second from the bus into the queue: as fast as they are published, or piled up on the bus before."""
    stack.fresh_sink()
    stack.sink.hold()
    if piled:
        stack.daemon.send_signal(signal.SIGSTOP)
        stack.publish(events)
        stack.daemon.send_signal(signal.SIGCONT)
    else:
        publisher = stack.spawn([BIN / "publish", events, stack.published, 0, 200])
        stack.published += events
    wait_until(lambda: stack.waiting() > 0, "no event arrives")
    began, first = time.monotonic(), stack.waiting()
    stack.wait_waiting(events)
    rate = (events - first) / (time.monotonic() - began)
    if not piled:
        publisher.wait()
    stack.sink.release()
    stack.wait_waiting(0)
    return rate


def measure_bus(stack, rounds, events=2000):
    live, piled, bare = [], [], []
    for _ in range(rounds):
        live.append(admission_rate(stack, events, piled=False))
        piled.append(admission_rate(stack, events, piled=True))
        peer = [BIN / "bus_peer", "rate", stack.environment["HSB_BUS"], 20000]
        bare.append(20000e6 / figures(stack.run(peer, SERVED))["wall_us"])
    report("events a second through the bus, piled up on it", f"{median(piled):.0f}",
           f"bare one-way {median(bare):.0f}")
    report("  against the bare rate", f"{median(piled) / median(bare):.2f}", "at least 0.30")
    report("  as they are published through switchd, a second", f"{median(live):.0f}",
           f"{median(live) / median(bare):.2f} of the bare rate")


def measure_memory(stack):
    """Of a daemon that has just been started; one that has mailed keeps what the C library's heap keeps."""
    report("private dirty memory after all of the above, KiB", memory_kib(stack.daemon.pid, "Private_Dirty"), "")
    stack.stop_daemon()
    stack.start_daemon()
    stack.ready()
    peer = stack.spawn([BIN / "bus_peer", "idle", stack.environment["HSB_BUS"]], stdout=subprocess.PIPE, text=True)
    peer.stdout.readline()
    idle, bare = pss_kib(stack.daemon.pid), pss_kib(peer.pid)
    dirty, bare_dirty = (memory_kib(pid, "Private_Dirty") for pid in (stack.daemon.pid, peer.pid))
    report("PSS idle, KiB", idle, f"idle bus client {bare}")
    report("  against the idle bus client", f"{idle / bare:.2f}", "at most 1.5")
    report("private dirty memory idle, KiB", dirty, f"idle bus client {bare_dirty}; below 512")
    stack.fresh_sink()
    stack.sink.hold()
    stack.publish(100)
    stack.wait_waiting(100)
    stack.sink.release()
    most = 0
    while stack.waiting() > 0:
        most = max(most, pss_kib(stack.daemon.pid))
    report("PSS delivering with 100 waiting, KiB", most, "at most 4096")
    stack.sink.hold()
    stack.publish(10000)
    stack.wait_waiting(10000)
    report("PSS with 10,000 waiting, KiB", pss_kib(stack.daemon.pid), "")
    stack.sink.release()
    wait_until(lambda: stack.waiting() == 0, "10,000 mails do not go out", 300)


def measure_idle(stack, seconds=60):
    before = cpu_us(stack.daemon.pid)
    time.sleep(seconds)
    report(f"CPU of {seconds} idle seconds, milliseconds", f"{(cpu_us(stack.daemon.pid) - before) / 1000:.2f}",
           "at most 10")


def measure_start(stack, rounds):
    """With time running so fast that nobody waits for the tick."""
    took = []
    for _ in range(rounds):
        stack.fresh_sink()
        stack.sink.hold()
        stack.publish(100)
        stack.wait_waiting(100)
        stack.stop_daemon()
        stack.fresh_sink()
        began = time.monotonic()
        stack.start_daemon(HSB_TIME_SCALE="1000")
        stack.wait_waiting(0)
        took.append(stack.fresh_sink()["first_us"] - began * 1e6)
        stack.stop_daemon()
        stack.start_daemon()
        stack.ready()
    report("start to first mail, 100 entries to restore, no wait for the tick, ms", f"{median(took) / 1000:.1f}", "16")


def capture_soon(stack):
    """Has the profile ask for a capture in the next minute that can still be scheduled: schedules are computed once a
    minute."""
    due = datetime.datetime.now(datetime.timezone.utc) + datetime.timedelta(seconds=130)
    stack.ctl("profile", "remove", "Operators")
    stack.add_profile("--capture", due.strftime("%a,%H:%M,1"))
    stack.ready()


def measure_large(stack, rounds, log_bytes=1100000):
    """A capture of 1.5 MB: its dialogue beside the floor's, and what the daemon's memory grows by while it is sent."""
    (stack.root / "ostrel/conf/logfile").write_bytes(random.Random(1).randbytes(log_bytes))
    own, floor, growth, length = [], [], [], 0
    for _ in range(min(rounds, 3)):
        stack.fresh_sink()
        stack.sink.hold()
        capture_soon(stack)
        wait_until(lambda: stack.waiting() > 0, "the capture does not run", 240)
        time.sleep(2)  # the sender waits for the greeting
        before = most = pss_kib(stack.daemon.pid)
        stack.sink.release()
        while stack.waiting() > 0:
            most = max(most, pss_kib(stack.daemon.pid))
        sink = stack.fresh_sink()
        length = sink["bytes"]
        own.append(sink["longest_us"])
        growth.append((most - before) * 1024 / length)
        floor.append(stack.floor("drain", 1, 20, length)[1]["longest_us"])
    report(f"mail of {length} bytes, milliseconds", f"{median(own) / 1000:.1f}", f"floor {median(floor) / 1000:.1f}")
    report("  rate against the floor", f"{median(floor) / median(own):.2f}", "at least 0.75")
    report("  growth of PSS, times its size", f"{median(growth):.2f}", "at most 1.2")


def measure_size():
    stripped = pathlib.Path("/dev/shm/orvApp.stripped")
    subprocess.run(["strip", "-o", stripped, BIN / "orvApp"], check=True)
    report("orvApp stripped, KiB", f"{stripped.stat().st_size / 1024:.0f}", "at most 430")
    stripped.unlink()


def main():
    rounds = int(sys.argv[1]) if len(sys.argv) > 1 else 5
    measure_size()
    with Stack() as stack:
        stack.start_daemon()
        stack.ctl("wait", "orvApp", "started", "--timeout", "30")
        stack.configure()
        stack.ready()
        measure_idle(stack)
        measure_mails(stack, rounds)
        measure_bus(stack, rounds)
        measure_start(stack, rounds)
        measure_large(stack, rounds)
        measure_memory(stack)


if __name__ == "__main__":
    main()
