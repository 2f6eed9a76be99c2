"""The table at the end: for each step what was expected and what was seen, in 80 columns."""

import os
import sys

COLUMNS = (("", 2), ("what", 20), ("what was expected", 25), ("what was seen", 30))


def _cut(text, width):
    return text if len(text) <= width else text[:width - 1] + "…"


def _line(words):
    return " ".join(_cut(word, width).ljust(width) for word, (_, width) in zip(words, COLUMNS)).rstrip()


def show(results):
    """Prints the table of (what, expected, seen, reason); a reason is '' where all was well. The
    reasons follow the table in full. Returns whether all was as expected."""
    bold, red, plain = ("\033[1m", "\033[31m", "\033[0m") if (
        sys.stdout.isatty() and not os.environ.get("NO_COLOR")) else ("", "", "")
    print(bold + _line([title for title, _ in COLUMNS]) + plain)
    for what, expected, seen, reason in results:
        line = _line(["NO" if reason else "ok", what, expected, seen])
        print(red + line + plain if reason else line)
    failed = [(what, reason) for what, _, _, reason in results if reason]
    print(f"{len(results) - len(failed)} of {len(results)} as expected")
    for what, reason in failed:
        print(f"{red}{what}: {reason}{plain}")
    return not failed
