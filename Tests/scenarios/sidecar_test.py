"""A file system without extended attributes holds no property sets: what the file itself can't hold goes into a sidecar
beside it."""
import json
import os
import subprocess

from support import pictures
from support.scenario import NO_METADATA_UNDER_WINE, scenario


class without_extended_attributes(scenario):
    def setUp(self):
        super().setUp()
        self.only_on("host", NO_METADATA_UNDER_WINE)
        self.disk = self.folder / "disk"
        self.disk.mkdir()

    def mount(self, *arguments):
        mounted = subprocess.run(["mount", *arguments, str(self.disk)], stderr=subprocess.DEVNULL).returncode == 0
        if not mounted:
            self.skipTest(f"this machine doesn't mount it: mount {' '.join(arguments)}")
        self.addCleanup(subprocess.run, ["umount", str(self.disk)], check=True)

    def mount_vfat(self):
        image = self.folder / "disk.img"
        with open(image, "wb") as file:
            file.truncate(8 << 20)
        subprocess.run(["/sbin/mkfs.vfat", str(image)], stdout=subprocess.DEVNULL, check=True)
        self.mount("-t", "vfat", "-o", "loop", str(image))

    def check_tags_of_an_mp4(self):
        film = pictures.video(self.disk / "a.mp4")
        before = film.read_bytes()
        outcome = self.run_job("update_tags", "+sea;+Größe", [film])
        self.assertEqual(outcome.standard_error, "")
        self.assert_logged("WARNING", "Embedded and NTFS write paths failed for keywords, falling back to XMP sidecar: "
                                      f"{film}")
        self.assertEqual(film.read_bytes(), before)
        self.assertEqual(sorted(os.listdir(self.disk)), ["a.mp4", "a.mp4.xmp"])
        read = subprocess.run(["exiftool", "-j", "-G1", "-XMP:all", f"{film}.xmp"], check=True, stdout=subprocess.PIPE)
        tags = json.loads(read.stdout)[0]
        self.assertEqual(tags["XMP-dc:Subject"], ["Größe", "sea"])

    def test_tags_of_an_mp4_without_extended_attributes_go_to_a_sidecar(self):
        self.mount("-t", "ramfs", "none")
        self.check_tags_of_an_mp4()

    def test_tags_of_an_mp4_on_vfat_go_to_a_sidecar(self):
        self.mount_vfat()
        self.check_tags_of_an_mp4()
