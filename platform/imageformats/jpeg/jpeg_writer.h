#pragma once

#include <memory>

#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

// Writes 8-bit grey or RGB as baseline JFIF into a byte array.
class JpegWriter final : public PictureWriter {
 public:
  explicit JpegWriter(CQvByteArray& destination);
  ~JpegWriter() override;

  void SetFormat(const SQvImageInfo& format, double quality) override;
  void Write(const void* rows) override;
  void Finish() override;

 private:
  struct State;
  std::unique_ptr<State> m_state;
};

}  // namespace imageformats
