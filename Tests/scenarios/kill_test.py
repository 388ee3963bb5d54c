"""The program is killed hundreds of times in the middle of its work: every file is all old or all new each time, and
the next run gets everything done."""
import json
import os
import pathlib
import random
import shutil
import signal
import subprocess
import time

from support import pictures
from support.scenario import NO_METADATA_UNDER_WINE, job_document, scenario

SEED = 20260301
KILLS = 100  # of each kind of run
SECONDS = 8  # after which no further kill of a kind is begun
# What a killed run may leave until the next one: room for attributes, and the mark of a file that it was about to
# change.
ROOM = "user.quill_box.room"
MARK = "user.quill_box.rewrite"
TAGS = [f"keyword {number:03}" for number in range(150)]  # which fill several pages of a file


class killed_runs(scenario):
    def setUp(self):
        super().setUp()
        self.only_on("host", NO_METADATA_UNDER_WINE)
        self.work = self.folder / "work"
        self.work.mkdir()

    def make_files(self):
        folder = self.work
        small = pictures.picture(folder / "small 0.jpg", size="320x240")
        pictures.exiftool(small, "-IFD0:Make=Some Maker", "-XMP-dc:Title=A title")
        large = pictures.picture(folder / "large 0.jpg", "-quality", "96", size="2400x1800")
        for number in range(1, 8):
            shutil.copy(small, folder / f"small {number}.jpg")
        shutil.copy(large, folder / "large 1.jpg")
        for number in (0, 1):
            shutil.copy(large, folder / f"linked {number}.jpg")
            os.link(folder / f"linked {number}.jpg", folder / f"linked {number} too.jpg")
        pictures.picture(folder / "a.png", size="400x300")
        pictures.picture(folder / "a.tif", "-compress", "None", size="800x600")
        pictures.picture(folder / "a.webp", size="320x240")
        pictures.sound(folder / "a.mp3", "-id3v2_version", "3", "-metadata", "title=A title")
        os.link(folder / "a.mp3", folder / "linked.mp3")
        pictures.video(folder / "a.mp4")
        for number in range(3):
            (folder / f"{number}.txt").write_text("text")

    def make_tagged_files(self):
        first = pictures.picture(self.work / "0.jpg", size="800x600")
        pictures.exiftool(first, *(f"-XMP-dc:Subject={tag}" for tag in TAGS))
        self.run_to_the_end("update_tags", "+first;+second")
        for number in range(1, 12):
            shutil.copy(first, self.work / f"{number}.jpg")

    @staticmethod
    def state(path):
        """All that a run changes of a file."""
        attributes = {name: os.getxattr(path, name) for name in os.listxattr(path)}
        return pathlib.Path(path).read_bytes(), sorted(attributes.items())

    def states(self, folder):
        return {name: self.state(folder / name) for name in os.listdir(folder)}

    def start(self, *action):
        items = [str(self.work / name) for name in sorted(os.listdir(self.work)) if not name.startswith(".")]
        random.Random(SEED).shuffle(items)
        job = self.folder / "job.json"
        job.write_text(json.dumps(job_document(*action, items)))
        return subprocess.Popen(self.machine.command(job), env=self.machine.environment(), stdin=subprocess.DEVNULL,
                                stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)

    def run_to_the_end(self, *action):
        begin = time.monotonic()
        with self.start(*action) as program:
            self.assertEqual(program.stderr.read(), b"")
        self.assertEqual(program.returncode, 0)
        return time.monotonic() - begin

    def run_and_kill(self, seconds, *action):
        with self.start(*action) as program:
            time.sleep(seconds)
            program.kill()
            program.stderr.read()  # ends when whoever finishes a write in flight is done as well

    @staticmethod
    def children(process):
        found = []
        for children in pathlib.Path("/proc", str(process), "task").glob("*/children"):
            try:
                found += map(int, children.read_text().split())
            except OSError:
                pass  # a thread that has just ended
        return found

    def run_and_kill_all(self, seconds, *action):
        """The program and the process that finishes a write in flight. What opens a file next makes it whole."""
        with self.start(*action) as program:
            end = time.monotonic() + seconds
            helpers = self.children(program.pid)
            while not helpers and time.monotonic() < end:
                time.sleep(0.0005)
                helpers = self.children(program.pid)
            time.sleep(max(0, end - time.monotonic()))
            program.kill()
            for helper in helpers:
                try:
                    os.kill(helper, signal.SIGKILL)
                except ProcessLookupError:
                    pass  # it ends with the program
            program.stderr.read()
        self.run_to_the_end("update_tags", "-no such tag")

    def back_to(self, states):
        """Puts the bytes and attributes of a state back, behind the names and links as they are."""
        for name in set(os.listdir(self.work)) - set(states):
            (self.work / name).unlink()
        for name, (content, attributes) in states.items():
            path = self.work / name
            if not path.exists() or self.state(path) != (content, attributes):
                path.write_bytes(content)
                for attribute in os.listxattr(path):
                    os.removexattr(path, attribute)
                for attribute, value in attributes:
                    os.setxattr(path, attribute, value)

    def kill_again_and_again(self, before, *action, run_and_kill=None, one_in=5):
        """Kills runs that lead from the state `before` to another one, at random moments; more than `one_in` so many in
        the middle of the work."""
        run_and_kill = run_and_kill or self.run_and_kill
        chance = random.Random(SEED)
        links = [(first, second) for first in before for second in before
                 if first < second and os.path.samefile(self.work / first, self.work / second)]
        self.back_to(before)
        duration = self.run_to_the_end(*action)
        after = self.states(self.work)
        self.assertEqual(set(after), set(before))
        for name in before:
            self.assertNotEqual(after[name], before[name], f"{name} did not change")
        changed = cut = 0
        end = time.monotonic() + SECONDS
        for kill in range(KILLS):
            if time.monotonic() > end:
                break
            self.back_to(before)
            run_and_kill(chance.uniform(0, 1.1 * duration), *action)
            now = self.states(self.work)
            for name in before:
                self.assertIn(name, now, f"kill {kill}: {name} is gone")
                self.assertIn(now[name][0], (before[name][0], after[name][0]),
                              f"kill {kill}: {name} is neither all old nor all new")
                # An attribute is set in one step, several of them one after the other.
                for attribute in now[name][1]:
                    if attribute[0] not in (ROOM, MARK):
                        self.assertIn(attribute, before[name][1] + after[name][1], f"kill {kill}: {name}")
            for first, second in links:
                self.assertTrue(os.path.samefile(self.work / first, self.work / second), f"kill {kill}: {first}")
            done = sum(now[name] == after[name] for name in before)
            changed += done
            cut += 0 < done < len(before)
        self.assertGreater(cut, kill / one_in, "too few of the kills came in the middle of the work")
        self.run_to_the_end(*action)
        self.assertEqual(self.states(self.work), after, "the run behind the kills left something else")
        return after

    def test_first_ratings_and_changed_ratings(self):
        self.make_files()
        rated = self.kill_again_and_again(self.states(self.work), "set_rating", "3")
        self.kill_again_and_again(rated, "set_rating", "5")
        for path in sorted(self.work.iterdir()):
            if path.suffix in (".jpg", ".png", ".tif", ".webp"):
                read = subprocess.run(["exiftool", "-a", "-s3", "-Warning", "-Error", "-XMP:Rating", path],
                                      stdout=subprocess.PIPE, text=True, check=True)
                said = [line for line in read.stdout.splitlines() if "xmlns:MicrosoftPhoto" not in line]
                self.assertEqual(said, ["5"], path)

    def test_all_processes_killed_at_once(self):
        self.make_files()
        for name in ("a.mp3", "linked.mp3"):  # which a change of tags leaves alone
            (self.work / name).unlink()
        before = self.states(self.work)
        how = {"run_and_kill": self.run_and_kill_all, "one_in": 50}
        rated = self.kill_again_and_again(before, "set_rating", "3", **how)
        self.kill_again_and_again(rated, "set_rating", "5", **how)

    def test_many_tags_that_change_in_place(self):
        self.make_tagged_files()
        before = self.states(self.work)
        inodes = {path.name: path.stat().st_ino for path in self.work.iterdir()}
        # Not a toggle, which the run behind the kills would take back.
        after = self.kill_again_and_again(before, "update_tags", "-" + TAGS[3])
        self.assertEqual({path.name: path.stat().st_ino for path in self.work.iterdir()}, inodes)
        for name, (content, _) in after.items():
            pages = {offset // 4096 for offset, pair in enumerate(zip(content, before[name][0])) if pair[0] != pair[1]}
            self.assertGreater(len(pages), 2, name)
