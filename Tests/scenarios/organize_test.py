"""Folders are organized, by type and by the photos' own values, and undone, as whole jobs on files of the disk."""
import fcntl
import json
import os
import pathlib
import shutil
import subprocess
import threading
import time

from support import pictures, texts
from support.scenario import scenario

JOURNAL = "qb_organize_undo.json"
UNDONE_WITH_LOSSES = ("Restored {} files; {} could not be restored (deleted, renamed, or locked). "
                      "See the log for details.")


class organizing(scenario):
    def setUp(self):
        super().setUp()
        self.photos = self.folder / "Photos"
        self.photos.mkdir()

    def put(self, *names):
        for name in names:
            self.write(self.photos / name, "of " + name)

    def use_settings(self, **settings):
        self.machine.settings.parent.mkdir(parents=True)
        self.machine.settings.write_text(json.dumps({"version": "1", "apps": [
            {"app_id": "quill-box", "settings": {f"organize.{key}": value for key, value in settings.items()}}]}))

    def organize(self, scheme="by_type"):
        return self.run_job("organize_folder", scheme, [self.photos])

    def undo(self):
        return self.run_job("organize_undo", "", [self.photos])

    def files(self):
        """The relative path and the content of every file but the journal."""
        return {str(path.relative_to(self.photos)): path.read_bytes() for path in self.photos.rglob("*")
                if path.is_file() and path.name != JOURNAL}

    def names(self):
        return sorted(self.files())

    def folders(self):
        return sorted(str(path.relative_to(self.photos)) for path in self.photos.rglob("*") if path.is_dir())

    def journal(self):
        return json.loads((self.photos / JOURNAL).read_bytes())

    def moves(self):
        return {move["from"]: move["to"] for move in self.journal()["moves"]}

    def assert_told(self, outcome, message):
        self.assertIn(texts.error_prompt(self.machine.path(self.photos), message), outcome.standard_error)
        self.assert_logged("ERROR", f"Error processing {self.machine.path(self.photos)} Details: {message}")


class by_type(organizing):
    def test_files_go_into_a_folder_for_each_category(self):
        self.put("a.jpg", "Report.PDF", "b.mkv", "c.flac", "d.7z", "e.exe", "f.unknown", "README")
        self.assert_no_problem(self.organize())
        self.assertEqual(self.names(), ["Archives/d.7z", "Documents/Report.PDF", "Images/a.jpg", "Music/c.flac",
                                        "Other/README", "Other/f.unknown", "Programs/e.exe", "Videos/b.mkv"])
        self.assertEqual(self.files()["Documents/Report.PDF"], b"of Report.PDF")
        self.assert_logged("INFO", "Organize folder: moved 8 files into 7 subfolders of "
                                   f"{self.machine.path(self.photos)} (0 failures)")

    def test_an_undo_puts_everything_back(self):
        self.put("a.jpg", "b.txt", "c", "d.jpg")
        before = self.files()
        self.organize()
        self.assertEqual(self.names(), ["Documents/b.txt", "Images/a.jpg", "Images/d.jpg", "Other/c"])
        self.assert_no_problem(self.undo())
        self.assertEqual(self.files(), before)
        self.assertEqual(self.folders(), [])
        self.assertEqual(sorted(os.listdir(self.photos)), sorted(before))
        self.assert_logged("INFO", "Undo organize: restored 4 files, skipped 0 in "
                                   f"{self.machine.path(self.photos)} (cancelled=false)")

    def test_the_journal_has_its_form_to_the_byte(self):
        self.put("a.jpg")
        self.organize()
        folder = json.dumps(self.machine.path(self.photos))
        self.assertEqual((self.photos / JOURNAL).read_bytes().decode(), "\r\n".join([
            "{", '    "version": "1.0",', f'    "folder": {folder},', '    "created_folders": [', '        "Images"',
            "    ],", '    "moves": [', "        {", '            "from": "a.jpg",',
            r'            "to": "Images\\a.jpg"', "        }", "    ]", "}"]))

    def test_a_folder_organized_elsewhere_is_undone_here(self):
        self.put("2026/Paris/a.jpg", "2026/b.jpg")
        self.write(self.photos / JOURNAL, json.dumps({
            "version": "1.0", "folder": r"X:\Somewhere", "created_folders": ["2026", r"2026\Paris"],
            "moves": [{"from": "a.jpg", "to": r"2026\Paris\a.jpg"}, {"from": "b.jpg", "to": "2026/b.jpg"}]}))
        self.assert_no_problem(self.undo())
        self.assertEqual(self.names(), ["a.jpg", "b.jpg"])
        self.assertEqual(self.folders(), [])

    def test_names_that_end_in_a_dot_or_a_blank_are_their_own(self):
        self.put("a.txt", "a.txt.", "a.txt ", "CON.txt")
        self.use_settings(categories=[{"name": "D.C.", "enabled": True, "extensions": ["txt"]}])
        before = self.files()
        self.assert_no_problem(self.organize())
        self.assertEqual(self.files(), {"D.C./a.txt": b"of a.txt", "D.C./CON.txt": b"of CON.txt",
                                        "Other/a.txt.": b"of a.txt.", "Other/a.txt ": b"of a.txt "})
        self.assert_no_problem(self.undo())
        self.assertEqual(self.files(), before)
        self.assertEqual(self.folders(), [])

    def test_excluded_names_and_own_categories(self):
        self.use_settings(excludedNames=["*.tmp", "keep.me"],
                          categories=[{"name": "A/B?", "enabled": True, "extensions": ["TXT"]}])
        self.put("a.txt", "b.TMP", "KEEP.me", "c.jpg")
        self.assert_no_problem(self.organize())
        self.assertEqual(self.names(), ["AB/a.txt", "KEEP.me", "Other/c.jpg", "b.TMP"])

    def test_hidden_files_and_the_shell_s_own_stay(self):
        self.put("desktop.ini", "Thumbs.db", "a.lnk", "b.url", "qb_folder_red.ico", "c.txt")
        self.assert_no_problem(self.organize())
        self.assertEqual(self.names(), ["Documents/c.txt", "Thumbs.db", "a.lnk", "b.url", "desktop.ini",
                                        "qb_folder_red.ico"])

    def test_a_taken_name_gets_a_number(self):
        self.put("a.txt", "Documents/a.txt", "Documents/a (2).txt")
        (self.photos / "Documents" / "a.txt").write_text("old")
        self.assert_no_problem(self.organize())
        self.assertEqual(self.files(), {"Documents/a.txt": b"old", "Documents/a (2).txt": b"of Documents/a (2).txt",
                                        "Documents/a (3).txt": b"of a.txt"})
        self.assertEqual(self.journal()["created_folders"], [])
        self.assertEqual(self.moves(), {"a.txt": r"Documents\a (3).txt"})

    def test_names_of_all_kinds_go_there_and_back(self):
        names = ["ä ö 写真.jpg", "two  blanks.jpg", "\u202egpj.txt", "e\u0301.txt", "x" * 100 + ".txt", ".gitignore2",
                 "😀.png"]
        if self.machine.name == "host":
            names += ["c:drive.jpg", "trailing blank ", "trailing dot.", "con", "a:b.jpg", 'q"<>|?*.jpg', "   ", "y" * 255]
        self.put(*names)
        before = self.files()
        self.organize()
        # A leading dot hides a file, for Wine too.
        self.assertEqual([name for name in self.names() if "/" not in name], [".gitignore2"])
        self.undo()
        self.assertEqual(self.files(), before)
        self.assertEqual(self.folders(), [])

    def test_names_that_no_journal_can_hold_stay(self):
        self.only_on("host", "Windows has no such names")
        folder = os.fsencode(self.photos)
        odd = [b"latin1 \xe9.txt", b"back\\slash.txt"]
        for name in odd:
            pathlib.Path(os.fsdecode(folder + b"/" + name)).write_text("odd")
        self.put("a.txt")
        outcome = self.organize()
        self.assert_told(outcome, "2 of 3 files could not be moved. See the log for details.")
        self.assertEqual(sorted(os.listdir(folder)), sorted(odd + [b"Documents", JOURNAL.encode()]))
        self.assertEqual(self.moves(), {"a.txt": r"Documents\a.txt"})

    def test_what_stands_in_the_way_of_a_folder(self):
        self.put("a.txt", "b.jpg")
        self.write(self.photos / "Documents", "a file of this name")
        outcome = self.organize()
        # In which order the three come is the file system's: the file may be gone when its turn comes.
        self.assertIn("Images/b.jpg", self.names())
        contents = sorted(self.files().values())
        self.assertEqual(contents, [b"a file of this name", b"of a.txt", b"of b.jpg"])
        if "a.txt" in self.names():
            self.assert_told(outcome, "1 of 3 files could not be moved. See the log for details.")

    def test_an_empty_folder(self):
        self.assert_no_problem(self.organize())
        self.assertEqual(os.listdir(self.photos), [])
        self.assert_logged("INFO", f"Organize folder: nothing to organize in {self.machine.path(self.photos)}")

    def test_a_scheme_that_there_is_not(self):
        self.put("a.txt")
        self.assert_told(self.organize("by_size"), "Unknown organize scheme 'by_size'")
        self.assertEqual(os.listdir(self.photos), ["a.txt"])

    def test_what_is_no_folder(self):
        for item in (self.write("a.txt"), self.folder / "missing"):
            outcome = self.run_job("organize_folder", "by_type", [item])
            path = self.machine.path(item)
            self.assertIn(texts.error_prompt(path, f"'{path}' is not a folder"), outcome.standard_error)

    def test_a_link_to_a_folder(self):
        self.put("a.txt", "b.jpg")
        link = self.folder / "link"
        link.symlink_to(self.photos)
        self.run_job("organize_folder", "by_type", [link])
        self.assertEqual(self.names(), ["Documents/a.txt", "Images/b.jpg"])
        self.assert_no_problem(self.run_job("organize_undo", "", [link]))
        self.assertEqual(sorted(os.listdir(self.photos)), ["a.txt", "b.jpg"])

    def make_read_only(self, folder):
        if os.geteuid() != 0:
            os.chmod(folder, 0o500)
            self.addCleanup(os.chmod, folder, 0o700)
            return
        # Permissions mean nothing to root.
        if subprocess.run(["chattr", "+i", str(folder)], stderr=subprocess.DEVNULL).returncode != 0:
            self.skipTest("the file system keeps no folder from root")
        self.addCleanup(subprocess.run, ["chattr", "-i", str(folder)], check=True)

    def test_a_read_only_folder(self):
        self.only_on("host", "Wine gives a read-only folder no protection")
        self.put("a.txt")
        self.make_read_only(self.photos)
        outcome = self.organize()
        self.assert_told(outcome, "1 of 1 files could not be moved. See the log for details.")
        self.assertEqual(os.listdir(self.photos), ["a.txt"])

    def test_attributes_and_times_stay(self):
        self.put("a.txt")
        path = self.photos / "a.txt"
        os.utime(path, ns=(1_000_000_000_123_456_700, 1_100_000_000_123_456_700))
        before = os.stat(path)
        self.organize()
        after = os.stat(self.photos / "Documents" / "a.txt")
        self.assertEqual((after.st_ino, after.st_mtime_ns, after.st_mode), (before.st_ino, before.st_mtime_ns,
                                                                            before.st_mode))

    def test_many_files(self):
        # Wine reads the whole folder for each name that it doesn't find as it is spelled.
        count = {"host": 10_000, "windows": 2_000}[self.machine.name]
        names = [f"{number:05}.{('jpg', 'txt', 'mp3', 'xyz')[number % 4]}" for number in range(count)]
        for name in names:
            (self.photos / name).touch()
        self.assert_no_problem(self.organize())
        self.assertEqual(self.folders(), ["Documents", "Images", "Music", "Other"])
        self.assertEqual(len(self.moves()), count)
        self.assert_no_problem(self.undo())
        self.assertEqual(sorted(os.listdir(self.photos)), names)


class undoing(organizing):
    def test_a_folder_with_a_foreign_file_stays(self):
        self.put("a.txt", "b.jpg")
        self.organize()
        self.put("Documents/theirs.txt")
        self.assert_no_problem(self.undo())
        self.assertEqual(self.names(), ["Documents/theirs.txt", "a.txt", "b.jpg"])
        self.assertEqual(self.folders(), ["Documents"])

    def test_a_name_that_is_taken_again(self):
        self.put("a.txt")
        self.organize()
        (self.photos / "a.txt").write_text("new")
        self.assert_no_problem(self.undo())
        self.assertEqual(self.files(), {"a.txt": b"new", "a (2).txt": b"of a.txt"})

    def test_a_file_that_is_gone(self):
        self.put("a.txt", "b.txt")
        self.organize()
        (self.photos / "Documents" / "a.txt").unlink()
        self.assert_told(self.undo(), UNDONE_WITH_LOSSES.format(1, 1))
        gone = self.machine.path(self.photos / "Documents" / "a.txt")
        self.assert_logged("INFO", f"Undo organize: '{gone}' no longer exists, skipping")
        self.assertEqual(os.listdir(self.photos), ["b.txt"])

    def test_without_a_journal(self):
        self.put("a.txt")
        path = self.machine.path(self.photos)
        self.assert_told(self.undo(), f"Nothing to undo: no organize record found in '{path}'")
        self.assertEqual(os.listdir(self.photos), ["a.txt"])

    def test_damaged_journals(self):
        self.put("a.txt")
        self.organize()
        whole = (self.photos / JOURNAL).read_bytes()
        for damaged in (b"", b"[]", b"\0" * 100, whole[:-1], whole[:50], b"[" * 1_000_000, b'"' + whole):
            (self.photos / JOURNAL).write_bytes(damaged)
            self.assert_told(self.undo(), "Undo journal is not valid JSON")
            self.assertEqual(self.names(), ["Documents/a.txt"])

    def test_a_journal_of_somebody_else(self):
        outside = self.write("outside.txt", "outside")
        victim = self.folder / "victim"
        victim.mkdir()
        self.put("evil.txt")
        self.write(self.photos / JOURNAL, json.dumps({
            "created_folders": ["../victim", self.machine.path(victim), ".", 5],
            "moves": [{"from": "../victim/evil.txt", "to": "evil.txt"},
                      {"from": self.machine.path(victim / "evil.txt"), "to": "evil.txt"},
                      {"from": "x", "to": "missing"}, {"from": 1, "to": 2}, "no move"]}))
        self.assert_told(self.undo(), UNDONE_WITH_LOSSES.format(0, 3))
        self.assertEqual(self.names(), ["evil.txt"])
        self.assertTrue(victim.is_dir())
        self.assertEqual(list(victim.iterdir()), [])
        self.assertEqual(outside.read_text(), "outside")

    def test_a_read_only_journal(self):
        self.put("a.txt")
        self.organize()
        os.chmod(self.photos / JOURNAL, 0o400)
        self.assert_no_problem(self.undo())
        self.assertEqual(self.names(), ["a.txt"])


class by_photo_patterns(organizing):
    def setUp(self):
        super().setUp()
        self.today = {time.strftime("%Y-%m-%d")}

    def photo(self, name, *tags):
        path = pictures.picture(self.photos / name, size="64x48")
        if tags:
            pictures.exiftool(path, *tags)
        return path

    def test_the_day_of_creation_stands_in_for_a_date(self):
        self.write(self.photos / "a.jpg", "no picture")
        self.write(self.photos / "film.mp4", "no photo")
        before = self.files()
        self.assert_no_problem(self.organize("photos_pattern"))
        self.today.add(time.strftime("%Y-%m-%d"))
        photo, = [name for name in self.names() if name.endswith(".jpg")]
        self.assertIn(photo, {f"{day}/{day} - a.jpg" for day in self.today})
        self.assertIn("film.mp4", self.names())
        self.assert_no_problem(self.undo())
        self.assertEqual(self.files(), before)
        self.assertEqual(self.folders(), [])

    def test_sidecars_follow_in_one_form(self):
        self.use_settings(photoNamingPattern="b<Camera>", photoPlacementPattern="Sorted")
        self.put("a.jpg", "a.xmp", "a.jpg.xmp", "a.aae", "other.xmp")
        self.assert_no_problem_but_a_taken_sidecar()
        self.assertEqual(self.names(), ["SortedSorted/b.jpg", "SortedSorted/b.jpg.aae", "SortedSorted/b.jpg.xmp",
                                        "a.jpg.xmp", "other.xmp"])
        self.undo()
        self.assertEqual(self.names(), ["a.aae", "a.jpg", "a.jpg.xmp", "a.xmp", "other.xmp"])

    def assert_no_problem_but_a_taken_sidecar(self):
        outcome = self.organize("photos_pattern")
        self.assertEqual(outcome.standard_error, "")
        self.assert_logged("WARNING", "Organize folder (Photos): skipping sidecar 'a.jpg.xmp', a file already exists at "
                                      "the destination")

    def test_a_placement_on_a_missing_place_moves_nothing(self):
        self.use_settings(photoPlacementPattern="Q:\\Photos\\<Date>")
        self.put("a.jpg")
        outcome = self.organize("photos_pattern")
        self.assert_told(outcome, "Placement pattern root 'Q:\\' is not currently available.")
        self.assertEqual(os.listdir(self.photos), ["a.jpg"])

    def test_a_new_folder_outside_is_not_made_without_a_yes(self):
        target = self.folder / "Elsewhere"
        self.use_settings(photoPlacementPattern=self.machine.path(target) + "<Nothing>")
        self.put("a.jpg")
        outcome = self.organize("photos_pattern")
        self.assertFalse(target.exists())
        self.assertEqual(os.listdir(self.photos), ["a.jpg"])
        self.assert_logged("INFO", "Organize folder (Photos): cancelled, target folder "
                                   f"'{self.machine.path(target)}' was not created")
        self.assertNotEqual(outcome.standard_error, "")

    def test_a_folder_outside_is_undone_too(self):
        target = self.folder / "Elsewhere"
        target.mkdir()
        self.use_settings(photoPlacementPattern=self.machine.path(target) + "<Nothing>",
                          photoNamingPattern="<Original Filename>")
        self.put("a.jpg", "b.png")
        self.assert_no_problem(self.organize("photos_pattern"))
        self.assertEqual(sorted(os.listdir(target)), ["a.jpg", "b.png"])
        self.assert_no_problem(self.undo())
        self.assertEqual(self.names(), ["a.jpg", "b.png"])
        self.assertTrue(target.is_dir())

    def test_a_path_that_would_be_too_long(self):
        # A pattern without a token is written twice.
        self.use_settings(photoNamingPattern="n" * 60 + "<Original Filename>", photoPlacementPattern="x" * 100)
        self.put("a.jpg")
        outcome = self.organize("photos_pattern")
        self.assert_told(outcome, "1 of 1 files could not be organized: 1 skipped because the destination path is too "
                                  "long.")
        self.assertEqual(self.names(), ["a.jpg"])
        self.assertEqual(self.folders(), ["x" * 200])
        separator = "/" if self.machine.name == "host" else "\\"
        target = separator.join([self.machine.path(self.photos), "x" * 200, "n" * 60 + "a.jpg"])
        self.assertGreaterEqual(len(target), 260)
        self.assert_logged("WARNING", "Organize folder (Photos): skipping 'a.jpg', destination path too long: "
                                      f"'{target}'")

    def test_date_place_and_people(self):
        self.only_on("host", "Wine has no property handlers: there every date is that of the file's creation")
        paris = ("-GPSLatitude=48.8584", "-GPSLatitudeRef=N", "-GPSLongitude=2.2945", "-GPSLongitudeRef=E")
        self.photo("IMG_1.jpg", "-DateTimeOriginal=2021:03:04 23:59:59", *paris,
                   "-RegionInfoMP={Regions=[{PersonDisplayName=Anna,Rectangle=0.1|, 0.1|, 0.2|, 0.2},"
                   "{PersonDisplayName=Ben,Rectangle=0.5|, 0.1|, 0.2|, 0.2}]}")
        self.photo("IMG_2.jpg", "-DateTimeOriginal=2021:03:05 00:00:00")
        self.photo("IMG_3.png", "-DateTimeOriginal=2021:07:05 12:00:00", *paris)
        before = self.files()
        self.assert_no_problem(self.organize("photos_pattern"))
        place = "Paris, Île-de-France, France"
        self.assertEqual(self.names(), sorted([
            f"2021-03-04/{place}/2021-03-04 - {place} - Anna and Ben - IMG_1.jpg",
            "2021-03-05/2021-03-05 - IMG_2.jpg",
            f"2021-07-05/{place}/2021-07-05 - {place} - IMG_3.png"]))
        self.assertEqual(self.journal()["created_folders"],
                         [folder for day in self.days_in_order() for folder in day])
        self.assert_no_problem(self.undo())
        self.assertEqual(self.files(), before)
        self.assertEqual(self.folders(), [])

    def days_in_order(self):
        """The folders that the moves lead into, each with its parents before it."""
        seen = []
        for move in self.journal()["moves"]:
            parts = move["to"].split("\\")[:-1]
            folders = ["\\".join(parts[:depth]) for depth in range(1, len(parts) + 1)]
            if folders not in seen:
                seen.append(folders)
        return seen


class photos_in_use(organizing):
    """A file that another program has locked is waited for, for a moment: it can be read and not be moved."""

    def setUp(self):
        super().setUp()
        self.only_on("host", "the unit tests lock files on Windows' terms")
        self.use_settings(photoPlacementPattern="Sorted<Nothing>", photoNamingPattern="<Original Filename>")
        self.put("a.jpg", "b.jpg")
        self.lock = open(self.photos / "a.jpg", "rb")
        self.addCleanup(self.lock.close)
        fcntl.flock(self.lock, fcntl.LOCK_SH)

    def test_for_a_moment(self):
        unlocking = threading.Timer(0.5, lambda: fcntl.flock(self.lock, fcntl.LOCK_UN))
        unlocking.start()
        self.assert_no_problem(self.organize("photos_pattern"))
        unlocking.join()
        self.assertEqual(self.names(), ["Sorted/a.jpg", "Sorted/b.jpg"])

    def test_for_ever(self):
        outcome = self.organize("photos_pattern")
        self.assert_told(outcome, "1 of 2 files could not be organized: 1 still in use by another process (a fresh import "
                                  "still settling, cloud sync, antivirus, or search indexing -- usually clears on its "
                                  "own; try again in a moment).")
        self.assertEqual(self.names(), ["Sorted/b.jpg", "a.jpg"])
        self.assertEqual(self.moves(), {"b.jpg": r"Sorted\b.jpg"})


class another_file_system(organizing):
    """A placement on another file system copies, verifies and deletes."""

    def setUp(self):
        super().setUp()
        self.only_on("host", "Wine's drives are all one file system here")
        self.target = pathlib.Path("/dev/shm") / self.folder.name
        if not os.path.isdir("/dev/shm") or os.stat("/dev/shm").st_dev == os.stat(self.folder).st_dev:
            self.skipTest("this machine has one file system only")
        self.target.mkdir()
        self.addCleanup(shutil.rmtree, self.target)

    def test_photos_arrive_whole_and_come_back(self):
        self.use_settings(photoPlacementPattern=str(self.target) + "<Nothing>",
                          photoNamingPattern="<Original Filename>")
        for number in range(5):
            pictures.picture(self.photos / f"{number}.jpg", size="320x240")
        before = self.files()
        times = {name: os.stat(self.photos / name).st_mtime_ns for name in before}
        self.assert_no_problem(self.organize("photos_pattern"))
        self.assertEqual(self.names(), [])
        self.assertEqual({name: (self.target / name).read_bytes() for name in os.listdir(self.target)}, before)
        self.assertEqual({name: os.stat(self.target / name).st_mtime_ns for name in before}, times)
        self.assert_no_problem(self.undo())
        self.assertEqual(self.files(), before)
        self.assertEqual(os.listdir(self.target), [])
