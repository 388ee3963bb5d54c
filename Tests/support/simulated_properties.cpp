#include "support/simulated_properties.h"

#include <utility>

#include "support/call_texts.h"
#include "text/conversions.h"
#include "text/format.h"
#include "text/letter_case.h"
#include "text/paths.h"

namespace support {

namespace attribute = platform::attribute;
using platform::access;
using platform::hresult;
using platform::hresult_result;
using platform::property_key;
using platform::property_store;
using platform::property_value;
using platform::share;
using platform::storage_failure;
using platform::storage_result;
using platform::win32_error;

namespace {

constexpr disk_use reading = {access::read, share::all};
constexpr disk_use writing = {access::read | access::write, share::read};
constexpr disk_use exclusive = {access::read | access::write, share::none};
constexpr disk_use deny_write = {access::read, share::read};

// Structured storage has its own facility for the codes of files.
storage_failure failure_from(win32_error error) {
  return {static_cast<hresult>(0x80030000 | platform::code_of(error)), error};
}

// What a test asked for: a Win32 code leaves itself as the last error, an HRESULT leaves none.
storage_failure storage_refusal(simulated_calls& calls, std::string_view operation, const std::wstring& path) {
  const auto refused = calls.refusal<hresult>(operation, path);
  if (!succeeded(refused)) return {refused, win32_error::success};
  const auto error = static_cast<win32_error>(code_of(refused));
  return succeeded(error) ? storage_failure() : failure_from(error);
}

bool is_empty(const property_value& value) {
  const auto* list = std::get_if<std::vector<std::wstring>>(&value);
  return std::holds_alternative<std::monostate>(value) || (list != nullptr && list->empty());
}

property_value value_in(const property_values& values, const property_key& key) {
  const auto found = values.find(key);
  return found == values.end() ? property_value() : found->second;
}

struct store_settings {
  std::wstring path;
  bool can_write = false;
  std::map<property_key, hresult> refused_keys;
  std::optional<disk_use> use_at_commit;  // the claim that a commit makes for its own time
};

class simulated_store final : public property_store {
 public:
  simulated_store(simulated_calls& calls, simulated_disk& disk, std::shared_ptr<disk_claim> claim,
                  property_values disk_entry::*values, store_settings settings)
      : calls_(calls), disk_(disk), claim_(std::move(claim)), values_(values), settings_(std::move(settings)) {}
  ~simulated_store() override {
    const auto guard = calls_.record("release_store", text::utf8_from_wide(settings_.path));
    claim_.reset();
  }
  simulated_store(const simulated_store&) = delete;
  simulated_store& operator=(const simulated_store&) = delete;

  hresult_result<property_value> get(const property_key& key) override {
    const auto guard = record("get", key_text(key));
    const auto refused = calls_.refusal<hresult>("get", settings_.path);
    if (!succeeded(refused)) return refused;
    const auto staged = staged_.find(key);
    return staged != staged_.end() ? staged->second : value_in(claim_->entry().*values_, key);
  }

  hresult set(const property_key& key, const property_value& value) override {
    const auto guard = record("set", text::format("{}, {}", key_text(key), value_text(value)));
    const auto refused = calls_.refusal<hresult>("set", settings_.path);
    if (!succeeded(refused)) return refused;
    if (!settings_.can_write) return hresult::storage_access_denied;
    const auto refused_key = settings_.refused_keys.find(key);
    if (refused_key != settings_.refused_keys.end()) return refused_key->second;
    staged_[key] = value;
    return hresult::ok;
  }

  hresult commit() override {
    const auto guard = calls_.record("commit", text::utf8_from_wide(settings_.path));
    const auto refused = calls_.refusal<hresult>("commit", settings_.path);
    if (!succeeded(refused)) return refused;
    if (!settings_.can_write) return hresult::storage_access_denied;
    if (staged_.empty()) return hresult::ok;
    std::unique_ptr<disk_claim> for_now;
    if (settings_.use_at_commit) {
      auto claimed = disk_.claim(claim_->shared_entry(), *settings_.use_at_commit);
      if (!claimed) return hresult_from(claimed.error());
      for_now = *std::move(claimed);
    }
    property_values& values = claim_->entry().*values_;
    for (const auto& [key, value] : staged_) {
      if (is_empty(value)) {
        values.erase(key);
      } else {
        values[key] = value;
      }
    }
    staged_.clear();
    disk_.touch(claim_->entry());
    return hresult::ok;
  }

 private:
  [[nodiscard]] simulated_calls::guard record(std::string_view operation, std::string_view argument) {
    return calls_.record(operation, text::format("{}, {}", text::utf8_from_wide(settings_.path), argument));
  }

  simulated_calls& calls_;
  simulated_disk& disk_;
  std::shared_ptr<disk_claim> claim_;
  property_values disk_entry::*values_;
  store_settings settings_;
  property_values staged_;
};

class simulated_storage final : public platform::property_set_storage {
 public:
  simulated_storage(simulated_calls& calls, simulated_disk& disk, std::wstring path, std::shared_ptr<disk_claim> claim)
      : calls_(calls), disk_(disk), path_(std::move(path)), claim_(std::move(claim)) {}
  ~simulated_storage() override {
    const auto guard = calls_.record("release_storage", text::utf8_from_wide(path_));
    claim_.reset();
  }
  simulated_storage(const simulated_storage&) = delete;
  simulated_storage& operator=(const simulated_storage&) = delete;

  storage_result<std::unique_ptr<property_store>> create_store(platform::store_access access_wanted) override {
    const bool for_writing = access_wanted == platform::store_access::read_write;
    const auto guard = calls_.record(
        "create_store", text::format("{}, {}", text::utf8_from_wide(path_), for_writing ? "write" : "read"));
    const auto refused = storage_refusal(calls_, "create_store", path_);
    if (!succeeded(refused)) return refused;
    if (for_writing && !platform::has(claim_->access(), access::write)) {
      return failure_from(win32_error::access_denied);
    }
    return std::unique_ptr<property_store>(std::make_unique<simulated_store>(
        calls_, disk_, claim_, &disk_entry::property_set_values, store_settings{path_, for_writing, {}, {}}));
  }

 private:
  simulated_calls& calls_;
  simulated_disk& disk_;
  std::wstring path_;
  std::shared_ptr<disk_claim> claim_;
};

}  // namespace

hresult_result<std::unique_ptr<property_store>> simulated_properties::open_handler_store(
    const std::wstring& path, platform::handler_access access_wanted) {
  const auto guard = calls_.record("open_handler_store",
                                   text::format("{}, {}", text::utf8_from_wide(path), access_text(access_wanted)));
  const auto refused = calls_.refusal<hresult>("open_handler_store", path);
  if (!succeeded(refused)) return refused;
  const auto entry = disk_.find(path);
  if (!entry) return hresult_from(entry.error());
  const auto found = handlers_.find(text::to_lower(paths::extension(path)));
  if (found == handlers_.end() || (*entry)->is_directory()) return no_handler_error;
  const property_handler& handler = found->second;
  if (!succeeded(handler.open_error)) return handler.open_error;
  const bool for_writing = access_wanted == platform::handler_access::read_write;
  if (!(for_writing ? handler.writable : handler.readable)) return no_handler_error;
  if (for_writing && (*entry)->has(attribute::read_only)) return hresult::access_denied;
  if ((*entry)->has(attribute::cloud_placeholder)) {
    const auto download = calls_.record("download", text::utf8_from_wide(path));
    (*entry)->attributes &= ~attribute::cloud_placeholder;
  }
  const bool grips = for_writing && handler.grip == handler_grip::while_open;
  auto claim = disk_.claim(*entry, grips ? writing : reading);
  if (!claim) return hresult_from(claim.error());
  store_settings settings{path, for_writing, handler.refused_keys, {}};
  if (for_writing && !grips) settings.use_at_commit = writing;
  return std::unique_ptr<property_store>(std::make_unique<simulated_store>(
      calls_, disk_, *std::move(claim), &disk_entry::handler_values, std::move(settings)));
}

storage_result<std::unique_ptr<platform::property_set_storage>> simulated_properties::open_property_set_storage(
    const std::wstring& path, platform::storage_access access_wanted) {
  const auto guard = calls_.record("open_property_set_storage",
                                   text::format("{}, {}", text::utf8_from_wide(path), access_text(access_wanted)));
  const auto refused = storage_refusal(calls_, "open_property_set_storage", path);
  if (!succeeded(refused)) return refused;
  const auto entry = disk_.find(path);
  if (!entry) return failure_from(entry.error());
  if ((*entry)->drive->format != disk_format::ntfs) return failure_from(win32_error::invalid_function);
  const bool for_writing = access_wanted == platform::storage_access::read_write_exclusive;
  const std::uint32_t guarded =
      (*entry)->is_directory() ? attribute::read_only | attribute::system : attribute::read_only;
  if (for_writing && (*entry)->has(guarded)) return failure_from(win32_error::access_denied);
  auto claim = disk_.claim(*entry, for_writing ? exclusive : deny_write);
  if (!claim) return failure_from(claim.error());
  return std::unique_ptr<platform::property_set_storage>(
      std::make_unique<simulated_storage>(calls_, disk_, path, *std::move(claim)));
}

property_handler& simulated_properties::handler(std::wstring_view extension) {
  return handlers_[text::to_lower(extension)];
}

void simulated_properties::set_handler_value(std::wstring_view path, const property_key& key, property_value value) {
  (**disk_.find(path)).handler_values[key] = std::move(value);
}

void simulated_properties::set_property_set_value(std::wstring_view path, const property_key& key,
                                                  property_value value) {
  (**disk_.find(path)).property_set_values[key] = std::move(value);
}

property_value simulated_properties::handler_value(std::wstring_view path, const property_key& key) const {
  return value_in((**disk_.find(path)).handler_values, key);
}

property_value simulated_properties::property_set_value(std::wstring_view path, const property_key& key) const {
  return value_in((**disk_.find(path)).property_set_values, key);
}

}  // namespace support
