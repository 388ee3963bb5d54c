"""States of files: which of several a file is in, or whether it has pages of both."""
import dataclasses
import hashlib
import pathlib

PAGE = 4096


@dataclasses.dataclass(frozen=True)
class fingerprint:
    """The content of a file, by its size and a hash of each page."""
    size: int
    pages: tuple


def fingerprint_of(path):
    return fingerprint_of_bytes(pathlib.Path(path).read_bytes())


def fingerprint_of_bytes(content):
    content = memoryview(content)
    pages = tuple(hashlib.blake2b(content[at:at + PAGE], digest_size=12).digest()
                  for at in range(0, len(content), PAGE))
    return fingerprint(len(content), pages)


def fingerprints(folder):
    """{name: fingerprint} of the files in a folder; hidden names aren't looked at."""
    return {path.name: fingerprint_of(path) for path in folder.iterdir() if not path.name.startswith(".")}


def is_mixture(found, states):
    """Whether each page is that of one of the states, of those that have this size."""
    same_size = [state.pages for state in states if state.size == found.size]
    return bool(same_size) and all(page in choices for page, choices in zip(found.pages, zip(*same_size)))


def judge(found, states):
    """"whole" in one of the states, "mixed" with pages of several, or "torn"."""
    if found in states:
        return "whole"
    return "mixed" if is_mixture(found, states) else "torn"
