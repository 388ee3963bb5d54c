#include "settings/settings_document.h"

#include <rapidjson/document.h>

#include <utility>

#include "text/conversions.h"

namespace high_level_settings {

namespace {

constexpr const char* categories_member = "organize.categories";

// Iterative: nesting takes memory of the parser's, not of the call stack.
rapidjson::Document parse(std::string_view json) {
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(json.data(), json.size());
  return document;
}

std::string text_of(const rapidjson::Value& value) { return {value.GetString(), value.GetStringLength()}; }

const rapidjson::Value* member(const rapidjson::Value& object, const char* name) {
  const auto found = object.FindMember(name);
  return found == object.MemberEnd() ? nullptr : &found->value;
}

std::optional<std::string> string_member(const rapidjson::Value& object, const char* name) {
  const rapidjson::Value* value = member(object, name);
  if (value == nullptr || !value->IsString()) return std::nullopt;
  return text_of(*value);
}

std::vector<std::string> strings_of(const rapidjson::Value& array) {
  std::vector<std::string> strings;
  for (const rapidjson::Value& element : array.GetArray()) {
    if (element.IsString()) strings.push_back(text_of(element));
  }
  return strings;
}

std::optional<setting_value> setting_of(const rapidjson::Value& value) {
  if (value.IsBool()) return value.GetBool();
  if (value.IsString()) return text_of(value);
  if (value.IsInt()) return value.GetInt();
  if (value.IsArray()) return strings_of(value);
  return std::nullopt;
}

void add_setting(std::map<std::string, setting_value>& settings, std::string key, const rapidjson::Value& value) {
  if (auto setting = setting_of(value)) settings.insert_or_assign(std::move(key), *std::move(setting));
}

std::map<std::string, setting_value> flatten(const rapidjson::Value& object) {
  std::map<std::string, setting_value> settings;
  for (const auto& entry : object.GetObject()) {
    const std::string name = text_of(entry.name);
    if (!entry.value.IsObject()) {
      add_setting(settings, name, entry.value);
      continue;
    }
    for (const auto& inner : entry.value.GetObject()) {
      add_setting(settings, name + "." + text_of(inner.name), inner.value);
    }
  }
  return settings;
}

// A section without an app_id comes out with an empty one.
app_record record_of(const rapidjson::Value& element) {
  app_record record;
  if (!element.IsObject()) return record;
  record.app_id = string_member(element, "app_id").value_or("");
  record.name = text::wide_from_utf8(string_member(element, "name").value_or(""));
  record.version = text::wide_from_utf8(string_member(element, "version").value_or(""));
  record.status = string_member(element, "status").value_or("");
  const rapidjson::Value* settings = member(element, "settings");
  if (settings != nullptr && settings->IsObject()) record.settings = flatten(*settings);
  return record;
}

organize_category category_of(const rapidjson::Value& element) {
  organize_category category;
  category.name = text::wide_from_utf8(string_member(element, "name").value_or(""));
  const rapidjson::Value* enabled = member(element, "enabled");
  if (enabled != nullptr && enabled->IsBool()) category.enabled = enabled->GetBool();
  const rapidjson::Value* extensions = member(element, "extensions");
  if (extensions != nullptr && extensions->IsArray()) {
    for (const std::string& extension : strings_of(*extensions)) {
      category.extensions.push_back(text::wide_from_utf8(extension));
    }
  }
  return category;
}

// The array of categories of the first section of ours; null when something of the way there is missing.
const rapidjson::Value* find_categories(const rapidjson::Document& document) {
  if (!document.IsObject()) return nullptr;
  const rapidjson::Value* apps = member(document, "apps");
  if (apps == nullptr || !apps->IsArray()) return nullptr;
  for (const rapidjson::Value& element : apps->GetArray()) {
    if (!element.IsObject() || string_member(element, "app_id") != quill_box_section) continue;
    const rapidjson::Value* settings = member(element, "settings");
    if (settings == nullptr || !settings->IsObject()) return nullptr;
    const rapidjson::Value* categories = member(*settings, categories_member);
    return categories != nullptr && categories->IsArray() ? categories : nullptr;
  }
  return nullptr;
}

}  // namespace

std::optional<settings_document> parse_settings(std::string_view json) {
  const rapidjson::Document document = parse(json);
  if (!document.IsObject()) return std::nullopt;
  settings_document settings;
  if (const auto version = string_member(document, "version")) settings.version = text::wide_from_utf8(*version);
  const rapidjson::Value* apps = member(document, "apps");
  if (apps == nullptr || !apps->IsArray()) return settings;
  settings.apps.emplace();
  for (const rapidjson::Value& element : apps->GetArray()) {
    app_record record = record_of(element);
    if (record.app_id.empty()) continue;
    std::string key = record.app_id;
    settings.apps->try_emplace(std::move(key), std::move(record));  // of two the first stays
  }
  return settings;
}

std::optional<std::vector<organize_category>> parse_organize_categories(std::string_view json) {
  const rapidjson::Document document = parse(json);
  const rapidjson::Value* array = find_categories(document);
  if (array == nullptr) return std::nullopt;
  std::vector<organize_category> categories;
  for (const rapidjson::Value& element : array->GetArray()) {
    if (!element.IsObject()) continue;
    organize_category category = category_of(element);
    if (!category.name.empty()) categories.push_back(std::move(category));
  }
  if (categories.empty()) return std::nullopt;
  return categories;
}

const std::vector<organize_category>& default_organize_categories() {
  static const std::vector<organize_category> categories = {
      {L"Images",
       {L"jpg",  L"jpeg", L"jpe", L"jfif", L"png", L"gif", L"bmp", L"tif", L"tiff", L"webp", L"heic", L"heif",
        L"avif", L"jxl",  L"svg", L"psd",  L"arw", L"cr2", L"cr3", L"nef", L"orf",  L"raf",  L"rw2",  L"dng"}},
      {L"Documents",
       {L"pdf", L"doc", L"docx", L"xls", L"xlsx", L"ppt", L"pptx", L"txt", L"rtf", L"odt", L"ods", L"odp", L"md",
        L"csv", L"one", L"epub", L"mobi", L"xps"}},
      {L"Videos",
       {L"mp4", L"mov", L"avi", L"mkv", L"wmv", L"flv", L"webm", L"m4v", L"mpg", L"mpeg", L"3gp", L"mts", L"m2ts"}},
      {L"Music", {L"mp3", L"wav", L"flac", L"m4a", L"aac", L"ogg", L"wma", L"opus", L"aiff", L"mid", L"midi"}},
      {L"Archives", {L"zip", L"rar", L"7z", L"tar", L"gz", L"bz2", L"xz", L"iso", L"cab"}},
      {L"Programs", {L"exe", L"msi", L"msix", L"msixbundle", L"appx", L"appxbundle", L"apk", L"jar"}},
  };
  return categories;
}

}  // namespace high_level_settings
