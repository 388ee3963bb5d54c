"""The metadata of a photo as cameras write it: an Exif segment with a maker note and a thumbnail, and an XMP packet."""
import struct

ASCII, SHORT, LONG, RATIONAL, UNDEFINED = 2, 3, 4, 5, 7
MAKER_NOTE_SIZE = 20_000
SEGMENT_LIMIT = 0xFFFF - 2

XMP_NAME = b"http://ns.adobe.com/xap/1.0/\0"
# Without room for more, so that a first rating has to make some.
XMP = b"""<?xpacket begin="\xef\xbb\xbf" id="W5M0MpCehiHzreSzNTczkc9d"?>
<x:xmpmeta xmlns:x="adobe:ns:meta/">
 <rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">
  <rdf:Description rdf:about="" xmlns:xmp="http://ns.adobe.com/xap/1.0/">
   <xmp:CreatorTool>Model 1 Ver.1.00</xmp:CreatorTool>
   <xmp:CreateDate>2026-03-01T10:20:30</xmp:CreateDate>
  </rdf:Description>
 </rdf:RDF>
</x:xmpmeta>
<?xpacket end="w"?>"""


def text(tag, words):
    return tag, ASCII, len(words) + 1, words.encode() + b"\0"


def short(tag, number):
    return tag, SHORT, 1, struct.pack("<H", number)


def long(tag, number):
    return tag, LONG, 1, struct.pack("<I", number)


def rational(tag, *numbers):
    return tag, RATIONAL, len(numbers) // 2, struct.pack(f"<{len(numbers)}I", *numbers)


def undefined(tag, content):
    return tag, UNDEFINED, len(content), content


def table_size(count):
    return 2 + 12 * count + 4


def size_of_values(entries):
    """Of those that don't fit into their entries."""
    return sum(len(value) + len(value) % 2 for *_, value in entries if len(value) > 4)


def size_of(directory):
    return table_size(len(directory)) + size_of_values(directory)


def directory_bytes(directory, at, following=0):
    """An image file directory as it stands `at` bytes behind the Exif block's start; `following` is the next one."""
    entries, values = struct.pack("<H", len(directory)), b""
    values_at = at + table_size(len(directory))
    for tag, kind, count, value in directory:
        entries += struct.pack("<HHI", tag, kind, count)
        if len(value) <= 4:
            entries += value.ljust(4, b"\0")
        else:
            entries += struct.pack("<I", values_at + len(values))
            values += value + b"\0" * (len(value) % 2)
    return entries + struct.pack("<I", following) + values


def main_directory(exif_at, gps_at):
    return [text(0x010F, "Some Maker"), text(0x0110, "Model 1"), short(0x0112, 1), rational(0x011A, 72, 1),
            rational(0x011B, 72, 1), short(0x0128, 2), text(0x0131, "Ver.1.00"), text(0x0132, "2026:03:01 10:20:30"),
            short(0x0213, 1), long(0x8769, exif_at), long(0x8825, gps_at)]


def maker_note(at):
    """A directory of its own whose values, as with most makers, are found by their distance from the block's start."""
    entries = 20
    size = (MAKER_NOTE_SIZE - table_size(entries)) // entries // 2 * 2
    value = bytes((number * 37 + 11) % 251 for number in range(size))
    return directory_bytes([undefined(number + 1, value) for number in range(entries)], at)


def exif_directory(at):
    before = [rational(0x829A, 1, 250), rational(0x829D, 28, 10), short(0x8822, 2), short(0x8827, 100),
              undefined(0x9000, b"0230"), text(0x9003, "2026:03:01 10:20:30"), text(0x9004, "2026:03:01 10:20:30"),
              undefined(0x9101, bytes([1, 2, 3, 0])), rational(0x920A, 50, 1)]
    after = [undefined(0xA000, b"0100"), short(0xA001, 1)]
    note_at = at + table_size(len(before) + 1 + len(after)) + size_of_values(before)
    return [*before, undefined(0x927C, maker_note(note_at)), *after]


def gps_directory():
    return [(0x0000, 1, 4, bytes([2, 3, 0, 0])), text(0x0001, "N"), rational(0x0002, 48, 1, 6, 1, 0, 1),
            text(0x0003, "E"), rational(0x0004, 11, 1, 30, 1, 0, 1)]


def thumbnail_directory(thumbnail_at, size):
    return [short(0x0103, 6), rational(0x011A, 72, 1), rational(0x011B, 72, 1), short(0x0128, 2),
            long(0x0201, thumbnail_at), long(0x0202, size)]


def exif_block(thumbnail):
    main_at = 8
    exif_at = main_at + size_of(main_directory(0, 0))
    gps_at = exif_at + size_of(exif_directory(exif_at))
    thumbnail_directory_at = gps_at + size_of(gps_directory())
    thumbnail_at = thumbnail_directory_at + size_of(thumbnail_directory(0, 0))
    return (struct.pack("<2sHI", b"II", 42, main_at) +
            directory_bytes(main_directory(exif_at, gps_at), main_at, thumbnail_directory_at) +
            directory_bytes(exif_directory(exif_at), exif_at) + directory_bytes(gps_directory(), gps_at) +
            directory_bytes(thumbnail_directory(thumbnail_at, len(thumbnail)), thumbnail_directory_at) + thumbnail)


def segment(marker, content):
    assert len(content) <= SEGMENT_LIMIT
    return struct.pack(">BBH", 0xFF, marker, len(content) + 2) + content


def picture_without_metadata(jpeg):
    """From the first segment that the picture itself needs."""
    return jpeg[jpeg.index(b"\xFF\xDB"):]


def padded(jpeg, size):
    """A JPEG brought to that size by a comment."""
    return jpeg[:2] + segment(0xFE, b" " * (size - len(jpeg) - 4)) + jpeg[2:]


def camera_photo(jpeg, thumbnail):
    return (b"\xFF\xD8" + segment(0xE1, b"Exif\0\0" + exif_block(thumbnail)) + segment(0xE1, XMP_NAME + XMP) +
            picture_without_metadata(jpeg))
