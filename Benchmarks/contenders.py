"""Who changes photos, by which commands. Every tool gets all photos in one process."""
import dataclasses
import json
import subprocess
import sys

from measuring import job

FEW_TAGS = ("beach", "family", "summer")
TEN_TAGS = ("sun", "sand", "waves", "boat", "shells", "swim", "Anna", "Ben", "kite", "sunset")


@dataclasses.dataclass(frozen=True)
class step:
    name: str
    rating: int = 0
    tags: tuple = ()
    is_first: bool = False


FIRST_RATING = step("first rating", rating=4, is_first=True)
CHANGED_RATING = step("changed rating", rating=2)
FIRST_TAGS = step("first tags (three)", tags=FEW_TAGS, is_first=True)
MORE_TAGS = step("one short tag more", tags=("sea",)), step("ten short tags more", tags=TEN_TAGS)
# Each contender's copies go through the steps of one work after the other.
WORKS = {"rating": (FIRST_RATING, CHANGED_RATING), "tags": (FIRST_TAGS, *MORE_TAGS)}
STEPS = [one for steps in WORKS.values() for one in steps]


def program(options, work, paths):
    if work.rating:
        return job(options.executable, "set_rating", str(work.rating), paths)
    return job(options.executable, "update_tags", ";".join(f"+{tag}" for tag in work.tags), paths)


def exiv2(options, work, paths):
    if work.rating:
        return ["exiv2", "-M", f"set Xmp.xmp.Rating {work.rating}", *paths]
    # To a bag, "set" adds; "add" would put the value in the place of those that are there.
    return ["exiv2", *(word for tag in work.tags for word in ("-M", f"set Xmp.dc.subject XmpBag {tag}")), *paths]


def exiftool(options, work, paths):
    # To XMP alone, as exiv2 does: a name without a group has it look at the maker note too.
    changes = [f"-XMP:Rating={work.rating}"] if work.rating else [f"-XMP:Subject+={tag}" for tag in work.tags]
    return ["exiftool", "-q", "-overwrite_original", *changes, *paths]


def raw_limit(options, work, paths):
    return [str(options.tools / ("raw_replace" if work.is_first else "raw_patch")), *paths]


def raw_limit_unsynced(options, work, paths):
    return [str(options.tools / "raw_replace"), "--unsynced", *paths]


def check_change(name, steps_done, path):
    """That the last of the steps, and those before it, can be read from the file."""
    said = subprocess.run(["exiftool", "-j", "-n", "-XMP:Rating", "-XMP:Subject", str(path)], stdout=subprocess.PIPE,
                          check=True).stdout
    values, = json.loads(said)
    tags = values.get("Subject", [])
    found = (values.get("Rating", 0), {tags} if isinstance(tags, str) else set(tags))
    wanted = (steps_done[-1].rating, {tag for one in steps_done for tag in one.tags})
    if found != wanted:
        sys.exit(f"{name} was to leave {wanted} in {path}, which has {found}")
