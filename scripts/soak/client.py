"""Clients that ask a daemon one thing after the other."""

import contextlib
import http.client
import random
import threading
import time

from daemon import PATIENCE


class Client(threading.Thread):
    """Sends requests until it is told to stop; `kinds` is what: method, target, body, statuses it may be answered with.
    The daemon has enough places for all of its clients, unless they share them."""

    REQUESTS_A_CONNECTION = 20
    SILENCE = 1  # seconds before its first request after which a connection may have lost its place; the daemon gives it 2

    def __init__(self, daemon, seed, kinds, pause, shares_places, failures):
        super().__init__(daemon=True)
        self.target, self.random, self.failures = daemon, random.Random(seed), failures
        self.kinds, self.pause, self.shares_places = kinds, pause, shares_places
        self.sent = self.answered = self.cut_off = 0
        self.statuses = {}
        self.asked_at = 0.0  # when the last request was begun
        self.enough = threading.Event()

    def run(self):
        while not self.enough.is_set():
            generation = self.target.generation
            if self.target.serving.wait(0.1):
                self.use_a_connection(generation)

    def use_a_connection(self, generation):
        connection = http.client.HTTPConnection("127.0.0.1", self.target.port, timeout=PATIENCE)
        with contextlib.closing(connection):
            number = 0
            begin = time.monotonic()
            try:
                connection.connect()
                for number in range(self.REQUESTS_A_CONNECTION):
                    goes_on = self.exchange(connection)
                    if self.enough.wait(self.pause) or not goes_on:
                        return
            except (OSError, http.client.HTTPException) as error:
                # Who pauses for too long may have to give its place to somebody else.
                lost_place = self.shares_places and (number > 0 or self.asked_at - begin > self.SILENCE)
                if self.target.generation == generation and not lost_place:
                    self.failures.add(f"{self.target.name}: no answer: {error!r}")
                elif self.sent > self.answered + self.cut_off:
                    self.cut_off += 1

    def exchange(self, connection):
        """Returns whether the connection goes on."""
        method, target, body, wanted = self.random.choice(self.kinds)
        self.sent += 1
        self.asked_at = time.monotonic()
        connection.request(method, target, body)
        response = connection.getresponse()
        response.read()
        self.answered += 1
        self.statuses[response.status] = self.statuses.get(response.status, 0) + 1
        if response.status not in wanted:
            size = "" if body is None else f" with {len(body)} bytes"
            self.failures.add(f"{self.target.name}: {method} {target}{size} was answered {response.status}")
        return not response.will_close


def honest_kinds(image):
    return [
        ("POST", "/v1/recognize", image, {200}),
        ("POST", "/v1/recognize?roi=0,0,150,150", image, {200}),
        ("POST", "/v1/recognize?roi=nowhere", image, {400}),
        ("POST", "/v1/recognize", image[: len(image) // 2], {422}),
        ("POST", "/v1/recognize", b"not an image", {415}),
        ("GET", "/v1/recognize", None, {405}),
        ("GET", "/v1/status", None, {200}),
        ("GET", "/healthz", None, {200}),
        ("GET", "/metrics", None, {200}),
        ("GET", "/nowhere", None, {404}),
    ]


def hostile_kinds(pictures):
    return [("POST", "/v1/recognize", picture, wanted) for picture, wanted in pictures]


def allowing_503(kinds):
    return [(method, target, body, wanted | {503}) for method, target, body, wanted in kinds]
