// Changes the rating of whatever bytes come as an audio or video file. The first byte chooses the container, the second
// one the rating. A plan must leave a file that reads, has the rating, and has everything else where it was.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "platform/host/media/asf_rating.h"
#include "platform/host/media/mp3_rating.h"
#include "platform/host/media/mp4_rating.h"
#include "support/media/containers.h"
#include "support/media/plans.h"

namespace {

using namespace test_support;
using platform::handler_access;
using platform::hresult;
using platform::host::media::rating_format;

constexpr std::array<std::uint32_t, 7> percents = {0, 1, 25, 50, 75, 99, 500};

void demand(bool condition) {
  if (!condition) std::abort();
}

/// The atoms of a range as (begin, end), by 32-bit and 64-bit sizes; what doesn't fit ends the list.
struct range {
  std::size_t begin = 0;
  std::size_t content = 0;
  std::size_t end = 0;
  std::string_view type;
};
std::vector<range> ranges(std::string_view file, std::size_t begin, std::size_t end) {
  std::vector<range> found;
  while (end - begin >= 8) {
    std::uint64_t size = big_at(file, begin, 4);
    std::size_t header = 8;
    if (size == 1 && end - begin >= 16) {
      size = big_at(file, begin + 8, 8);
      header = 16;
    }
    if (size == 0 && end == file.size()) size = end - begin;
    if (size < header || size > end - begin) break;
    found.push_back({begin, begin + header, begin + size, file.substr(begin + 4, 4)});
    begin += size;
  }
  return found;
}

void add_chunk_offsets(std::string_view file, const range& table, std::vector<std::uint64_t>& offsets) {
  const std::size_t width = table.type == "co64" ? 8 : 4;
  if (table.end - table.content < 8) return;
  const std::uint64_t count = big_at(file, table.content + 4, 4);
  if (count * width > table.end - table.content - 8) return;
  for (std::uint64_t i = 0; i < count; ++i)
    offsets.push_back(big_at(file, table.content + 8 + i * width, width));
}

std::vector<std::uint64_t> chunk_offsets(std::string_view file) {
  std::vector<range> level = ranges(file, 0, file.size());
  for (const char* type : {"moov", "trak", "mdia", "minf", "stbl"}) {
    std::vector<range> next;
    for (const range& parent : level) {
      if (parent.type != type) continue;
      const auto children = ranges(file, parent.content, parent.end);
      next.insert(next.end(), children.begin(), children.end());
    }
    level = next;
  }
  std::vector<std::uint64_t> offsets;
  for (const range& table : level) {
    if (table.type == "stco" || table.type == "co64") add_chunk_offsets(file, table, offsets);
  }
  return offsets;
}

void demand_same_chunks(std::string_view before, std::string_view after) {
  const auto old_offsets = chunk_offsets(before);
  const auto new_offsets = chunk_offsets(after);
  demand(old_offsets.size() == new_offsets.size());
  const auto atoms = ranges(before, 0, before.size());
  for (std::size_t i = 0; i < old_offsets.size(); ++i) {
    const std::uint64_t offset = old_offsets[i];
    const auto home = std::find_if(atoms.begin(), atoms.end(), [&](const range& atom) { return offset < atom.end; });
    if (home == atoms.end() || home->type != "mdat") continue;
    const std::uint64_t length = home->end - offset;
    demand(new_offsets[i] <= after.size() && before.substr(offset, length) == after.substr(new_offsets[i], length));
  }
}

void demand_same_media(std::string_view before, std::string_view after) {
  std::vector<std::string_view> kept[2];
  for (const range& atom : ranges(before, 0, before.size())) {
    if (atom.type == "mdat" || atom.type == "ftyp") kept[0].push_back(before.substr(atom.begin, atom.end - atom.begin));
  }
  for (const range& atom : ranges(after, 0, after.size())) {
    if (atom.type == "mdat" || atom.type == "ftyp") kept[1].push_back(after.substr(atom.begin, atom.end - atom.begin));
  }
  demand(kept[0] == kept[1]);
}

/// Where the part of the file begins that a rating has no business with.
std::size_t end_of_metadata(unsigned container, std::string_view file) {
  if (container == 2) return little_at(file, 16, 8);
  if (!file.starts_with("ID3")) return 0;
  std::size_t size = 10;
  for (std::size_t at = 6, shift = 21; at < 10; ++at, shift -= 7)
    size += static_cast<std::size_t>(file[at]) << shift;
  return size + ((file[5] & 0x10) != 0 ? 10U : 0U);
}

void demand_rest_is_kept(unsigned container, std::string_view before, std::string_view after) {
  if (before == after) return;
  if (container == 1) {
    demand_same_chunks(before, after);
    demand_same_media(before, after);
    return;
  }
  demand(before.substr(end_of_metadata(container, before)) == after.substr(end_of_metadata(container, after)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static constexpr std::array formats = {&platform::host::media::mp3_rating, &platform::host::media::mp4_rating,
                                         &platform::host::media::asf_rating};
  if (size < 2) return 0;
  const unsigned container = data[0] % formats.size();
  const rating_format& format = *formats[container];
  const std::uint32_t percent = percents[data[1] % percents.size()];
  const std::string file(data + 2, data + size);

  const rating_answer before = rating_of(format, file);
  const bool changeable = rating_of(format, file, handler_access::read_write).code == hresult::ok;
  const change_answer change = change_rating(format, file, percent);
  if (before.code != hresult::ok) {
    demand(change.code != hresult::ok && !changeable);
    return 0;
  }
  if (change.code != hresult::ok) {
    demand(change.code == hresult::imaging_property_not_supported ||
           (change.code == hresult::invalid_argument && container == 0 && percent == 500));
    return 0;
  }
  if (before.percent.value_or(0) == percent) demand(change.plan.empty());
  demand(change.bytes.size() != file.size() || is_in_place(change.plan));
  const rating_answer after = rating_of(format, change.bytes, handler_access::read_write);
  if (!change.plan.empty()) demand(after.code == hresult::ok && changeable);
  demand(rating_of(format, change.bytes).percent.value_or(0) == percent);
  demand_rest_is_kept(container, file, change.bytes);
  if (container != 0 && percent != 0 && !change.plan.empty()) {
    demand(is_in_place(change_rating(format, change.bytes, 7).plan));
    demand(is_in_place(change_rating(format, change.bytes, 0).plan));
  }
  return 0;
}
