#include "organize/undo_organize.h"

#include <map>

#include "organize/organize_fixture.h"
#include "organize/organize_folder.h"
#include "support/fault_sweep.h"

namespace quill_box::organize {

namespace {

namespace attribute = platform::attribute;
using platform::win32_error;
using support::failure_of;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class undo : public organize_test {
 protected:
  void undo_all() { undo_organize(context, folder); }
  [[nodiscard]] std::string failure() {
    return failure_of([this] { undo_all(); });
  }
  // With callbacks of its own, so that those of the test count from the undo on.
  void organize() {
    support::recording_callbacks organizing;
    context.callbacks = &organizing;
    organize_folder(context, folder, L"by_type");
    context.callbacks = &callbacks;
    machine.calls.clear();
    logging::logger()->close();
    machine.disk.remove(*machine.disk.find(log_path()));
    logging::logger()->make_log_directory_and_open(L"", L"Processor", L"Quill Box");
  }
  void journal_is(const undo_journal& journal) { write_journal(journal, journal_file); }

 private:
  [[nodiscard]] std::wstring log_path() const {
    for (const auto& entry : machine.disk.below(L"C:\\")) {
      if (entry->path.ends_with(L".log")) return entry->path;
    }
    return {};
  }
};

TEST_F(undo, restores_every_file_and_removes_the_folders_and_the_journal) {
  for (const wchar_t* name : {L"a.txt", L"b.jpg", L"c"})
    put(name);
  organize();
  undo_all();
  EXPECT_THAT(files(), UnorderedElementsAre(L"a.txt", L"b.jpg", L"c"));
  EXPECT_EQ(machine.read_file(in_folder(L"a.txt")), "of a.txt");
  EXPECT_THAT(folders(), IsEmpty());
  EXPECT_FALSE(has_journal());
  EXPECT_THAT(machine.log_lines(),
              ElementsAre(R"([INFO] Undo organize: restored 3 files, skipped 0 in C:\Photos (cancelled=false))"));
}

TEST_F(undo, leaves_a_folder_that_holds_a_file_of_others) {
  put(L"a.txt");
  organize();
  machine.write_file(LR"(C:\Photos\Documents\theirs)", "");
  undo_all();
  EXPECT_THAT(files(), UnorderedElementsAre(L"a.txt", LR"(Documents\theirs)"));
  EXPECT_THAT(machine.calls.named({"notify"}), testing::Each(testing::Not(HasSubstr("remove_directory"))));
}

TEST_F(undo, numbers_a_name_that_came_back_meanwhile) {
  put(L"a.txt");
  organize();
  machine.write_file(in_folder(L"a.txt"), "new");
  undo_all();
  EXPECT_EQ(machine.read_file(in_folder(L"a.txt")), "new");
  EXPECT_EQ(machine.read_file(in_folder(L"a (2).txt")), "of a.txt");
}

TEST_F(undo, does_not_look_at_the_number_1001) {
  put(L"a.txt");
  organize();
  machine.write_file(in_folder(L"a.txt"), "");
  for (int i = 2; i <= 1001; ++i)
    machine.write_file(in_folder(text::format(L"a ({}).txt", i)), "");
  EXPECT_EQ(failure(),
            "Restored 0 files; 1 could not be restored (deleted, renamed, or locked). See the log for details.");
  EXPECT_THAT(machine.calls.about(in_folder(L"a (1001).txt")),
              ElementsAre(R"(move_file(C:\Photos\Documents\a.txt, C:\Photos\a (1001).txt))"));
  EXPECT_TRUE(machine.exists(LR"(C:\Photos\Documents\a.txt)"));
}

TEST_F(undo, of_a_journal_without_moves_deletes_it_and_the_empty_folders) {
  machine.make_directory(LR"(C:\Photos\2026\Paris)");
  journal_is({folder, {L"2026", LR"(2026\Paris)"}, {}});
  undo_all();
  EXPECT_FALSE(has_journal());
  EXPECT_THAT(folders(), IsEmpty());
  EXPECT_THAT(machine.log_lines(),
              ElementsAre(R"([INFO] Undo organize: restored 0 files, skipped 0 in C:\Photos (cancelled=false))"));
}

TEST_F(undo, that_is_cancelled_on_the_first_move_keeps_all_moves) {
  put(L"a.txt");
  put(L"b.jpg");
  organize();
  const undo_journal before = journal();
  callbacks.cancel_at_question = 1;
  undo_all();
  EXPECT_EQ(journal(), before);
  EXPECT_THAT(callbacks.percents, IsEmpty());
  EXPECT_THAT(folders(), UnorderedElementsAre(L"Documents", L"Images"));
  EXPECT_THAT(machine.log_lines(),
              ElementsAre(R"([INFO] Undo organize: restored 0 files, skipped 0 in C:\Photos (cancelled=true))"));
}

TEST_F(undo, that_is_cancelled_keeps_what_was_not_reached) {
  machine.write_file(LR"(C:\Photos\D\b)", "b");
  machine.write_file(LR"(C:\Photos\D\c)", "c");
  journal_is({L"D:\\elsewhere", {L"D"}, {{L"gone", LR"(D\gone)"}, {L"b", LR"(D\b)"}, {L"c", LR"(D\c)"}}});
  callbacks.cancel_at_question = 3;
  EXPECT_EQ(failure(),
            "Restored 1 files; 1 could not be restored (deleted, renamed, or locked). See the log for details.");
  EXPECT_EQ(journal(), (undo_journal{L"D:\\elsewhere", {L"D"}, {{L"c", LR"(D\c)"}}}));
  EXPECT_TRUE(machine.entry(journal_file).has(attribute::hidden));
  EXPECT_THAT(files(), UnorderedElementsAre(L"b", LR"(D\c)"));
}

TEST_F(undo, finishes_what_a_cancelled_one_left) {
  put_all(3);
  organize();
  callbacks.cancel_at_question = 2;
  undo_all();
  callbacks.cancel_at_question = 0;
  undo_all();
  EXPECT_THAT(files(), UnorderedElementsAre(L"1.txt", L"2.txt", L"3.txt"));
  EXPECT_THAT(folders(), IsEmpty());
  EXPECT_FALSE(has_journal());
}

TEST_F(undo, whose_journal_cannot_be_rewritten_warns_and_keeps_it) {
  put_all(2);
  organize();
  callbacks.cancel_at_question = 2;
  machine.calls.before("move_file", 1,
                       [this] { machine.calls.refuse("open", journal_file, win32_error::access_denied, 1); });
  undo_all();
  EXPECT_THAT(machine.log_lines(),
              ElementsAre(R"([WARNING] Undo organize: failed to rewrite journal for C:\Photos: )"
                          "Failed to write undo journal",
                          R"([INFO] Undo organize: restored 1 files, skipped 0 in C:\Photos (cancelled=true))"));
  EXPECT_EQ(journal().moves.size(), 2U);
}

TEST_F(undo, waits_in_a_pause) {
  put(L"a.txt");
  organize();
  callbacks.paused_questions = 2;
  undo_all();
  EXPECT_THAT(machine.clock.sleeps(), ElementsAre(std::chrono::milliseconds(50), std::chrono::milliseconds(50)));
  EXPECT_THAT(files(), ElementsAre(L"a.txt"));
}

TEST_F(undo, that_is_cancelled_in_a_pause_still_restores_the_file_in_hand) {
  put_all(2);
  organize();
  callbacks.paused_questions = 100;
  callbacks.cancel_at_question = 3;  // the one before the first move and two in its pause
  undo_all();
  EXPECT_THAT(files(), UnorderedElementsAre(L"1.txt", LR"(Documents\2.txt)"));
  EXPECT_THAT(journal().moves, ElementsAre(journal_move{L"2.txt", LR"(Documents\2.txt)"}));
  EXPECT_THAT(machine.clock.sleeps(), ElementsAre(std::chrono::milliseconds(50)));
}

TEST_F(undo, numbers_a_name_from_a_subfolder_in_the_folder_itself) {
  machine.write_file(LR"(C:\Photos\D\a.txt)", "a");
  machine.write_file(LR"(C:\Photos\Sub\a.txt)", "new");
  journal_is({folder, {}, {{LR"(Sub\a.txt)", LR"(D\a.txt)"}}});
  undo_all();
  EXPECT_THAT(files(), UnorderedElementsAre(L"a (2).txt", LR"(Sub\a.txt)"));
  EXPECT_EQ(machine.read_file(in_folder(L"a (2).txt")), "a");
}

TEST_F(undo, fetches_a_file_back_from_another_drive) {
  machine.disk.add_drive(L"D:");
  machine.disk.put_file(LR"(D:\Trips\Paris\a.jpg)", "a");
  journal_is({folder, {}, {{L"a.jpg", LR"(D:\Trips\Paris\a.jpg)"}}});
  undo_all();
  EXPECT_EQ(machine.read_file(in_folder(L"a.jpg")), "a");
  EXPECT_TRUE(machine.exists(LR"(D:\Trips\Paris)"));
}

TEST_F(undo, understands_both_separators) {
  machine.write_file(LR"(C:\Photos\2026\Paris\a.jpg)", "a");
  journal_is({folder, {L"2026", L"2026/Paris"}, {{L"a.jpg", L"2026/Paris/a.jpg"}}});
  undo_all();
  EXPECT_THAT(files(), ElementsAre(L"a.jpg"));
  EXPECT_THAT(folders(), IsEmpty());
}

TEST_F(undo, shows_the_display_from_20_moves_on) {
  put_all(19);
  organize();
  undo_all();
  EXPECT_THAT(callbacks.said, IsEmpty());
  callbacks.percents.clear();
  put_all(20);
  organize();
  undo_all();
  EXPECT_THAT(callbacks.said, ElementsAre(L"bring_to_front"));
  ASSERT_EQ(callbacks.percents.size(), 20U);
  EXPECT_EQ(callbacks.percents.front(), 7);
  EXPECT_EQ(callbacks.percents[9], 50);
  EXPECT_EQ(callbacks.percents.back(), 96);
}

TEST_F(undo, reads_a_journal_of_any_version) {
  machine.write_file(LR"(C:\Photos\D\a)", "a");
  machine.write_file(journal_file, R"({"version":7,"moves":[{"from":"a","to":"D\\a"}]})");
  undo_all();
  EXPECT_THAT(files(), ElementsAre(L"a"));
}

TEST_F(undo, leaves_out_a_move_whose_name_is_no_string) {
  machine.write_file(LR"(C:\Photos\D\a)", "a");
  machine.write_file(LR"(C:\Photos\D\b)", "b");
  machine.write_file(journal_file, R"({"moves":[{"from":1,"to":"D\\a"},{"from":"b","to":"D\\b"}]})");
  undo_all();
  EXPECT_THAT(files(), UnorderedElementsAre(LR"(D\a)", L"b"));
}

// --- what fails

TEST_F(undo, without_a_journal_has_nothing_to_do) {
  EXPECT_EQ(failure(), R"(Nothing to undo: no organize record found in 'C:\Photos')");
}

TEST_F(undo, takes_a_journal_that_cannot_be_examined_for_missing) {
  journal_is({folder, {}, {}});
  machine.calls.refuse("kind", journal_file, win32_error::access_denied);
  EXPECT_EQ(failure(), R"(Nothing to undo: no organize record found in 'C:\Photos')");
  EXPECT_TRUE(has_journal());
}

TEST_F(undo, of_a_journal_that_cannot_be_opened_changes_nothing) {
  put(L"a.txt");
  organize();
  machine.calls.refuse("open", journal_file, win32_error::access_denied);
  EXPECT_EQ(failure(), "Failed to open undo journal");
  EXPECT_THAT(files(), ElementsAre(LR"(Documents\a.txt)"));
}

TEST_F(undo, of_a_journal_that_is_no_json_changes_nothing) {
  put(L"a.txt");
  organize();
  const std::string whole = machine.read_file(journal_file);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    machine.write_file(journal_file, whole.substr(0, length));
    ASSERT_EQ(failure(), "Undo journal is not valid JSON") << length;
  }
  EXPECT_THAT(files(), ElementsAre(LR"(Documents\a.txt)"));
}

TEST_F(undo, goes_on_behind_a_file_that_is_gone) {
  put_all(2);
  organize();
  machine.disk.remove(*machine.disk.find(LR"(C:\Photos\Documents\1.txt)"));
  EXPECT_EQ(failure(),
            "Restored 1 files; 1 could not be restored (deleted, renamed, or locked). See the log for details.");
  EXPECT_THAT(files(), ElementsAre(L"2.txt"));
  EXPECT_FALSE(has_journal());
  EXPECT_THAT(machine.log_lines(),
              ElementsAre(R"([INFO] Undo organize: 'C:\Photos\Documents\1.txt' no longer exists, skipping)",
                          R"([INFO] Undo organize: restored 1 files, skipped 1 in C:\Photos (cancelled=false))"));
}

TEST_F(undo, goes_on_behind_a_file_that_cannot_be_moved_back) {
  put_all(2);
  organize();
  machine.calls.refuse("move_file", LR"(C:\Photos\Documents\1.txt)", win32_error::sharing_violation);
  EXPECT_EQ(failure(),
            "Restored 1 files; 1 could not be restored (deleted, renamed, or locked). See the log for details.");
  EXPECT_EQ(machine.calls.count("move_file"), 2U);
  EXPECT_THAT(files(), UnorderedElementsAre(LR"(Documents\1.txt)", L"2.txt"));
  EXPECT_FALSE(has_journal());
  EXPECT_THAT(machine.log_lines(),
              Contains(R"([ERROR] Undo organize: failed to restore 'C:\Photos\Documents\1.txt' (The process cannot )"
                       "access the file because it is being used by another process.)"));
}

TEST_F(undo, ignores_that_the_journal_cannot_be_deleted) {
  put(L"a.txt");
  organize();
  machine.calls.refuse("delete_file", journal_file, win32_error::access_denied);
  undo_all();
  EXPECT_THAT(files(), ElementsAre(L"a.txt"));
  EXPECT_THAT(folders(), IsEmpty());
}

// A journal is a file in a folder that others may write to.
TEST_F(undo, of_a_journal_of_somebody_else_puts_nothing_outside_the_folder) {
  machine.write_file(LR"(C:\Photos\evil.exe)", "evil");
  machine.make_directory(LR"(C:\Startup)");
  machine.make_directory(LR"(C:\Empty)");
  const std::vector<std::wstring> ways_out = {LR"(..\Startup\evil.exe)",
                                              LR"(C:\Startup\evil.exe)",
                                              LR"(sub\..\..\Startup\evil.exe)",
                                              LR"(\Startup\evil.exe)",
                                              LR"(\\server\share\evil.exe)",
                                              L"..",
                                              L".",
                                              L"",
                                              std::wstring(L"..\0x", 4)};
  for (const std::wstring& from : ways_out) {
    journal_is({folder, {LR"(..\Empty)", LR"(C:\Empty)", L"."}, {{from, L"evil.exe"}}});
    EXPECT_EQ(failure(),
              "Restored 0 files; 1 could not be restored (deleted, renamed, or locked). See the log for details.");
  }
  EXPECT_TRUE(machine.exists(LR"(C:\Photos\evil.exe)"));
  EXPECT_TRUE(machine.exists(LR"(C:\Empty)"));
  EXPECT_FALSE(machine.exists(LR"(C:\Startup\evil.exe)"));
}

TEST_F(undo, of_foreign_json_moves_nothing) {
  put(L"a.txt");
  organize();
  for (const char* foreign : {R"({"moves":{"from":"a.txt","to":"Documents\\a.txt"},"created_folders":7})",
                              R"({"from":"a.txt","to":"Documents\\a.txt"})", "{}"}) {
    machine.write_file(journal_file, foreign);
    undo_all();
    EXPECT_THAT(files(), ElementsAre(LR"(Documents\a.txt)")) << foreign;
    EXPECT_FALSE(has_journal()) << foreign;
  }
}

TEST_F(undo, by_a_hidden_read_only_journal_leaves_it_visible) {
  put(L"a.txt");
  organize();
  machine.entry(journal_file).attributes |= attribute::read_only;
  ASSERT_TRUE(machine.entry(journal_file).has(attribute::hidden));
  undo_all();
  EXPECT_THAT(files(), ElementsAre(L"a.txt"));
  EXPECT_THAT(folders(), IsEmpty());
  EXPECT_TRUE(machine.entry(journal_file).has(attribute::read_only));
  EXPECT_FALSE(machine.entry(journal_file).has(attribute::hidden));

  EXPECT_EQ(failure(),
            "Restored 0 files; 1 could not be restored (deleted, renamed, or locked). See the log for details.");
  EXPECT_THAT(files(), ElementsAre(L"a.txt"));
}

TEST_F(undo, ends_in_a_folder_that_vanishes_in_the_middle) {
  put_all(3);
  organize();
  machine.calls.before("move_file", 2, [this] {
    for (const auto& entry : machine.disk.below(folder))
      machine.disk.remove(entry);
    machine.disk.remove(*machine.disk.find(folder));
  });
  EXPECT_EQ(failure(),
            "Restored 1 files; 2 could not be restored (deleted, renamed, or locked). See the log for details.");
  EXPECT_FALSE(machine.exists(folder));
}

TEST_F(undo, on_a_full_disk_keeps_what_a_cancel_left) {
  put_all(3);
  organize();
  machine.disk.drive(L"C:").free_bytes = 0;
  callbacks.cancel_at_question = 2;
  undo_all();
  EXPECT_THAT(files(), UnorderedElementsAre(L"1.txt", LR"(Documents\2.txt)", LR"(Documents\3.txt)"));
  // What is written is shorter than what it replaces.
  EXPECT_THAT(journal().moves, ElementsAre(journal_move{L"2.txt", LR"(Documents\2.txt)"},
                                           journal_move{L"3.txt", LR"(Documents\3.txt)"}));
}

TEST_F(undo, of_a_million_moves_that_are_gone_ends) {
  std::string text = R"({"moves":[)";
  for (int i = 0; i < 1'000'000; ++i)
    text += R"({"from":"a","to":"Documents\\a"},)";
  text.back() = ']';
  machine.write_file(journal_file, text + "}");
  machine.calls.refuse("kind", LR"(C:\Photos\Documents\a)", win32_error::file_not_found);
  callbacks.cancel_at_question = 1000;
  EXPECT_THAT(failure(), HasSubstr("Restored 0 files; 999 could not be restored"));
  const std::string rest = machine.read_file(journal_file);
  std::size_t kept = 0;
  for (std::size_t at = rest.find("\"from\""); at != std::string::npos; at = rest.find("\"from\"", at + 1))
    ++kept;
  EXPECT_EQ(kept, 1'000'000U - 999);
}

// --- what the shell hears

TEST_F(undo, tells_the_shell_of_each_move_the_removed_folders_and_the_folder) {
  put(L"a.txt");
  organize();
  undo_all();
  EXPECT_THAT(machine.calls.named({"notify"}),
              ElementsAre(R"(notify(rename_item, path, C:\Photos\Documents\a.txt, C:\Photos\a.txt))",
                          R"(notify(remove_directory, path, C:\Photos\Documents))",
                          R"(notify(update_directory, path_and_wait, C:\Photos))"));
}

TEST_F(undo, that_is_cancelled_tells_the_shell_of_the_folder_all_the_same) {
  put_all(2);
  organize();
  callbacks.cancel_at_question = 2;
  undo_all();
  EXPECT_THAT(machine.calls.named({"notify", "remove_directory", "delete_file"}),
              ElementsAre(R"(notify(rename_item, path, C:\Photos\Documents\1.txt, C:\Photos\1.txt))",
                          R"(notify(update_directory, path_and_wait, C:\Photos))"));
}

TEST_F(undo, shows_the_journal_before_it_deletes_it_and_folders_after_that) {
  put(L"a.txt");
  organize();
  undo_all();
  EXPECT_THAT(
      machine.calls.named({"move_file", "set_attributes", "delete_file", "remove_directory"}),
      ElementsAre(R"(move_file(C:\Photos\Documents\a.txt, C:\Photos\a.txt))",
                  HasSubstr(R"(set_attributes(C:\Photos\qb_organize_undo.json)"),
                  R"(delete_file(C:\Photos\qb_organize_undo.json))", R"(remove_directory(C:\Photos\Documents))"));
}

// --- whatever fails

TEST(undo_faults, lose_no_file_and_name_what_stayed) {
  const support::fault_code codes[] = {win32_error::access_denied, win32_error::sharing_violation,
                                       win32_error::disk_full, support::short_write{}};
  const std::vector<std::wstring> names = {L"a.txt", L"b.jpg", L"c.txt"};
  const undo_journal journal = {
      folder,
      {L"Documents", L"Images"},
      {{L"a.txt", LR"(Documents\a.txt)"}, {L"b.jpg", LR"(Images\b.jpg)"}, {L"c.txt", LR"(Documents\c.txt)"}}};
  const auto prepare = [&](support::simulated_machine& machine) {
    for (const journal_move& move : journal.moves)
      machine.write_file(folder + L"\\" + move.to, text::utf8_from_wide(move.from));
    machine.write_file(journal_file, journal_text(journal)).attributes |= attribute::hidden;
  };
  for (const int cancel_at : {0, 2}) {
    std::string raised;
    const auto run = [&](support::simulated_machine& machine) {
      support::open_log_below(machine);
      support::recording_callbacks callbacks;
      callbacks.cancel_at_question = cancel_at;
      batch_processor::processing_context context;
      context.callbacks = &callbacks;
      raised = failure_of([&] { undo_organize(context, folder); });
    };
    support::for_each_fault(codes, {prepare, run}, [&](const support::fault_round& round) {
      std::size_t restored = 0;
      for (const std::wstring& name : names) {
        const std::string content = text::utf8_from_wide(name);
        const auto& below = round.machine.disk.below(folder);
        EXPECT_EQ(
            std::count_if(below.begin(), below.end(), [&](const auto& entry) { return entry->content == content; }), 1)
            << content;
        const bool is_back = round.machine.exists(folder + L"\\" + name);
        if (is_back) {
          ++restored;
          EXPECT_EQ(round.machine.read_file(folder + L"\\" + name), content);
        }
      }
      if (cancel_at == 0 && restored < names.size()) {
        EXPECT_NE(raised, "none");
      }
      const auto left = parse_journal(round.machine.exists(journal_file) ? round.machine.read_file(journal_file) : "");
      if (raised.starts_with("Failed to open") || raised.starts_with("Nothing to undo")) {
        EXPECT_EQ(restored, 0U);
        EXPECT_EQ(left, journal);
      } else if (cancel_at == 0) {
        // One that can't be deleted is as it was.
        EXPECT_TRUE(!round.machine.exists(journal_file) || (round.struck && left == journal));
      } else if (left) {
        // What wasn't reached; all of it where that couldn't be written.
        EXPECT_THAT(left->moves, testing::IsSupersetOf({journal.moves[1], journal.moves[2]}));
        EXPECT_EQ(left->created_folders, journal.created_folders);
      } else {
        EXPECT_THAT(round.machine.log_lines(), Contains(HasSubstr("[WARNING] Undo organize: failed to rewrite ")));
      }
      if (!round.struck) {
        EXPECT_EQ(raised, "none");
        EXPECT_EQ(restored, cancel_at == 0 ? names.size() : 1U);
      }
    });
  }
}

}  // namespace

}  // namespace quill_box::organize
