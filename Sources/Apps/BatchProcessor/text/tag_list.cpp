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
  for (const std::wstring& tag : tags) {
    if (!list.empty()) list += L';';
    list += tag;
  }
  return list;
}

}  // namespace text
