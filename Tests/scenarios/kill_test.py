"""All processes of a run are killed at one instant, hundreds of times in the middle of the work: a photo with one name
opens at once in other programs, with every pixel; every file is all old or all new once our next run has opened it; and
that run gets everything done.

    KILL_TEST_KILLS=500     how many kills of each kind of run
"""
import json
import os
import pathlib
import random
import shutil
import subprocess
import time

from support import other_programs, pictures, processes
from support.scenario import NO_METADATA_UNDER_WINE, job_document, scenario

SEED = 20260301
KILLS = int(os.environ.get("KILL_TEST_KILLS", "35"))
SECONDS = 25 if KILLS < 100 else 3600  # after which no further kill of a kind is begun
OURS = "user.quill_box."  # attributes whose names start so may come and go in the middle of a change
ROOM = "user.quill_box.room"  # room for attributes, which a killed run may leave
OPEN_ALL = ("update_tags", "-no such tag")  # opens every photo
TAGS = [f"keyword {number:03}" for number in range(150)]  # which fill several pages of a file


class killed_runs(scenario):
    def setUp(self):
        super().setUp()
        self.only_on("host", NO_METADATA_UNDER_WINE)
        self.chance = random.Random(SEED)
        self.work = self.folder / "work"
        self.work.mkdir()

    def make_files(self):
        folder = self.work
        small = pictures.picture(folder / "small 0.jpg", size="320x240")
        pictures.exiftool(small, "-IFD0:Make=Some Maker", "-XMP-dc:Title=A title")
        camera = pictures.camera_photo(folder / "camera 0.jpg")
        large = pictures.picture(folder / "large 0.jpg", "-quality", "96", size="1600x1200")
        for number in range(1, 4):
            shutil.copy(small, folder / f"small {number}.jpg")
            shutil.copy(camera, folder / f"camera {number}.jpg")
        shutil.copy(large, folder / "large 1.jpg")
        for number, photo in enumerate((camera, large)):
            shutil.copy(photo, folder / f"linked {number} {photo.name}")
            os.link(folder / f"linked {number} {photo.name}", folder / f"linked {number} {photo.name} too.jpg")
        pictures.picture(folder / "a.png", size="400x300")
        pictures.picture(folder / "a.tif", "-compress", "None", size="800x600")
        pictures.picture(folder / "a.webp", size="320x240")
        pictures.sound(folder / "a.mp3", "-id3v2_version", "3", "-metadata", "title=A title")
        pictures.video(folder / "a.mp4")
        (folder / "a.txt").write_text("text")

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

    def states(self):
        return {name: self.state(self.work / name) for name in os.listdir(self.work)}

    def start(self, *action):
        items = [str(self.work / name) for name in sorted(os.listdir(self.work)) if not name.startswith(".")]
        random.Random(SEED).shuffle(items)
        job = self.folder / "job.json"
        job.write_text(json.dumps(job_document(*action, items)))
        return subprocess.Popen(self.machine.command(job), env=self.machine.environment(), stdin=subprocess.DEVNULL,
                                stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, start_new_session=True)

    def run_to_the_end(self, *action):
        begin = time.monotonic()
        with self.start(*action) as program:
            self.assertEqual(program.stderr.read(), b"")
        self.assertEqual(program.returncode, 0)
        return time.monotonic() - begin

    def run_and_kill(self, seconds, *action):
        with self.start(*action) as program:
            time.sleep(seconds)
            processes.kill_all(program)
            program.stderr.read()  # ends when nobody is left who holds it

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

    def contents_on_the_way(self, name, before, after):
        """The contents that a file may have: the old and the new one, and where a run cuts off a thumbnail, which is a
        change of its own, those around that."""
        known = [before[name][0], after[name][0]]
        if "camera" in name:
            known += pictures.around_the_cut(*known)
        return known

    def check_attributes(self, name, now, allowed):
        """An attribute is set in one step, several of them one after the other."""
        for attribute in now[name][1]:
            if not allowed(attribute[0]):
                self.assertIn(attribute, self.before[name][1] + self.after[name][1], f"{self.kill}: {name}")

    def check_at_once(self):
        now = self.states()
        for name in self.before:
            self.assertIn(name, now, f"{self.kill}: {name} is gone")
            self.check_attributes(name, now, lambda attribute: attribute.startswith(OURS))
            if name in self.linked or now[name][0] in self.known[name]:
                continue
            self.assertEqual(other_programs.readings(self.work / name), self.readings[name],
                             f"{self.kill}: other programs don't find {name} as it was")
        return now

    def check_after_the_next_run(self):
        now = self.states()
        self.assertEqual(set(now), set(self.before), f"{self.kill}: files were left")
        for name in self.before:
            self.check_attributes(name, now, lambda attribute: attribute == ROOM)
            if not name.endswith(".mp3"):  # no sound is opened by a change of tags
                self.assertTrue(now[name][0] in self.known[name],
                                f"{self.kill}: {name} is neither all old nor all new")
        for first, second in self.links:
            self.assertTrue(os.path.samefile(self.work / first, self.work / second), f"{self.kill}: {first}")

    def prepare(self, before, *action):
        """Runs to the end from a state once; the time that took."""
        self.links = [(first, second) for first in before for second in before
                      if first < second and os.path.samefile(self.work / first, self.work / second)]
        self.linked = {name for pair in self.links for name in pair}
        self.back_to(before)
        duration = self.run_to_the_end(*action)
        self.before, self.after = before, self.states()
        self.assertEqual(set(self.after), set(before))
        for name in before:
            self.assertTrue(self.after[name] != before[name], f"{name} did not change")
        self.known = {name: self.contents_on_the_way(name, before, self.after) for name in before}
        self.readings = {name: other_programs.readings(self.work / name) for name in before if name not in self.linked}
        return duration

    def kill_again_and_again(self, before, *action):
        """Kills runs that lead from the state `before` to another one, at random moments, which is returned."""
        duration = self.prepare(before, *action)
        cut = 0
        end = time.monotonic() + SECONDS
        for kill in range(KILLS):
            if time.monotonic() > end:
                break
            self.kill = f"kill {kill}"
            self.back_to(before)
            self.run_and_kill(self.chance.uniform(0, 1.1 * duration), *action)
            now = self.check_at_once()
            cut += 0 < sum(now[name] == self.after[name] for name in before) < len(before)
            self.run_to_the_end(*OPEN_ALL)
            self.check_after_the_next_run()
        self.assertGreater(cut, kill / 5, "too few of the kills came in the middle of the work")
        self.run_to_the_end(*action)
        now = self.states()
        self.assertEqual(set(now), set(self.after))
        # Where a kill came between a rating and the cut of the thumbnail, the bytes that no field uses differ.
        different = [name for name in now if now[name] != self.after[name]]
        self.assertEqual([name for name in different if "camera" not in name], [],
                         "the run behind the kills left something else")
        for name in different:
            after = self.folder / name
            after.write_bytes(self.after[name][0])
            self.assertEqual(other_programs.readings(self.work / name), other_programs.readings(after), name)
        return self.after

    def test_first_ratings_and_changed_ratings(self):
        self.make_files()
        rated = self.kill_again_and_again(self.states(), "set_rating", "3")
        self.kill_again_and_again(rated, "set_rating", "5")
        for path in sorted(self.work.iterdir()):
            if path.suffix in (".jpg", ".png", ".tif", ".webp"):
                read = subprocess.run(["exiftool", "-a", "-s3", "-Warning", "-Error", "-XMP:Rating", path],
                                      stdout=subprocess.PIPE, text=True, check=True)
                said = [line for line in read.stdout.splitlines() if not line.startswith("[minor]")]
                self.assertEqual(said, ["5"], path)

    def test_many_tags(self):
        self.make_tagged_files()
        # Not a toggle, which the run behind the kills would take back.
        after = self.kill_again_and_again(self.states(), "update_tags", "-" + TAGS[3])
        for name, (content, _) in after.items():
            pages = {offset // 4096 for offset, pair in enumerate(zip(content, self.before[name][0]))
                     if pair[0] != pair[1]}
            self.assertGreater(len(pages), 2, name)
