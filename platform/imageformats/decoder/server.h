#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "platform/imageformats/codec/codec_module.h"
#include "platform/imageformats/process/channel.h"
#include "platform/imageformats/process/shared_pixels.h"
#include "platform/imageformats/process/wire.h"

namespace imageformats {

// The decoder's side of the conversation (process/protocol.h).
class CDecoderServer {
 public:
  explicit CDecoderServer(CChannel& channel) noexcept : m_channel(channel) {}
  CDecoderServer(const CDecoderServer&) = delete;
  CDecoderServer& operator=(const CDecoderServer&) = delete;

  // Answers until the viewer closes the connection.
  void Run();

 private:
  void Take(SMessage& message);
  void Answer(SMessage& message);
  void Work(std::uint32_t kind, CWireReader& question, CDescriptor descriptor, CWireWriter& answer);
  void Open(CWireReader& question, CDescriptor descriptor, CWireWriter& answer);
  bool ReadAtOnce(COpenedImage& image) noexcept;
  void Render(CWireReader& question);
  void Read(COpenedImage& image, CWireReader& question);
  void RenderAssociated(COpenedImage& image, CWireReader& question);
  void RenderWell(COpenedImage& image, CWireReader& question);
  // Where a picture is to be drawn. Throws CDamagedError when the memory is too small for it.
  SQvPicBuf Target(std::uint32_t rowBytes, std::uint32_t width, std::uint32_t height, std::uint32_t bits,
                   std::uint32_t components) const;
  std::shared_ptr<const CInput> AskBeside(const std::string& name);
  COpenedImage& Image(CWireReader& question) const;
  COpenedImage& Image(std::uint32_t number) const;

  CChannel& m_channel;
  std::map<std::uint32_t, std::unique_ptr<COpenedImage>> m_images;
  std::unique_ptr<COpenedImage> m_spent;  // goes when the answer is sent
  CSharedPixels m_pixels;
};

}  // namespace imageformats
