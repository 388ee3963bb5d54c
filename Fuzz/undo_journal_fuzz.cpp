// The undo journal: any bytes are a journal or nothing, and what was read is written as text that reads the same.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "organize/undo_journal.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quill_box::organize;
  const auto journal = parse_journal({reinterpret_cast<const char*>(data), size});
  if (!journal) return 0;
  require(journal->moves.size() + journal->created_folders.size() <= size);
  const std::string text = journal_text(*journal);
  const auto again = parse_journal(text);
  require(again && *again == *journal);
  require(journal_text(*again) == text);
  // One that was cut off is nobody's journal.
  require(!parse_journal(std::string_view(text).substr(0, text.size() - 1)));
  return 0;
}
