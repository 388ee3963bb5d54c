"""Sample files of all kinds, made by other programs or laid out here byte by byte where those can't make them."""
import pathlib
import random
import shutil
import struct
import subprocess
import zlib

# /usr/local may hold a stand-in of the same name.
CONVERT = shutil.which("convert", path="/usr/bin") or "convert"


def call(*arguments, **options):
    subprocess.run([str(argument) for argument in arguments], check=True, stdin=subprocess.DEVNULL,
                   stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, **options)


def picture(path, *options, size="96x64"):
    """A picture with enough detail that a changed pixel shows."""
    call(CONVERT, "-seed", "7", "-size", size, "plasma:tomato-steelblue", "-strip", *options, path)
    return pathlib.Path(path)


def exiftool(path, *arguments):
    call("exiftool", "-q", "-q", "-m", "-overwrite_original", *arguments, path)


def rewrite(path, change):
    """Replaces a file's bytes by `change` of them."""
    path = pathlib.Path(path)
    path.write_bytes(change(path.read_bytes()))


# JPEG

def segment(marker, payload):
    return struct.pack(">BBH", 0xFF, marker, len(payload) + 2) + payload


def behind_jfif(jpeg, inserted):
    """The bytes of a JPEG with further segments behind its first one."""
    assert jpeg[:4] == b"\xff\xd8\xff\xe0"
    at = 4 + struct.unpack(">H", jpeg[4:6])[0]
    return jpeg[:at] + inserted + jpeg[at:]


def segments_of(jpeg):
    """[(marker, offset of the payload, payload)] up to the start of the first scan, and that start's offset."""
    found, at = [], 2
    while True:
        assert jpeg[at] == 0xFF, f"no marker at {at}"
        while jpeg[at + 1] == 0xFF:
            at += 1
        marker, = struct.unpack(">B", jpeg[at + 1:at + 2])
        if marker == 0xDA:
            return found, at
        length, = struct.unpack(">H", jpeg[at + 2:at + 4])
        found.append((marker, at + 4, jpeg[at + 4:at + 2 + length]))
        at += 2 + length


def ifd(order, base, entries, following=0):
    """A TIFF directory and its values behind it. `entries` is [(tag, type, count, value bytes)]; `base` is the offset
    at which it will stand."""
    size = 2 + 12 * len(entries) + 4
    directory, values = struct.pack(order + "H", len(entries)), b""
    for tag, kind, count, value in sorted(entries):
        if len(value) <= 4:
            field = value.ljust(4, b"\0")
        else:
            field = struct.pack(order + "I", base + size + len(values))
            values += value + b"\0" * (len(value) % 2)
        directory += struct.pack(order + "HHI", tag, kind, count) + field
    return directory + struct.pack(order + "I", following) + values


def exif_with_maker_note(order, note, thumbnail=b""):
    """An Exif block whose Exif directory holds a maker note, with something in front of it and behind it, and at the
    end a directory of the thumbnail, if there is one."""
    def ascii_entry(tag, text):
        return tag, 2, len(text) + 1, text.encode() + b"\0"

    def number_entry(tag, number):
        return tag, 4, 1, struct.pack(order + "I", number)

    def exif_directory(base):
        return ifd(order, base, [(0x9000, 7, 4, b"0230"), (0x927C, 7, len(note), note),
                                 ascii_entry(0x9003, "2026:03:01 10:20:30"), ascii_entry(0xA420, "0123456789abcdef")])

    def first_directory(exif_offset, following):
        entries = [ascii_entry(0x010F, "Some Maker"), ascii_entry(0x0110, "Model 1"),
                   (0x0112, 3, 1, struct.pack(order + "H", 1)), number_entry(0x8769, exif_offset)]
        return ifd(order, 8, entries, following)

    def thumbnail_directory(base, offset):
        return ifd(order, base, [(0x0103, 3, 1, struct.pack(order + "H", 6)), number_entry(0x0201, offset),
                                 number_entry(0x0202, len(thumbnail))])
    exif_at = 8 + len(first_directory(0, 0))
    end = exif_at + len(exif_directory(exif_at))
    exif = first_directory(exif_at, end if thumbnail else 0) + exif_directory(exif_at)
    if thumbnail:
        exif += thumbnail_directory(end, end + len(thumbnail_directory(end, 0))) + thumbnail
    head = (b"II*\0" if order == "<" else b"MM\0*") + struct.pack(order + "I", 8)
    return b"Exif\0\0" + head + exif


def multi_picture(first, second):
    """Two JPEGs as one multi-picture file: the first one's index names the second one by its offset from the index."""
    def index(first_size, second_size, second_offset):
        entries = struct.pack(">IIIHH", 0x20030000, first_size, 0, 0, 0)
        entries += struct.pack(">IIIHH", 0x00020002, second_size, second_offset, 0, 0)
        return b"MPF\0" + b"MM\0*" + struct.pack(">I", 8) + ifd(
            ">", 8, [(0xB000, 7, 4, b"0100"), (0xB001, 4, 1, struct.pack(">I", 2)), (0xB002, 7, 32, entries)])
    grown = behind_jfif(first, segment(0xE2, index(0, 0, 0)))
    tiff_header = segments_of(grown)[0][1][1] + 4
    return behind_jfif(first, segment(0xE2, index(len(grown), len(second), len(grown) - tiff_header))) + second


def icc_profile(size):
    """A profile that only its header makes one: 128 bytes, an empty table but for one text of the size wanted."""
    text = b"text\0\0\0\0" + b"t" * (size - 128 - 16 - 9) + b"\0"
    tags = struct.pack(">I4sII", 1, b"cprt", 144, len(text))
    head = struct.pack(">I4sI4s4s4s", size, b"none", 0x02400000, b"mntr", b"RGB ", b"XYZ ")
    head += struct.pack(">6H4s", 2026, 3, 1, 10, 20, 30, b"acsp")
    return (head.ljust(128, b"\0") + tags + text).ljust(size, b"\0")


def icc_segments(profile):
    parts = [profile[at:at + 60000] for at in range(0, len(profile), 60000)]
    return b"".join(segment(0xE2, b"ICC_PROFILE\0" + bytes([number, len(parts)]) + part)
                    for number, part in enumerate(parts, 1))


XMP_SIGNATURE = b"http://ns.adobe.com/xap/1.0/\0"


def xmp_packet(body, padding=0, end="w"):
    """A packet around rdf:Description elements."""
    return (f'<?xpacket begin="\ufeff" id="W5M0MpCehiHzreSzNTczkc9d"?>\n<x:xmpmeta xmlns:x="adobe:ns:meta/">\n'
            f' <rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">\n{body}\n </rdf:RDF>\n</x:xmpmeta>\n'
            + " " * padding + f'<?xpacket end="{end}"?>').encode()


def xmp_segment(packet):
    return segment(0xE1, XMP_SIGNATURE + packet)


def camera_photo(path, order="<", size="560x420"):
    """A JPEG as cameras and the programs behind them leave it: an Exif block with a maker note of 20 KB and a thumbnail
    of some 10 KB, a packet of XMP behind it that holds neither rating nor keywords, and then the picture."""
    small = picture(path.with_suffix(".thumbnail.jpg"), "-quality", "85", size="160x120")
    note = b"Note\0\1" + random.Random(7).randbytes(20_000)
    packet = xmp_packet('  <rdf:Description rdf:about="" xmlns:dc="http://purl.org/dc/elements/1.1/"'
                        ' xmlns:photoshop="http://ns.adobe.com/photoshop/1.0/" photoshop:City="Berlin">\n'
                        '   <dc:title><rdf:Alt><rdf:li xml:lang="x-default">A title</rdf:li></rdf:Alt></dc:title>\n'
                        '   <dc:creator><rdf:Seq><rdf:li>Somebody</rdf:li></rdf:Seq></dc:creator>\n'
                        '  </rdf:Description>', padding=2000)
    exif = exif_with_maker_note(order, note, small.read_bytes())
    small.unlink()
    picture(path, "-quality", "85", size=size)
    rewrite(path, lambda jpeg: behind_jfif(jpeg, segment(0xE1, exif) + xmp_segment(packet)))
    return pathlib.Path(path)


def thumbnail_link(jpeg):
    """Where in the bytes of such a photo the four stand that lead to the directory of the thumbnail."""
    exif = next(at for marker, at, payload in segments_of(jpeg)[0] if marker == 0xE1 and payload[:6] == b"Exif\0\0")
    header = exif + 6
    order = "<" if jpeg[header:header + 2] == b"II" else ">"
    directory = header + struct.unpack_from(order + "I", jpeg, header + 4)[0]
    return directory + 2 + 12 * struct.unpack_from(order + "H", jpeg, directory)[0]


def with_thumbnail_link(jpeg, link):
    """The bytes of such a photo with another link."""
    at = thumbnail_link(jpeg)
    return jpeg[:at] + link + jpeg[at + 4:]


def around_the_cut(old, new):
    """The states of such a photo beside those before and after its first change by a run: the run changes a value
    first, and then cuts the link to the thumbnail, which is a change of its own, and which any run makes."""
    at = thumbnail_link(old)
    return [with_thumbnail_link(old, bytes(4)), with_thumbnail_link(new, old[at:at + 4])]


# PNG

def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def behind_header(png, inserted):
    """The bytes of a PNG with further chunks behind its IHDR."""
    return png[:33] + inserted + png[33:]


# Sound and video

def sound(path, *options):
    call("ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "sine=frequency=440:duration=2", *options, path)
    return pathlib.Path(path)


def video(path, *options):
    call("ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "testsrc=duration=1:size=96x64:rate=10",
         "-f", "lavfi", "-i", "sine=frequency=440:duration=1", "-c:v", "mpeg4", "-c:a", "aac", *options, path)
    return pathlib.Path(path)
