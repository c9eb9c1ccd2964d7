#!/usr/bin/env python3
"""Measures what has been built in build/bench and prints one table; called by ./dev bench."""
import argparse
import concurrent.futures
import contextlib
import json
import os
import pathlib
import re
import signal
import socket
import subprocess
import sys
import tempfile
import time
from typing import NamedTuple, Optional

import bench_plots

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build/bench"
LOADS = BUILD / "bench"
KVLINK = BUILD / "bin/kvlink"
KVSIM = BUILD / "bin/kvsim"
KVBRIDGE = BUILD / "bin/kvbridge"
PLUGIN = BUILD / "lib/kv-hostlink/drivers/libkv_l20v_host_link.so"
BASELINE = ROOT / "bench/baseline.tsv"
DOCS = ROOT / "docs"

# Kinds of requests and how many items each carries.
REQUESTS = {
    "bits": (1, 10, 100, 307),
    "spread": (1, 10),
    "spreadtimers": (1,),
    "timers": (1, 10, 64),
    "words": (1, 10, 100, 125, 307),
    "write": (1, 10, 100, 306),
    "writebits": (1, 10, 100, 307),
}
REGISTERS = (1, 10, 100, 125)

# Aims of the counts beside a peer's.
AIMS = {("serial port", "Qt SerialBus"): "ratio < 0.25",
        ("serial port", "libmodbus", 10): "ours <= 3000",
        ("driver alone", "libmodbus", 1): "ratio < 1",
        ("driver alone", "libmodbus", 10): "ratio < 1"}

# How often times are measured; the smallest counts, as other work only adds to them.
TIME_RUNS = 5

# How long monitor prints, and programs rest, in seconds.
OUTPUT_S = 20
REST_S = 20

# How many links monitor reads at once.
LINKS = (1, 4, 16, 64)

# The words of a screen: close together, and far apart.
CLOSE_WORDS = (0, 1, 2, 4, 5, 7, 8, 9, 11, 12, 14, 16, 17, 19, 20, 22, 24, 26, 27)
FAR_WORDS = (0, 1, 2, 5, 10, 11, 14, 20, 25, 28, 40, 41, 50, 52, 55, 60, 61, 70, 75)


class Row(NamedTuple):
    """A line of the result."""
    group: str
    what: str
    unit: str
    ours: float
    peer: Optional[str] = None
    theirs: Optional[float] = None
    aim: Optional[str] = None  # "ratio" or "ours", a relation and a number

    @property
    def ratio(self):
        return round(self.ours / self.theirs, 3) if self.theirs else None

    @property
    def met(self):
        if not self.aim:
            return None
        subject, relation, limit = self.aim.split()
        value = self.ratio if subject == "ratio" else self.ours
        return value < float(limit) if relation == "<" else value <= float(limit)


class Failure(Exception):
    """A program that measures, or the other end of a wire, has failed."""


def say(text):
    print("==", text, file=sys.stderr, flush=True)


def with_progress(total, figures):
    """Passes figures on, and shows how many there have been: on a terminal in one line that moves,
    elsewhere at each quarter."""
    if sys.stderr.isatty():
        print(f"   0 of {total}", end="", file=sys.stderr, flush=True)
    for done, figure in enumerate(figures, 1):
        if sys.stderr.isatty():
            print(f"\r   {done} of {total}\033[K", end="\r\033[K" if done == total else "",
                  file=sys.stderr, flush=True)
        elif 4 * done // total > 4 * (done - 1) // total:
            print(f"   {done} of {total}", file=sys.stderr, flush=True)
        yield figure


children = set()


def start(*command, **options):
    child = subprocess.Popen([str(part) for part in command], text=True, **options)
    children.add(child)
    return child


def end(child):
    """Ends a process by its id."""
    child.terminate()
    child.wait()
    children.discard(child)


def run(*command, stderr=None):
    """Runs a program to its end. Returns what it printed, stderr instead of stdout when asked."""
    child = start(*command, stdout=subprocess.PIPE, stderr=stderr)
    texts = child.communicate()
    children.discard(child)
    if child.returncode != 0:
        raise Failure(f"{command[0]}: exit status {child.returncode}\n{texts[1] or ''}")
    return texts[1] if stderr else texts[0]


@contextlib.contextmanager
def server(*command):
    """A program that serves. Gives its process, and the place where it is reached."""
    child = start(*command, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    try:
        words = child.stdout.readline().split()
        if len(words) != 2:
            child.terminate()
            raise Failure(f"{command[0]}: not ready\n{child.stderr.read()}")
        yield child, words[1]
    finally:
        end(child)


@contextlib.contextmanager
def peer(*command):
    """The other end of a wire, in a process of its own. Gives the place where it is reached."""
    with server(*command) as (_, place):
        yield place


def processor_s(child):
    """Waits for the end of a process. Returns the processor time that it has taken."""
    _, status, usage = os.wait4(child.pid, 0)
    child.returncode = os.waitstatus_to_exitcode(status)
    children.discard(child)
    return usage.ru_utime + usage.ru_stime


def field(text, key, index):
    """A number of the line that holds a word."""
    for line in text.splitlines():
        if key in line.split():
            return int(line.split()[index].replace(",", ""))
    raise Failure(f"no line with {key} in:\n{text}")


def instructions(*command):
    """What one run executes in user space."""
    log = run("valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", *command,
              stderr=subprocess.PIPE)
    return field(log, "Collected", -1)


def system_calls(*command):
    """Of one run; the other end of the wire is a process of its own."""
    return field(run("strace", "-c", "-f", *command, stderr=subprocess.PIPE), "total", 3)


def per_request(count, *command):
    """The same for one request. The two runs differ in nothing but their number of requests, which
    is the last argument, so that the start of the program cancels out."""
    return (count(*command, 300) - count(*command, 100)) / 200


def driver_counts():
    """Instructions of the driver alone: a dictionary by kind and items."""
    rows = [(kind, items) for kind, counts in REQUESTS.items() for items in counts]
    pool = concurrent.futures.ThreadPoolExecutor(os.cpu_count())
    try:
        counts = [pool.submit(per_request, instructions, LOADS / "driver_load", *row)
                  for row in rows]
        results = with_progress(len(rows), (int(count.result()) for count in counts))
        return dict(zip(rows, results))
    finally:
        pool.shutdown(wait=False, cancel_futures=True)


def check():
    baseline = {}
    for line in BASELINE.read_text().splitlines():
        if not line.startswith("#"):
            kind, items, count = line.split("\t")
            baseline[kind, int(items)] = int(count)
    good = True
    counts = driver_counts()
    print(f"{'request':<10} {'items':>6} {'baseline':>12} {'now':>12} {'change':>8}")
    for (kind, items), now in counts.items():
        before = baseline.pop((kind, items), 0)
        worse = now > 1.1 * before
        change = f"{100 * (now / before - 1):+.1f} %" if before else "unknown"
        print(f"{kind:<10} {items:6} {before:12} {now:12} {change:>8}{'  WORSE' if worse else ''}")
        good = good and not worse
    for kind, items in baseline:
        print(f"not measured: {kind}\t{items}")
        good = False
    sys.stdout.flush()
    return 0 if subprocess.call([LOADS / "alloc_count"]) == 0 and good else 1


def update():
    lines = ["# Instructions of the driver alone for one request: kind, items, count."
             " Written by ./dev bench --update."]
    lines += [f"{kind}\t{items}\t{count}" for (kind, items), count in driver_counts().items()]
    BASELINE.write_text("\n".join(lines) + "\n")
    print("\n".join(lines))
    return 0


def count_peers():
    """Instructions of libmodbus and of Qt SerialBus: two dictionaries by registers in one."""
    with peer(LOADS / "modbus_peer") as place:
        runs = [(name, program, registers) for name, program in
                (("libmodbus", "modbus_load"), ("Qt SerialBus", "serialbus_load"))
                for registers in REGISTERS]
        counts = (int(per_request(instructions, LOADS / program, place, registers))
                  for _, program, registers in runs)
        peers = {name: {} for name, _, _ in runs}
        for (name, _, registers), count in zip(runs, with_progress(len(runs), counts)):
            peers[name][registers] = count
        return peers


def beside_peers(group, kind, items, count, peers):
    """A row of our count for each peer that does the same, or one without a peer."""
    row = Row(group, f"{kind}, {items}", "instructions", count)
    if kind not in ("words", "spread") or items not in REGISTERS:
        return [row]
    return [row._replace(peer=name, theirs=counts[items],
                         aim=AIMS.get((group, name, items), AIMS.get((group, name))))
            for name, counts in peers.items()]


def driver_rows(peers):
    counts = driver_counts()
    for (kind, items), count in counts.items():
        yield from beside_peers("driver alone", kind, items, count, peers)
    libmodbus = peers["libmodbus"]
    yield Row("driver alone", "one more word", "instructions",
              round((counts["words", 307] - counts["words", 1]) / 306, 2), "libmodbus",
              round((libmodbus[125] - libmodbus[1]) / 124, 2), "ours <= 60")


def serial_rows(peers):
    requests = [(kind, items) for kind, counts in REQUESTS.items()
                if not kind.startswith("spread") for items in counts]
    with peer(KVSIM, "--pty") as place:
        counts = (int(per_request(instructions, LOADS / "serial_load", place, *request))
                  for request in requests)
        for request, count in zip(requests, with_progress(len(requests), counts)):
            yield from beside_peers("serial port", *request, count, peers)


def calls_row(what, *command, aim=None):
    return Row("system calls", what, "calls per request", per_request(system_calls, *command),
               aim=aim)


def call_rows():
    with peer(KVSIM, "--pty") as place:
        for kind, items in (("words", 1), ("words", 307), ("write", 1)):
            yield calls_row(f"{kind}, {items}", LOADS / "serial_load", place, kind, items,
                            aim="ours <= 12")
    with peer(LOADS / "modbus_peer") as place:
        yield calls_row("libmodbus, 1 register", LOADS / "modbus_load", place, 1)
        yield calls_row("Qt SerialBus, 1 register", LOADS / "serialbus_load", place, 1)


def allocation_rows():
    child = start(LOADS / "alloc_count", stdout=subprocess.PIPE)
    for line in child.communicate()[0].splitlines():
        what, *fields = line.split("\t")
        if what == "allocations":
            kind, items, count, _ = fields
            aim = {"write": "ours <= 0", "writebits": None}.get(kind, "ours <= 1")
            yield Row("allocations", f"{kind}, {items}", "per request", float(count), aim=aim)
        else:
            size, heap = (int(text.split()[0]) for text in fields)
            made = int(fields[1].split(" in ")[1].split()[0])
            yield Row("memory", "a driver object", "bytes", size)
            yield Row("memory", "its heap, itself included", "bytes", heap)
            yield Row("memory", "its heap, itself included", "allocations", made)


def wire_rows():
    for baud in (9600, 19200, 38400, 57600, 115200):
        aim = "ours <= 1.02" if baud == 9600 else "ours <= 1.10"
        with peer(KVSIM, "--pty", "--baud", baud) as place:
            for words, requests in ((1, 21), (16, 21), (307, 3)):
                share = float(run(LOADS / "wire_share", place, baud, words, requests))
                yield Row("share of the wire", f"{words} words at {baud} baud", "time / wire time",
                          share, aim=aim)


def seconds(*command, runs=1):
    """The mean time of a program, from its start to its end."""
    before = time.monotonic()
    for _ in range(runs):
        run(*command)
    return (time.monotonic() - before) / runs


def merge_rows():
    with peer(KVSIM, "--pty", "--baud", 9600) as place:
        for what, words, aim in (("19 words among 28", CLOSE_WORDS, "ratio <= 0.25"),
                                 ("19 words among 76", FAR_WORDS, None)):
            command = [KVLINK, "--port", f"{place},9600,8n1", "read"]
            command += [f"DM{100 + word}" for word in words]
            yield Row("kvlink", f"{what}, 9600 baud", "s", round(seconds(*command), 3),
                      "one by one", round(seconds(*command, "--no-merge"), 3), aim)


def memory_rows():
    # Code and constants are pages of the file, shared by all who load it; the rest is each
    # process' own.
    own = ("data", "bss", "data.rel.ro", "init_array", "fini_array", "dynamic", "got", "got.plt")
    sections = [line.split() for line in run("size", "-A", PLUGIN).splitlines()]
    yield Row("memory", "the plug-in's own data", "bytes",
              sum(int(line[1]) for line in sections if line and line[0][1:] in own))
    yield Row("memory", "the plug-in's code and constants", "bytes",
              int(run("size", PLUGIN).splitlines()[1].split()[0]))


def start_rows():
    with peer(KVSIM, "--tcp", 0) as place:
        for what, *command in (("kvlink info", KVLINK, "info"),
                               ("kvlink read DM0 --tcp", KVLINK, "--tcp", place, "read", "DM0"),
                               ("an empty program (true)", "true")):
            yield Row("start", what, "ms", round(1000 * seconds(*command, runs=20), 2))


def monitor_links(links, duration_s):
    """Reads ten words of each link ten times a second over 115200 baud. Returns the samples left out,
    processor time in seconds and memory of its own in KiB."""
    with contextlib.ExitStack() as stack:
        folder = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory()))
        with open(folder / "links.ini", "w", encoding="ascii") as file:
            for link in range(links):
                place = stack.enter_context(peer(KVSIM, "--pty", "--baud", 115200))
                file.write(f"[line{link}]\nport = {place},115200,8n1\n")
        with open(folder / "summary", "w+", encoding="utf-8") as summary:
            child = start(KVLINK, "monitor", *(f"line{link}:DM0[10]" for link in range(links)),
                          "--links", folder / "links.ini", "--interval", "100ms", "--duration",
                          duration_s, "--format", "csv", stdout=subprocess.DEVNULL, stderr=summary)
            time.sleep(0.9 * duration_s)
            memory = pathlib.Path(f"/proc/{child.pid}/smaps_rollup").read_text(encoding="ascii")
            cpu_s = processor_s(child)
            summary.seek(0)
            text = summary.read()
    errors = [int(count) for count in re.findall(r" (\d+) errors?", text)]
    if child.returncode != 0 or len(errors) != links:
        raise Failure(f"monitor of {links} links: exit status {child.returncode}\n{text}")
    left_out = sum(int(count) for count in re.findall(r"; (\d+) samples? left out", text))
    return left_out, cpu_s, field(memory, "Private_Dirty:", 1)


def link_rows(duration_s):
    before = None
    for links in LINKS:
        left_out, cpu_s, own = monitor_links(links, duration_s)
        what = f"{links} link" + "s" * (links > 1)
        share = 100 * cpu_s / duration_s
        yield Row("links", what, "samples left out", left_out)
        yield Row("links", what, "% of a core", round(share, 2),
                  aim="ours < 50" if links == LINKS[-1] else None)
        yield Row("links", what, "MiB of its own", round(own / 1024, 1))
        if before:
            more = links - before[0]
            yield Row("each added link", what, "% of a core",
                      round((share - before[1]) / more, 3))
            yield Row("each added link", what, "KiB of its own", round((own - before[2]) / more))
        before = links, share, own


def output_rows():
    with peer(KVSIM, "--tcp", 0) as place:
        for name, percent in (("jsonl", 4), ("csv", 2)):
            child = start(KVLINK, "--tcp", place, "monitor", *(f"DM{word}" for word in range(100)),
                          "--interval", "10ms", "--duration", OUTPUT_S, "--format", name,
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            share = 100 * processor_s(child) / OUTPUT_S
            if child.returncode != 0:
                raise Failure(f"monitor --format {name}: exit status {child.returncode}")
            yield Row("output", f"{name}, 100 items at 10 ms", "% of a core", round(share, 2),
                      aim=f"ours <= {percent}")


def sleeps(child):
    """How often the threads of a process have gone to sleep so far: each time something wakes them
    up again."""
    texts = (status.read_text(encoding="ascii")
             for status in pathlib.Path(f"/proc/{child.pid}/task").glob("*/status"))
    return sum(field(text, "voluntary_ctxt_switches:", 1) for text in texts)


def rest_rows():
    with contextlib.ExitStack() as stack:
        kvsim, place = stack.enter_context(server(KVSIM, "--tcp", 0))
        terminal = stack.enter_context(peer(KVSIM, "--pty"))
        kvbridge, bridged = stack.enter_context(
            server(KVBRIDGE, "--port", f"{terminal},9600,8n1", "--listen", 0))
        for client in (place, bridged):
            host, port = client.rsplit(":", 1)
            stack.enter_context(socket.create_connection((host, int(port))))
        asked = stack.enter_context(peer(KVSIM, "--tcp", 0))
        monitor = start(KVLINK, "--tcp", asked, "monitor", "DM0", "--interval", "1s",
                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        stack.callback(end, monitor)
        time.sleep(1.5)
        # A monitor wakes up for the interval, and for each of the three replies.
        programs = (("kvsim, a client connected", kvsim, 0),
                    ("kvbridge, a client connected", kvbridge, 0),
                    ("kvlink monitor, interval 1 s", monitor, 4))
        before = [sleeps(child) for _, child, _ in programs]
        time.sleep(REST_S)
        for (what, child, most), count in zip(programs, before):
            yield Row("restful", what, "wake-ups a second",
                      round((sleeps(child) - count) / REST_S, 2), aim=f"ours <= {most}")


def measure():
    say("1 of 6: instructions of the peers")
    peers = count_peers()
    say("2 of 6: instructions of the driver")
    yield from driver_rows(peers)
    say("3 of 6: instructions through the serial port")
    yield from serial_rows(peers)
    say("4 of 6: system calls and memory")
    yield from call_rows()
    yield from allocation_rows()
    yield from memory_rows()
    say("5 of 6: processor time of monitor, wake-ups of programs at rest")
    yield from output_rows()
    yield from rest_rows()
    say("6 of 6: times, the longest part")
    yield from time_rows()


def time_rows():
    """Of each figure the smallest of some runs, at real-time priority where that is allowed."""
    try:
        os.sched_setscheduler(0, os.SCHED_FIFO, os.sched_param(10))
    except PermissionError:
        say("at normal priority, as only root may take a higher one: other work shows in the times")
    runs = ([*wire_rows(), *merge_rows(), *start_rows()] for _ in range(TIME_RUNS))
    for same in zip(*with_progress(TIME_RUNS, runs)):
        yield min(same, key=lambda row: row.ours)
    os.sched_setscheduler(0, os.SCHED_OTHER, os.sched_param(0))


def report(rows, json_file):
    """The table on stdout, the same as JSON into a file."""
    layout = "{:<18} {:<34} {:<18} {:>9} {:<13} {:>9} {:>7}  {}"
    print(layout.format(*"group what unit ours peer theirs ratio aim".split()))
    for row in rows:
        verdict = f"{row.aim}, {'met' if row.met else 'MISSED'}" if row.aim else ""
        print(layout.format(*row[:4], *("" if cell is None else cell for cell in
                                        (row.peer, row.theirs, row.ratio)), verdict).rstrip())
    print(f"{len(rows)} rows, {sum(row.met is False for row in rows)} aims missed")
    if json_file:
        cells = [dict(row._asdict(), ratio=row.ratio, met=row.met) for row in rows]
        pathlib.Path(json_file).write_text(json.dumps(cells, indent=2) + "\n")


def whole_seconds(text):
    if not text.isdecimal() or int(text) == 0:
        raise argparse.ArgumentTypeError(f"{text} is not a number of seconds above 0")
    return int(text)


def main():
    parser = argparse.ArgumentParser(
        prog="./dev bench", allow_abbrev=False,
        description="Without an option, and with --json and --plots: measures everything but --links "
                    "in five minutes and prints a table: the instructions of the driver alone and through "
                    "a serial port, those of reads of 1, 10, 100 and 125 words beside libmodbus "
                    "and Qt SerialBus; system calls; allocations and memory; the processor time "
                    "of kvlink monitor; how often programs at rest wake up; the share of the "
                    "wire; kvlink's merging and start. Other work of the machine changes the "
                    "times alone.")
    action = parser.add_mutually_exclusive_group()
    action.add_argument(
        "--check", action="store_true",
        help="count only the driver's instructions and allocations; fails when a count is more "
             "than 10 %% above bench/baseline.tsv, or when a request allocates more than it may")
    action.add_argument("--update", action="store_true",
                        help="replace bench/baseline.tsv by the counts of this build")
    action.add_argument("--links", metavar="SECONDS", type=whole_seconds, nargs="?", const=60,
                        help="measure only kvlink monitor on many links, 60 s for each number of "
                             "links by default")
    parser.add_argument("--json", metavar="FILE", help="write the table into a file as well")
    parser.add_argument("--plots", action="store_true",
                        help="draw docs/wire_share.svg and docs/instructions.svg from the table")
    options = parser.parse_args()
    if (options.json or options.plots) and (options.check or options.update or options.links):
        parser.error("--json and --plots need the table of everything: leave --check, --update "
                     "and --links out")
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(128 + signal.SIGTERM))
    try:
        if options.check:
            return check()
        if options.links:
            report(list(link_rows(options.links)), None)
            return 0
        if options.update:
            return update()
        rows = list(measure())
        report(rows, options.json)
        if options.plots:
            bench_plots.draw_all(rows, DOCS)
        return 0
    except Failure as failure:
        print(failure, file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        return 128 + signal.SIGINT
    finally:
        for child in list(children):
            end(child)


if __name__ == "__main__":
    sys.exit(main())
