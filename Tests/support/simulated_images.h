// The imaging component of the simulated machine: a test says for each file what its container takes.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>

#include "platform/imaging.h"
#include "support/simulated_calls.h"
#include "support/simulated_disk.h"

namespace support {

/// What one image takes and holds. The sets hold the query paths that can be set at a level.
struct simulated_image {
  platform::hresult open_error = platform::hresult::ok;       ///< of both ways to open it
  platform::hresult frame_error = platform::hresult::ok;      ///< of the encoder made from the frame
  platform::hresult container_error = platform::hresult::ok;  ///< of the encoder made from the decoder
  std::set<std::wstring> frame_queries;
  std::set<std::wstring> container_queries;
  bool has_room = true;  ///< else every commit fails
  std::map<std::wstring, platform::property_value> written;

  platform::image_size size;
  std::map<std::wstring, platform::property_value> values;  ///< of the frame, by query path
};

struct open_image;

class simulated_images final : public platform::imaging {
 public:
  simulated_images(simulated_calls& calls, simulated_disk& disk) : calls_(calls), disk_(disk) {}

  platform::hresult_result<std::unique_ptr<platform::image_decoder>> open(const std::wstring& path) override;

  platform::hresult_result<std::unique_ptr<platform::image_reader>> open_for_reading(const std::wstring& path) override;

  /// For tests: the image at a path; a file without one is of no format that imaging knows.
  simulated_image& image(std::wstring_view path);

 private:
  [[nodiscard]] platform::hresult_result<std::shared_ptr<open_image>> open(const std::wstring& path,
                                                                           platform::access access);

  simulated_calls& calls_;
  simulated_disk& disk_;
  std::map<std::wstring, simulated_image> images_;  // by lower-cased path
};

}  // namespace support
