"""Two runs at work on the same files at the same time: each file gets the changes of both, and stays whole."""
import json
import os
import shutil
import subprocess

from support import pictures
from support.scenario import NO_METADATA_UNDER_WINE, job_document, scenario

FILES = 200
ROUNDS = 2  # in the first one every file grows, in the second one most are changed in place


class two_runs(scenario):
    def setUp(self):
        super().setUp()
        self.only_on("host", NO_METADATA_UNDER_WINE)

    def make_photos(self):
        photo = pictures.picture(self.folder / "photo.jpg", size="320x240")
        pictures.exiftool(photo, "-IFD0:Make=Some Maker", "-XMP-dc:Title=A title")
        others = [pictures.picture(self.folder / f"other.{kind}", size="64x48") for kind in ("png", "tif", "webp")]
        work = self.folder / "work"
        work.mkdir()
        for number in range(FILES):
            kind = others[number // 10 % 3] if number % 10 == 0 else photo
            shutil.copy(kind, work / f"{number:03}{kind.suffix}")
        return [str(work / name) for name in sorted(os.listdir(work))]

    def start(self, name, action, parameters, paths):
        job = self.folder / f"{name}.json"
        job.write_text(json.dumps(job_document(action, parameters, paths)))
        return subprocess.Popen(self.machine.command(job), env=self.machine.environment(), stdin=subprocess.DEVNULL,
                                stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)

    def run_both(self, *jobs):
        programs = [self.start(f"job {number}", *job) for number, job in enumerate(jobs)]
        outputs = [program.communicate()[1] for program in programs]
        self.assertEqual(outputs, [""] * len(jobs))
        self.assertEqual([program.returncode for program in programs], [0] * len(jobs))

    def read(self, paths, *tags):
        output = subprocess.run(["exiftool", "-j", "-sep", ";", *tags, *paths], check=True, text=True,
                                stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
        return json.loads(output)

    def test_both_runs_tags_reach_every_photo(self):
        photos = self.make_photos()
        expected = set()
        for number in range(ROUNDS):
            self.run_both(("update_tags", f"+first {number}", photos), ("toggle_tags", f"second {number}", photos))
            expected |= {f"first {number}", f"second {number}"}
            for photo in self.read(photos, "-XMP-dc:Subject", "-XPKeywords"):
                self.assertEqual(set(photo["Subject"].split(";")), expected, photo["SourceFile"])
                if photo["SourceFile"].endswith(("jpg", "tif")):
                    self.assertEqual(set(photo["XPKeywords"].split(";")), expected, photo["SourceFile"])
        self.assertEqual(sorted(os.listdir(self.folder / "work")), [os.path.basename(path) for path in photos])

    def test_a_rating_and_a_tag_reach_every_photo(self):
        photos = self.make_photos()
        for number in range(ROUNDS):
            stars = number + 1
            self.run_both(("set_rating", str(stars), photos), ("update_tags", f"+tag {number}", photos))
            for photo in self.read(photos, "-XMP-xmp:Rating", "-XMP-dc:Subject"):
                self.assertEqual(photo["Rating"], stars, photo["SourceFile"])
                self.assertIn(f"tag {number}", str(photo["Subject"]).split(";"), photo["SourceFile"])
