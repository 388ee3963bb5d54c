"""The shared settings file: seeded on first use, never changed, and no run fails because of it."""
import json
import os
import subprocess

from support.machines import FAMILY
from support.scenario import scenario


class settings_scenario(scenario):
    def run_that_reads_settings(self):
        """Rating the items of a job ends in readers of the settings."""
        return self.run_job("set_rating", "4", [self.folder / "missing.txt"] * 25)

    def place(self, content):
        self.machine.settings.parent.mkdir(parents=True)
        self.machine.settings.write_bytes(content)

    def assert_run_goes_well_with(self, content):
        self.place(content)
        outcome = self.run_that_reads_settings()
        self.assertEqual(outcome.standard_error, "")
        self.assertEqual(self.machine.settings.read_bytes(), content)


class seeding(settings_scenario):
    def test_the_default_is_copied_on_first_use_and_logged(self):
        self.assert_no_problem(self.run_that_reads_settings())
        self.assertEqual(self.machine.settings.read_bytes(), self.machine.default_settings.read_bytes())
        source = self.machine.path(self.machine.default_settings)
        copied = [message for level, message in self.log()
                  if level == "INFO" and message.startswith("Copied default settings from ")]
        self.assertEqual(len(copied), 1)
        tail = str(FAMILY / "High Level Settings" / "Settings.json")
        tail = tail if self.machine.name == "host" else tail.replace("/", "\\")
        self.assertTrue(copied[0].startswith(f"Copied default settings from {source} to "), copied[0])
        self.assertTrue(copied[0].endswith(tail), copied[0])

    def test_the_default_is_an_object_with_both_sections(self):
        document = json.loads(self.machine.default_settings.read_bytes())
        self.assertIsInstance(document["version"], str)
        self.assertEqual([app["app_id"] for app in document["apps"]], ["quill-box", "orchid-lens-ai"])

    def test_an_existing_file_is_left_alone(self):
        self.assert_run_goes_well_with(b'{"version":"7","apps":[]}')
        self.assertEqual([entry for entry in self.log() if "Copied" in entry[1]], [])

    def test_a_second_run_copies_nothing(self):
        self.run_that_reads_settings()
        self.run_that_reads_settings()
        self.assertEqual(sum("Copied" in message for _, message in self.log()), 1)


class damaged_files(settings_scenario):
    def test_empty(self):
        self.assert_run_goes_well_with(b"")

    def test_half_written(self):
        self.assert_run_goes_well_with(b'{"version":"1","apps":[{"app_id":"quill-box","settings":{"gene')

    def test_not_utf8(self):
        self.assert_run_goes_well_with(b'{"version":"\xff\xfe","apps":[{"app_id":"\xc3("}]}')

    def test_utf16(self):
        self.assert_run_goes_well_with('{"version":"1","apps":[]}'.encode("utf-16"))

    def test_an_array(self):
        self.assert_run_goes_well_with(b"[]")

    def test_wrong_types_everywhere(self):
        self.assert_run_goes_well_with(b'{"version":1,"apps":[1,null,{"app_id":2},{"app_id":"quill-box",'
                                       b'"name":[],"settings":[]},{"app_id":"orchid-lens-ai","settings":{"a":null}}]}')

    def test_nested_a_million_deep(self):
        self.assert_run_goes_well_with(b"[" * 1_000_000 + b"]" * 1_000_000)

    def test_nested_a_million_deep_inside_a_setting(self):
        self.assert_run_goes_well_with(b'{"version":"1","apps":[{"app_id":"quill-box","settings":' +
                                       b'{"a":' * 1_000_000 + b"1" + b"}" * 1_000_000 + b"}]}")

    def test_100_megabytes(self):
        self.assert_run_goes_well_with(b'{"version":"' + b"x" * 100_000_000 + b'","apps":[]}')

    def test_a_folder_in_its_place(self):
        self.machine.settings.mkdir(parents=True)
        outcome = self.run_that_reads_settings()
        self.assertEqual(outcome.standard_error, "")
        self.assertTrue(self.machine.settings.is_dir())

    def test_unreadable(self):
        self.only_on("host", "Wine's files can be read by the user who made them")
        self.place(b"{}")
        self.machine.settings.chmod(0)
        job = self.write_job("set_rating", "4", [self.folder / "missing.txt"] * 25)
        command = self.machine.command(job)
        if os.getuid() == 0:  # who reads every file
            command = ["setpriv", "--reuid", "65534", "--regid", "65534", "--clear-groups", *command]
            subprocess.run(["chown", "-R", "65534:65534", str(self.folder)], check=True)
            if subprocess.run([*command[:6], "test", "-x", command[6], "-a", "-w", str(self.folder)]).returncode:
                self.skipTest("the repository is out of reach for other users than the superuser")
        ran = subprocess.run(command, env=self.machine.environment(), stdin=subprocess.DEVNULL,
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60)
        self.assertEqual((ran.returncode, ran.stderr), (0, b""))
        self.assertFalse(job.exists())
        self.assertEqual([entry for entry in self.log() if "Copied" in entry[1]], [])

    def test_a_folder_that_can_t_be_made(self):
        (self.machine.data / FAMILY).mkdir(parents=True)
        (self.machine.data / FAMILY / "High Level Settings").write_bytes(b"in the way")
        item = self.write("a.unknown")
        self.assertEqual(self.run_job("set_rating", "4", [item]).standard_error, "")
        path = self.machine.path(item)
        self.assert_logged("INFO", f"Set Rating: Skipping file {path}. Unsupported filetype .unknown")
