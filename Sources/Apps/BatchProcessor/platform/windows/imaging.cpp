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

}  // namespace

hresult_result<std::unique_ptr<image_decoder>> imaging::open(const std::wstring& path) {
  com_reference<IWICImagingFactory> factory;
  const hresult created = outcome(create_in_process(imaging_factory_class, factory));
  if (!succeeded(created)) return created;

  com_reference<IWICBitmapDecoder> decoder;
  const hresult opened =
      outcome(factory->CreateDecoderFromFilename(file_call_path(path).c_str(), nullptr, GENERIC_READ | GENERIC_WRITE,
                                                 WICDecodeMetadataCacheOnDemand, decoder.put()));
  if (!succeeded(opened)) return opened;
  return std::unique_ptr<image_decoder>(std::make_unique<wrapped_decoder>(std::move(factory), std::move(decoder)));
}

}  // namespace platform::windows
