"""No memory, no thread, no descriptor: the program says so and ends without a crash; nothing is half done, and nothing
is left beside the file."""
import os
import re
import resource
import shutil
import subprocess

from support import pictures, refusals
from support.scenario import NO_METADATA_UNDER_WINE, scenario

LEAST_MEMORY = 5 << 20  # with less the system ends a process before it has begun
MOST_MEMORY = 1 << 30  # more than any of these runs takes
MEMORY_STEP = 128 << 10
MOST_DESCRIPTORS = 40
NOBODY_ELSE = 54321  # a user who runs no other process
BARE_CODE = re.compile(r"0x[0-9A-Fa-f]{8}\s*\Z")


class limits(scenario):
    def setUp(self):
        super().setUp()
        self.only_on("host", NO_METADATA_UNDER_WINE)
        self.work = self.folder / "work"
        self.work.mkdir()
        pictures.camera_photo(self.folder / "sample.jpg")
        # The log and the settings are there then, and a failure to make them hides nothing.
        self.run_limited(None)
        self.rated = (self.work / "photo.jpg").read_bytes()

    def run_limited(self, prepare):
        """One run over a new copy of the photo: the outcome, and the states before and after it."""
        path = shutil.copy(self.folder / "sample.jpg", self.work / "photo.jpg")
        for attribute in os.listxattr(path):
            os.removexattr(path, attribute)
        before = refusals.state_of(path)
        outcome = self.run_program(self.write_job("set_rating", "4", [path]), prepare=prepare, seconds=60)
        return outcome, before, refusals.state_of(path)

    def problem_with(self, prepare):
        """Nothing when the photo was rated, or the user told why not."""
        outcome, before, after = self.run_limited(prepare)
        words = outcome.standard_output + outcome.standard_error
        if outcome.exit_code < 0:
            return f"ended by signal {-outcome.exit_code} and said {words!r}"
        if after[-1] != before[-1] or after[1] != before[1]:
            return f"left {after[-1]} with the attributes {after[1]}"
        if after[0] == self.rated:
            return None
        if after[0] != before[0]:
            return "half changed the photo"
        if not words or BARE_CODE.search(words):
            return f"didn't rate the photo and said no more than {words!r}"
        return None

    def is_enough(self, kind, value):
        return self.run_limited(lambda: resource.setrlimit(kind, (value, value)))[2][0] == self.rated

    def sweep(self, kind, values):
        """Runs with each limit; the lowest isn't enough, and the highest one is."""
        self.assertFalse(self.is_enough(kind, values[0]))
        self.assertTrue(self.is_enough(kind, values[-1]))
        problems = {value: self.problem_with(lambda: resource.setrlimit(kind, (value, value))) for value in values}
        words = [f"with a limit of {value} it {problem}" for value, problem in problems.items() if problem]
        self.assertFalse(words, "\n" + "\n".join(words))

    def test_descriptors(self):
        self.sweep(resource.RLIMIT_NOFILE, [*range(3, 20), MOST_DESCRIPTORS])

    def test_memory(self):
        least, most = LEAST_MEMORY, MOST_MEMORY
        while most - least > MEMORY_STEP:
            middle = (least + most) // 2
            least, most = (least, middle) if self.is_enough(resource.RLIMIT_AS, middle) else (middle, most)
        # The last ones before it is enough matter most.
        values = [*range(LEAST_MEMORY, most - (1 << 20), 1 << 20),
                  *range(most - (1 << 20), most + 2 * MEMORY_STEP, MEMORY_STEP // 4)]
        self.sweep(resource.RLIMIT_AS, [*values, MOST_MEMORY])

    def test_threads(self):
        if os.getuid() != 0:
            self.skipTest("only root can start a program as a user who runs nothing else")
        subprocess.run(["chown", "-R", str(NOBODY_ELSE), str(self.folder)], check=True)
        runs = subprocess.run(["test", "-x", str(self.machine.executable)], preexec_fn=self.become_nobody_else)
        if runs.returncode != 0:
            self.skipTest("the executable is in a folder that is closed to other users")
        self.assertIsNone(self.problem_with(self.allow_one_process))
        self.assertNotEqual((self.work / "photo.jpg").read_bytes(), self.rated)

    @staticmethod
    def become_nobody_else():
        os.setgroups([])
        os.setgid(NOBODY_ELSE)
        os.setuid(NOBODY_ELSE)

    def allow_one_process(self):
        resource.setrlimit(resource.RLIMIT_NPROC, (1, 1))
        self.become_nobody_else()
