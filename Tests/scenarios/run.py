#!/usr/bin/env python3
"""Runs the scenarios against a whole executable.

    Tests/scenarios/run.py --machine host|windows --executable PATH [NAME]...

NAME picks test files (job_file_test), classes (job_file_test.bad_jobs) or tests; without one all run. Each file runs in
a process of its own, as many at a time as there are cores.
The last line is "N passed, N failed, N skipped".
"""
import argparse
import concurrent.futures
import json
import os
import pathlib
import subprocess
import sys
import time
import unittest

HERE = pathlib.Path(__file__).resolve().parent
MACHINES = ("host", "windows")


class counting_result(unittest.TestResult):
    """Counts what passed: a class skipped as a whole is one skip, though none of its tests began."""
    passed = 0

    def addSuccess(self, test):
        super().addSuccess(test)
        self.passed += 1


def run_module(arguments):
    """In the process of one test file: runs the tests, prints the result as JSON on the last line."""
    from support import machines, scenario
    scenario.machine = getattr(machines, arguments.machine + "_machine")(arguments.executable)
    begin = time.monotonic()
    result = counting_result()
    unittest.defaultTestLoader.loadTestsFromNames(arguments.names).run(result)
    problems = [(test.id(), text) for test, text in result.failures + result.errors]
    problems += [(test.id(), "passed, but was expected to fail") for test in result.unexpectedSuccesses]
    failed_tests = {name.split(" ")[0] for name, _ in problems}
    print(json.dumps({"failed": len(failed_tests), "problems": problems,
                      "skipped": [(test.id(), reason) for test, reason in result.skipped],
                      "passed": result.passed, "seconds": time.monotonic() - begin}))


def start_module(arguments, name, names):
    command = [sys.executable, __file__, "--machine", arguments.machine, "--executable", arguments.executable,
               "--in-process", *names]
    ran = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, stdin=subprocess.DEVNULL)
    try:
        return name, json.loads(ran.stdout.splitlines()[-1])
    except (IndexError, json.JSONDecodeError):
        return name, {"passed": 0, "failed": 1, "skipped": [], "problems": [(name, ran.stdout + ran.stderr)],
                      "seconds": 0}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--machine", choices=MACHINES, required=True)
    parser.add_argument("--executable", required=True)
    parser.add_argument("--in-process", action="store_true", help=argparse.SUPPRESS)
    parser.add_argument("names", nargs="*")
    arguments = parser.parse_args()
    if arguments.in_process:
        return run_module(arguments)

    arguments.executable = os.path.abspath(arguments.executable)
    if not os.path.exists(arguments.executable):
        sys.exit(f"there is no {arguments.executable}: run scripts/build {arguments.machine} first")
    by_module = {}
    for name in arguments.names or sorted(path.stem for path in HERE.glob("*_test.py")):
        by_module.setdefault(name.split(".")[0], []).append(name)

    passed = failed = skipped = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for name, result in pool.map(lambda item: start_module(arguments, *item), by_module.items()):
            print(f"{name}: {result['passed']} passed, {result['failed']} failed, {len(result['skipped'])} skipped"
                  f" ({result['seconds']:.1f} s)")
            for test, reason in result["skipped"]:
                print(f"  skipped {test}: {reason}")
            for test, text in result["problems"]:
                print(f"  FAILED {test}\n{text}")
            sys.stdout.flush()
            passed += result["passed"]
            failed += result["failed"]
            skipped += len(result["skipped"])
    print(f"{passed} passed, {failed} failed, {skipped} skipped")
    return 1 if failed or not passed else 0


if __name__ == "__main__":
    sys.exit(main())
