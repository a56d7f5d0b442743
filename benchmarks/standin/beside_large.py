"""Sends small pictures one after the other for a while, alone or beside a client with large ones.

usage: beside_large.py PORT PID IMAGE SECONDS [large]

Prints a line of JSON: the latencies in milliseconds, how many large pictures were read meanwhile, and what the
daemon and its readers have in memory afterwards, in KiB.
"""

import http.client
import json
import pathlib
import struct
import sys
import threading
import time
import zlib


def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def large_picture():
    """Twelve megapixels of stripes, grey."""
    width, height = 4000, 3000
    row = b"\0" + bytes((x // 40 % 2) * 255 for x in range(width))
    header = struct.pack(">IIBBBBB", width, height, 8, 0, 0, 0, 0)
    parts = [chunk(b"IHDR", header), chunk(b"IDAT", zlib.compress(row * height, 1)), chunk(b"IEND", b"")]
    return b"\x89PNG\r\n\x1a\n" + b"".join(parts)


def post(connection, picture):
    connection.request("POST", "/v1/recognize", picture)
    response = connection.getresponse()
    response.read()
    assert response.status == 200, response.status


def repeat(port, picture, end, latencies):
    """Once at least, however busy the machine is."""
    connection = http.client.HTTPConnection("127.0.0.1", port)
    while not latencies or time.monotonic() < end:
        begin = time.monotonic()
        post(connection, picture)
        latencies.append((time.monotonic() - begin) * 1000)


def sizes(pid):
    fields = {}
    for line in pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines()[1:]:
        name, value = line.split(":")
        fields[name] = int(value.split()[0])
    return {"resident": fields["Rss"], "private": fields["Private_Clean"] + fields["Private_Dirty"]}


def main():
    port, pid, seconds = int(sys.argv[1]), sys.argv[2], float(sys.argv[4])
    small = pathlib.Path(sys.argv[3]).read_bytes()
    pictures = [small] + ([large_picture()] if sys.argv[5:] == ["large"] else [])
    latencies, large = [], []
    end = time.monotonic() + seconds  # from now on: a large picture takes its time to make
    threads = [threading.Thread(target=repeat, args=(port, picture, end, times))
               for picture, times in zip(pictures, [latencies, large])]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    latencies.sort()
    readers = [
        child for task in pathlib.Path(f"/proc/{pid}/task").iterdir() for child in (task / "children").read_text().split()
    ]
    print(
        json.dumps(
            {
                "name": "beside" if large else "alone",
                "requests": len(latencies),
                "p50": round(latencies[len(latencies) // 2], 2),
                "p99": round(latencies[len(latencies) * 99 // 100], 2),
                "large": len(large),
                "daemon": sizes(pid),
                "readers": [sizes(reader) for reader in readers],
            }
        )
    )


main()
