// Parsing of the job document: one pass over the text, keeping only what the checks and the run need.
#include <rapidjson/error/error.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string_view>

#include "batch_driver/job_file.h"

namespace quill_box::batch_processor {

namespace {

using std::literals::string_view_literals::operator""sv;

// No job nests deeper than 4. What is ignored may, at a byte of memory for each level, up to here.
constexpr std::size_t deepest_nesting = 16 << 20;

// The byte stream in the form that the JSON reader wants. A NUL ends the text, as in a C string: one stands behind
// what is in the buffer, and the source's end is an empty buffer.
class reader_stream {
 public:
  using Ch = char;

  explicit reader_stream(byte_stream& source) : source_(source) { refill(); }

  [[nodiscard]] char Peek() const { return buffer_[position_]; }
  char Take() {
    const char taken = buffer_[position_];
    if (++position_ >= end_) refill();
    return taken;
  }
  [[nodiscard]] std::size_t Tell() const { return passed_ + position_; }

  // Only streams that are parsed in place need these.
  char* PutBegin() { return nullptr; }
  void Put(char /*unused*/) {}
  void Flush() {}
  std::size_t PutEnd(char* /*unused*/) { return 0; }

 private:
  void refill() {
    passed_ += end_;
    position_ = 0;
    end_ = source_.read(std::span(buffer_).first(buffer_.size() - 1));
    buffer_[end_] = '\0';
  }

  byte_stream& source_;
  std::array<char, 65536> buffer_;
  std::size_t position_ = 0;
  std::size_t end_ = 0;
  std::size_t passed_ = 0;
};

enum class place : std::uint8_t { outside, root, job, files, entry, ignored };

// Takes the document's events. Of members with one name the first counts, whatever its type.
class document_handler : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, document_handler> {
 public:
  bool Default() { return value(); }

  bool String(const char* text, rapidjson::SizeType length, bool /*copy*/) {
    if (at() == place::entry) {
      if (key_ == "path"sv && !path_seen_) {
        files_.push_back({text, length});
        has_path_ = true;
      }
    } else if (std::optional<std::string>* field = wanted_string()) {
      field->emplace(text, length);
    }
    return value();
  }

  bool Key(const char* text, rapidjson::SizeType length, bool /*copy*/) {
    key_.assign(text, length);
    return true;
  }

  bool StartObject() {
    if (at() == place::outside) return enter(place::root);
    if (at() == place::root && key_ == "job"sv && !job_seen_) {
      job_seen_ = job_is_object_ = true;
      return enter(place::job);
    }
    if (at() == place::files) {
      has_path_ = path_seen_ = false;
      return enter(place::entry);
    }
    value();
    return enter(place::ignored);
  }

  bool EndObject(rapidjson::SizeType /*count*/) {
    if (at() == place::entry) end_entry();
    stack_.pop_back();
    return true;
  }

  bool StartArray() {
    if (at() == place::outside) return false;  // whatever it holds, this is no job
    if (at() == place::root && key_ == "files"sv && !files_seen_) {
      files_seen_ = files_is_array_ = true;
      return enter(place::files);
    }
    value();
    return enter(place::ignored);
  }

  bool EndArray(rapidjson::SizeType /*count*/) {
    stack_.pop_back();
    return true;
  }

  job_document take_document() {
    check(root_is_object_, "JSON root must be an object");
    check(version_.has_value(), "Missing or invalid 'version' field");
    check(job_is_object_, "Missing or invalid 'job' object");
    check(guid_.has_value(), "Missing or invalid 'guid' field in job");
    check(action_type_.has_value(), "Missing or invalid 'action_type' field in job");
    check(action_parameters_.has_value(), "Missing or invalid 'action_parameters' field in job");
    check(files_is_array_, "Missing or invalid 'files' array");
    check(first_entry_failure_ == nullptr, first_entry_failure_);
    return {*std::move(version_), *std::move(guid_), *std::move(action_type_), *std::move(action_parameters_),
            std::move(files_)};
  }

 private:
  static void check(bool passed, const char* message) {
    if (!passed) throw std::runtime_error(message);
  }

  [[nodiscard]] place at() const { return stack_.empty() ? place::outside : stack_.back(); }

  bool enter(place next) {
    if (next == place::root) root_is_object_ = true;
    stack_.push_back(next);
    return stack_.size() <= deepest_nesting;
  }

  // Any value takes its member's name, so that a later one of that name doesn't count.
  bool value() {
    switch (at()) {
      case place::root:
        if (key_ == "version"sv) version_seen_ = true;
        if (key_ == "job"sv) job_seen_ = true;
        if (key_ == "files"sv) files_seen_ = true;
        break;
      case place::job:
        for (job_field& field : job_fields_) {
          if (key_ == field.name) field.seen = true;
        }
        break;
      case place::files:
        fail_entry("File entry must be an object");
        break;
      case place::entry:
        if (key_ == "path"sv) path_seen_ = true;
        break;
      case place::outside:
      case place::ignored:
        break;
    }
    return true;
  }

  // Where the string of the current key goes; none when nobody wants it.
  std::optional<std::string>* wanted_string() {
    if (at() == place::root && key_ == "version"sv && !version_seen_) return &version_;
    if (at() != place::job) return nullptr;
    for (const job_field& field : job_fields_) {
      if (key_ == field.name && !field.seen) return field.text;
    }
    return nullptr;
  }

  void end_entry() {
    if (!has_path_) fail_entry("Missing or invalid 'path' field in file entry");
  }

  void fail_entry(const char* message) {
    if (first_entry_failure_ == nullptr) first_entry_failure_ = message;
  }

  struct job_field {
    std::string_view name;
    std::optional<std::string>* text;
    bool seen = false;
  };

  std::vector<place> stack_;
  std::string key_;
  bool root_is_object_ = false;
  bool version_seen_ = false;
  bool job_seen_ = false;
  bool job_is_object_ = false;
  bool files_seen_ = false;
  bool files_is_array_ = false;
  bool path_seen_ = false;  // in this entry, whatever its type
  bool has_path_ = false;
  std::optional<std::string> version_;
  std::optional<std::string> guid_;
  std::optional<std::string> action_type_;
  std::optional<std::string> action_parameters_;
  path_list files_;
  const char* first_entry_failure_ = nullptr;
  std::array<job_field, 3> job_fields_ = {
      {{"guid", &guid_}, {"action_type", &action_type_}, {"action_parameters", &action_parameters_}}};
};

}  // namespace

job_document parse_job_document(byte_stream& text) {
  reader_stream stream(text);
  document_handler handler;
  rapidjson::Reader reader;
  // Iterative: nesting takes memory of ours, not of the call stack.
  if (reader.Parse<rapidjson::kParseIterativeFlag>(stream, handler).IsError()) {
    throw std::runtime_error("JSON root must be an object");
  }
  return handler.take_document();
}

}  // namespace quill_box::batch_processor
