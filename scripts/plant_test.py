#!/usr/bin/env python3
"""Runs the pipes of docs/plant.md with real brokers and databases; called by ./dev test-plant.

Every program is an instance of this script's own, on free ports of 127.0.0.1, with its files in a
temporary folder. The blocks of the page that follow a line "<!-- run: NAME -->" are run as they
stand, but for the ports: the settings of the programs in that folder lead to the instances.
"""
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
import urllib.parse
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parent.parent
PROGRAMS = ROOT / "build/dev/bin"
PAGE = ROOT / "docs/plant.md"
PATIENCE = 30  # seconds until something has to be there


class Failure(Exception):
    """A check has failed."""


def block(name):
    """A block of the page."""
    form = r"<!-- run: %s -->\n```\w+\n(.*?)```" % re.escape(name)
    found = re.search(form, PAGE.read_text(), re.S)
    if not found:
        raise Failure("%s has no block %s" % (PAGE, name))
    return found.group(1)


def wait_for(what, probe):
    """Waits until probe gives something, and returns it."""
    end = time.monotonic() + PATIENCE
    error = None
    while time.monotonic() < end:
        try:
            result = probe()
            if result:
                return result
        except (OSError, ValueError, KeyError, IndexError) as caught:
            error = caught
        time.sleep(0.05)
    raise Failure("%s did not come in %d s (%s)" % (what, PATIENCE, error))


def free_port():
    with contextlib.closing(socket.socket()) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def page_at(url, data=None):
    with urllib.request.urlopen(url, data, timeout=5) as reply:
        return reply.read()


class Plant:
    """The instances, and the folder with their files."""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        self.children = []
        self.ports = {name: free_port() for name in
                      ("mqtt", "prometheus", "node", "influx", "influx-rpc")}
        self.env = dict(os.environ, XDG_CONFIG_HOME=str(self.folder), LC_ALL="C.UTF-8",
                        PATH="%s:/usr/sbin:%s" % (PROGRAMS, os.environ["PATH"]),
                        INFLUX=self.url("influx"))
        self.env.pop("KVLINK_TAGS", None)

    def url(self, name):
        return "http://127.0.0.1:%d" % self.ports[name]

    def file(self, name, text):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        return path

    def start(self, command, **options):
        """A program, or a pipe as a text, in a group of its own."""
        log = open(self.folder / "log", "a")
        child = subprocess.Popen(command, shell=isinstance(command, str), text=True, env=self.env,
                                 cwd=self.folder, start_new_session=True,
                                 stderr=log, **options)
        self.children.append(child)
        return child

    def end(self, child):
        """Ends a program, or all of a pipe, as Ctrl-C does; only once, as its id is used again."""
        self.children.remove(child)
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGKILL):
            with contextlib.suppress(ProcessLookupError):
                os.killpg(child.pid, number)
            with contextlib.suppress(subprocess.TimeoutExpired):
                child.wait(5)
                break

    @contextlib.contextmanager
    def pipe(self, name, without="\0"):
        """A block of the page while something is checked."""
        child = self.start(block(name).replace(without, ""), stdin=subprocess.DEVNULL,
                           stdout=subprocess.DEVNULL)
        try:
            yield child
        finally:
            self.end(child)

    @contextlib.contextmanager
    def subscriber(self, topic):
        """What arrives at the broker: a function that gives so many lines."""
        arrived = self.folder / "arrived"
        with open(arrived, "w") as out:
            child = self.start(["mosquitto_sub", "-t", topic, "-t", "ready"], stdout=out)
        # This topic is retained, and the last one that was asked for.
        wait_for("a subscription", lambda: "ready\n" in arrived.read_text())

        def lines(count):
            got = lambda: arrived.read_text().splitlines()[1:]
            return wait_for("%d messages" % count, lambda: len(got()) >= count and got())
        try:
            yield lines
        finally:
            self.end(child)

    def run(self, *command, **options):
        return subprocess.run([str(part) for part in command], env=self.env, cwd=self.folder,
                              text=True, capture_output=True, timeout=PATIENCE, **options)

    def serve(self):
        """Starts everything, and waits until it answers."""
        plc = self.start(["kvsim", "--tcp", "0", "--set", "DM100=215", "--set", "DM101=180",
                          "--set", "DM120=14145"], stdout=subprocess.PIPE)
        bridge = self.start(["kvbridge", "--tcp", plc.stdout.readline().split()[1], "--listen", "0",
                             "--metrics", "0"], stdout=subprocess.PIPE)
        place, self.metrics = (bridge.stdout.readline().split()[1] for _ in range(2))
        self.file("oven.csv", (ROOT / "examples/oven.csv").read_text())
        self.file("kvlink/links.ini",
                  "[line1]\ntcp = %s\ntimeout = 2s\ntags = ../oven.csv\n" % place)
        self.env["KVLINK_LINK"] = "line1"
        self.serve_mosquitto()
        self.serve_prometheus()
        self.serve_influx()

    def serve_mosquitto(self):
        text = "listener %d 127.0.0.1\nallow_anonymous true\n" % self.ports["mqtt"]
        self.start(["mosquitto", "-c", self.file("mosquitto.conf", text)])
        for program in ("mosquitto_pub", "mosquitto_sub"):
            self.file(program, "-h 127.0.0.1\n-p %d\n" % self.ports["mqtt"])
        wait_for("the broker", lambda: self.run(
            "mosquitto_pub", "-r", "-t", "ready", "-m", "ready").returncode == 0)

    def serve_prometheus(self):
        node = "127.0.0.1:%d" % self.ports["node"]
        self.env["TEXTFILES"] = str(self.file("textfiles/readme", "").parent)
        self.start(["prometheus-node-exporter", "--web.listen-address=" + node,
                    "--collector.disable-defaults", "--collector.textfile",
                    "--collector.textfile.directory=" + self.env["TEXTFILES"]])
        text = block("prometheus.yml")
        for documented, own in (("127.0.0.1:9451", self.metrics), ("127.0.0.1:9100", node),
                                ("15s", "1s")):
            if documented not in text:
                raise Failure("prometheus.yml of the page does not have " + documented)
            text = text.replace(documented, own)
        self.start(["prometheus", "--config.file=%s" % self.file("prometheus.yml", text),
                    "--storage.tsdb.path=%s" % (self.folder / "prometheus"),
                    "--web.listen-address=127.0.0.1:%d" % self.ports["prometheus"]])
        wait_for("prometheus", lambda: page_at(self.url("prometheus") + "/-/ready"))

    def serve_influx(self):
        self.start(["influxd", "run", "-config", self.file("influxdb.conf", """
            reporting-disabled = true
            bind-address = "127.0.0.1:%d"
            [meta]
            dir = "%s/meta"
            [data]
            dir = "%s/data"
            wal-dir = "%s/wal"
            [http]
            bind-address = "127.0.0.1:%d"
            """ % (self.ports["influx-rpc"], *3 * [self.folder / "influx"], self.ports["influx"]))])
        wait_for("influxdb", lambda: self.influx("CREATE DATABASE plant"))

    def influx(self, query):
        text = urllib.parse.urlencode({"db": "plant", "q": query})
        return json.loads(page_at(self.url("influx") + "/query", text.encode()))

    def metric(self, query):
        """The value of the first series; nothing as long as there is none."""
        url = self.url("prometheus") + "/api/v1/query?" + urllib.parse.urlencode({"query": query})
        return float(json.loads(page_at(url))["data"]["result"][0]["value"][1])


def expect(what, got, wanted):
    if got != wanted:
        raise Failure("%s: got %r, expected %r" % (what, got, wanted))


def values_arrive_in_order(plant):
    """mqtt: every line of monitor arrives, in order."""
    with plant.subscriber("line1/values") as lines, plant.pipe("values"):
        got = [json.loads(line) for line in lines(30)]
    times = [line["time"] for line in got]
    expect("times", times, sorted(times))
    items = [line["item"] for line in got]
    expect("items", items[:30], items[:6] * 5)
    expect("the first value", (got[0]["item"], got[0]["values"]), ("oven.temperature", [21.5]))


def each_tag_has_a_topic(plant):
    """mqtt: value and status of each tag are retained in a topic of its own."""
    with plant.pipe("topics"):
        def retained(topic):
            return plant.run("mosquitto_sub", "-t", topic, "-C", "1", "-W", "1").stdout.strip()
        wait_for("a retained value", lambda: retained("line1/oven.setpoint/value") == "18")
        plant.run("kvlink", "write", "oven.setpoint=19.5")
        wait_for("a changed value", lambda: retained("line1/oven.setpoint/value") == "19.5")
        expect("status", retained("line1/oven.setpoint/status"), "ok")


def writes_reach_the_plc(plant):
    """mqtt: a published write is made, and answered; without --allow-write it is refused."""
    for left_out, value, status in (("\0", "20", "ok"), (" --allow-write", "30", "usage")):
        # Retained, so that the pipe gets it whenever it subscribes.
        plant.run("mosquitto_pub", "-r", "-t", "line1/do", "-m", "write oven.setpoint=" + value)
        with plant.subscriber("line1/done") as lines, plant.pipe("orders", left_out):
            expect("the answer to " + value, json.loads(lines(1)[0])["status"], status)
        memory = plant.run("kvlink", "read", "oven.setpoint").stdout
        expect("the PLC's memory after " + value, memory.split()[0], "20.0")


def prometheus_scrapes(plant):
    """prometheus: the bridge's counters and a text file of values."""
    expect("the text file's status", plant.run("sh", "-c", block("textfile")).returncode, 0)
    wait_for("a value", lambda: plant.metric('kvlink_value{item="oven.temperature"}') == 21.5)
    wait_for("turns", lambda: plant.metric("sum(kvbridge_turns_total)") > 0)
    expect("bad replies", plant.metric("sum(kvbridge_bad_replies_total)"), 0)


def sqlite_imports(plant):
    """sqlite: a log becomes a table."""
    expect("the import's status", plant.run("sh", "-c", block("sqlite")).returncode, 0)
    rows = plant.run("sqlite3", "plant.db",
                     "SELECT name, count(*), max(value) FROM log WHERE name = 'oven.temperature'")
    expect("the table", rows.stdout.strip(), "oven.temperature|3|21.5")


def influx_takes_lines(plant):
    """influx: the line protocol is written and read back, texts and bits too."""
    with plant.pipe("influx"):
        for item, field, value in (("temperature", "value", 21.5), ("recipe", "text", "A7"),
                                   ("zones", "value2", -20), ("door", "value", 0)):
            query = "SELECT %s FROM kvlink WHERE status = 'ok' AND item = 'oven.%s'" % (field, item)
            rows = wait_for(item, lambda: plant.influx(query)["results"][0]["series"][0]["values"])
            expect(item, rows[0][1], value)


CHECKS = (values_arrive_in_order, each_tag_has_a_topic, writes_reach_the_plc,
          prometheus_scrapes, sqlite_imports, influx_takes_lines)


def main():
    failed = 0
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    with tempfile.TemporaryDirectory(prefix="kv-plant-") as folder:
        plant = Plant(folder)
        try:
            plant.serve()
            for check in CHECKS:
                try:
                    check(plant)
                    print("passed", check.__doc__, flush=True)
                except (Failure, subprocess.TimeoutExpired) as failure:
                    failed += 1
                    print("FAILED", check.__doc__, failure, flush=True)
        except Failure as failure:
            failed += 1
            print("FAILED the start:", failure)
        finally:
            for child in plant.children[::-1]:
                plant.end(child)
            if failed:
                print((plant.folder / "log").read_text()[-3000:], file=sys.stderr)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
