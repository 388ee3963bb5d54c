#include "organize/moving.h"

#include <new>
#include <optional>

#include "organize/organize_fixture.h"
#include "organize/organize_folder.h"
#include "support/allocation_faults.h"

namespace quill_box::organize {

namespace {

using platform::win32_error;
using testing::ElementsAre;

class moving : public organize_test {
 protected:
  undo_journal journal_ = {folder, {}, {}};
};

TEST_F(moving, is_noted_by_what_came_out) {
  put(L"a.txt");
  put(L"b.txt");
  EXPECT_EQ(move_and_record(journal_, in_folder(L"a.txt"), in_folder(L"c.txt")), win32_error::success);
  EXPECT_EQ(move_and_record(journal_, in_folder(L"b.txt"), in_folder(L"c.txt")), win32_error::already_exists);
  EXPECT_THAT(journal_.moves, ElementsAre(journal_move{L"a.txt", L"c.txt"}));
}

// A file that moved without a note could not be put back.
TEST_F(moving, is_noted_wherever_memory_runs_out) {
  bool struck = true;
  for (std::size_t turn = 1; struck; ++turn) {
    support::simulated_machine other;
    const support::installed_machine installed(other.machine);
    other.write_file(in_folder(L"a.txt"), "a");
    undo_journal notes = {folder, {}, {}};
    {
      const support::allocation_fault fault(turn);
      try {
        static_cast<void>(move_and_record(notes, in_folder(L"a.txt"), in_folder(L"c.txt")));
      } catch (const std::bad_alloc&) {
        // The note is checked below.
      }
      struck = fault.struck();
    }
    EXPECT_EQ(notes.moves.size(), other.exists(in_folder(L"c.txt")) ? 1U : 0U) << turn;
  }
}

// Also of the one file that moved, whatever kept it from being counted.
TEST_F(moving, leaves_a_journal_wherever_memory_runs_out_behind_it) {
  for (const wchar_t* scheme : {L"by_type", L"photos_pattern"}) {
    bool struck = true;
    std::size_t moved_and_failed = 0;
    for (std::size_t turn = 1; struck; ++turn) {
      support::simulated_machine other;
      const support::installed_machine installed(other.machine);
      other.write_file(in_folder(L"a.jpg"), "a");
      logging::logger()->close();
      logging::logger()->make_log_directory_and_open(L"", L"Processor", L"Quill Box");
      std::optional<support::allocation_fault> fault;
      other.calls.before("move_file", 1, [&] { fault.emplace(turn); });
      bool raised = false;
      try {
        organize_folder(context, folder, scheme);
      } catch (const std::exception&) {
        raised = true;
      }
      ASSERT_TRUE(fault);
      struck = fault->struck();
      fault.reset();
      if (other.exists(in_folder(L"a.jpg"))) continue;
      if (raised) ++moved_and_failed;
      const auto noted = other.exists(journal_file) ? parse_journal(other.read_file(journal_file)) : std::nullopt;
      if (noted && noted->moves.size() == 1) continue;
      EXPECT_THAT(other.log_lines(), testing::Contains(testing::HasSubstr("failed to write undo journal"))) << turn;
    }
    EXPECT_GT(moved_and_failed, 0U);
  }
  logging::logger()->close();
}

TEST_F(moving, stays_inside_by_no_name_with_a_nul) {
  EXPECT_TRUE(stays_inside(folder, L"a.txt"));
  EXPECT_FALSE(stays_inside(folder, std::wstring_view(L"a\0.txt", 6)));
  EXPECT_FALSE(stays_inside(folder, std::wstring_view(L"..\0", 3)));
}

}  // namespace

}  // namespace quill_box::organize
