#include "support/fault_machine.h"

#include <utility>

#include "support/fault_trigger.h"

namespace support {

using platform::hresult;
using platform::hresult_result;
using platform::storage_result;
using platform::win32_error;
using platform::win32_result;

namespace {

class faulty_file final : public platform::file {
 public:
  faulty_file(fault_trigger& trigger, std::wstring path, std::unique_ptr<platform::file> below)
      : trigger_(trigger), path_(std::move(path)), below_(std::move(below)) {}

  win32_result<std::size_t> read(std::span<std::byte> buffer) override {
    const auto error = trigger_.strike<win32_error>("read", path_);
    return succeeded(error) ? below_->read(buffer) : error;
  }
  win32_result<std::size_t> write(std::span<const std::byte> bytes) override {
    const auto error = trigger_.strike<win32_error>("write", path_);
    if (!succeeded(error)) return error;
    return below_->write(trigger_.strike_short(path_) ? bytes.first(bytes.size() / 2) : bytes);
  }
  win32_error seek(std::uint64_t position) override {
    const auto error = trigger_.strike<win32_error>("seek", path_);
    return succeeded(error) ? below_->seek(position) : error;
  }
  win32_result<std::uint64_t> size() override {
    const auto error = trigger_.strike<win32_error>("size", path_);
    return succeeded(error) ? below_->size() : error;
  }
  win32_error set_end() override {
    const auto error = trigger_.strike<win32_error>("set_end", path_);
    return succeeded(error) ? below_->set_end() : error;
  }
  win32_error set_last_write_time(platform::file_time time) override {
    const auto error = trigger_.strike<win32_error>("set_last_write_time", path_);
    return succeeded(error) ? below_->set_last_write_time(time) : error;
  }
  win32_error close() override {
    const win32_error error = below_->close();
    const auto fault = trigger_.strike<win32_error>("close", path_);
    return succeeded(fault) ? error : fault;
  }

 private:
  fault_trigger& trigger_;
  std::wstring path_;
  std::unique_ptr<platform::file> below_;
};

class faulty_files final : public platform::file_system {
 public:
  faulty_files(fault_trigger& trigger, platform::file_system& below) : trigger_(trigger), below_(below) {}

  win32_result<std::uint32_t> attributes(const std::wstring& path) override {
    const auto error = trigger_.strike<win32_error>("attributes", path);
    return succeeded(error) ? below_.attributes(path) : error;
  }
  win32_result<platform::item_kind> kind(const std::wstring& path) override {
    const auto error = trigger_.strike<win32_error>("kind", path);
    return succeeded(error) ? below_.kind(path) : error;
  }
  win32_error set_attributes(const std::wstring& path, std::uint32_t attributes) override {
    const auto error = trigger_.strike<win32_error>("set_attributes", path);
    return succeeded(error) ? below_.set_attributes(path, attributes) : error;
  }
  win32_result<platform::file_facts> facts(const std::wstring& path) override {
    const auto error = trigger_.strike<win32_error>("facts", path);
    return succeeded(error) ? below_.facts(path) : error;
  }
  win32_result<std::unique_ptr<platform::file>> open(const std::wstring& path,
                                                     const platform::open_request& request) override {
    const auto error = trigger_.strike<win32_error>("open", path);
    if (!succeeded(error)) return error;
    auto opened = below_.open(path, request);
    if (!opened) return opened.error();
    return std::unique_ptr<platform::file>(std::make_unique<faulty_file>(trigger_, path, *std::move(opened)));
  }
  win32_error create_directory(const std::wstring& path) override {
    const auto error = trigger_.strike<win32_error>("create_directory", path);
    return succeeded(error) ? below_.create_directory(path) : error;
  }
  win32_result<bool> copy_file(const std::wstring& from, const std::wstring& to) override {
    const auto error = trigger_.strike<win32_error>("copy_file", from);
    return succeeded(error) ? below_.copy_file(from, to) : error;
  }
  win32_error delete_file(const std::wstring& path) override {
    const auto error = trigger_.strike<win32_error>("delete_file", path);
    return succeeded(error) ? below_.delete_file(path) : error;
  }
  win32_error move_file(const std::wstring& from, const std::wstring& to) override {
    const auto error = trigger_.strike<win32_error>("move_file", from);
    return succeeded(error) ? below_.move_file(from, to) : error;
  }
  win32_error remove_directory(const std::wstring& path) override {
    const auto error = trigger_.strike<win32_error>("remove_directory", path);
    return succeeded(error) ? below_.remove_directory(path) : error;
  }
  win32_error enumerate(const std::wstring& folder, const platform::entry_visitor& visit) override {
    auto error = trigger_.strike<win32_error>("enumerate", folder);
    if (!succeeded(error)) return error;
    const win32_error below = below_.enumerate(folder, [&](platform::directory_entry entry) {
      if (succeeded(error)) error = trigger_.strike<win32_error>("next_entry", folder);
      if (succeeded(error)) visit(std::move(entry));
    });
    return succeeded(error) ? below : error;
  }

 private:
  fault_trigger& trigger_;
  platform::file_system& below_;
};

class faulty_profiles final : public platform::profile_strings {
 public:
  faulty_profiles(fault_trigger& trigger, platform::profile_strings& below) : trigger_(trigger), below_(below) {}

  win32_result<std::wstring> read(const std::wstring& file, const std::wstring& section, const std::wstring& key,
                                  std::size_t capacity) override {
    const auto error = trigger_.strike<win32_error>("read_profile", file);
    return succeeded(error) ? below_.read(file, section, key, capacity) : error;
  }
  win32_error write(const std::wstring& file, const std::wstring& section, const std::wstring& key,
                    const std::optional<std::wstring>& value) override {
    const auto error = trigger_.strike<win32_error>("write_profile", file);
    return succeeded(error) ? below_.write(file, section, key, value) : error;
  }
  win32_error delete_section(const std::wstring& file, const std::wstring& section) override {
    const auto error = trigger_.strike<win32_error>("delete_section", file);
    return succeeded(error) ? below_.delete_section(file, section) : error;
  }

 private:
  fault_trigger& trigger_;
  platform::profile_strings& below_;
};

class faulty_store final : public platform::property_store {
 public:
  faulty_store(fault_trigger& trigger, std::wstring path, std::unique_ptr<platform::property_store> below)
      : trigger_(trigger), path_(std::move(path)), below_(std::move(below)) {}

  hresult_result<platform::property_value> get(const platform::property_key& key) override {
    const auto error = trigger_.strike<hresult>("get", path_);
    return succeeded(error) ? below_->get(key) : error;
  }
  hresult set(const platform::property_key& key, const platform::property_value& value) override {
    const auto error = trigger_.strike<hresult>("set", path_);
    return succeeded(error) ? below_->set(key, value) : error;
  }
  hresult commit() override {
    const auto error = trigger_.strike<hresult>("commit", path_);
    return succeeded(error) ? below_->commit() : error;
  }

 private:
  fault_trigger& trigger_;
  std::wstring path_;
  std::unique_ptr<platform::property_store> below_;
};

class faulty_storage final : public platform::property_set_storage {
 public:
  faulty_storage(fault_trigger& trigger, std::wstring path, std::unique_ptr<platform::property_set_storage> below)
      : trigger_(trigger), path_(std::move(path)), below_(std::move(below)) {}

  storage_result<std::unique_ptr<platform::property_store>> create_store(platform::store_access access) override {
    const auto error = trigger_.strike<hresult>("create_store", path_);
    if (!succeeded(error)) return platform::storage_failure{error, win32_error::success};
    auto created = below_->create_store(access);
    if (!created) return created.error();
    return std::unique_ptr<platform::property_store>(
        std::make_unique<faulty_store>(trigger_, path_, *std::move(created)));
  }

 private:
  fault_trigger& trigger_;
  std::wstring path_;
  std::unique_ptr<platform::property_set_storage> below_;
};

class faulty_properties final : public platform::property_system {
 public:
  faulty_properties(fault_trigger& trigger, platform::property_system& below) : trigger_(trigger), below_(below) {}

  hresult_result<std::unique_ptr<platform::property_store>> open_handler_store(
      const std::wstring& path, platform::handler_access access) override {
    const auto error = trigger_.strike<hresult>("open_handler_store", path);
    if (!succeeded(error)) return error;
    auto opened = below_.open_handler_store(path, access);
    if (!opened) return opened.error();
    return std::unique_ptr<platform::property_store>(
        std::make_unique<faulty_store>(trigger_, path, *std::move(opened)));
  }
  storage_result<std::unique_ptr<platform::property_set_storage>> open_property_set_storage(
      const std::wstring& path, platform::storage_access access) override {
    const auto error = trigger_.strike<hresult>("open_property_set_storage", path);
    if (!succeeded(error)) return platform::storage_failure{error, win32_error::success};
    auto opened = below_.open_property_set_storage(path, access);
    if (!opened) return opened.error();
    return std::unique_ptr<platform::property_set_storage>(
        std::make_unique<faulty_storage>(trigger_, path, *std::move(opened)));
  }

 private:
  fault_trigger& trigger_;
  platform::property_system& below_;
};

class faulty_encoder final : public platform::metadata_encoder {
 public:
  faulty_encoder(fault_trigger& trigger, std::wstring path, std::unique_ptr<platform::metadata_encoder> below)
      : trigger_(trigger), path_(std::move(path)), below_(std::move(below)) {}

  hresult set(const std::wstring& query, const platform::property_value& value) override {
    const auto error = trigger_.strike<hresult>("set_metadata", path_);
    return succeeded(error) ? below_->set(query, value) : error;
  }
  hresult commit() override {
    const auto error = trigger_.strike<hresult>("commit_metadata", path_);
    return succeeded(error) ? below_->commit() : error;
  }

 private:
  fault_trigger& trigger_;
  std::wstring path_;
  std::unique_ptr<platform::metadata_encoder> below_;
};

class faulty_decoder final : public platform::image_decoder {
 public:
  faulty_decoder(fault_trigger& trigger, std::wstring path, std::unique_ptr<platform::image_decoder> below)
      : trigger_(trigger), path_(std::move(path)), below_(std::move(below)) {}

  hresult_result<std::unique_ptr<platform::metadata_encoder>> frame_encoder() override {
    const auto error = trigger_.strike<hresult>("frame_encoder", path_);
    return succeeded(error) ? wrapped(below_->frame_encoder()) : error;
  }
  hresult_result<std::unique_ptr<platform::metadata_encoder>> container_encoder() override {
    const auto error = trigger_.strike<hresult>("container_encoder", path_);
    return succeeded(error) ? wrapped(below_->container_encoder()) : error;
  }

 private:
  hresult_result<std::unique_ptr<platform::metadata_encoder>> wrapped(
      hresult_result<std::unique_ptr<platform::metadata_encoder>> made) {
    if (!made) return made.error();
    return std::unique_ptr<platform::metadata_encoder>(
        std::make_unique<faulty_encoder>(trigger_, path_, *std::move(made)));
  }

  fault_trigger& trigger_;
  std::wstring path_;
  std::unique_ptr<platform::image_decoder> below_;
};

class faulty_reader final : public platform::image_reader {
 public:
  faulty_reader(fault_trigger& trigger, std::wstring path, std::unique_ptr<platform::image_reader> below)
      : trigger_(trigger), path_(std::move(path)), below_(std::move(below)) {}

  hresult_result<platform::image_size> size() override {
    const auto error = trigger_.strike<hresult>("image_size", path_);
    return succeeded(error) ? below_->size() : error;
  }
  hresult_result<platform::property_value> get(const std::wstring& query) override {
    const auto error = trigger_.strike<hresult>("get_metadata", path_);
    return succeeded(error) ? below_->get(query) : error;
  }

 private:
  fault_trigger& trigger_;
  std::wstring path_;
  std::unique_ptr<platform::image_reader> below_;
};

class faulty_images final : public platform::imaging {
 public:
  faulty_images(fault_trigger& trigger, platform::imaging& below) : trigger_(trigger), below_(below) {}

  hresult_result<std::unique_ptr<platform::image_decoder>> open(const std::wstring& path) override {
    const auto error = trigger_.strike<hresult>("open_image", path);
    if (!succeeded(error)) return error;
    auto opened = below_.open(path);
    if (!opened) return opened.error();
    return std::unique_ptr<platform::image_decoder>(
        std::make_unique<faulty_decoder>(trigger_, path, *std::move(opened)));
  }
  hresult_result<std::unique_ptr<platform::image_reader>> open_for_reading(const std::wstring& path) override {
    const auto error = trigger_.strike<hresult>("open_image_for_reading", path);
    if (!succeeded(error)) return error;
    auto opened = below_.open_for_reading(path);
    if (!opened) return opened.error();
    return std::unique_ptr<platform::image_reader>(std::make_unique<faulty_reader>(trigger_, path, *std::move(opened)));
  }

 private:
  fault_trigger& trigger_;
  platform::imaging& below_;
};

class faulty_shell final : public platform::shell {
 public:
  faulty_shell(fault_trigger& trigger, platform::shell& below) : trigger_(trigger), below_(below) {}

  void notify(platform::shell_event event, platform::shell_flush flush, const std::wstring& path) override {
    below_.notify(event, flush, path);
  }
  void notify_of_rename(const std::wstring& old_path, const std::wstring& new_path) override {
    below_.notify_of_rename(old_path, new_path);
  }
  hresult renew_thumbnail(const std::wstring& path, std::uint32_t size) override {
    const auto error = trigger_.strike<hresult>("renew_thumbnail", path);
    return succeeded(error) ? below_.renew_thumbnail(path, size) : error;
  }

 private:
  fault_trigger& trigger_;
  platform::shell& below_;
};

class faulty_processes final : public platform::processes {
 public:
  faulty_processes(fault_trigger& trigger, platform::processes& below) : trigger_(trigger), below_(below) {}

  std::uint32_t process_id() override { return below_.process_id(); }
  std::uint32_t thread_id() override { return below_.thread_id(); }
  hresult_result<std::wstring> local_app_data() override {
    const auto error = trigger_.strike<hresult>("local_app_data", {});
    return succeeded(error) ? below_.local_app_data() : error;
  }
  win32_result<std::wstring> module_path(std::size_t capacity) override {
    const auto error = trigger_.strike<win32_error>("module_path", {});
    return succeeded(error) ? below_.module_path(capacity) : error;
  }
  platform::package_name_answer package_full_name(std::uint32_t capacity) override {
    const auto error = trigger_.strike<win32_error>("package_full_name", {});
    return succeeded(error) ? below_.package_full_name(capacity) : platform::package_name_answer{error, 0, {}};
  }
  hresult set_app_user_model_id(const std::wstring& id) override {
    const auto error = trigger_.strike<hresult>("set_app_user_model_id", {});
    return succeeded(error) ? below_.set_app_user_model_id(id) : error;
  }
  hresult enter_apartment() override {
    const auto error = trigger_.strike<hresult>("enter_apartment", {});
    return succeeded(error) ? below_.enter_apartment() : error;
  }
  void leave_apartment() override { below_.leave_apartment(); }

 private:
  fault_trigger& trigger_;
  platform::processes& below_;
};

class faulty_clock final : public platform::clock {
 public:
  faulty_clock(fault_trigger& trigger, platform::clock& below) : trigger_(trigger), below_(below) {}

  platform::file_time now() override { return below_.now(); }
  platform::local_time to_local(platform::file_time time) override { return below_.to_local(time); }
  win32_result<platform::local_time> to_local_with_current_bias(platform::file_time time) override {
    const auto error = trigger_.strike<win32_error>("to_local_with_current_bias", {});
    return succeeded(error) ? below_.to_local_with_current_bias(time) : error;
  }
  void sleep(std::chrono::milliseconds time) override { below_.sleep(time); }

 private:
  fault_trigger& trigger_;
  platform::clock& below_;
};

}  // namespace

// Terminal and error texts have no failures to report and are passed through.
struct fault_machine::facilities {
  explicit facilities(platform::machine& below)
      : files(trigger, below.files),
        profiles(trigger, below.profiles),
        properties(trigger, below.properties),
        images(trigger, below.images),
        shell(trigger, below.shell),
        processes(trigger, below.processes),
        clock(trigger, below.clock),
        machine{files, profiles, properties, images, shell, processes, clock, below.terminal, below.errors} {}

  fault_trigger trigger;
  faulty_files files;
  faulty_profiles profiles;
  faulty_properties properties;
  faulty_images images;
  faulty_shell shell;
  faulty_processes processes;
  faulty_clock clock;
  platform::machine machine;
};

fault_machine::fault_machine(platform::machine& below) : facilities_(std::make_unique<facilities>(below)) {}
fault_machine::~fault_machine() = default;

void fault_machine::arm(fault next) { facilities_->trigger.arm(std::move(next)); }
void fault_machine::disarm() { facilities_->trigger.arm(std::nullopt); }
std::size_t fault_machine::counted() const { return facilities_->trigger.counted(); }
std::optional<std::string> fault_machine::struck() const { return facilities_->trigger.struck(); }
platform::machine& fault_machine::machine() { return facilities_->machine; }

}  // namespace support
