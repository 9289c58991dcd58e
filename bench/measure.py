"""Measures what celld costs beside the limit of each figure, in the same run, and writes the result as JSON.

Called by bench/run, which has built everything. Each figure is taken several times in turn with its limit, so
that what else the machine does meets both; medians and spreads are what the report states.
"""

import argparse
import contextlib
import json
import os
import pathlib
import platform
import re
import shutil
import socket
import statistics
import subprocess
import sys
import tempfile
import time

PAUSE_US = 100_000  # a gap above it is a wait that the daemon makes on purpose
COMMANDS = 2000  # of the raw ping-pong
RATE = 1000  # reports a second
DIALOGUE = "dev/ttyUbloxModemAT"
CONNECTED = "to 'Modem::State::CONNECTED'"
SOURCE = pathlib.Path(__file__).resolve().parent.parent
BOOT_DELAY_MS, REGISTRATION_DELAY_MS = 4000, 3000  # of the module that is booted with


class Program:
    """A process with its output in a file; ended with the object's context."""

    def __init__(self, log, *command, **options):
        self.log = pathlib.Path(log)
        with self.log.open("w") as output:
            self.process = subprocess.Popen(
                [str(word) for word in command], stdout=output, stderr=subprocess.STDOUT, **options)

    def __enter__(self):
        return self

    def __exit__(self, *unused):
        self.process.kill()
        self.process.wait()

    def said(self):
        return self.log.read_text(errors="replace")

    def await_text(self, text, seconds=120):
        deadline = time.monotonic() + seconds
        while text not in self.said():
            if self.process.poll() is not None or time.monotonic() > deadline:
                sys.exit(f"{self.log}: no '{text}'; it ends with\n{self.said()[-2000:]}")
            time.sleep(0.05)


class Module:
    """A quick-module, asked on its standard input."""

    def __init__(self, programs, root):
        self.root = root
        self.process = subprocess.Popen([str(programs / "quick-module"), str(root)],
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        assert self.process.stdout.readline() == "ready\n"

    def __enter__(self):
        return self

    def __exit__(self, *unused):
        self.process.stdin.close()
        self.process.wait()

    def order(self, text):
        self.process.stdin.write(text + "\n")
        self.process.stdin.flush()

    def ask(self, text):
        self.order(text)
        return self.process.stdout.readline()

    def gaps(self):
        return [gap for gap in map(float, self.ask("gaps").split()) if gap < PAUSE_US]

    def device(self):
        return self.root / DIALOGUE


def cpu_s(pid):
    """Processor time of all threads, from the scheduler's nanoseconds (proc(5), schedstat)."""
    total = 0
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        total += int((task / "schedstat").read_text().split()[0])
    return total / 1e9


def switches(pid):
    total = 0
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        total += sum(map(int, re.findall(r"ctxt_switches:\s+(\d+)", (task / "status").read_text())))
    return total


def memory_kb(pid):
    rollup = pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text()
    return {name: int(re.search(rf"^{name}:\s+(\d+)", rollup, re.M).group(1)) for name in ("Pss", "Private_Dirty")}


def shared_objects(pid):
    maps = pathlib.Path(f"/proc/{pid}/maps").read_text()
    return len(set(re.findall(r"(/\S+\.so[.\d]*)$", maps, re.M)))


def answering_s(dialogue):
    """How long the module took for its answers, from its own record of the dialogue."""
    total, asked = 0, None
    for hour, minute, second, rest in re.findall(r"^(\d\d):(\d\d):([\d.]+) ([<>] .*)$", dialogue, re.M):
        now = int(hour) * 3600 + int(minute) * 60 + float(second)
        if rest.startswith("> "):
            asked = now
        elif asked is not None and re.match(r"< (OK|ERROR|\+CM[ES] ERROR)", rest):
            total, asked = total + now - asked, None
    return total


class Bench:
    def __init__(self, programs, directory):
        self.programs = programs
        self.directory = pathlib.Path(directory)
        self.runs = 0

    def fresh_root(self, port, settings=""):
        self.runs += 1
        root = self.directory / f"unit-{self.runs}"
        files = root / "etc/vexa"
        files.mkdir(parents=True)
        (root / "run").mkdir()
        (files / "celld.conf").write_text(
            f"host = 127.0.0.1\nport = {port}\nclient_name = bench-{self.runs}\nlogmode = stdout\n"
            f"sim.internal.apn = internet\nsim.external.apn = internet\n{settings}")
        (files / "ecu_variables.conf").write_text(
            "hwvariant = QBX\nhwversion = qbx\nmodemtype = SARA\nhasintsim = true\nhasextsim = true\ndivantenna = NONE\n")
        (files / "system_parameters.conf").write_text("41024 = 10\n41025 = 100\n")
        return root

    @contextlib.contextmanager
    def broker(self):
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            port = probe.getsockname()[1]
        configuration = self.directory / f"broker-{port}.conf"
        configuration.write_text(f"listener {port} 127.0.0.1\nallow_anonymous true\npersistence false\n")
        name = shutil.which("mosquitto", path=os.environ["PATH"] + ":/usr/sbin")
        with Program(self.directory / f"broker-{port}.log", name, "-c", configuration) as broker:
            broker.await_text("running")
            with Program(self.directory / f"backend-{port}.log", self.programs / "celldctl", "--host", "127.0.0.1",
                         "--port", port, "backend", "connected"):
                yield port

    def daemon(self, root, name="celld"):
        return Program(root / "celld.log", self.programs / name, env={**os.environ, "CELLD_ROOT": str(root)})

    def limits(self, what, module, number):
        log = module.root / f"limits-{what}.log"
        return Program(log, self.programs / "limits", what, module.device(), number)

    def run_limit(self, what, module, number):
        """The processor seconds and switches it says it used."""
        with self.limits(what, module, number) as program:
            program.process.wait()
            words = program.said().split()
            return float(words[2]), int(words[4])

    # --- the figures ---

    def gap(self, repeats):
        """Between an answer and the next command: the daemon's set-up, and the raw ping-pong."""
        found = {"celld": [], "handover": [], "direct": []}
        with self.broker() as port:
            for _ in range(repeats):
                root = self.fresh_root(port)
                with Module(self.programs, root) as module:
                    for limit in ("direct", "handover"):
                        self.run_limit(limit, module, COMMANDS)
                        found[limit].append(statistics.median(module.gaps()))
                    with self.daemon(root) as celld:
                        celld.await_text(CONNECTED)
                        found["celld"].append(statistics.median(module.gaps()))
        return found

    def stream(self, repeats, seconds):
        """Processor seconds a minute at 1,000 reports a second, and whether any was lost."""
        found = {"celld": [], "reader": [], "lost": []}
        with self.broker() as port:
            root = self.fresh_root(port)
            with Module(self.programs, root) as module, self.daemon(root) as celld:
                celld.await_text(CONNECTED)
                other = self.fresh_root(port)
                with Module(self.programs, other) as bare:
                    for _ in range(repeats):
                        with self.limits("reader", bare, RATE * seconds) as reader:
                            reader.await_text("ready")
                            bare.ask(f"stream {RATE} {seconds}")
                            reader.process.wait()
                            found["reader"].append(float(reader.said().split()[2]) * 60 / seconds)
                        before = cpu_s(celld.process.pid)
                        begin = time.monotonic()
                        module.ask(f"stream {RATE} {seconds}")
                        took = time.monotonic() - begin
                        found["celld"].append((cpu_s(celld.process.pid) - before) * 60 / took)
                found["lost"].append(len(re.findall("dropped", celld.said())))
        return found

    def idle(self, repeats, seconds):
        found = {"cpu": [], "switches": [], "commands": [], "limit": [], "limit_switches": [], "pss": [], "dirty": [],
                 "limit_pss": [], "limit_dirty": [], "objects": []}
        with self.broker() as port:
            root = self.fresh_root(port)
            with Module(self.programs, root) as module, self.daemon(root) as celld:
                celld.await_text(CONNECTED)
                pid = celld.process.pid
                for _ in range(repeats):
                    other = self.fresh_root(port)
                    with Module(self.programs, other) as bare, self.limits("idle", bare, seconds) as limit:
                        limit.await_text("ready")
                        before = cpu_s(pid), switches(pid), int(module.ask("count")), time.monotonic()
                        time.sleep(seconds / 2)
                        kb = memory_kb(limit.process.pid)
                        limit.process.wait()
                        minutes = (time.monotonic() - before[3]) / 60
                        found["cpu"].append((cpu_s(pid) - before[0]) / minutes)
                        found["switches"].append((switches(pid) - before[1]) / minutes)
                        found["commands"].append((int(module.ask("count")) - before[2]) / minutes)
                        words = limit.said().split()
                        found["limit"].append(float(words[2]) * 60 / seconds)
                        found["limit_switches"].append(int(words[4]) * 60 / seconds)
                        found["limit_pss"].append(kb["Pss"])
                        found["limit_dirty"].append(kb["Private_Dirty"])
                        kb = memory_kb(pid)
                        found["pss"].append(kb["Pss"])
                        found["dirty"].append(kb["Private_Dirty"])
                        found["objects"].append(shared_objects(pid))
        return found

    def boot(self, repeats):
        """From the first record to CONNECTED in the daemon's clock, with everything in place in the module."""
        found = {"boot_s": [], "module_s": []}
        with self.broker() as port:
            root = self.fresh_root(port)
            with Program(root / "module.log", self.programs / "celld-sim", "--family", "sara", "--board", "qbx",
                         "--root", root, "--log", f"--boot-delay={BOOT_DELAY_MS}",
                         f"--registration-delay={REGISTRATION_DELAY_MS}") as module:
                module.await_text("celld-sim: ready")
                for boot in range(repeats + 1):
                    before = len(module.said())
                    with self.daemon(root) as celld:
                        celld.await_text(CONNECTED)
                        log, dialogue = celld.said(), module.said()[before:]
                        celld.process.terminate()
                        celld.process.wait()
                    if boot > 0:  # the first finds the factory settings and restarts the module for its own
                        stamps = re.findall(r"^\S+T(\d\d):(\d\d):(\d\d\.\d+)Z", log[:log.index(CONNECTED)], re.M)
                        times = [int(hour) * 3600 + int(minute) * 60 + float(second) for hour, minute, second in stamps]
                        found["boot_s"].append(times[-1] - times[0])
                        found["module_s"].append(answering_s(dialogue))
        return found

    def crowd(self, number, seconds):
        """Many daemons at once: until the last is connected, their memory together, and their processor time."""
        with self.broker() as port, contextlib.ExitStack() as stack:
            roots = [self.fresh_root(port) for _ in range(number)]
            for root in roots:
                stack.enter_context(Module(self.programs, root))
            begin = time.monotonic()
            daemons = [stack.enter_context(self.daemon(root)) for root in roots]
            for celld in daemons:
                celld.await_text(CONNECTED)
            connected = time.monotonic() - begin
            time.sleep(5)
            pids = [celld.process.pid for celld in daemons]
            before = sum(map(cpu_s, pids)), time.monotonic()
            time.sleep(seconds)
            share = (sum(map(cpu_s, pids)) - before[0]) / (time.monotonic() - before[1])
            return {"daemons": [number], "connected_s": [connected], "pss_mb": [sum(memory_kb(pid)["Pss"] for pid in pids) / 1024],
                    "cpu_percent": [100 * share]}


# --- the report ---

def waits_of_a_boot_s():
    """The waits that a SARA's second boot makes on purpose. The daemon's own are the time that passes in its recorded
    dialogue (./test holds that against the code), where the module answers at once and the port is none: so behind the
    module's first answer there is the port's quiet too. Then what the module was told to take."""
    seconds, waits = 0.0, None
    for line in (SOURCE / "tests/dialogues/recordings/sara_connects.txt").read_text().splitlines():
        begin, late = re.match(r" *([\d.]+)? *(?:\+([\d.]+))?", line).groups()
        seconds = float(begin) if begin else seconds
        if CONNECTED in line:
            waits = seconds + float(late or 0)
            break
    port = (SOURCE / "src/at/at_tty_port_start.cpp").read_text()
    quiet = int(re.search(r"QUIET_AFTER_PROBE = (\d+)ms", port).group(1)) / 1000
    return waits + quiet + (BOOT_DELAY_MS + REGISTRATION_DELAY_MS) / 1000


def median(values):
    return statistics.median(values)


def spread(values, form):
    return f"{form.format(median(values))} ({form.format(min(values))} to {form.format(max(values))})"


def best_ratio(values, limits):
    """Each with the limit that was taken beside it: the median of the ratios."""
    return median([value / limit for value, limit in zip(values, limits)])


def row(name, celld, limit="", ratio=""):
    return f"| {name} | {celld} | {limit} | {ratio} |"


def report(found, programs):
    rows = ["| figure | celld | limit | ratio |", "|---|---|---|---|"]
    gap, stream, idle, crowd, boot = (found.get(name) for name in ("gap", "stream", "idle", "crowd", "boot"))
    if gap:
        rows.append(row("gap between an answer and the next command in set-up, p50, us", spread(gap["celld"], "{:.0f}"),
                        spread(gap["handover"], "{:.0f}") + " handed over; " + spread(gap["direct"], "{:.0f}") + " direct",
                        f"{best_ratio(gap['celld'], gap['handover']):.2f}"))
    if stream:
        rows.append(row(f"CPU s a minute at {RATE:,} reports a second", spread(stream["celld"], "{:.2f}"),
                        spread(stream["reader"], "{:.2f}") + " bare reader",
                        f"{best_ratio(stream['celld'], stream['reader']):.2f}"))
        rows.append(row("warnings of lost reports meanwhile", sum(stream["lost"]), 0))
    if idle:
        rows.append(row("CPU s a minute in CONNECTED", spread(idle["cpu"], "{:.3f}"), spread(idle["limit"], "{:.3f}"),
                        f"{best_ratio(idle['cpu'], idle['limit']):.2f}"))
        rows.append(row("switches a second in CONNECTED", spread([n / 60 for n in idle["switches"]], "{:.1f}"),
                        spread([n / 60 for n in idle["limit_switches"]], "{:.1f}")))
        rows.append(row("commands a minute in CONNECTED", spread(idle["commands"], "{:.0f}")))
        rows.append(row("PSS, MB", spread([n / 1024 for n in idle["pss"]], "{:.2f}"),
                        spread([n / 1024 for n in idle["limit_pss"]], "{:.2f}")))
        rows.append(row("private dirty, MB", spread([n / 1024 for n in idle["dirty"]], "{:.2f}"),
                        spread([n / 1024 for n in idle["limit_dirty"]], "{:.2f}")))
    if crowd:
        rows.append(row(f"{crowd['daemons'][0]} daemons: PSS together, MB", f"{crowd['pss_mb'][0]:.0f}"))
        rows.append(row(f"{crowd['daemons'][0]} daemons: percent of one core", f"{crowd['cpu_percent'][0]:.1f}"))
        rows.append(row(f"{crowd['daemons'][0]} daemons: all connected after, s", f"{crowd['connected_s'][0]:.0f}"))
    if boot:
        waits = waits_of_a_boot_s() + median(boot["module_s"])
        rows.append(row("second boot to CONNECTED, s", spread(boot["boot_s"], "{:.2f}"), f"{waits:.2f} fixed waits and module",
                        f"{median(boot['boot_s']) / waits:.3f}"))
    rows += program_rows(programs)
    return "\n".join([about_the_machine(), "", *rows])


def program_rows(programs):
    with tempfile.NamedTemporaryFile() as stripped:
        subprocess.run(["strip", "-o", stripped.name, programs / "celld"], check=True)
        size = os.stat(stripped.name).st_size
        relocations = subprocess.run(["readelf", "-rW", stripped.name], capture_output=True, text=True, check=True).stdout
        libraries = subprocess.run(["ldd", stripped.name], capture_output=True, text=True).stdout
    return [row("stripped program, kB", f"{size / 1000:.0f}"),
            row("relocations", len(re.findall(r"^[0-9a-f]{12,16} ", relocations, re.M))),
            row("shared objects", libraries.count("=> /"))]


def about_the_machine():
    cpu = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())
    compiler = subprocess.run(["g++", "--version"], capture_output=True, text=True).stdout.splitlines()[0]
    return (f"{time.strftime('%Y-%m-%d')}: {os.cpu_count()} x {cpu.group(1) if cpu else platform.machine()}, "
            f"Linux {platform.release()}, {compiler}, load {os.getloadavg()[0]:.1f} at the end.\n"
            "Median, and in brackets least and greatest, of the repeats.")


def medians_of(benchmarks):
    """Of Google Benchmark's table; a median says enough without mean and deviation."""
    return "\n".join(line for line in benchmarks.rstrip().split("\n") if not re.match(r"\S+_(mean|stddev|cv) ", line))


def write_into(document, text):
    head, rest = document.read_text().split(BEGIN)
    document.write_text(head + BEGIN + "\n" + text + "\n" + END + rest.split(END)[1])


BEGIN = "<!-- written by bench/run -->"
END = "<!-- end of what bench/run writes -->"


def main():
    options = argparse.ArgumentParser(description=__doc__)
    options.add_argument("programs", type=pathlib.Path)
    options.add_argument("--document", type=pathlib.Path, help="where the table goes, between its marks")
    options.add_argument("--micro", type=pathlib.Path, help="what the Google Benchmark program said")
    options.add_argument("--only", nargs="+", help="some of the figures: gap stream idle crowd boot")
    options.add_argument("--repeats", type=int, default=5)
    options.add_argument("--seconds", type=int, default=20, help="of each repeat")
    chosen = options.parse_args()
    with tempfile.TemporaryDirectory(prefix="celld-bench-") as directory:
        bench = Bench(chosen.programs, directory)
        figures = {
            "gap": lambda: bench.gap(chosen.repeats),
            "stream": lambda: bench.stream(chosen.repeats, chosen.seconds),
            "idle": lambda: bench.idle(chosen.repeats, chosen.seconds),
            "crowd": lambda: bench.crowd(100, chosen.seconds),
            "boot": lambda: bench.boot(2),
        }
        found = {}
        for name, figure in figures.items():
            if not chosen.only or name in chosen.only:
                found[name] = figure()
                print(name, json.dumps(found[name]), flush=True)
    text = report(found, chosen.programs)
    if chosen.micro:
        text += "\n\n```\n" + medians_of(chosen.micro.read_text()) + "\n```"
    if chosen.document:
        write_into(chosen.document, text)
    print(text)


main()
