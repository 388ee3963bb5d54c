"""The job file: what is taken, what is refused in which words, and that a refused one goes as well."""
import json

from support import texts
from support.scenario import STARTED, job_document, scenario

NOT_AN_OBJECT = "JSON root must be an object"
NO_VERSION = "Missing or invalid 'version' field"
NO_JOB = "Missing or invalid 'job' object"
NO_GUID = "Missing or invalid 'guid' field in job"
NO_ACTION = "Missing or invalid 'action_type' field in job"
NO_PARAMETERS = "Missing or invalid 'action_parameters' field in job"
NO_FILES = "Missing or invalid 'files' array"
NO_ENTRY = "File entry must be an object"
NO_PATH = "Missing or invalid 'path' field in file entry"


class job_scenario(scenario):
    def assert_refused(self, content, message, **options):
        job = self.write_raw_job(content)
        outcome = self.run_program(self.machine.path(job), **options)
        self.assertEqual(outcome.exit_code, 0)
        self.assertIn(texts.error_prompt("", message), outcome.standard_error)
        self.assertEqual(self.log()[0], STARTED)
        self.assert_logged("ERROR", f"Error processing file  Details: {message}")
        self.assertFalse(job.exists(), "a refused job file goes as well")

    def assert_taken(self, content, **options):
        job = self.write_raw_job(content)
        outcome = self.run_program(self.machine.path(job), **options)
        self.assertEqual(outcome.exit_code, 0)
        self.assert_no_problem(outcome)
        self.assertFalse(job.exists())

    def changed(self, change):
        document = job_document("set_rating", "3", [])
        change(document)
        return json.dumps(document)


class bad_jobs(job_scenario):
    def test_an_empty_file(self):
        self.assert_refused("", NOT_AN_OBJECT)

    def test_malformed_json(self):
        self.assert_refused('{"version":"1",', NOT_AN_OBJECT)

    def test_trailing_garbage(self):
        self.assert_refused(json.dumps(job_document("set_rating", "3", [])) + "x", NOT_AN_OBJECT)

    def test_an_array_as_root(self):
        self.assert_refused("[]", NOT_AN_OBJECT)

    def test_utf16_text(self):
        self.assert_refused(json.dumps(job_document("set_rating", "3", [])).encode("utf-16"), NOT_AN_OBJECT)

    def test_a_missing_version_comes_before_a_missing_job(self):
        self.assert_refused('{"files":[]}', NO_VERSION)

    def test_a_number_as_version(self):
        self.assert_refused(self.changed(lambda document: document.update(version=1)), NO_VERSION)

    def test_a_missing_job(self):
        self.assert_refused('{"version":"1","files":[]}', NO_JOB)

    def test_an_array_as_job(self):
        self.assert_refused('{"version":"1","job":[],"files":[]}', NO_JOB)

    def test_a_missing_guid(self):
        self.assert_refused(self.changed(lambda document: document["job"].pop("guid")), NO_GUID)

    def test_a_missing_action(self):
        self.assert_refused(self.changed(lambda document: document["job"].pop("action_type")), NO_ACTION)

    def test_a_number_as_action(self):
        self.assert_refused(self.changed(lambda document: document["job"].update(action_type=0)), NO_ACTION)

    def test_missing_parameters_of_an_action_that_reads_none(self):
        def change(document):
            document["job"]["action_type"] = "remove_rating"
            del document["job"]["action_parameters"]
        self.assert_refused(self.changed(change), NO_PARAMETERS)

    def test_a_number_as_parameters(self):
        self.assert_refused(self.changed(lambda document: document["job"].update(action_parameters=4)), NO_PARAMETERS)

    def test_missing_files(self):
        self.assert_refused(self.changed(lambda document: document.pop("files")), NO_FILES)

    def test_an_object_as_files(self):
        self.assert_refused(self.changed(lambda document: document.update(files={})), NO_FILES)

    def test_a_string_as_entry(self):
        self.assert_refused(self.changed(lambda document: document.update(files=["/a.jpg"])), NO_ENTRY)

    def test_an_entry_without_path(self):
        self.assert_refused(self.changed(lambda document: document.update(files=[{"Path": "/a.jpg"}])), NO_PATH)

    def test_null_as_path(self):
        self.assert_refused(self.changed(lambda document: document.update(files=[{"path": None}])), NO_PATH)

    def test_entries_are_checked_in_their_order(self):
        self.assert_refused(self.changed(lambda document: document.update(files=[{}, "/a.jpg"])), NO_PATH)

    def test_no_item_is_touched_when_a_later_entry_is_bad(self):
        picture = self.write("a.txt", "text")
        entries = [{"path": self.machine.path(picture)}, {}]
        self.assert_refused(self.changed(lambda document: document.update(files=entries)), NO_PATH)
        self.assertEqual(sorted(path.name for path in self.folder.iterdir() if path.name != "data"), ["a.txt"])

    def test_a_job_file_that_does_not_exist(self):
        missing = self.machine.path(self.folder / "missing job file with a name that is far too long to show.json")
        outcome = self.run_program(missing)
        self.assertEqual(outcome.exit_code, 0)
        message = texts.job_open_failure(missing)
        self.assertIn(texts.error_prompt("", message), outcome.standard_error)
        self.assert_logged("ERROR", f"Error processing file  Details: {message}")


class good_jobs(job_scenario):
    def test_no_files(self):
        self.assert_taken(json.dumps(job_document("set_rating", "3", [])))

    def test_any_version_even_an_empty_one(self):
        self.assert_taken(self.changed(lambda document: document.update(version="")))

    def test_unknown_members_and_any_order(self):
        document = {"files": [], "extra": [1, {"a": None}], "job": {"x": 1, "action_parameters": "", "guid": "",
                    "action_type": "remove_tags"}, "version": "9"}
        self.assert_taken(json.dumps(document, indent=2))

    def test_names_that_json_escapes(self):
        self.assert_taken(json.dumps(job_document("set_rating", "3", [self.machine.path(self.folder / "é☂😀.x")])))
        self.assert_logged("INFO", "Set Rating: Skipping file " + self.machine.path(self.folder / "é☂😀.x") +
                           ". Unsupported filetype .x")

    def test_an_item_twice(self):
        path = self.machine.path(self.folder / "a.x")
        self.assert_taken(json.dumps(job_document("set_rating", "3", [path, path])))
        skipped = ("INFO", f"Set Rating: Skipping file {path}. Unsupported filetype .x")
        self.assertEqual(self.log().count(skipped), 2)


class hostile_jobs(job_scenario):
    def test_two_million_opening_brackets(self):
        self.assert_refused("[" * 2_000_000, NOT_AN_OBJECT)

    def test_two_million_nested_objects_inside_files(self):
        self.assert_refused('{"version":"1","files":' + '{"a":' * 2_000_000, NOT_AN_OBJECT)

    def test_a_million_nested_arrays_that_close(self):
        document = '{"version":"1","x":' + "[" * 1_000_000 + "]" * 1_000_000 + "}"
        job = self.write_raw_job(document)
        outcome = self.run_program(self.machine.path(job))
        self.assertEqual(outcome.exit_code, 0)
        self.assertIn(outcome.standard_error.strip("\n"),
                      [texts.error_prompt("", message) for message in (NO_JOB, NOT_AN_OBJECT)])

    def test_one_gigabyte_of_zeros(self):
        job = self.write_raw_job(b"")
        with open(job, "r+b") as file:
            file.truncate(1 << 30)
        outcome = self.run_program(self.machine.path(job))
        self.assertEqual(outcome.exit_code, 0)
        self.assertIn(texts.error_prompt("", NOT_AN_OBJECT), outcome.standard_error)
        self.assertFalse(job.exists())

    def test_one_gigabyte_that_is_valid(self):
        job = self.write_raw_job(json.dumps(job_document("set_rating", "3", []))[:-1].encode())
        blanks = b" " * (1 << 20)
        with open(job, "ab") as file:
            for _ in range(1024):
                file.write(blanks)
            file.write(b"}")
        outcome = self.run_program(self.machine.path(job))
        self.assertEqual((outcome.exit_code, outcome.standard_error), (0, ""))
        self.assertFalse(job.exists())

    def test_lone_surrogates(self):
        head, tail = json.dumps(job_document("set_rating", "3", ["@"])).split("@")
        job = self.write_raw_job(head + self.machine.path("/tmp/a").replace("\\", "\\\\") + r"\ud800.x" + tail)
        outcome = self.run_program(self.machine.path(job))
        self.assertEqual(outcome.exit_code, 0)
        self.assertFalse(job.exists())
        self.assertEqual(self.log()[0], STARTED)

    def test_bytes_that_are_not_utf8(self):
        head, tail = json.dumps(job_document("set_rating", "3", ["@"])).encode().split(b"@")
        job = self.write_raw_job(head + b"/tmp/\xff\xfe\xc0\x80.x" + tail)
        outcome = self.run_program(self.machine.path(job))
        self.assertEqual(outcome.exit_code, 0)
        self.assertFalse(job.exists())
        self.assertIn("Set Rating: Skipping file /tmp/", self.log()[1][1])

    def assert_long_path_is_told_or_skipped(self, path):
        """The system may call a path of such a length an error rather than not found: then this is told."""
        job = self.write_raw_job(json.dumps(job_document("set_rating", "3", [path, path])))
        outcome = self.run_program(self.machine.path(job))
        self.assertEqual(outcome.exit_code, 0)
        self.assertFalse(job.exists())
        prompts = outcome.standard_error.count(texts.error_prompt(path, ""))
        self.assertIn(prompts, (0, 2))
        self.assertEqual(prompts > 0, outcome.standard_error != "")

    def test_a_path_of_100000_characters(self):
        long = self.machine.path("/" + "a" * 100_000 + ".x")
        self.assert_long_path_is_told_or_skipped(long)
        self.assert_logged("INFO", f"Set Rating: Skipping file {long}. Unsupported filetype .x")

    def test_a_path_of_100000_characters_of_a_supported_type(self):
        self.assert_long_path_is_told_or_skipped(self.machine.path("/" + "a/" * 50_000 + "a.jpg"))

    def test_a_path_with_nul_is_cut_there(self):
        path = self.machine.path(self.folder / "a.x")
        self.assert_taken(json.dumps(job_document("set_rating", "3", [path + "\0b.jpg"])))
        self.assert_logged("INFO", f"Set Rating: Skipping file {path}. Unsupported filetype .x")

    def test_an_action_with_nul_is_cut_there(self):
        path = self.machine.path(self.folder / "a.x")
        self.assert_taken(json.dumps(job_document("set_rating\0x", "3", [path])))
        self.assert_logged("INFO", f"Set Rating: Skipping file {path}. Unsupported filetype .x")

    def test_empty_path(self):
        job = self.write_job("set_rating", "3", [])
        job.write_text(json.dumps(job_document("set_rating", "3", [""])))
        outcome = self.run_program(self.machine.path(job))
        self.assertEqual(outcome.exit_code, 0)
        self.assert_logged("INFO", "Set Rating: Skipping file . Unsupported filetype ")
