"""A full disk: the file keeps its old content, the person is told, and the program ends."""
import json
import os
import shutil
import subprocess

from support import pictures
from support.scenario import NO_METADATA_UNDER_WINE, job_document, scenario


class full_disk(scenario):
    def setUp(self):
        super().setUp()
        self.only_on("host", NO_METADATA_UNDER_WINE)
        self.disk = self.folder / "disk"
        self.disk.mkdir()
        image = self.folder / "disk.img"
        with open(image, "wb") as file:
            file.truncate(24 << 20)
        made = subprocess.run(["/sbin/mkfs.ext4", "-q", "-m", "0", str(image)], stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL).returncode
        mounted = made == 0 and subprocess.run(["mount", "-o", "loop", str(image), str(self.disk)],
                                               stderr=subprocess.DEVNULL).returncode == 0
        if not mounted:
            self.skipTest("this machine mounts no file system; unit tests stand in for it with injected faults")
        self.addCleanup(subprocess.run, ["umount", str(self.disk)], check=True)

    def fill(self):
        with open(self.disk / "filler", "wb", buffering=0) as file:
            try:
                for size in (1 << 16, 1 << 10, 1):
                    try:
                        while True:
                            file.write(b"\0" * size)
                    except OSError:
                        continue
            finally:
                os.fsync(file.fileno())

    def rate(self, paths, seconds=60):
        job = self.folder / "job.json"
        job.write_text(json.dumps(job_document("set_rating", "4", [str(path) for path in paths])))
        outcome = self.run_program(job, seconds=seconds)
        self.assertEqual(outcome.exit_code, 0)
        self.assertFalse(job.exists())
        return outcome

    def rating_of(self, path):
        read = subprocess.run(["exiftool", "-s3", "-n", "-XMP:Rating", path], check=True, stdout=subprocess.PIPE,
                              text=True)
        return read.stdout.strip()

    def rated(self, path):
        """The bytes of the file once it is rated: those of a copy where there is room."""
        copy = self.folder / ("copy" + path.suffix)
        shutil.copy(path, copy)
        self.rate([copy])
        self.assertNotEqual(copy.read_bytes(), path.read_bytes())
        return copy.read_bytes()

    def check(self, path, *other_names):
        old = path.read_bytes()
        new = self.rated(path)
        self.fill()
        outcome = self.rate([path])
        if path.read_bytes() == old:
            self.assertIn("Error processing\n", outcome.standard_error)
        else:
            self.assertEqual(path.read_bytes(), new)
        self.assertEqual(sorted(os.listdir(self.disk)), sorted(["filler", "lost+found", path.name, *other_names]))
        (self.disk / "filler").unlink()
        self.rate([path])
        self.assertEqual(path.read_bytes(), new)
        for name in other_names:
            self.assertTrue(os.path.samefile(path, self.disk / name))

    def test_a_picture(self):
        self.check(pictures.picture(self.disk / "a.jpg", "-quality", "95", size="1200x900"))

    def test_a_hard_linked_picture(self):
        path = pictures.picture(self.disk / "a.jpg", "-quality", "95", size="1200x900")
        os.link(path, self.disk / "b.jpg")
        self.check(path, "b.jpg")

    def test_an_mp3(self):
        self.check(pictures.sound(self.disk / "a.mp3", "-id3v2_version", "3"))

    def test_a_changed_rating_needs_no_room(self):
        path = pictures.picture(self.disk / "a.jpg", size="1200x900")
        self.rate([path])
        subprocess.run(["exiftool", "-q", "-overwrite_original", "-XMP:Rating=1", path], check=True)
        self.rate([path])
        pictures.exiftool(path, "-n", "-XMP:Rating=4")
        self.rate([path])
        self.fill()
        job = self.folder / "job.json"
        job.write_text(json.dumps(job_document("set_rating", "2", [str(path)])))
        outcome = self.run_program(job)
        self.assertEqual((outcome.exit_code, outcome.standard_error), (0, ""))
        self.assertEqual(self.rating_of(path), "2")

    def run_with_data_on_the_disk(self, make_log_folder):
        self.machine.data = self.disk / "data"
        self.machine.data.mkdir()
        if make_log_folder:
            self.machine.logs.mkdir(parents=True)
        path = self.write("a.txt", "text")
        self.fill()
        job = self.folder / "job.json"
        job.write_text(json.dumps(job_document("set_rating", "4", [str(path)] * 25)))
        return path, self.run_program(job)

    def test_settings_and_log_on_a_full_disk(self):
        path, outcome = self.run_with_data_on_the_disk(make_log_folder=True)
        self.assertEqual(outcome.exit_code, 0, outcome.standard_error)
        self.assertEqual(path.read_text(), "text")
        # The settings' folder can't be made either, which the person is told.
        self.assertIn("Error processing\n", outcome.standard_error)
        self.assertIn("create_directories: There is not enough space on the disk.", outcome.standard_error)

    def test_without_room_for_the_log_s_folder_nothing_is_done(self):
        path, outcome = self.run_with_data_on_the_disk(make_log_folder=False)
        self.assertLess(outcome.exit_code, 0)
        self.assertIn("create_directories: There is not enough space on the disk.", outcome.standard_error)
        self.assertNotIn("user.baloo.rating", os.listxattr(path))

    def test_organizing_on_a_full_disk(self):
        photos = self.disk / "photos"
        photos.mkdir()
        names = {f"{number:03}.{('jpg', 'txt', 'mp3', 'zip')[number % 4]}" for number in range(400)}
        for name in names:
            (photos / name).write_text(name)
        self.fill()

        def run(action, parameters):
            job = self.folder / "job.json"
            job.write_text(json.dumps(job_document(action, parameters, [str(photos)])))
            outcome = self.run_program(job)
            self.assertEqual(outcome.exit_code, 0)
            return outcome

        def places():
            found = {path.read_text(): path for path in photos.rglob("*.*") if path.name in names}
            self.assertEqual(set(found), names)
            return found

        outcome = run("organize_folder", "by_type")
        moved = {name for name, path in places().items() if path.parent != photos}
        journal = photos / "qb_organize_undo.json"
        if journal.exists():
            self.assertEqual({move["from"] for move in json.loads(journal.read_bytes())["moves"]}, moved)
        elif moved:
            self.assertTrue(any("failed to write undo journal" in message for _, message in self.log()), self.log())
        if moved != names:
            self.assertIn(f"{len(names) - len(moved)} of {len(names)} files could not be moved", outcome.standard_error)

        (self.disk / "filler").unlink()
        run("organize_folder", "by_type")
        self.assertTrue(all(path.parent != photos for path in places().values()))
