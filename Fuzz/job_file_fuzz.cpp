// The job file: any bytes are a document or an exception with a message, and a document has what the checks promise.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <span>

#include "batch_driver/job_file.h"

namespace {

class memory_stream final : public quill_box::batch_processor::byte_stream {
 public:
  explicit memory_stream(std::span<const char> bytes) : rest_(bytes) {}

  std::size_t read(std::span<char> buffer) override {
    const std::size_t count = std::min(buffer.size(), rest_.size());
    std::copy_n(rest_.begin(), count, buffer.begin());
    rest_ = rest_.subspan(count);
    return count;
  }

 private:
  std::span<const char> rest_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  memory_stream stream({reinterpret_cast<const char*>(data), size});
  try {
    const auto document = quill_box::batch_processor::parse_job_document(stream);
    if (document.files.size() > size) std::abort();
  } catch (const std::exception& refusal) {
    if (*refusal.what() == '\0') std::abort();
  }
  return 0;
}
