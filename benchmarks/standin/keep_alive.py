#!/usr/bin/env python3
"""Sends 10,000 requests on one connection and tells how much the daemon's memory grew meanwhile.

usage: keep_alive.py PORT PID IMAGE

What the first 1,000 requests allocate does not count: pools and caches fill once.
"""

import http.client
import json
import sys


def resident_kb(pid):
    with open(f"/proc/{pid}/smaps_rollup", encoding="ascii") as rollup:
        return next(int(line.split()[1]) for line in rollup if line.startswith("Rss:"))


def main():
    port, pid, image_path = int(sys.argv[1]), sys.argv[2], sys.argv[3]
    with open(image_path, "rb") as file:
        image = file.read()
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=30)
    connection.connect()
    own_end = connection.sock.getsockname()
    before = 0
    for number in range(11000):
        connection.request("POST", "/v1/recognize", body=image)
        response = connection.getresponse()
        response.read()
        if response.status != 200 or connection.sock is None or connection.sock.getsockname() != own_end:
            sys.exit(f"keep_alive: request {number} ended with {response.status} or on another connection")
        if number == 999:
            before = resident_kb(pid)
    print(json.dumps({"name": "keep-alive", "requests": 10000, "before_kb": before, "after_kb": resident_kb(pid)}))


main()
