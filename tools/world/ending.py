"""How a player ends: at its end, or at any signal, without a word and with nothing left."""

import os
import signal
import sys
import time

from hosts import Unexpected

BEGIN = time.monotonic()
SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGPIPE)


class Ended(BaseException):
    """A signal has ended the play."""


def say(text):
    print(f"{time.monotonic() - BEGIN:7.1f}  {text}", flush=True)


def _end(*_):
    for number in SIGNALS:
        signal.signal(number, signal.SIG_IGN)
    raise Ended


def run_to_the_end(main):
    """Exits with the status that `main` returns, 130 after a signal."""
    for number in SIGNALS:
        signal.signal(number, _end)
    try:
        status = main()
        sys.stdout.flush()
    except (Ended, BrokenPipeError):
        status = 130
    except Unexpected as reason:
        print(f"not as expected: {reason}", file=sys.stderr)
        status = 1
    # At once: no thread that still reads from a program holds the end up.
    os._exit(status)
