"""What the test of the page runs in: the daemon, a server that answers as it is told, and the browser."""

import base64
import contextlib
import http.client
import http.server
import json
import os
import random
import socket
import subprocess
import tempfile
import threading
import time

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait

PATIENCE = 60  # seconds that a condition may take to come about on a loaded machine
ELSEWHERE = "engine.test"  # a name that leads to this machine, without the trust that the browser has in it


def free_port():
    """Outside the range that the system hands out for connections: a closed one holds its port for a minute."""
    while True:
        port = random.randrange(20000, 32000)
        with socket.socket() as probe, contextlib.suppress(OSError):
            probe.bind(("127.0.0.1", port))
            return port


def wait_until(condition):
    end = time.monotonic() + PATIENCE
    while not condition():
        if time.monotonic() > end:
            raise AssertionError("waited in vain")
        time.sleep(0.02)


class Daemon:
    """The daemon with its stand-in engine. Ends with the test, however that ends."""

    def __init__(self, program, connections=8, port=None):
        self.port = port or free_port()
        self.process = subprocess.Popen(
            ["setpriv", "--pdeathsig", "KILL", program, "-p", str(self.port), "-c", str(connections)],
            stdout=subprocess.DEVNULL)
        wait_until(self._answers)

    def _answers(self):
        assert self.process.poll() is None, "the daemon has ended"
        try:
            return self.ask("GET", "/healthz").status == 200
        except OSError:
            return False

    def ask(self, method, target, body=None):
        """An answer, with its body read into `content`."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE)
        connection.request(method, target, body, {"Connection": "close"})
        answer = connection.getresponse()
        answer.content = answer.read()
        connection.close()
        return answer

    def recognise(self, image):
        return json.loads(self.ask("POST", "/v1/recognize", image).content)

    def stop(self):
        self.process.kill()
        self.process.wait()


class ScriptedServer:
    """Serves the daemon's own page, and answers its questions as the test says."""

    def __init__(self, page):
        self.statuses = [{"code": 0}]  # what v1/status is answered, in turn
        self.answer = (200, "{}")  # status and text for a v1/recognize that comes now
        self.taken = 0  # times that recognition was asked for
        self.released = threading.Event()  # an answer waits for this
        self.released.set()
        self.asked = 0  # times that the status was asked for
        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), self._handler(page))
        self.server.daemon_threads = True
        self.port = self.server.server_address[1]
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def _handler(scripted, page):
        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                if self.path == "/":
                    self._send(200, page.content, page.getheaders())
                else:
                    scripted.asked += 1
                    status = scripted.statuses[scripted.asked % len(scripted.statuses)]
                    self._send(200, json.dumps(status).encode())

            def do_POST(self):
                self.rfile.read(int(self.headers["Content-Length"]))
                status, text = scripted.answer
                scripted.taken += 1
                scripted.released.wait(PATIENCE)
                self._send(status, text.encode())

            def _send(self, status, content, fields=()):
                self.send_response_only(status)
                for name, value in fields:
                    if name.lower() not in ("content-length", "connection"):
                        self.send_header(name, value)
                self.send_header("Content-Length", str(len(content)))
                self.end_headers()
                self.wfile.write(content)

            def log_message(self, *_):
                pass

        return Handler

    def stop(self):
        self.released.set()
        self.server.shutdown()
        self.server.server_close()


class Browser:
    """Headless Chromium with an empty profile; with a film, it has a camera that shows it."""

    def __init__(self, film=None):
        self.folder = tempfile.TemporaryDirectory(prefix="velmora-page-")
        options = webdriver.ChromeOptions()
        for flag in ("headless", "no-sandbox", "disable-gpu", "disable-quic", "no-first-run", "disable-sync",
                     "disable-background-networking", "disable-component-update", "disable-dev-shm-usage",
                     "hide-scrollbars", f"user-data-dir={self.folder.name}/profile",
                     f"host-resolver-rules=MAP {ELSEWHERE} 127.0.0.1", "window-size=1200,1000"):
            options.add_argument(f"--{flag}")
        if film:
            path = self.file("camera.y4m", film)
            options.add_argument("--use-fake-device-for-media-stream")
            options.add_argument(f"--use-file-for-fake-video-capture={path}")
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        os.environ["SE_OFFLINE"] = "true"
        self.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        self.driver.set_script_timeout(PATIENCE)
        self.driver.set_page_load_timeout(PATIENCE)
        self.messages, self.addresses = [], []

    def stop(self):
        self.driver.quit()
        self.folder.cleanup()

    def file(self, name, content):
        path = os.path.join(self.folder.name, name)
        with open(path, "wb") as file:
            file.write(content)
        return path

    # The page

    def open(self, port, host="127.0.0.1"):
        self.driver.get(f"http://{host}:{port}/")
        self.wait(lambda: self.text("health-text") != "Asking the engine")

    def choose(self, name, content):
        """Puts a file into the page, and waits until it was dealt with."""
        self.hand_over(name, content)
        self.wait_for_outcome()

    def hand_over(self, name, content):
        self.find("file").send_keys(self.file(name, content))

    def wait_for_outcome(self):
        self.wait(lambda: self.text("headline") and not self.text("headline").startswith("Reading"))

    def find(self, element_id):
        return self.driver.find_element(By.ID, element_id)

    def all(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def text(self, element_id):
        """The text of an element that may be unseen."""
        return self.run("return document.getElementById(arguments[0]).textContent", element_id)

    def is_seen(self, element_id):
        return self.find(element_id).is_displayed()

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def run_async(self, script, *arguments):
        return self.driver.execute_async_script(script, *arguments)

    def command(self, name, **parameters):
        return self.driver.execute_cdp_cmd(name, parameters)

    def photograph(self, left, top, right, bottom):
        """A part of the page as a PNG file."""
        part = {"x": left, "y": top, "width": right - left, "height": bottom - top, "scale": 1}
        return base64.b64decode(self.command("Page.captureScreenshot", format="png", clip=part,
                                             captureBeyondViewport=True)["data"])

    def wait(self, condition):
        WebDriverWait(self.driver, PATIENCE, 0.05).until(lambda _: condition())

    def wait_for_image(self):
        """Until the image that was put in is seen: the engine's answer may be there before the browser has decoded it."""
        self.wait(lambda: self.run("""const image = document.getElementById('image');
            return image.complete && image.naturalWidth > 0 && image.getBoundingClientRect().width > 0"""))
        self.run_async("""const done = arguments[0], image = document.getElementById('image');
            image.decode().then(() => requestAnimationFrame(() => requestAnimationFrame(() => done())))""")

    def say_scheme(self, scheme):
        self.command("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])
        self.wait(lambda: self.run("return matchMedia(`(prefers-color-scheme: ${arguments[0]})`).matches", scheme))

    def resize(self, width, height=1000, mobile=False):
        self.command("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1,
                     mobile=mobile)
        self.wait(lambda: self.run("return innerWidth") == width)

    # What it has said and whom it has asked

    def collect(self):
        self.messages += [entry["message"] for entry in self.driver.get_log("browser")]
        for entry in self.driver.get_log("performance"):
            message = json.loads(entry["message"])["message"]
            if message["method"] == "Network.requestWillBeSent":
                self.addresses.append(message["params"]["request"]["url"])
