// The photo scheme where something fails: what moves all the same, what is told, and what the journal holds.
#include <map>

#include "organize/organize_photos.h"
#include "organize/photos_fixture.h"
#include "organize/undo_organize.h"
#include "support/fault_sweep.h"
#include "text/paths.h"

namespace quill_box::organize {

namespace {

namespace attribute = platform::attribute;
using platform::win32_error;
using std::chrono::milliseconds;
using support::failure_of;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::UnorderedElementsAre;

constexpr const char* one_other_failure =
    "1 of 1 files could not be organized: 1 failed for other reasons -- see the log for details.";
const std::string refused_name =
    "[ERROR] Organize folder (Photos): Failed to move 'a.jpg' (The filename, directory name, or volume label syntax is "
    "incorrect.)";

using organize_by_photos_failures = organize_by_photos;

// --- before anything moves

TEST_F(organize_by_photos_failures, refuses_what_is_no_folder) {
  put_photo(L"a.jpg");
  for (const wchar_t* name : {L"a.jpg", L"gone"}) {
    EXPECT_EQ(failure_of([&] { organize_folder(context, in_folder(name), L"photos_pattern"); }),
              text::utf8_from_wide(text::format(LR"('C:\Photos\{}' is not a folder)", name)));
  }
  EXPECT_THAT(files(), ElementsAre(L"a.jpg"));
  EXPECT_THAT(machine.log_lines(), IsEmpty());
}

TEST_F(organize_by_photos_failures, says_that_there_is_no_photo_and_keeps_the_journal) {
  put(L"a.txt");
  machine.write_file(journal_file, "older");
  use_patterns("<Date>", R"(E:\)");  // a placement that isn't there doesn't matter then
  organize();
  EXPECT_THAT(machine.log_lines(), ElementsAre(R"([INFO] Organize folder (Photos): nothing to organize in C:\Photos)"));
  EXPECT_EQ(machine.read_file(journal_file), "older");
  EXPECT_THAT(notifications(), IsEmpty());
}

TEST_F(organize_by_photos_failures, raises_as_it_stands_what_reading_the_first_photo_ahead_raises) {
  put_photos(2);
  machine.properties.handler(L".jpg").open_error = platform::hresult::class_not_registered;
  machine.calls.refuse("open_property_set_storage", in_folder(L"1.jpg"), win32_error::access_denied);
  EXPECT_THAT(failure(), testing::StartsWith("Failed to open metadata 0x80070005"));
  EXPECT_THAT(files(), UnorderedElementsAre(L"1.jpg", L"2.jpg"));
  EXPECT_THAT(callbacks.percents, IsEmpty());
  EXPECT_THAT(machine.log_lines(), IsEmpty());
}

TEST_F(organize_by_photos_failures, costs_only_that_file_when_reading_a_later_photo_fails) {
  put_photos(3);
  use_patterns("<Original Filename>", "New<People>");
  machine.properties.handler(L".jpg").open_error = platform::hresult::class_not_registered;
  machine.calls.refuse("open_property_set_storage", in_folder(L"2.jpg"), win32_error::access_denied);
  EXPECT_EQ(failure(), "1 of 3 files could not be organized: 1 failed for other reasons -- see the log for details.");
  EXPECT_THAT(files(), UnorderedElementsAre(LR"(New\1.jpg)", L"2.jpg", LR"(New\3.jpg)"));
  EXPECT_THAT(machine.log_lines(),
              Contains(testing::StartsWith("[ERROR] Organize folder (Photos): Failed to open metadata 0x80070005")));
}

// --- folders

TEST_F(organize_by_photos_failures, fails_a_photo_whose_folder_cannot_be_made) {
  put_photo(L"a.jpg");
  put_photo(L"b.jpg");
  set_day(machine, in_folder(L"b.jpg"), 2022, 1, 1);
  machine.calls.refuse("create_directory", in_folder(L"2021-03-04"), win32_error::access_denied);
  use_patterns("<Original Filename>", R"(<Date>\x<Date>)");
  EXPECT_EQ(failure(), "1 of 2 files could not be organized: 1 failed for other reasons -- see the log for details.");
  EXPECT_THAT(files(), UnorderedElementsAre(L"a.jpg", LR"(2022-01-01\x2022-01-01\b.jpg)"));
  EXPECT_THAT(machine.log_lines(), Contains("[ERROR] Organize folder (Photos): Failed to create subfolder "
                                            R"('C:\Photos\2021-03-04\x2021-03-04')"));
}

// On purpose: only what was made to the end is recorded.
TEST_F(organize_by_photos_failures, does_not_record_a_folder_whose_child_could_not_be_made) {
  put_photo(L"a.jpg");
  use_patterns("<Original Filename>", R"(<Date>\x<Date>)");
  machine.calls.refuse("create_directory", LR"(C:\Photos\2021-03-04\x2021-03-04)", win32_error::access_denied);
  EXPECT_EQ(failure(), one_other_failure);
  EXPECT_THAT(folders(), ElementsAre(L"2021-03-04"));
  EXPECT_FALSE(has_journal());
}

TEST_F(organize_by_photos_failures, fails_a_photo_whose_folder_is_a_file) {
  put_photo(L"a.jpg");
  put(L"2021-03-04");
  use_patterns("<Original Filename>", "<Date>");
  EXPECT_EQ(failure(), one_other_failure);
  EXPECT_THAT(files(), UnorderedElementsAre(L"a.jpg", L"2021-03-04"));
  EXPECT_THAT(machine.log_lines(), Contains(HasSubstr("Failed to move 'a.jpg' (")));
}

TEST_F(organize_by_photos_failures, fails_a_photo_below_a_file) {
  put_photo(L"a.jpg");
  put(L"2021-03-04");
  use_patterns("<Original Filename>", R"(<Date>\x<Date>)");
  EXPECT_EQ(failure(), one_other_failure);
  EXPECT_THAT(machine.log_lines(), Contains(HasSubstr("Failed to create subfolder 'C:\\Photos\\2021-03-04\\x")));
}

TEST_F(organize_by_photos_failures, takes_a_folder_that_cannot_be_examined_for_missing) {
  put_photo(L"a.jpg");
  machine.make_directory(in_folder(L"2021-03-04"));
  use_patterns("<Original Filename>", "<Date>");
  // The first look only; making it finds it there.
  machine.calls.refuse("kind", in_folder(L"2021-03-04"), win32_error::access_denied, 1);
  organize();
  EXPECT_THAT(files(), ElementsAre(LR"(2021-03-04\a.jpg)"));
  EXPECT_THAT(journal().created_folders, IsEmpty());
}

TEST_F(organize_by_photos_failures, survives_a_folder_that_vanishes_in_the_middle) {
  put_photos(3);
  use_patterns("<Original Filename>", "<Date>");
  machine.calls.before("move_file", 2, [this] {
    for (const auto& entry : machine.disk.below(folder))
      machine.disk.remove(entry);
    machine.disk.remove(*machine.disk.find(folder));
  });
  EXPECT_EQ(failure(), "2 of 3 files could not be organized: 2 failed for other reasons -- see the log for details.");
  EXPECT_THAT(machine.log_lines(), Contains(R"([WARNING] Organize folder (Photos): failed to write undo journal for )"
                                            R"(C:\Photos: Failed to write undo journal)"));
}

// --- names

TEST_F(organize_by_photos_failures, never_replaces_a_file_that_comes_up_meanwhile) {
  put_photo(L"a.jpg");
  use_patterns("<Date>", "");
  machine.calls.before("move_file", 1, [this] { put(L"2021-03-04.jpg"); });
  EXPECT_EQ(failure(), one_other_failure);
  EXPECT_EQ(machine.read_file(in_folder(L"2021-03-04.jpg")), "of 2021-03-04.jpg");
  EXPECT_EQ(machine.read_file(in_folder(L"a.jpg")), "of a.jpg");
}

TEST_F(organize_by_photos_failures, fails_a_name_that_the_file_system_refuses) {
  put_photo(L"a.jpg");
  name_people(L"a.jpg", {L"12:30"});
  use_patterns("<People>", "");
  EXPECT_EQ(failure(), one_other_failure);
  EXPECT_THAT(files(), ElementsAre(L"a.jpg"));
  EXPECT_THAT(machine.log_lines(), Contains(refused_name));
}

TEST_F(organize_by_photos_failures, makes_no_folder_for_a_backslash_in_a_name) {
  put_photo(L"a.jpg");
  name_people(L"a.jpg", {LR"(AC\DC)"});
  use_patterns("<People>", "");
  EXPECT_EQ(failure(), one_other_failure);
  EXPECT_THAT(files(), ElementsAre(L"a.jpg"));
  EXPECT_THAT(folders(), IsEmpty());
  EXPECT_THAT(machine.log_lines(), Contains("[ERROR] Organize folder (Photos): Failed to move 'a.jpg' (The system "
                                            "cannot find the path specified.)"));
}

TEST_F(organize_by_photos_failures, lets_no_name_lead_a_photo_out_of_its_folder) {
  machine.make_directory(LR"(C:\Startup)");
  put_photo(L"a.jpg");
  for (const wchar_t* name :
       {LR"(..\..\Startup\x)", LR"(\..\..\Startup\x)", L"../../Startup/x", LR"(C:\Startup\x)", LR"(..\x)"}) {
    name_people(L"a.jpg", {name});
    use_patterns("<People>", "<Date>");
    EXPECT_EQ(failure(), one_other_failure);
    EXPECT_THAT(files(), ElementsAre(L"a.jpg"));
  }
  EXPECT_THAT(machine.log_lines(), Contains(refused_name));
}

TEST_F(organize_by_photos_failures, fails_a_folder_name_that_the_file_system_refuses) {
  put_photo(L"a.jpg");
  name_people(L"a.jpg", {L"Who?"});
  use_patterns("<Original Filename>", R"(<Date>\<People>)");
  EXPECT_EQ(failure(), one_other_failure);
  EXPECT_THAT(files(), ElementsAre(L"a.jpg"));
  EXPECT_THAT(machine.log_lines(), Contains("[ERROR] Organize folder (Photos): Failed to create subfolder "
                                            R"('C:\Photos\2021-03-04\Who?')"));
}

// The system would read the name up to it, and the file would stand elsewhere than the journal says.
TEST_F(organize_by_photos_failures, takes_no_name_with_a_nul) {
  const std::wstring name(L"An\0na", 5);
  put_photo(L"a.jpg");
  name_people(L"a.jpg", {name});
  use_patterns("<People>", "");
  EXPECT_EQ(failure(), one_other_failure);
  EXPECT_THAT(files(), ElementsAre(L"a.jpg"));
  EXPECT_THAT(machine.log_lines(), Contains(refused_name));

  use_patterns("<Original Filename>", "<People>");
  EXPECT_EQ(failure(), one_other_failure);
  EXPECT_THAT(files(), ElementsAre(L"a.jpg"));
  EXPECT_THAT(folders(), IsEmpty());
  EXPECT_THAT(machine.log_lines(), Contains(HasSubstr(R"(Failed to create subfolder 'C:\Photos\An)")));
}

TEST_F(organize_by_photos_failures, leaves_a_name_that_the_journal_cannot_hold) {
  const std::wstring name = L"a\xdc80.jpg";
  put_photo(name);
  put(L"a\xdc80.xmp");
  use_patterns("<Date>", "");
  EXPECT_EQ(failure(), one_other_failure);
  EXPECT_THAT(files(), UnorderedElementsAre(name, L"a\xdc80.xmp"));
}

TEST_F(organize_by_photos_failures, leaves_a_photo_whose_new_name_the_journal_cannot_hold) {
  put_photo(L"a.jpg");
  name_people(L"a.jpg", {L"\xdc80"});
  for (const auto& [naming, placement] : {std::pair("<People>", ""), std::pair("<Original Filename>", "<People>")}) {
    use_patterns(naming, placement);
    EXPECT_EQ(failure(), one_other_failure);
    EXPECT_THAT(files(), ElementsAre(L"a.jpg"));
  }
}

// --- lengths

constexpr std::size_t folder_length = std::wstring_view(LR"(C:\Photos\2021-03-04\)").size();

class organize_by_photos_lengths : public organize_by_photos {
 protected:
  organize_by_photos_lengths() { use_patterns("<Original Filename>", "<Date>"); }
  /// A photo whose target path has this length, numbers and sidecars aside.
  [[nodiscard]] static std::wstring name_for(std::size_t target_length) {
    return std::wstring(target_length - folder_length - 4, L'n') + L".jpg";
  }
  [[nodiscard]] static std::wstring moved(const std::wstring& name) { return LR"(2021-03-04\)" + name; }
};

constexpr const char* one_too_long =
    "1 of 1 files could not be organized: 1 skipped because the destination path is too long.";

TEST_F(organize_by_photos_lengths, moves_to_a_path_of_259_characters) {
  put_photo(name_for(259));
  organize();
  EXPECT_THAT(files(), ElementsAre(moved(name_for(259))));
}

TEST_F(organize_by_photos_lengths, skips_a_path_of_260_characters_and_records_its_folder) {
  put_photo(name_for(260));
  put_photo(L"a.jpg");
  EXPECT_EQ(failure(), "1 of 2 files could not be organized: 1 skipped because the destination path is too long.");
  EXPECT_THAT(files(), UnorderedElementsAre(name_for(260), LR"(2021-03-04\a.jpg)"));
  EXPECT_THAT(journal().created_folders, ElementsAre(L"2021-03-04"));
  EXPECT_THAT(machine.log_lines(),
              ElementsAre(text::utf8_from_wide(text::format(
                              L"[WARNING] Organize folder (Photos): skipping '{}', destination path too long: "
                              LR"('C:\Photos\2021-03-04\{}')",
                              name_for(260), name_for(260))),
                          "[INFO] Organize folder (Photos): moved 1 files (0 failed [0 still in use], 1 skipped for "
                          R"(path length) from C:\Photos)"));
}

TEST_F(organize_by_photos_lengths, leaves_the_folder_that_it_made_for_a_path_too_long) {
  put_photo(name_for(260));
  EXPECT_EQ(failure(), one_too_long);
  EXPECT_THAT(folders(), ElementsAre(L"2021-03-04"));
  EXPECT_FALSE(has_journal());
  EXPECT_EQ(machine.calls.count("move_file"), 0U);
}

TEST_F(organize_by_photos_lengths, counts_units_of_16_bits) {
  const std::wstring name = std::wstring(L"\U0001F600") + name_for(258);  // 260 units in 259 code points
  put_photo(name);
  EXPECT_EQ(failure(), one_too_long);
  EXPECT_THAT(files(), ElementsAre(name));
}

TEST_F(organize_by_photos_lengths, counts_the_number_behind_a_name) {
  put_photo(name_for(256));
  machine.write_file(in_folder(moved(name_for(256))), "older");
  EXPECT_EQ(failure(), one_too_long);
  EXPECT_THAT(machine.log_lines(), Contains(HasSubstr("n (1).jpg'")));
}

TEST_F(organize_by_photos_lengths, moves_a_sidecar_to_259_characters_and_leaves_it_at_260) {
  put_photo(name_for(255));
  put_photo(name_for(256));
  const auto sidecar = [](std::size_t length) { return std::wstring(paths::stem(name_for(length))) + L".xmp"; };
  put(sidecar(255));
  put(sidecar(256));
  organize();
  EXPECT_THAT(files(), UnorderedElementsAre(moved(name_for(255)), moved(name_for(255) + L".xmp"), moved(name_for(256)),
                                            sidecar(256)));
  EXPECT_THAT(machine.log_lines(),
              ElementsAre(text::utf8_from_wide(text::format(
                              L"[WARNING] Organize folder (Photos): skipping sidecar '{}', destination path too long",
                              sidecar(256))),
                          HasSubstr("moved 2 files (0 failed [0 still in use], 0 skipped")));
}

// --- photos in use

class organize_by_photos_in_use : public organize_by_photos, public testing::WithParamInterface<win32_error> {
 protected:
  organize_by_photos_in_use() {
    put_photo(L"a.jpg");
    use_patterns("<Date>", "");
  }
  void lock(int attempts) { machine.calls.refuse("move_file", in_folder(L"a.jpg"), GetParam(), attempts); }
};
INSTANTIATE_TEST_SUITE_P(codes, organize_by_photos_in_use,
                         testing::Values(win32_error::sharing_violation, win32_error::lock_violation),
                         [](const auto& code) {
                           return code.param == win32_error::sharing_violation ? "sharing" : "lock";
                         });

TEST_P(organize_by_photos_in_use, that_come_free_in_time_move_without_a_word) {
  lock(4);
  organize();
  EXPECT_THAT(files(), ElementsAre(L"2021-03-04.jpg"));
  EXPECT_THAT(machine.clock.sleeps(), testing::AllOf(SizeIs(4), Each(milliseconds(200))));
  EXPECT_THAT(machine.log_lines(), ElementsAre(HasSubstr("moved 1 files (0 failed [0 still in use]")));
}

TEST_P(organize_by_photos_in_use, stay_after_five_attempts_and_five_waits) {
  lock(5);
  EXPECT_EQ(failure(),
            "1 of 1 files could not be organized: 1 still in use by another process (a fresh import still settling, "
            "cloud sync, antivirus, or search indexing -- usually clears on its own; try again in a moment).");
  EXPECT_THAT(files(), ElementsAre(L"a.jpg"));
  EXPECT_EQ(machine.calls.count("move_file"), 5U);
  EXPECT_THAT(machine.clock.sleeps(), testing::AllOf(SizeIs(5), Each(milliseconds(200))));
  EXPECT_THAT(machine.log_lines(),
              ElementsAre(testing::StartsWith("[ERROR] Organize folder (Photos): Failed to move 'a.jpg' (The process "
                                              "cannot access the file because "),
                          HasSubstr("moved 0 files (1 failed [1 still in use], 0 skipped")));
}

TEST_P(organize_by_photos_in_use, that_fail_otherwise_in_the_end_are_no_longer_in_use) {
  lock(2);
  machine.calls.before("move_file", 3,
                       [this] { machine.calls.refuse("move_file", in_folder(L"a.jpg"), win32_error::access_denied); });
  EXPECT_EQ(failure(), one_other_failure);
  EXPECT_EQ(machine.calls.count("move_file"), 3U);
  EXPECT_THAT(machine.clock.sleeps(), SizeIs(2));
}

TEST_P(organize_by_photos_in_use, are_waited_for_whatever_the_user_cancels) {
  put_photo(L"b.jpg");
  lock(4);
  callbacks.cancel_at_question = 2;
  organize();
  EXPECT_THAT(files(), UnorderedElementsAre(L"2021-03-04.jpg", L"b.jpg"));
}

TEST_F(organize_by_photos_failures, tries_once_where_nothing_will_come_free) {
  put_photo(L"a.jpg");
  machine.calls.refuse("move_file", L"", win32_error::access_denied);
  EXPECT_EQ(failure(), one_other_failure);
  EXPECT_EQ(machine.calls.count("move_file"), 1U);
  EXPECT_THAT(machine.clock.sleeps(), IsEmpty());
}

TEST_F(organize_by_photos_failures, leaves_a_photo_where_the_other_drive_is_full) {
  machine.disk.add_drive(L"D:").free_bytes = 3;
  put_photo(L"a.jpg");
  use_patterns("<Original Filename>", R"(D:\<Date>)");
  EXPECT_EQ(failure(), one_other_failure);
  EXPECT_EQ(machine.read_file(in_folder(L"a.jpg")), "of a.jpg");
  EXPECT_FALSE(machine.exists(LR"(D:\2021-03-04\a.jpg)"));
  EXPECT_FALSE(has_journal());
}

// --- the report

const std::string in_use =
    "1 still in use by another process (a fresh import still settling, cloud sync, antivirus, or search indexing -- "
    "usually clears on its own; try again in a moment)";
const std::string other = "1 failed for other reasons -- see the log for details";
const std::string too_long = "1 skipped because the destination path is too long";

struct causes {
  bool has_one_in_use;
  bool has_another;
  bool has_one_too_long;
  std::string report;
};

class organize_by_photos_report : public organize_by_photos, public testing::WithParamInterface<causes> {};

INSTANTIATE_TEST_SUITE_P(
    combinations, organize_by_photos_report,
    testing::Values(causes{false, false, false, "none"},
                    causes{true, false, false, "1 of 2 files could not be organized: " + in_use + "."},
                    causes{false, true, false, "1 of 2 files could not be organized: " + other + "."},
                    causes{false, false, true, "1 of 2 files could not be organized: " + too_long + "."},
                    causes{true, true, false, "2 of 3 files could not be organized: " + in_use + "; " + other + "."},
                    causes{true, false, true, "2 of 3 files could not be organized: " + in_use + "; " + too_long + "."},
                    causes{false, true, true, "2 of 3 files could not be organized: " + other + "; " + too_long + "."},
                    causes{true, true, true,
                           "3 of 4 files could not be organized: " + in_use + "; " + other + "; " + too_long + "."}));

TEST_P(organize_by_photos_report, names_each_cause_with_its_count) {
  use_patterns("<Original Filename>", "<Date>");
  put_photo(L"moved.jpg");
  if (GetParam().has_one_in_use) put_photo(L"in use.jpg");
  if (GetParam().has_another) put_photo(L"other.jpg");
  if (GetParam().has_one_too_long) put_photo(std::wstring(240, L'n') + L".jpg");
  machine.calls.refuse("move_file", in_folder(L"in use.jpg"), win32_error::sharing_violation);
  machine.calls.refuse("move_file", in_folder(L"other.jpg"), win32_error::access_denied);
  EXPECT_EQ(failure(), GetParam().report);
  EXPECT_TRUE(machine.exists(LR"(C:\Photos\2021-03-04\moved.jpg)"));
}

TEST_F(organize_by_photos_failures, reports_2_of_10_with_one_in_use_and_one_too_long) {
  use_patterns("<Original Filename>", "<Date>");
  put_photos(9);
  put_photo(std::wstring(240, L'n') + L".jpg");
  machine.calls.refuse("move_file", in_folder(L"4.jpg"), win32_error::sharing_violation);
  EXPECT_EQ(failure(), "2 of 10 files could not be organized: " + in_use + "; " + too_long + ".");
  EXPECT_THAT(machine.log_lines(),
              Contains("[INFO] Organize folder (Photos): moved 8 files (1 failed [1 still in use], 1 skipped for path "
                       R"(length) from C:\Photos)"));
  EXPECT_EQ(journal().moves.size(), 8U);
}

// --- the journal

TEST_F(organize_by_photos_failures, warns_of_a_journal_that_cannot_be_written_and_keeps_what_moved) {
  put_photo(L"a.jpg");
  use_patterns("<Date>", "");
  machine.calls.refuse("open", journal_file, win32_error::access_denied);
  organize();
  EXPECT_THAT(files(), ElementsAre(L"2021-03-04.jpg"));
  EXPECT_THAT(machine.log_lines(),
              ElementsAre(R"([WARNING] Organize folder (Photos): failed to write undo journal for C:\Photos: )"
                          "Failed to write undo journal",
                          HasSubstr("moved 1 files (0 failed")));
  EXPECT_THAT(notifications(), SizeIs(3));
}

TEST_F(organize_by_photos_failures, keeps_the_older_journal_when_nothing_moved) {
  put_photo(L"a.jpg");
  machine.write_file(journal_file, "older");
  machine.calls.refuse("move_file", L"", win32_error::access_denied);
  EXPECT_EQ(failure(), one_other_failure);
  EXPECT_EQ(machine.read_file(journal_file), "older");
}

TEST_F(organize_by_photos_failures, writes_the_journal_when_all_has_moved) {
  put_photos(2);
  put(L"2.xmp");
  organize();
  const auto calls = machine.calls.named({"move_file", "open", "notify"});
  const auto opened = std::find_if(calls.begin(), calls.end(), [](const std::string& call) {
    return call.starts_with(R"(open(C:\Photos\qb_organize_undo.json)");
  });
  EXPECT_THAT(std::vector(opened, calls.end()), Each(Not(HasSubstr("move_file"))));
  EXPECT_THAT(std::vector(opened + 1, calls.end()),
              ElementsAre(R"(notify(update_directory, path, C:\Photos\2021-03-04))",
                          R"(notify(update_directory, path_and_wait, C:\Photos))"));
}

// --- whatever fails

struct sweep_file {
  std::wstring name;
  bool is_photo;
};

void check_fault_round(const support::fault_round& round, const std::vector<sweep_file>& before,
                       const std::string& raised) {
  std::map<std::string, std::wstring> place_of;  // by content
  for (const auto& entry : round.machine.disk.below(folder)) {
    if (!entry->is_directory() && entry->path != journal_file) {
      EXPECT_TRUE(place_of.emplace(entry->content, entry->path).second) << "doubled: " << entry->content;
    }
  }
  EXPECT_EQ(place_of.size(), before.size());
  std::vector<journal_move> moved;
  std::size_t photos_left = 0;
  std::size_t sidecars_left = 0;
  for (const sweep_file& file : before) {
    const std::wstring place = place_of[text::utf8_from_wide(file.name)];
    ASSERT_FALSE(place.empty()) << "lost: " << text::utf8_from_wide(file.name);
    const bool has_moved = place != folder + L"\\" + file.name;
    if (has_moved) moved.push_back({file.name, place.substr(folder.size() + 1)});
    if (!has_moved) ++(file.is_photo ? photos_left : sidecars_left);
  }
  const std::vector<std::string> log = round.machine.log_lines();
  const auto journal = parse_journal(round.machine.exists(journal_file) ? round.machine.read_file(journal_file) : "");
  if (journal) {
    EXPECT_THAT(journal->moves, testing::UnorderedElementsAreArray(moved));
  } else if (!moved.empty()) {
    EXPECT_THAT(log, Contains(HasSubstr("[WARNING] Organize folder (Photos): failed to write undo journal for")));
  }
  // An enumeration that fails ends with what it found.
  const bool saw_all =
      !round.struck || (!round.struck->starts_with("enumerate") && !round.struck->starts_with("next_entry"));
  if (saw_all && photos_left > 0) {
    EXPECT_NE(raised, "none");
  }
  // A sidecar that can't be examined counts as none.
  const bool saw_sidecars = saw_all && (!round.struck || !round.struck->starts_with("kind"));
  if (saw_sidecars && photos_left == 0 && sidecars_left > 0) {
    EXPECT_THAT(log, Contains(HasSubstr("[WARNING] Organize folder (Photos): ")));
  }
  if (!round.struck) {
    EXPECT_EQ(raised, "none");
    EXPECT_EQ(moved.size(), before.size());
  }
}

TEST(organize_by_photos_faults, lose_no_file_and_the_journal_tells_what_was_moved) {
  const support::fault_code codes[] = {win32_error::access_denied, win32_error::sharing_violation,
                                       platform::hresult::access_denied, support::short_write{}};
  // Of the second photo's type there is no handler.
  const std::vector<sweep_file> before = {{L"a.jpg", true}, {L"a.xmp", false}, {L"a.jpg.thm", false}, {L"b.png", true}};
  const auto prepare = [&](support::simulated_machine& machine) {
    put_geo_data(machine);
    machine.properties.handler(L".jpg");
    for (const sweep_file& file : before) {
      const std::wstring path = folder + L"\\" + file.name;
      machine.write_file(path, text::utf8_from_wide(file.name));
      if (file.is_photo) set_day(machine, path, 2021, 3, 4);
      machine.properties.set_handler_value(path, platform::latitude_decimal_key, 48.86);
      machine.properties.set_handler_value(path, platform::longitude_decimal_key, 2.34);
    }
  };
  std::string raised;
  const auto run = [&](support::simulated_machine& machine) {
    high_level_settings::forget_settings_instance();
    forget_geo_tables();
    support::open_log_below(machine);
    support::recording_callbacks callbacks;
    batch_processor::processing_context context;
    context.callbacks = &callbacks;
    raised = failure_of([&] { organize_folder(context, folder, L"photos_pattern"); });
  };
  support::for_each_fault(codes, {prepare, run},
                          [&](const support::fault_round& round) { check_fault_round(round, before, raised); });
  high_level_settings::forget_settings_instance();
  forget_geo_tables();
}

}  // namespace

}  // namespace quill_box::organize
