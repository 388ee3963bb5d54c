#include "organize/organize_folder.h"

#include <map>

#include "organize/organize_fixture.h"
#include "support/fault_sweep.h"

namespace quill_box::organize {

namespace {

namespace attribute = platform::attribute;
using platform::win32_error;
using support::failure_of;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using texts = std::vector<std::string>;

class organize_by_type : public organize_test {
 protected:
  void organize() { organize_folder(context, folder, L"by_type"); }
  [[nodiscard]] std::string failure() {
    return failure_of([this] { organize(); });
  }
  [[nodiscard]] texts notifications() const { return machine.calls.named({"notify"}); }
};

// --- where files go

TEST_F(organize_by_type, sorts_files_into_a_folder_for_each_category) {
  for (const wchar_t* name : {L"a.jpg", L"Report.PDF", L"c.mkv", L"d.flac", L"e.7z", L"f.exe", L"g.unknown"})
    put(name);
  organize();
  EXPECT_THAT(files(), UnorderedElementsAre(LR"(Images\a.jpg)", LR"(Documents\Report.PDF)", LR"(Videos\c.mkv)",
                                            LR"(Music\d.flac)", LR"(Archives\e.7z)", LR"(Programs\f.exe)",
                                            LR"(Other\g.unknown)"));
  EXPECT_EQ(machine.read_file(LR"(C:\Photos\Documents\Report.PDF)"), "of Report.PDF");
  EXPECT_THAT(machine.log_lines(),
              ElementsAre(R"([INFO] Organize folder: moved 7 files into 7 subfolders of C:\Photos (0 failures))"));
}

TEST_F(organize_by_type, puts_a_file_without_extension_into_other) {
  put(L"README");
  put(L".gitignore");
  organize();
  EXPECT_THAT(files(), UnorderedElementsAre(LR"(Other\README)", LR"(Other\.gitignore)"));
}

TEST_F(organize_by_type, leaves_folders_and_what_is_in_them) {
  put(L"a.jpg");
  machine.write_file(LR"(C:\Photos\Trip\b.jpg)", "b");
  machine.make_directory(LR"(C:\Photos\c.jpg)");
  organize();
  EXPECT_THAT(files(), UnorderedElementsAre(LR"(Images\a.jpg)", LR"(Trip\b.jpg)"));
  EXPECT_THAT(folders(), UnorderedElementsAre(L"Images", L"Trip", L"c.jpg"));
}

TEST_F(organize_by_type, leaves_hidden_and_system_files_and_links) {
  for (const wchar_t* name : {L"hidden.jpg", L"system.jpg", L"a.LNK", L"b.url", L"Desktop.ini", L"THUMBS.DB",
                              L"qb_folder_red.ico", L"moved.jpg"})
    put(name);
  machine.entry(in_folder(L"hidden.jpg")).attributes |= attribute::hidden;
  machine.entry(in_folder(L"system.jpg")).attributes |= attribute::system;
  organize();
  EXPECT_THAT(files(), UnorderedElementsAre(L"hidden.jpg", L"system.jpg", L"a.LNK", L"b.url", L"Desktop.ini",
                                            L"THUMBS.DB", L"qb_folder_red.ico", LR"(Images\moved.jpg)"));
}

TEST_F(organize_by_type, moves_a_file_whose_attributes_cannot_be_read) {
  put(L"a.jpg");
  machine.calls.refuse("attributes", in_folder(L"a.jpg"), win32_error::access_denied);
  organize();
  EXPECT_THAT(files(), ElementsAre(LR"(Images\a.jpg)"));
}

TEST_F(organize_by_type, keeps_what_a_pattern_of_the_end_excludes) {
  use_settings(R"("organize.excludedNames":["*.tmp","temp"])");
  for (const wchar_t* name : {L"A.TMP", L"TEMP", L"temp.txt", L"a.txt"})
    put(name);
  organize();
  EXPECT_THAT(files(), UnorderedElementsAre(L"A.TMP", L"TEMP", LR"(Documents\temp.txt)", LR"(Documents\a.txt)"));
}

TEST_F(organize_by_type, gives_an_extension_to_the_later_of_two_categories) {
  use_settings(R"("organize.categories":[{"name":"First","enabled":true,"extensions":["txt"]},)"
               R"({"name":"Second","enabled":true,"extensions":[".TXT"]}])");
  put(L"a.txt");
  organize();
  EXPECT_THAT(files(), ElementsAre(LR"(Second\a.txt)"));
}

TEST_F(organize_by_type, gives_it_to_the_earlier_one_when_the_later_one_is_disabled) {
  use_settings(R"("organize.categories":[{"name":"First","enabled":true,"extensions":["txt"]},)"
               R"({"name":"Second","enabled":false,"extensions":["txt","pdf"]}])");
  put(L"a.txt");
  put(L"b.pdf");
  organize();
  EXPECT_THAT(files(), UnorderedElementsAre(LR"(First\a.txt)", LR"(Other\b.pdf)"));
}

TEST_F(organize_by_type, names_folders_without_the_characters_that_none_can_have) {
  use_settings(R"("organize.categories":[{"name":"A/B?","enabled":true,"extensions":["a"]},)"
               R"({"name":":","enabled":true,"extensions":["b"]}])");
  put(L"x.a");
  put(L"x.b");
  organize();
  EXPECT_THAT(files(), UnorderedElementsAre(LR"(AB\x.a)", LR"(Other\x.b)"));
}

TEST_F(organize_by_type, takes_the_files_in_the_order_of_the_file_system) {
  for (const wchar_t* name : {L"a.txt", L"b.txt", L"c.txt"})
    put(name);
  machine.files.deliver_in_order(folder, {L"c.txt", L"a.txt", L"b.txt"});
  organize();
  EXPECT_THAT(journal().moves,
              ElementsAre(journal_move{L"c.txt", LR"(Documents\c.txt)"}, journal_move{L"a.txt", LR"(Documents\a.txt)"},
                          journal_move{L"b.txt", LR"(Documents\b.txt)"}));
}

TEST_F(organize_by_type, organizes_what_was_found_before_the_enumeration_failed) {
  put(L"a.txt");
  put(L"b.txt");
  machine.calls.refuse("next_entry", in_folder(L"b.txt"), win32_error::read_fault);
  organize();
  EXPECT_THAT(files(), UnorderedElementsAre(LR"(Documents\a.txt)", L"b.txt"));
}

// --- names that are taken

TEST_F(organize_by_type, numbers_a_name_that_is_taken_from_2) {
  put(L"a.txt");
  machine.write_file(LR"(C:\Photos\Documents\a.txt)", "old");
  organize();
  EXPECT_EQ(machine.read_file(LR"(C:\Photos\Documents\a.txt)"), "old");
  EXPECT_EQ(machine.read_file(LR"(C:\Photos\Documents\a (2).txt)"), "of a.txt");
  EXPECT_THAT(journal().moves, ElementsAre(journal_move{L"a.txt", LR"(Documents\a (2).txt)"}));
}

TEST_F(organize_by_type, numbers_a_name_that_is_taken_where_another_file_went_before) {
  put(L"a.txt");
  put(L"b.txt");
  machine.write_file(LR"(C:\Photos\Documents\b.txt)", "old");
  machine.files.deliver_in_order(folder, {L"a.txt", L"b.txt", L"Documents"});
  organize();
  EXPECT_EQ(machine.read_file(LR"(C:\Photos\Documents\b.txt)"), "old");
  EXPECT_THAT(journal().moves, ElementsAre(journal_move{L"a.txt", LR"(Documents\a.txt)"},
                                           journal_move{L"b.txt", LR"(Documents\b (2).txt)"}));
}

TEST_F(organize_by_type, makes_a_subfolder_anew_that_somebody_moved_away) {
  put(L"a.txt");
  put(L"b.txt");
  machine.files.deliver_in_order(folder, {L"a.txt", L"b.txt"});
  machine.calls.before("move_file", 2, [this] {
    static_cast<void>(machine.files.move_file(in_folder(L"Documents"), LR"(C:\Elsewhere)"));
  });
  organize();
  EXPECT_TRUE(machine.exists(LR"(C:\Elsewhere\a.txt)"));
  EXPECT_TRUE(machine.exists(LR"(C:\Photos\Documents\b.txt)"));
  EXPECT_THAT(journal().created_folders, ElementsAre(L"Documents"));
}

TEST_F(organize_by_type, takes_the_number_1000_and_no_higher_one) {
  put(L"a.txt");
  machine.write_file(LR"(C:\Photos\Documents\a.txt)", "");
  for (int i = 2; i < 1000; ++i)
    machine.write_file(text::format(LR"(C:\Photos\Documents\a ({}).txt)", i), "");
  organize();
  EXPECT_TRUE(machine.exists(LR"(C:\Photos\Documents\a (1000).txt)"));

  put(L"a.txt");
  EXPECT_EQ(failure(), "1 of 1 files could not be moved. See the log for details.");
  EXPECT_TRUE(machine.exists(in_folder(L"a.txt")));
  EXPECT_THAT(
      machine.log_lines(),
      testing::Contains(R"([ERROR] Organize folder: Unable to find a free name for 'a.txt' in 'C:\Photos\Documents')"));
}

TEST_F(organize_by_type, never_replaces_a_file_that_comes_up_meanwhile) {
  put(L"a.txt");
  machine.calls.before("move_file", 1, [this] { machine.write_file(LR"(C:\Photos\Documents\a.txt)", "theirs"); });
  EXPECT_EQ(failure(), "1 of 1 files could not be moved. See the log for details.");
  EXPECT_EQ(machine.read_file(LR"(C:\Photos\Documents\a.txt)"), "theirs");
  EXPECT_EQ(machine.read_file(in_folder(L"a.txt")), "of a.txt");
}

TEST_F(organize_by_type, fails_a_file_whose_folder_is_a_file) {
  put(L"a.txt");
  machine.write_file(LR"(C:\Photos\documents)", "a file in the way");
  machine.files.deliver_in_order(folder, {L"a.txt", L"documents"});
  EXPECT_EQ(failure(), "1 of 2 files could not be moved. See the log for details.");
  EXPECT_THAT(files(), UnorderedElementsAre(L"a.txt", LR"(Other\documents)"));
}

TEST_F(organize_by_type, ends_in_a_folder_that_vanishes_in_the_middle) {
  put_all(3);
  machine.calls.before("move_file", 2, [this] {
    for (const auto& entry : machine.disk.below(folder))
      machine.disk.remove(entry);
    machine.disk.remove(*machine.disk.find(folder));
  });
  EXPECT_EQ(failure(), "2 of 3 files could not be moved. See the log for details.");
  EXPECT_FALSE(machine.exists(folder));
  EXPECT_THAT(
      machine.log_lines(),
      testing::Contains("[WARNING] Organize folder: failed to write undo journal for C:\\Photos: Failed to write "
                        "undo journal"));
}

TEST_F(organize_by_type, leaves_a_name_that_the_journal_cannot_hold) {
  const std::wstring name = L"a\xdc80.txt";
  put(name);
  EXPECT_EQ(failure(), "1 of 1 files could not be moved. See the log for details.");
  EXPECT_TRUE(machine.exists(in_folder(name)));
  EXPECT_THAT(machine.log_lines(),
              testing::Contains(HasSubstr("ERROR] Organize folder: Failed to move 'a\xef\xbf\xbd.txt' (")));
}

// Only what the journal has to hold counts, and that is relative to the folder.
TEST_F(organize_by_type, organizes_a_folder_whose_own_path_has_no_unicode_text) {
  const std::wstring other = L"C:\\F\xdc80";
  machine.write_file(other + L"\\a.txt", "a");
  organize_folder(context, other, L"by_type");
  EXPECT_EQ(machine.read_file(other + L"\\Documents\\a.txt"), "a");
  EXPECT_THAT(read_journal(other + L"\\qb_organize_undo.json").moves,
              ElementsAre(journal_move{L"a.txt", LR"(Documents\a.txt)"}));
}

// --- what fails

TEST_F(organize_by_type, refuses_a_scheme_that_it_does_not_know) {
  put(L"a.txt");
  EXPECT_EQ(failure_of([this] { organize_folder(context, folder, L"By_Type"); }), "Unknown organize scheme 'By_Type'");
  EXPECT_THAT(files(), ElementsAre(L"a.txt"));
}

TEST_F(organize_by_type, refuses_what_is_no_folder) {
  put(L"a.txt");
  EXPECT_EQ(failure_of([this] { organize_folder(context, in_folder(L"a.txt"), L"by_type"); }),
            R"('C:\Photos\a.txt' is not a folder)");
  EXPECT_EQ(failure_of([this] { organize_folder(context, in_folder(L"gone"), L"by_type"); }),
            R"('C:\Photos\gone' is not a folder)");
}

TEST_F(organize_by_type, of_an_empty_folder_says_so_and_keeps_the_journal) {
  machine.write_file(journal_file, "older");
  organize();
  EXPECT_THAT(machine.log_lines(), ElementsAre(R"([INFO] Organize folder: nothing to organize in C:\Photos)"));
  EXPECT_EQ(machine.read_file(journal_file), "older");
  EXPECT_THAT(notifications(), IsEmpty());
}

TEST_F(organize_by_type, fails_a_file_whose_subfolder_cannot_be_made) {
  put(L"a.txt");
  put(L"b.jpg");
  machine.calls.refuse("create_directory", in_folder(L"Documents"), win32_error::access_denied);
  EXPECT_EQ(failure(), "1 of 2 files could not be moved. See the log for details.");
  EXPECT_THAT(files(), UnorderedElementsAre(L"a.txt", LR"(Images\b.jpg)"));
  EXPECT_THAT(machine.log_lines(),
              ElementsAre(R"([ERROR] Organize folder: Failed to create subfolder 'C:\Photos\Documents')",
                          R"([INFO] Organize folder: moved 1 files into 1 subfolders of C:\Photos (1 failures))"));
}

TEST_F(organize_by_type, notes_a_subfolder_that_came_up_in_the_same_moment) {
  put(L"a.txt");
  machine.calls.before("create_directory", 1, [this] { machine.make_directory(in_folder(L"Documents")); });
  organize();
  EXPECT_THAT(journal().created_folders, ElementsAre(L"Documents"));
}

TEST_F(organize_by_type, takes_a_subfolder_that_cannot_be_examined_for_missing) {
  put(L"a.txt");
  machine.make_directory(in_folder(L"Documents"));
  machine.calls.refuse("kind", in_folder(L"Documents"), win32_error::access_denied);
  organize();
  EXPECT_THAT(files(), ElementsAre(LR"(Documents\a.txt)"));
  EXPECT_THAT(journal().created_folders, ElementsAre(L"Documents"));
}

TEST_F(organize_by_type, tries_a_locked_file_once) {
  put(L"a.txt");
  machine.calls.refuse("move_file", in_folder(L"a.txt"), win32_error::sharing_violation);
  EXPECT_EQ(failure(), "1 of 1 files could not be moved. See the log for details.");
  EXPECT_EQ(machine.calls.count("move_file"), 1U);
  EXPECT_THAT(machine.log_lines(),
              testing::Contains("[ERROR] Organize folder: Failed to move 'a.txt' (The process cannot access the file "
                                "because it is being used by another process.)"));
}

TEST_F(organize_by_type, in_which_all_moves_fail_leaves_no_journal) {
  put_all(3);
  machine.calls.refuse("move_file", L"", win32_error::access_denied);
  EXPECT_EQ(failure(), "3 of 3 files could not be moved. See the log for details.");
  EXPECT_FALSE(has_journal());
  EXPECT_THAT(
      machine.log_lines(),
      testing::Contains(R"([INFO] Organize folder: moved 0 files into 0 subfolders of C:\Photos (3 failures))"));
}

TEST_F(organize_by_type, whose_journal_cannot_be_written_stays_and_warns) {
  put(L"a.txt");
  machine.calls.refuse("open", journal_file, win32_error::access_denied);
  organize();
  EXPECT_THAT(files(), ElementsAre(LR"(Documents\a.txt)"));
  EXPECT_THAT(machine.log_lines(),
              ElementsAre(R"([WARNING] Organize folder: failed to write undo journal for C:\Photos: )"
                          "Failed to write undo journal",
                          R"([INFO] Organize folder: moved 1 files into 1 subfolders of C:\Photos (0 failures))"));
}

// --- the journal

TEST_F(organize_by_type, records_its_folders_once_and_its_moves_in_order) {
  for (const wchar_t* name : {L"a.txt", L"b.jpg", L"c.txt"})
    put(name);
  organize();
  EXPECT_EQ(
      journal(),
      (undo_journal{
          folder,
          {L"Documents", L"Images"},
          {{L"a.txt", LR"(Documents\a.txt)"}, {L"b.jpg", LR"(Images\b.jpg)"}, {L"c.txt", LR"(Documents\c.txt)"}}}));
  EXPECT_TRUE(machine.entry(journal_file).has(attribute::hidden));
}

TEST_F(organize_by_type, does_not_record_a_subfolder_of_earlier) {
  put(L"a.txt");
  machine.make_directory(in_folder(L"Documents"));
  organize();
  EXPECT_THAT(journal().created_folders, IsEmpty());
}

TEST_F(organize_by_type, replaces_the_journal_of_an_earlier_run) {
  put(L"a.txt");
  organize();
  put(L"b.txt");
  organize();
  EXPECT_EQ(journal(), (undo_journal{folder, {}, {{L"b.txt", LR"(Documents\b.txt)"}}}));
}

// --- what the user and the shell see

TEST_F(organize_by_type, shows_the_display_from_20_files_on) {
  put_all(19);
  organize();
  EXPECT_THAT(callbacks.said, IsEmpty());

  for (int i = 0; i < 20; ++i)
    put(text::format(L"more {}.txt", i));
  organize();
  EXPECT_THAT(callbacks.said, ElementsAre(L"bring_to_front"));
}

TEST_F(organize_by_type, shows_between_7_and_96_percent) {
  put(L"1.txt");
  organize();
  EXPECT_THAT(callbacks.percents, ElementsAre(96));

  callbacks.percents.clear();
  for (int i = 0; i < 40; ++i)
    put(text::format(L"more {}.txt", i));
  organize();
  ASSERT_EQ(callbacks.percents.size(), 40U);
  EXPECT_EQ(callbacks.percents[0], 7);  // 2.5
  EXPECT_EQ(callbacks.percents[2], 7);  // 7.5
  EXPECT_EQ(callbacks.percents[3], 10);
  EXPECT_EQ(callbacks.percents[38], 96);  // 97.5
  EXPECT_EQ(callbacks.percents[39], 96);
}

TEST_F(organize_by_type, counts_a_failed_file_in_the_percentage) {
  put_all(2);
  machine.calls.refuse("move_file", in_folder(L"1.txt"), win32_error::access_denied);
  EXPECT_EQ(failure(), "1 of 2 files could not be moved. See the log for details.");
  EXPECT_THAT(callbacks.percents, ElementsAre(50, 96));
}

TEST_F(organize_by_type, that_is_cancelled_leaves_a_journal_of_what_was_done) {
  put_all(3);
  callbacks.cancel_at_question = 3;
  organize();
  EXPECT_THAT(files(), UnorderedElementsAre(LR"(Documents\1.txt)", LR"(Documents\2.txt)", L"3.txt"));
  EXPECT_EQ(journal().moves.size(), 2U);
  EXPECT_THAT(machine.log_lines(),
              ElementsAre(R"([INFO] Organize folder: moved 2 files into 1 subfolders of C:\Photos (0 failures))"));
}

TEST_F(organize_by_type, waits_in_a_pause) {
  put_all(1);
  callbacks.paused_questions = 3;
  organize();
  EXPECT_THAT(machine.clock.sleeps(),
              ElementsAre(std::chrono::milliseconds(50), std::chrono::milliseconds(50), std::chrono::milliseconds(50)));
  EXPECT_THAT(files(), ElementsAre(LR"(Documents\1.txt)"));
}

TEST_F(organize_by_type, that_is_cancelled_in_a_pause_still_moves_the_file_in_hand) {
  put_all(2);
  callbacks.paused_questions = 100;
  callbacks.cancel_at_question = 3;  // the one before the first file and two in its pause
  organize();
  EXPECT_THAT(files(), UnorderedElementsAre(LR"(Documents\1.txt)", L"2.txt"));
  EXPECT_THAT(machine.clock.sleeps(), ElementsAre(std::chrono::milliseconds(50)));
}

TEST_F(organize_by_type, tells_the_shell_of_each_move_and_of_the_folders_at_the_end) {
  put(L"a.txt");
  put(L"b.jpg");
  organize();
  EXPECT_THAT(notifications(), ElementsAre(R"(notify(rename_item, path, C:\Photos\a.txt, C:\Photos\Documents\a.txt))",
                                           R"(notify(rename_item, path, C:\Photos\b.jpg, C:\Photos\Images\b.jpg))",
                                           R"(notify(update_directory, path, C:\Photos\Documents))",
                                           R"(notify(update_directory, path, C:\Photos\Images))",
                                           R"(notify(update_directory, path_and_wait, C:\Photos))"));
}

TEST_F(organize_by_type, asks_in_the_order_of_its_steps) {
  put(L"a.txt");
  put(L"b.lnk");
  machine.calls.clear();
  organize();
  EXPECT_THAT(
      machine.calls.about(folder),
      ElementsAre(R"(kind(C:\Photos))", R"(enumerate(C:\Photos))", R"(attributes(C:\Photos\a.txt))",
                  R"(kind(C:\Photos\Documents))", R"(create_directory(C:\Photos\Documents))",
                  R"(kind(C:\Photos\Documents\a.txt))", R"(move_file(C:\Photos\a.txt, C:\Photos\Documents\a.txt))",
                  R"(notify(rename_item, path, C:\Photos\a.txt, C:\Photos\Documents\a.txt))",
                  R"(attributes(C:\Photos\qb_organize_undo.json))",
                  HasSubstr(R"(open(C:\Photos\qb_organize_undo.json, write)"), HasSubstr("write("), HasSubstr("close("),
                  R"(attributes(C:\Photos\qb_organize_undo.json))",
                  R"(set_attributes(C:\Photos\qb_organize_undo.json, hidden|archive))",
                  R"(notify(update_directory, path, C:\Photos\Documents))",
                  R"(notify(update_directory, path_and_wait, C:\Photos))"));
}

// --- whatever fails

TEST(organize_by_type_faults, lose_no_file_and_the_journal_tells_what_was_moved) {
  const support::fault_code codes[] = {win32_error::access_denied, win32_error::sharing_violation,
                                       win32_error::disk_full, support::short_write{}};
  const std::vector<std::wstring> names = {L"a.txt", L"b.jpg", L"c.txt"};
  const auto prepare = [&](support::simulated_machine& machine) {
    for (const std::wstring& name : names)
      machine.write_file(folder + L"\\" + name, text::utf8_from_wide(name));
    machine.write_file(LR"(C:\Photos\Documents\c.txt)", "older");
  };
  std::string raised;
  const auto run = [&](support::simulated_machine& machine) {
    high_level_settings::forget_settings_instance();
    support::open_log_below(machine);
    support::recording_callbacks callbacks;
    batch_processor::processing_context context;
    context.callbacks = &callbacks;
    raised = failure_of([&] { organize_folder(context, folder, L"by_type"); });
  };
  support::for_each_fault(codes, {prepare, run}, [&](const support::fault_round& round) {
    std::map<std::string, std::wstring> place_of;  // by content
    for (const auto& entry : round.machine.disk.below(folder)) {
      if (!entry->is_directory() && entry->path != journal_file) {
        EXPECT_TRUE(place_of.emplace(entry->content, entry->path).second) << "doubled: " << entry->content;
      }
    }
    EXPECT_EQ(place_of.size(), 4U);
    EXPECT_EQ(place_of["older"], LR"(C:\Photos\Documents\c.txt)");
    std::vector<journal_move> moved;
    for (const std::wstring& name : names) {
      const std::wstring place = place_of[text::utf8_from_wide(name)];
      if (place != folder + L"\\" + name) moved.push_back({name, place.substr(folder.size() + 1)});
    }
    const auto journal = parse_journal(round.machine.exists(journal_file) ? round.machine.read_file(journal_file) : "");
    const std::vector<std::string> log = round.machine.log_lines();
    if (journal) {
      EXPECT_THAT(journal->moves, testing::UnorderedElementsAreArray(moved));
    } else if (!moved.empty()) {
      EXPECT_THAT(log, testing::Contains(HasSubstr("[WARNING] Organize folder: failed to write undo journal for")));
    }
    // An enumeration that fails ends with what it found.
    const bool saw_all =
        !round.struck || (!round.struck->starts_with("enumerate") && !round.struck->starts_with("next_entry"));
    if (saw_all && moved.size() < names.size()) {
      EXPECT_NE(raised, "none");
    }
    if (!round.struck) {
      EXPECT_EQ(raised, "none");
      EXPECT_EQ(moved.size(), names.size());
    }
  });
}

}  // namespace

}  // namespace quill_box::organize
