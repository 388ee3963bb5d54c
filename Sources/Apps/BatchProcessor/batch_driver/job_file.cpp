#include "batch_driver/job_file.h"

#include <stdexcept>
#include <string_view>
#include <utility>

#include "batch_driver/path_display.h"
#include "files/file_functions.h"
#include "files/filesystem_error.h"
#include "logging/log.h"
#include "platform/machine.h"
#include "text/conversions.h"
#include "text/system_errors.h"

namespace quill_box::batch_processor {

namespace {

class file_stream final : public byte_stream {
 public:
  explicit file_stream(platform::file& file) : file_(file) {}

  // A read that fails ends the text there; what is missing then fails the parse.
  std::size_t read(std::span<char> buffer) override {
    const auto count = file_.read(std::as_writable_bytes(buffer));
    return count ? *count : 0;
  }

 private:
  platform::file& file_;
};

void delete_job_file(const std::wstring& path) {
  try {
    if (!files::exists(path)) return;
    const platform::win32_error error = platform::current().files.delete_file(path);
    if (!succeeded(error)) throw files::filesystem_error("remove", path, error);
  } catch (const std::exception& failure) {
    // All items are done by now: a file that stays behind is no failure of the job, so only the log hears of it.
    logging::log(logging::level::warning, "Unable to delete the job file. Details {}", failure.what());
  }
}

std::wstring wide_up_to_nul(std::string_view utf8) { return text::wide_from_utf8(utf8.substr(0, utf8.find('\0'))); }

}  // namespace

job_record::~job_record() {
  if (delete_on_destroy && !source_path.empty()) delete_job_file(source_path);
}

job_document read_job_document(const std::wstring& path) {
  auto file = platform::current().files.open(path, {platform::access::read, platform::share::all});
  if (!file) {
    throw std::runtime_error("Failed to open JSON file: " + text::utf8_from_wide(shorten_path_for_message(path)));
  }
  file_stream stream(**file);
  return parse_job_document(stream);
}

bool load_job(job_record& job, std::wstring&& path, bool delete_on_destroy) {
  job.delete_on_destroy = delete_on_destroy;
  job.source_path = std::exchange(path, {});
  job_document document = read_job_document(job.source_path);
  job.version = wide_up_to_nul(document.version);
  job.action_type = wide_up_to_nul(document.action_type);
  job.action_parameters = wide_up_to_nul(document.action_parameters);
  job.files = std::move(document.files);
  return true;
}

}  // namespace quill_box::batch_processor
