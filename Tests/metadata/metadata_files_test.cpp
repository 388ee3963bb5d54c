// What the editors of bytes and texts do with the files themselves.
#include <limits>

#include "metadata/exif_thumbnail.h"
#include "metadata/jpeg_xmp.h"
#include "metadata/metadata_fixture.h"
#include "metadata/xmp_packet_patch.h"
#include "metadata/xmp_sidecar.h"
#include "metadata/xmp_text.h"
#include "support/allocation_faults.h"
#include "support/jpeg_bytes.h"

namespace quill_box::metadata {

namespace {

namespace attribute = platform::attribute;
using namespace std::string_view_literals;
using platform::access;
using platform::share;
using platform::win32_error;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::size_t file_limit = 314'572'800;

// Larger than anything that the simulated machine allocates for itself.
constexpr std::size_t large = 50'000;

// Another program that has the file open.
class other_program {
 public:
  other_program(support::scoped_machine& machine, const std::wstring& path, access access, share share)
      : file_(*machine.files.open(path, {access, share})) {}

 private:
  std::unique_ptr<platform::file> file_;
};

using whole_file = metadata_test;
using text_files = metadata_test;

// --- read_whole_file

TEST_F(whole_file, is_read_beside_other_readers) {
  const other_program reader(machine, photo, access::read, share::read);
  std::string buffer;
  EXPECT_TRUE(read_whole_file(photo, buffer));
  EXPECT_EQ(buffer, "photo");
  EXPECT_THAT(machine.calls.named({"open"}).back(), R"(open(C:\photo.jpg, read, share read, open_existing))");
}

TEST_F(whole_file, of_nothing_is_false) {
  machine.write_file(photo, "");
  std::string buffer;
  EXPECT_FALSE(read_whole_file(photo, buffer));
  EXPECT_FALSE(read_whole_file(LR"(C:\missing.jpg)", buffer));
}

TEST_F(whole_file, of_300_mebibytes_is_read_and_of_one_byte_more_is_not) {
  std::string buffer;
  machine.entry(photo).content.resize(file_limit);
  EXPECT_TRUE(read_whole_file(photo, buffer));
  EXPECT_EQ(buffer.size(), file_limit);
  machine.entry(photo).content.resize(file_limit + 1);
  EXPECT_FALSE(read_whole_file(photo, buffer));
}

TEST_F(whole_file, every_failing_step_is_false) {
  std::string buffer;
  for (const char* step : {"open", "size", "read"}) {
    machine.calls.refuse(step, photo, win32_error::read_fault, 1);
    EXPECT_FALSE(read_whole_file(photo, buffer)) << step;
  }
}

TEST_F(whole_file, no_memory_is_false) {
  machine.write_file(photo, std::string(large, 'x'));
  std::string buffer = "before";
  const support::allocation_fault fault(1, large);
  EXPECT_FALSE(read_whole_file(photo, buffer));
  EXPECT_TRUE(fault.struck());
  EXPECT_EQ(buffer, "before");
}

TEST_F(whole_file, a_short_read_is_false) {
  machine.calls.before("read", 1, [this] { machine.entry(photo).content = "ph"; });
  std::string buffer;
  EXPECT_FALSE(read_whole_file(photo, buffer));
}

// --- write_jpeg_with_xmp

class jpeg_rewrite : public metadata_test {
 protected:
  const std::string old_bytes =
      jpeg_bytes::start_of_image + jpeg_bytes::xmp_segment("a longer packet") + jpeg_bytes::image_data;
  jpeg_rewrite() { machine.write_file(photo, old_bytes); }
  bool write(std::string_view packet) {
    return write_jpeg_with_xmp(photo, old_bytes, *scan_jpeg_for_xmp(old_bytes), packet);
  }
};

TEST_F(jpeg_rewrite, writes_the_whole_image_at_once_and_cuts_the_rest) {
  EXPECT_TRUE(write("short"));
  const std::string expected = jpeg_bytes::start_of_image + jpeg_bytes::xmp_segment("short") + jpeg_bytes::image_data;
  EXPECT_EQ(machine.read_file(photo), expected);
  EXPECT_THAT(machine.calls.all(), ElementsAre(R"(open(C:\photo.jpg, write, share read, rewrite_existing))",
                                               "write(C:\\photo.jpg, " + std::to_string(expected.size()) + ")",
                                               R"(set_end(C:\photo.jpg))", R"(close(C:\photo.jpg))"));
}

TEST_F(jpeg_rewrite, a_packet_that_is_too_long_leaves_the_file_unopened) {
  EXPECT_FALSE(write(std::string(65505, 'p')));
  EXPECT_THAT(machine.calls.all(), IsEmpty());
}

TEST_F(jpeg_rewrite, every_failing_step_is_false) {
  for (const char* step : {"open", "write", "set_end", "close"}) {
    machine.calls.refuse(step, photo, win32_error::disk_full, 1);
    EXPECT_FALSE(write("packet")) << step;
  }
}

TEST_F(jpeg_rewrite, a_short_write_is_false_and_nothing_is_cut) {
  machine.disk.drive(L"C:").free_bytes = 3;
  EXPECT_FALSE(write(std::string(100, 'p')));
  EXPECT_EQ(machine.calls.count("set_end"), 0U);
}

TEST_F(jpeg_rewrite, no_memory_for_the_image_is_false_and_leaves_the_file_alone) {
  const std::string packet(large, 'p');
  const support::allocation_fault fault(1, large);
  EXPECT_FALSE(write(packet));
  EXPECT_TRUE(fault.struck());
  EXPECT_THAT(machine.calls.all(), IsEmpty());
}

TEST_F(jpeg_rewrite, a_missing_file_is_not_made) {
  const auto scan = *scan_jpeg_for_xmp(old_bytes);
  EXPECT_FALSE(write_jpeg_with_xmp(LR"(C:\missing.jpg)", old_bytes, scan, "packet"));
  EXPECT_FALSE(machine.exists(LR"(C:\missing.jpg)"));
}

// --- read_text_file, write_text_file

TEST_F(text_files, are_read_beside_readers_and_writers) {
  const other_program writer(machine, text_file, access::read | access::write, share::all);
  machine.calls.clear();
  EXPECT_EQ(read_text_file(text_file), "text");
  EXPECT_THAT(machine.calls.named({"open"}),
              ElementsAre(R"(open(C:\text.txt, read, share read|write, open_existing))"));
}

TEST_F(text_files, in_utf16_are_read_as_utf8) {
  machine.write_file(text_file,
                     "\xff\xfe"
                     "a\0\xe4\0b"sv);
  EXPECT_EQ(read_text_file(text_file), "a\xc3\xa4");
}

TEST_F(text_files, that_can_not_be_read_are_empty) {
  EXPECT_EQ(read_text_file(LR"(C:\missing.txt)"), "");
  for (const char* step : {"open", "size", "read"}) {
    machine.calls.refuse(step, text_file, win32_error::read_fault, 1);
    EXPECT_EQ(read_text_file(text_file), "") << step;
  }
  machine.calls.before("read", 1, [this] { machine.entry(text_file).content = "t"; });
  EXPECT_EQ(read_text_file(text_file), "");
  machine.write_file(text_file, "");
  EXPECT_EQ(read_text_file(text_file), "");
}

TEST_F(text_files, no_memory_reads_as_empty) {
  machine.write_file(text_file, std::string(large, 'x'));
  const support::allocation_fault fault(1, large);
  EXPECT_EQ(read_text_file(text_file), "");
  EXPECT_TRUE(fault.struck());
}

TEST_F(text_files, no_memory_for_their_utf8_reads_as_empty) {
  // Each unit of UTF-16 becomes three bytes of UTF-8.
  std::string utf16 = "\xff\xfe";
  for (std::size_t i = 0; i < large; ++i)
    utf16 += "\x08\xff";
  machine.write_file(text_file, utf16);
  const support::allocation_fault fault(1, utf16.size() + 1000);
  EXPECT_EQ(read_text_file(text_file), "");
  EXPECT_TRUE(fault.struck());
}

TEST_F(text_files, no_memory_to_write_them_is_false) {
  const support::allocation_fault fault(1);
  EXPECT_FALSE(write_text_file(text_file, "new"));
  EXPECT_TRUE(fault.struck());
}

TEST_F(text_files, are_written_in_one_write_that_keeps_others_out) {
  EXPECT_TRUE(write_text_file(LR"(C:\new.txt)", "text"));
  EXPECT_EQ(machine.read_file(LR"(C:\new.txt)"), "text");
  EXPECT_THAT(machine.calls.all(), ElementsAre(R"(open(C:\new.txt, write, share none, create_always))",
                                               R"(write(C:\new.txt, 4))", R"(close(C:\new.txt))"));
}

TEST_F(text_files, replace_a_longer_content) {
  EXPECT_TRUE(write_text_file(text_file, "t"));
  EXPECT_EQ(machine.read_file(text_file), "t");
}

TEST_F(text_files, are_written_whole_or_it_is_false) {
  for (const char* step : {"open", "write", "close"}) {
    machine.calls.refuse(step, text_file, win32_error::disk_full, 1);
    EXPECT_FALSE(write_text_file(text_file, "new")) << step;
  }
  machine.write_file(text_file, "");
  machine.disk.drive(L"C:").free_bytes = 2;
  EXPECT_FALSE(write_text_file(text_file, "new"));
}

// --- patch_rating_in_file

class patch_in_file : public metadata_test {
 protected:
  static std::string packet(const std::string& rating) {
    return "<?xpacket begin=?><xmp:Rating>" + rating + "</xmp:Rating><?xpacket end=?>";
  }
  patch_in_file() { machine.write_file(photo, "before" + packet("12") + "behind"); }
};

TEST_F(patch_in_file, writes_the_packet_and_nothing_else) {
  EXPECT_TRUE(patch_rating_in_file(photo, 3));
  EXPECT_EQ(machine.read_file(photo), "before" + packet("3 ") + "behind");
  const std::string size = std::to_string(packet("12").size());
  EXPECT_THAT(machine.calls.all(),
              ElementsAre(R"(open(C:\photo.jpg, read|write, share none, open_existing))", R"(size(C:\photo.jpg))",
                          "read(C:\\photo.jpg, " + std::to_string(packet("12").size() + 12) + ")",
                          R"(seek(C:\photo.jpg, 6))", "write(C:\\photo.jpg, " + size + ")", R"(close(C:\photo.jpg))"));
}

TEST_F(patch_in_file, an_empty_path_is_false) { EXPECT_FALSE(patch_rating_in_file(L"", 3)); }

TEST_F(patch_in_file, a_file_without_a_packet_is_closed_as_it_was) {
  EXPECT_FALSE(patch_rating_in_file(text_file, 3));
  EXPECT_EQ(machine.read_file(text_file), "text");
  EXPECT_EQ(machine.calls.count("write"), 0U);
  EXPECT_EQ(machine.calls.count("close"), 1U);
}

TEST_F(patch_in_file, with_less_padding_than_the_block_stays_untouched) {
  const std::string without_rating =
      "<?xpacket begin=?><x:xmpmeta></rdf:RDF></x:xmpmeta>" + std::string(20, ' ') + "<?xpacket end=?>";
  machine.write_file(photo, without_rating);
  EXPECT_FALSE(patch_rating_in_file(photo, 3));
  EXPECT_EQ(machine.read_file(photo), without_rating);
  EXPECT_EQ(machine.calls.count("write"), 0U);
  EXPECT_EQ(machine.calls.count("close"), 1U);
}

TEST_F(patch_in_file, no_memory_for_the_file_is_false) {
  machine.write_file(photo, packet("12") + std::string(large, 'x'));
  {
    const support::allocation_fault fault(1, large);
    EXPECT_FALSE(patch_rating_in_file(photo, 3));
    EXPECT_TRUE(fault.struck());
  }
  EXPECT_EQ(machine.read_file(photo), packet("12") + std::string(large, 'x'));
  EXPECT_EQ(machine.calls.count("close"), 1U);
}

TEST_F(patch_in_file, no_memory_for_the_packet_is_false) {
  machine.write_file(photo, packet("12" + std::string(large, ' ')));
  const support::allocation_fault fault(2, large);
  EXPECT_FALSE(patch_rating_in_file(photo, 3));
  EXPECT_TRUE(fault.struck());
  EXPECT_EQ(machine.calls.count("write"), 0U);
}

TEST_F(patch_in_file, a_file_in_use_is_false) {
  const other_program reader(machine, photo, access::read, share::all);
  EXPECT_FALSE(patch_rating_in_file(photo, 3));
}

TEST_F(patch_in_file, every_failing_step_is_false) {
  for (const char* step : {"open", "size", "read", "seek", "write", "close"}) {
    machine.calls.refuse(step, photo, win32_error::write_fault, 1);
    EXPECT_FALSE(patch_rating_in_file(photo, 3)) << step;
  }
}

TEST_F(patch_in_file, a_short_read_is_false) {
  machine.calls.before("read", 1, [this] { machine.entry(photo).content.pop_back(); });
  EXPECT_FALSE(patch_rating_in_file(photo, 3));
  EXPECT_EQ(machine.calls.count("write"), 0U);
}

TEST_F(patch_in_file, of_300_mebibytes_is_done_and_of_one_byte_more_is_not) {
  machine.entry(photo).content.resize(file_limit);
  EXPECT_TRUE(patch_rating_in_file(photo, 3));
  EXPECT_THAT(machine.entry(photo).content.substr(0, 60), HasSubstr("<xmp:Rating>3 </xmp:Rating>"));
  machine.entry(photo).content.resize(file_limit + 1);
  machine.calls.clear();
  EXPECT_FALSE(patch_rating_in_file(photo, 4));
  EXPECT_EQ(machine.calls.count("read"), 0U);
}

// --- sidecars

using sidecars = metadata_test;

TEST_F(sidecars, an_empty_path_is_false) {
  EXPECT_FALSE(write_rating_sidecar(L"", 3));
  EXPECT_FALSE(write_keywords_sidecar(L"", tag_vector{L"a"}));
  EXPECT_THAT(machine.calls.all(), IsEmpty());
}

TEST_F(sidecars, stand_beside_the_file_with_its_extension_kept) {
  EXPECT_TRUE(write_rating_sidecar(photo, 3));
  EXPECT_EQ(machine.read_file(LR"(C:\photo.jpg.xmp)"), sidecar_with_rating("", "3"));
  EXPECT_FALSE(machine.exists(LR"(C:\photo.xmp)"));
}

TEST_F(sidecars, hold_the_plain_stars) {
  EXPECT_TRUE(write_rating_sidecar(photo, 3));
  EXPECT_THAT(machine.read_file(photo_sidecar), HasSubstr("<xmp:Rating>3</xmp:Rating>"));
}

TEST_F(sidecars, are_edited_where_they_exist) {
  EXPECT_TRUE(write_rating_sidecar(photo, 3));
  EXPECT_TRUE(write_keywords_sidecar(photo, tag_vector{L"a"}));
  EXPECT_EQ(machine.read_file(photo_sidecar), sidecar_with_keywords(sidecar_with_rating("", "3"), tag_vector{L"a"}));
}

TEST_F(sidecars, in_utf16_are_rewritten_as_utf8_without_the_mark) {
  std::string utf16 = "\xff\xfe";
  for (const char c : "<xmp:Rating>1</xmp:Rating>"sv)
    utf16.append(1, c).append(1, '\0');
  machine.write_file(photo_sidecar, utf16);
  EXPECT_TRUE(write_rating_sidecar(photo, 4));
  EXPECT_EQ(machine.read_file(photo_sidecar), "<xmp:Rating>4</xmp:Rating>");
}

TEST_F(sidecars, keywords_into_a_utf16_sidecar_are_rewritten_as_utf8) {
  std::string utf16 = "\xff\xfe";
  for (const char c : "<dc:subject></dc:subject>"sv)
    utf16.append(1, c).append(1, '\0');
  machine.write_file(photo_sidecar, utf16);
  EXPECT_TRUE(write_keywords_sidecar(photo, tag_vector{L"\u00e4"}));
  EXPECT_EQ(machine.read_file(photo_sidecar),
            "   <dc:subject>\n    <rdf:Bag>\n     <rdf:li>\xc3\xa4</rdf:li>\n    </rdf:Bag>\n   </dc:subject>");
}

TEST_F(sidecars, no_memory_for_the_new_text_is_false_and_leaves_the_old_one) {
  machine.write_file(photo_sidecar, "<xmp:Rating>1</xmp:Rating>");
  const tag_vector tags(1, std::wstring(large, L't'));
  {
    const support::allocation_fault fault(1, large);
    EXPECT_FALSE(write_keywords_sidecar(photo, tags));
    EXPECT_TRUE(fault.struck());
  }
  EXPECT_EQ(machine.read_file(photo_sidecar), "<xmp:Rating>1</xmp:Rating>");
}

TEST_F(sidecars, that_can_not_be_read_or_are_empty_are_written_anew) {
  machine.write_file(photo_sidecar, "<xmp:Rating>1</xmp:Rating>");
  machine.calls.refuse("read", photo_sidecar, win32_error::read_fault, 1);
  EXPECT_TRUE(write_rating_sidecar(photo, 4));
  EXPECT_EQ(machine.read_file(photo_sidecar), sidecar_with_rating("", "4"));
  machine.write_file(photo_sidecar, "");
  EXPECT_TRUE(write_keywords_sidecar(photo, tag_vector{L"a"}));
  EXPECT_EQ(machine.read_file(photo_sidecar), sidecar_with_keywords("", tag_vector{L"a"}));
}

TEST_F(sidecars, that_can_not_be_written_are_false) {
  machine.disk.drive(L"C:").free_bytes = 10;
  EXPECT_FALSE(write_rating_sidecar(photo, 4));
  machine.write_file(photo_sidecar, "");
  machine.entry(photo_sidecar).attributes = attribute::read_only;
  EXPECT_FALSE(write_keywords_sidecar(photo, tag_vector{L"a"}));
}

TEST_F(sidecars, too_large_to_edit_are_not_written_over) {
  machine.write_file(photo_sidecar, "");
  machine.entry(photo_sidecar).content.resize(file_limit + 1);
  EXPECT_FALSE(write_rating_sidecar(photo, 4));
  EXPECT_EQ(machine.entry(photo_sidecar).content.size(), file_limit + 1);
}

// --- drop_embedded_exif_thumbnail

class thumbnail_cut : public metadata_test {
 protected:
  static std::string jpeg(std::uint64_t link, const std::string& before = {}) {
    return jpeg_bytes::start_of_image + before + jpeg_bytes::exif_segment(jpeg_bytes::tiff(true, 1, link)) +
           jpeg_bytes::image_data;
  }
  thumbnail_cut() { machine.write_file(photo, jpeg(0x12345678)); }
};

TEST_F(thumbnail_cut, sets_the_four_bytes_of_the_link_to_zero_and_no_other) {
  EXPECT_TRUE(drop_embedded_exif_thumbnail(photo));
  EXPECT_EQ(machine.read_file(photo), jpeg(0));
  EXPECT_THAT(machine.calls.named({"open", "seek", "write", "close"}),
              ElementsAre(R"(open(C:\photo.jpg, read|write, share none, open_existing))", R"(seek(C:\photo.jpg, 34))",
                          R"(write(C:\photo.jpg, 4))", R"(close(C:\photo.jpg))"));
}

TEST_F(thumbnail_cut, a_second_time_there_is_nothing_to_cut) {
  EXPECT_TRUE(drop_embedded_exif_thumbnail(photo));
  machine.calls.clear();
  EXPECT_FALSE(drop_embedded_exif_thumbnail(photo));
  EXPECT_EQ(machine.calls.count("write"), 0U);
}

TEST_F(thumbnail_cut, is_for_the_four_jpeg_extensions_in_either_case) {
  for (const wchar_t* path : {LR"(C:\a.jpg)", LR"(C:\a.jpeg)", LR"(C:\a.jpe)", LR"(C:\a.JFIF)"}) {
    machine.write_file(path, jpeg(1));
    EXPECT_TRUE(drop_embedded_exif_thumbnail(path));
  }
  machine.calls.clear();
  for (const wchar_t* path : {LR"(C:\a.png)", LR"(C:\a)", LR"(C:\jpg)"}) {
    machine.write_file(path, jpeg(1));
    EXPECT_FALSE(drop_embedded_exif_thumbnail(path));
  }
  EXPECT_THAT(machine.calls.all(), IsEmpty());
}

TEST_F(thumbnail_cut, looks_at_the_first_256_kibibytes_only) {
  const std::string filler(65533, 'x');
  const auto app2 = [&](std::size_t size) { return jpeg_bytes::segment(0xe2, filler.substr(0, size)); };
  // Four segments in front, so that the Exif segment ends with the last byte that is read.
  const std::size_t exif_size = jpeg_bytes::exif_segment(jpeg_bytes::tiff(true, 1, 9)).size();
  const std::size_t last = 0x40000 - 2 - 3 * 65537 - exif_size - 4;
  const std::string three = app2(65533) + app2(65533) + app2(65533);
  machine.write_file(photo, jpeg(9, three + app2(last)));
  EXPECT_TRUE(drop_embedded_exif_thumbnail(photo));
  EXPECT_EQ(machine.calls.named({"read"}).back(), R"(read(C:\photo.jpg, 262144))");
  machine.write_file(photo, jpeg(9, three + app2(last + 1)));
  EXPECT_FALSE(drop_embedded_exif_thumbnail(photo));
}

TEST_F(thumbnail_cut, a_file_in_use_is_false) {
  const other_program reader(machine, photo, access::read, share::all);
  EXPECT_FALSE(drop_embedded_exif_thumbnail(photo));
}

TEST_F(thumbnail_cut, a_file_too_short_for_a_jpeg_is_false) {
  for (const std::string_view content : {""sv, "\xff\xd8"sv, "\xff\xd8\xff"sv}) {
    machine.write_file(photo, content);
    EXPECT_FALSE(drop_embedded_exif_thumbnail(photo));
  }
}

TEST_F(thumbnail_cut, every_failing_step_is_false_and_raises_nothing) {
  for (const char* step : {"open", "size", "read", "seek", "write", "close"}) {
    machine.write_file(photo, jpeg(1));
    machine.calls.refuse(step, photo, win32_error::write_fault, 1);
    EXPECT_FALSE(drop_embedded_exif_thumbnail(photo)) << step;
  }
}

TEST_F(thumbnail_cut, no_memory_for_the_start_is_false) {
  machine.write_file(photo, jpeg(1) + std::string(large, 'x'));
  const support::allocation_fault fault(1, large);
  EXPECT_FALSE(drop_embedded_exif_thumbnail(photo));
  EXPECT_TRUE(fault.struck());
  EXPECT_EQ(machine.calls.count("write"), 0U);
}

TEST_F(thumbnail_cut, a_short_read_is_false) {
  machine.calls.before("read", 1, [this] { machine.entry(photo).content.pop_back(); });
  EXPECT_FALSE(drop_embedded_exif_thumbnail(photo));
}

}  // namespace

}  // namespace quill_box::metadata
