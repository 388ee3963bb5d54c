"""A disk that takes nothing: full, over quota, read-only, gone or failing; and files that may not grow. The file keeps
its old content, the user is told the system's reason, nothing is stored elsewhere instead, and the program ends."""
import json
import os
import resource
import shutil
import subprocess

from support import disks, pictures, recorded_disk, refusals
from support.scenario import NO_METADATA_UNDER_WINE, job_document, scenario

MANY_TAGS = ";".join(f"+keyword {number:03}" for number in range(150))


class scenario_on_a_disk(scenario):
    def setUp(self):
        super().setUp()
        self.only_on("host", NO_METADATA_UNDER_WINE)

    def make(self, name):
        """A file of the kind that the name says, on the disk."""
        path = self.disk / name
        if path.suffix == ".mp3":
            return pictures.sound(path, "-id3v2_version", "3")
        if path.suffix == ".mp4":
            return pictures.video(path)
        if path.suffix == ".txt":
            path.write_text("text")
            return path
        if path.stem.startswith("camera"):
            return pictures.camera_photo(path)
        return pictures.picture(path, *(("-compress", "None") if path.suffix == ".tif" else ()), size="400x300")

    def make_linked(self, name):
        path = self.make(name)
        os.link(path, path.with_stem(path.stem + " too"))
        return path

    def check_refused(self, path, reasons, action=("set_rating", "4"), **options):
        before = refusals.state_of(path)
        refusals.assert_refused(self, path, before, self.run_job(*action, [path], **options), reasons)

    def check_done(self, path, action=("set_rating", "4")):
        """Once nothing is in the way any more, the same run does it, and leaves nothing beside the file."""
        before = refusals.state_of(path)
        self.assertEqual(self.run_job(*action, [path]).standard_error, "")
        after = refusals.state_of(path)
        self.assertTrue(after[:2] != before[:2], f"{path.name} did not change")
        self.assertEqual(after[-1], before[-1])


class full_disk(scenario_on_a_disk):
    def setUp(self):
        super().setUp()
        self.disk = disks.make_and_mount(self, "ext4", 24 << 20)

    def check(self, path, action=("set_rating", "4")):
        filler = disks.fill(self.disk)
        try:
            self.check_refused(path, refusals.DISK_FULL, action)
        finally:
            filler.unlink()
        self.check_done(path, action)

    def test_photos(self):
        for name in ("camera.jpg", "plain.jpg", "picture.png", "picture.tif", "picture.webp"):
            with self.subTest(name):
                self.check(self.make(name))

    def test_tags_of_photos(self):
        for name in ("camera.jpg", "picture.png"):
            with self.subTest(name):
                self.check(self.make(name), ("update_tags", "+beach"))

    def test_a_hard_linked_photo(self):
        path = self.make_linked("camera.jpg")
        self.check(path)
        self.assertTrue(os.path.samefile(path, self.disk / "camera too.jpg"))

    def test_sounds_and_films(self):
        for name in ("sound.mp3", "film.mp4"):
            with self.subTest(name):
                self.check(self.make(name))

    def test_attributes_of_a_text(self):
        self.check(self.make("text.txt"), ("update_tags", MANY_TAGS))

    def test_attributes_that_have_no_room_on_a_disk_that_has(self):
        """Another program's attribute takes it: the tags go to the sidecar then."""
        path = self.make("text.txt")
        os.setxattr(path, "user.comment", b"c" * 3900)
        self.assertEqual(self.run_job("update_tags", MANY_TAGS, [path]).standard_error, "")
        self.assertEqual(os.listxattr(path), ["user.comment"])
        self.assertIn("keyword 149", (self.disk / "text.txt.xmp").read_text())

    def test_a_changed_rating_needs_no_room(self):
        path = self.make("camera.jpg")
        self.assert_no_problem(self.run_job("set_rating", "4", [path]))
        disks.fill(self.disk)
        self.assert_no_problem(self.run_job("set_rating", "2", [path]))
        read = subprocess.run(["exiftool", "-s3", "-n", "-XMP:Rating", path], check=True, stdout=subprocess.PIPE,
                              text=True)
        self.assertEqual(read.stdout.strip(), "2")

    def run_with_data_on_the_disk(self, make_log_folder):
        self.machine.data = self.disk / "data"
        self.machine.data.mkdir()
        if make_log_folder:
            self.machine.logs.mkdir(parents=True)
        path = self.write("a.txt", "text")
        disks.fill(self.disk)
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
        filler = disks.fill(self.disk)

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

        filler.unlink()
        run("organize_folder", "by_type")
        self.assertTrue(all(path.parent != photos for path in places().values()))


class over_quota(scenario_on_a_disk):
    def setUp(self):
        super().setUp()
        self.disk = disks.make_and_mount(self, "btrfs")
        btrfs = shutil.which("btrfs", path=disks.SYSTEM_PATH)
        for command in (("quota", "enable"), ("qgroup", "limit", "16M")):
            ran = subprocess.run([btrfs, *command, str(self.disk)], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                                 text=True)
            if ran.returncode != 0:
                self.skipTest(f"this machine sets no quota: {ran.stderr.strip()}")

    def test_photos(self):
        path, linked = self.make("camera.jpg"), self.make_linked("plain.jpg")
        filler = disks.fill(self.disk)
        self.assertLess(filler.stat().st_size, 20 << 20)
        for action in (("set_rating", "4"), ("update_tags", "+beach")):
            for file in (path, linked):
                with self.subTest(f"{action[0]} {file.name}"):
                    self.check_refused(file, refusals.OVER_QUOTA, action)
        filler.unlink()
        disks.sync(self.disk)
        self.check_done(path)
        self.check_done(linked)


class read_only_disk(scenario_on_a_disk):
    def test_files_of_all_kinds(self):
        self.disk = disks.make_and_mount(self, "ext4", 24 << 20)
        paths = [self.make(name) for name in ("camera.jpg", "picture.png", "picture.tif", "sound.mp3", "film.mp4",
                                              "text.txt")] + [self.make_linked("plain.jpg")]
        subprocess.run(["mount", "-o", "remount,ro", str(self.disk)], check=True)
        for path in paths:
            with self.subTest(path.name):
                self.check_refused(path, refusals.READ_ONLY)
        for path in paths:
            if path.suffix != ".mp3":
                with self.subTest(f"tags of {path.name}"):
                    self.check_refused(path, refusals.READ_ONLY, ("update_tags", "+beach"))


class failing_disk(scenario_on_a_disk):
    """The disk works again afterwards, and has the file as it was."""

    def mount(self, kind):
        self.disk = self.folder / "disk"
        self.disk.mkdir()
        self.device = recorded_disk.recorded_disk(self, kind, self.disk)

    def check(self, path, failure, kind, *, look_first):
        before = path.read_bytes()
        self.device.remount()
        if look_first:
            os.stat(path)
            os.listxattr(path)
        self.device.fail(failure)
        try:
            outcome = self.run_job("set_rating", "4", [path])
        finally:
            self.device.fail(recorded_disk.WORKING)
        refusals.assert_told(self, path, outcome, (*refusals.BROKEN_DISK, *refusals.READ_ONLY))
        self.device.remount()
        self.assertTrue(path.read_bytes() == before, f"{path.name} has other bytes on {kind}")
        self.assertEqual(os.listxattr(path), [])
        self.assertEqual([name for name in os.listdir(self.disk) if name != "lost+found"], [path.name])
        self.check_done(path)

    def test_a_disk_that_is_gone(self):
        for kind in ("ext4", "xfs"):
            with self.subTest(kind):
                self.mount(kind)
                self.check(self.make("camera.jpg"), recorded_disk.GONE, kind, look_first=False)
                self.tear_down_disk()

    def test_a_disk_that_is_gone_behind_a_file_that_was_looked_at(self):
        self.mount("ext4")
        self.check(self.make("camera.jpg"), recorded_disk.GONE, "ext4", look_first=True)

    def test_a_file_that_can_t_be_read(self):
        self.mount("ext4")
        self.check(self.make("sound.mp3"), recorded_disk.UNREADABLE, "ext4", look_first=True)

    def test_a_file_that_can_t_be_written(self):
        """XFS is synced before a new file takes the name, so that the failure is seen then."""
        self.mount("xfs")
        path = self.make("camera.jpg")
        self.device.remount()
        path.read_bytes()
        self.check(path, recorded_disk.UNWRITABLE, "xfs", look_first=True)

    def tear_down_disk(self):
        self.device.stop()
        self.disk.rmdir()


class file_size_limit(scenario_on_a_disk):
    """A limit of the process, beyond which a write is a signal that ends a program that isn't ready for it."""

    def setUp(self):
        super().setUp()
        self.disk = self.folder / "disk"
        self.disk.mkdir()

    def check(self, path):
        limit = path.stat().st_size // 2
        self.check_refused(path, refusals.TOO_LARGE,
                           prepare=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)))
        self.check_done(path)

    def test_files_of_all_kinds(self):
        for name in ("camera.jpg", "plain.jpg", "picture.png", "picture.tif", "sound.mp3", "film.mp4"):
            with self.subTest(name):
                self.check(self.make(name))

    def test_a_hard_linked_photo(self):
        self.check(self.make_linked("camera.jpg"))
