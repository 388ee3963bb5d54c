#!/usr/bin/env python3
"""Checks that a Windows executable needs no DLL but those that every Windows 10 has.

    python3 Tests/scenarios/check_imports.py path/to/program.exe

Prints the names of what else it needs and exits with 1; exits with 2 when the file can't be read as an executable.
"""

import re
import subprocess
import sys

SYSTEM_DLLS = {
    "advapi32.dll",
    "comctl32.dll",
    "comdlg32.dll",
    "dwmapi.dll",
    "gdi32.dll",
    "gdiplus.dll",
    "kernel32.dll",
    "msvcrt.dll",
    "ole32.dll",
    "oleaut32.dll",
    "propsys.dll",
    "shell32.dll",
    "shlwapi.dll",
    "user32.dll",
    "uxtheme.dll",
    "windowscodecs.dll",
    "ws2_32.dll",
}


def imported_dlls(path):
    """The names in the import table, as they are spelled there."""
    dump = subprocess.run(
        ["x86_64-w64-mingw32-objdump", "--private-headers", path], capture_output=True, text=True, check=True
    ).stdout
    return re.findall(r"DLL Name: (\S+)", dump)


def main(arguments):
    if len(arguments) != 1:
        print(__doc__, file=sys.stderr)
        return 2
    path = arguments[0]
    try:
        imported = imported_dlls(path)
    except subprocess.CalledProcessError as error:
        print(f"{path}: {error.stderr.strip()}", file=sys.stderr)
        return 2
    if not imported:
        print(f"{path}: no import table", file=sys.stderr)
        return 2
    foreign = [name for name in imported if name.lower() not in SYSTEM_DLLS]
    for name in foreign:
        print(f"{path}: needs {name}, which is no part of Windows", file=sys.stderr)
    return 1 if foreign else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
