"""The engine's page in a browser. Started by tests/page/run.sh, with the daemon's program as the argument."""

import atexit
import base64
import concurrent.futures
import json
import signal
import sys
import time
import unittest
import urllib.parse

from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

import pictures
import setting

TEXTS = ("https://velmora.example/ticket/48213", "second symbol")
MARKUP = "<script>document.title='changed'</script><img src=x onerror=\"document.title='changed'\">"
PROGRAM = ""


def two_symbols():
    """A picture and the box of each symbol in it."""
    picture = pictures.Picture(640, 420)
    first = picture.draw(TEXTS[0], 40, 60, 9)
    second = picture.draw(TEXTS[1], 420, 120, 7)
    return picture, [(40, 60, 40 + first, 60 + first), (420, 120, 420 + second, 120 + second)]


def one_symbol(text):
    picture = pictures.Picture(700, 520)
    picture.draw(text, 40, 40, 8)
    return picture.png()


class PageTest(unittest.TestCase):
    """Has a daemon and a browser, which the tests share. No test may leave a message that it has not announced."""

    film = None
    daemon = None
    browsers = {}

    @classmethod
    def setUpClass(cls):
        if not PageTest.daemon:
            PageTest.daemon = setting.Daemon(PROGRAM)
            atexit.register(PageTest.daemon.stop)
        if cls.film not in cls.browsers:
            cls.browsers[cls.film] = setting.Browser(cls.film)
            atexit.register(cls.browsers[cls.film].stop)
        cls.browser = cls.browsers[cls.film]
        cls.browser.driver.get("about:blank")
        cls.browser.collect()  # what the browser did for itself before

    def setUp(self):
        self.announced = []
        self.hosts = {"127.0.0.1"}
        self.browser.messages.clear()
        self.browser.addresses.clear()

    def tearDown(self):
        self.browser.driver.get("about:blank")
        self.browser.collect()
        unexpected = [message for message in self.browser.messages
                      if not any(part in message for parts in self.announced for part in parts)]
        self.assertEqual(unexpected, [])
        for parts in self.announced:
            self.assertTrue(any(part in message for message in self.browser.messages for part in parts),
                            f"none of {parts} was said")
        asked = [urllib.parse.urlsplit(address.removeprefix("blob:")) for address in self.browser.addresses]
        self.assertLessEqual({url.hostname for url in asked if url.scheme not in ("data", "about")}, self.hosts)

    def announce(self, path, *outcomes):
        """The browser itself reports each request that fails; a page cannot keep it from that. Any of the outcomes
        will do."""
        self.announced.append([f"{path} - Failed to load resource: {outcome}" for outcome in outcomes])

    def scripted(self):
        server = setting.ScriptedServer(self.daemon.ask("GET", "/"))
        self.addCleanup(server.stop)
        server.statuses = [json.loads(self.daemon.ask("GET", "/v1/status").content)]
        return server

    def watch_copying(self):
        """From now on, keeps what the page says of copying: that goes after a while, which a slow machine may miss."""
        self.browser.run("""window.heard = [];
            const said = document.getElementById('said');
            new MutationObserver(() => {
              const labels = [...document.querySelectorAll('.symbol .copy')].map((label) => label.textContent);
              window.heard.push([said.textContent, ...labels]);
            }).observe(said, {childList: true})""")

    def wait_for_copied(self, *labels):
        """Until the page has said so, with these labels on the symbols."""
        self.browser.wait(lambda: ["Copied", *labels] in self.browser.run("return window.heard"))

    def texts(self):
        """At one moment: the page may put others in their place."""
        return self.browser.run("""return [...document.querySelectorAll('.symbol .text')].map((text) => text.innerText)""")

    def outlines(self):
        """The corners of each outline on the screen."""
        self.browser.wait_for_image()
        return self.browser.run("""return [...document.querySelectorAll('.outline')].map((shape) =>
            [...shape.points].map((point) => point.matrixTransform(shape.getScreenCTM())).map(({x, y}) => [x, y]))""")

    def image_box(self):
        self.browser.wait_for_image()
        return self.browser.run("""const box = document.getElementById('image').getBoundingClientRect();
            return [box.left, box.top, box.right, box.bottom]""")

    def assert_near(self, found, expected):
        self.assertEqual(len(found), len(expected))
        for a, b in zip(found, expected):
            self.assertLessEqual(abs(a - b), 2, f"{found} is not {expected}")

    def assert_outlines_lie_over(self, file):
        """Compares with what the engine says of the file."""
        answer = self.daemon.recognise(file)
        left, top, right, bottom = self.image_box()
        across, down = (right - left) / answer["image"]["width"], (bottom - top) / answer["image"]["height"]
        expected = [[(left + corner["x"] * across, top + corner["y"] * down) for corner in symbol["corners"]]
                    for symbol in answer["symbols"]]
        found = self.outlines()
        self.assertEqual(len(found), len(expected))
        for outline, corners in zip(found, expected):
            for corner, wanted in zip(outline, corners):
                self.assert_near(corner, wanted)

    def assert_outline_holds_ink(self):
        """Compares the only outline with what can be seen on the screen."""
        self.browser.run("""for (const id of ['outlines', 'badges'])
            document.getElementById(id).style.visibility = 'hidden'; scrollTo(0, 0)""")
        outline, = self.outlines()
        left, top, right, bottom = (round(value) for value in self.image_box())
        seen = pictures.read_png(self.browser.photograph(left + 3, top + 3, right - 3, bottom - 3))
        box = [value + origin for value, origin in zip(seen.ink_box(), (left + 3, top + 3) * 2)]
        self.assert_near([f(at[axis] for at in outline) for f in (min, max) for axis in (0, 1)], box)


class Reading(PageTest):
    def setUp(self):
        super().setUp()
        self.browser.open(self.daemon.port)

    def put(self, kind, script):
        """Hands a file over by an event as the browser makes it."""
        content = base64.b64encode(two_symbols()[0].png()).decode()
        self.browser.run("""const bytes = Uint8Array.from(atob(arguments[0]), (c) => c.charCodeAt(0));
            const transfer = new DataTransfer();
            transfer.items.add(new File([bytes], 'image.png', {type: 'image/png'}));
            """ + script, content)
        self.browser.wait_for_outcome()

    def test_chosen_image_is_read(self):
        self.browser.choose("two.png", two_symbols()[0].png())
        self.assertEqual(self.browser.text("headline"), "2 symbols")
        self.assertEqual(self.texts(), list(TEXTS))
        self.assertEqual([e.text for e in self.browser.all(".symbol .format")], ["QRCode", "QRCode"])
        self.assertEqual(self.browser.text("said"), "2 symbols found")

    def test_dropped_image_is_read(self):
        self.put("drop", """for (const kind of ['dragover', 'drop']) document.querySelector('main').dispatchEvent(
            new DragEvent(kind, {dataTransfer: transfer, bubbles: true, cancelable: true}))""")
        self.assertEqual(self.texts(), list(TEXTS))
        self.assertEqual(self.browser.all("body.dragging"), [])

    def test_pasted_image_is_read(self):
        self.put("paste", """document.body.dispatchEvent(
            new ClipboardEvent('paste', {clipboardData: transfer, bubbles: true}))""")
        self.assertEqual(self.texts(), list(TEXTS))

    def test_paste_without_an_image_is_explained(self):
        self.browser.run("document.body.dispatchEvent(new ClipboardEvent('paste', {bubbles: true}))")
        self.assertEqual(self.browser.text("headline"), "There is no image in the clipboard.")
        self.assertFalse(self.browser.is_seen("again"))

    def test_same_file_can_be_chosen_again(self):
        for _ in range(2):
            self.browser.choose("two.png", two_symbols()[0].png())
        self.browser.choose("one.png", one_symbol("another"))
        self.assertEqual(self.texts(), ["another"])

    def test_times_are_shown(self):
        self.browser.choose("two.png", two_symbols()[0].png())
        for element in ("waited", "worked", "answered"):
            self.assertRegex(self.browser.find(element).text, r"^[0-9,.]+ ms$")

    def test_image_without_symbols_is_no_error(self):
        self.browser.choose("white.png", pictures.Picture(300, 200).png())
        self.assertEqual(self.browser.text("headline"), "No symbol found")
        self.assertEqual(self.browser.all(".failed"), [])

    def test_outlines_lie_over_the_symbols(self):
        picture, boxes = two_symbols()
        self.browser.choose("two.png", picture.png())
        self.assert_outlines_lie_over(picture.png())
        left, top, right, _ = self.image_box()
        scale = (right - left) / picture.width
        for outline, box in zip(self.outlines(), boxes):
            x, y, right, bottom = (value * scale for value in box)
            expected = [(x, y), (right, y), (right, bottom), (x, bottom)]
            for corner, (across, down) in zip(outline, expected):
                self.assert_near(corner, (left + across, top + down))

    def test_outlines_follow_the_window(self):
        picture = two_symbols()[0].png()
        self.browser.choose("two.png", picture)
        self.addCleanup(self.browser.command, "Emulation.clearDeviceMetricsOverride")
        for width in (1500, 700, 320):
            self.browser.resize(width)
            self.assert_outlines_lie_over(picture)

    def test_outline_of_a_small_image_lies_over_the_symbol(self):
        picture = pictures.Picture(120, 90)
        picture.draw("small", 30, 20, 2)
        self.browser.choose("small.png", picture.png())
        self.assert_outlines_lie_over(picture.png())
        self.assert_outline_holds_ink()

    def test_outline_lies_over_the_symbol_however_the_camera_was_held(self):
        picture = pictures.Picture(600, 400)
        picture.draw("turned", 60, 30, 10)
        jpeg = self.as_jpeg(picture)
        for orientation in range(1, 9):
            with self.subTest(orientation=orientation):
                self.browser.choose("turned.jpg", pictures.with_orientation(jpeg, orientation))
                self.assertEqual(self.texts(), ["turned"])
                left, top, right, bottom = self.image_box()
                self.assertEqual(right - left < bottom - top, orientation >= 5)
                self.assert_outline_holds_ink()
                self.browser.open(self.daemon.port)

    def test_outline_lies_over_the_symbol_where_browsers_differ_about_the_camera(self):
        picture = pictures.Picture(600, 400)
        picture.draw("turned", 60, 30, 10)
        self.browser.choose("turned.png", pictures.png_with_orientation(picture.png(), 6))
        self.assertEqual(self.texts(), ["turned"])
        self.assert_outline_holds_ink()

    def as_jpeg(self, picture):
        """The browser knows how to write one."""
        address = "data:image/png;base64," + base64.b64encode(picture.png()).decode()
        return base64.b64decode(self.browser.run_async("""const done = arguments[1], image = new Image();
            image.onload = () => {
              const canvas = document.createElement('canvas');
              canvas.width = image.width; canvas.height = image.height;
              canvas.getContext('2d').drawImage(image, 0, 0);
              done(canvas.toDataURL('image/jpeg', 0.95).split(',')[1]);
            };
            image.src = arguments[0]""", address))

    def test_text_of_a_symbol_is_never_markup(self):
        self.browser.choose("markup.png", one_symbol(MARKUP))
        self.assertEqual(self.texts(), [MARKUP])
        self.assertEqual(self.browser.all("#symbols script, #symbols img"), [])
        self.assertEqual(self.browser.driver.title, "velmoraserviced")

    def test_keyboard_alone_is_enough(self):
        self.browser.command("Browser.grantPermissions", permissions=["clipboardReadWrite", "clipboardSanitizedWrite"])
        stops = self.tab_until("example")
        self.assertEqual(stops, ["file", "camera", "example"])
        self.press(Keys.ENTER)
        self.browser.wait_for_outcome()
        self.assertEqual(self.texts(), ["velmoraserviced says hello"])
        self.tab_until("symbol")
        self.watch_copying()
        self.press(Keys.ENTER)
        self.wait_for_copied("Copied")
        self.assertEqual(self.browser.run_async("navigator.clipboard.readText().then(arguments[0])"),
                         "velmoraserviced says hello")

    def press(self, key):
        ActionChains(self.browser.driver).send_keys(key).perform()

    def tab_until(self, name):
        """Where the focus stops, by id or class, up to a name. Each stop has to be seen."""
        stops = []
        while name not in stops:
            self.assertLess(len(stops), 20, stops)
            self.press(Keys.TAB)
            stop, outline = self.browser.run("""const stop = document.activeElement;
                const seen = stop.matches('.unseen') ? stop.nextElementSibling : stop;
                const style = getComputedStyle(seen);
                return [stop.id || stop.className, `${style.outlineStyle} ${style.outlineWidth}`]""")
            self.assertEqual(outline, "solid 3px", stop)
            stops.append(stop)
        return stops

    def test_click_on_an_outline_copies(self):
        self.browser.command("Browser.grantPermissions", permissions=["clipboardReadWrite", "clipboardSanitizedWrite"])
        self.browser.choose("two.png", two_symbols()[0].png())
        self.watch_copying()
        self.browser.wait_for_image()
        self.browser.all(".outline")[1].click()
        self.wait_for_copied("Copy", "Copied")
        self.assertEqual(self.browser.run_async("navigator.clipboard.readText().then(arguments[0])"), TEXTS[1])

    def test_nothing_is_to_be_scrolled_sideways_on_a_narrow_screen(self):
        self.addCleanup(self.browser.command, "Emulation.clearDeviceMetricsOverride")
        self.browser.resize(320)
        self.assert_fits(320)
        self.browser.choose("long.png", one_symbol("x" * 300))
        self.assert_fits(320)
        self.announce("/v1/recognize", "the server responded with a status of 415 (Unsupported Media Type)")
        self.browser.choose("text.png", b"no image")
        self.assert_fits(320)

    def assert_fits(self, width):
        self.assertLessEqual(self.browser.run("return document.documentElement.scrollWidth"), width)
        outside = self.browser.run("""return [...document.querySelectorAll('body *')].filter((element) => {
            const box = element.getBoundingClientRect();
            return box.width > 0 && (box.right > arguments[0] || box.left < 0);
          }).map((element) => element.id || element.className || element.tagName)""", width)
        self.assertEqual(outside, [])

    def test_finger_is_not_told_to_drop_or_paste(self):
        self.assertEqual(self.browser.all(".invitation")[0].text, "Drop an image here")
        self.addCleanup(self.browser.command, "Emulation.clearDeviceMetricsOverride")
        self.addCleanup(self.browser.command, "Emulation.setTouchEmulationEnabled", enabled=False)
        self.browser.command("Emulation.setTouchEmulationEnabled", enabled=True)
        self.browser.resize(400, mobile=True)
        self.browser.wait(lambda: self.browser.all(".invitation")[0].text == "Choose an image")
        self.assertNotIn("paste", self.browser.all(".hint")[0].text)

    def test_everything_can_be_read_in_both_schemes(self):
        self.addCleanup(self.browser.say_scheme, "light")
        self.browser.choose("two.png", two_symbols()[0].png())
        grounds = []
        for scheme in ("light", "dark"):
            self.browser.say_scheme(scheme)
            grounds.append(self.luminance("return getComputedStyle(document.body).backgroundColor"))
            for selector in ("h1", ".name p", ".invitation", ".button.main", "#camera", "#headline", ".symbol .format",
                             ".symbol .text", ".symbol .copy", ".times dt", "#waited", ".counters dt", "#images",
                             ".plot figcaption", ".most", ".axis", "footer a"):
                self.assertGreaterEqual(self.contrast(selector), 4.5, f"{selector}, {scheme}")
        self.assertGreater(grounds[0], 0.8)
        self.assertLess(grounds[1], 0.05)

    def luminance(self, script, *arguments):
        numbers = self.browser.run(script, *arguments)
        red, green, blue = (float(number) / 255 for number in numbers[numbers.index("(") + 1 : -1].split(",")[:3])
        linear = [c / 12.92 if c <= 0.04045 else ((c + 0.055) / 1.055) ** 2.4 for c in (red, green, blue)]
        return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]

    def contrast(self, selector):
        text = self.luminance("return getComputedStyle(document.querySelector(arguments[0])).color", selector)
        ground = self.luminance("""let element = document.querySelector(arguments[0]);
            while (getComputedStyle(element).backgroundColor === 'rgba(0, 0, 0, 0)') element = element.parentElement;
            return getComputedStyle(element).backgroundColor""", selector)
        return (max(text, ground) + 0.05) / (min(text, ground) + 0.05)

    def test_page_over_the_name_of_another_host_explains_and_copies(self):
        self.hosts = {setting.ELSEWHERE}
        self.browser.open(self.daemon.port, setting.ELSEWHERE)
        self.hosts.add("127.0.0.1")  # of the page that was open before
        self.browser.find("camera").click()
        self.assertIn("Browsers give the camera only to pages that come over HTTPS", self.browser.text("camera-note"))
        self.browser.run("document.addEventListener('copy', () => { window.copied = String(document.activeElement.value) })")
        self.browser.choose("two.png", two_symbols()[0].png())
        self.watch_copying()
        self.browser.all(".symbol")[1].click()
        self.wait_for_copied("Copy", "Copied")
        self.assertEqual(self.browser.run("return window.copied"), TEXTS[1])

    def test_missing_camera_is_explained(self):
        self.browser.command("Browser.grantPermissions", permissions=["videoCapture"])
        self.browser.find("camera").click()
        self.browser.wait(lambda: self.browser.is_seen("camera-note"))
        self.assertEqual(self.browser.text("camera-note"), "There is no camera on this device.")

    # What the engine refuses

    def assert_refused(self, name, content, status, title, message):
        self.announce("/v1/recognize", f"the server responded with a status of {status}")
        self.browser.choose(name, content)
        self.assertEqual(self.browser.text("headline"), title)
        self.assertEqual(self.browser.text("detail"), f"In the engine’s own words: {message}.")
        self.assertTrue(self.browser.text("alarm").startswith(title))
        self.assertFalse(self.browser.is_seen("again"))

    def test_other_type_is_explained(self):
        self.assert_refused("text.png", b"no image", "415 (Unsupported Media Type)",
                            "This is not an image that the engine reads.",
                            "the image is neither PNG nor JPEG nor WebP")

    def test_damaged_image_is_explained(self):
        self.announce("/v1/recognize", "the server responded with a status of 422 (Unprocessable Entity)")
        self.browser.choose("cut.png", two_symbols()[0].png()[:400])
        self.assertEqual(self.browser.text("headline"), "The image is damaged.")

    def test_too_many_bytes_are_explained(self):
        self.assert_refused("large.png", bytes(17 * 1024 * 1024), "413 (Payload Too Large)", "The image is too large.",
                            "the body has more than 16777216 bytes")

    def test_too_many_pixels_are_explained(self):
        self.assert_refused("wide.png", pictures.png_file(10000, 10000, 0, b""), "413 (Payload Too Large)",
                            "The image is too large.", "the image has 10000 x 10000 pixels, more than 67108864")

    def test_failure_goes_with_the_next_image(self):
        self.announce("/v1/recognize", "the server responded with a status of 415 (Unsupported Media Type)")
        self.browser.choose("text.png", b"no image")
        self.browser.choose("two.png", two_symbols()[0].png())
        self.assertEqual(self.browser.all(".failed"), [])
        self.assertEqual(self.browser.text("alarm"), "")


class Answers(PageTest):
    """What the page makes of answers that are not easily had from an engine."""

    def setUp(self):
        super().setUp()
        self.server = self.scripted()
        self.browser.open(self.server.port)

    def assert_said(self, title, hint):
        self.browser.choose("two.png", two_symbols()[0].png())
        self.assertEqual(self.browser.text("headline"), title)
        self.assertEqual(self.browser.text("words"), hint)

    def test_each_status_has_its_words(self):
        for status, reason, title in ((400, "Bad Request", "The engine did not understand the request."),
                                      (404, "Not Found", "The engine is not at this address."),
                                      (408, "Request Timeout", "The image took too long to arrive."),
                                      (431, "Request Header Fields Too Large",
                                       "The browser sent more about itself than the engine takes."),
                                      (500, "Internal Server Error", "The engine failed on this image."),
                                      (502, "Bad Gateway", "The engine is not behind its proxy."),
                                      (504, "Gateway Timeout", "The engine took too long for its proxy."),
                                      (418, "I'm a Teapot", "The engine cannot answer this.")):
            with self.subTest(status=status):
                self.announce("/v1/recognize", f"the server responded with a status of {status} ({reason})")
                self.server.answer = (status, "<h1>not JSON</h1>")
                self.browser.choose("two.png", two_symbols()[0].png())
                self.assertEqual(self.browser.text("headline"), title)
                self.assertFalse(self.browser.is_seen("detail"))

    def test_each_reason_to_be_busy_has_its_words(self):
        self.announce("/v1/recognize", "the server responded with a status of 503 (Service Unavailable)")
        for message, hint in (
                ("all connections are taken", "All of its connections are taken. Try again in a moment."),
                ("every queue is full", "As many images as it takes on wait already. Try again in a moment."),
                ("the request waited longer than 9 ms", "It did not get to the image in time. Try again in a moment."),
                ("the server is being stopped", "It is being stopped. Try again once it runs."),
                ("", "Try again in a moment.")):
            with self.subTest(message=message):
                self.server.answer = (503, json.dumps({"code": 999, "message": message}))
                self.assert_said("The engine is busy.", hint)

    def test_second_attempt_is_a_button_away(self):
        self.announce("/v1/recognize", "the server responded with a status of 503 (Service Unavailable)")
        self.server.answer = (503, "{}")
        self.browser.choose("two.png", two_symbols()[0].png())
        self.server.answer = (200, json.dumps(self.daemon.recognise(two_symbols()[0].png())))
        self.browser.find("again").click()
        self.browser.wait(lambda: self.texts() == list(TEXTS))

    def test_garbled_answer_is_explained(self):
        self.server.answer = (200, "<h1>Welcome to this network</h1>")
        self.assert_said("The answer could not be understood.",
                         "Something other than the engine answered. Is a proxy in between?")

    def test_image_that_was_given_up_is_explained(self):
        self.announce("/v1/recognize", "the server responded with a status of 422 (Unprocessable Entity)")
        self.server.answer = (422, json.dumps({"code": 999, "message": "it took too long"}))
        self.assert_said("The engine gave this image up.",
                         "It was too much to read. Cut out the part with the symbol.")
        self.assertFalse(self.browser.is_seen("again"))

    def test_format_and_message_are_never_markup(self):
        self.server.answer = (200, json.dumps({
            "image": {"width": 640, "height": 420}, "waitedMs": 1, "workedMs": 1,
            "symbols": [{"format": MARKUP, "text": MARKUP, "corners": [{"x": 1, "y": 1}] * 4}]}))
        self.browser.choose("two.png", two_symbols()[0].png())
        self.assertEqual(self.browser.all(".symbol .format")[0].text, MARKUP)
        self.announce("/v1/recognize", "the server responded with a status of 422 (Unprocessable Entity)")
        self.server.answer = (422, json.dumps({"message": MARKUP}))
        self.browser.choose("two.png", two_symbols()[0].png())
        self.assertEqual(self.browser.text("detail"), f"In the engine’s own words: {MARKUP}.")
        self.assertEqual(self.browser.driver.title, "velmoraserviced")

    def test_long_wait_is_shown(self):
        self.server.answer = (200, json.dumps({"symbols": []}))
        self.server.released.clear()
        self.browser.hand_over("two.png", two_symbols()[0].png())
        self.browser.wait(lambda: self.browser.text("headline").startswith("Reading, "))
        self.server.released.set()
        self.browser.wait(lambda: self.browser.text("headline") == "No symbol found")

    def test_newest_image_counts(self):
        older = one_symbol("older")
        self.server.answer = (200, json.dumps(self.daemon.recognise(older)))
        self.server.released.clear()
        self.browser.hand_over("older.png", older)
        setting.wait_until(lambda: self.server.taken == 1)
        self.server.answer = (200, json.dumps(self.daemon.recognise(two_symbols()[0].png())))
        self.browser.hand_over("two.png", two_symbols()[0].png())
        self.server.released.set()
        self.browser.wait(lambda: self.texts() == list(TEXTS))

    def test_copies_behind_one_address_are_added_up(self):
        first, = self.server.statuses
        first["counters"]["recognitions"] = {"VELMORA_LIGHT_SUCCESS": 1000}
        second = json.loads(json.dumps(first))
        second["startTimeSeconds"] += 1
        second["counters"]["recognitions"] = {"VELMORA_LIGHT_SUCCESS": 500, "VELMORA_LIGHT_ERROR_INVALID_IMAGE": 34}
        self.server.statuses = [first, second]
        self.browser.open(self.server.port)
        self.browser.wait(lambda: self.browser.text("images") == "1,534")
        self.assertEqual(self.browser.text("unreadable"), "34")
        self.assertEqual(self.browser.text("health-text"), "Serving · 2 copies")
        self.assertEqual(self.browser.text("rate-summary"), "0 requests in the last five minutes")

    def test_nobody_is_asked_while_nobody_looks(self):
        page = self.browser.driver.current_window_handle
        self.browser.driver.switch_to.new_window("tab")
        setting.wait_until(lambda: self.pauses_for(5))
        self.browser.driver.close()
        self.browser.driver.switch_to.window(page)
        asked = self.server.asked
        setting.wait_until(lambda: self.server.asked > asked)

    def pauses_for(self, seconds):
        """Whether there is a time of so many seconds without a look at the engine."""
        asked, end = self.server.asked, time.monotonic() + seconds
        while self.server.asked == asked and time.monotonic() < end:
            time.sleep(0.05)
        return self.server.asked == asked


class Engine(PageTest):
    """The live part of the page."""

    def test_counters_and_plots_follow_the_engine(self):
        self.browser.open(self.daemon.port)
        self.assertIsNone(self.browser.find("rate-bars").get_dom_attribute("d") or None)
        before = int(self.browser.text("images"))
        self.daemon.recognise(two_symbols()[0].png())
        self.browser.wait(lambda: self.browser.text("rate-summary") == "1 request in the last five minutes")
        for _ in range(2):
            self.daemon.recognise(two_symbols()[0].png())
        self.browser.wait(lambda: int(self.browser.text("images")) == before + 3)
        self.assertIn("M", self.browser.find("rate-bars").get_dom_attribute("d"))
        self.assertIn("M", self.browser.find("worked-bars").get_dom_attribute("d"))
        self.assertEqual(self.browser.text("rate-summary"), "3 requests in the last five minutes")
        self.assertRegex(self.browser.text("time-summary"), r"^An image waited [0-9.]+ ms and was worked on for")
        status = json.loads(self.daemon.ask("GET", "/v1/status").content)
        self.assertEqual(self.browser.text("version"), f"{status['description']} · 1.0.0 · {status['build']}")

    def test_engine_that_goes_and_comes_is_noticed(self):
        # The engine may go while it is asked.
        self.announce("/v1/status", "net::ERR_CONNECTION_REFUSED", "net::ERR_EMPTY_RESPONSE",
                      "net::ERR_CONNECTION_RESET")
        self.announce("/v1/recognize", "net::ERR_CONNECTION_REFUSED")
        daemon = setting.Daemon(PROGRAM)
        self.addCleanup(daemon.stop)
        self.browser.open(daemon.port)
        self.browser.wait(lambda: self.browser.text("health-text") == "Serving")
        daemon.stop()
        self.browser.wait(lambda: self.browser.text("health-text") == "Not reachable")
        self.browser.choose("two.png", two_symbols()[0].png())
        self.assertEqual(self.browser.text("headline"), "The engine cannot be reached.")
        again = setting.Daemon(PROGRAM, port=daemon.port)
        self.addCleanup(again.stop)
        self.browser.wait(lambda: self.browser.text("health-text") == "Serving")
        self.browser.find("again").click()
        self.browser.wait(lambda: self.texts() == list(TEXTS))

    def test_one_connection_is_enough_for_the_page_and_another_client(self):
        daemon = setting.Daemon(PROGRAM, connections=1)
        self.addCleanup(daemon.stop)
        self.browser.open(daemon.port)
        self.browser.choose("two.png", two_symbols()[0].png())
        self.assertEqual(self.texts(), list(TEXTS))
        setting.wait_until(lambda: daemon.ask("GET", "/healthz").status == 200)


class Camera(PageTest):
    film = two_symbols()[0].video()

    def setUp(self):
        super().setUp()
        self.browser.open(self.daemon.port)

    def allow(self, answer):
        self.browser.command("Browser.setPermission", permission={"name": "camera"}, setting=answer,
                             origin=f"http://127.0.0.1:{self.daemon.port}")

    def test_picture_is_read(self):
        self.allow("granted")
        self.browser.find("camera").click()
        self.browser.wait(lambda: self.browser.run("return document.getElementById('video').videoWidth") > 0)
        self.browser.wait(lambda: self.browser.run("return document.activeElement.id") == "take")
        ActionChains(self.browser.driver).send_keys(Keys.ENTER).perform()
        self.browser.wait_for_outcome()
        self.assertEqual(sorted(self.texts()), sorted(TEXTS))
        self.assertFalse(self.browser.is_seen("finder"))
        self.assertIsNone(self.browser.run("return document.getElementById('video').srcObject"))

    def test_escape_closes_it(self):
        self.allow("granted")
        self.browser.find("camera").click()
        self.browser.wait(lambda: self.browser.run("return document.activeElement.id") == "take")
        ActionChains(self.browser.driver).send_keys(Keys.ESCAPE).perform()
        self.assertFalse(self.browser.is_seen("finder"))
        self.assertEqual(self.browser.run("return document.activeElement.id"), "camera")

    def test_refused_permission_is_explained(self):
        self.allow("denied")
        self.browser.find("camera").click()
        self.browser.wait(lambda: self.browser.is_seen("camera-note"))
        self.assertTrue(self.browser.text("camera-note").startswith("The camera was not allowed."))


def take_screenshot(path):
    """A picture of the page for people, with something on it."""
    daemon, browser = setting.Daemon(PROGRAM), None
    try:
        browser = setting.Browser()
        browser.resize(1200, 900)
        browser.open(daemon.port)
        picture = two_symbols()[0].png()
        for look in range(60):
            with concurrent.futures.ThreadPoolExecutor(4) as clients:
                list(clients.map(daemon.recognise, [picture] * (5 + look * 37 % 23)))
            seen = browser.text("rate-summary")
            browser.wait(lambda: browser.text("rate-summary") != seen)
        images = int(browser.text("images"))
        browser.choose("two.png", picture)
        browser.wait(lambda: browser.text("images") == str(images + 1))
        height = browser.run("return document.documentElement.scrollHeight")
        browser.resize(1200, height)
        with open(path, "wb") as file:
            file.write(browser.driver.get_screenshot_as_png())
    finally:
        if browser:
            browser.stop()
        daemon.stop()


if __name__ == "__main__":
    # Being ended is like Ctrl-C: no further test, and what was started ends too.
    signal.signal(signal.SIGTERM, signal.default_int_handler)
    PROGRAM = sys.argv.pop(1)
    if sys.argv[1:2] == ["--screenshot"]:
        take_screenshot(sys.argv[2])
    else:
        unittest.main()
