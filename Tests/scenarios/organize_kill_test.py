"""Organize and undo are killed at random moments: no file is lost, doubled or changed, and a run behind it gets
everything done. The journal is written at the end, so what a killed organize run moved stays moved: an undo behind it
puts back only what an earlier journal names. What a killed undo put back stays put back, and another undo does the
rest."""
import json
import random
import subprocess
import time

from support.scenario import job_document, scenario

SEED = 20260302
KILLS = 60
SECONDS = 15  # after which no further kill of a kind is begun
JOURNAL = "qb_organize_undo.json"
CATEGORIES = {"jpg": "Images", "txt": "Documents", "mp3": "Music", "": "Other"}


class killed_organizing(scenario):
    def setUp(self):
        super().setUp()
        self.only_on("host", "a kill of Wine's process doesn't stop its server in the middle of a call")
        self.photos = self.folder / "Photos"
        self.photos.mkdir()
        extensions = list(CATEGORIES)
        self.names = {f"{number:04}" + ("." + extensions[number % 4]).rstrip(".") for number in range(1000)}
        for name in self.names:
            (self.photos / name).write_text(name)

    def start(self, action, parameters):
        job = self.folder / "job.json"
        job.write_text(json.dumps(job_document(action, parameters, [str(self.photos)])))
        return subprocess.Popen(self.machine.command(job), env=self.machine.environment(), stdin=subprocess.DEVNULL,
                                stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)

    def finish(self, action, parameters):
        begin = time.monotonic()
        with self.start(action, parameters) as program:
            said = program.stderr.read().decode()
        self.assertEqual(program.returncode, 0)
        return time.monotonic() - begin, said

    def kill_after(self, seconds, action, parameters):
        with self.start(action, parameters) as program:
            time.sleep(seconds)
            program.kill()

    def places(self):
        """Where each content stands; each must stand once."""
        places = {}
        for path in self.photos.rglob("*"):
            if path.is_file() and path.name != JOURNAL:
                content = path.read_text()
                self.assertNotIn(content, places, f"doubled: {content}")
                places[content] = str(path.relative_to(self.photos))
        self.assertEqual(set(places), self.names, "a file is lost")
        return places

    def in_categories(self):
        return {name: f"{CATEGORIES[name[5:]]}/{name}" for name in self.names}

    def test_an_organize_run_that_is_killed(self):
        chance = random.Random(SEED)
        duration, _ = self.finish("organize_folder", "by_type")
        self.assertEqual(self.places(), self.in_categories())
        self.finish("organize_undo", "")
        cut = 0
        end = time.monotonic() + SECONDS
        for kill in range(KILLS):
            if time.monotonic() > end:
                break
            self.kill_after(chance.uniform(0, 1.1 * duration), "organize_folder", "by_type")
            places = self.places()
            moved = sum(name != place for name, place in places.items())
            cut += 0 < moved < len(self.names)
            journal = self.photos / JOURNAL
            if moved < len(self.names):
                self.assertFalse(journal.exists(), "there is a journal before the run's end")
            elif journal.exists():
                self.assertEqual(len(json.loads(journal.read_bytes())["moves"]), len(self.names))
                journal.unlink()
            for name, place in places.items():
                (self.photos / place).rename(self.photos / name)
        self.assertGreater(cut, kill / 5, "too few of the kills came in the middle of the work")

        self.kill_after(duration / 2, "organize_folder", "by_type")
        moved_before = {name for name, place in self.places().items() if name != place}
        self.finish("organize_folder", "by_type")
        self.assertEqual(self.places(), self.in_categories())
        self.finish("organize_undo", "")
        self.assertEqual({name for name, place in self.places().items() if name != place}, moved_before)

    def test_an_undo_that_is_killed(self):
        chance = random.Random(SEED)
        self.finish("organize_folder", "by_type")
        journal = (self.photos / JOURNAL).read_bytes()
        duration, _ = self.finish("organize_undo", "")
        cut = 0
        end = time.monotonic() + SECONDS
        for kill in range(KILLS):
            if time.monotonic() > end:
                break
            self.finish("organize_folder", "by_type")
            self.assertEqual((self.photos / JOURNAL).read_bytes().count(b'"from"'), journal.count(b'"from"'))
            self.kill_after(chance.uniform(0, 1.1 * duration), "organize_undo", "")
            back = sum(name == place for name, place in self.places().items())
            cut += 0 < back < len(self.names)
            if (self.photos / JOURNAL).exists():
                _, said = self.finish("organize_undo", "")
                # What the killed run put back is gone from where the journal has it.
                self.assertEqual(f"{back} could not be restored" in said, back > 0, said)
            self.assertEqual(self.places(), {name: name for name in self.names})
        self.assertGreater(cut, kill / 5, "too few of the kills came in the middle of the work")
