"""The power is cut at random moments during runs and after them, again and again: every file is all old or all new, at
the latest once one of our runs has opened it. Of a change in place with pieces on several pages, some of the pages may
be there and others not; the file opens then, with every pixel and every other tag.

Everything that reaches the disk is recorded, and the states that it went through are mounted afterwards. A longer run:

    POWER_CUT_SECONDS=60    how long the system has to write by itself what the runs left, before the record ends
    POWER_CUT_FILES=2000    how many files each file system has
    POWER_CUT_MOMENTS=100   how many cuts of each
"""
import contextlib
import json
import os
import random
import shutil
import time

from support import disks, other_programs, pictures, recorded_disk, states
from support.early_writes import early_writes
from support.scenario import NO_METADATA_UNDER_WINE, job_document, scenario

SEED = 20260303
SECONDS = float(os.environ.get("POWER_CUT_SECONDS", "0.5"))
FILES = int(os.environ.get("POWER_CUT_FILES", "60"))
MOMENTS = int(os.environ.get("POWER_CUT_MOMENTS", "14"))
FILE_SIZE = 150_000  # no file is larger
QUIET = 0.1  # seconds without a write, before which the disk stays as it is for long
READ_BY_OTHERS = 3  # files with pages of two states that other programs look at, of each moment

JOBS = (("set_rating", "3"), ("set_rating", "5"), ("update_tags", "+beach;+sea"), ("update_tags", "-sea;+lake"))
OPEN_ALL = ("update_tags", "-no such tag")


class power_cuts(scenario):
    def setUp(self):
        super().setUp()
        self.only_on("host", NO_METADATA_UNDER_WINE)
        self.chance = random.Random(SEED)
        self.disk = self.folder / "disk"
        self.disk.mkdir()
        self.photos = self.disk / "photos"

    def make_samples(self):
        folder = self.folder / "samples"
        folder.mkdir()
        made = [pictures.camera_photo(folder / "camera.jpg"), pictures.camera_photo(folder / "other camera.jpg", ">"),
                pictures.picture(folder / "plain.jpg", size="320x240"),
                pictures.picture(folder / "picture.png", size="160x120"),
                pictures.picture(folder / "picture.tif", "-compress", "None", size="160x120"),
                pictures.sound(folder / "sound.mp3", "-id3v2_version", "3", "-metadata", "title=A title")]
        self.assertLess(max(path.stat().st_size for path in made), FILE_SIZE)
        return made

    def copy_samples(self, samples):
        """As many photos of each kind; every seventh has a second name."""
        self.photos.mkdir()
        self.linked, self.sample_of = set(), {}
        for number in range(FILES):
            sample = samples[number % len(samples)]
            path = self.photos / f"{number:04}{sample.suffix}"
            shutil.copy(sample, path)
            self.sample_of[path.name] = sample
            if number % 7 == 0 and sample.suffix != ".mp3":  # what opens all files opens no sound
                second = path.with_stem(path.stem + " too")
                os.link(path, second)
                self.sample_of[second.name] = sample
                self.linked |= {path.name, second.name}

    def run_over(self, names, action, parameters):
        job = self.folder / "job.json"
        paths = [str(self.photos / name) for name in sorted(names)]
        job.write_text(json.dumps(job_document(action, parameters, paths)))
        outcome = self.run_program(job)
        self.assertEqual((outcome.exit_code, outcome.standard_error), (0, ""))

    def named_once(self):
        """All files, those of two names by the first of them."""
        return [name for name in self.sample_of if " too" not in name]

    def record(self, kind, *options, early):
        """Runs the jobs over files on such a file system, and keeps what the disk received meanwhile."""
        disk = recorded_disk.recorded_disk(self, kind, self.disk, (64 << 20) + 3 * FILES * FILE_SIZE, options)
        self.scratch = disk.image.parent
        self.copy_samples(self.make_samples())
        disks.sync(self.disk)
        begin = disk.position()
        self.states = [states.fingerprints(self.photos)]
        for action, parameters in JOBS:
            with early_writes(self.disk, self.chance) if early else contextlib.nullcontext():
                self.run_over(self.named_once(), action, parameters)
            if len(self.states) == 1:
                self.states += self.states_around_the_cut()
            self.states.append(states.fingerprints(self.photos))
            time.sleep(SECONDS)
        self.read_samples()
        end = disk.position()
        disk.stop()
        record = disk.record()
        return record, record.moment_at(begin), record.moment_at(end)

    def states_around_the_cut(self):
        """Further states of the camera photos while they get their first rating, two for each file."""
        def further(name, sample):
            if "camera" not in sample.name:
                return [self.states[0][name]] * 2
            made = pictures.around_the_cut(sample.read_bytes(), (self.photos / name).read_bytes())
            return [states.fingerprint_of_bytes(content) for content in made]
        found = {name: further(name, sample) for name, sample in self.sample_of.items()}
        return [{name: pair[number] for name, pair in found.items()} for number in (0, 1)]

    def read_samples(self):
        """What other programs read of one file of each kind after all jobs."""
        by_sample = {sample: name for name, sample in self.sample_of.items()}
        self.already_read = {}
        self.expected = {sample: other_programs.readings(self.photos / name) for sample, name in by_sample.items()}

    def choose_moments(self, record, begin, end):
        """Half of them where the disk rests afterwards, the others anywhere. The last one is the end."""
        resting = [number for number in range(begin + 1, end)
                   if record.entries[number].seconds - record.entries[number - 1].seconds > QUIET]
        chosen = {end, *self.chance.sample(resting, min(len(resting), MOMENTS // 2))}
        self.assertGreater(end - begin, MOMENTS, "too little reached the disk")
        while len(chosen) < MOMENTS:
            chosen.add(self.chance.randint(begin, end))
        return sorted(chosen)

    def judge(self, names):
        """{name: judgement} of files as they stand now."""
        return {name: states.judge(states.fingerprint_of(self.photos / name), [known[name] for known in self.states])
                for name in names}

    def problems_of(self, judged):
        """What is wrong with files so judged, by name; what is mixed must still be the photo that it was."""
        mixed = sorted(name for name, word in judged.items() if word == "mixed")
        problems = {name: "torn" for name, word in judged.items() if word == "torn"}
        for name in self.chance.sample(mixed, min(len(mixed), READ_BY_OTHERS)):
            read, expected = self.read_by_others(name), self.expected[self.sample_of[name]]
            if read != expected:
                problems[name] = f"pages of two states: {read} instead of {expected}"
        return problems

    def read_by_others(self, name):
        """Copies of a sample tear alike as a rule, so that each content is read once."""
        content = self.sample_of[name], states.fingerprint_of(self.photos / name)
        if content not in self.already_read:
            self.already_read[content] = other_programs.readings(self.photos / name)
        return self.already_read[content]

    def examine(self):
        """What is wrong with the disk that is mounted now, at once and after a run that opens every file."""
        self.assertEqual({path.name for path in self.photos.iterdir() if path.name[0] != "."}, set(self.sample_of))
        at_once = self.judge(set(self.sample_of) - self.linked)
        problems = {f"{name} at once": problem for name, problem in self.problems_of(at_once).items()}
        try:
            self.run_over(self.named_once(), *OPEN_ALL)
        except AssertionError as failure:
            problems["the next run"] = str(failure)
        problems |= self.problems_of(self.judge(self.sample_of))
        for path in self.photos.iterdir():
            if path.name not in self.sample_of:
                problems[path.name] = "left beside the photos"
        for name in self.linked:
            if not os.path.samefile(self.photos / name, self.photos / name.replace(" too", "")):
                problems[name] = "no link any more"
        return problems

    def cut(self, kind, *options, early=True):
        record, begin, end = self.record(kind, *options, early=early)
        image = self.scratch / "cut.img"
        moments = self.choose_moments(record, begin, end)
        bad = []
        for number, moment in enumerate(moments):
            lost_writes = self.chance if number % 2 else None
            record.write_image(moment, image, lost_writes)
            self.assertEqual(disks.mount_words(image, self.disk, *options), "")
            try:
                problems = self.examine()
            finally:
                disks.unmount(self.disk)
            if problems:
                bad.append(f"cut at write {moment - begin} of {end - begin}"
                           f"{', some of the last writes lost' if lost_writes else ''}: {len(problems)} problems with "
                           f"{len(self.sample_of)} files, such as {dict(list(sorted(problems.items()))[:3])}")
        if bad:
            self.fail(f"after {len(bad)} of {len(moments)} cuts\n" + "\n".join(bad))

    def test_ext4(self):
        self.cut("ext4")

    def test_ext4_that_commits_every_second(self):
        self.cut("ext4", "commit=1", early=False)

    def test_xfs(self):
        self.cut("xfs")

    def test_btrfs(self):
        self.cut("btrfs")
