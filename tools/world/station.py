"""A station: a host with one radio that takes an address by DHCP, reads pages, and loads."""

import html.parser
import json
import pathlib
import subprocess
import threading
import time
import urllib.parse

from hosts import Host, Unexpected

HOOK = pathlib.Path(__file__).with_name("udhcpc-hook")


class Form(html.parser.HTMLParser):
    """The first form of an answer's page: where it goes, and what its fields hold."""

    def __init__(self, page):
        super().__init__()
        self.action, self.fields = None, {}
        self.feed(page.body)
        if self.action is None:
            raise Unexpected(f"a page without a form: {page.url}: {page}")

    def handle_starttag(self, tag, attributes):
        attributes = dict(attributes)
        if tag == "form" and self.action is None:
            self.action = attributes.get("action") or ""
        elif tag == "input" and attributes.get("name"):
            self.fields[attributes["name"]] = attributes.get("value") or ""


class Answer:
    """What came of one request: `status` is 0 when no HTTP answer came."""

    def __init__(self, told, body):
        self.status = told["http_code"]
        self.redirect = told["redirect_url"] or ""
        self.url = told["url_effective"]
        self.seconds = told["time_total"]
        self.problem = told.get("errormsg") or ""
        self.body = body

    def __str__(self):
        return f"{self.status} {self.redirect}".strip() if self.status else self.problem


class Download:
    """A download that goes on until its end or stop(), `seconds` at most; its progress can be asked at
    any time."""

    def __init__(self, station, url, seconds=120):
        self._samples = [(time.monotonic(), 0)]
        self._process = subprocess.Popen(
            station.command("curl", "-sN", "--max-time", str(seconds), url), stdout=subprocess.PIPE,
            start_new_session=True)
        self._thread = threading.Thread(target=self._read, daemon=True)
        self._thread.start()

    def _read(self):
        size = 0
        while data := self._process.stdout.read1(1 << 20):
            size += len(data)
            self._samples.append((time.monotonic(), size))

    @property
    def size(self):
        return self._samples[-1][1]

    @property
    def last_byte(self):
        """The monotonic time of the last byte so far."""
        return self._samples[-1][0]

    def size_at(self, moment):
        return max(size for when, size in self._samples if when <= moment)

    def longest_pause(self, since):
        """Seconds without a byte, the longest from `since` until now."""
        moments = [since, *(when for when, _ in self._samples if when > since), time.monotonic()]
        return max(late - early for early, late in zip(moments, moments[1:]))

    def ended(self):
        return self._process.poll() is not None

    def stop(self):
        self._process.kill()
        self._process.wait()
        self._thread.join()


class Station(Host):
    """`mac` belongs to its device wlan0. `address` and `address6` are known once it has them."""

    def __init__(self, name, directory, mac):
        super().__init__(name, directory)
        self.mac = mac
        self.address = self.address6 = None
        # The wall clock's time of the login, as captures have it.
        self.login_at = None

    def associate(self):
        """Switches the radio on and asks for an address by DHCP; the IPv6 address follows by
        router advertisement, which is asked for each second."""
        self.set(net__ipv6__conf__wlan0__router_solicitation_interval=1)
        self.ip("link set wlan0 up")
        self.start("udhcpc", "udhcpc", "-f", "-i", "wlan0", "-s", HOOK, "-t", 5, "-T", 1, "-n")

    def find_addresses(self):
        """True once the station has both of its addresses."""
        shown = self.run("ip", "-j", "address", "show", "wlan0", "scope", "global").stdout
        found = {entry["family"]: entry["local"]
                 for device in json.loads(shown) for entry in device.get("addr_info", [])
                 if "local" in entry and not entry.get("tentative")}
        self.address, self.address6 = found.get("inet"), found.get("inet6")
        return self.address and self.address6

    def get(self, url, *options, seconds=4):
        """One request by curl; redirects are told, not followed."""
        done = self.run("curl", "-s", "--max-time", seconds, "-w", "\n%{json}", *options, url,
                        check=False, seconds=seconds + 5)
        body, _, told = done.stdout.rpartition("\n")
        return Answer(json.loads(told), body)

    def reads(self, url, *options):
        """The body of a page that must come."""
        answer = self.get(url, *options)
        if answer.status != 200:
            raise Unexpected(f"{self.name}: {url}: {answer}")
        return answer.body

    def log_in(self, login, password):
        """As a browser does: follows the redirect of any page, fills in the form that comes, and
        posts it. Returns the page behind it."""
        cookies = self.directory / "cookies"
        keep = ("-b", cookies, "-c", cookies, "-L")
        page = self.get("http://www.example/", *keep)
        form = Form(page)
        fields = urllib.parse.urlencode({**form.fields, "login": login, "password": password})
        answer = self.get(urllib.parse.urljoin(page.url, form.action), *keep, "--data", fields)
        if answer.status != 200:
            raise Unexpected(f"the login of {self.name}: {answer}")
        return answer.body

    def reaches(self, address, port=80):
        """Whether a TCP connection comes about."""
        done = self.run("curl", "-s", "--max-time", 1, "-w", "%{time_connect}",
                        f"telnet://{address}:{port}", check=False)
        return float(done.stdout) > 0

    def traffic(self):
        """Bytes that the radio sent and received."""
        shown = json.loads(self.run("ip", "-j", "-s", "link", "show", "wlan0").stdout)[0]["stats64"]
        return shown["tx"]["bytes"], shown["rx"]["bytes"]

    def measure_speed(self, server, upwards, seconds):
        """Mbit/s of TCP payload as the receiver counts them, without the first second."""
        done = self.run("iperf3", "-c", server, "-J", "--connect-timeout", 3000, "-t", seconds, "-O", 1,
                        *([] if upwards else ["-R"]), check=False, seconds=seconds + 20)
        told = json.loads(done.stdout)
        if "error" in told:
            raise Unexpected(f"iperf3: {told['error']}")
        return told["end"]["sum_received"]["bits_per_second"] / 1e6
