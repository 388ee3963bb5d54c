"""The picture samples of the preservation test: every kind of metadata that pictures carry, each in a file of its own.

Each function makes one sample at the path given; `ALL` has them by name and extension.
"""
import struct
import zlib

from support.pictures import (CONVERT, behind_header, behind_jfif, call, chunk, exif_with_maker_note, exiftool,
                              icc_profile, icc_segments, multi_picture, picture, rewrite, segment, sound, video,
                              xmp_packet, xmp_segment)

ALL = {}


def sample(extension):
    def register(make):
        ALL[f"{make.__name__}.{extension}"] = make
        return make
    return register


RICH_EXIF = ("-IFD0:Make=Some Maker", "-IFD0:Model=Model 1", "-IFD0:Artist=Jörg Müller",
             "-IFD0:Copyright=© somebody", "-IFD0:Orientation#=6", "-IFD0:XPTitle=Ein Bild 写真",
             "-IFD0:XPComment=comment", "-ExifIFD:UserComment=ein Kommentar",
             "-ExifIFD:DateTimeOriginal=2026:03:01 10:20:30", "-ExifIFD:ExposureTime=1/250",
             "-ExifIFD:LensModel=A Lens", "-InteropIFD:InteropIndex=R98", "-GPS:GPSLatitude=48.1",
             "-GPS:GPSLatitudeRef=N", "-GPS:GPSLongitude=11.5", "-GPS:GPSLongitudeRef=E")
RICH_XMP = ("-XMP-dc:Creator=A", "-XMP-dc:Creator=B", "-XMP-dc:Title-de=Ein Titel", "-XMP-dc:Title=A title",
            "-XMP-xmpRights:Marked=True", "-XMP-iptcExt:LocationShown={City=Berlin,CountryName=Germany}",
            "-XMP-photoshop:City=Berlin", "-XMP-xmpMM:History={Action=saved,InstanceID=xmp.iid:1}")
IPTC = ("-IPTC:Keywords=Müller", "-IPTC:Keywords=old", "-IPTC:City=Köln", "-IPTC:Caption-Abstract=Größe")

UNKNOWN_NAMESPACES = xmp_packet("""  <rdf:Description rdf:about="" xmlns:one="urn:example:one/"
    xmlns:two="urn:example:two#" one:plain="a value" two:other="&lt;escaped&gt; &amp; &#x1F600;">
   <one:list><rdf:Seq><rdf:li>1</rdf:li><rdf:li xml:lang="de">zwei</rdf:li></rdf:Seq></one:list>
   <two:structure rdf:parseType="Resource"><two:inner>text</two:inner><one:deep rdf:resource="urn:x"/></two:structure>
   <!-- a comment that has to stay -->
  </rdf:Description>""", padding=300)


# JPEG

@sample("jpg")
def jpeg_plain(path):
    picture(path)


@sample("jpg")
def jpeg_progressive(path):
    picture(path, "-interlace", "JPEG", "-quality", "83")


@sample("jpg")
def jpeg_gray(path):
    picture(path, "-colorspace", "Gray")


@sample("jpg")
def jpeg_cmyk(path):
    picture(path, "-colorspace", "CMYK")


@sample("jpg")
def jpeg_full_chroma(path):
    picture(path, "-sampling-factor", "1x1", "-quality", "97")


@sample("jpg")
def jpeg_exif_little_endian(path):
    picture(path)
    exiftool(path, "-ExifByteOrder=II", *RICH_EXIF)


@sample("jpg")
def jpeg_exif_big_endian(path):
    picture(path)
    exiftool(path, "-ExifByteOrder=MM", *RICH_EXIF)


@sample("jpg")
def jpeg_exif_with_rating_and_keywords(path):
    picture(path)
    exiftool(path, *RICH_EXIF, "-IFD0:Rating=2", "-IFD0:RatingPercent=25", "-IFD0:XPKeywords=old;older",
             "-XMP-xmp:Rating=2", "-XMP-microsoft:RatingPercent=25", "-XMP-dc:Subject=old", "-XMP-dc:Subject=older")


@sample("jpg")
def jpeg_exif_thumbnail(path):
    picture(path)
    thumbnail = picture(path.with_suffix(".thumbnail.jpg"), size="48x32")
    exiftool(path, *RICH_EXIF, f"-ThumbnailImage<={thumbnail}")
    thumbnail.unlink()


def with_maker_note(path, order):
    picture(path)
    note = b"Note\0\1" + struct.pack(order + "HHHII", 1, 0x1234, 4, 2, 300) + bytes(range(256)) * 5
    rewrite(path, lambda jpeg: behind_jfif(jpeg, segment(0xE1, exif_with_maker_note(order, note))))


@sample("jpg")
def jpeg_maker_note_little_endian(path):
    with_maker_note(path, "<")


@sample("jpg")
def jpeg_maker_note_big_endian(path):
    with_maker_note(path, ">")


@sample("jpg")
def jpeg_icc(path):
    picture(path)
    rewrite(path, lambda jpeg: behind_jfif(jpeg, icc_segments(icc_profile(3000))))


@sample("jpg")
def jpeg_icc_in_three_segments(path):
    picture(path)
    rewrite(path, lambda jpeg: behind_jfif(jpeg, icc_segments(icc_profile(150_000))))


@sample("jpg")
def jpeg_iptc_utf8(path):
    picture(path)
    exiftool(path, "-codedcharacterset=utf8", *IPTC)


@sample("jpg")
def jpeg_iptc_latin1(path):
    picture(path)
    exiftool(path, "-charset", "iptc=Latin1", *IPTC)


@sample("jpg")
def jpeg_photoshop_resources(path):
    picture(path)
    exiftool(path, "-Photoshop:CopyrightFlag=1", "-Photoshop:URL=http://example.org/", "-Photoshop:XResolution=300",
             "-Photoshop:YResolution=300", *IPTC)


@sample("jpg")
def jpeg_xmp_rich(path):
    picture(path)
    exiftool(path, *RICH_XMP)


@sample("jpg")
def jpeg_xmp_unknown_namespaces(path):
    picture(path)
    rewrite(path, lambda jpeg: behind_jfif(jpeg, xmp_segment(UNKNOWN_NAMESPACES)))


@sample("jpg")
def jpeg_xmp_without_padding(path):
    picture(path)
    packet = xmp_packet('  <rdf:Description rdf:about="" xmlns:xmp="http://ns.adobe.com/xap/1.0/" xmp:Rating="1"'
                        ' xmp:CreatorTool="a tool"/>', end="r")
    rewrite(path, lambda jpeg: behind_jfif(jpeg, xmp_segment(packet)))


@sample("jpg")
def jpeg_xmp_under_another_prefix(path):
    picture(path)
    packet = xmp_packet('  <rdf:Description rdf:about="uuid:1" xmlns:xap="http://ns.adobe.com/xap/1.0/"'
                        ' xmlns:d="http://purl.org/dc/elements/1.1/"><xap:Rating>2</xap:Rating><xap:Label>red'
                        '</xap:Label><d:subject><rdf:Bag><rdf:li>old</rdf:li></rdf:Bag></d:subject>'
                        '</rdf:Description>', padding=50)
    rewrite(path, lambda jpeg: behind_jfif(jpeg, xmp_segment(packet)))


@sample("jpg")
def jpeg_xmp_extended(path):
    picture(path)
    text = path.with_suffix(".txt")
    text.write_text("a long text, " * 8000)
    exiftool(path, *RICH_XMP, f"-XMP-dc:Description<={text}")
    text.unlink()


@sample("jpg")
def jpeg_comments(path):
    picture(path)
    rewrite(path, lambda jpeg: behind_jfif(jpeg, segment(0xFE, b"a comment") + segment(0xFE, bytes(range(256)))))


@sample("jpg")
def jpeg_unknown_segments(path):
    picture(path)
    inserted = b"".join(segment(marker, b"Unknown\0" + bytes([marker]) * 500) for marker in range(0xE3, 0xEC))
    rewrite(path, lambda jpeg: behind_jfif(jpeg, inserted))


@sample("jpg")
def jpeg_fill_bytes(path):
    picture(path)
    rewrite(path, lambda jpeg: behind_jfif(jpeg, b"\xff\xff\xff" + segment(0xFE, b"behind fill bytes")))


@sample("jpg")
def jpeg_multi_picture(path):
    first = picture(path.with_suffix(".first.jpg"))
    second = picture(path.with_suffix(".second.jpg"), "-flip", size="48x32")
    exiftool(first, *RICH_EXIF)
    path.write_bytes(multi_picture(first.read_bytes(), second.read_bytes()))
    first.unlink()
    second.unlink()


@sample("jpg")
def jpeg_motion_photo(path):
    picture(path)
    moving = video(path.with_suffix(".mp4")).read_bytes()
    path.with_suffix(".mp4").unlink()
    packet = xmp_packet('  <rdf:Description rdf:about="" xmlns:GCamera="http://ns.google.com/photos/1.0/camera/"'
                        f' GCamera:MicroVideo="1" GCamera:MicroVideoVersion="1"'
                        f' GCamera:MicroVideoOffset="{len(moving)}"/>')
    rewrite(path, lambda jpeg: behind_jfif(jpeg, xmp_segment(packet)) + moving)


@sample("jpg")
def jpeg_everything_large(path):
    picture(path, "-quality", "95", size="1600x1200")
    exiftool(path, *RICH_EXIF, *RICH_XMP, *IPTC, "-Comment=a comment")
    rewrite(path, lambda jpeg: jpeg + b"bytes behind the picture")


# PNG

@sample("png")
def png_plain(path):
    picture(path)


@sample("png")
def png_palette_with_transparency(path):
    picture(path, "-colors", "16", "-transparent", "tomato", "-type", "PaletteAlpha")


@sample("png")
def png_gray_alpha_16_bits(path):
    picture(path, "-colorspace", "Gray", "-alpha", "set", "-channel", "A", "-evaluate", "set", "50%", "-depth", "16")


@sample("png")
def png_interlaced(path):
    picture(path, "-interlace", "PNG")


@sample("png")
def png_texts(path):
    picture(path)
    exiftool(path, "-PNG:Title=A title", "-PNG:Comment=Größe", "-z", "-PNG:Description=" + "long " * 300)


@sample("png")
def png_exif(path):
    picture(path)
    exiftool(path, *RICH_EXIF)


@sample("png")
def png_xmp(path):
    picture(path)
    exiftool(path, *RICH_XMP, "-XMP-dc:Subject=old", "-XMP-xmp:Rating=1")


@sample("png")
def png_icc_and_unknown_chunks(path):
    picture(path)
    rewrite(path, lambda png: behind_header(png, chunk(b"iCCP", b"profile\0\0" + zlib.compress(icc_profile(3000)))
                                            + chunk(b"prVt", b"private " * 50)) + b"bytes behind the picture")


# TIFF

@sample("tif")
def tiff_little_endian(path):
    picture(path, "-endian", "LSB", "-compress", "None")


@sample("tif")
def tiff_big_endian(path):
    picture(path, "-endian", "MSB", "-compress", "LZW")


@sample("tif")
def tiff_of_three_pages(path):
    call(CONVERT, "-size", "64x48", "plasma:red-blue", "plasma:green-white", "-size", "30x20", "plasma:black-white",
         "-strip", "-compress", "Zip", path)


@sample("tiff")
def tiff_tiled(path):
    picture(path, "-define", "tiff:tile-geometry=32x32", "-compress", "LZW", size="128x96")


@sample("tif")
def tiff_exif(path):
    picture(path, "-endian", "MSB")
    exiftool(path, *RICH_EXIF, *IPTC)


@sample("tif")
def tiff_xmp(path):
    picture(path)
    exiftool(path, *RICH_XMP, "-XMP-xmp:Rating=1", "-XMP-dc:Subject=old")


@sample("tif")
def tiff_jpeg_compressed(path):
    picture(path, "-compress", "JPEG")


# WebP

@sample("webp")
def webp_lossy(path):
    picture(path, "-quality", "80")


@sample("webp")
def webp_lossless_alpha(path):
    picture(path, "-alpha", "set", "-channel", "A", "-evaluate", "set", "50%", "-define", "webp:lossless=true")


@sample("webp")
def webp_animated(path):
    first = picture(path.with_suffix(".1.webp"))
    second = picture(path.with_suffix(".2.webp"), "-flip")
    call("webpmux", "-frame", first, "+100", "-frame", second, "+100", "-loop", "0", "-bgcolor", "255,255,255,255",
         "-o", path)
    first.unlink()
    second.unlink()


@sample("webp")
def webp_exif_xmp_icc(path):
    picture(path)
    exiftool(path, *RICH_EXIF, *RICH_XMP)
    profile = path.with_suffix(".icc")
    profile.write_bytes(icc_profile(3000))
    call("webpmux", "-set", "icc", profile, path, "-o", path)
    profile.unlink()


# Sound and video

@sample("mp3")
def mp3_without_tags(path):
    sound(path, "-write_xing", "0", "-id3v2_version", "0")


@sample("mp3")
def mp3_id3v23_with_cover(path):
    cover = picture(path.with_suffix(".jpg"))
    call("ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "sine=frequency=440:duration=2", "-i", cover, "-map", "0",
         "-map", "1", "-id3v2_version", "3", "-metadata", "title=Größe", "-metadata", "artist=Somebody",
         "-metadata", "TXXX=free text", "-metadata", "comment=a comment", path)
    cover.unlink()


@sample("mp3")
def mp3_id3v24_and_id3v1(path):
    sound(path, "-id3v2_version", "4", "-write_id3v1", "1", "-metadata", "title=Größe", "-metadata", "album=写真")


@sample("mp4")
def mp4_index_behind(path):
    video(path, "-metadata", "title=Größe", "-metadata", "comment=a comment")


@sample("mp4")
def mp4_index_in_front(path):
    video(path, "-movflags", "+faststart", "-metadata", "title=A title")


@sample("mp4")
def mp4_without_metadata(path):
    video(path, "-fflags", "+bitexact", "-map_metadata", "-1")
