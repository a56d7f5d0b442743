"""Copies that die, hang and come back, with clients that are not to notice."""

import time
import unittest

import harness
import kills
from harness import DEADLY_IMAGE, RESET, SILENCE, STRICTER, Stage, ask, quickest, until

# When a copy that hangs is out at the latest: an interval until the next check, then three that take a second
# each, with the short interval between them.
CHECK_TIME = 0.2 + 3 * 1 + 2 * 0.02
# What haproxy.cfg allows a request.
TRIES = 11
# The grain of the clock, and a machine with other things to do.
TOLERANCE = 5


class CopiesTest(unittest.TestCase):
    def setUp(self):
        self.stage = self.enterContext(Stage())

    def all_answered(self, answers, least=1):
        self.assertEqual(answers.failures, [], answers.report)
        self.assertEqual(list(answers.statuses), [200], answers.report)
        self.assertGreaterEqual(answers.total, least)


class KilledCopy(CopiesTest):
    """With more clients than all copies have places: who finds the others full waits, and is not sent to the dead one
    until he has lost all tries. kills.py does the same at length."""

    def kill(self, copies, size, closing, times=6):
        found = kills.kill_under_load(self.stage, self.stage.copies(copies), size, times, closing)
        self.assertEqual((found.lost, found.taken_out), (0, 0), found.report)
        self.assertGreater(found.second_tries, 0, "no request has met a dead copy")

    def test_fails_no_small_image_of_clients_that_close(self):
        self.kill(3, 0, closing=True)

    def test_fails_no_small_image_of_clients_that_stay(self):
        self.kill(3, 0, closing=False)

    def test_fails_no_image_of_300_kilobytes_with_one_other_copy(self):
        self.kill(2, 300_000, closing=False)

    def test_fails_no_image_of_900_kilobytes_with_three_other_copies(self):
        self.kill(4, 900_000, closing=True, times=3)


class RequestThatCrashesItsCopy(CopiesTest):
    # With the settings for such an engine, and as many clients as leave a copy free for the request's second try: whoever shares the second copy with it loses
    # a first try to its end, and may lose the other to the first copy, whose end nobody has noticed yet.
    def test_takes_two_of_four_copies_along_and_fails_nobody_else(self):
        copies = self.stage.copies(4, engine=harness.CRASHING_ENGINE)
        balancer = self.stage.balancer(copies, changes=STRICTER)
        load = self.stage.load(balancer.port, clients=2)
        for _ in range(4):
            status, _, _ = ask(balancer.port, "POST", "/v1/recognize", DEADLY_IMAGE)
            dead = [copy for copy in copies if copy.has_ended()]
            self.assertIn(status, (502, 503))
            self.assertEqual(len(dead), 2)
            for copy in dead:
                copy.start()
            balancer.await_up(*(copy.name for copy in copies))
        self.all_answered(load.stop(), least=20)


class HungCopy(CopiesTest):
    def setUp(self):
        super().setUp()
        self.copies = self.stage.copies(3)
        self.balancer = self.stage.balancer(self.copies)

    def seconds_until_out(self):
        self.copies[0].go_on()
        self.balancer.await_up("copy1")
        begun = time.monotonic()
        self.copies[0].hang()
        self.balancer.await_down("copy1")
        return time.monotonic() - begun

    def requests_of_copy1(self):
        return int(self.balancer.servers()["copy1"]["stot"])

    def test_is_out_within_its_check_time_and_no_later_request_waits_for_it(self):
        wanted = CHECK_TIME + TOLERANCE
        self.assertLess(quickest(self.seconds_until_out, wanted), wanted)
        before = self.requests_of_copy1()
        load = self.stage.load(self.balancer.port, clients=6)
        until(lambda: self.balancer.answered() >= 100, what="100 answers")
        self.all_answered(load.stop(), least=100)
        self.assertEqual(self.requests_of_copy1(), before)

    def test_is_back_when_it_goes_on(self):
        self.copies[0].hang()
        self.balancer.await_down("copy1")
        self.copies[0].go_on()
        self.balancer.await_up("copy1")


class AllCopiesDown(CopiesTest):
    def setUp(self):
        super().setUp()
        self.copies = self.stage.copies(3)
        self.names = [copy.name for copy in self.copies]
        self.balancer = self.stage.balancer(self.copies)

    def end_all(self):
        for copy in self.copies:
            copy.end()

    def seconds_until_503(self):
        status, _, seconds = ask(self.balancer.port, "POST", "/v1/recognize", harness.SAMPLE)
        self.assertEqual(status, 503)
        return seconds

    def seconds_of_the_first_request(self):
        for copy in self.copies:
            copy.restart()
        self.balancer.await_up(*self.names)
        self.end_all()
        return self.seconds_until_503()

    def seconds_after_a_return(self):
        self.end_all()
        self.balancer.await_down(*self.names)
        self.copies[1].start()
        begun = time.monotonic()
        until(lambda: ask(self.balancer.port)[0] == 200)
        return time.monotonic() - begun

    def test_the_first_request_has_its_503_within_a_second(self):
        self.assertLess(quickest(self.seconds_of_the_first_request, 1), 1)

    def test_a_later_request_has_its_503_within_a_second(self):
        self.end_all()
        self.balancer.await_down(*self.names)
        self.assertLess(quickest(self.seconds_until_503, 1), 1)

    def test_it_serves_within_two_seconds_of_the_first_copys_return(self):
        self.assertLess(quickest(self.seconds_after_a_return, 2), 2)


class FurtherTries(CopiesTest):
    """With doubles in the place of copies, which count what comes to them."""

    def tries(self, statuses, method, path, body=None):
        doubles = self.stage.doubles(*statuses)
        balancer = self.stage.balancer(doubles)
        status, _, _ = ask(balancer.port, method, path, body)
        return status, sum(len(double.seen) for double in doubles)

    def test_are_for_recognition(self):
        self.assertEqual(self.tries([SILENCE] * 4, "POST", "/v1/recognize", harness.SAMPLE), (502, TRIES))

    def test_are_for_recognition_of_a_region(self):
        self.assertEqual(self.tries([SILENCE] * 2, "POST", "/v1/recognize?roi=0,0,9,9", harness.SAMPLE), (502, TRIES))

    def test_are_for_a_copy_that_resets_the_connection(self):
        self.assertEqual(self.tries([RESET] * 3, "POST", "/v1/recognize", harness.SAMPLE), (502, TRIES))

    def test_are_for_get(self):
        self.assertEqual(self.tries([SILENCE] * 3, "GET", "/v1/status"), (502, TRIES))

    def test_are_not_for_another_post(self):
        self.assertEqual(self.tries([SILENCE] * 3, "POST", "/v1/learn", b"once"), (502, 1))

    def test_are_not_for_put(self):
        self.assertEqual(self.tries([SILENCE] * 3, "PUT", "/v1/status", b"once"), (502, 1))

    def test_are_for_an_image_as_large_as_the_buffer_allows(self):
        body = bytes(1024 * 1024)
        self.assertEqual(self.tries([SILENCE] * 3, "POST", "/v1/recognize", body), (502, TRIES))

    def test_are_not_for_an_image_larger_than_the_buffer(self):
        body = bytes(2 * 1024 * 1024)
        self.assertEqual(self.tries([SILENCE] * 3, "POST", "/v1/recognize", body), (502, 1))

    def test_are_at_another_copy_when_one_says_503(self):
        for _ in range(4):
            with Stage() as self.stage:
                self.assertEqual(self.tries((503, 200), "POST", "/v1/recognize", harness.SAMPLE)[0], 200)

    def test_are_not_for_an_answer_that_says_what_is_wrong(self):
        self.assertEqual(self.tries((422, 422), "POST", "/v1/recognize", b"no image"), (422, 1))

    def test_end_with_the_503_of_copies_that_are_full_and_take_none_of_them_out(self):
        doubles = self.stage.doubles(503, 503)
        balancer = self.stage.balancer(doubles)
        answers = [ask(balancer.port, "POST", "/v1/recognize", b"image")[0] for _ in range(20)]
        self.assertEqual((answers, balancer.times_down()), ([503] * 20, 0))


if __name__ == "__main__":
    unittest.main()
