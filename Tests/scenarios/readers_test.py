"""Other programs that have a photo open while a run changes it: who began to read it before its first rating reads the
old file to its end; who reads it while a rating changes finds a valid file, with values of both states at worst; and a
file that somebody has open for writing isn't touched."""
import json
import os
import re
import shutil
import subprocess
import threading
import time
import xml.parsers.expat

from support import pictures, refusals
from support.scenario import NO_METADATA_UNDER_WINE, job_document, scenario

COPIES = 20
SECONDS = 6  # of changing and reading
RATING = re.compile(rb"xmp:Rating\s*[=>]\s*[\"']?(\d)")


class scenario_with_photos(scenario):
    def setUp(self):
        super().setUp()
        self.only_on("host", NO_METADATA_UNDER_WINE)
        self.work = self.folder / "work"
        self.work.mkdir()

    def make(self, name):
        path = self.work / name
        if name.startswith("camera"):
            return pictures.camera_photo(path)
        if name.endswith(".mp3"):
            return pictures.sound(path, "-id3v2_version", "3", "-metadata", "title=A title")
        if name.endswith(".mp4"):
            return pictures.video(path)
        return pictures.picture(path, size="320x240")

    def copies(self, *names):
        """Copies of each file, as many as COPIES."""
        for name in names:
            first = self.make(name)
            for number in range(COPIES):
                shutil.copy(first, first.with_stem(f"{first.stem} {number}"))
            first.unlink()
        return sorted(self.work.iterdir())

    def start(self, action, parameters, paths):
        job = self.folder / "job.json"
        job.write_text(json.dumps(job_document(action, parameters, [str(path) for path in paths])))
        return subprocess.Popen(self.machine.command(job), env=self.machine.environment(), stdin=subprocess.DEVNULL,
                                stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)

    def finish(self, program):
        words = program.communicate(timeout=60)[1]
        self.assertEqual((program.returncode, words), (0, ""))


class slow_readers(scenario_with_photos):
    def read_slowly_meanwhile(self, action, parameters, paths):
        """Begins to read every file, and goes on piece by piece while a run changes them and after it."""
        old = {path: path.read_bytes() for path in paths}
        files = {path: open(path, "rb", buffering=0) for path in paths}
        try:
            read = {path: file.read(1000) for path, file in files.items()}
            program = self.start(action, parameters, paths)
            while program.poll() is None:
                for path, file in files.items():
                    read[path] += file.read(500)
            self.finish(program)
            for path, file in files.items():
                while piece := file.read(1 << 16):
                    read[path] += piece
        finally:
            for file in files.values():
                file.close()
        for path in paths:
            self.assertTrue(path.read_bytes() != old[path], f"{path.name} did not change")
        torn = [path.name for path in paths if read[path] != old[path]]
        self.assertFalse(torn, f"{len(torn)} of {len(paths)} readers didn't read the old file to its end")

    def test_during_a_first_rating(self):
        paths = self.copies("camera.jpg", "plain.jpg", "picture.png", "picture.webp", "sound.mp3")
        self.read_slowly_meanwhile("set_rating", "4", paths)

    def test_during_first_tags(self):
        self.read_slowly_meanwhile("update_tags", "+beach;+sea", self.copies("camera.jpg", "plain.jpg", "picture.png"))


def scan_of(jpeg):
    return jpeg[pictures.segments_of(jpeg)[1]:]


def packet_of(jpeg):
    return next(payload[len(pictures.XMP_SIGNATURE):] for marker, _, payload in pictures.segments_of(jpeg)[0]
                if marker == 0xE1 and payload.startswith(pictures.XMP_SIGNATURE))


class steady_reader(threading.Thread):
    """Reads photos again and again, each whole, until it is told to end. Collects the different contents of each."""

    def __init__(self, paths):
        super().__init__()
        self.paths, self.ended, self.reads = paths, threading.Event(), 0
        self.contents = {path: set() for path in paths}
        self.failures = []

    def run(self):
        while not self.ended.is_set():
            for path in self.paths:
                try:
                    self.contents[path].add(path.read_bytes())
                except OSError as error:
                    self.failures.append(error)
                self.reads += 1


class steady_readers(scenario_with_photos):
    def test_while_ratings_change(self):
        paths = self.copies("camera.jpg", "plain.jpg")
        for stars in "151":  # from then on each rating has one form
            self.finish(self.start("set_rating", stars, paths))
        states = {path: [path.read_bytes()] for path in paths}
        self.finish(self.start("set_rating", "5", paths))
        for path in paths:
            states[path].append(path.read_bytes())
        readers = [steady_reader(paths) for _ in range(2)]
        for reader in readers:
            reader.start()
        end = time.monotonic() + SECONDS
        try:
            while time.monotonic() < end:
                for stars in "15":
                    self.finish(self.start("set_rating", stars, paths))
        finally:
            for reader in readers:
                reader.ended.set()
                reader.join()
        for reader in readers:
            self.assertEqual(reader.failures, [])
            self.assertGreater(reader.reads, 5 * len(paths))
            for path, contents in reader.contents.items():
                for content in contents - set(states[path]):
                    self.check_mixture(path, content, states[path])

    def check_mixture(self, path, content, states):
        """A photo with values of both states: every byte is that of one of them, and the file is valid."""
        choices = [state for state in states if len(state) == len(content)]
        self.assertTrue(choices, f"{path.name} had {len(content)} bytes")
        strange = [at for at, byte in enumerate(content) if all(state[at] != byte for state in choices)]
        self.assertEqual(strange, [], f"bytes of {path.name} that are in neither state")
        self.assertTrue(scan_of(content) == scan_of(states[0]), f"{path.name} had other pixels")
        packet = packet_of(content)
        xml.parsers.expat.ParserCreate().Parse(packet.decode().lstrip("\ufeff"), True)
        self.assertIn(RATING.findall(packet), ([b"1"], [b"5"]), path.name)


class writers(scenario_with_photos):
    """A plain open for writing is all that others do; nothing is locked."""

    def check(self, name, action, parameters, flags=os.O_WRONLY, link=False, prepare=None):
        path = self.make(name)
        opened = path
        if link:
            opened = path.with_stem(path.stem + " too")
            os.link(path, opened)
        if prepare:
            self.assert_no_problem(self.run_job(*prepare, [path]))
        before = refusals.state_of(path)
        holder = os.open(opened, flags)
        try:
            outcome = self.run_job(action, parameters, [path])
            refusals.assert_refused(self, path, before, outcome, refusals.SHARING_VIOLATION)
        finally:
            os.close(holder)
        outcome = self.run_job(action, parameters, [path])  # and now nobody has it open
        self.assertEqual(outcome.standard_error, "")
        self.assertTrue(path.read_bytes() != before[0], f"{path.name} did not change")

    def test_a_first_rating_of_a_photo(self):
        self.check("camera.jpg", "set_rating", "4")

    def test_a_photo_open_for_reading_and_writing(self):
        self.check("plain.jpg", "set_rating", "4", os.O_RDWR)

    def test_a_changed_rating(self):
        self.check("camera.jpg", "set_rating", "4", prepare=("set_rating", "2"))

    def test_tags_of_a_photo(self):
        self.check("camera.jpg", "update_tags", "+beach")

    def test_a_tiff(self):
        self.check("picture.tif", "set_rating", "4")

    def test_a_png(self):
        self.check("picture.png", "update_tags", "+beach")

    def test_an_mp3(self):
        self.check("sound.mp3", "set_rating", "4")

    def test_an_mp4(self):
        self.check("film.mp4", "set_rating", "4")

    def test_a_hard_linked_photo(self):
        self.check("camera.jpg", "set_rating", "4", link=True)

    def test_a_changed_rating_of_a_hard_linked_photo(self):
        self.check("plain.jpg", "set_rating", "4", link=True, prepare=("set_rating", "2"))

    def test_a_photo_that_others_have_open_for_reading_changes(self):
        path = self.make("camera.jpg")
        with open(path, "rb"):
            self.assert_no_problem(self.run_job("set_rating", "4", [path]))

    def test_a_file_that_is_still_being_written(self):
        """As by a copy from a card: the parts that have come by then already look like a photo."""
        for name in ("camera.jpg", "picture.tif", "sound.mp3"):
            with self.subTest(name):
                source = self.make(name)
                content = source.read_bytes()
                target = source.with_stem(source.stem + " copied")
                with open(target, "wb", buffering=0) as copy:
                    for at in range(0, len(content), len(content) // 4 + 1):
                        copy.write(content[at:at + len(content) // 4 + 1])
                        outcome = self.run_job("set_rating", "4", [target])
                        refusals.assert_told(self, target, outcome, refusals.SHARING_VIOLATION)
                self.assertTrue(target.read_bytes() == content, f"{name} isn't what was written")
                self.assertEqual(os.listxattr(target), [])
