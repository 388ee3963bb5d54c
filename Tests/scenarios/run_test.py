"""The run over the items: what is skipped, what fails and how that is told, and what stands at the end."""
import os
import subprocess

from support import texts
from support.scenario import scenario

ACTIONS = {"set_rating": ("4", "Set Rating"), "remove_rating": ("", "Remove Rating"),
           "remove_tags": ("", "Remove Tags"), "toggle_tags": ("beach", "Toggle Tags"),
           "update_tags": ("+beach", "Update Tags")}
NO_DOWNLOAD = "Failed to download the file."
PLACEHOLDERS_NEED_ATTRIBUTES = "Wine keeps but the hidden and system attributes of a file, so none is a placeholder"


class unsupported_types(scenario):
    def assert_skipped(self, action, name):
        parameters, label = ACTIONS[action]
        item = self.write(name, b"content")
        before = os.stat(item)
        outcome = self.run_job(action, parameters, [item])
        self.assert_no_problem(outcome)
        extension = os.path.splitext(name)[1]
        path = self.machine.path(item)
        self.assert_logged("INFO", f"{label}: Skipping file {path}. Unsupported filetype {extension}")
        self.assertEqual(item.read_bytes(), b"content")
        self.assertEqual(os.stat(item).st_mtime_ns, before.st_mtime_ns)
        self.assertEqual([path for path in os.listdir(self.folder) if path != "data"], [name])

    def test_set_rating(self):
        self.assert_skipped("set_rating", "a.unknown")

    def test_remove_rating(self):
        self.assert_skipped("remove_rating", "a.unknown")

    def test_remove_tags(self):
        self.assert_skipped("remove_tags", "a.unknown")

    def test_toggle_tags(self):
        self.assert_skipped("toggle_tags", "a.unknown")

    def test_update_tags(self):
        self.assert_skipped("update_tags", "a.unknown")

    def test_an_mp3_takes_no_tags(self):
        self.assert_skipped("toggle_tags", "a.mp3")

    def test_a_name_without_extension(self):
        self.assert_skipped("set_rating", "README")

    def test_a_name_of_an_extension_only(self):
        self.assert_skipped("set_rating", ".jpg")

    def test_a_non_ascii_extension(self):
        self.assert_skipped("set_rating", "a.jpgé")


class missing_items(scenario):
    def test_a_missing_file_of_a_supported_type_is_no_error(self):
        outcome = self.run_job("set_rating", "4", [self.folder / "missing.jpg"])
        self.assert_no_problem(outcome)
        self.assertEqual(os.listdir(self.folder), ["data"])

    def test_a_file_in_a_missing_folder_is_no_error(self):
        outcome = self.run_job("update_tags", "+beach", [self.folder / "no" / "missing.jpg"])
        self.assert_no_problem(outcome)
        self.assertFalse((self.folder / "no").exists())


class unexpected_actions(scenario):
    def test_each_item_is_told_and_logged(self):
        items = [self.write(f"{number}.jpg", b"x") for number in range(3)]
        outcome = self.run_job("no_such_action", "", items)
        self.assertEqual(outcome.standard_error.count(texts.UNEXPECTED_ACTION_PROMPT), 3)
        self.assertNotIn("Error processing", outcome.standard_error)
        for item in items:
            message = f"Error processing {self.machine.path(item)}. Unexpected action requested"
            self.assertEqual(self.log().count(("ERROR", message)), 1)
            self.assertEqual(item.read_bytes(), b"x")

    def test_names_of_actions_are_case_sensitive(self):
        item = self.write("a.txt")
        for name in ("Set_Rating", " set_rating", "set_rating "):
            with self.subTest(name):
                outcome = self.run_job(name, "4", [item])
                self.assertIn(texts.UNEXPECTED_ACTION_PROMPT, outcome.standard_error)

    def test_no_items_no_prompt(self):
        self.assert_no_problem(self.run_job("no_such_action", "", []))

    def test_an_action_without_body_is_unexpected(self):
        outcome = self.run_job("media_volume_up", "", [self.write("a.txt")])
        self.assertIn(texts.UNEXPECTED_ACTION_PROMPT, outcome.standard_error)


class files_that_windows_opens_refuse(scenario):
    """Wine has no property handlers and no property sets: the open of every file fails."""

    def setUp(self):
        super().setUp()
        self.only_on("windows", "every file of the host has a place for its metadata")

    def test_the_open_failure_is_prompted_and_logged(self):
        item = self.write("a.jpg", b"not a picture")
        outcome = self.run_job("set_rating", "4", [item])
        path = self.machine.path(item)
        errors = [message for level, message in self.log() if level == "ERROR"]
        head = f"Error processing {path} Details: "
        self.assertEqual([message[:len(head)] for message in errors], [head])
        reason = errors[0][len(head):]
        self.assertRegex(reason, r"\AFailed to write new metadata\. Error provided by Windows: .*"
                                 r" Error code: 0x80004001\Z")
        self.assertIn(texts.error_prompt(path, reason), outcome.standard_error)
        self.assertEqual(item.read_bytes(), b"not a picture")

    def test_every_item_is_told_without_a_terminal(self):
        items = [self.write(f"{number}.jpg", b"x") for number in range(5)]
        outcome = self.run_job("set_rating", "4", items)
        self.assertEqual(outcome.standard_error.count("Error processing\n"), 5)


class cloud_placeholders(scenario):
    def setUp(self):
        super().setUp()
        self.only_on("host", PLACEHOLDERS_NEED_ATTRIBUTES)

    def placeholder(self, name, content, attributes):
        """A file without data on the disk, as the providers' programs make them: what it seems to hold is a hole."""
        item = self.write(name, b"")
        os.truncate(item, len(content))
        os.setxattr(item, "user.DOSATTRIB", attributes)
        return item

    def assert_hydration_failed(self, outcome, item):
        path = self.machine.path(item)
        self.assert_logged("ERROR", f"File {path} is an offline cloud file but hydration failed.")
        self.assert_logged("ERROR", f"Error processing {path} Details: {NO_DOWNLOAD}")
        self.assertIn(texts.error_prompt(path, NO_DOWNLOAD), outcome.standard_error)

    def test_an_offline_file_that_gives_no_byte_fails(self):
        item = self.placeholder("a.jpg", b"", b"0x1000")
        self.assert_hydration_failed(self.run_job("set_rating", "4", [item]), item)

    def test_recall_on_open_fails_the_same_way(self):
        item = self.placeholder("a.jpg", b"", b"0x40000")
        self.assert_hydration_failed(self.run_job("set_rating", "4", [item]), item)

    def test_recall_on_data_access_fails_the_same_way(self):
        item = self.placeholder("a.jpg", b"", b"0x400000")
        self.assert_hydration_failed(self.run_job("set_rating", "4", [item]), item)

    def test_even_a_file_of_an_unsupported_type_is_fetched(self):
        item = self.placeholder("a.unknown", b"", b"0x1000")
        self.assert_hydration_failed(self.run_job("set_rating", "4", [item]), item)

    def test_even_for_an_unexpected_action(self):
        item = self.placeholder("a.unknown", b"", b"0x1000")
        self.assert_hydration_failed(self.run_job("no_such_action", "", [item]), item)

    def test_a_readable_placeholder_is_no_error_and_stays_as_it_is(self):
        item = self.placeholder("a.txt", b"\0" * 7, b"0x1000")
        outcome = self.run_job("set_rating", "4", [item])
        self.assertNotIn(NO_DOWNLOAD, outcome.standard_error)
        self.assertEqual(item.read_bytes(), b"\0" * 7)
        self.assertNotIn("user.baloo.rating", os.listxattr(item))

    def test_the_run_goes_on_behind_it(self):
        items = [self.placeholder("a.jpg", b"", b"0x1000"), self.write("b.txt", b"text")]
        self.run_job("set_rating", "4", items)
        self.assertEqual(os.getxattr(items[1], "user.baloo.rating"), b"8")


class large_jobs(scenario):
    def test_10000_skipped_items_are_logged_in_order(self):
        item = self.write("a.unknown", b"x")
        paths = [str(item) for _ in range(5000)] + [str(self.folder / f"{number}.unknown") for number in range(5000)]
        self.assert_no_problem(self.run_job("set_rating", "4", paths))
        expected = [("INFO", f"Set Rating: Skipping file {self.machine.path(path)}. Unsupported filetype .unknown")
                    for path in paths]
        skipped = [entry for entry in self.log() if "Skipping" in entry[1]]
        self.assertEqual(skipped == expected, True, f"{len(skipped)} lines")

    def test_10000_failing_items_end_with_exit_code_0(self):
        if self.machine.name == "host":
            item = self.write("a.jpg", b"")
            os.setxattr(item, "user.DOSATTRIB", b"0x1000")
        else:
            item = self.write("a.jpg", b"x")
        outcome = self.run_job("set_rating", "4", [item] * 10_000, seconds=300)
        self.assertEqual(outcome.standard_error.count("Error processing\n"), 10_000)
        details = [message for _, message in self.log() if message.startswith("Error processing ")]
        self.assertEqual(len(details), 10_000)

    def test_10000_unexpected_items_end_with_exit_code_0(self):
        outcome = self.run_job("no_such_action", "", [self.folder / "a"] * 10_000)
        self.assertEqual(outcome.standard_error.count(texts.UNEXPECTED_ACTION_PROMPT), 10_000)


class without_terminal(scenario):
    def test_below_the_threshold_nothing_is_written(self):
        self.assertEqual(self.run_job("set_rating", "4", [self.folder / "a.x"] * 19).standard_error, "")

    def test_no_progress_is_drawn_at_and_above_the_threshold(self):
        self.assertEqual(self.run_job("set_rating", "4", [self.folder / "a.x"] * 40).standard_error, "")

    def test_a_closed_standard_error_fails_nothing(self):
        self.only_on("host", "the streams of a Windows program are Wine's to make")
        job = self.write_job("no_such_action", "", [self.folder / "a"] * 3)
        ran = subprocess.run(["sh", "-c", 'exec "$@" 2>&-', "sh", *self.machine.command(job)],
                             env=self.machine.environment(), stdin=subprocess.DEVNULL, timeout=60)
        self.assertEqual(ran.returncode, 0)
        self.assertFalse(job.exists())

    def test_a_reader_that_went_away_fails_nothing(self):
        self.only_on("host", "the streams of a Windows program are Wine's to make")
        job = self.write_job("no_such_action", "", [self.folder / "a"] * 3000)
        with subprocess.Popen(self.machine.command(job), env=self.machine.environment(), stdin=subprocess.DEVNULL,
                              stderr=subprocess.PIPE) as program:
            program.stderr.close()
            self.assertEqual(program.wait(timeout=60), 0)
        self.assertFalse(job.exists())


class paths_in_prompts(scenario):
    def failing_item(self, name):
        """A file whose rating fails: on the host its content can't be fetched, under Wine no file can be opened."""
        item = self.write(name)
        if self.machine.name == "host":
            os.setxattr(item, "user.DOSATTRIB", b"0x1000")
        return item

    def assert_shown(self, name):
        item = self.failing_item(name)
        outcome = self.run_job("set_rating", "4", [item])
        self.assertIn(texts.error_prompt(self.machine.path(item), ""), outcome.standard_error)

    def test_a_long_parent_is_cut_in_the_middle(self):
        self.assert_shown("a folder of a long name/below it another one/a.jpg")

    def test_a_name_of_45_characters_is_whole(self):
        self.assert_shown("a" * 41 + ".jpg")

    def test_a_name_of_46_characters_is_cut(self):
        self.assert_shown("a" * 21 + "b" * 21 + ".jpg")

    def test_a_long_extension_cuts_the_end(self):
        self.only_on("host", "no type with such an extension is opened, and only an open fails under Wine")
        self.assert_shown("a." + "b" * 60)
