"""What the program writes is read back by other people's programs: exiftool, exiv2, getfattr."""
import json
import os
import subprocess

from support import pictures
from support.scenario import NO_METADATA_UNDER_WINE, scenario


def exiftool(path, *tags):
    """The tags asked for, as exiftool reads them."""
    read = subprocess.run(["exiftool", "-j", "-n", "-G1", "-a", *tags, str(path)], check=True, stdout=subprocess.PIPE)
    return {name: value for name, value in json.loads(read.stdout)[0].items() if name != "SourceFile"}


def exiv2(path, *keys):
    """{key: [values]} as exiv2 reads it; a key that the file lacks has no entry."""
    arguments = [argument for key in keys for argument in ("-K", key)]
    read = subprocess.run(["exiv2", *arguments, "-Pkt", "pr", str(path)], stdout=subprocess.PIPE, text=True)
    found = {}
    for line in read.stdout.splitlines():
        key, _, value = line.partition(" ")
        found.setdefault(key, []).append(value.strip())
    return found


class readback(scenario):
    def setUp(self):
        super().setUp()
        self.only_on("host", NO_METADATA_UNDER_WINE)

    def run_all(self, path, *steps):
        for action, parameters in steps:
            self.assert_no_problem(self.run_job(action, parameters, [path]))


class pictures_of_each_type(readback):
    TAGS = ["+Zebra", "+beach", "+Größe & <写真>"]
    STORED = ["beach", "Größe & <写真>", "Zebra"]

    def make(self, extension):
        path = pictures.picture(self.folder / f"a.{extension}")
        pictures.exiftool(path, "-IFD0:Make=Some Maker")
        return path

    def check_rating(self, extension):
        path = self.make(extension)
        for stars, percent in ((4, 75), (5, 99), (1, 1), (2, 25), (3, 50)):
            with self.subTest(stars=stars):
                self.run_all(path, ("set_rating", str(stars)))
                self.assertEqual(exiftool(path, "-XMP:Rating", "-XMP:RatingPercent"),
                                 {"XMP-xmp:Rating": stars, "XMP-microsoft:RatingPercent": percent})
                self.assertEqual(exiv2(path, "Xmp.xmp.Rating", "Xmp.MicrosoftPhoto.Rating"),
                                 {"Xmp.xmp.Rating": [str(stars)], "Xmp.MicrosoftPhoto.Rating": [str(percent)]})

    def check_exif_rating(self, extension):
        path = self.make(extension)
        self.run_all(path, ("set_rating", "4"))
        self.assertEqual(exiftool(path, "-IFD0:Rating", "-IFD0:RatingPercent"),
                         {"IFD0:Rating": 4, "IFD0:RatingPercent": 75})
        self.assertEqual(exiv2(path, "Exif.Image.Rating", "Exif.Image.RatingPercent"),
                         {"Exif.Image.Rating": ["4"], "Exif.Image.RatingPercent": ["75"]})

    def check_removed_rating(self, extension):
        path = self.make(extension)
        self.run_all(path, ("set_rating", "4"), ("remove_rating", ""))
        self.assertIn(exiftool(path, "-XMP:Rating").get("XMP-xmp:Rating", 0), (0,))
        self.assertIn(exiftool(path, "-IFD0:Rating").get("IFD0:Rating", 0), (0,))

    def check_keywords(self, extension):
        path = self.make(extension)
        self.run_all(path, ("update_tags", ";".join(self.TAGS)))
        read = exiftool(path, "-XMP:Subject", "-XMP:LastKeywordXMP")
        self.assertEqual(read, {"XMP-dc:Subject": self.STORED, "XMP-microsoft:LastKeywordXMP": self.STORED})
        read = exiv2(path, "Xmp.dc.subject", "Xmp.MicrosoftPhoto.LastKeywordXMP")
        self.assertEqual(read, {"Xmp.dc.subject": [", ".join(self.STORED)],
                                "Xmp.MicrosoftPhoto.LastKeywordXMP": [", ".join(self.STORED)]})

    def check_removed_keywords(self, extension):
        path = self.make(extension)
        self.run_all(path, ("update_tags", ";".join(self.TAGS)), ("remove_tags", ""))
        self.assertEqual(exiftool(path, "-XMP:Subject", "-XMP:LastKeywordXMP", "-XPKeywords", "-IPTC:Keywords"), {})

    def check_both(self, extension):
        path = self.make(extension)
        self.run_all(path, ("toggle_tags", "beach;sea"), ("set_rating", "5"), ("toggle_tags", "beach"))
        self.assertEqual(exiv2(path, "Xmp.dc.subject", "Xmp.xmp.Rating"),
                         {"Xmp.dc.subject": ["sea"], "Xmp.xmp.Rating": ["5"]})

    def test_windows_keyword_field_of_a_jpeg(self):
        path = self.make("jpg")
        self.run_all(path, ("update_tags", ";".join(self.TAGS)))
        self.assertEqual(exiftool(path, "-XPKeywords"), {"IFD0:XPKeywords": ";".join(self.STORED)})

    def test_iptc_keywords_only_where_the_picture_has_iptc(self):
        path = self.make("jpg")
        self.run_all(path, ("update_tags", "+beach"))
        self.assertEqual(exiftool(path, "-IPTC:all"), {})

    def test_iptc_keywords_in_declared_utf8(self):
        path = self.make("jpg")
        pictures.exiftool(path, "-codedcharacterset=utf8", "-IPTC:City=Köln", "-IPTC:Keywords=old")
        self.run_all(path, ("update_tags", "+Größe 写真"))
        self.assertEqual(exiftool(path, "-IPTC:City", "-IPTC:Keywords"),
                         {"IPTC:City": "Köln", "IPTC:Keywords": ["Größe 写真", "old"]})

    def test_iptc_keywords_in_latin1_where_none_is_declared(self):
        path = self.make("jpg")
        pictures.exiftool(path, "-charset", "iptc=Latin1", "-IPTC:City=Köln", "-IPTC:Keywords=old")
        self.run_all(path, ("update_tags", "+Größe"))
        self.assertEqual(exiftool(path, "-charset", "iptc=Latin1", "-IPTC:City", "-IPTC:Keywords"),
                         {"IPTC:City": "Köln", "IPTC:Keywords": ["Größe", "old"]})

    def test_keywords_of_other_programs_are_found(self):
        path = self.make("jpg")
        pictures.exiftool(path, "-XMP-dc:Subject=theirs")
        self.run_all(path, ("update_tags", "+ours"))
        self.assertEqual(exiv2(path, "Xmp.dc.subject"), {"Xmp.dc.subject": ["ours, theirs"]})

    def test_other_programs_write_on_what_was_written(self):
        path = self.make("jpg")
        self.run_all(path, ("set_rating", "4"), ("update_tags", "+beach"))
        pictures.exiftool(path, "-XMP-dc:Title=A title", "-XMP-xmp:Rating=2")
        subprocess.run(["exiv2", "-M", "set Xmp.dc.source XmpText somewhere", str(path)], check=True)
        self.assertEqual(exiftool(path, "-XMP-dc:all"), {"XMP-dc:Subject": "beach", "XMP-dc:Title": "A title",
                                                         "XMP-dc:Source": "somewhere"})


def add_type_tests():
    for extension in ("jpg", "png", "tif", "webp"):
        for check in ("rating", "removed_rating", "keywords", "removed_keywords", "both"):
            def test(self, check=check, extension=extension):
                getattr(self, "check_" + check)(extension)
            setattr(pictures_of_each_type, f"test_{check}_of_a_{extension}", test)
    for extension in ("jpg", "tif"):
        def test_exif(self, extension=extension):
            self.check_exif_rating(extension)
        setattr(pictures_of_each_type, f"test_exif_rating_of_a_{extension}", test_exif)


add_type_tests()


class sound_and_video(readback):
    def test_rating_of_an_mp3_in_each_step(self):
        path = pictures.sound(self.folder / "a.mp3", "-id3v2_version", "3", "-metadata", "title=A title")
        for stars, byte in ((1, 1), (2, 64), (3, 128), (4, 196), (5, 255)):
            with self.subTest(stars=stars):
                self.run_all(path, ("set_rating", str(stars)))
                read = exiftool(path, "-ID3:Popularimeter", "-ID3:Title")
                self.assertEqual(read, {"ID3v2_3:Popularimeter": f"Windows Media Player 9 Series {byte} 0",
                                        "ID3v2_3:Title": "A title"})

    def test_rating_of_an_mp4_in_each_step(self):
        path = pictures.video(self.folder / "a.mp4", "-metadata", "title=A title")
        for stars, percent in ((1, 1), (2, 25), (3, 50), (4, 75), (5, 99)):
            with self.subTest(stars=stars):
                self.run_all(path, ("set_rating", str(stars)))
                read = exiftool(path, "-Microsoft:all", "-ItemList:Title")
                self.assertEqual(read, {"Microsoft:SharedUserRating": percent, "ItemList:Title": "A title"})

    def test_removed_ratings_are_gone(self):
        song = pictures.sound(self.folder / "a.mp3", "-id3v2_version", "3")
        film = pictures.video(self.folder / "a.mp4")
        for path in (song, film):
            self.run_all(path, ("set_rating", "4"), ("remove_rating", ""))
        self.assertIn(exiftool(song, "-ID3:Popularimeter"),
                      ({}, {"ID3v2_3:Popularimeter": "Windows Media Player 9 Series 0 0"}))
        self.assertIn(exiftool(film, "-Microsoft:all"), ({}, {"Microsoft:SharedUserRating": 0}))


class files_without_a_format_for_metadata(readback):
    def attributes(self, path):
        """The attributes that file managers show, as getfattr reads them."""
        read = subprocess.run(["getfattr", "--absolute-names", "-d", str(path)], check=True, stdout=subprocess.PIPE,
                              text=True)
        pairs = [line.split("=", 1) for line in read.stdout.splitlines() if "=" in line and not line.startswith("#")]
        return {name: value for name, value in pairs if name in ("user.xdg.tags", "user.baloo.rating")}

    def test_rating_of_a_text_file(self):
        path = self.write("a.txt", "text")
        for stars in range(1, 6):
            self.run_all(path, ("set_rating", str(stars)))
            self.assertEqual(self.attributes(path), {"user.baloo.rating": f'"{2 * stars}"'})
        self.assertEqual(path.read_text(), "text")

    def test_tags_of_a_text_file(self):
        path = self.write("a.txt", "text")
        self.run_all(path, ("update_tags", "+sea;+beach"))
        self.assertEqual(self.attributes(path), {"user.xdg.tags": '"beach,sea"'})

    def test_tags_beyond_ascii(self):
        path = self.write("a.txt", "text")
        self.run_all(path, ("update_tags", "+Größe;+写真"))
        self.assertEqual(os.getxattr(path, "user.xdg.tags").decode(), "Größe,写真")

    def test_both_are_removed_when_empty(self):
        path = self.write("a.txt", "text")
        self.run_all(path, ("set_rating", "4"), ("update_tags", "+sea"), ("remove_rating", ""), ("remove_tags", ""))
        self.assertEqual(self.attributes(path), {})

    def test_pictures_whose_type_can_t_hold_it_keep_their_bytes(self):
        for extension in ("gif", "bmp"):
            path = pictures.picture(self.folder / f"a.{extension}")
            before = path.read_bytes()
            self.run_all(path, ("set_rating", "4"), ("update_tags", "+sea"))
            self.assertEqual(path.read_bytes(), before)
            self.assertEqual(self.attributes(path), {"user.baloo.rating": '"8"', "user.xdg.tags": '"sea"'})

    def test_no_other_file_appears(self):
        path = self.write("a.txt", "text")
        self.run_all(path, ("set_rating", "4"), ("update_tags", "+sea"))
        self.assertEqual(sorted(os.listdir(self.folder)), ["a.txt", "data"])


class folders(readback):
    KEYWORDS = "{F29F85E0-4FF9-1068-AB91-08002B27B3D9}"

    def ini(self, folder):
        """The lines of the folder's desktop.ini that say something."""
        content = (folder / "desktop.ini").read_bytes()
        self.assertEqual(content[:2], b"\xff\xfe")
        return [line for line in content[2:].decode("utf-16-le").split("\r\n") if line]

    def make(self):
        folder = self.folder / "an album"
        folder.mkdir()
        return folder

    def test_tags_and_rating_stand_in_desktop_ini(self):
        folder = self.make()
        self.run_all(folder, ("update_tags", "+sea;+beach"), ("set_rating", "4"))
        self.assertEqual(self.ini(folder), ["[QuillBox]", "Tags=beach;sea", "Rating=4", f"[{self.KEYWORDS}]",
                                            "Prop5=31,beach;sea"])

    def test_a_new_desktop_ini_is_hidden_and_system(self):
        folder = self.make()
        self.run_all(folder, ("set_rating", "4"))
        self.assertEqual(int(os.getxattr(folder / "desktop.ini", "user.DOSATTRIB"), 16) & 7, 6)

    def test_an_existing_one_keeps_its_lines_and_its_encoding(self):
        folder = self.make()
        (folder / "desktop.ini").write_bytes("; Größe\r\n[.ShellClassInfo]\r\nIconResource=a.ico,0\r\nodd line\r\n"
                                             .encode("latin-1"))
        self.run_all(folder, ("set_rating", "3"))
        content = (folder / "desktop.ini").read_bytes()
        self.assertTrue(content.startswith("; Größe\r\n[.ShellClassInfo]\r\nIconResource=a.ico,0\r\nodd line\r\n"
                                           .encode("latin-1")), content)
        self.assertIn(b"[QuillBox]\r\nRating=3\r\n", content)

    def test_keywords_of_others_stay(self):
        folder = self.make()
        (folder / "desktop.ini").write_bytes(f"[{self.KEYWORDS}]\r\nProp5=31,x\r\n".encode())
        self.run_all(folder, ("update_tags", "+a"), ("update_tags", "+b"))
        self.assertIn(b"Prop5=31,x;a;b", (folder / "desktop.ini").read_bytes())

    def test_removing_everything_leaves_no_trace_of_ours(self):
        folder = self.make()
        self.run_all(folder, ("update_tags", "+a"), ("set_rating", "2"), ("remove_tags", ""), ("remove_rating", ""))
        self.assertEqual([line for line in self.ini(folder) if not line.startswith("[{")], [])

    def test_a_read_only_system_folder_is_so_again_afterwards(self):
        folder = self.make()
        os.setxattr(folder, "user.DOSATTRIB", b"0x4")
        os.chmod(folder, 0o555)
        self.run_all(folder, ("set_rating", "2"))
        self.assertEqual(int(os.getxattr(folder, "user.DOSATTRIB"), 16) & 4, 4)
        self.assertEqual(os.stat(folder).st_mode & 0o777, 0o555)

    def test_a_tag_toggled_twice_is_gone(self):
        folder = self.make()
        self.run_all(folder, ("toggle_tags", "a;b"), ("toggle_tags", "a"))
        self.assertIn("Tags=b", self.ini(folder))
