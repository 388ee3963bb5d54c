#include "platform/windows/imaging.h"

#include "platform/windows/com_reference.h"
#include "platform/windows/error_codes.h"
#include "platform/windows/long_paths.h"
#include "platform/windows/propvariants.h"

namespace platform::windows {

namespace {

// The imaging factory of Windows 8 and later; the headers' own name stands for the one before.
constexpr CLSID imaging_factory_class = {0x317d06e8, 0x5f24, 0x433d, {0xbd, 0xf7, 0x79, 0xce, 0x68, 0xd8, 0xab, 0xc2}};

using encoder_reference = com_reference<IWICFastMetadataEncoder>;
using encoder_result = hresult_result<std::unique_ptr<metadata_encoder>>;

class wrapped_encoder final : public metadata_encoder {
 public:
  wrapped_encoder(encoder_reference encoder, com_reference<IWICMetadataQueryWriter> writer)
      : encoder_(std::move(encoder)), writer_(std::move(writer)) {}

  hresult set(const std::wstring& query, const property_value& value) override {
    scoped_propvariant native;
    const hresult made = to_propvariant(value, native);
    if (!succeeded(made)) return made;
    return outcome(writer_->SetMetadataByName(query.c_str(), &native.get()));
  }

  hresult commit() override { return outcome(encoder_->Commit()); }

 private:
  encoder_reference encoder_;
  com_reference<IWICMetadataQueryWriter> writer_;
};

encoder_result with_writer(encoder_reference encoder) {
  com_reference<IWICMetadataQueryWriter> writer;
  const hresult got = outcome(encoder->GetMetadataQueryWriter(writer.put()));
  if (!succeeded(got)) return got;
  return std::unique_ptr<metadata_encoder>(std::make_unique<wrapped_encoder>(std::move(encoder), std::move(writer)));
}

class wrapped_decoder final : public image_decoder {
 public:
  wrapped_decoder(com_reference<IWICImagingFactory> factory, com_reference<IWICBitmapDecoder> decoder)
      : factory_(std::move(factory)), decoder_(std::move(decoder)) {}

  encoder_result frame_encoder() override {
    com_reference<IWICBitmapFrameDecode> frame;
    const hresult got = outcome(decoder_->GetFrame(0, frame.put()));
    if (!succeeded(got)) return got;

    encoder_reference encoder;
    const hresult made = outcome(factory_->CreateFastMetadataEncoderFromFrameDecode(frame.get(), encoder.put()));
    if (!succeeded(made)) return made;
    return with_writer(std::move(encoder));
  }

  encoder_result container_encoder() override {
    encoder_reference encoder;
    const hresult made = outcome(factory_->CreateFastMetadataEncoderFromDecoder(decoder_.get(), encoder.put()));
    if (!succeeded(made)) return made;
    return with_writer(std::move(encoder));
  }

 private:
  com_reference<IWICImagingFactory> factory_;
  com_reference<IWICBitmapDecoder> decoder_;
};

class wrapped_reader final : public image_reader {
 public:
  explicit wrapped_reader(com_reference<IWICBitmapDecoder> decoder) : decoder_(std::move(decoder)) {}

  hresult_result<image_size> size() override {
    const hresult framed = need_frame();
    if (!succeeded(framed)) return framed;
    UINT width = 0;
    UINT height = 0;
    const hresult got = outcome(frame_->GetSize(&width, &height));
    if (!succeeded(got)) return got;
    return image_size{width, height};
  }

  hresult_result<property_value> get(const std::wstring& query) override {
    const hresult made = need_query_reader();
    if (!succeeded(made)) return made;
    scoped_propvariant value;
    const hresult got = outcome(query_reader_->GetMetadataByName(query.c_str(), value.put()));
    if (!succeeded(got)) return got;
    return from_propvariant(value.get());
  }

 private:
  hresult need_frame() { return frame_.get() != nullptr ? hresult::ok : outcome(decoder_->GetFrame(0, frame_.put())); }

  hresult need_query_reader() {
    if (query_reader_.get() != nullptr) return hresult::ok;
    const hresult framed = need_frame();
    if (!succeeded(framed)) return framed;
    return outcome(frame_->GetMetadataQueryReader(query_reader_.put()));
  }

  com_reference<IWICBitmapDecoder> decoder_;
  com_reference<IWICBitmapFrameDecode> frame_;
  com_reference<IWICMetadataQueryReader> query_reader_;
};

struct opened_decoder {
  com_reference<IWICImagingFactory> factory;
  com_reference<IWICBitmapDecoder> decoder;
};

hresult open_decoder(const std::wstring& path, DWORD access, opened_decoder& opened) {
  const hresult created = outcome(create_in_process(imaging_factory_class, opened.factory));
  if (!succeeded(created)) return created;
  return outcome(opened.factory->CreateDecoderFromFilename(long_call_path(path).c_str(), nullptr, access,
                                                           WICDecodeMetadataCacheOnDemand, opened.decoder.put()));
}

}  // namespace

hresult_result<std::unique_ptr<image_decoder>> imaging::open(const std::wstring& path) {
  opened_decoder opened;
  const hresult failure = open_decoder(path, GENERIC_READ | GENERIC_WRITE, opened);
  if (!succeeded(failure)) return failure;
  return std::unique_ptr<image_decoder>(
      std::make_unique<wrapped_decoder>(std::move(opened.factory), std::move(opened.decoder)));
}

hresult_result<std::unique_ptr<image_reader>> imaging::open_for_reading(const std::wstring& path) {
  opened_decoder opened;
  const hresult failure = open_decoder(path, GENERIC_READ, opened);
  if (!succeeded(failure)) return failure;
  return std::unique_ptr<image_reader>(std::make_unique<wrapped_reader>(std::move(opened.decoder)));
}

}  // namespace platform::windows
