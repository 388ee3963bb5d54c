#include "platform/host/media/mp3_rating.h"

#include <gtest/gtest.h>

#include "support/media/containers.h"
#include "support/media/plans.h"
#include "support/media/tools.h"

namespace {

using namespace test_support;
using platform::handler_access;
using platform::hresult;
using platform::host::media::mp3_rating;

constexpr unsigned unsynchronised = 0x80;
constexpr unsigned extended = 0x40;
constexpr unsigned footer = 0x10;

struct version_case {
  int version;
  const char* title;
  const char* rating;
};
constexpr version_case versions[] = {{2, "TT2", "POP"}, {3, "TIT2", "POPM"}, {4, "TIT2", "POPM"}};

std::string own_frame(int version, unsigned rating, const std::string& counter = zeros(4)) {
  return id3_frame(version, version == 2 ? "POP" : "POPM", popularimeter_data(windows_player, rating, counter));
}
std::string foreign_frame(int version, unsigned rating, const std::string& counter = zeros(4)) {
  return id3_frame(version, version == 2 ? "POP" : "POPM", popularimeter_data("no@email", rating, counter));
}
std::string title(int version) { return id3_frame(version, version == 2 ? "TT2" : "TIT2", zeros(1) + "Song"); }

std::optional<std::uint32_t> read_rating(const std::string& file) {
  const auto answer = rating_of(mp3_rating, file);
  EXPECT_EQ(answer.code, hresult::ok);
  return answer.percent;
}

std::string rated(const std::string& file, std::uint32_t percent) {
  auto change = change_rating(mp3_rating, file, percent);
  EXPECT_EQ(change.code, hresult::ok);
  return change.bytes;
}

void expect_refused(const std::string& file) {
  EXPECT_EQ(rating_of(mp3_rating, file, handler_access::read_write).code, hresult::fail);
}

TEST(mp3_rating, bytes_are_read_by_the_bands_of_windows) {
  const std::pair<unsigned, std::optional<std::uint32_t>> rows[] = {
      {0, {}},   {1, 1},    {31, 1},   {32, 25},  {64, 25},  {95, 25},  {96, 50},
      {128, 50}, {159, 50}, {160, 75}, {196, 75}, {223, 75}, {224, 99}, {255, 99}};
  for (const auto& [byte, percent] : rows) {
    EXPECT_EQ(read_rating(id3_tag(3, own_frame(3, byte)) + mpeg_audio()), percent) << byte;
  }
}

TEST(mp3_rating, stars_are_stored_as_windows_stores_them) {
  const std::pair<std::uint32_t, unsigned> rows[] = {{1, 1}, {25, 64}, {50, 128}, {75, 196}, {99, 255}, {100, 255}};
  for (const auto& [percent, byte] : rows) {
    for (const auto& version : versions) {
      const std::string file = id3_tag(version.version, title(version.version) + zeros(100)) + mpeg_audio();
      const std::string expected = id3_tag(version.version, title(version.version) + own_frame(version.version, byte) +
                                                                zeros(100 - own_frame(version.version, byte).size())) +
                                   mpeg_audio();
      EXPECT_EQ(rated(file, percent), expected) << percent << " in version " << version.version;
    }
  }
}

TEST(mp3_rating, the_frame_of_windows_goes_before_an_earlier_one) {
  EXPECT_EQ(read_rating(id3_tag(3, foreign_frame(3, 255) + own_frame(3, 64)) + mpeg_audio()), 25);
}

TEST(mp3_rating, without_the_frame_of_windows_the_first_one_counts) {
  EXPECT_EQ(read_rating(id3_tag(3, foreign_frame(3, 255) + id3_frame(3, "POPM", popularimeter_data("b", 1, ""))) +
                        mpeg_audio()),
            99);
}

TEST(mp3_rating, a_tag_without_the_frame_has_no_rating) {
  EXPECT_EQ(read_rating(id3_tag(3, title(3)) + mpeg_audio()), std::nullopt);
}

TEST(mp3_rating, a_file_without_a_tag_has_no_rating) { EXPECT_EQ(read_rating(mpeg_audio()), std::nullopt); }

TEST(mp3_rating, only_the_rating_byte_changes_where_the_frame_is_there) {
  for (const auto& version : versions) {
    const auto at = [&](unsigned rating) {
      return id3_tag(version.version,
                     own_frame(version.version, rating, "\x01\x02\x03\x04\x05") + title(version.version)) +
             mpeg_audio();
    };
    const auto change = change_rating(mp3_rating, at(64), 99);
    EXPECT_EQ(change.bytes, at(255));
    ASSERT_EQ(change.plan.size(), 1U);
    EXPECT_EQ(change.plan[0].erase, 1U);
    EXPECT_EQ(change.plan[0].bytes, "\xff");
  }
}

TEST(mp3_rating, the_same_rating_writes_nothing) {
  const std::string file = id3_tag(3, own_frame(3, 186)) + mpeg_audio();
  EXPECT_TRUE(change_rating(mp3_rating, file, 75).plan.empty());
}

TEST(mp3_rating, removing_a_rating_that_is_not_there_writes_nothing) {
  EXPECT_TRUE(change_rating(mp3_rating, mpeg_audio(), 0).plan.empty());
  EXPECT_TRUE(change_rating(mp3_rating, id3_tag(4, title(4)) + mpeg_audio(), 0).plan.empty());
}

TEST(mp3_rating, a_value_out_of_the_scale_is_refused) {
  EXPECT_EQ(change_rating(mp3_rating, mpeg_audio(), 500).code, hresult::invalid_argument);
  EXPECT_EQ(change_rating(mp3_rating, mpeg_audio(), 101).code, hresult::invalid_argument);
}

TEST(mp3_rating, removal_turns_the_frame_into_padding) {
  for (const auto& version : versions) {
    const int v = version.version;
    const std::string own = own_frame(v, 196);
    const std::string file = id3_tag(v, foreign_frame(v, 0) + own + title(v) + zeros(10)) + mpeg_audio();
    const auto change = change_rating(mp3_rating, file, 0);
    EXPECT_EQ(change.bytes, id3_tag(v, foreign_frame(v, 0) + title(v) + zeros(10 + own.size())) + mpeg_audio());
    EXPECT_TRUE(is_in_place(change.plan));
  }
}

TEST(mp3_rating, removal_keeps_another_rating_from_showing_through) {
  const std::string file = id3_tag(3, foreign_frame(3, 255) + own_frame(3, 196)) + mpeg_audio();
  EXPECT_EQ(rated(file, 0), id3_tag(3, foreign_frame(3, 255) + own_frame(3, 0)) + mpeg_audio());
  const std::string other = id3_tag(3, foreign_frame(3, 255) + zeros(60)) + mpeg_audio();
  EXPECT_EQ(read_rating(rated(other, 0)), std::nullopt);
  EXPECT_NE(rated(other, 0).find(foreign_frame(3, 255)), std::string::npos);
}

TEST(mp3_rating, a_tag_without_room_grows_and_the_next_change_is_in_place) {
  for (const auto& version : versions) {
    const int v = version.version;
    const std::string file = id3_tag(v, title(v)) + mpeg_audio() + "TAG" + std::string(125, 'x');
    const auto first = change_rating(mp3_rating, file, 75);
    EXPECT_EQ(first.bytes,
              id3_tag(v, title(v) + own_frame(v, 196) + zeros(2048)) + mpeg_audio() + "TAG" + std::string(125, 'x'));
    const auto second = change_rating(mp3_rating, first.bytes, 1);
    EXPECT_TRUE(is_in_place(second.plan));
    const auto third = change_rating(mp3_rating, second.bytes, 0);
    EXPECT_TRUE(is_in_place(third.plan));
    EXPECT_TRUE(is_in_place(change_rating(mp3_rating, third.bytes, 99).plan));
  }
}

TEST(mp3_rating, padding_that_fits_exactly_is_used_up) {
  const std::string own = own_frame(3, 255);
  const std::string file = id3_tag(3, title(3) + zeros(own.size())) + mpeg_audio();
  EXPECT_EQ(rated(file, 99), id3_tag(3, title(3) + own) + mpeg_audio());
}

TEST(mp3_rating, a_file_without_a_tag_gets_one_in_front) {
  EXPECT_EQ(rated(mpeg_audio(), 50), id3_tag(3, own_frame(3, 128) + zeros(2048)) + mpeg_audio());
}

TEST(mp3_rating, a_file_without_a_tag_that_is_no_mpeg_audio_is_refused) {
  expect_refused("");
  expect_refused("\xff");
  expect_refused("RIFF" + zeros(1000));
  expect_refused(zeros(10) + mpeg_audio());
  expect_refused(mpeg_audio().substr(0, 417) + zeros(417));
  expect_refused("OggS" + mpeg_audio());
}

TEST(mp3_rating, a_single_audio_frame_is_enough) {
  EXPECT_EQ(rating_of(mp3_rating, mpeg_audio().substr(0, 417)).code, hresult::ok);
}

std::string spread(const std::string& content) {
  std::string bytes;
  for (std::size_t i = 0; i < content.size(); ++i) {
    bytes += content[i];
    const unsigned next = i + 1 < content.size() ? static_cast<unsigned char>(content[i + 1]) : 0;
    if (content[i] == '\xff' && (next >= 0xe0 || next == 0)) bytes += '\0';
  }
  return bytes;
}

TEST(mp3_rating, tag_wide_unsynchronisation_is_kept) {
  for (const int v : {2, 3}) {
    const std::string picture = id3_frame(v, v == 2 ? "PIC" : "APIC", "\xff\xd8\xff\xe0\xff" + zeros(3) + "\xff");
    const std::string file = id3_tag(v, spread(picture + own_frame(v, 64)) + zeros(50), unsynchronised) + mpeg_audio();
    EXPECT_EQ(read_rating(file), 25);
    const std::string changed = rated(file, 99);
    EXPECT_EQ(changed, id3_tag(v, spread(picture + own_frame(v, 255)) + zeros(49), unsynchronised) + mpeg_audio());
    EXPECT_EQ(rated(changed, 25), file);
    EXPECT_EQ(rated(file, 0),
              id3_tag(v, spread(picture) + zeros(file.size() - mpeg_audio().size() - 10 - spread(picture).size()),
                      unsynchronised) +
                  mpeg_audio());
  }
}

TEST(mp3_rating, an_unsynchronised_tag_without_room_grows_for_a_single_byte) {
  const std::string file = id3_tag(3, spread(own_frame(3, 64)), unsynchronised) + mpeg_audio();
  EXPECT_EQ(rated(file, 99), id3_tag(3, spread(own_frame(3, 255)) + zeros(2048), unsynchronised) + mpeg_audio());
}

TEST(mp3_rating, a_tag_that_only_claims_to_be_unsynchronised_is_refused) {
  expect_refused(id3_tag(3, id3_frame(3, "APIC", "\xff\xe0\xff\xe1"), unsynchronised) + mpeg_audio());
  expect_refused(id3_tag(3, id3_frame(3, "APIC", "\xff" + zeros(1) + "abc"), unsynchronised) + mpeg_audio());
}

TEST(mp3_rating, an_extended_header_keeps_its_account_of_the_padding) {
  const auto head = [](std::uint64_t padding) { return big(6, 4) + zeros(2) + big(padding, 4); };
  const std::string own = own_frame(3, 64);
  const std::string file = id3_tag(3, head(100) + title(3) + zeros(100), extended) + mpeg_audio();
  const std::string expected = id3_tag(3, head(100 - own.size()) + title(3) + own + zeros(100 - own.size()), extended);
  EXPECT_EQ(rated(file, 25), expected + mpeg_audio());
  EXPECT_EQ(rated(rated(file, 25), 0), file);
  const std::string full = id3_tag(3, head(0) + title(3), extended) + mpeg_audio();
  EXPECT_EQ(rated(full, 25), id3_tag(3, head(2048) + title(3) + own + zeros(2048), extended) + mpeg_audio());
}

TEST(mp3_rating, an_extended_header_with_another_account_of_the_padding_is_read_only) {
  const std::string file = id3_tag(3, big(6, 4) + zeros(2) + big(7, 4) + own_frame(3, 64) + zeros(100), extended);
  EXPECT_EQ(read_rating(file), 25);
  expect_refused(file);
  EXPECT_EQ(change_rating(mp3_rating, file, 99).code, hresult::imaging_property_not_supported);
}

TEST(mp3_rating, a_tag_with_a_checksum_is_read_only) {
  const std::string v3 = id3_tag(3, big(10, 4) + big(0x8000, 2) + zeros(4) + "crc!" + own_frame(3, 64), extended);
  const std::string v4 = id3_tag(4, synchsafe(12) + "\x01\x20\x05" + "crc!!" + own_frame(4, 64), extended);
  for (const std::string& file : {v3, v4}) {
    EXPECT_EQ(read_rating(file), 25);
    expect_refused(file);
    EXPECT_EQ(change_rating(mp3_rating, file, 0).code, hresult::imaging_property_not_supported);
  }
}

TEST(mp3_rating, an_extended_header_of_version_4_stays) {
  const std::string head = synchsafe(7) + "\x01\x40" + zeros(1);
  const std::string file = id3_tag(4, head + title(4) + zeros(60), extended) + mpeg_audio();
  EXPECT_EQ(rated(file, 75), id3_tag(4, head + title(4) + own_frame(4, 196) + zeros(60 - 45), extended) + mpeg_audio());
}

std::string with_footer(const std::string& content) {
  const std::string tag = id3_tag(4, content, footer);
  return tag + "3DI" + tag.substr(3, 7);
}

TEST(mp3_rating, a_tag_with_a_footer_grows_and_shrinks_without_padding) {
  const std::string file = with_footer(title(4)) + mpeg_audio();
  const std::string expected = with_footer(title(4) + own_frame(4, 128)) + mpeg_audio();
  EXPECT_EQ(rated(file, 50), expected);
  EXPECT_TRUE(is_in_place(change_rating(mp3_rating, expected, 75).plan));
  EXPECT_EQ(rated(expected, 0), file);
}

TEST(mp3_rating, a_footer_that_contradicts_the_header_is_refused) {
  std::string file = with_footer(title(4));
  file.back() = 1;
  expect_refused(file + mpeg_audio());
  expect_refused(with_footer(title(4) + zeros(10)) + mpeg_audio());
  expect_refused(id3_tag(4, title(4), footer));
}

TEST(mp3_rating, a_frame_with_its_own_unsynchronisation_is_kept_so) {
  const auto frame = [](unsigned rating) {
    const std::string data = popularimeter_data(windows_player, rating, zeros(4));
    return id3_frame(4, "POPM", synchsafe(data.size()) + spread(data), 0x03);
  };
  const std::string file = id3_tag(4, frame(64) + title(4) + zeros(9)) + mpeg_audio();
  EXPECT_EQ(read_rating(file), 25);
  EXPECT_EQ(rated(file, 99), id3_tag(4, frame(255) + title(4) + zeros(8)) + mpeg_audio());
  EXPECT_EQ(rated(rated(file, 99), 25), file);
}

TEST(mp3_rating, a_new_frame_joins_the_unsynchronisation_of_its_tag) {
  const std::string file =
      id3_tag(4, id3_frame(4, "TIT2", zeros(1) + "x", 0x02) + zeros(100), unsynchronised) + mpeg_audio();
  const std::string data = popularimeter_data(windows_player, 255, zeros(4));
  const std::string expected = id3_frame(4, "TIT2", zeros(1) + "x", 0x02) + id3_frame(4, "POPM", spread(data), 0x02);
  const std::string changed = rated(file, 99);
  EXPECT_EQ(changed.substr(10, expected.size()), expected);
  EXPECT_EQ(read_rating(changed), 99);
}

TEST(mp3_rating, a_grouped_frame_keeps_its_group) {
  const std::string data = popularimeter_data(windows_player, 64, zeros(4));
  const std::string v3 = id3_frame(3, "POPM", "\x42" + data, 0x20);
  EXPECT_EQ(read_rating(id3_tag(3, v3)), 25);
  EXPECT_EQ(change_rating(mp3_rating, id3_tag(3, v3), 99).plan.at(0).offset, id3_tag(3, v3).size() - 5);
  const std::string v4 = id3_frame(4, "POPM", "\x42" + data, 0x40);
  EXPECT_EQ(read_rating(id3_tag(4, v4)), 25);
}

TEST(mp3_rating, a_compressed_or_encrypted_rating_is_refused) {
  const std::string data = popularimeter_data(windows_player, 64, zeros(4));
  for (const unsigned flags : {0x80U, 0x40U, 0x01U})
    expect_refused(id3_tag(3, id3_frame(3, "POPM", data, flags)));
  for (const unsigned flags : {0x08U, 0x04U, 0x10U})
    expect_refused(id3_tag(4, id3_frame(4, "POPM", data, flags)));
}

TEST(mp3_rating, another_compressed_frame_stays) {
  const std::string other = id3_frame(3, "APIC", big(1000, 4) + "deflated", 0x80);
  const std::string file = id3_tag(3, other + zeros(100)) + mpeg_audio();
  EXPECT_EQ(rated(file, 25), id3_tag(3, other + own_frame(3, 64) + zeros(100 - 45)) + mpeg_audio());
}

TEST(mp3_rating, plain_frame_sizes_in_version_4_are_read_and_kept) {
  const auto plain = [](const std::string& data) { return "APIC" + big(data.size(), 4) + zeros(2) + data; };
  const std::string file = id3_tag(4, plain(std::string(300, 'p')) + own_frame(4, 64) + zeros(100)) + mpeg_audio();
  EXPECT_EQ(read_rating(file), 25);
  const auto change = change_rating(mp3_rating, file, 75);
  ASSERT_EQ(change.plan.size(), 1U);
  EXPECT_EQ(change.plan[0].erase, 1U);
  EXPECT_EQ(read_rating(change.bytes), 75);
}

TEST(mp3_rating, frame_sizes_that_can_be_read_both_ways_are_refused) {
  // 0x100 is 256 as a plain number and 128 as a synchsafe one; both ends are followed by zeros or the end.
  expect_refused(id3_tag(4, "APIC" + big(0x100, 4) + zeros(2) + std::string(128, 'p') + zeros(128)) + mpeg_audio());
}

TEST(mp3_rating, chapters_keep_pointing_at_their_sound) {
  const auto chapter = [](std::uint64_t start, std::uint64_t end) {
    return id3_frame(3, "CHAP", "c1" + zeros(1) + big(0, 4) + big(1000, 4) + big(start, 4) + big(end, 4) + title(3));
  };
  const std::size_t before = id3_tag(3, chapter(0, 0)).size();
  const std::string file = id3_tag(3, chapter(before, before + 417)) + mpeg_audio();
  const std::string own = own_frame(3, 196);
  const std::size_t after = before + own.size() + 2048;
  EXPECT_EQ(rated(file, 75), id3_tag(3, chapter(after, after + 417) + own + zeros(2048)) + mpeg_audio());
}

TEST(mp3_rating, chapters_without_positions_stay) {
  const auto chapter = id3_frame(3, "CHAP", "c1" + zeros(1) + big(0, 4) + big(9, 4) + big(0xffffffff, 4) + zeros(4));
  const std::string file = id3_tag(3, chapter) + mpeg_audio();
  EXPECT_EQ(rated(file, 75), id3_tag(3, chapter + own_frame(3, 196) + zeros(2048)) + mpeg_audio());
}

TEST(mp3_rating, a_tag_with_chapters_that_can_not_be_moved_does_not_grow) {
  const auto far = id3_frame(3, "CHAP", "c1" + zeros(9) + big(0xfffffff0, 4) + zeros(4));
  for (const std::string& frame : {far, id3_frame(3, "CHAP", "c1"), id3_frame(4, "ASPI", zeros(12))}) {
    const int version = frame.starts_with("ASPI") ? 4 : 3;
    const std::string file = id3_tag(version, frame) + mpeg_audio();
    EXPECT_EQ(change_rating(mp3_rating, file, 75).code, hresult::imaging_property_not_supported);
    const std::string roomy = id3_tag(version, frame + zeros(100)) + mpeg_audio();
    EXPECT_TRUE(is_in_place(change_rating(mp3_rating, roomy, 75).plan));
    EXPECT_EQ(read_rating(rated(roomy, 75)), 75);
  }
}

TEST(mp3_rating, tags_that_can_not_be_decoded_are_refused) {
  expect_refused(id3_tag(1, title(3)) + mpeg_audio());
  expect_refused(id3_tag(5, title(3)) + mpeg_audio());
  expect_refused(id3_tag(2, title(2), 0x40) + mpeg_audio());  // compressed as a whole
  expect_refused(id3_tag(3, title(3), 0x10) + mpeg_audio());
  expect_refused(id3_tag(4, title(4), 0x08) + mpeg_audio());
  expect_refused(id3_tag(3, title(3) + zeros(5) + "x") + mpeg_audio());
  expect_refused(id3_tag(3, "tit2" + big(1, 4) + zeros(3)) + mpeg_audio());
  expect_refused(id3_tag(3, "TIT2" + big(1000, 4) + zeros(3)) + mpeg_audio());
  expect_refused(id3_tag(3, id3_frame(3, "POPM", windows_player)) + mpeg_audio());
  expect_refused(id3_tag(3, id3_frame(3, "POPM", windows_player + zeros(1))) + mpeg_audio());
  expect_refused(id3_tag(3, id3_frame(3, "POPM", "")) + mpeg_audio());
  std::string tag = id3_tag(3, title(3));
  tag[9] = '\x80';
  expect_refused(tag + mpeg_audio());
}

TEST(mp3_rating, a_file_cut_anywhere_in_its_tag_is_refused) {
  const std::string tag = id3_tag(3, title(3) + own_frame(3, 64) + foreign_frame(3, 1) + zeros(20));
  for (std::size_t length = 0; length < tag.size(); ++length)
    expect_refused(tag.substr(0, length));
  EXPECT_EQ(read_rating(tag), 25);
}

TEST(mp3_rating, lying_sizes_never_give_a_plan_that_reads_differently) {
  const std::string file = id3_tag(4, title(4) + own_frame(4, 64) + foreign_frame(4, 1) + zeros(20)) + mpeg_audio();
  for (std::size_t at = 3; at < file.size() - mpeg_audio().size(); ++at) {
    for (const char value : {'\0', '\x01', '\x7f', '\x80', '\xff'}) {
      std::string lying = file;
      lying[at] = value;
      const auto change = change_rating(mp3_rating, lying, 99);
      if (change.code != hresult::ok) continue;
      EXPECT_EQ(rating_of(mp3_rating, change.bytes).percent, 99) << at;
      EXPECT_TRUE(change.bytes.ends_with(mpeg_audio())) << at;
    }
  }
}

TEST(mp3_rating, other_programs_read_what_was_written_to_a_real_file) {
  const media_folder folder;
  output_of(
      "ffmpeg -nostdin -v error -f lavfi -i sine=d=2 -f wav - | lame --quiet --add-id3v2 --tt Title --ta Artist - " +
      folder.file("a.mp3"));
  output_of("ffmpeg -nostdin -v error -f lavfi -i sine=d=2 -f wav - | lame --quiet --id3v1-only --tt Title - " +
            folder.file("b.mp3"));
  output_of("ffmpeg -nostdin -v error -f lavfi -i sine=d=2 -metadata title=Title -id3v2_version 4 " +
            folder.file("c.mp3"));
  for (const char* name : {"a.mp3", "b.mp3", "c.mp3"}) {
    const std::string path = folder.file(name);
    const std::string original = read_file(path);
    const std::string sum = decoded_sum(path);
    write_file(path, rated(original, 75));
    EXPECT_EQ(exif_value(path, "Popularimeter"), "Windows Media Player 9 Series 196 0") << name;
    EXPECT_EQ(exif_value(path, "Title"), "Title") << name;
    EXPECT_EQ(decoded_sum(path), sum) << name;
    const auto second = change_rating(mp3_rating, read_file(path), 99);
    EXPECT_TRUE(is_in_place(second.plan)) << name;
    write_file(path, second.bytes);
    EXPECT_EQ(exif_value(path, "Popularimeter"), "Windows Media Player 9 Series 255 0") << name;
    const auto third = change_rating(mp3_rating, second.bytes, 0);
    EXPECT_TRUE(is_in_place(third.plan)) << name;
    write_file(path, third.bytes);
    EXPECT_EQ(exif_value(path, "Popularimeter"), "") << name;
    EXPECT_EQ(exif_value(path, "Title"), "Title") << name;
    EXPECT_EQ(decoded_sum(path), sum) << name;
  }
}

TEST(mp3_rating, an_unsynchronised_rating_is_read_by_other_programs) {
  const media_folder folder;
  const std::string v3 = id3_tag(3, spread(title(3) + own_frame(3, 64)) + zeros(50), unsynchronised) + mpeg_audio();
  const std::string v4 =
      id3_tag(4, id3_frame(4, "TIT2", zeros(1) + "x", 0x02) + zeros(90), unsynchronised) + mpeg_audio();
  for (const std::string& file : {v3, v4}) {
    write_file(folder.file("u.mp3"), rated(file, 99));
    EXPECT_EQ(exif_value(folder.file("u.mp3"), "Popularimeter"), "Windows Media Player 9 Series 255 0");
  }
}

}  // namespace
