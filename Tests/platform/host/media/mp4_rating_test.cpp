#include "platform/host/media/mp4_rating.h"

#include <gtest/gtest.h>

#include "support/media/containers.h"
#include "support/media/plans.h"
#include "support/media/tools.h"

namespace {

using namespace test_support;
using platform::handler_access;
using platform::hresult;
using platform::host::media::mp4_rating;

const std::string sound = "the bytes of the first chunk, and of the second";

std::string movie(const std::string& children) { return mp4_atom("moov", mp4_atom("mvhd", zeros(100)) + children); }
std::string user_data(const std::string& children) { return mp4_atom("udta", children); }
std::string rated_user_data(std::uint64_t percent) { return user_data(mp4_atom("Xtra", rating_entry(percent))); }
std::string free_room(std::size_t size) { return mp4_atom("free", zeros(size - 8)); }

std::optional<std::uint32_t> read_rating(const std::string& file) {
  const auto answer = rating_of(mp4_rating, file);
  EXPECT_EQ(answer.code, hresult::ok);
  return answer.percent;
}

change_answer changed(const std::string& file, std::uint32_t percent) {
  auto change = change_rating(mp4_rating, file, percent);
  EXPECT_EQ(change.code, hresult::ok);
  EXPECT_EQ(read_rating(change.bytes).value_or(0), percent);
  return change;
}

void expect_refused(const std::string& file) {
  EXPECT_EQ(rating_of(mp4_rating, file, handler_access::read_write).code, hresult::fail);
}

void expect_unchangeable(const std::string& file) {
  EXPECT_EQ(rating_of(mp4_rating, file).code, hresult::ok);
  EXPECT_EQ(change_rating(mp4_rating, file, 75).code, hresult::imaging_property_not_supported);
}

/// A file with its movie in front, whose track points at two chunks of the sound.
std::string fast_start(const std::string& more, const std::string& between = "", std::size_t width = 4) {
  const std::size_t size = mp4_ftyp().size() + movie(mp4_track({0, 0}, width) + more).size() + between.size() + 8;
  return mp4_ftyp() + movie(mp4_track({size, size + 10}, width) + more) + between + mp4_atom("mdat", sound);
}

/// The positions in the file's first chunk offset table.
std::vector<std::uint64_t> chunk_offsets(const std::string& file) {
  const bool wide = file.find("co64") != std::string::npos;
  const std::size_t at = file.find(wide ? "co64" : "stco") + 8;
  std::vector<std::uint64_t> offsets;
  for (std::size_t i = 0; i < big_at(file, at, 4); ++i)
    offsets.push_back(big_at(file, at + 4 + i * (wide ? 8 : 4), wide ? 8 : 4));
  return offsets;
}

void expect_sound(const std::string& file) {
  const auto offsets = chunk_offsets(file);
  ASSERT_EQ(offsets.size(), 2U);
  EXPECT_EQ(file.substr(offsets[0], sound.size()), sound);
  EXPECT_EQ(file.substr(offsets[1], sound.size() - 10), sound.substr(10));
}

TEST(mp4_rating, the_percent_value_is_read) {
  for (const std::uint32_t percent : {0U, 1U, 25U, 50U, 75U, 99U, 500U}) {
    EXPECT_EQ(read_rating(mp4_ftyp() + movie(rated_user_data(percent))), percent);
  }
}

TEST(mp4_rating, a_file_without_the_property_has_no_rating) {
  EXPECT_EQ(read_rating(mp4_ftyp() + movie("")), std::nullopt);
  EXPECT_EQ(read_rating(mp4_ftyp() + movie(user_data(""))), std::nullopt);
  EXPECT_EQ(read_rating(mp4_ftyp() + movie(user_data(mp4_atom("Xtra", xtra_entry("WM/Genre", 8, utf16("x")))))),
            std::nullopt);
}

TEST(mp4_rating, a_file_that_starts_with_its_movie_is_read) { EXPECT_EQ(read_rating(movie(rated_user_data(75))), 75); }

TEST(mp4_rating, only_the_value_changes_where_the_property_is_there) {
  const auto at = [](std::uint64_t percent) {
    const std::string before = xtra_entry("WM/Genre", 8, utf16("Rock"));
    return mp4_ftyp() + movie(user_data(mp4_atom("Xtra", before + rating_entry(percent) + before))) +
           mp4_atom("mdat", sound);
  };
  const auto change = changed(at(25), 99);
  EXPECT_EQ(change.bytes, at(99));
  ASSERT_EQ(change.plan.size(), 1U);
  EXPECT_EQ(change.plan[0].erase, 1U);
}

TEST(mp4_rating, the_same_rating_writes_nothing) {
  EXPECT_TRUE(changed(mp4_ftyp() + movie(rated_user_data(75)), 75).plan.empty());
  EXPECT_TRUE(changed(mp4_ftyp() + movie(""), 0).plan.empty());
}

TEST(mp4_rating, a_value_out_of_the_scale_is_stored_as_given) {
  EXPECT_EQ(read_rating(changed(mp4_ftyp() + movie(""), 500).bytes), 500);
}

TEST(mp4_rating, a_movie_at_the_end_grows_with_room_for_the_next_time) {
  const std::string track = mp4_track({mp4_ftyp().size() + 8, mp4_ftyp().size() + 18});
  const std::string file = mp4_ftyp() + mp4_atom("mdat", sound) + movie(track);
  const auto first = changed(file, 75);
  EXPECT_EQ(first.bytes, mp4_ftyp() + mp4_atom("mdat", sound) + movie(track + rated_user_data(75) + free_room(1024)));
  expect_sound(first.bytes);
  EXPECT_TRUE(is_in_place(changed(first.bytes, 1).plan));
}

TEST(mp4_rating, user_data_that_is_there_is_added_to_in_front_of_its_final_zero) {
  const std::string name = mp4_atom("name", "Film");
  const std::string file = mp4_ftyp() + movie(user_data(name + zeros(4)) + mp4_atom("iods", zeros(4)));
  const std::string expected = user_data(name + mp4_atom("Xtra", rating_entry(50)) + zeros(4)) + free_room(1024);
  EXPECT_EQ(changed(file, 50).bytes, mp4_ftyp() + movie(expected + mp4_atom("iods", zeros(4))));
}

TEST(mp4_rating, other_properties_stay) {
  const std::string other = xtra_entry("WM/Genre", 8, utf16("Rock")) + xtra_entry("Unknown", 77, "?");
  const std::string file = mp4_ftyp() + movie(user_data(mp4_atom("Xtra", other)));
  const auto change = changed(file, 50);
  EXPECT_EQ(change.bytes, mp4_ftyp() + movie(user_data(mp4_atom("Xtra", other + rating_entry(50))) + free_room(1024)));
  const auto removal = changed(change.bytes, 0);
  EXPECT_TRUE(is_in_place(removal.plan));
  EXPECT_EQ(removal.bytes, mp4_ftyp() + movie(user_data(mp4_atom("Xtra", other) + free_room(rating_entry(1).size())) +
                                              free_room(1024)));
}

TEST(mp4_rating, what_a_removal_sets_free_serves_the_next_rating) {
  const std::string file = fast_start(rated_user_data(75));
  const auto removal = changed(file, 0);
  EXPECT_TRUE(is_in_place(removal.plan));
  EXPECT_EQ(removal.bytes.find("WM/SharedUserRating"), std::string::npos);
  expect_sound(removal.bytes);
  const auto again = changed(removal.bytes, 75);
  EXPECT_TRUE(is_in_place(again.plan));
  EXPECT_EQ(again.bytes, file);
}

TEST(mp4_rating, room_in_the_user_data_is_taken) {
  const std::string file =
      mp4_ftyp() + movie(user_data(mp4_atom("name", "x") + free_room(200) + mp4_atom("cprt", "y")));
  const std::size_t size = 8 + rating_entry(1).size();
  const auto change = changed(file, 1);
  EXPECT_TRUE(is_in_place(change.plan));
  EXPECT_EQ(change.bytes, mp4_ftyp() + movie(user_data(mp4_atom("name", "x") + free_room(200 - size) +
                                                       mp4_atom("cprt", "y") + mp4_atom("Xtra", rating_entry(1)))));
}

TEST(mp4_rating, room_in_the_movie_is_taken) {
  const std::string file = fast_start(free_room(100) + mp4_atom("iods", zeros(4)));
  const auto change = changed(file, 25);
  EXPECT_TRUE(is_in_place(change.plan));
  EXPECT_EQ(change.bytes.size(), file.size());
  expect_sound(change.bytes);
}

TEST(mp4_rating, room_behind_the_movie_is_taken) {
  for (const char* type : {"free", "skip"}) {
    const std::string file = fast_start("", mp4_atom(type, zeros(92)));
    const auto change = changed(file, 25);
    EXPECT_TRUE(is_in_place(change.plan));
    const std::size_t taken = rated_user_data(25).size();
    EXPECT_EQ(change.bytes,
              mp4_ftyp() + movie(file.substr(file.find("trak") - 4, mp4_track({0, 0}).size()) + rated_user_data(25)) +
                  mp4_atom(type, zeros(92 - taken)) + mp4_atom("mdat", sound));
    expect_sound(change.bytes);
  }
}

TEST(mp4_rating, room_that_fits_exactly_is_used_up_and_room_that_would_leave_a_scrap_is_not) {
  const std::size_t need = rated_user_data(25).size();
  EXPECT_TRUE(is_in_place(changed(fast_start("", free_room(need)), 25).plan));
  EXPECT_FALSE(is_in_place(changed(fast_start("", free_room(need + 7)), 25).plan));
  EXPECT_TRUE(is_in_place(changed(fast_start("", free_room(need + 8)), 25).plan));
  EXPECT_FALSE(is_in_place(changed(fast_start("", free_room(8)), 25).plan));
}

TEST(mp4_rating, chunk_offsets_move_with_what_they_point_at) {
  for (const std::size_t width : {4U, 8U}) {
    for (const std::string& more : {std::string(), user_data(mp4_atom("name", "x"))}) {
      const std::string file = fast_start(more, free_room(8), width);
      const auto change = changed(file, 99);
      EXPECT_GT(change.bytes.size(), file.size() + 1000);
      expect_sound(change.bytes);
      EXPECT_TRUE(change.bytes.ends_with(free_room(8) + mp4_atom("mdat", sound)));
      EXPECT_TRUE(is_in_place(changed(change.bytes, 25).plan));
    }
  }
}

TEST(mp4_rating, every_track_moves) {
  const auto with = [](std::uint64_t first, std::uint64_t second) {
    return mp4_ftyp() + movie(mp4_track({first}) + mp4_track({second}, 8)) + mp4_atom("mdat", sound);
  };
  const std::size_t start = with(0, 0).size() - sound.size();
  const auto change = changed(with(start, start + 10), 99);
  const std::size_t growth = change.bytes.size() - with(0, 0).size();
  const std::string tracks = mp4_track({start + growth}) + mp4_track({start + growth + 10}, 8);
  EXPECT_NE(change.bytes.find(tracks), std::string::npos);
}

TEST(mp4_rating, chunks_in_front_of_the_movie_stay) {
  const std::size_t before = mp4_ftyp().size() + 8;
  const auto with = [&](std::uint64_t behind) {
    return mp4_ftyp() + mp4_atom("mdat", sound) + movie(mp4_track({before, behind})) + mp4_atom("mdat", sound);
  };
  const auto change = changed(with(with(0).size() - sound.size()), 99);
  const auto offsets = chunk_offsets(change.bytes);
  EXPECT_EQ(offsets[0], before);
  EXPECT_EQ(offsets[1], change.bytes.size() - sound.size());
}

TEST(mp4_rating, a_chunk_offset_that_would_leave_its_field_refuses_the_growth) {
  const std::string file = mp4_ftyp() + movie(mp4_track({0xffffff00})) + mp4_atom("mdat", sound);
  expect_unchangeable(file);
  const std::string wide = mp4_ftyp() + movie(mp4_track({0xffffff00}, 8)) + mp4_atom("mdat", sound);
  EXPECT_EQ(chunk_offsets(changed(wide, 75).bytes).at(0), 0xffffff00 + rated_user_data(75).size() + 1024);
}

TEST(mp4_rating, a_chunk_within_what_would_move_refuses_the_change) {
  const std::size_t in_free = mp4_ftyp().size() + movie(mp4_track({0})).size() + 20;
  expect_unchangeable(mp4_ftyp() + movie(mp4_track({in_free})) + free_room(100) + mp4_atom("mdat", sound));
}

TEST(mp4_rating, data_in_another_file_refuses_the_growth) {
  std::string file = fast_start("");
  file[file.find("url ") + 7] = 0;  // the flag "in this file"
  expect_unchangeable(file);
}

TEST(mp4_rating, what_is_not_known_refuses_the_growth_and_no_change_in_place) {
  const std::string uuid = mp4_atom("uuid", std::string(16, 'u') + zeros(8));
  expect_unchangeable(fast_start("", mp4_atom("abcd", zeros(8))));
  expect_unchangeable(fast_start("", uuid));
  expect_unchangeable(fast_start(mp4_atom("abcd", zeros(8))));
  for (const std::string& file : {fast_start(uuid + rated_user_data(25)), fast_start(uuid + free_room(100)),
                                  fast_start(uuid, free_room(100)) + uuid}) {
    const auto change = changed(file, 75);
    EXPECT_TRUE(is_in_place(change.plan));
    expect_sound(change.bytes);
  }
}

TEST(mp4_rating, unknown_atoms_in_front_of_a_movie_at_the_end_do_not_matter) {
  const std::string front = mp4_ftyp() + mp4_atom("abcd", zeros(30));
  EXPECT_EQ(changed(front + movie(""), 75).bytes, front + movie(rated_user_data(75) + free_room(1024)));
}

TEST(mp4_rating, an_xmp_packet_moves_along) {
  const std::string xmp =
      mp4_atom("uuid", std::string("\xBE\x7A\xCF\xCB\x97\xA9\x42\xE8\x9C\x71\x99\x94\x91\xE3\xAF\xAC", 16) + "<x/>");
  const auto change = changed(fast_start("", xmp), 75);
  expect_sound(change.bytes);
  EXPECT_NE(change.bytes.find(xmp), std::string::npos);
}

TEST(mp4_rating, fragments_and_their_indexes_move) {
  const std::string fragments_movie = movie(mp4_track({}) + mp4_atom("mvex", mp4_atom("trex", zeros(24))));
  const auto with = [&](std::uint64_t shift) {
    const std::string index = mp4_atom("sidx", zeros(4) + big(1, 4) + big(1000, 4) + zeros(4) + big(0, 4) + zeros(2) +
                                                   big(1, 2) + big(500, 4) + zeros(8));
    const std::uint64_t fragment = mp4_ftyp().size() + fragments_movie.size() + shift + index.size();
    const std::string head = mp4_atom("tfhd", big(1, 4) + big(1, 4) + big(fragment, 8));
    const std::string moof =
        mp4_atom("moof", mp4_atom("mfhd", zeros(8)) + mp4_atom("traf", head + mp4_atom("trun", zeros(8))));
    const std::string access =
        mp4_atom("tfra", "\x01" + zeros(3) + big(1, 4) + big(0, 4) + big(2, 4) + big(0, 8) + big(fragment, 8) +
                             "\x01\x01\x01" + big(9, 8) + big(fragment, 8) + "\x01\x01\x02");
    return index + moof + mp4_atom("mdat", sound) + mp4_atom("mfra", access + mp4_atom("mfro", zeros(8)));
  };
  const auto change = changed(mp4_ftyp() + fragments_movie + with(0), 75);
  EXPECT_TRUE(change.bytes.ends_with(with(rated_user_data(75).size() + 1024)));
}

TEST(mp4_rating, a_segment_index_in_front_of_the_movie_is_lengthened) {
  const auto index = [](std::uint64_t first_offset, std::uint64_t length) {
    return mp4_atom("sidx", "\x01" + zeros(3) + big(1, 4) + big(1000, 4) + zeros(8) + big(first_offset, 8) + zeros(2) +
                                big(1, 2) + big(length, 4) + zeros(8));
  };
  const std::uint64_t distance = movie("").size();
  const std::string data = mp4_atom("mdat", sound);
  const std::uint64_t growth = rated_user_data(75).size() + 1024;
  const auto change = changed(mp4_ftyp() + index(distance, data.size()) + movie("") + data, 75);
  EXPECT_NE(change.bytes.find(index(distance + growth, data.size())), std::string::npos);
  expect_unchangeable(mp4_ftyp() + index(0, distance + 10) + movie("") + data);
}

TEST(mp4_rating, a_fragment_in_front_of_the_movie_refuses_the_growth) {
  expect_unchangeable(mp4_ftyp() + mp4_atom("moof", mp4_atom("mfhd", zeros(8))) + movie("") + mp4_atom("mdat", sound));
}

TEST(mp4_rating, a_fragment_base_in_front_of_the_movie_refuses_the_growth) {
  const std::string head = mp4_atom("tfhd", big(1, 4) + big(1, 4) + big(0, 8));
  expect_unchangeable(mp4_ftyp() + movie("") + mp4_atom("moof", mp4_atom("traf", head)) + mp4_atom("mdat", sound));
}

TEST(mp4_rating, item_locations_move) {
  for (const unsigned version : {0U, 1U, 2U}) {
    const auto meta = [&](std::uint64_t base, std::uint64_t offset, unsigned construction = 0) {
      std::string items =
          big(version << 24, 4) + "\x44\x40" + big(1, version == 2 ? 4 : 2) + big(7, version == 2 ? 4 : 2);
      if (version > 0) items += big(construction, 2);
      items += zeros(2) + big(base, 4) + big(1, 2) + big(offset, 4) + big(20, 4);
      return mp4_atom("meta", zeros(4) + mp4_atom("hdlr", zeros(20)) + mp4_atom("iloc", items));
    };
    const std::uint64_t size = mp4_ftyp().size() + movie("").size() + meta(0, 0).size() + 8;
    const std::uint64_t growth = rated_user_data(75).size() + 1024;
    const std::string data = mp4_atom("mdat", sound);
    EXPECT_TRUE(changed(mp4_ftyp() + movie("") + meta(100, size - 100) + data, 75)
                    .bytes.ends_with(meta(100, size - 100 + growth) + data));
    const std::string before = mp4_ftyp() + data + meta(0, mp4_ftyp().size() + 8);
    EXPECT_TRUE(changed(before + movie("") + data, 75).bytes.starts_with(before));
    if (version == 0) continue;
    EXPECT_TRUE(changed(mp4_ftyp() + movie("") + meta(0, size, 1) + data, 75).bytes.ends_with(meta(0, size, 1) + data));
  }
}

TEST(mp4_rating, an_item_that_is_the_whole_file_refuses_the_growth) {
  const std::string items =
      zeros(4) + big(0x4400, 2) + big(1, 2) + big(7, 2) + zeros(2) + big(1, 2) + big(0, 4) + big(0, 4);
  const std::string meta = mp4_atom("meta", zeros(4) + mp4_atom("hdlr", zeros(20)) + mp4_atom("iloc", items));
  expect_unchangeable(mp4_ftyp() + movie("") + meta + mp4_atom("mdat", sound));
}

TEST(mp4_rating, auxiliary_information_of_samples_moves) {
  const auto with = [](std::uint64_t position) {
    const std::string saio = mp4_atom("saio", big(1, 4) + "cenc" + zeros(4) + big(1, 4) + big(position, 4));
    return mp4_atom("trak", mp4_atom("mdia", mp4_atom("minf", mp4_atom("stbl", saio))));
  };
  const std::uint64_t start = mp4_ftyp().size() + movie(with(0)).size() + 8;
  const auto change = changed(mp4_ftyp() + movie(with(start)) + mp4_atom("mdat", sound), 75);
  EXPECT_NE(change.bytes.find(with(start + rated_user_data(75).size() + 1024)), std::string::npos);
}

TEST(mp4_rating, sizes_of_64_bits_and_an_open_last_size_are_kept) {
  const std::string inside = mp4_atom("mvhd", zeros(100));
  const auto wide = [](const std::string& content) {
    return big(1, 4) + "moov" + big(16 + content.size(), 8) + content;
  };
  const std::string grown = inside + rated_user_data(75) + free_room(1024);
  EXPECT_EQ(changed(mp4_ftyp() + wide(inside), 75).bytes, mp4_ftyp() + wide(grown));
  EXPECT_EQ(changed(mp4_ftyp() + zeros(4) + "moov" + inside, 75).bytes, mp4_ftyp() + zeros(4) + "moov" + grown);
  const std::string open = zeros(4) + "mdat" + sound;
  EXPECT_EQ(changed(mp4_ftyp() + movie("") + open, 75).bytes,
            mp4_ftyp() + movie(rated_user_data(75) + free_room(1024)) + open);
}

TEST(mp4_rating, a_second_entry_of_the_rating_goes_with_the_first) {
  const std::string file = mp4_ftyp() + movie(user_data(mp4_atom("Xtra", rating_entry(25) + rating_entry(50))));
  EXPECT_EQ(read_rating(file), 25);
  EXPECT_EQ(changed(file, 0).bytes.find("WM/SharedUserRating"), std::string::npos);
  EXPECT_TRUE(is_in_place(changed(file, 75).plan));
}

TEST(mp4_rating, of_several_user_data_atoms_the_one_with_properties_counts) {
  const std::string file = mp4_ftyp() + movie(user_data(mp4_atom("name", "x")) + rated_user_data(50));
  EXPECT_EQ(read_rating(file), 50);
  EXPECT_EQ(changed(file, 75).bytes, mp4_ftyp() + movie(user_data(mp4_atom("name", "x")) + rated_user_data(75)));
  expect_refused(mp4_ftyp() + movie(rated_user_data(50) + rated_user_data(50)));
}

TEST(mp4_rating, files_that_can_not_be_decoded_are_refused) {
  expect_refused("");
  expect_refused("RIFF" + zeros(100));
  expect_refused(mp4_ftyp());
  expect_refused(mp4_ftyp() + movie("") + movie(""));
  expect_refused(mp4_ftyp() + mp4_atom("moov", mp4_atom("cmov", zeros(20))));
  expect_refused(mp4_ftyp() + movie("") + "tail");
  expect_refused(mp4_ftyp() + movie("x" + zeros(3)));
  expect_refused(mp4_ftyp() + movie(user_data(big(7, 4) + "name")));
  expect_refused(mp4_ftyp() + movie(user_data(big(100, 4) + "name")));
  expect_refused(mp4_ftyp() + movie(user_data(mp4_atom("Xtra", "") + mp4_atom("Xtra", ""))));
  expect_refused(mp4_ftyp() + movie(big(0, 4) + "udta") + mp4_atom("mdat", sound));
}

TEST(mp4_rating, properties_that_can_not_be_decoded_are_refused) {
  const auto with = [](const std::string& content) { return mp4_ftyp() + movie(user_data(mp4_atom("Xtra", content))); };
  const std::string entry = rating_entry(50);
  for (std::size_t length = 1; length < entry.size(); ++length)
    expect_refused(with(entry.substr(0, length)));
  for (std::size_t at : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 27U, 30U, 31U, 34U}) {
    std::string lying = entry;
    lying[at] = static_cast<char>(lying[at] + 1);
    expect_refused(with(lying));
  }
  expect_refused(with(xtra_entry("WM/SharedUserRating", 8, utf16("50"))));
  expect_refused(with(xtra_entry("WM/SharedUserRating", 19, zeros(4))));
  expect_refused(with(rating_entry(std::uint64_t{1} << 32)));
}

TEST(mp4_rating, a_file_cut_anywhere_is_refused) {
  const std::string file = fast_start(rated_user_data(50));
  const std::size_t before_data = file.size() - 8 - sound.size();
  for (std::size_t length = 0; length < file.size(); ++length) {
    if (length == before_data) continue;  // a whole file without its sound
    expect_refused(file.substr(0, length));
  }
}

TEST(mp4_rating, lying_sizes_never_make_a_chunk_offset_point_elsewhere) {
  const std::string file = fast_start(user_data(mp4_atom("name", "x")), free_room(8));
  for (std::size_t at = 0; at < file.size() - sound.size(); ++at) {
    for (const char value : {'\0', '\x01', '\x08', '\x7f', '\xff'}) {
      std::string lying = file;
      lying[at] = value;
      const auto change = change_rating(mp4_rating, lying, 75);
      if (change.code != hresult::ok) continue;
      EXPECT_EQ(rating_of(mp4_rating, change.bytes).percent, 75) << at;
      EXPECT_NE(change.bytes.find(sound), std::string::npos) << at;
      const auto before = chunk_offsets(lying);
      const auto after = chunk_offsets(change.bytes);
      if (before != chunk_offsets(file)) continue;
      for (std::size_t i = 0; i < before.size(); ++i) {
        EXPECT_EQ(lying.substr(before[i]), change.bytes.substr(after[i])) << at;
      }
    }
  }
}

TEST(mp4_rating, tables_that_contradict_their_atom_refuse_the_change) {
  for (const char* table : {"stco", "co64"}) {
    std::string file = fast_start("", "", table[0] == 's' ? 4 : 8);
    file[file.find(table) + 8] = 1;  // the highest byte of the number of chunks
    expect_unchangeable(file);
  }
}

TEST(mp4_rating, an_item_table_of_endless_empty_extents_ends) {
  std::string items = zeros(4) + big(0, 2) + big(65535, 2);
  for (int i = 0; i < 65535; ++i)
    items += zeros(4) + big(65535, 2);
  const std::string meta = mp4_atom("meta", zeros(4) + mp4_atom("iloc", items));
  expect_unchangeable(mp4_ftyp() + movie("") + meta);
}

TEST(mp4_rating, other_programs_read_what_was_written_to_a_real_file) {
  const media_folder folder;
  const std::string source =
      "ffmpeg -nostdin -v error -f lavfi -i testsrc=d=1:s=64x48:r=10 -f lavfi -i sine=d=1 -c:v mpeg4 -c:a aac ";
  const std::pair<const char*, const char*> files[] = {
      {"plain.mp4", ""},
      {"fast.mp4", "-movflags +faststart -metadata title=Title"},
      {"fragments.mp4", "-movflags frag_keyframe+empty_moov -g 5"},
      {"bases.mp4", "-movflags frag_keyframe -g 5"},
      {"dash.mp4", "-movflags frag_keyframe+empty_moov+default_base_moof+global_sidx -g 5"},
      {"apple.mov", "-movflags +faststart"},
      {"apple.m4v", "-f mp4"},
      {"reserved.mp4", "-moov_size 20000"},
  };
  for (const auto& [name, options] : files) {
    const std::string path = folder.file(name);
    output_of(source + options + " " + path);
    const std::string original = read_file(path);
    const std::string decoded = decoded_sum(path);
    const std::string stored = stored_sum(path);
    write_file(path, changed(original, 75).bytes);
    EXPECT_EQ(exif_value(path, "SharedUserRating"), "75") << name;
    EXPECT_EQ(decoded_sum(path), decoded) << name;
    EXPECT_EQ(stored_sum(path), stored) << name;
    const auto second = changed(read_file(path), 1);
    EXPECT_TRUE(is_in_place(second.plan)) << name;
    write_file(path, second.bytes);
    EXPECT_EQ(exif_value(path, "SharedUserRating"), "1") << name;
    const auto third = changed(second.bytes, 0);
    EXPECT_TRUE(is_in_place(third.plan)) << name;
    write_file(path, third.bytes);
    EXPECT_EQ(exif_value(path, "SharedUserRating"), "") << name;
    EXPECT_EQ(decoded_sum(path), decoded) << name;
    EXPECT_EQ(stored_sum(path), stored) << name;
    EXPECT_TRUE(is_in_place(changed(third.bytes, 99).plan)) << name;
  }
}

}  // namespace
