"""A person at a terminal: the progress line, pause, cancel, and questions with an answer of one letter."""
import os
import subprocess
import termios
import time

from support import logs, texts
from support.scenario import scenario
from support.terminals import terminal_run

MANY = 1_000_000  # items that keep the program busy for seconds
CONTROL_C = "\x03"


class terminal_scenario(scenario):
    def setUp(self):
        super().setUp()
        self.only_on("host", "a Windows program under Wine has no terminal of this machine")

    def start(self, action, paths):
        self.job = self.write_job(action, "4", paths)
        return self.start_job()

    def start_job(self, **options):
        run = terminal_run(self.machine.command(self.job), self.machine.environment(TERM="xterm"), **options)
        self.addCleanup(run.close)
        return run

    def start_long(self):
        """A run over many items that has begun to work on them."""
        run = self.start("set_rating", [self.folder / "a.x"] * MANY)
        self.assertTrue(run.wait_for("%", 60), run.shown)
        return run

    def log_size(self):
        return sum(path.stat().st_size for path in self.machine.logs.glob("*.log"))


class progress_line(terminal_scenario):
    def test_shows_percent_bar_and_status(self):
        run = self.start_long()
        self.assertTrue(run.wait_for(f"Processing {MANY} files"), run.shown)
        self.assertRegex(run.shown, r"\[=* *\] +7%  Processing")

    def test_is_redrawn_in_place_and_never_reaches_100(self):
        run = self.start("set_rating", [self.folder / "a.x"] * 200_000)
        self.assertEqual(run.wait(), 0)
        self.assertNotIn("\n", run.shown)
        self.assertGreater(run.shown.count("\r"), 3)
        self.assertNotIn("100%", run.shown)

    def test_leaves_an_empty_line(self):
        run = self.start("set_rating", [self.folder / "a.x"] * 200_000)
        self.assertEqual(run.wait(), 0)
        self.assertTrue(run.shown.endswith("\r\x1b[K"), run.shown[-100:])

    def test_fits_a_narrow_terminal(self):
        self.job = self.write_job("set_rating", "4", [self.folder / "a.x"] * 200_000)
        run = self.start_job(columns=40)
        self.assertEqual(run.wait(), 0)
        lines = [line.replace("\x1b[K", "") for line in run.shown.split("\r")]
        self.assertEqual([line for line in lines if len(line) >= 40], [])

    def test_nothing_is_shown_below_the_threshold(self):
        run = self.start("set_rating", [self.folder / "a.x"] * 19)
        self.assertEqual(run.wait(), 0)
        self.assertEqual(run.shown, "")


class pause_and_cancel(terminal_scenario):
    def test_p_pauses_and_continues(self):
        run = self.start_long()
        run.type("p")
        time.sleep(0.5)
        run.read(0)
        paused_at = self.log_size()
        time.sleep(0.5)
        self.assertEqual(self.log_size(), paused_at)
        run.type("p")
        time.sleep(0.5)
        self.assertGreater(self.log_size(), paused_at)

    def test_control_c_cancels_and_the_run_ends_in_order(self):
        run = self.start_long()
        run.type(CONTROL_C)
        self.assertEqual(run.wait(), 0)
        self.assertFalse(self.job.exists())
        self.assertLess(len(logs.read(self.machine.logs)), MANY)

    def test_control_c_cancels_a_paused_run(self):
        run = self.start_long()
        run.type("p")
        time.sleep(0.3)
        run.type(CONTROL_C)
        self.assertEqual(run.wait(), 0)
        self.assertFalse(self.job.exists())

    def test_a_second_control_c_ends_the_process(self):
        self.job = self.write_raw_job(b'{"version":"1","x":[' + b"1," * 100_000_000 + b'1],"job":{}}')
        run = self.start_job()
        time.sleep(0.3)  # the job is being read, which nothing interrupts
        run.type(CONTROL_C)
        time.sleep(0.1)
        run.type(CONTROL_C)
        code = run.wait(5)
        self.assertIsNotNone(code, "still running")
        self.assertNotEqual(code, 0)
        self.assertTrue(self.job.exists())


class questions(terminal_scenario):
    def placeholder(self, name):
        item = self.write(name)
        os.setxattr(item, "user.DOSATTRIB", b"0x1000")
        return item

    def test_an_error_waits_for_an_answer(self):
        item = self.placeholder("a.jpg")
        run = self.start("set_rating", [item])
        self.assertTrue(run.wait_for("Failed to download the file."), run.shown)
        self.assertIsNone(run.wait(1), "ended without an answer")
        self.assertIn(texts.error_prompt(str(item), "Failed to download the file."), run.shown)
        run.type("o")
        self.assertEqual(run.wait(), 0)

    def test_an_answer_for_all_silences_the_same_message(self):
        items = [self.placeholder(f"{number}.jpg") for number in range(5)]
        run = self.start("set_rating", items)
        self.assertTrue(run.wait_for("Failed to download the file."), run.shown)
        run.type("a")
        self.assertEqual(run.wait(), 0)
        self.assertEqual(run.shown.count("Failed to download the file."), 1)
        suppressed = [message for level, message in self.log() if message.startswith("Suppressed the error")]
        self.assertEqual(suppressed, [f"Suppressed the error processing file {item} Details: Failed to download the"
                                      " file." for item in items[1:]])

    def test_an_answer_for_one_asks_again(self):
        items = [self.placeholder(f"{number}.jpg") for number in range(3)]
        run = self.start("set_rating", items)
        for number in range(3):
            self.assertTrue(run.wait_for(f"{number}.jpg"), run.shown)
            run.type("o")
        self.assertEqual(run.wait(), 0)
        self.assertEqual(run.shown.count("Failed to download the file."), 3)

    def test_an_unexpected_action_waits_for_each_item(self):
        run = self.start("no_such_action", [self.folder / "a"] * 2)
        for count in (1, 2):
            end = time.monotonic() + 20
            while run.shown.count(texts.UNEXPECTED_ACTION_PROMPT) < count and time.monotonic() < end:
                run.read(0.1)
            run.type("o")
        self.assertEqual(run.wait(), 0)
        self.assertEqual(run.shown.count(texts.UNEXPECTED_ACTION_PROMPT), 2)

    def test_control_c_at_a_question_cancels_the_run(self):
        items = [self.placeholder(f"{number}.jpg") for number in range(3)]
        run = self.start("set_rating", items)
        self.assertTrue(run.wait_for("0.jpg"), run.shown)
        time.sleep(0.2)
        run.type(CONTROL_C)
        self.assertEqual(run.wait(), 0)
        self.assertEqual(run.shown.count("Failed to download the file."), 1)
        self.assertFalse(self.job.exists())


class the_terminal_itself(terminal_scenario):
    def test_is_left_as_it_was(self):
        controller, device = os.openpty()
        self.addCleanup(os.close, controller)
        self.addCleanup(os.close, device)
        before = termios.tcgetattr(device)
        job = self.write_job("set_rating", "4", [self.folder / "a.x"] * 50)
        ran = subprocess.run(self.machine.command(job), env=self.machine.environment(), stdin=device, stdout=device,
                             stderr=device, timeout=60, start_new_session=True)
        self.assertEqual(ran.returncode, 0)
        self.assertEqual(termios.tcgetattr(device), before)
