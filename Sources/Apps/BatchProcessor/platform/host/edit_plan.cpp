#include "platform/host/edit_plan.h"

#include <algorithm>
#include <utility>

namespace platform::host {

namespace {

std::int64_t growth_of(const splice& edit) {
  return static_cast<std::int64_t>(edit.bytes.size()) - static_cast<std::int64_t>(edit.erase);
}

}  // namespace

bool is_well_formed(const edit_plan& plan, std::uint64_t file_size) {
  std::uint64_t end = 0;
  for (const splice& part : plan) {
    if (part.offset < end || part.offset > file_size || part.erase > file_size - part.offset) return false;
    end = part.offset + part.erase;
  }
  return true;
}

bool keeps_size(const edit_plan& plan) {
  return std::ranges::all_of(plan, [](const splice& part) { return part.erase == part.bytes.size(); });
}

std::int64_t growth_of(std::span<const splice> splices) {
  std::int64_t growth = 0;
  for (const splice& part : splices)
    growth += growth_of(part);
  return growth;
}

std::string spliced(std::string_view old, std::uint64_t offset, std::span<const splice> splices) {
  std::string bytes;
  std::uint64_t done = 0;
  for (const splice& part : splices) {
    const std::uint64_t start = part.offset - offset;
    bytes.append(old.substr(done, start - done)).append(part.bytes);
    done = start + part.erase;
  }
  return bytes.append(old.substr(done));
}

void add_difference(edit_plan& plan, std::uint64_t offset, std::string_view before, std::string_view after) {
  const std::size_t shorter = std::min(before.size(), after.size());
  std::size_t head = 0;
  while (head < shorter && before[head] == after[head])
    ++head;
  if (head == before.size() && head == after.size()) return;
  std::size_t tail = 0;
  while (tail < shorter - head && before[before.size() - 1 - tail] == after[after.size() - 1 - tail])
    ++tail;
  plan.push_back(
      {offset + head, before.size() - head - tail, std::string(after.substr(head, after.size() - head - tail))});
}

std::optional<edit_plan> join_balanced(byte_source& source, edit_plan plan) {
  edit_plan joined;
  for (auto first = plan.begin(); first != plan.end();) {
    std::int64_t growth = growth_of(*first);
    auto last = first + 1;
    while (growth != 0 && last != plan.end())
      growth += growth_of(*last++);
    // What never comes into balance again moves the rest of the file, and only neighbours are joined.
    if (growth != 0) last = first + 1;
    while (growth != 0 && last != plan.end() && (last - 1)->offset + (last - 1)->erase == last->offset)
      ++last;
    splice whole = std::move(*first);
    for (auto next = first + 1; next != last; ++next) {
      const std::uint64_t end = whole.offset + whole.erase;
      const auto between = source.read(end, next->offset - end);
      if (!between) return std::nullopt;
      whole.bytes += *between;
      whole.bytes += next->bytes;
      whole.erase = next->offset + next->erase - whole.offset;
      whole.stands_alone = false;
    }
    joined.push_back(std::move(whole));
    first = last;
  }
  return joined;
}

}  // namespace platform::host
