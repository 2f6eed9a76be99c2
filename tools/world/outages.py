"""kill -9 of a daemon while a download runs: it must go on, the session must stay, and nobody may be
let in meanwhile."""

import time

from hosts import Unexpected, wait_for
from station import Download
from world import WEB, WEB6

# Each with the seconds that are watched. When vestad or redirectord come back, stations keep their
# old state for at most ten seconds until they are told anew.
DAEMONS = {"vestad": 13, "redirectord": 13, "monitord": 4, "portald": 4, "configd": 3, "apbd": 4,
           "mosquitto": 4}
# A running download has bytes at least this often, seconds.
LONGEST_PAUSE = 1.0


def _knock(road, name):
    for station in (road.ben, road.cara):
        for address in (WEB, WEB6):
            if station.reaches(address, 5201):
                raise Unexpected(f"{station.name} was let in while {name} was away")


def kill(road, name):
    """Kills daemon `name`, which is started again at once. Returns what was seen."""
    if not road.access_point.admits(road.anna):
        raise Unexpected("anna was not admitted before")
    download = Download(road.anna, "http://www.example/endless")
    try:
        wait_for(lambda: download.size > 500_000, 5, "half a megabyte for anna")
        since = time.monotonic()
        road.access_point.daemons[name].kill()
        while time.monotonic() < since + DAEMONS[name]:
            _knock(road, name)
        pause = download.longest_pause(since)
        size = download.size - download.size_at(since)
    finally:
        download.stop()
    if pause > LONGEST_PAUSE:
        raise Unexpected(f"the download of anna stood still for {pause:.1f} s")
    wait_for(lambda: road.access_point.station(road.anna).get("login") == "anna"
             and road.access_point.admits(road.anna), 10, "anna's session at vestad")
    # Who is captive is still served a page.
    wait_for(lambda: road.is_captive(road.ben), 10, "the login page for ben")
    return f"{size / 1e6:.0f} MB, pause {pause:.1f} s at most"
