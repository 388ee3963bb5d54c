// Metadata of images, set in place by query path.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/property_system.h"

namespace platform {

/// In pixels.
struct image_size {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  bool operator==(const image_size&) const = default;
};

/// A fast metadata encoder with its query writer: changes single values inside the room that the container has.
class metadata_encoder {
 public:
  virtual ~metadata_encoder() = default;

  /// Stages a value at a query path such as "/xmp/xmp:Rating". SetMetadataByName.
  virtual hresult set(const std::wstring& query, const property_value& value) = 0;
  /// Writes what was staged, or fails and leaves the file alone where the container has no room. Commit.
  virtual hresult commit() = 0;
};

/// An image opened for reading and writing.
class image_decoder {
 public:
  virtual ~image_decoder() = default;

  /// GetFrame(0), CreateFastMetadataEncoderFromFrameDecode, GetMetadataQueryWriter; the first failure ends it.
  virtual hresult_result<std::unique_ptr<metadata_encoder>> frame_encoder() = 0;
  /// CreateFastMetadataEncoderFromDecoder, GetMetadataQueryWriter.
  virtual hresult_result<std::unique_ptr<metadata_encoder>> container_encoder() = 0;
};

/// An image opened for reading only.
class image_reader {
 public:
  virtual ~image_reader() = default;

  /// Of the first frame, as its pixels are stored. GetFrame(0), GetSize.
  virtual hresult_result<image_size> size() = 0;
  /// The first frame's value at a query path such as "/ifd/{ushort=274}". GetMetadataQueryReader, GetMetadataByName;
  /// frame and query reader are made once.
  virtual hresult_result<property_value> get(const std::wstring& query) = 0;
};

class imaging {
 public:
  /// Creates the imaging factory, then CreateDecoderFromFilename with read and write access and the metadata
  /// cached on demand.
  virtual hresult_result<std::unique_ptr<image_decoder>> open(const std::wstring& path) = 0;
  /// The same with read access.
  virtual hresult_result<std::unique_ptr<image_reader>> open_for_reading(const std::wstring& path) = 0;

 protected:
  ~imaging() = default;
};

}  // namespace platform
