"""Plays the road of real packets in the namespaces that scripts/access-point has made.

    play.py PROGRAMS DIRECTORY [--stay]

PROGRAMS has vestad and its companions, DIRECTORY gets everything that is written. Exit status: 0 as
expected, 1 not as expected, 130 ended by a signal.
"""

import pathlib
import signal
import sys
import traceback

import table
from ending import run_to_the_end, say
from hosts import Unexpected
from road import Road
from world import World


def play(road):
    """The steps one after another. A step that fails is told, and the next one follows."""
    results = []
    for what, expected, step in road.steps():
        say(what)
        try:
            results.append((what, expected, step(), ""))
        except Unexpected as reason:
            results.append((what, expected, "not so", str(reason)))
        except Exception as reason:  # a step that breaks is not as expected either
            traceback.print_exc()
            results.append((what, expected, "broken", repr(reason)))
    return results


def stay():
    say("all stays until Ctrl-C")
    signal.pause()


def main():
    programs, directory, *options = sys.argv[1:]
    world = World(directory, programs)
    badly, good = [], False
    try:
        say("the world begins")
        world.begin()
        road = Road(world, pathlib.Path(directory) / "pictures")
        results = play(road)
        print(flush=True)
        good = table.show(results)
        sys.stdout.flush()
        if "--stay" in options:
            stay()
    finally:
        badly = world.end()
    print(*badly, sep="\n", end="\n" if badly else "")
    return 0 if good and not badly else 1


run_to_the_end(main)
