"""Hosts: network namespaces that processes keep alive, and the programs that run on them.

A host has a network and mounts of its own, and a file that is its /etc/resolv.conf. Everything runs
in the process namespace that scripts/access-point made, so nothing outlives it.
"""

import os
import pathlib
import signal
import subprocess
import threading
import time


class Unexpected(Exception):
    """Something is not as it should be; the text says what was seen instead."""


def wait_for(condition, seconds, what):
    """Returns the first true result of `condition`; Unexpected when none comes in time."""
    end = time.monotonic() + seconds
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > end:
            raise Unexpected(f"{what}: not within {seconds} s")
        time.sleep(0.02)


class Program:
    """A program on a host. One that is `kept` is started again when it was killed, as an init
    would; its output goes to a log file. `well` are the exit statuses after SIGTERM."""

    def __init__(self, name, argv, log, environment=None, kept=False, well=(0,)):
        self.name, self.log, self.kept = name, log, kept
        self._argv, self._environment, self._well = argv, environment, well
        self._ending = threading.Event()
        self._lock = threading.Lock()
        self._start()
        if kept:
            threading.Thread(target=self._keep, daemon=True).start()

    def _start(self):
        with open(self.log, "ab") as log:
            # In a session of its own: a terminal's signals are for the player, which ends the
            # programs in its order.
            self._process = subprocess.Popen(
                self._argv, stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                env={**os.environ, **(self._environment or {})}, start_new_session=True)

    def _keep(self):
        while True:
            if self._process.wait() != -signal.SIGKILL:
                return
            with self._lock:
                if self._ending.is_set():
                    return
                self._start()

    @property
    def pid(self):
        return self._process.pid

    def runs(self):
        return self._process.poll() is None

    def kill(self):
        """SIGKILL; returns once the process is gone, so once its successor starts."""
        killed = self._process
        killed.kill()
        killed.wait()

    def stop(self):
        """SIGTERM, and SIGKILL after ten seconds. Returns what did not end well, or ''."""
        with self._lock:
            self._ending.set()
            self._process.terminate()
        try:
            status = self._process.wait(10)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()
            return f"{self.name} did not end at SIGTERM"
        if status in self._well:
            return ""
        return f"{self.name} ended with status {status}: {self.last_words()}"

    def last_words(self):
        lines = self.log.read_text(errors="replace").splitlines()
        return lines[-1] if lines else "(no output)"


class Host:
    def __init__(self, name, directory):
        self.name = name
        self.directory = pathlib.Path(directory)
        self.directory.mkdir()
        self.programs = []
        self.resolver = self.directory / "resolv.conf"
        self.resolver.touch()
        # Where /etc/resolv.conf is a link into /run, its target is not there in our own /run.
        place = pathlib.Path(os.path.realpath("/etc/resolv.conf"))
        if not place.exists():
            place.parent.mkdir(parents=True, exist_ok=True)
            place.touch()
        self._holder = subprocess.Popen(
            ["unshare", "--net", "--mount", "sh", "-ec",
             'mount --bind "$0" "$1"; ip link set lo up; echo; exec sleep infinity',
             str(self.resolver), str(place)],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, start_new_session=True)
        if not self._holder.stdout.readline():
            raise RuntimeError(f"no namespace for {name}")

    @property
    def pid(self):
        """The process whose network namespace is this host's."""
        return self._holder.pid

    def command(self, *argv):
        """The command line that runs `argv` on this host, as the same process."""
        # In a chroot the mounts' own root would be another one.
        return ["nsenter", "--target", str(self.pid), "--net", "--mount", "--root", "--",
                *(str(word) for word in argv)]

    def run(self, *argv, text="", seconds=20, check=True):
        """Runs `argv` to its end. With `check`, RuntimeError when its status is not 0."""
        done = subprocess.run(self.command(*argv), input=text, capture_output=True, text=True,
                              timeout=seconds, start_new_session=True)
        if check and done.returncode != 0:
            raise RuntimeError(f"{self.name}: {' '.join(map(str, argv))}: {done.stderr.strip()}")
        return done

    def ip(self, arguments):
        self.run("ip", *arguments.split())

    def set(self, **settings):
        """Kernel settings; net__ipv4__ip_forward=1 stands for net.ipv4.ip_forward."""
        for key, value in settings.items():
            self.run("sh", "-c", f"echo {value} >/proc/sys/{key.replace('__', '/')}")

    def start(self, name, *argv, **how):
        """Starts a Program that runs until stop()."""
        program = Program(name, self.command(*argv), self.directory / f"{name}.out", **how)
        self.programs.append(program)
        return program

    def stop_programs(self):
        """Ends what runs here, the last first. Returns what did not end well."""
        badly = [program.stop() for program in reversed(self.programs)]
        self.programs.clear()
        return [f"{self.name}: {words}" for words in badly if words]

    def remove(self):
        """The host is gone, with the cables to it."""
        self._holder.kill()
        self._holder.wait()


def connect(host, device, other, other_device, mac=None):
    """A cable between two hosts, of which the second has switched its end on. `mac` is that of the
    first end."""
    address = ["address", mac] if mac else []
    subprocess.run(["ip", "link", "add", device, *address, "netns", str(host.pid), "type", "veth",
                    "peer", "name", other_device, "netns", str(other.pid)], check=True)
    other.ip(f"link set {other_device} up")
