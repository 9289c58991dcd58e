"""Measures a fleet on one screen: see tests/fleet/run --help."""

import argparse
import collections
import json
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
import urllib.parse
import urllib.request

from world import ROOT, Lines, World, eventually

PREFIX = "replayed-"
PROBES = 20
OUTAGE_S = 10
SCRAPE_S = 5  # Prometheus' interval here


def arguments():
    parser = argparse.ArgumentParser()
    parser.add_argument("--units", type=int, default=1000)
    parser.add_argument("--daemons", type=int, default=4)
    parser.add_argument("--seconds", type=int, default=120)
    parser.add_argument("--programs", type=pathlib.Path, required=True)
    parser.add_argument("--keep", action="store_true")
    return parser.parse_args()


def get(url):
    with urllib.request.urlopen(url, timeout=30) as answer:
        return answer.read().decode()


class Fleet:
    """The whole of it, running."""

    def __init__(self, world, options):
        self.world = world
        self.options = options
        replayed = [f"{PREFIX}{number}" for number in range(1, options.units - options.daemons + 1)]
        self.daemons = [f"daemon-{number}" for number in range(1, options.daemons + 1)]
        print(f"certificates of {options.units} units", flush=True)
        world.make_certificates(replayed + self.daemons, ROOT / "build" / "fleet-certificates")
        world.write_central()
        self.central = world.start_central()
        self.exporter = world.start("exporter", world.client_command(
            "exporter", "--listen", f"127.0.0.1:{world.exporter_port}"))
        self.client = world.start("client", world.client_command("fleet", "--json"), stdout=subprocess.PIPE, text=True)
        self.lines = Lines(self.client.child.stdout)
        self.prometheus = self.start_prometheus()
        self.published = world.folder / "published"
        self.load = world.start("load", [
            world.programs / "fleet-load", world.units_port, world.certificates, PREFIX, len(replayed),
            ROOT / "tools/fleet-load/frames.recording", self.published], stdin=subprocess.PIPE, text=True)
        for name in self.daemons:
            world.start_daemon(name)

    def start_prometheus(self):
        if shutil.which("prometheus") is None:
            return None
        shutil.copy(ROOT / "packaging/fleet/celld-alerts.yml", self.world.folder)
        configuration = self.world.write("prometheus.yml", self.world.sample("prometheus.yml", {
            "127.0.0.1:9818": f"127.0.0.1:{self.world.exporter_port}", "scrape_interval: 15s": f"scrape_interval: {SCRAPE_S}s"}))
        return self.world.start("prometheus", [
            "prometheus", f"--config.file={configuration}", f"--storage.tsdb.path={self.world.folder / 'tsdb'}",
            f"--web.listen-address=127.0.0.1:{self.world.prometheus_port}"])

    def metrics(self):
        return get(f"http://127.0.0.1:{self.world.exporter_port}/metrics")

    def query(self, expression):
        url = f"http://127.0.0.1:{self.world.prometheus_port}/api/v1/query?query="
        return json.loads(get(url + urllib.parse.quote(expression)))["data"]["result"]

    def once(self):
        """What a client sees that comes now, and how long it takes."""
        begin = time.monotonic()
        text = subprocess.run([str(word) for word in self.world.client_command("fleet", "--once", "--json")],
                              check=True, capture_output=True, text=True).stdout
        return {unit["unit"]: unit for unit in map(json.loads, text.splitlines())}, time.monotonic() - begin

    def states_published(self):
        states = collections.defaultdict(list)
        for line in self.published.read_text().splitlines():
            moment, unit, state = line.split()
            states[unit].append((float(moment), state))
        return states

    def states_shown(self):
        states = collections.defaultdict(list)
        for moment, line in list(self.lines.all):
            news = json.loads(line)
            if news.get("kind") == "state":
                states[news["unit"]].append((moment, news["state"]))
        return states

    def change(self, unit, state):
        self.load.child.stdin.write(f"change {unit} {state}\n")
        self.load.child.stdin.flush()


def spread(values, unit="ms"):
    if not values:
        return "none"
    scale = 1000 if unit == "ms" else 1
    return (f"median {statistics.median(values) * scale:.0f} {unit}, worst {max(values) * scale:.0f} {unit} "
            f"of {len(values)}")


def table_delays(fleet, since):
    """Of each change that was published since then: until the line of it. And how many had none."""
    shown = fleet.states_shown()
    delays, missed = [], 0
    for unit, changes in fleet.states_published().items():
        for moment, state in changes:
            if moment < since or moment > time.time() - 2:
                continue
            after = [when - moment for when, what in shown[unit] if what == state and when >= moment]
            if after:
                delays.append(after[0])
            else:
                missed += 1
    return delays, missed


def probe(fleet, step, seen):
    """Seconds from a change until `seen(unit, state, since)`, again and again."""
    delays = []
    for number in range(PROBES if step == 0 else PROBES // 2):
        unit = f"{PREFIX}{1 + step + number * 7 % max(1, fleet.options.units - fleet.options.daemons - step)}"
        for state in ("LOCKED", "FAILED"):  # no recording has them
            begin, began = time.monotonic(), time.time()
            fleet.change(unit, state)
            while not seen(unit, state, began):
                if time.monotonic() - begin > 60:
                    raise RuntimeError(f"{unit} does not become {state}")
                time.sleep(0.02)
            delays.append(time.monotonic() - begin)
    return delays


def costs(fleet):
    parts = [fleet.client, fleet.exporter, fleet.central] + ([fleet.prometheus] if fleet.prometheus else [])
    before = [part.cpu_s() for part in parts]
    begin, began = time.monotonic(), time.time()
    time.sleep(fleet.options.seconds)
    took = time.monotonic() - begin
    for part, cpu in zip(parts, before):
        print(f"{part.name:10}  {100 * (part.cpu_s() - cpu) / took:5.1f} % of a processor, {part.memory_mb():6.1f} MB")
    return began


def restart_central(fleet):
    """Stops the broker as the service manager does, and starts it again. What was lost."""
    began = time.time()
    fleet.central.stop()
    time.sleep(OUTAGE_S)
    fleet.central = fleet.world.start_central()
    started = time.time()
    took = eventually(lambda: heard_since(fleet, started) >= fleet.options.units, 300, "each unit")
    print(f"restart     all {fleet.options.units} units are heard again {took:.0f} s after the broker")
    time.sleep(5)
    asked = time.time()
    now, _ = fleet.once()
    published = {unit: changes[-1] for unit, changes in fleet.states_published().items()}
    wrong = [unit for unit, (moment, state) in published.items()
             if now.get(unit, {}).get("state") != state and moment < asked - 2]
    for unit in wrong[:3]:
        print(f"            {unit}: {now.get(unit, {}).get('state')} in place of {published[unit]}, asked {asked}")
    delays, missed = table_delays(fleet, began)
    print(f"restart     {len(now)} units are retained, {len(wrong)} with another state than they said last; "
          f"of {len(delays) + missed} changes since, {missed} are not in the table's lines")
    return not wrong and len(now) == fleet.options.units


def heard_since(fleet, moment):
    seen = [line.rpartition(" ")[2] for line in fleet.metrics().splitlines()
            if line.startswith("celld_last_seen_timestamp_seconds{")]
    return sum(1 for value in seen if float(value) > moment)


def connected_units(fleet):
    page = fleet.metrics()
    return sum(1 for line in page.splitlines() if line.startswith("celld_bridge_up{") and line.endswith(" 1"))


def measure(fleet):
    options = fleet.options
    took = eventually(lambda: connected_units(fleet) >= options.units, 300, "each unit's bridge")
    print(f"all bridges are up after {took:.0f} s", flush=True)
    time.sleep(90)  # all units have begun to speak, and the daemons have been through their way from supply off
    units, took = fleet.once()
    print(f"units seen  {len(units)} of {options.units}; a client that comes now shows them after {took:.2f} s")
    states = collections.Counter(units.get(name, {}).get("state", "not there") for name in fleet.daemons)
    print("            of them daemons: " + ", ".join(f"{count} {state}" for state, count in states.most_common()))
    began = costs(fleet)
    delays, missed = table_delays(fleet, began)
    print(f"to the line {spread(delays)}, {missed} missed")
    lines = fleet.lines
    print("to the line of a change that is waited for: " + spread(probe(fleet, 0, lambda unit, state, since: any(
        when >= since and f'"unit":"{unit}"' in line and f'"state":"{state}"' in line for when, line in lines.all[-200:]))))
    print("to the metric, a scrape behind the other: " + spread(probe(fleet, 1, lambda unit, state, _: (
        f'celld_state{{unit="{unit}",state="{state}"}} 1\n' in fleet.metrics()))))
    page = fleet.metrics()
    fleet.world.write("metrics", page)
    print(f"            a scrape has {len(page) / 1e6:.2f} MB, {page.count(chr(10))} lines")
    if fleet.prometheus:
        print(f"to Prometheus, which scrapes each {SCRAPE_S} s: " + spread(probe(fleet, 2, lambda unit, state, _: fleet.query(
            f'celld_state{{unit="{unit}",state="{state}"}} == 1')), "s"))
        seconds = float(fleet.query("scrape_duration_seconds")[0]["value"][1])
        print(f"            it takes {seconds * 1000:.0f} ms for a scrape")
    return restart_central(fleet) and len(units) == options.units and missed == 0


def main():
    options = arguments()
    folder = pathlib.Path(tempfile.mkdtemp(prefix="celld-fleet-"))
    world = World(folder, options.programs.resolve())
    good = False
    try:
        good = measure(Fleet(world, options))
    finally:
        world.stop()
        if (folder / "metrics").exists() and shutil.which("promtool"):
            checked = subprocess.run([ROOT / "tests/fleet/check-prometheus", folder / "metrics"], capture_output=True, text=True)
            print("promtool    " + ("takes alerts, dashboard and metrics" if checked.returncode == 0
                                    else checked.stdout + checked.stderr))
            good = good and checked.returncode == 0
        if options.keep or not good:
            print(f"logs are in {folder}")
        else:
            shutil.rmtree(folder)
    sys.exit(0 if good else 1)


if __name__ == "__main__":
    main()
