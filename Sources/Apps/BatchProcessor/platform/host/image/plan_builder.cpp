#include "platform/host/image/plan_builder.h"

#include <algorithm>
#include <utility>

#include "platform/host/edit_plan.h"

namespace platform::host::image {

void plan_builder::replace(std::uint64_t offset, std::string_view old_bytes, std::string_view new_bytes) {
  add_difference(plan_, offset, old_bytes, new_bytes);
}

void plan_builder::replace(std::uint64_t offset, std::string_view old_text, const packet_change& change) {
  if (old_text.size() != change.text.size() || change.pieces.empty()) return replace(offset, old_text, change.text);
  for (const text_range& piece : change.pieces) {
    const std::size_t before = plan_.size();
    replace(offset + piece.begin, old_text.substr(piece.begin, piece.size()),
            std::string_view(change.text).substr(piece.begin, piece.size()));
    if (plan_.size() > before) plan_.back().stands_alone = change.pieces_stand_alone;
  }
}

void plan_builder::add(std::uint64_t offset, std::vector<splice> splices) {
  for (splice& part : splices) {
    part.offset += offset;
    plan_.push_back(std::move(part));
  }
}

void plan_builder::splice_in(std::uint64_t offset, std::uint64_t erase, std::string bytes) {
  if (erase == 0 && bytes.empty()) return;
  plan_.push_back({offset, erase, std::move(bytes)});
}

std::int64_t plan_builder::growth(std::uint64_t from, std::uint64_t to) const {
  std::int64_t bytes = 0;
  for (const splice& change : plan_) {
    if (change.offset < from || change.offset >= to) continue;
    bytes += static_cast<std::int64_t>(change.bytes.size()) - static_cast<std::int64_t>(change.erase);
  }
  return bytes;
}

edit_plan plan_builder::take() {
  std::stable_sort(plan_.begin(), plan_.end(), [](const splice& a, const splice& b) {
    return a.offset != b.offset ? a.offset < b.offset : a.erase == 0 && b.erase != 0;
  });
  edit_plan merged;
  for (splice& change : plan_) {
    const bool touches = !merged.empty() && merged.back().offset + merged.back().erase == change.offset;
    if (touches && !merged.back().stands_alone && !change.stands_alone) {
      merged.back().erase += change.erase;
      merged.back().bytes += change.bytes;
    } else {
      merged.push_back(std::move(change));
    }
  }
  plan_.clear();
  return merged;
}

}  // namespace platform::host::image
