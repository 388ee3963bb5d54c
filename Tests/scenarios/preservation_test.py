"""Nothing but the rating and the keywords of a file changes: every tag that exiftool knows, every pixel and every
sample of sound is compared before and after, for one sample file of each kind of metadata."""
import hashlib
import json
import os
import pathlib
import re
import shutil
import stat
import subprocess
import tempfile
import unittest

from support import machines, pictures, samples, scenario

# What is meant to change.
RATING_TAGS = {"XMP-xmp:Rating", "XMP-microsoft:RatingPercent", "IFD0:Rating", "IFD0:RatingPercent",
               "Microsoft:SharedUserRating", "ID3v2_3:Popularimeter", "ID3v2_4:Popularimeter", "ID3v2_2:Popularimeter"}
KEYWORD_TAGS = {"XMP-dc:Subject", "XMP-microsoft:LastKeywordXMP", "XMP-microsoft:LastKeywordIPTC", "IFD0:XPKeywords",
                "IPTC:Keywords", "File:CurrentIPTCDigest", "Photoshop:IPTCDigest", "Microsoft:Category"}
# Where things stand in a file, and the times and size of the file itself.
POSITIONS = {"IFD1:ThumbnailOffset", "MPImage1:MPImageStart", "MPImage2:MPImageStart", "MPF0:MPImageStart",
             "IFD0:StripOffsets", "IFD0:TileOffsets", "IFD1:StripOffsets", "IFD2:StripOffsets",
             "IFD0:PreviewImageStart", "MPImage1:MPImageLength", "QuickTime:MediaDataOffset", "Track1:ChunkOffset",
             "Track2:ChunkOffset", "XMP-xmpNote:HasExtendedXMP"}
# A file that had no XMP or no Exif before has the frame of one afterwards.
FRAMES = {"XMP-x:XMPToolkit", "File:ExifByteOrder", "File:ID3Size", "RIFF:WebP_Flags", "QuickTime:Unknown_free"}
# Windows ends the namespace of its photo values with a slash, exiftool means it without; and a warning that names the
# segment in front of fill bytes, where another segment may stand afterwards.
EXPECTED_WARNINGS = ("[minor] Fixed incorrect URI for xmlns:MicrosoftPhoto", "[minor] Skipped unknown 3 bytes")
IMAGES = (".jpg", ".png", ".tif", ".tiff", ".webp")


def tags_of(paths):
    """{file name: {group and tag: value}} as exiftool reads it, binary values included. A tag that comes more than once
    in a group has the list of its values."""
    read = subprocess.run(["exiftool", "-j", "-G1:4", "-a", "-u", "-struct", "-b", "-n", *map(str, paths)], check=True,
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    found = {}
    for entry in json.loads(read.stdout):
        tags = found[pathlib.Path(entry.pop("SourceFile")).name] = {}
        for name, value in entry.items():
            tags.setdefault(re.sub(r":Copy\d+:", ":", name), []).append(brief(value))
    return {name: {tag: values[0] if len(values) == 1 else values for tag, values in tags.items()}
            for name, tags in found.items()}


def brief(value):
    """Long binary values by their hash, so that a difference can be read."""
    if isinstance(value, str) and len(value) > 200:
        return f"{value[:40]}... {len(value)} characters, SHA-256 {hashlib.sha256(value.encode()).hexdigest()}"
    return value


def kept_tags(tags, meant):
    apart = meant | POSITIONS | FRAMES
    if "WEBP" in tags["File:FileType"]:  # a simple one becomes an extended one, which tells the size once more
        tags = {name: value[0] if name in ("RIFF:ImageWidth", "RIFF:ImageHeight") and isinstance(value, list) else value
                for name, value in tags.items()}
        apart = apart | {"File:FileType"}
    return {name: value for name, value in tags.items()
            if name not in apart and name.split(":")[0] not in ("System", "ExifTool", "Composite")}


def warnings_of(tags):
    found = []
    for name in ("ExifTool:Warning", "ExifTool:Error"):
        values = tags.get(name, [])
        found += values if isinstance(values, list) else [values]
    return sorted(value for value in found if not value.startswith(EXPECTED_WARNINGS))


def pixels_of(path):
    """The signatures of all frames; reading them shows that the file is whole too."""
    read = subprocess.run(["identify", "-quiet", "-format", "%#\n", path], env={"PATH": "/usr/bin:/bin"}, check=True,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    return read.stdout


def streams_of(path):
    """Hashes of the packets and of the decoded content of sound and video."""
    hashes = []
    for codec in ("copy", None):
        command = ["ffmpeg", "-v", "error", "-i", str(path), "-map", "0:a?", "-map", "0:v?"]
        command += ["-c", codec] if codec else []
        hashes.append(subprocess.run([*command, "-f", "md5", "-"], check=True, stdin=subprocess.DEVNULL,
                                     stdout=subprocess.PIPE, stderr=subprocess.PIPE).stdout)
    return hashes


def content_of(path):
    return pixels_of(path) if path.suffix in IMAGES else streams_of(path)


class preservation(unittest.TestCase):
    """All samples go through one job of each action, over a copy each; the tests compare the outcome file by file."""
    maxDiff = None
    MODES = {"rating": ("set_rating", "4", RATING_TAGS), "tags": ("update_tags", "+beach;+Größe", KEYWORD_TAGS)}

    @classmethod
    def setUpClass(cls):
        if scenario.machine.name != "host":
            raise unittest.SkipTest(scenario.NO_METADATA_UNDER_WINE)
        base = machines.ROOT / "build" / "scenarios"
        base.mkdir(parents=True, exist_ok=True)
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="preservation-", dir=base))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        scenario.machine.prepare(cls.folder)
        old = cls.folder / "old"
        old.mkdir()
        for name, make in samples.ALL.items():
            make(old / name)
            cls.dress(old / name)
        cls.before = tags_of(sorted(old.iterdir()))
        cls.after, cls.outcomes, cls.inodes = {}, {}, {}
        for mode, (action, parameters, _) in cls.MODES.items():
            new = cls.folder / mode
            subprocess.run(["cp", "-a", str(old), str(new)], check=True)
            cls.inodes[mode] = {path.name: os.stat(path).st_ino for path in new.iterdir()}
            job = cls.folder / "job.json"
            paths = [str(new / name) for name in samples.ALL]
            job.write_text(json.dumps(scenario.job_document(action, parameters, paths)))
            cls.outcomes[mode] = scenario.machine.run(job)
            cls.after[mode] = tags_of(sorted(new.iterdir()))

    @staticmethod
    def dress(path):
        """Gives a file a mode, an owner and an attribute of its own."""
        os.chmod(path, 0o640)
        if os.getuid() == 0:
            os.chown(path, 12345, 23456)
        os.setxattr(path, "user.comment", b"an attribute that stays")

    def compare(self, name, mode):
        old, new = self.folder / "old" / name, self.folder / mode / name
        meant = self.MODES[mode][2]
        before, after = kept_tags(self.before[name], meant), kept_tags(self.after[mode][name], meant)
        if name.startswith("jpeg_exif_thumbnail"):  # the link to the preview is cut, on purpose
            before = {tag: value for tag, value in before.items() if not tag.startswith("IFD1:")}
        self.assertEqual(after, before)
        self.assertEqual(warnings_of(self.after[mode][name]), warnings_of(self.before[name]))
        self.assertEqual(content_of(new), content_of(old))
        if new.suffix == ".jpg":
            self.compare_jpegs(name, old.read_bytes(), new.read_bytes())

    def compare_jpegs(self, name, old, new):
        old_segments, old_scan = pictures.segments_of(old)
        new_segments, new_scan = pictures.segments_of(new)
        self.assertEqual(new[new_scan:], old[old_scan:], "what stands behind the first scan's start changed")
        metadata = (b"Exif\0", pictures.XMP_SIGNATURE, b"http://ns.adobe.com/xmp/extension/\0", b"Photoshop 3.0\0",
                    b"MPF\0")

        def others(segments):
            return [(marker, payload) for marker, _, payload in segments if not payload.startswith(metadata)]
        self.assertEqual(others(new_segments), others(old_segments))

    def test_samples_are_many_enough(self):
        self.assertGreaterEqual(sum(name.endswith(IMAGES) for name in samples.ALL), 30)

    def test_all_samples_are_changed_without_a_word(self):
        for mode in self.MODES:
            self.assertEqual(self.outcomes[mode].exit_code, 0)
            self.assertEqual(self.outcomes[mode].standard_error, "")

    def test_rating_reached_every_sample(self):
        for name, tags in self.after["rating"].items():
            with self.subTest(name):
                found = {tag: str(value) for tag, value in tags.items() if tag in RATING_TAGS}
                if name.endswith(".mp3"):
                    self.assertEqual([value.split(" ")[-2] for value in found.values()], ["196"])
                elif name.endswith(".mp4"):
                    self.assertEqual(found, {"Microsoft:SharedUserRating": "75"})
                else:
                    self.assertEqual(found.get("XMP-xmp:Rating"), "4")
                    self.assertEqual(found.get("XMP-microsoft:RatingPercent"), "75")
                    self.assertEqual(found.get("IFD0:Rating", "4"), "4")
                    self.assertEqual(found.get("IFD0:RatingPercent", "75"), "75")

    def test_tags_reached_every_sample(self):
        tags = {"beach", "Größe"}
        for name, found in self.after["tags"].items():
            with self.subTest(name):
                if name.endswith(".mp3"):  # takes no tags
                    continue
                if name.endswith(".mp4"):  # has no place for tags that Windows reads; they hang on the file
                    stored = os.getxattr(self.folder / "tags" / name, "user.xdg.tags").decode().split(",")
                    self.assertEqual(set(stored), tags)
                    continue
                self.assertLessEqual(tags, set(found["XMP-dc:Subject"]))
                self.assertEqual(found["XMP-microsoft:LastKeywordXMP"], found["XMP-dc:Subject"])
                if "IFD0:XPKeywords" in found:
                    self.assertEqual(found["IFD0:XPKeywords"].split(";"), found["XMP-dc:Subject"])
                if "IPTC:Keywords" in found:
                    self.assertEqual(found["IPTC:Keywords"], found["XMP-dc:Subject"])

    def test_no_file_appeared_or_went(self):
        for mode in self.MODES:
            self.assertEqual(sorted(os.listdir(self.folder / mode)), sorted(samples.ALL))

    def test_mode_owner_and_attributes_stay(self):
        for mode in self.MODES:
            for name in samples.ALL:
                with self.subTest(f"{mode} {name}"):
                    old, new = os.stat(self.folder / "old" / name), os.stat(self.folder / mode / name)
                    self.assertEqual((stat.S_IMODE(new.st_mode), new.st_uid, new.st_gid),
                                     (stat.S_IMODE(old.st_mode), old.st_uid, old.st_gid))
                    self.assertEqual(os.getxattr(self.folder / mode / name, "user.comment"),
                                     b"an attribute that stays")

    def test_maker_notes_keep_their_offset_from_the_exif_header(self):
        """Maker notes point into the file by that offset."""
        for mode in self.MODES:
            for name in ("jpeg_maker_note_little_endian.jpg", "jpeg_maker_note_big_endian.jpg"):
                with self.subTest(f"{mode} {name}"):
                    offsets = []
                    for folder in ("old", mode):
                        content = (self.folder / folder / name).read_bytes()
                        offsets.append(content.index(b"Note\0\1") - content.index(b"Exif\0\0"))
                    self.assertEqual(offsets[0], offsets[1])

    def test_the_second_picture_of_a_multi_picture_file_is_found(self):
        for mode in self.MODES:
            images = [subprocess.run(["exiftool", "-b", "-MPImage2", self.folder / folder / "jpeg_multi_picture.jpg"],
                                     stdout=subprocess.PIPE, check=True).stdout for folder in ("old", mode)]
            self.assertEqual(images[0][:2], b"\xff\xd8")
            self.assertEqual(images[0], images[1])


def add_comparison(name, mode):
    def test(self):
        self.compare(name, mode)
    setattr(preservation, f"test_{mode}_keeps_{name.replace('.', '_')}", test)


for sample_name in samples.ALL:
    for mode_name in preservation.MODES:
        if not (mode_name == "tags" and sample_name.endswith(".mp3")):  # an MP3 takes no tags
            add_comparison(sample_name, mode_name)


class links(scenario.scenario):
    def setUp(self):
        super().setUp()
        self.only_on("host", scenario.NO_METADATA_UNDER_WINE)

    def rate(self, path):
        self.assert_no_problem(self.run_job("set_rating", "4", [path]))

    def rating_of(self, path):
        return tags_of([path])[path.name].get("XMP-xmp:Rating")

    def test_a_hard_linked_picture_changes_behind_all_its_names(self):
        first = pictures.picture(self.folder / "first.jpg")
        second = self.folder / "second.jpg"
        os.link(first, second)
        inode = os.stat(first).st_ino
        self.rate(first)
        self.assertEqual((os.stat(first).st_ino, os.stat(second).st_ino), (inode, inode))
        self.assertEqual(os.stat(first).st_nlink, 2)
        self.assertEqual(self.rating_of(second), 4)

    def test_a_hard_linked_mp3_changes_behind_all_its_names(self):
        first = pictures.sound(self.folder / "first.mp3")
        second = self.folder / "second.mp3"
        os.link(first, second)
        self.rate(second)
        self.assertEqual(os.stat(first).st_ino, os.stat(second).st_ino)
        self.assertEqual(first.read_bytes(), second.read_bytes())
        self.assertIn("196", str(tags_of([first])["first.mp3"]))

    def test_a_symbolic_link_stays_one_and_its_target_changes(self):
        (self.folder / "elsewhere").mkdir()
        target = pictures.picture(self.folder / "elsewhere" / "target.jpg")
        link = self.folder / "link.jpg"
        link.symlink_to(target)
        self.rate(link)
        self.assertTrue(link.is_symlink())
        self.assertEqual(os.readlink(link), str(target))
        self.assertEqual(self.rating_of(target), 4)

    def test_a_relative_symbolic_link_through_a_linked_folder(self):
        (self.folder / "real").mkdir()
        target = pictures.picture(self.folder / "real" / "target.png")
        (self.folder / "real" / "link.png").symlink_to("target.png")
        (self.folder / "alias").symlink_to("real")
        self.rate(self.folder / "alias" / "link.png")
        self.assertEqual(os.readlink(self.folder / "real" / "link.png"), "target.png")
        self.assertEqual(self.rating_of(target), 4)

    def test_a_dangling_symbolic_link_stays(self):
        link = self.folder / "link.jpg"
        link.symlink_to("nowhere.jpg")
        self.rate(link)
        self.assertEqual(os.readlink(link), "nowhere.jpg")
        self.assertEqual(sorted(os.listdir(self.folder)), ["data", "link.jpg"])

    def test_set_user_id_and_sticky_bits_stay(self):
        path = pictures.picture(self.folder / "a.jpg")
        os.chmod(path, 0o4751)
        self.rate(path)
        self.assertEqual(stat.S_IMODE(os.stat(path).st_mode), 0o4751)

    def test_a_read_only_file_keeps_its_mode_and_its_pixels(self):
        path = pictures.picture(self.folder / "a.jpg")
        pixels = pixels_of(path)
        os.chmod(path, 0o444)
        outcome = self.run_job("set_rating", "4", [path])
        self.assertTrue(self.rating_of(path) == 4 or "Error processing\n" in outcome.standard_error,
                        "neither stored nor told: " + outcome.standard_error)
        self.assertEqual(stat.S_IMODE(os.stat(path).st_mode), 0o444)
        self.assertEqual(pixels_of(path), pixels)
