// Carrying out edit plans in memory.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/host/media/rating_format.h"

namespace test_support {

/// The bytes after the plan; none for a plan that is out of order or leaves the file.
inline std::optional<std::string> apply_plan(std::string_view bytes, const platform::host::edit_plan& plan) {
  std::string made;
  std::uint64_t copied = 0;
  for (const auto& edit : plan) {
    if (edit.offset < copied || edit.offset > bytes.size() || edit.erase > bytes.size() - edit.offset)
      return std::nullopt;
    made += bytes.substr(copied, edit.offset - copied);
    made += edit.bytes;
    copied = edit.offset + edit.erase;
  }
  made += bytes.substr(copied);
  return made;
}

struct rating_answer {
  platform::hresult code = platform::hresult::ok;
  std::optional<std::uint32_t> percent;
  bool operator==(const rating_answer&) const = default;
};

inline rating_answer rating_of(const platform::host::media::rating_format& format, std::string_view bytes,
                               platform::handler_access access = platform::handler_access::read) {
  platform::host::memory_source source(bytes);
  const auto answer = format.read(source, access);
  return answer ? rating_answer{platform::hresult::ok, *answer} : rating_answer{answer.error(), {}};
}

struct change_answer {
  platform::hresult code = platform::hresult::ok;
  std::string bytes;
  platform::host::edit_plan plan;
};

/// The file with another rating, by the plan; `code` is `fail` where the plan itself is out of order.
inline change_answer change_rating(const platform::host::media::rating_format& format, std::string_view bytes,
                                   std::uint32_t percent) {
  platform::host::memory_source source(bytes);
  auto plan = format.plan(source, percent);
  if (!plan) return {plan.error(), {}, {}};
  auto made = apply_plan(bytes, *plan);
  if (!made) return {platform::hresult::fail, {}, {}};
  return {platform::hresult::ok, *std::move(made), *std::move(plan)};
}

/// True where every edit puts as many bytes as it takes.
inline bool is_in_place(const platform::host::edit_plan& plan) {
  for (const auto& edit : plan) {
    if (edit.erase != edit.bytes.size()) return false;
  }
  return true;
}

}  // namespace test_support
