"""What other programs make of a file: whether they open it, its pixels and its sound, and every tag of it that a rating
or a tag of ours doesn't change."""
import json
import subprocess

IMAGES = (".jpg", ".png", ".tif", ".webp")
# What is meant to change, where things stand in the file, and the frames that come with a first value.
RATINGS = {"XMP-xmp:Rating", "XMP-microsoft:RatingPercent", "IFD0:Rating", "IFD0:RatingPercent"}
KEYWORDS = {"XMP-dc:Subject", "XMP-microsoft:LastKeywordXMP", "IFD0:XPKeywords"}
APART = RATINGS | KEYWORDS | {"XMP-x:XMPToolkit", "IFD0:StripOffsets", "RIFF:WebP_Flags", "ID3v2_3:Popularimeter"}
GROUPS_APART = ("System", "File", "ExifTool", "Composite", "IFD1")  # the last one is the thumbnail, which is cut off
EXPECTED_WARNINGS = ("[minor]",)


def run(*command):
    return subprocess.run([str(part) for part in command], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, text=True, errors="replace",
                          env={"PATH": "/usr/bin:/bin", "LANG": "C.UTF-8"})


def pixels_of(path):
    """ImageMagick's signature of every frame, or its words when it can't open the file."""
    read = run("identify", "-quiet", "-format", "%#\n", path)
    return read.stdout if read.returncode == 0 and not read.stderr else read.stdout + read.stderr


def streams_of(path):
    """ffmpeg's hash of what it decodes, pixels or sound, or its words."""
    read = run("ffmpeg", "-v", "error", "-i", path, "-map", "0:a?", "-map", "0:v?", "-f", "md5", "-")
    return read.stdout + read.stderr


def tags_of(path):
    """{group and tag: value} of all tags as exiftool reads them."""
    read = run("exiftool", "-j", "-G1", "-a", "-u", "-struct", "-b", "-n", path)
    return json.loads(read.stdout)[0]


def readings(path):
    """All that must be the same whatever a rating or a tag of ours did to the file."""
    tags = tags_of(path)
    warnings = [value for name, value in tags.items() if name in ("ExifTool:Warning", "ExifTool:Error")
                and not value.startswith(EXPECTED_WARNINGS)]
    kept = {name: value for name, value in tags.items()
            if name not in APART and name.split(":")[0] not in GROUPS_APART and name != "SourceFile"}
    return {"pixels": pixels_of(path) if path.suffix in IMAGES else "", "streams": streams_of(path), "tags": kept,
            "warnings": warnings}
