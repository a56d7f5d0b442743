"""packaging/haproxy/rolling-restart, with clients that are not to notice."""

import contextlib
import os
import signal
import subprocess
import threading
import unittest

from harness import PATIENCE, ROOT, Stage, until

# What the script calls: leaves a wish and waits until it is granted, or refused.
RESTART = """#!/bin/sh
touch "$WISHES/$1.wish"
while [ -e "$WISHES/$1.wish" ]; do sleep 0.05; done
[ ! -e "$WISHES/$1.refused" ]
"""


class RollingRestart(unittest.TestCase):
    def setUp(self):
        self.stage = self.enterContext(Stage())
        self.copies = self.stage.copies(3)
        self.balancer = self.stage.balancer(self.copies)
        self.restart = self.stage.folder / "restart"
        self.restart.write_text(RESTART)
        self.restart.chmod(0o755)
        self.script = None
        self.addCleanup(self.end_script)

    def end_script(self):
        if self.script:
            if self.script.poll() is None:
                os.killpg(self.script.pid, signal.SIGKILL)
            self.script.communicate()

    def begin(self, *arguments):
        """Starts the script, and a thread that restarts a copy when it is wished for."""
        self.script = subprocess.Popen(
            [ROOT / "packaging" / "haproxy" / "rolling-restart", "--socket", self.balancer.socket_path,
             "--restart", self.restart, *arguments],
            env={**os.environ, "WISHES": str(self.stage.folder)}, stderr=subprocess.PIPE, text=True,
            start_new_session=True)
        self.enterContext(self.granting())
        return self.script

    @contextlib.contextmanager
    def granting(self):
        ended = threading.Event()

        def grant():
            while not ended.wait(0.02):
                for copy in self.copies:
                    wish = self.stage.folder / f"{copy.name}.wish"
                    if wish.exists():
                        copy.restart()
                        wish.unlink()
        thread = threading.Thread(target=grant, daemon=True)
        thread.start()
        try:
            yield
        finally:
            ended.set()
            thread.join()

    def run_script(self, *arguments):
        script = self.begin(*arguments)
        said = script.communicate(timeout=3 * PATIENCE)[1]
        return script.returncode, said

    def copy1_works(self):
        return int(self.balancer.servers()["copy1"]["scur"]) > 0

    def processes(self):
        return [copy.process.pid for copy in self.copies]

    def test_restarts_all_copies_without_a_failed_request_or_a_second_try(self):
        before = self.processes()
        load = self.stage.load(self.balancer.port, 300_000, clients=4)
        status, said = self.run_script()
        answers = load.stop()
        self.assertEqual((status, answers.failures, list(answers.statuses)), (0, [], [200]), said + answers.report)
        self.assertTrue(set(before).isdisjoint(self.processes()), said)
        self.assertEqual(self.balancer.second_tries(), 0, "a copy was restarted with requests")
        self.assertTrue(all(self.balancer.is_up(copy.name) for copy in self.copies))

    def test_restarts_only_the_copies_that_are_named(self):
        before = self.processes()
        self.assertEqual(self.run_script("copy2")[0], 0)
        self.assertEqual([old == new for old, new in zip(before, self.processes())], [True, False, True])

    def test_takes_a_time_with_a_zero_before_it_for_decimal(self):
        status, said = self.run_script("--timeout", "08", "copy2")
        self.assertEqual((status, said.splitlines()[-1]), (0, "rolling-restart: copy2: serving"))

    def test_ends_with_the_first_copy_that_is_not_restarted(self):
        (self.stage.folder / "copy1.refused").touch()
        before = self.processes()
        status, said = self.run_script()
        self.assertEqual((status, before[1:]), (1, self.processes()[1:]))
        self.assertIn("rolling-restart: restarting copy1 failed\n", said)
        self.balancer.await_up("copy1")

    def test_leaves_a_copy_alone_whose_requests_do_not_end(self):
        load = self.stage.load(self.balancer.port, clients=4)
        until(self.copy1_works, what="copy1 works")
        self.copies[0].hang()
        self.addCleanup(self.copies[0].go_on)
        # The first look may be at a request whose answer is on its way; not so the second one.
        for _ in range(2):
            until(self.copy1_works, what="copy1 has a request that does not end")
        before = self.processes()
        status, said = self.run_script("--timeout", "1", "copy1")
        load.end()
        self.assertEqual((status, before), (1, self.processes()))
        self.assertIn("rolling-restart: copy1 still has requests after 1 s; it was not restarted\n", said)
        self.assertNotIn("DRAIN", self.balancer.servers()["copy1"]["status"])

    def test_gives_a_copy_its_requests_back_when_it_is_interrupted(self):
        self.restart.write_text("#!/bin/sh\nexec sleep 60\n")
        script = self.begin("copy1")
        until(lambda: "DRAIN" in self.balancer.servers()["copy1"]["status"])
        os.killpg(script.pid, signal.SIGTERM)
        script.communicate(timeout=PATIENCE)
        self.balancer.await_up("copy1")

    def test_knows_when_it_is_called_wrongly(self):
        self.assertEqual(self.run_script("--timeout", "soon")[0], 2)
        self.assertEqual(self.run_script("--unknown")[0], 2)
        self.assertEqual(self.run_script("nobody")[0], 1)


if __name__ == "__main__":
    unittest.main()
