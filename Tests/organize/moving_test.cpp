#include "organize/moving.h"

#include <new>

#include "organize/organize_fixture.h"
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

}  // namespace

}  // namespace quill_box::organize
