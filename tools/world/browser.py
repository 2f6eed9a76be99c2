"""A headless Chromium on a station, driven over the DevTools protocol through two pipes."""

import base64
import itertools
import json
import os
import queue
import subprocess
import threading
import time

from hosts import Unexpected, wait_for

PROGRAM = "chromium-headless-shell"


class Browser:
    def __init__(self, station):
        home = station.directory / "browser"
        home.mkdir()
        requests_out, self._requests = os.pipe()
        self._answers, answers_in = os.pipe()
        # Chromium reads requests from descriptor 3 and answers to descriptor 4.
        pipes = 'exec "${@:3}" 3<&"$1" 4>&"$2" 2>>"$HOME/log"'
        self._process = subprocess.Popen(
            ["bash", "-c", pipes, "bash", str(requests_out), str(answers_in),
             *station.command(PROGRAM, "--headless", "--no-sandbox", "--disable-gpu",
                              "--hide-scrollbars", "--window-size=412,620",
                              "--force-device-scale-factor=2", "--no-first-run",
                              "--disable-component-update", "--disable-background-networking",
                              "--remote-debugging-pipe", f"--user-data-dir={home}/profile")],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            env={**os.environ, "HOME": str(home), "LANG": "en_US.UTF-8"},
            pass_fds=(requests_out, answers_in), start_new_session=True)
        os.close(requests_out)
        os.close(answers_in)
        self._numbers = itertools.count(1)
        self._events = queue.Queue()
        self._session = None
        threading.Thread(target=self._read, daemon=True).start()
        target = self._call("Target.createTarget", url="about:blank")["targetId"]
        self._session = self._call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        self._call("Page.enable")

    def _read(self):
        waiting = b""
        while data := os.read(self._answers, 1 << 16):
            *messages, waiting = (waiting + data).split(b"\0")
            for message in messages:
                self._events.put(json.loads(message))
        self._events.put({"error": {"message": "the browser has gone"}})

    def _next(self, wanted, seconds):
        """The next message that `wanted` takes; others are passed over."""
        end = time.monotonic() + seconds
        while True:
            try:
                message = self._events.get(timeout=max(0, end - time.monotonic()))
            except queue.Empty:
                raise Unexpected(f"the browser does not answer within {seconds} s") from None
            if "error" in message:
                raise Unexpected(f"the browser: {message['error']['message']}")
            if wanted(message):
                return message

    def _call(self, method, **parameters):
        number = next(self._numbers)
        request = {"id": number, "method": method, "params": parameters}
        if self._session:
            request["sessionId"] = self._session
        os.write(self._requests, json.dumps(request).encode() + b"\0")
        return self._next(lambda message: message.get("id") == number, 20)["result"]

    def _forget_events(self):
        """A page that went on by itself has left some."""
        while not self._events.empty():
            self._events.get()

    def _wait_for_page(self):
        self._next(lambda message: message.get("method") == "Page.loadEventFired", 15)

    def open(self, url):
        """Goes to `url` and waits for the page that comes of it."""
        self._forget_events()
        problem = self._call("Page.navigate", url=url).get("errorText")
        if problem:
            raise Unexpected(f"the browser can't open {url}: {problem}")
        self._wait_for_page()

    def ask(self, script):
        """The value of a JavaScript expression in the page."""
        result = self._call("Runtime.evaluate", expression=script, returnByValue=True)
        if "exceptionDetails" in result:
            raise Unexpected(f"in the page: {result['result'].get('description')}")
        return result["result"].get("value")

    def type(self, selector, text):
        """Types into a field of the page, as a person does, in place of what stands there."""
        if not self.ask(f"(field => field && (field.select(), true))"
                        f"(document.querySelector({json.dumps(selector)}))"):
            raise Unexpected(f"no field {selector} in the page {self.ask('document.title')}")
        self._call("Input.insertText", text=text)

    def press_enter(self):
        """Enter in the field that has the focus; waits for the page behind."""
        self._forget_events()
        for kind in ("keyDown", "keyUp"):
            self._call("Input.dispatchKeyEvent", type=kind, key="Enter", code="Enter",
                       text="\r" if kind == "keyDown" else "", windowsVirtualKeyCode=13)
        self._wait_for_page()

    @property
    def url(self):
        return self.ask("location.href")

    @property
    def title(self):
        return self.ask("document.title")

    @property
    def text(self):
        return self.ask("document.body.innerText")

    def wait_for_text(self, text, seconds=10):
        """Some pages go on by themselves until the one with `text` comes."""
        def shown():
            try:
                return text in self.text
            except Unexpected:  # between two pages
                return False

        try:
            wait_for(shown, seconds, text)
        except Unexpected:
            raise Unexpected(f"not \"{text}\" but {self.text}") from None

    def screenshot(self, path):
        picture = self._call("Page.captureScreenshot", format="png")["data"]
        path.write_bytes(base64.b64decode(picture))

    def close(self):
        self._process.terminate()
        self._process.wait()
