#include "organize/undo_journal.h"

#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <span>
#include <stdexcept>

#include "files/file_functions.h"
#include "platform/machine.h"
#include "text/conversions.h"
#include "text/paths.h"

namespace quill_box::organize {

namespace {

namespace attribute = platform::attribute;

// Runs over several million files stay below it.
constexpr std::uint64_t largest_journal = std::uint64_t{1} << 30;

// Text mode ends lines by CR LF; the writer puts a line feed nowhere else.
class text_mode_buffer {
 public:
  using Ch = char;
  void Put(char c) {
    if (c == '\n') text_.push_back('\r');
    text_.push_back(c);
  }
  void Flush() {}
  std::string take() { return std::move(text_); }

 private:
  std::string text_;
};

using journal_writer = rapidjson::PrettyWriter<text_mode_buffer>;

// NULs and what is no UTF-16 come out as text can hold them.
void write_string(journal_writer& writer, std::wstring_view wide) {
  const std::string utf8 = text::utf8_from_wide(wide);
  writer.String(utf8.data(), static_cast<rapidjson::SizeType>(utf8.size()));
}

void write_member(journal_writer& writer, const char* key, std::wstring_view wide) {
  writer.Key(key);
  write_string(writer, wide);
}

std::wstring wide_string(const rapidjson::Value& value) {
  return text::wide_from_utf8({value.GetString(), value.GetStringLength()});
}

const rapidjson::Value* member_of(const rapidjson::Value& object, const char* key) {
  const auto found = object.FindMember(key);
  return found == object.MemberEnd() ? nullptr : &found->value;
}

const rapidjson::Value* string_member_of(const rapidjson::Value& object, const char* key) {
  const rapidjson::Value* value = member_of(object, key);
  return value != nullptr && value->IsString() ? value : nullptr;
}

void read_created_folders(const rapidjson::Value& document, undo_journal& journal) {
  const rapidjson::Value* folders = member_of(document, "created_folders");
  if (folders == nullptr || !folders->IsArray()) return;
  for (const rapidjson::Value& folder : folders->GetArray()) {
    if (folder.IsString()) journal.created_folders.push_back(wide_string(folder));
  }
}

void read_moves(const rapidjson::Value& document, undo_journal& journal) {
  const rapidjson::Value* moves = member_of(document, "moves");
  if (moves == nullptr || !moves->IsArray()) return;
  for (const rapidjson::Value& move : moves->GetArray()) {
    if (!move.IsObject()) continue;
    const rapidjson::Value* from = string_member_of(move, "from");
    const rapidjson::Value* to = string_member_of(move, "to");
    if (from != nullptr && to != nullptr) journal.moves.push_back({wide_string(*from), wide_string(*to)});
  }
}

void set_hidden(const std::wstring& path, bool hidden) {
  platform::file_system& files = platform::current().files;
  const auto attributes = files.attributes(path);
  if (!attributes || ((*attributes & attribute::hidden) != 0) == hidden) return;
  // A file that can't be marked stays visible, and one that can't be unmarked makes the open fail.
  static_cast<void>(files.set_attributes(path, *attributes ^ attribute::hidden));
}

}  // namespace

std::wstring journal_path(std::wstring_view folder) { return paths::join(folder, journal_name); }

std::string journal_text(const undo_journal& journal) {
  text_mode_buffer buffer;
  journal_writer writer(buffer);
  writer.SetIndent(' ', 4);
  writer.StartObject();
  write_member(writer, "version", L"1.0");
  write_member(writer, "folder", journal.folder);
  writer.Key("created_folders");
  writer.StartArray();
  for (const std::wstring& folder : journal.created_folders)
    write_string(writer, folder);
  writer.EndArray();
  writer.Key("moves");
  writer.StartArray();
  for (const journal_move& move : journal.moves) {
    writer.StartObject();
    write_member(writer, "from", move.from);
    write_member(writer, "to", move.to);
    writer.EndObject();
  }
  writer.EndArray();
  writer.EndObject();
  return buffer.take();
}

std::optional<undo_journal> parse_journal(std::string_view text) {
  rapidjson::Document document;
  // Iterative: nesting takes memory of the parser's, not of the call stack.
  document.Parse<rapidjson::kParseIterativeFlag>(text.data(), text.size());
  if (document.HasParseError() || !document.IsObject()) return std::nullopt;
  undo_journal journal;
  if (const rapidjson::Value* folder = string_member_of(document, "folder")) journal.folder = wide_string(*folder);
  read_created_folders(document, journal);
  read_moves(document, journal);
  return journal;
}

void write_journal(const undo_journal& journal, const std::wstring& path) {
  using platform::share;
  const std::string text = journal_text(journal);
  // An ordinary open can't truncate a hidden file.
  set_hidden(path, false);
  auto file = platform::current().files.open(
      path, {platform::access::write, share::read | share::write, platform::disposition::create_always});
  if (!file) throw std::runtime_error("Failed to write undo journal");
  const auto written = (*file)->write(std::as_bytes(std::span(text)));
  const bool is_whole = succeeded((*file)->close()) && written && *written == text.size();
  set_hidden(path, true);
  // Said rather than found out at the next undo, which takes no journal that is cut off.
  if (!is_whole) throw std::runtime_error("Failed to write undo journal");
}

undo_journal read_journal(const std::wstring& path) {
  using platform::share;
  const auto content = files::read_whole_file(path, largest_journal);
  if (!content) throw std::runtime_error("Failed to open undo journal");
  auto journal = parse_journal(*content);
  if (!journal) throw std::runtime_error("Undo journal is not valid JSON");
  return *std::move(journal);
}

}  // namespace quill_box::organize
