"""A person at a terminal: the progress line, pause, cancel, and questions with an answer of one letter."""
import os
import select
import signal
import subprocess
import termios
import time

from support import logs, texts
from support.scenario import scenario
from support.terminals import terminal_run

MANY = 1_000_000  # items that keep the program busy for seconds
CONTROL_C = "\x03"
CHOICES = "  [o] OK  [a] Do this for all current items? "


class terminal_scenario(scenario):
    def setUp(self):
        super().setUp()
        self.only_on("host", "a Windows program under Wine has no terminal of this machine")

    def start(self, action, paths):
        self.job = self.write_job(action, "4", paths)
        return self.start_job()

    def start_job(self, command=(), **options):
        """`command` is put in front of the program."""
        run = terminal_run([*command, *self.machine.command(self.job)], self.machine.environment(TERM="xterm"),
                           **options)
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
        self.assertTrue(run.shown.endswith("\r" + " " * 99 + "\r"), run.shown[-200:])

    def test_needs_no_keyboard(self):
        self.job = self.write_job("set_rating", "4", [self.folder / "a.x"] * 200_000)
        run = self.start_job(command=["sh", "-c", 'exec "$0" "$@" </dev/null'])
        self.assertEqual(run.wait(), 0)
        self.assertIn("%  Processing 200000 files", run.shown)
        self.assertNotIn("p pauses", run.shown)

    def test_says_what_the_keys_do(self):
        run = self.start_long()
        self.assertTrue(run.wait_for(f"Processing {MANY} files  p pauses, Ctrl-C cancels"), run.shown)

    def test_knows_no_escape_sequences(self):
        run = self.start("set_rating", [self.folder / "a.x"] * 200_000)
        self.assertEqual(run.wait(), 0)
        self.assertNotIn("\x1b", run.shown)

    def test_fits_a_narrow_terminal(self):
        self.job = self.write_job("set_rating", "4", [self.folder / "a.x"] * 200_000)
        run = self.start_job(columns=40)
        self.assertEqual(run.wait(), 0)
        self.assertEqual([line for line in run.shown.split("\r") if len(line) >= 40], [])

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

    def test_control_c_says_what_is_waited_for(self):
        run = self.start("set_rating", [self.folder / "a.x"] * MANY)
        time.sleep(0.2)  # the job is being read, which nothing interrupts
        run.type(CONTROL_C)
        self.assertEqual(run.wait(), 0)
        self.assertTrue(run.shown.endswith("Cancelling after this item; Ctrl-C again ends at once.\n"), run.shown)

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
        self.assertTrue(run.wait_for(CHOICES), run.shown)
        self.assertIsNone(run.wait(1), "ended without an answer")
        self.assertIn(texts.error_prompt(str(item), "Failed to download the file."), run.shown)
        run.type("o")
        self.assertEqual(run.wait(), 0)

    def test_an_answer_for_all_silences_the_same_message(self):
        items = [self.placeholder(f"{number}.jpg") for number in range(5)]
        run = self.start("set_rating", items)
        self.assertTrue(run.wait_for(CHOICES), run.shown)
        run.type("a")
        self.assertEqual(run.wait(), 0)
        self.assertEqual(run.shown.count("Failed to download the file."), 1)
        suppressed = [message for level, message in self.log() if message.startswith("Suppressed the error")]
        self.assertEqual(suppressed, [f"Suppressed the error processing file {item} Details: Failed to download the"
                                      " file." for item in items[1:]])

    def test_an_answer_for_one_asks_again(self):
        items = [self.placeholder(f"{number}.jpg") for number in range(3)]
        run = self.start("set_rating", items)
        for count in (1, 2, 3):
            self.assertTrue(run.wait_for(CHOICES, times=count), run.shown)
            run.type("o")
        self.assertEqual(run.wait(), 0)
        self.assertEqual(run.shown.count("Failed to download the file."), 3)

    def test_an_unexpected_action_waits_for_each_item(self):
        run = self.start("no_such_action", [self.folder / "a"] * 2)
        for count in (1, 2):
            self.assertTrue(run.wait_for(texts.UNEXPECTED_ACTION_PROMPT + "\n  [o] OK? ", times=count), run.shown)
            run.type("o")
        self.assertEqual(run.wait(), 0)
        self.assertEqual(run.shown.count(texts.UNEXPECTED_ACTION_PROMPT), 2)

    def test_control_c_at_a_question_cancels_the_run(self):
        items = [self.placeholder(f"{number}.jpg") for number in range(3)]
        run = self.start("set_rating", items)
        self.assertTrue(run.wait_for(CHOICES), run.shown)
        run.type(CONTROL_C)
        self.assertEqual(run.wait(), 0)
        self.assertEqual(run.shown.count("Failed to download the file."), 1)
        self.assertFalse(self.job.exists())

    def test_keys_typed_ahead_are_no_answer(self):
        self.job = self.write_job("set_rating", "4", [self.placeholder("a.jpg")])
        run = self.start_job(command=["sh", "-c", 'echo typing; sleep 1; exec "$0" "$@"'])
        self.assertTrue(run.wait_for("typing"), run.shown)
        run.type("oa\n")
        self.assertTrue(run.wait_for(CHOICES), run.shown)
        self.assertIsNone(run.wait(1), "answered by what was typed before")
        run.type("o")
        self.assertEqual(run.wait(), 0)

    def test_a_name_does_not_drive_the_terminal(self):
        run = self.start("set_rating", [self.placeholder("a\x1b[2J\nb.jpg")])
        self.assertTrue(run.wait_for(CHOICES), run.shown)
        run.type("o")
        self.assertEqual(run.wait(), 0)
        self.assertIn("/a\ufffd[2J\ufffdb.jpg\n", run.shown)
        self.assertNotIn("\x1b", run.shown)


class the_terminal_itself(terminal_scenario):
    def test_is_left_as_it_was(self):
        controller, device = os.openpty()
        self.addCleanup(os.close, controller)
        self.addCleanup(os.close, device)
        before = termios.tcgetattr(device)
        job = self.write_job("set_rating", "4", [self.folder / "a.x"] * MANY)
        ran = subprocess.Popen(self.machine.command(job), env=self.machine.environment(), stdin=device, stdout=device,
                               stderr=device, start_new_session=True)
        self.addCleanup(ran.kill)
        shown = b""
        while b"%" not in shown and select.select([controller], [], [], 60)[0]:
            shown += os.read(controller, 65536)
        end = time.monotonic() + 10
        while termios.tcgetattr(device) == before and time.monotonic() < end:
            time.sleep(0.01)
        self.assertNotEqual(termios.tcgetattr(device), before, "no keys are read")
        ran.send_signal(signal.SIGINT)
        self.assertEqual(ran.wait(60), 0)
        self.assertEqual(termios.tcgetattr(device), before)
