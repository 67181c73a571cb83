#pragma once

#include <memory>

#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

// Writes 8-bit grey or RGB as baseline JFIF into a byte array.
class CJpegWriter final : public IPictureWriter {
 public:
  explicit CJpegWriter(CQvByteArray& destination);
  ~CJpegWriter() override;

  void SetFormat(const SQvImageInfo& format, double quality) override;
  void Write(const void* rows) override;
  void Finish() override;

 private:
  struct SState;
  std::unique_ptr<SState> m_state;
};

}  // namespace imageformats
