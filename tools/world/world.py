"""The world of the demo: three stations, an access point, and the internet behind it.

    anna, ben ~ air ~ wlan0-va1 ─ bridge br-hall ─┐
                                                  ├ access point ── eth0 ── internet
    cara ~~~~~~~~~~~~ wlan0-va2 ──────────────────┘
"""

import json
import os
import pathlib
import shutil
import signal

import bus
from hosts import Host, Unexpected, connect, wait_for
from station import Station

HERE = pathlib.Path(__file__).parent
WEB, WEB6 = "203.0.113.10", "2001:db8:ff::10"
WALLED_GARDEN = "203.0.113.20", "2001:db8:ff::20"
CAPTIVE_DEVICES = ("wlan0-va1", "wlan0-va2")


def fill_in(name, directory):
    """Writes configuration file `name` into `directory`, which it may mention."""
    text = (HERE / "etc" / name).read_text().replace("@DIR@", str(directory))
    (directory / name).write_text(text)
    return directory / name


class Internet(Host):
    """Web server, iperf3 and the RADIUS server, and a capture of all that comes in."""

    def __init__(self, directory):
        super().__init__("internet", directory)
        self.capture = self.directory / "eth0.pcap"
        self.detail = self.directory / "detail"

    def begin(self):
        for last in (5, 10, 20, 30):
            self.ip(f"address add 203.0.113.{last}/24 dev eth0")
            self.ip(f"address add 2001:db8:ff::{last}/64 dev eth0 nodad")
        self.ip("route add 10.0.0.0/8 via 203.0.113.1")
        self.ip("route add 2001:db8::/32 via 2001:db8:ff::1")
        self._start_ours("capture", "eth0", self.capture)
        self._start_ours("internet", self.directory / "requests")
        self.start("iperf3", "iperf3", "-s", well=(1,))
        self._begin_radius()

    def _start_ours(self, name, *arguments):
        self.start(name, "python3", "-B", HERE / f"{name}.py", *arguments, well=(-signal.SIGTERM,))

    def _begin_radius(self):
        fill_in("users", self.directory)
        (self.directory / "dictionary").touch()
        fill_in("radiusd.conf", self.directory)
        self.directory.chmod(0o700)
        radius = self.start("freeradius", "freeradius", "-f", "-l", "stdout", "-d", self.directory)
        try:
            wait_for(lambda: "Ready to process" in radius.log.read_text(), 20, "FreeRADIUS")
        except Unexpected as late:
            raise Unexpected(f"{late}: {radius.last_words()}") from None

    def requests(self):
        """What the web server was asked for so far."""
        log = self.directory / "requests"
        return [json.loads(line) for line in log.read_text().splitlines()] if log.exists() else []

    def accounting(self):
        """The accounting records so far, each a dictionary of its attributes."""
        text = self.detail.read_text() if self.detail.exists() else ""
        return [dict((word.strip().strip('"') for word in line.split(" = ", 1))
                     for line in record.splitlines() if " = " in line)
                for record in text.split("\n\n") if record.strip()]


class AccessPoint(Host):
    def __init__(self, directory, programs, configuration):
        super().__init__("access-point", directory)
        self._programs, self._configuration = programs, configuration
        self.runtime = self.directory / "run"
        # The daemons by name, as they are killed.
        self.daemons = {}

    def begin(self):
        self.resolver.write_text("nameserver 10.1.0.1\n")
        self._begin_network()
        self.start("dnsmasq", "dnsmasq", "--no-daemon", "-C",
                   fill_in("dnsmasq.conf", self.directory))
        self._begin_daemons()

    def _begin_network(self):
        self.set(net__ipv4__ip_forward=1, net__ipv6__conf__all__forwarding=1)
        self.ip("address add 203.0.113.1/24 dev eth0")
        self.ip("address add 2001:db8:ff::1/64 dev eth0 nodad")
        self.ip("link add br-hall type bridge")
        self.ip("link set wlan0-va1 master br-hall up")
        for number, device in enumerate(("br-hall", "wlan0-va2"), 1):
            self.ip(f"address add 10.{number}.0.1/16 dev {device}")
            self.ip(f"address add 2001:db8:{number}::1/64 dev {device} nodad")
            self.ip(f"link set {device} up")

    def _daemon(self, name, *arguments):
        environment = {
            "OSTREL_RUNTIME_DIR": str(self.runtime),
            "OSTREL_FACTORY_FILE": str(self.directory / "factory.json"),
            "PATH": f"{self._programs}:{os.environ['PATH']}",
        }
        self.daemons[name] = self.start(name, name, *arguments, environment=environment, kept=True)

    def _begin_daemons(self):
        (self.directory / "factory.json").write_text(json.dumps({
            "device-name": "hall", "serial-number": "1", "hardware-version": "1",
            "mac": "02:00:00:0a:00:01", "mac2": "02:00:00:0b:00:01"}))
        mosquitto = shutil.which("mosquitto", path=os.environ["PATH"] + ":/usr/sbin")
        self.daemons["mosquitto"] = self.start(
            "mosquitto", mosquitto, "-c", fill_in("mosquitto.conf", self.directory), kept=True)
        self._daemon("configd", fill_in(self._configuration, self.directory))
        devices = [word for device in CAPTIVE_DEVICES for word in ("--interface", device)]
        self._daemon("redirectord", "--uplink", "eth0", *devices)
        self._daemon("monitord")
        self._daemon("portald")
        self._daemon("apbd")
        self._daemon("vestad")
        wait_for(self._answers, 10, "vestad")

    def _answers(self):
        try:
            return self.stations() is not None
        except OSError:
            return False

    def stations(self):
        """What vestad knows, by MAC; OSError while it does not answer."""
        clients = bus.ask(self.runtime, {"command": "get"})["value"].get("clients", {})
        return {client["mac"]: client for client in clients.values()}

    def station(self, station):
        """What vestad knows of a station, or {}."""
        try:
            return self.stations().get(station.mac, {})
        except OSError:
            return {}

    def admits(self, station):
        return self.station(station).get("access-type") == "Allow"


class World:
    def __init__(self, directory, programs, configuration="vestad.json"):
        self.directory = pathlib.Path(directory)
        self.internet = Internet(self.directory / "internet")
        self.air = Host("air", self.directory / "air")
        self.access_point = AccessPoint(self.directory / "access-point", programs, configuration)
        self.anna, self.ben, self.cara = self.stations = [
            Station(name, self.directory / name, f"02:00:00:00:01:0{number}")
            for number, name in enumerate(("anna", "ben", "cara"), 1)]

    def begin(self):
        self._connect()
        self.internet.begin()
        self.access_point.begin()

    def _connect(self):
        access_point = self.access_point
        connect(self.internet, "eth0", access_point, "eth0")
        self.internet.ip("link set eth0 up")
        # The air of the first network carries several stations to one device, as a radio does.
        self.air.ip("link add air type bridge")
        self.air.ip("link set air up")
        connect(access_point, "wlan0-va1", self.air, "antenna")
        self.air.ip("link set antenna master air")
        self.bring(self.anna)
        self.bring(self.ben)
        connect(self.cara, "wlan0", access_point, "wlan0-va2", self.cara.mac)

    def bring(self, station):
        """Brings a station into the first network's air, its radio still off."""
        connect(station, "wlan0", self.air, station.name, station.mac)
        # Stations reach each other by way of the access point alone.
        self.air.ip(f"link set {station.name} master air")
        self.air.ip(f"link set {station.name} type bridge_slave isolated on")

    def end(self):
        """Ends everything. Returns what did not end well."""
        hosts = (*self.stations, self.access_point, self.internet, self.air)
        badly = [words for host in hosts for words in host.stop_programs()]
        for host in hosts:
            host.remove()
        return badly
