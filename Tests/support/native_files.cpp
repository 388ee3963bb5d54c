#include "support/native_files.h"

#include <span>
#include <stdexcept>

#include "support/contract_machines.h"
#include "text/conversions.h"

namespace test_support {

namespace {

using platform::access;
using platform::disposition;
using platform::share;

[[noreturn]] void fail(const std::wstring& path, std::string_view operation, platform::win32_error code) {
  throw std::runtime_error(text::utf8_from_wide(path).append(": ").append(operation).append(" failed with ") +
                           std::to_string(code_of(code)));
}

}  // namespace

void put_file(const std::wstring& path, std::string_view content) {
  auto file = machine_under_test().files.open(
      path, {.access = access::write, .share = share::none, .disposition = disposition::create_always});
  if (!file) fail(path, "open for writing", file.error());
  const auto written = (*file)->write(std::as_bytes(std::span(content)));
  if (!written) fail(path, "write", written.error());
  if (*written != content.size()) throw std::runtime_error("short write");
  const platform::win32_error closed = (*file)->close();
  if (!succeeded(closed)) fail(path, "close", closed);
}

std::string content_of(const std::wstring& path) {
  auto file = machine_under_test().files.open(path, {.access = access::read, .share = share::all});
  if (!file) fail(path, "open for reading", file.error());
  const auto size = (*file)->size();
  if (!size) fail(path, "size", size.error());
  std::string content(static_cast<std::size_t>(*size), '\0');
  const auto read = (*file)->read(std::as_writable_bytes(std::span(content)));
  if (!read) fail(path, "read", read.error());
  if (*read != content.size()) throw std::runtime_error("short read");
  return content;
}

bool is_there(const std::wstring& path) { return machine_under_test().files.attributes(path).has_value(); }

}  // namespace test_support
