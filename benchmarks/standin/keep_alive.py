#!/usr/bin/env python3
"""Sends requests on one connection and tells how much the daemon's memory grew meanwhile.

usage: keep_alive.py PORT PID IMAGE REQUESTS

What a tenth as many requests before allocate does not count: pools and caches fill once.
"""

import http.client
import json
import sys


def resident_kb(pid):
    with open(f"/proc/{pid}/smaps_rollup", encoding="ascii") as rollup:
        return next(int(line.split()[1]) for line in rollup if line.startswith("Rss:"))


def main():
    port, pid, image_path, requests = int(sys.argv[1]), sys.argv[2], sys.argv[3], int(sys.argv[4])
    warm_up = requests // 10
    with open(image_path, "rb") as file:
        image = file.read()
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=30)
    connection.connect()
    own_end = connection.sock.getsockname()
    before = 0
    for number in range(warm_up + requests):
        connection.request("POST", "/v1/recognize", body=image)
        response = connection.getresponse()
        response.read()
        if response.status != 200 or connection.sock is None or connection.sock.getsockname() != own_end:
            sys.exit(f"keep_alive: request {number} ended with {response.status} or on another connection")
        if number == warm_up - 1:
            before = resident_kb(pid)
    print(json.dumps({"name": "keep-alive", "requests": requests, "before_kb": before, "after_kb": resident_kb(pid)}))


main()
