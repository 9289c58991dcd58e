"""What tests/fleet/run starts: brokers, units, clients, on loopback and in a folder of its own."""

import os
import pathlib
import shutil
import signal
import socket
import subprocess
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
SAMPLES = ROOT / "packaging" / "fleet"
MOSQUITTO = "/usr/sbin/mosquitto"


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def eventually(condition, timeout, what):
    """The seconds until it holds; every tenth of a second is looked."""
    begin = time.monotonic()
    while not condition():
        if time.monotonic() - begin > timeout:
            raise RuntimeError(f"{what} has not come within {timeout} s")
        time.sleep(0.1)
    return time.monotonic() - begin


def is_listening(port):
    with socket.socket() as probe:
        return probe.connect_ex(("127.0.0.1", port)) == 0


class Process:
    """A program with its output in a file; what it has cost so far."""

    def __init__(self, name, command, folder, **options):
        self.name = name
        self.log = open(folder / f"{name}.log", "ab")
        options.setdefault("stdout", self.log)
        self.child = subprocess.Popen([str(word) for word in command], stderr=self.log, **options)

    def ask_to_end(self):
        if self.child.poll() is None:
            self.child.send_signal(signal.SIGTERM)

    def stop(self):
        if self.child.poll() is None:
            self.ask_to_end()
            try:
                self.child.wait(150)  # a daemon powers its module off first
            except subprocess.TimeoutExpired:
                self.child.kill()
                self.child.wait()

    def cpu_s(self):
        fields = pathlib.Path(f"/proc/{self.child.pid}/stat").read_text().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def memory_mb(self):
        status = pathlib.Path(f"/proc/{self.child.pid}/status").read_text()
        return int(status.split("VmRSS:")[1].split()[0]) / 1024


class World:
    def __init__(self, folder, programs):
        self.folder = folder
        self.programs = programs
        self.certificates = folder
        self.units_port, self.operators_port, self.exporter_port, self.prometheus_port = (free_port() for _ in range(4))
        self.processes = []
        self.daemons = []  # of them

    def start(self, name, command, **options):
        process = Process(name, command, self.folder, **options)
        self.processes.append(process)
        return process

    def stop(self):
        for daemon in self.daemons:  # all at once, while each still has its module
            daemon.ask_to_end()
        for process in self.daemons + self.processes[::-1]:
            process.stop()

    def make_certificates(self, names, cache):
        """Kept in `cache` from run to run: a thousand take a minute or two."""
        self.certificates = cache
        cache.mkdir(parents=True, exist_ok=True)
        script = SAMPLES / "fleet-certificates"
        if not (cache / "central.crt").exists():
            subprocess.run([script, "central", "localhost"], cwd=cache, check=True)
            subprocess.run([script, "operator", "fleet"], cwd=cache, check=True)
        for name in names:
            if not (cache / f"{name}.crt").exists():
                subprocess.run([script, "unit", name], cwd=cache, check=True)

    def sample(self, name, replacements):
        text = (SAMPLES / name).read_text()
        for old, new in replacements.items():
            if old not in text:
                raise RuntimeError(f"{name} has no '{old}'")
            text = text.replace(old, new)
        return text

    def write(self, name, text):
        (self.folder / name).write_text(text)
        return self.folder / name

    def own_settings(self, database):
        (self.folder / database).mkdir(exist_ok=True)
        return f"user root\npersistence_location {self.folder / database}/\nlog_dest stderr\n"

    def write_central(self):
        for rights in ("units.acl", "operators.acl"):
            shutil.copy(SAMPLES / rights, self.certificates)
        self.write("central.conf", self.own_settings("central-db") + self.sample("central.conf", {
            "listener 8883": f"listener {self.units_port} 127.0.0.1",
            "listener 8884": f"listener {self.operators_port} 127.0.0.1",
            "/etc/mosquitto/fleet": str(self.certificates)}))

    def start_central(self):
        central = self.start("central", [MOSQUITTO, "-c", self.folder / "central.conf"])
        eventually(lambda: is_listening(self.operators_port), 30, "the central broker")
        return central

    def client_command(self, *words):
        return [self.programs / "celldctl", "-h", "localhost", "-p", self.operators_port,
                "--cafile", self.certificates / "central-ca.crt", "--cert", self.certificates / "fleet.crt",
                "--key", self.certificates / "fleet.key", *words]

    def start_daemon(self, name):
        """A unit as it is: celld on the bench module, its own broker with the bridge, a backend."""
        unit = self.folder / name
        (unit / "etc/vexa").mkdir(parents=True)
        (unit / "run").mkdir()
        port = free_port()
        (unit / "etc/vexa/celld.conf").write_text(f"host = 127.0.0.1\nport = {port}\n")
        (unit / "etc/vexa/ecu_variables.conf").write_text(
            "hwvariant = QBX2\nmodemtype = SARA\nhasintsim = true\nhasextsim = true\ndivantenna = NONE\nhwversion = qbx\n")
        bridge = self.sample("unit-bridge.conf", {
            "central.example.org:8883": f"localhost:{self.units_port}", "UNIT-ID": name,
            "/etc/mosquitto/fleet/unit.": f"{self.certificates}/{name}.", "/etc/mosquitto/fleet": str(self.certificates)})
        self.write(f"{name}.conf", self.own_settings(f"{name}-db") +
                   f"persistence true\nlistener {port} 127.0.0.1\nallow_anonymous true\n" + bridge)
        self.start(f"{name}-broker", [MOSQUITTO, "-c", self.folder / f"{name}.conf"])
        environment = {**os.environ, "CELLD_ROOT": str(unit)}
        self.start(f"{name}-sim", [self.programs / "celld-sim", "--family", "sara", "--root", unit])
        eventually(lambda: is_listening(port), 30, f"the broker of {name}")
        eventually(lambda: (unit / "sys/class/gpio/export").exists(), 30, f"the board of {name}")
        self.start(f"{name}-backend", [self.programs / "celldctl", "backend", "connected", "--interval", "60"],
                   env=environment)
        self.daemons.append(self.start(name, [self.programs / "celld", "--log-stdout"], env=environment))


class Lines:
    """What a program prints, each line with the time at which it came."""

    def __init__(self, stream):
        self.all = []
        self.thread = threading.Thread(target=self.read, args=(stream,), daemon=True)
        self.thread.start()

    def read(self, stream):
        for line in stream:
            self.all.append((time.time(), line))
