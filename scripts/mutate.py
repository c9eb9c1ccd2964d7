#!/usr/bin/env python3
"""Changes the product one line at a time and asks whether a test notices; called by ./dev mutate.

The lines are chosen with a seed among those that the tests run. Each change (a mutant) is made in a
copy of the sources under build/mutate and built there; then the tests that run the line are run, the
quickest first. A mutant is caught when a test fails twice or takes too long. One that does not build
does not count. One whose behaviour cannot differ is listed in scripts/mutate-equivalent.txt and is
excused:

    FILE OPERATOR
    - the line
    + the line as the operator leaves it
    = the reason
"""

import argparse
import collections
import concurrent.futures
import hashlib
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

from mutate_operators import DATA, UNCHANGED, changes_of, code_of

ROOMS = {
    "tools": "tools", "driver": "drivers/kv_l20v_host_link", "runtime": "runtime",
    "items": "items", "simulator": "simulator", "apps": "apps", "testkit": "testkit",
    "bridge": "bridge",
}
ROOT = Path(__file__).resolve().parent.parent
WORK = ROOT / "build/mutate"
EXCUSES = ROOT / "scripts/mutate-equivalent.txt"
WANTED = 90  # per cent caught
SLOW = 1.5  # seconds of a test
# A test's address space and the longest file that it may write, in bytes.
LIMITS = ["prlimit", "--as=%d" % (4 << 30), "--fsize=%d" % (64 << 20), "--core=0"]


class Mutant(collections.namedtuple("Mutant", "room file number operator before after tests")):
    """A change of a line, and the tests that run the line."""

    def key(self):
        return self.file, self.operator, self.before.strip(), self.after.strip()


def say(text):
    print(text, file=sys.stderr, flush=True)


def mutants_of(room, file, text, covered, order):
    """The mutants of a file, a list for each of its lines that the tests run.

    covered gives the tests that run a line, by its number, for each line with machine code. A line
    without goes with the statement it continues; data goes with its file. order is that of all tests.
    """
    of_file = [name for name in order if any(name in names for names in covered.values())]
    lines, code = text.split("\n"), [line.rstrip() for line in code_of(text).split("\n")]
    for at, line in enumerate(code):
        first = at
        while first + 1 not in covered and first > 0 and re.search(r"[^;{}\s]$", code[first - 1]):
            first -= 1
        data = first + 1 not in covered
        sure = of_file if data else covered[first + 1]
        if not sure or UNCHANGED.search(line) or data and not DATA.match(line):
            continue
        previous = next((other for other in reversed(code[:at]) if other), "")
        tests = [name for name in order if name in sure]
        found = []
        for operator, start, end, new in changes_of(lines[at], line, previous):
            if not data or operator == "constant":
                after = lines[at][:start] + new + lines[at][end:]
                found.append(Mutant(room, file, at + 1, operator, lines[at], after, tests))
        if found:
            yield found


def chosen(lines, sample, seed):
    """So many mutants, at most one a line. Which, depends on each line's own text only."""
    def rank(*what):
        return hashlib.sha256(repr((seed,) + what).encode()).digest()
    seen = collections.Counter()
    ranked = []
    for mutants in lines:
        text = mutants[0].file, mutants[0].before
        seen[text] += 1
        one = min(mutants, key=lambda mutant: rank(mutant.operator, mutant.after))
        ranked.append((rank(seen[text], *text), one))
    return [one for _, one in sorted(ranked, key=lambda pair: pair[0])[:sample]]


def read_excuses():
    """The mutants that need no test: (file, operator, line, changed line) and the reason."""
    excuses = {}
    for entry in re.split(r"\n\s*\n", EXCUSES.read_text()):
        lines = [line.strip() for line in entry.strip().splitlines() if not line.startswith("#")]
        if lines:
            file, operator = lines[0].split(" ", 1)
            excuses[file, operator, lines[1][2:], lines[2][2:]] = lines[3][2:]
    return excuses


class Tree:
    """A copy of the sources and what is built of it. A "@" in a command stands for its folder."""

    def __init__(self, name, flags=""):
        self.top = WORK / name
        self.source, self.built, self.log = self.top / "src", self.top / "tree", self.top / "log"
        self.flags = flags

    def copy_sources(self):
        """Copies what differs, so that only that is built again. Returns a sum over the sources."""
        listed = subprocess.check_output(
            ["git", "ls-files", "-co", "--exclude-standard", "-z"], cwd=ROOT, text=True)
        names = {name for name in listed.split("\0") if name and (ROOT / name).is_file()}
        for path in list(self.source.rglob("*")):
            if path.is_file() and str(path.relative_to(self.source)) not in names:
                path.unlink()
        total = hashlib.sha256()
        for name in sorted(names):
            content, copy = (ROOT / name).read_bytes(), self.source / name
            if copy.suffix in (".cpp", ".h", ".cmake") or copy.name == "CMakeLists.txt":
                total.update(b"%s %d %s" % (name.encode(), len(content), content))
            if not copy.is_file() or copy.read_bytes() != content:
                copy.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(ROOT / name, copy)
        return total.hexdigest()

    def call(self, *command):
        with open(self.log, "w") as log:
            return subprocess.run(command, stdout=log, stderr=log).returncode == 0

    def build(self, programs, jobs):
        return self.call("cmake", "--build", self.built, "-j", str(jobs), "--target", *programs)

    def prepare(self, programs, jobs):
        say("building %s" % self.built.relative_to(ROOT))
        if not self.call("cmake", "-S", self.source, "-B", self.built, "-G", "Ninja", "-DKV_QT=5",
                         "-DCMAKE_CXX_COMPILER=g++", "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS=-w",
                         "-DCMAKE_CXX_FLAGS_DEBUG=-O0 " + self.flags) or not self.build(programs, jobs):
            sys.exit(self.log.read_text())

    def run(self, command, limit, **environment):
        """Runs a test. None when it passes, else why it fails; a failure has to repeat."""
        command = [part.replace("@", str(self.top)) for part in command]
        for _ in range(2):
            with tempfile.TemporaryDirectory(prefix="mutate") as scratch:
                test = subprocess.Popen(
                    LIMITS + command, cwd=Path(command[0]).parent, start_new_session=True,
                    env=dict(os.environ, TMPDIR=scratch, **environment), stdin=subprocess.DEVNULL,
                    stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
                try:
                    if test.wait(limit) == 0:
                        return None
                except subprocess.TimeoutExpired:
                    return "time-out"
                finally:
                    try:
                        os.killpg(test.pid, signal.SIGKILL)  # the test and what it started
                    except ProcessLookupError:
                        pass
                    test.wait()
        return "failure"


def run_with_counts(tree, command):
    """The seconds that a test takes and what it runs: {file: {line: whether}}."""
    with tempfile.TemporaryDirectory(dir=tree.top) as counts:
        started = time.monotonic()
        failure = tree.run(command, 300, GCOV_PREFIX=counts)
        seconds = time.monotonic() - started
        if failure:
            sys.exit("the sources unchanged: %s of %s" % (failure, command))
        found = list(Path(counts).rglob("*.gcda"))
        for path in found:
            notes = Path("/") / path.relative_to(counts).with_suffix(".gcno")
            path.with_suffix(".gcno").symlink_to(notes)
        listed = subprocess.check_output(["gcov", "--json-format", "--stdout", *found],
                                         cwd=counts, stderr=subprocess.DEVNULL, text=True)
    runs = {}
    for part in listed.splitlines():
        for entry in json.loads(part)["files"]:
            if entry["file"].startswith("%s/" % tree.source):
                lines = runs.setdefault(entry["file"][len(str(tree.source)) + 1:], {})
                for line in entry["lines"]:
                    lines[line["line_number"]] = lines.get(line["line_number"]) or line["count"] > 0
    return seconds, runs


def cover(jobs):
    """The tests, {name: [command, seconds]}, and what runs a line, {file: {line: [name]}}."""
    tree = Tree("coverage", "--coverage")
    tree.top.mkdir(parents=True, exist_ok=True)
    total, kept = tree.copy_sources(), tree.top / "coverage.json"
    if not kept.is_file() or json.loads(kept.read_text())["sum"] != total:
        tree.prepare(["all"], jobs)
        listed = json.loads(subprocess.check_output(
            ["ctest", "--test-dir", tree.built, "--show-only=json-v1"], text=True))
        tests = {test["name"]: [part.replace(str(tree.top), "@") for part in test["command"]]
                 for test in listed["tests"] if test["command"][0].startswith(str(tree.built))}
        say("running %d tests, to see which lines they run" % len(tests))
        lines = {}
        with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
            runs = pool.map(lambda command: run_with_counts(tree, command), tests.values())
            for name, (seconds, files) in zip(list(tests), runs):
                tests[name] = [tests[name], seconds]
                for file, line in ((file, line) for file in files for line in files[file]):
                    names = lines.setdefault(file, {}).setdefault(line, [])
                    names += [name] if files[file][line] else []
        tests = dict(sorted(tests.items(), key=lambda test: test[1][1]))  # the quickest first
        kept.write_text(json.dumps({"sum": total, "tests": tests, "lines": lines}))
    coverage = json.loads(kept.read_text())
    return coverage["tests"], {file: {int(line): names for line, names in lines.items()}
                               for file, lines in coverage["lines"].items()}


def program_of(command):
    """What is built for a test."""
    return command[0].replace("@/tree/", "")


def judge(tree, mutant, tests):
    """Builds and tests a mutant: "survived", "not built", or how and by which test it was caught."""
    path = tree.source / mutant.file
    original = path.read_text()
    lines = original.split("\n")
    lines[mutant.number - 1] = mutant.after
    path.write_text("\n".join(lines))
    try:
        # Slow tests wait most of their time, so they run at the same time.
        slow = [name for name in mutant.tests if tests[name][1] > SLOW]
        for batch in [[name] for name in mutant.tests if name not in slow] + ([slow] if slow else []):
            commands, seconds = zip(*(tests[name] for name in batch))
            if not tree.build(map(program_of, commands), 2):
                return "not built"
            with concurrent.futures.ThreadPoolExecutor(len(batch)) as pool:
                failures = pool.map(tree.run, commands, [10 + 4 * usual for usual in seconds])
            for name, failure in zip(batch, failures):
                if failure:
                    return "%s of %s" % (failure, name)
        return "survived"
    finally:
        path.write_text(original)


def judge_all(mutants, tests, jobs):
    """Judges the mutants, those of a file one after another; returns each with its outcome."""
    groups, outcomes, stopped = collections.defaultdict(list), [], threading.Event()
    for mutant in mutants:
        groups[mutant.file].append(mutant)
    waiting = iter(sorted(groups.values(), key=len, reverse=True))  # the workers share it

    def work(number):
        tree = Tree(str(number))
        tree.copy_sources()
        tree.prepare([program_of(command) for command, _ in tests.values()], 1)
        for group in waiting:
            for mutant in group:
                if stopped.is_set():
                    return
                started = time.monotonic()
                outcome = judge(tree, mutant, tests)
                outcomes.append((mutant, outcome))
                say("%d/%d %s:%d %s: %s, %.1f s" % (
                    len(outcomes), len(mutants), mutant.file, mutant.number, mutant.operator,
                    outcome, time.monotonic() - started))

    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        try:
            list(pool.map(work, range(1, jobs + 1)))
        finally:
            stopped.set()
    return sorted(outcomes)


def show(mutant):
    file, operator, before, after = mutant.key()
    print("%s:%d %s\n- %s\n+ %s" % (file, mutant.number, operator, before, after))


def main():
    parser = argparse.ArgumentParser(prog="./dev mutate", description=__doc__.split("\n\n")[0])
    parser.add_argument("--sample", type=int, default=400, help="so many mutants (400)")
    parser.add_argument("--seed", type=int, default=1, help="which ones (1)")
    parser.add_argument("--room", choices=ROOMS, help="of this part only")
    parser.add_argument("--list", action="store_true", help="show the mutants and end")
    parser.add_argument("-j", dest="jobs", type=int, default=os.cpu_count(), help="at a time")
    options = parser.parse_args()

    tests, covered = cover(options.jobs)
    candidates = []
    for room in [options.room] if options.room else ROOMS:
        for path in sorted((ROOT / ROOMS[room]).rglob("*")):
            file = str(path.relative_to(ROOT))
            if path.suffix in (".cpp", ".h") and file in covered:
                candidates += mutants_of(room, file, path.read_text(), covered[file], list(tests))
    sample = chosen(candidates, options.sample, options.seed)
    say("%d mutants of %d lines" % (len(sample), len(candidates)))
    if options.list:
        for mutant in sorted(sample):
            show(mutant)
        return 0

    excuses = read_excuses()
    to_judge = [mutant for mutant in sample if mutant.key() not in excuses]
    counts = collections.defaultdict(collections.Counter)
    for mutant in sample:
        counts[mutant.room]["excused"] += mutant.key() in excuses
    for mutant, outcome in judge_all(to_judge, tests, options.jobs):
        kind = outcome if outcome in ("survived", "not built") else "caught"
        counts[mutant.room][kind] += 1
        counts[mutant.room]["by time-out"] += outcome.startswith("time-out")
        if kind == "survived":
            show(mutant)

    columns = ["caught", "by time-out", "survived", "excused", "not built"]
    print(("%-10s" + " %11s" * 6) % ("room", *columns, "% caught"))
    counts["all"] = sum(counts.values(), collections.Counter())
    for room, of_room in counts.items():
        judged = of_room["caught"] + of_room["survived"]
        share = 100 * of_room["caught"] / judged if judged else 100
        print(("%-10s" + " %11d" * 5 + " %11.1f") % (room, *(of_room[c] for c in columns), share))
    return 0 if share >= WANTED else 1


if __name__ == "__main__":
    sys.exit(main())
