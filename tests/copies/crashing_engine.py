#!/usr/bin/env python3
"""An engine with a weak spot, in the place of a copy: one "image" ends its process.

usage: crashing_engine.py PORT"""

import http.server
import os
import sys

from harness import DEADLY_IMAGE


class Handler(http.server.BaseHTTPRequestHandler):
    """Answers 200 to everything but that."""

    protocol_version = "HTTP/1.1"
    # Head and body of an answer are two writes, which the system would keep apart.
    disable_nagle_algorithm = True

    def answer(self):
        body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        if body == DEADLY_IMAGE:
            os.abort()
        self.send_response(200)
        self.send_header("Content-Length", "0")
        self.end_headers()

    do_GET = do_POST = answer

    def log_message(self, *_):
        pass


class Engine(http.server.ThreadingHTTPServer):
    """Which keeps nobody waiting at the door."""

    request_queue_size = 128
    daemon_threads = True


if __name__ == "__main__":
    Engine(("127.0.0.1", int(sys.argv[1])), Handler).serve_forever()
