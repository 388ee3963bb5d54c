"""The base of all scenarios: a folder of its own, jobs, runs of the program on the machine that is under test."""
import json
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from support import logs, machines

STARTED = ("INFO", "BatchProcessor started. Process Architecture: x64 (64-bit)")

NO_METADATA_UNDER_WINE = "Windows' property handlers don't exist under Wine, so no metadata is written there"

machine = None  # the machine under test, set by run.py


def job_document(action, parameters, paths):
    return {"version": "1", "job": {"guid": "job-1", "action_type": action, "action_parameters": parameters},
            "files": [{"path": path} for path in paths]}


class scenario(unittest.TestCase):
    """One test's folder, under the build folder: the repository's file system has extended attributes where a
    temporary one may have none."""
    maxDiff = None

    def setUp(self):
        self.machine = machine
        base = machines.ROOT / "build" / "scenarios"
        base.mkdir(parents=True, exist_ok=True)
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix=machine.name + "-", dir=base))
        self.addCleanup(self.remove_folder)
        machine.prepare(self.folder)

    def remove_folder(self):
        for path, _, _ in os.walk(self.folder):
            os.chmod(path, 0o700)
        shutil.rmtree(self.folder)

    def only_on(self, name, reason):
        if self.machine.name != name:
            self.skipTest(reason)

    def write(self, name, content=b""):
        """A file in the test's folder."""
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content.encode() if isinstance(content, str) else content)
        return path

    def write_job(self, action, parameters="", paths=()):
        """A job file over files of this machine."""
        document = job_document(action, parameters, [self.machine.path(path) for path in paths])
        return self.write_raw_job(json.dumps(document))

    def write_raw_job(self, content):
        return self.write("job.json", content)

    def run_program(self, *arguments, **options):
        try:
            return self.machine.run(*arguments, **options)
        except subprocess.TimeoutExpired as hanging:
            # Whether the program had begun tells its own hang from one of Wine's start.
            self.fail(f"no end within {hanging.timeout} seconds; it wrote {hanging.stderr!r} and logged "
                      f"{logs.read(self.machine.logs)}")

    def run_job(self, action, parameters="", paths=(), **options):
        """A whole run of one job, which must end in the usual way: exit code 0, and no job file left."""
        job = self.write_job(action, parameters, paths)
        outcome = self.run_program(self.machine.path(job), **options)
        self.assertEqual(outcome.exit_code, 0, outcome.standard_error)
        self.assertFalse(job.exists(), "the job file is still there")
        return outcome

    def log(self):
        """(level, message) of every line of the log."""
        return [(line.level, line.message) for line in logs.read(self.machine.logs)]

    def assert_logged(self, level, message):
        self.assertIn((level, message), self.log())

    def assert_no_problem(self, outcome):
        """Nobody was asked or told anything, and the log has no line above INFO."""
        self.assertEqual(outcome.standard_error, "")
        self.assertEqual([entry for entry in self.log() if entry[0] not in ("DEBUG", "INFO")], [])
