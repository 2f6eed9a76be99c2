"""The internet's web server: a page for each name, an endless download, and a log of who asked.

    internet.py LOG      serves port 80 of all addresses; each request is a line of LOG, in JSON
"""

import http.server
import json
import socket
import sys
import threading
import time

PAGE = """<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"><title>{host}</title>
<style>body {{ font: 2em sans-serif; margin: 15vh auto; max-width: 20em; text-align: center }}</style>
</head><body><h1>The internet</h1><p>This is <b>{host}</b>, and you are {client}.</p></body></html>
"""
CHUNK = bytes(64 * 1024)
log_lock = threading.Lock()


class Handler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        client = self.client_address[0].removeprefix("::ffff:")
        host = self.headers.get("Host", "").removesuffix(":80")
        with log_lock, open(sys.argv[1], "a") as log:
            log.write(json.dumps({"time": time.time(), "client": client, "host": host,
                                  "path": self.path}) + "\n")
        self.send_response(200)
        self.send_header("Cache-Control", "no-store")
        if self.path == "/endless":
            self.send_header("Content-Type", "application/octet-stream")
            self.end_headers()
            self.pour()
        else:
            body = PAGE.format(host=host, client=client).encode()
            self.send_header("Content-Type", "text/html; charset=utf-8")
            self.send_header("Content-Length", str(len(body)))
            self.end_headers()
            self.wfile.write(body)

    def pour(self):
        try:
            while True:
                self.wfile.write(CHUNK)
        except OSError:
            pass  # the client has gone

    def log_message(self, *_):
        pass


class Server(http.server.ThreadingHTTPServer):
    address_family = socket.AF_INET6  # which takes IPv4 as well
    daemon_threads = True


Server(("::", 80), Handler).serve_forever()
