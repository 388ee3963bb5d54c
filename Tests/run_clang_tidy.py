"""Runs clang-tidy over our own sources, as many at a time as there are cores.

    python3 Tests/run_clang_tidy.py [FILE]...

A file passes once: the preprocessed text, the checks and the version of clang-tidy are hashed, and what passed is
remembered in ~/.cache, as the compiler's cache does it. The last line is "N passed, N failed, N skipped".
"""
import concurrent.futures
import hashlib
import json
import os
import pathlib
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "host-debug"
CACHE = pathlib.Path(os.environ.get("XDG_CACHE_HOME", pathlib.Path.home() / ".cache")) / "batch_processor_lint"
OUR_FOLDERS = ("Sources", "Tests", "Fuzz", "Benchmarks")


def our_commands():
    """The compile commands of our own files by path."""
    commands = {}
    for entry in json.loads((BUILD / "compile_commands.json").read_text()):
        path = pathlib.Path(entry["file"])
        if path.is_relative_to(ROOT) and path.relative_to(ROOT).parts[0] in OUR_FOLDERS:
            commands[path] = entry
    return commands


def key_of(entry, version):
    """What decides the outcome, as one hash; None when the preprocessor fails."""
    command = shlex.split(entry["command"])
    command = command[1:] if os.path.basename(command[0]) == "ccache" else command
    command = command[:command.index("-o")] + ["-E", entry["file"]]
    text = subprocess.run(command, cwd=entry["directory"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    if text.returncode:
        return None
    content = text.stdout.replace(str(ROOT).encode(), b"")
    # Comments are gone from it, and so are the marks that silence a check: the file itself counts too.
    content += pathlib.Path(entry["file"]).read_bytes() + (ROOT / ".clang-tidy").read_bytes() + version
    return hashlib.sha256(content).hexdigest()


def problems_of(entry, version):
    """What clang-tidy has to say about one file, None when nothing."""
    key = key_of(entry, version)
    if key and (CACHE / key).exists():
        return None
    run = subprocess.run(["clang-tidy", "--quiet", "--extra-arg=-Wno-unknown-warning-option", "-p", str(BUILD),
                          entry["file"]],
                         stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if run.returncode:
        return run.stdout + ("" if run.stdout else run.stderr)
    if key:
        (CACHE / key).touch()
    return None


def main(arguments):
    commands = our_commands()
    wanted = {pathlib.Path(name).resolve() for name in arguments} or set(commands)
    unknown = wanted - set(commands)
    if unknown:
        sys.exit("no build rule compiles " + ", ".join(map(str, sorted(unknown))))
    CACHE.mkdir(parents=True, exist_ok=True)
    version = subprocess.run(["clang-tidy", "--version"], stdout=subprocess.PIPE, check=True).stdout
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for problems in pool.map(lambda path: problems_of(commands[path], version), sorted(wanted)):
            if problems:
                failed += 1
                print(problems)
    print(f"{len(wanted) - failed} passed, {failed} failed, 0 skipped")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
