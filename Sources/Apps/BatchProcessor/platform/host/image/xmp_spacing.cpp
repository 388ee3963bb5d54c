#include "platform/host/image/xmp_spacing.h"

#include <algorithm>
#include <array>

namespace platform::host::image {

namespace {

constexpr std::string_view white_space = " \t\r\n";
constexpr std::size_t block_size = 4096;  // of a page as well
constexpr std::size_t least_spare = 1024;

std::int64_t growth_of(const text_edit& edit) {
  return static_cast<std::int64_t>(edit.text.size()) - static_cast<std::int64_t>(edit.range.size());
}

std::size_t run_end(std::string_view text, std::size_t begin) {
  return std::min(text.find_first_not_of(white_space, begin), text.size());
}

// White space between tags means nothing, except where it is all that an element holds.
bool is_free(std::string_view text, const text_range& run) {
  if (run.begin < 2 || text[run.begin - 1] != '>') return false;
  if (run.end == text.size()) return true;
  if (text[run.end] != '<') return false;
  const std::size_t tag = text.rfind('<', run.begin - 1);
  if (tag == std::string_view::npos) return false;
  constexpr std::string_view no_start_tag = "/?!";
  const bool is_start_tag = no_start_tag.find(text[tag + 1]) == std::string_view::npos && text[run.begin - 2] != '/';
  return !is_start_tag || text[run.end + 1] != '/';
}

// Where white space between tags may be content, or tags may be none.
bool has_literal_text(std::string_view text) {
  constexpr std::array<std::string_view, 4> signs = {"<![CDATA[", "<!--", "parseType", "xml:space"};
  return std::ranges::any_of(signs,
                             [text](std::string_view sign) { return text.find(sign) != std::string_view::npos; });
}

// The first white space in [from, to) of which `size` bytes can go.
std::optional<text_range> find_run(std::string_view text, std::size_t from, std::size_t to, std::size_t size) {
  for (std::size_t at = text.find('>', from); at < to; at = text.find('>', at + 1)) {
    const text_range run{at + 1, std::min(run_end(text, at + 1), to)};
    if (run.size() > size && is_free(text, run)) return run;
  }
  return std::nullopt;
}

class spacing_finder {
 public:
  spacing_finder(const xmp_packet& packet, const std::vector<text_edit>& edits)
      : packet_(packet), text_(packet.text), edits_(edits), is_literal_(has_literal_text(packet.text)) {}

  // The edit from index `next` on, joined with as many after it as it takes. None where there is too little.
  std::optional<text_edit> take(std::size_t& next) const {
    text_edit joined = edits_[next];
    std::int64_t growth = growth_of(joined);
    for (;;) {
      const text_edit& last = edits_[next++];
      const std::size_t bound = next < edits_.size() ? edits_[next].range.begin : text_.size();
      if (const auto run = run_for(last, growth, bound)) return with_run(joined, growth, *run);
      if (next == edits_.size()) return std::nullopt;
      joined.text += text_.substr(joined.range.end, edits_[next].range.begin - joined.range.end);
      joined.text += edits_[next].text;
      joined.range.end = edits_[next].range.end;
      growth += growth_of(edits_[next]);
    }
  }

 private:
  [[nodiscard]] std::optional<text_range> run_for(const text_edit& last, std::int64_t growth, std::size_t bound) const {
    const std::size_t end = std::min(run_end(text_, last.spacing), bound);
    const bool is_needed = last.in_tag && end < text_.size() && text_[end] != '>' && text_[end] != '/';
    const text_range at_hand{last.spacing, end};
    if (growth <= 0) return text_range{last.spacing, last.spacing};
    const auto size = static_cast<std::size_t>(growth);
    if (at_hand.size() >= size + (is_needed ? 1 : 0)) return at_hand;
    if (!is_literal_) {
      if (const auto run = find_run(text_, last.spacing, bound, size)) return run;
    }
    const bool reaches_padding = bound == text_.size() && packet_.padding.size() >= size;
    return reaches_padding ? std::optional(packet_.padding) : std::nullopt;
  }

  [[nodiscard]] text_edit with_run(text_edit edit, std::int64_t growth, const text_range& run) const {
    edit.text += text_.substr(edit.range.end, run.begin - edit.range.end);
    if (growth < 0) edit.text.append(static_cast<std::size_t>(-growth), ' ');
    const std::size_t taken = growth > 0 ? static_cast<std::size_t>(growth) : 0;
    edit.text += text_.substr(run.begin + taken, run.size() - taken);
    edit.range.end = run.end;
    return edit;
  }

  const xmp_packet& packet_;
  std::string_view text_;
  const std::vector<text_edit>& edits_;
  bool is_literal_;
};

std::size_t end_of(const xmp_host_element& description) {
  return description.closes_itself ? description.start_tag.end : description.end_tag + description.name.size() + 3;
}

const xmp_host_element* own_description(const xmp_packet& packet) {
  const auto holds_own_field = [&packet](const xmp_host_element& description) {
    return std::ranges::any_of(packet.occurrences, [&description](const xmp_occurrence& occurrence) {
      return is_written(occurrence.field) && occurrence.whole.begin >= description.start_tag.begin &&
             occurrence.whole.end <= end_of(description);
    });
  };
  const auto found = std::find_if(packet.descriptions.rbegin(), packet.descriptions.rend(), holds_own_field);
  return found == packet.descriptions.rend() ? nullptr : &*found;
}

}  // namespace

std::optional<std::vector<text_edit>> spaced_out(const xmp_packet& packet, const std::vector<text_edit>& edits) {
  const spacing_finder finder(packet, edits);
  std::vector<text_edit> spaced;
  for (std::size_t next = 0; next < edits.size();) {
    auto edit = finder.take(next);
    if (!edit) return std::nullopt;
    spaced.push_back(*std::move(edit));
  }
  return spaced;
}

std::optional<std::string> laid_out(const xmp_packet& packet, const packet_place& place) {
  const xmp_host_element* const own = own_description(packet);
  if (own == nullptr || has_literal_text(packet.text)) return std::nullopt;
  const std::string_view text = packet.text;
  const std::size_t before = text.find_last_not_of(white_space, own->start_tag.begin - 1) + 1;
  const std::string_view description = text.substr(own->start_tag.begin, end_of(*own) - own->start_tag.begin);
  const std::size_t after = run_end(text, end_of(*own));
  if (!is_free(text, {before, own->start_tag.begin}) || after > packet.padding.begin) return std::nullopt;

  std::string result(text.substr(0, before));
  result += "\n  ";
  const std::size_t in_page = (place.offset + result.size()) % block_size;
  const bool crosses = in_page + description.size() + least_spare > block_size;
  if (crosses && description.size() + least_spare <= block_size) result += padding_of(block_size - in_page);
  result += description;
  const std::string tail = "\n" + std::string(text.substr(after, packet.padding.begin - after)) + "\n" +
                           std::string(text.substr(packet.padding.end));
  const std::size_t least_size = result.size() + least_spare + tail.size();
  const std::int64_t growth =
      static_cast<std::int64_t>(least_size) - static_cast<std::int64_t>(place.old_size) + place.other_growth;
  constexpr std::int64_t block = block_size;
  const auto missing = static_cast<std::size_t>((block - growth % block) % block);
  if (least_size + missing > place.size_limit) return std::nullopt;
  return result + padding_of(least_spare + missing) + tail;
}

std::string padding_of(std::size_t size) {
  constexpr std::size_t line = 100;
  std::string padding(size, ' ');
  for (std::size_t i = 0; i < size; i += line)
    padding[i] = '\n';
  return padding;
}

}  // namespace platform::host::image
