"""The road: what the stations do one after another, what is expected, and what is seen.

A step returns what was seen in a few words, or raises Unexpected with the reason in full.
"""

import signal
import time

import outages
from browser import Browser
from capture import packets
from hosts import Unexpected, wait_for
from station import Download
from world import WALLED_GARDEN, WEB, WEB6

PASSWORD = "library card"
# etc/vestad.json as iperf3 counts it.
SPEED_DOWN, SPEED_UP = 2048 * 1024 * 8 / 1e6, 1024 * 1024 * 8 / 1e6
# The last byte after the end of an authorisation, seconds, on a machine that has other work too.
LATEST = 0.3
UDP = 17
SEND_UDP = """
import socket, sys, time
sender = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
while True:
    time.sleep(0.005)
    try:
        sender.sendto(b"datagram", (sys.argv[1], 9))
    except OSError:
        pass  # told that nobody listens, or that it is refused
"""
VOLUME = 20_000_000
VOLUME_A_SECOND = 4096 * 1024


def demand(condition, otherwise):
    if not condition:
        raise Unexpected(otherwise)


class Road:
    def __init__(self, world, pictures):
        self.world, self.pictures = world, pictures
        self.internet, self.access_point = world.internet, world.access_point
        self.anna, self.ben, self.cara = world.stations
        self.browser = None

    def steps(self):
        return (
            ("association", "address, at vestad in 1 s", self.associate),
            ("first page", "the login page", self.see_first_page),
            ("walled garden", "help.example only", self.visit_garden),
            ("other ports, IPv6", "nothing gets out", self.knock_elsewhere),
            ("login in the browser", "wrong password refused", self.log_in_by_browser),
            ("browsing", "by IPv4 and IPv6", self.browse),
            ("login of the others", "admitted", self.log_in_others),
            ("packets before login", "none in the internet", self.look_at_packets),
            ("speeds", f"{SPEED_DOWN:.1f} and {SPEED_UP:.1f} Mbit/s", self.measure_speeds),
            ("Disconnect-Request", "download cut, captive", self.disconnect),
            ("accounting", "octets as the radio's", self.compare_accounting),
            ("volume limit", "download ends at 20 MB", self.use_up_volume),
            ("page after the limit", "data is used up", self.see_last_page),
            *((f"kill -9 {name}", "goes on, nobody let in",
               lambda name=name: outages.kill(self, name)) for name in outages.DAEMONS),
            ("forged MAC", "not admitted", self.forge),
        )

    # Arrival.

    def associate(self):
        for station in self.world.stations:
            station.associate()
        slowest = 0
        for station in self.world.stations:
            wait_for(station.find_addresses, 10, f"the addresses of {station.name}")
        since = time.monotonic()
        for station in self.world.stations:
            station.get("http://www.example/")
            wait_for(lambda: self.access_point.station(station).get("ip") == station.address, 5,
                     f"{station.name} at vestad")
        slowest = time.monotonic() - since
        demand(slowest < 3, f"at vestad only after {slowest:.1f} s")
        return ", ".join(station.address for station in self.world.stations[:2]) + f", {slowest:.1f} s"

    def is_captive(self, station, *options):
        """Whether any page leads the station to the access point's own page."""
        answer = station.get("http://www.example/", *options)
        return answer.status == 302 and ":8888/" in answer.redirect

    def see_first_page(self):
        self.pictures.mkdir()
        self.browser = Browser(self.cara)
        # What a telephone asks to find out whether there is a portal.
        self.browser.open("http://connectivitycheck.gstatic.com/generate_204")
        self.browser.screenshot(self.pictures / "login.png")
        demand(":8888/" in self.browser.url, f"the browser is at {self.browser.url}")
        demand(self.browser.ask("!!document.querySelector('form input[type=password]')"),
               f"no password field in {self.browser.text}")
        return self.browser.title

    def visit_garden(self):
        page = self.anna.reads("http://help.example/")
        demand("The internet" in page, f"help.example shows {page}")
        answer = self.anna.get("http://shop.example/")
        demand(answer.status == 302, f"shop.example: {answer}")
        return "help.example 200, shop 302"

    def knock_elsewhere(self):
        for station in self.world.stations:
            for address in (WEB, WEB6):
                demand(not station.reaches(address, 5201), f"{station.name} reaches {address}")
            answer = station.get(f"http://[{WEB6}]/")
            demand(answer.status == 302, f"{station.name} by IPv6: {answer}")
        return "refused; 302 by IPv6"

    # Login.

    def wait_until_admitted(self, station):
        before = time.monotonic()
        wait_for(lambda: self.access_point.admits(station), 5, f"{station.name} admitted")
        return time.monotonic() - before

    def log_in_by_browser(self):
        """The first time with a wrong password."""
        self.fill_in_login("library cart")
        self.browser.wait_for_text("not right")
        self.browser.screenshot(self.pictures / "refused.png")
        demand(not self.access_point.admits(self.cara), "a wrong password lets cara in")
        self.cara.login_at = time.time()
        self.fill_in_login(PASSWORD)
        seconds = self.wait_until_admitted(self.cara)
        self.browser.wait_for_text("You are online")
        self.browser.screenshot(self.pictures / "welcome.png")
        return f"refused; then in {seconds:.1f} s"

    def fill_in_login(self, password):
        self.browser.type("#login", "cara")
        self.browser.type("#password", password)
        self.browser.press_enter()

    def browse(self):
        for url, address in (("http://www.example/", None), (f"http://[{WEB6}]/", self.cara.address6)):
            self.browser.open(url)
            demand("The internet" in self.browser.text and (address or "") in self.browser.text,
                   f"{url} shows {self.browser.text}")
        self.browser.screenshot(self.pictures / "internet.png")
        return f"as {self.cara.address6}"

    def log_in_others(self):
        seconds = []
        for station in (self.anna, self.ben):
            station.login_at = time.time()
            station.log_in(station.name, PASSWORD)
            seconds.append(self.wait_until_admitted(station))
            station.reads("http://www.example/", "-4")
            station.reads("http://www.example/", "-6")
        return f"anna {seconds[0]:.1f} s, ben {seconds[1]:.1f} s"

    def look_at_packets(self):
        """Decodes the capture of the internet's wire: what came from a station before its login was
        for the walled garden."""
        seen = list(packets(self.internet.capture))
        later = 0
        for station in self.world.stations:
            own = (station.address, station.address6)
            beyond = [packet for packet in seen if packet.source in own
                      and packet.destination not in WALLED_GARDEN]
            early = [packet for packet in beyond if packet.moment < station.login_at]
            demand(beyond, f"no packet of {station.name} at all")
            demand(not early, f"before the login of {station.name}: {early and early[0]}")
            later += len(beyond)
            for request in self.internet.requests():
                demand(request["client"] not in own or request["host"] == "help.example"
                       or request["time"] >= station.login_at,
                       f"before the login of {station.name}: {request}")
        return f"none; {later} came later"

    # Limits.

    def measure_speeds(self):
        down = self.measure_speed(False, SPEED_DOWN)
        up = self.measure_speed(True, SPEED_UP)
        return f"{down:.1f} and {up:.1f} Mbit/s"

    def measure_speed(self, upwards, limit):
        """A machine that has other work may spoil one measurement, but not two."""
        for _ in range(2):
            speed = self.ben.measure_speed(WEB, upwards, seconds=5)
            if 0.9 * limit < speed < 1.05 * limit:
                return speed
        way = "from" if upwards else "to"
        raise Unexpected(f"{speed:.2f} Mbit/s {way} the station, not {limit:.2f}")

    def disconnect(self):
        """The RADIUS server throws ben off while he loads by TCP and sends by UDP."""
        download = Download(self.ben, "http://www.example/endless")
        sending = self.ben.start("udp", "python3", "-c", SEND_UDP, WEB, well=(-signal.SIGTERM,))
        try:
            wait_for(lambda: download.size > 1_000_000, 5, "a megabyte for ben")
            asked = f"User-Name = ben\nCalling-Station-Id = {self.ben.mac.replace(':', '-')}\n"
            done = self.internet.run(
                "radclient", "-x", "-r", 1, "-t", 3, "203.0.113.1:3799", "disconnect", "testing123",
                text=asked + "Event-Timestamp = %d\nMessage-Authenticator = 0x00\n" % time.time(),
                check=False)
            answered, answered_at = time.monotonic(), time.time()
            demand(done.returncode == 0, f"no ACK: {done.stderr.strip()}")
            time.sleep(2)
        finally:
            download.stop()
            sending.stop()
        late = max(0, download.last_byte - answered)
        datagrams = [packet.moment for packet in packets(self.internet.capture)
                     if packet.source == self.ben.address and packet.protocol == UDP]
        demand(datagrams, "none of ben's datagrams came")
        late_udp = max(0, datagrams[-1] - answered_at)
        demand(max(late, late_udp) < LATEST,
               f"bytes came {late:.2f} s after the ACK by TCP, {late_udp:.2f} s by UDP")
        wait_for(lambda: self.is_captive(self.ben), 5, "the login page for ben")
        return f"cut {late * 1000:.0f} ms (TCP), {late_udp * 1000:.0f} ms (UDP)"

    def compare_accounting(self):
        """The Stop of ben against what his radio counted until he was captive."""
        def records(name, kind):
            return [record for record in self.internet.accounting()
                    if record.get("User-Name") == name and record["Acct-Status-Type"] == kind]

        for station in self.world.stations:
            demand(records(station.name, "Start"), f"no Start for {station.name}")
        stop = wait_for(lambda: records("ben", "Stop"), 5, "a Stop for ben")[-1]
        told = [int(stop[f"Acct-{way}-Octets"]) + (int(stop.get(f"Acct-{way}-Gigawords", 0)) << 32)
                for way in ("Input", "Output")]
        radio = self.ben.traffic()
        # vestad reads the counters once a second, so the last moment may be missing. What the queue
        # of a speed limit drops, and TCP sends again, has been counted already.
        for counted, real, speed, what in zip(told, radio, (SPEED_UP, SPEED_DOWN), ("sent", "got")):
            missing = 1.5 * speed * 1e6 / 8
            demand(0.98 * real - missing < counted < 1.15 * real,
                   f"{counted} octets {what} in the Stop, {real} at the radio")
        return f"{told[0] / 1e6:.1f} MB up, {told[1] / 1e6:.1f} MB down"

    def use_up_volume(self):
        download = Download(self.cara, "http://www.example/endless")
        try:
            wait_for(lambda: not self.access_point.admits(self.cara), 20, "the limit of cara")
            at_limit = time.monotonic()
            time.sleep(2)
            late = max(0, download.last_byte - at_limit)
            size = download.size
        finally:
            download.stop()
        demand(late < LATEST, f"bytes still came {late:.2f} s after the limit")
        # vestad looks once a second.
        demand(0.85 * VOLUME < size < VOLUME + 2.5 * VOLUME_A_SECOND, f"ended at {size} bytes")
        return f"ended at {size / 1e6:.1f} MB"

    def see_last_page(self):
        self.browser.open("http://www.example/")
        self.browser.screenshot(self.pictures / "over.png")
        demand("used up" in self.browser.title, f"the browser shows {self.browser.text}")
        demand(not self.cara.reaches(WEB, 5201), "cara still reaches the internet")
        return self.browser.title

    # Faults.

    def forge(self):
        """cara takes the MAC of anna, who is admitted, on her own network."""
        demand(self.access_point.admits(self.anna), "anna herself is not admitted")
        self.cara.ip(f"link set wlan0 address {self.anna.mac}")
        end = time.monotonic() + 3
        while time.monotonic() < end:
            demand(not self.cara.reaches(WEB, 5201), "cara is let in")
        self.anna.reads("http://www.example/")
        return "not admitted; anna still is"
