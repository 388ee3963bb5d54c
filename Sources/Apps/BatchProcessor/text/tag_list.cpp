#include "text/tag_list.h"

#include <algorithm>

namespace text {

std::vector<std::wstring> split_tag_list(std::wstring_view list) {
  std::vector<std::wstring> tags;
  while (!list.empty()) {
    const std::size_t end = std::min(list.find(L';'), list.size());
    if (end > 0) tags.emplace_back(list.substr(0, end));
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return tags;
}

std::wstring join_tag_list(std::span<const std::wstring> tags) {
  std::wstring list;
  for (std::size_t i = 0; i < tags.size(); ++i) {
    if (i > 0) list += L';';
    list += tags[i];
  }
  return list;
}

std::span<const std::wstring> split_once::tags() {
  if (!tags_) tags_ = split_tag_list(list_);
  return *tags_;
}

}  // namespace text
