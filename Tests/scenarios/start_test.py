"""Start of the program: arguments, modes, exit codes, the log's first lines."""
import concurrent.futures
import json

from support import logs, texts
from support.scenario import STARTED, job_document, scenario


class arguments(scenario):
    def test_without_arguments_logs_one_error_and_succeeds(self):
        outcome = self.run_program()
        self.assertEqual(outcome.exit_code, 0)
        self.assertEqual(outcome.standard_error, "")
        self.assertEqual(self.log(), [STARTED, ("ERROR", "Missing paramters...")])

    def test_job_mode_writes_nothing_on_standard_output(self):
        self.assertEqual(self.run_job("set_rating", "3").standard_output, "")

    def test_the_job_file_goes_without_a_keep_marker(self):
        self.run_job("set_rating", "3")

    def keeps_job(self, marker, *further):
        job = self.write_job("set_rating", "3")
        self.assertEqual(self.run_program(self.machine.path(job), marker, *further).exit_code, 0)
        return job.exists()

    def test_keep_marker_no_delete(self):
        self.assertTrue(self.keeps_job("--no-delete"))

    def test_keep_marker_is_any_word_that_holds_no(self):
        self.assertTrue(self.keeps_job("annotate"))

    def test_keep_marker_is_case_sensitive(self):
        self.assertFalse(self.keeps_job("NO"))

    def test_keep_marker_is_not_one_letter(self):
        self.assertFalse(self.keeps_job("n"))

    def test_keep_marker_is_only_the_second_argument(self):
        self.assertFalse(self.keeps_job("x", "no"))

    def test_the_job_file_stays_byte_for_byte_with_a_keep_marker(self):
        job = self.write_job("set_rating", "3")
        before = job.read_bytes()
        self.run_program(self.machine.path(job), "no")
        self.assertEqual(job.read_bytes(), before)

    def found_in_quotes(self, before, after):
        job = self.write_job("set_rating", "3")
        outcome = self.run_program(before + self.machine.path(job) + after)
        self.assertEqual((outcome.exit_code, outcome.standard_error), (0, ""))
        self.assertFalse(job.exists())

    def test_double_quotes_around_the_path_are_trimmed(self):
        self.found_in_quotes('"', '"')

    def test_single_quotes_around_the_path_are_trimmed(self):
        self.found_in_quotes("'", "'")

    def test_mixed_and_unpaired_quotes_are_trimmed(self):
        self.found_in_quotes("\"'\"", "'")

    def test_a_path_of_quotes_only_is_empty(self):
        outcome = self.run_program("'\"'")
        self.assertEqual(outcome.exit_code, 0)
        self.assertIn(texts.error_prompt("", "Failed to open JSON file: "), outcome.standard_error)

    def test_a_job_file_with_non_ascii_name_is_found(self):
        job = self.write("Aufträge ☂ 写真.json", json.dumps(job_document("set_rating", "3", [])))
        outcome = self.run_program(self.machine.path(job))
        self.assertEqual((outcome.exit_code, outcome.standard_error), (0, ""))
        self.assertFalse(job.exists())


class add_index_modes(scenario):
    def assert_not_built(self, mode):
        outcome = self.run_program(mode, self.machine.path(self.folder))
        self.assertEqual(outcome.exit_code, 1)
        self.assertEqual(self.log()[0], STARTED)
        self.assert_logged("ERROR", f"Adding folders to the search index is not built into this version: {mode}")

    def test_add_index_scope(self):
        self.assert_not_built("--add-index-scope")

    def test_add_index_scope_elevated(self):
        self.assert_not_built("--add-index-scope-elevated")

    def assert_job_mode(self, argument):
        outcome = self.run_program(argument)
        self.assertEqual(outcome.exit_code, 0)
        self.assertIn(texts.error_prompt("", texts.job_open_failure(argument)), outcome.standard_error)

    def test_a_longer_word_is_a_job_path(self):
        self.assert_job_mode("--add-index-scope-other")

    def test_another_letter_case_is_a_job_path(self):
        self.assert_job_mode("--Add-Index-Scope")


class log_file(scenario):
    def test_stands_in_the_family_s_folder_under_the_day(self):
        self.run_program()
        lines = logs.read(self.machine.logs)
        self.assertEqual([path.name for path in self.machine.logs.iterdir()], [f"Processor {lines[0].time[:10]}.log"])

    def test_is_utf8_with_line_feeds_and_no_byte_order_mark(self):
        self.run_job("set_rating", "3", [self.folder / "Grüße 写真.unknown"])
        content = next(self.machine.logs.iterdir()).read_bytes()
        self.assertTrue(content.startswith(b"["))
        self.assertTrue(content.endswith(b"\n"))
        self.assertNotIn(b"\r", content)
        self.assertIn("Grüße 写真.unknown", content.decode("utf-8"))

    def test_two_runs_append_to_the_same_file(self):
        self.run_program()
        self.run_program()
        self.assertEqual([message for _, message in self.log()].count(STARTED[1]), 2)

    def test_lines_of_processes_at_once_stay_whole(self):
        self.only_on("host", "Wine asks for the size before it appends, so lines of two processes can meet there")
        missing = [self.folder / f"missing {number}.unknown" for number in range(300)]
        jobs = []
        for name in ("one.json", "two.json", "three.json"):
            document = job_document("set_rating", "3", [self.machine.path(path) for path in missing])
            jobs.append(self.machine.path(self.write(name, json.dumps(document))))
        with concurrent.futures.ThreadPoolExecutor() as pool:
            outcomes = list(pool.map(self.run_program, jobs))
        self.assertEqual([outcome.exit_code for outcome in outcomes], [0, 0, 0])
        lines = logs.read(self.machine.logs)
        self.assertEqual(len({line.process for line in lines}), 3)
        for path in missing:
            message = f"Set Rating: Skipping file {self.machine.path(path)}. Unsupported filetype .unknown"
            self.assertEqual(sum(line.message == message for line in lines), 3)

    def test_a_directory_that_can_t_be_made_ends_the_process_abnormally(self):
        self.machine.logs.parents[3].parent.mkdir(parents=True, exist_ok=True)
        self.machine.logs.parents[3].write_bytes(b"in the way")
        job = self.write_job("set_rating", "3")
        outcome = self.run_program(self.machine.path(job))
        self.machine.logs.parents[3].unlink()
        self.assertNotEqual(outcome.exit_code, 0)
        self.assertTrue(job.exists(), "no job was run, so its file stays")

    def test_a_file_that_can_t_be_opened_loses_the_lines_and_nothing_else(self):
        self.run_program()
        log = next(self.machine.logs.iterdir())
        log.unlink()
        log.mkdir()
        self.run_job("set_rating", "3")
