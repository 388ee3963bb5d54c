"""Runs the tests of a build folder through ctest and counts what each googletest program in it ran.

    python3 Tests/run_ctest.py build/host-debug

A pass is one line; a failure shows what the test said. The last line is "N passed, N failed, N skipped".
"""
import os
import pathlib
import shutil
import subprocess
import sys
import xml.etree.ElementTree as xml

SECONDS_FOR_ONE_PROGRAM = "900"


def googletest_counts(report):
    """(passed, failed, skipped) of a googletest report."""
    root = xml.parse(report).getroot()
    cases = list(root.iter("testcase"))
    failed = sum(case.find("failure") is not None for case in cases)
    skipped = sum(case.find("skipped") is not None and case.find("failure") is None for case in cases)
    not_run = sum(case.get("status") == "notrun" for case in cases)
    return len(cases) - failed - skipped - not_run, failed, skipped + not_run


def print_problems(report):
    for case in xml.parse(report).getroot().iter("testcase"):
        name = f"{case.get('classname')}.{case.get('name')}"
        for failure in case.findall("failure"):
            print(f"FAILED {name}\n{failure.text}")
        for skipped in case.findall("skipped"):
            print(f"skipped {name}: {(skipped.get('message') or skipped.text or '').strip()}")


def main(build):
    build = pathlib.Path(build).resolve()
    reports = build / "test_reports"
    shutil.rmtree(reports, ignore_errors=True)
    reports.mkdir()
    environment = dict(os.environ)
    command = ["ctest", "--test-dir", str(build), "--parallel", str(os.cpu_count()), "--no-tests=error",
               "--timeout", SECONDS_FOR_ONE_PROGRAM, "--output-junit", str(reports / "ctest.junit"),
               "--test-output-size-passed", "0", "--test-output-size-failed", "100000"]
    drive = "Z:" if list(build.glob("bin/*.exe")) else ""  # Wine's name for the root of this machine
    environment["GTEST_OUTPUT"] = f"xml:{drive}{reports}/"
    environment["GTEST_BRIEF"] = "1"
    code = subprocess.run(command, env=environment, stdout=subprocess.DEVNULL).returncode
    if not (reports / "ctest.junit").exists():
        print("ctest made no report")
        return 1

    total = [0, 0, 0]
    for case in xml.parse(reports / "ctest.junit").getroot().iter("testcase"):
        report = reports / f"{case.get('name')}.xml"
        ran_well = case.get("status") == "run"
        if report.exists():
            counts = googletest_counts(report)
            print_problems(report)
        else:
            counts = (1, 0, 0) if ran_well else (0, 1, 0)
        if not ran_well and counts[1] == 0:
            counts = (counts[0], 1, counts[2])
        if not ran_well and not (report.exists() and googletest_counts(report)[1]):
            print(f"FAILED {case.get('name')}\n{case.findtext('system-out') or 'no output'}")
        print(f"{case.get('name')}: {counts[0]} passed, {counts[1]} failed, {counts[2]} skipped"
              f" ({float(case.get('time')):.1f} s)")
        total = [a + b for a, b in zip(total, counts)]
    print(f"{total[0]} passed, {total[1]} failed, {total[2]} skipped")
    return 1 if code or total[1] else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
