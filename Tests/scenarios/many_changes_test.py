"""Many changes of one file in a row: after each no field contradicts another, the file grows by no more than one
block after the first one, and what is removed is gone."""
import json
import pathlib
import shutil
import subprocess

from support import other_programs, pictures
from support.scenario import NO_METADATA_UNDER_WINE, scenario

CHANGES = 60
BLOCK = 4096
PERCENT = {1: 1, 2: 25, 3: 50, 4: 75, 5: 99}
RATING_FIELDS = {"XMP-xmp:Rating": lambda stars: stars, "IFD0:Rating": lambda stars: stars,
                 "XMP-microsoft:RatingPercent": PERCENT.get, "IFD0:RatingPercent": PERCENT.get}
KEYWORD_FIELDS = {"XMP-dc:Subject", "XMP-microsoft:LastKeywordXMP", "IFD0:XPKeywords", "IPTC:Keywords"}
MORE_TAGS = ("sea", "beach", "mountains", "evening", "family", "Größe", "friends", "a longer tag of several words")


class many_changes(scenario):
    def setUp(self):
        super().setUp()
        self.only_on("host", NO_METADATA_UNDER_WINE)
        self.work, self.kept = self.folder / "work", self.folder / "kept"
        self.work.mkdir()
        self.kept.mkdir()

    def make_photos(self):
        work = self.work
        pictures.camera_photo(work / "camera.jpg")
        pictures.camera_photo(work / "big endian camera.jpg", ">")
        pictures.picture(work / "plain.jpg")
        pictures.picture(work / "written by exiftool.jpg")
        pictures.exiftool(work / "written by exiftool.jpg", "-IFD0:Make=Some Maker", "-ExifIFD:UserComment=text",
                          "-GPS:GPSLatitude=48.1", "-XMP-dc:Title=A title", "-IPTC:Keywords=old")
        self.make_photo_without_room(work / "no room in its blocks.jpg")
        pictures.picture(work / "picture.png")
        pictures.picture(work / "picture.tif", "-compress", "None")
        pictures.picture(work / "picture.webp")
        return sorted(work.iterdir())

    @staticmethod
    def make_photo_without_room(path):
        """The blocks are as tight as can be, and may not grow by writing over what stands behind them."""
        pictures.picture(path)
        packet = pictures.xmp_packet('  <rdf:Description rdf:about="" xmlns:xmp="http://ns.adobe.com/xap/1.0/"'
                                     ' xmp:CreatorTool="a tool"/>', end="r")
        exif = pictures.exif_with_maker_note("<", b"Note\0\1" + bytes(range(256)) * 20)
        pictures.rewrite(path, lambda jpeg: pictures.behind_jfif(
            jpeg, pictures.segment(0xE1, exif) + pictures.xmp_segment(packet) + pictures.segment(0xFE, b"a comment")))

    def change(self, number, action, parameters, photos):
        outcome = self.run_job(action, parameters, photos)
        self.assertEqual(outcome.standard_error, "")
        for photo in photos:
            shutil.copy(photo, self.kept / f"{number:03} {photo.name}")

    def read_kept(self):
        """{(number of the change, name): all tags}"""
        wanted = ("-Rating", "-RatingPercent", "-Subject", "-LastKeywordXMP", "-XPKeywords", "-Keywords")
        read = subprocess.run(["exiftool", "-j", "-G1", "-a", "-n", "-q", "-m", *wanted, str(self.kept)], check=True,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        found = {}
        for tags in json.loads(read.stdout):
            number, name = pathlib.Path(tags["SourceFile"]).name.split(" ", 1)
            found[int(number), name] = tags
        return found

    def check_growth(self, photos, first_sizes):
        grown = {photo.name: photo.stat().st_size - first_sizes[photo] for photo in photos}
        self.assertLessEqual(max(grown.values()), BLOCK, f"growth after the first change: {grown}")

    def check_pixels(self, photos, pixels):
        for photo in photos:
            self.assertEqual(other_programs.pixels_of(photo), pixels[photo], photo.name)

    def run_changes(self, changes):
        """Makes the changes one after the other; the tags after each."""
        photos = self.make_photos()
        pixels = {photo: other_programs.pixels_of(photo) for photo in photos}
        for number, (action, parameters) in enumerate(changes):
            self.change(number, action, parameters, photos)
            if number == 0:
                first_sizes = {photo: photo.stat().st_size for photo in photos}
        self.check_pixels(photos, pixels)
        self.check_growth(photos, first_sizes)
        return self.read_kept()

    @staticmethod
    def rating_problems(tags, stars):
        found = {field: tags[field] for field in RATING_FIELDS if field in tags}
        expected = {field: RATING_FIELDS[field](stars) for field in found} if stars else {}
        if found == expected and ("XMP-xmp:Rating" in found) == bool(stars):
            return []
        return [f"{found} instead of {stars} stars"]

    def check_ratings(self, stars):
        """Rates so many stars one after the other; 0 removes the rating."""
        changes = [("set_rating", str(number)) if number else ("remove_rating", "") for number in stars]
        problems = []
        for (number, name), tags in sorted(self.run_changes(changes).items()):
            problems += [f"change {number} of {name}: {problem}" for problem in
                         self.rating_problems(tags, stars[number])]
        self.assertFalse(problems, "\n" + "\n".join(problems))

    def test_ratings(self):
        self.check_ratings([(3, 5, 1, 4, 2)[number % 5] for number in range(CHANGES)])

    def test_ratings_that_are_removed_in_between(self):
        self.check_ratings([(3, 0, 5, 4, 0, 1)[number % 6] for number in range(CHANGES)])

    @staticmethod
    def tag_problems(tags, expected):
        problems = []
        for field in sorted(KEYWORD_FIELDS & set(tags)):
            values = tags[field].split(";") if field == "IFD0:XPKeywords" else tags[field]
            values = {str(value) for value in values} if isinstance(values, list) else {str(values)}
            if values != expected:
                problems.append(f"{field} has {sorted(values)} instead of {sorted(expected)}")
        return problems + (["no tags at all"] if expected and not KEYWORD_FIELDS & set(tags) else [])

    def test_tags(self):
        """A rating first, so that only tags come and go after the first change."""
        changes, expected = [("set_rating", "3")], [set()]
        for number in range(CHANGES - 1):
            tag = MORE_TAGS[number * 5 % len(MORE_TAGS)]
            changes.append(("toggle_tags", tag))
            expected.append(expected[-1] ^ {tag})
        problems = []
        for (number, name), tags in sorted(self.run_changes(changes).items()):
            others = {"old"} if name.startswith("written by exiftool") else set()
            found = self.tag_problems(tags, expected[number] | others) + self.rating_problems(tags, 3)
            problems += [f"change {number} of {name}: {problem}" for problem in found]
        self.assertFalse(problems, "\n" + "\n".join(problems))

    def make_photo_with_a_full_block(self):
        """No byte of Exif fits in any more; rating and keywords stand there, as in the XMP."""
        path, comment = self.work / "full.jpg", self.folder / "comment"
        pictures.picture(path)
        arguments = ("-n", "-IFD0:Rating=2", "-IFD0:RatingPercent=25", "-IFD0:XPKeywords=old", "-XMP-xmp:Rating=2",
                     "-XMP-microsoft:RatingPercent=25", "-XMP-dc:Subject=old", f"-ExifIFD:UserComment<={comment}")
        size, wanted = 60_000, 65_532
        for _ in range(2):
            comment.write_bytes(b"c" * size)
            pictures.exiftool(path, *arguments)
            found, _ = pictures.segments_of(path.read_bytes())
            size += wanted - max(len(payload) for _, _, payload in found)
        return path

    def test_a_full_exif_block(self):
        """It is laid out anew, or the change refused as a whole."""
        path = self.make_photo_with_a_full_block()
        tags = {"old"}
        stars = 2
        for number, (action, parameters, new_stars, new_tags) in enumerate((
                ("set_rating", "4", 4, {"old"}), ("update_tags", "+beach", None, {"old", "beach"}),
                ("remove_rating", "", 0, None), ("set_rating", "3", 3, None), ("update_tags", "-old", None, {"beach"}),
                ("update_tags", "+a longer tag of several words", None, {"beach", "a longer tag of several words"}))):
            before = path.read_bytes()
            self.run_job(action, parameters, [path])
            shutil.copy(path, self.kept / f"{number:03} {path.name}")
            # What the file doesn't take goes elsewhere, or the user is told; the first change needs no room.
            self.assertTrue(number > 0 or path.read_bytes() != before)
            if path.read_bytes() != before:
                stars = stars if new_stars is None else new_stars
                tags = tags if new_tags is None else new_tags
            read = self.read_kept()[number, path.name]
            self.assertEqual(self.rating_problems(read, stars) + self.tag_problems(read, tags), [],
                             f"after {action} {parameters}")
