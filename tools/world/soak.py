"""Many stations that come, log in, load and leave for some minutes. When the last one has gone,
nothing of them may be left in any table.

    soak.py PROGRAMS DIRECTORY STATIONS MINUTES
"""

import itertools
import json
import pathlib
import random
import sys
import threading
import time
import traceback

from ending import say, run_to_the_end
from hosts import Unexpected, wait_for
from station import Download, Station
from world import World

# Seconds. A station that is silent is forgotten after so long (etc/soak.json); one loads at most so long.
FORGOTTEN = 60
LOADING = 400
OURS = ("netdev", "inet")


class Soak:
    def __init__(self, world, directory, count, minutes):
        self.world, self.directory = world, directory
        self._count, self._seconds = count, minutes * 60
        self._end = time.monotonic() + self._seconds
        self._numbers = itertools.count(1)
        self._lock = threading.Lock()
        self.visits, self.failures = 0, []

    def run(self):
        threads = [threading.Thread(target=self._visit_again_and_again, daemon=True)
                   for _ in range(self._count)]
        for thread in threads:
            thread.start()
            time.sleep(min(60, self._seconds / 2) / self._count)
        while any(thread.is_alive() for thread in threads):
            time.sleep(30)
            say(f"{self.visits} visits, {len(self.failures)} failed; now "
                + (", ".join(self.left_behind()) or "nobody"))

    def _visit_again_and_again(self):
        while time.monotonic() < self._end:
            try:
                self._visit()
            except Exception as reason:
                say(f"failed: {reason}")
                with self._lock:
                    self.failures.append(str(reason))
            time.sleep(random.uniform(0, 10))

    def _visit(self):
        with self._lock:
            number = next(self._numbers)
            mac = f"02:00:00:02:{number >> 8:02x}:{number & 255:02x}"
            station = Station(f"s{number}", self.directory / f"s{number}", mac)
        try:
            with self._lock:
                self.world.bring(station)
            station.associate()
            wait_for(lambda: station.find_addresses() or station.address, 20, "an address")
            station.log_in("guest", "guest")
            wait_for(lambda: self.world.access_point.admits(station), 10, f"{mac} admitted")
            download = Download(station, "http://www.example/endless", LOADING)
            time.sleep(random.uniform(0.2, 1) * LOADING)
            size = download.size
            download.stop()
            if not size:
                raise Unexpected(f"{mac}: no byte came")
            with self._lock:
                self.visits += 1
        finally:
            station.stop_programs()
            station.remove()

    def resident(self):
        """KiB of each daemon."""
        told = {}
        for name, daemon in self.world.access_point.daemons.items():
            status = pathlib.Path(f"/proc/{daemon.pid}/status").read_text()
            told[name] = int(status.split("VmRSS:")[1].split()[0])
        return told

    def left_behind(self):
        """What tables hold of stations, in words."""
        left = []
        for family in OURS:
            shown = self.world.access_point.run("nft", "-j", "list", "table", family, "vesta")
            for entry in json.loads(shown.stdout)["nftables"]:
                table = entry.get("set") or entry.get("map") or {}
                of_stations = "ether_addr" in table.get("type", ())
                if of_stations and table["name"] != "own" and table.get("elem"):
                    left.append(f"{len(table['elem'])} in {family} {table['name']}")
        flows = self.world.access_point.run("cat", "/proc/net/nf_conntrack").stdout.splitlines()
        # A server that speaks on into the void makes entries too, which are not assured.
        alive = [flow for flow in flows if "src=10.1." in flow and "ESTABLISHED" in flow
                 and "[ASSURED]" in flow]
        counts = {"at vestad": len(self.world.access_point.stations()), "flows": len(alive)}
        return left + [f"{count} {what}" for what, count in counts.items() if count]


def main():
    programs, directory, count, minutes = sys.argv[1:]
    world = World(directory, programs, "soak.json")
    badly = []
    try:
        world.begin()
        soak = Soak(world, pathlib.Path(directory), int(count), float(minutes))
        before = soak.resident()
        soak.run()
        say("all have left")
        end = time.monotonic() + FORGOTTEN
        while (left := soak.left_behind()) and time.monotonic() < end:
            time.sleep(1)
        print(f"{soak.visits} visits, {len(soak.failures)} failed", *soak.failures[:10], sep="\n  ")
        print("left behind: " + (", ".join(left) or "nothing"))
        after = soak.resident()
        print("resident KiB: " + ", ".join(f"{name} {before[name]} to {after[name]}" for name in after))
        badly = [*soak.failures, *left]
    finally:
        badly += world.end()
    return 1 if badly else 0


run_to_the_end(main)
