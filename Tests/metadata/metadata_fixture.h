// What the tests of the metadata chain have in common: a simulated machine with its log, a photo, a text, a folder.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "logging/log.h"
#include "metadata/rating_and_tag_actions.h"
#include "platform/property_keys.h"
#include "support/simulated_machine.h"

namespace quill_box::metadata {

using tag_vector = std::vector<std::wstring>;

/// What a property has that isn't there. The simulated stores take one away whose value is an empty list.
inline const platform::property_value no_value;

inline const std::wstring photo = LR"(C:\photo.jpg)";
inline const std::wstring photo_sidecar = LR"(C:\photo.jpg.xmp)";
inline const std::wstring text_file = LR"(C:\text.txt)";
inline const std::wstring folder = LR"(C:\folder)";
inline const std::wstring folder_ini = LR"(C:\folder\desktop.ini)";

/// The message of the exception that `action` raises; empty when it raises none.
template <class Action>
std::string raised_by(Action action) {
  try {
    action();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return {};
}

inline void toggle_tags(const std::wstring& path, std::wstring tags) {
  text::split_once parameters(std::move(tags));
  toggle_tags_action(path, parameters);
}

inline void update_tags(const std::wstring& path, std::wstring edits) {
  text::split_once parameters(std::move(edits));
  update_tags_action(path, parameters);
}

class metadata_test : public testing::Test {
 protected:
  metadata_test() {
    logging::logger()->make_log_directory_and_open(L"", L"Processor", L"Quill Box");
    machine.write_file(photo, "photo");
    machine.write_file(text_file, "text");
    machine.make_directory(folder);
    machine.properties.handler(L".jpg");
    machine.calls.clear();
  }

  support::scoped_machine machine;

  [[nodiscard]] platform::property_value handler_value(const platform::property_key& key) const {
    return machine.properties.handler_value(photo, key);
  }
  [[nodiscard]] platform::property_value set_value(const std::wstring& path, const platform::property_key& key) const {
    return machine.properties.property_set_value(path, key);
  }
  [[nodiscard]] std::uint32_t attributes_of(const std::wstring& path) const { return machine.entry(path).attributes; }
};

}  // namespace quill_box::metadata
