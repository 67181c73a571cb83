#pragma once

#include <memory>
#include <string>

#include "platform/imageformats/codec/codec_module.h"
#include "platform/imageformats/process/decoder.h"

namespace imageformats {

// How a manager and what it hands out decode: in a decoder, a process that may die of a hostile file, or in place,
// where QV_DECODER=inprocess asks for it or no decoder can be started (which is reported once). One thread at a time.
class CDecoding {
 public:
  CDecoding();

  // The codec for the content; null when no codec knows it. Throws CFormatError when a decoder died of the question.
  const CCodecModule* FindCodec(const CInput& input);
  // Throws what the codec throws, and CDamagedError when the decoder dies, or has died twice, of the file.
  std::unique_ptr<COpenedImage> Open(const CCodecModule& codec, std::shared_ptr<const CInput> input);

 private:
  // The decoder to ask, running; null: in place.
  std::shared_ptr<CDecoder> DecoderFor(const CCodecModule& codec, const std::string& nativePath);

  // What `remote` returns for a decoder and a native path, or `inPlace` without.
  template <class Remote, class InPlace>
  auto Decide(const CCodecModule& codec, const CInput& input, Remote&& remote, InPlace&& inPlace);

  bool m_inPlace;
  std::shared_ptr<CDecoder> m_pictures, m_others;
};

}  // namespace imageformats
