#include "metadata/rating_and_tag_actions.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "files/file_functions.h"
#include "logging/log.h"
#include "metadata/capabilities.h"
#include "metadata/file_metadata_store.h"
#include "shell_registration/shell_handlers.h"
#include "text/letter_case.h"
#include "text/paths.h"

namespace quill_box::metadata {

namespace {

using tag_vector = std::vector<std::wstring>;

bool is_directory(const std::wstring& path, known_kind kind) {
  return kind ? *kind == platform::item_kind::directory : files::is_directory(path);
}

// Opens the item, has `change` change the store, and closes; unless the item is a file of another type.
template <class Change>
outcome change_metadata(std::string_view action, bool (*is_capable)(std::wstring_view), const std::wstring& path,
                        known_kind kind, Change change) {
  // Of a capable name it doesn't matter what it is, so the disk is asked about the others only.
  const std::wstring_view extension = paths::extension(path);
  if (!is_capable(extension) && !is_directory(path, kind)) {
    logging::log(logging::level::info, "{}: Skipping file {}. Unsupported filetype {}", action, path,
                 text::to_lower(extension));
    return outcome::passed_over;
  }
  file_metadata_store store;
  if (store.open_for_write(path)) change(store);
  shell_registration::ensure_shell_handlers(path);
  store.close();
  return outcome::taken_up;
}

void toggle_tag(file_metadata_store& store, const std::wstring& tag) {
  tag_vector tags = store.get_tags();
  const auto found = std::find(tags.begin(), tags.end(), tag);
  if (found != tags.end()) {
    tags.erase(found);
  } else {
    // Appended to what is there now, not to what was there when it was looked for.
    tags = store.get_tags();
    tags.push_back(tag);
  }
  store.set_tags(tags);
}

// One "+tag" or "-tag". True when it changed the list.
bool edit_tags(tag_vector& tags, std::wstring_view edit) {
  if (edit.size() < 2) return false;
  const std::wstring_view tag = edit.substr(1);
  const auto found = std::find_if(tags.begin(), tags.end(),
                                  [tag](const auto& other) { return text::equal_ignoring_case(other, tag); });
  if (edit.front() == L'+' && found == tags.end()) {
    tags.emplace_back(tag);
    return true;
  }
  if (edit.front() == L'-' && found != tags.end()) {
    tags.erase(found);
    return true;
  }
  return false;
}

}  // namespace

int leading_number(std::wstring_view text) {
  const std::size_t start = text.find_first_not_of(L" \t\n\v\f\r");
  if (start == std::wstring_view::npos) return 0;
  text.remove_prefix(start);
  const bool negative = text.front() == L'-';
  if (negative || text.front() == L'+') text.remove_prefix(1);
  constexpr std::int64_t lowest = std::numeric_limits<int>::min();
  constexpr std::int64_t highest = std::numeric_limits<int>::max();
  std::int64_t number = 0;
  for (const wchar_t c : text) {
    if (c < L'0' || c > L'9') break;
    const std::int64_t digit = c - L'0';
    number = std::clamp(number * 10 + (negative ? -digit : digit), lowest, highest);
  }
  return static_cast<int>(number);
}

outcome set_rating_action(const std::wstring& path, std::wstring_view parameters, known_kind kind) {
  return change_metadata("Set Rating", is_rating_capable, path, kind, [parameters](file_metadata_store& store) {
    store.set_rating(leading_number(parameters));
    store.commit();
    store.close();
  });
}

outcome remove_rating_action(const std::wstring& path, known_kind kind) {
  return change_metadata("Remove Rating", is_rating_capable, path, kind, [](file_metadata_store& store) {
    store.set_rating(0);
    store.commit();
    store.close();
  });
}

outcome remove_tags_action(const std::wstring& path, known_kind kind) {
  return change_metadata("Remove Tags", is_tag_capable, path, kind, [](file_metadata_store& store) {
    store.remove_all_tags();
    store.commit();
    store.close();
  });
}

outcome toggle_tags_action(const std::wstring& path, text::split_once& parameters, known_kind kind) {
  return change_metadata("Toggle Tags", is_tag_capable, path, kind, [&parameters](file_metadata_store& store) {
    for (const std::wstring& tag : parameters.tags())
      toggle_tag(store, tag);
    store.commit();
    store.close();
  });
}

outcome update_tags_action(const std::wstring& path, text::split_once& parameters, known_kind kind) {
  return change_metadata("Update Tags", is_tag_capable, path, kind, [&parameters](file_metadata_store& store) {
    tag_vector tags = store.get_tags();
    bool changed = false;
    for (const std::wstring& edit : parameters.tags()) {
      const bool this_changed = edit_tags(tags, edit);
      changed = changed || this_changed;
    }
    if (!changed) return;
    store.set_tags(tags);
    store.commit();
  });
}

}  // namespace quill_box::metadata
