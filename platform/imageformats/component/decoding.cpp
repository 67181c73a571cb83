#include "platform/imageformats/component/decoding.h"

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <utility>

#include "platform/imageformats/component/codec_registry.h"
#include "platform/imageformats/process/decoder_pool.h"
#include "platform/imageformats/process/protocol.h"
#include "platform/imageformats/process/remote_image.h"
#include "platform/imageformats/process/troublemakers.h"
#include "system/qvdiag.h"

namespace imageformats {

namespace {

namespace fs = std::filesystem;

bool IsTurnedOff() noexcept {
  const char* choice = secure_getenv("QV_DECODER");
  return choice != nullptr && std::string_view(choice) == "inprocess";
}

void ReportOnce(const std::string& why) {
  static std::atomic<bool> reported = false;
  if (reported.exchange(true)) return;
  DiagOutputExW(L"Pictures are decoded without the protection of a process of their own: %ls",
                CQvStringUtils::UTF8toW(why).c_str());
}

// What the library opens: a link's target, for only its folder may be read.
std::string PathForLibrary(const CCodecModule& codec, const CInput& input) {
  if (!codec.OpensByPath()) return "";
  std::error_code failed;
  const fs::path path = fs::absolute(input.NativePath().Str(), failed);
  if (!fs::is_symlink(path, failed)) return path.string();
  const fs::path target = fs::canonical(path, failed);
  return (failed ? path : target).string();
}

SDecoderUse UseOf(const CCodecModule& codec, const std::string& nativePath) {
  if (codec.OpensByPath()) return {kForSlides, fs::path(nativePath).parent_path().string()};
  return {codec.HasOwnDecoder() ? codec.Name() : kForPictures, ""};
}

void RefuseTroublemaker(const CInput& input) {
  if (!IsTroublemaker(input)) return;
  throw CDamagedError("Decoding this file ended the decoder twice; it is not tried again until the file changes");
}

}  // namespace

CDecoding::CDecoding() : m_inPlace(IsTurnedOff()) {}

std::shared_ptr<CDecoder> CDecoding::DecoderFor(const CCodecModule& codec, const std::string& nativePath) {
  if (m_inPlace) return nullptr;
  const SDecoderUse use = UseOf(codec, nativePath);
  if (IsGivenUp(use)) return nullptr;
  std::shared_ptr<CDecoder>& decoder = use.purpose == kForPictures ? m_pictures : m_others;
  if (!decoder || decoder->Use() != use) {
    decoder.reset();
    decoder = TakeDecoder(use);
  }
  if (decoder->Start()) return decoder;
  ReportOnce(DecoderProgram() + " cannot be started");
  return nullptr;
}

// The first attempt may find that the decoder was ended from outside.
template <class Remote, class InPlace>
auto CDecoding::Decide(const CCodecModule& codec, const CInput& input, Remote&& remote, InPlace&& inPlace) {
  const std::string nativePath = PathForLibrary(codec, input);
  for (bool isFirst = true;; isFirst = false) {
    std::shared_ptr<CDecoder> decoder = DecoderFor(codec, nativePath);
    if (!m_inPlace) RefuseTroublemaker(input);
    if (!decoder) return inPlace();
    try {
      return remote(std::move(decoder), nativePath);
    } catch (const CStaleDecoder&) {
      if (!isFirst) throw;
    } catch (const CUnreadyDecoder& error) {
      ReportOnce(DecoderProgram() + ": " + error.what());
      return inPlace();
    }
  }
}

const CCodecModule* CDecoding::FindCodec(const CInput& input) {
  return FindCodecFor(input, [&](const CCodecModule& codec) {
    return Decide(
        codec, input,
        [&](const std::shared_ptr<CDecoder>& decoder, const std::string& nativePath) {
          return MatchesRemotely(*decoder, codec.Name(), input, nativePath);
        },
        [&] { return codec.Matches(input); });
  });
}

std::unique_ptr<COpenedImage> CDecoding::Open(const CCodecModule& codec, std::shared_ptr<const CInput> input) {
  return Decide(
      codec, *input,
      [&](std::shared_ptr<CDecoder> decoder, const std::string& nativePath) {
        return OpenRemoteImage(std::move(decoder), codec.Name(), input, nativePath);
      },
      [&] { return codec.Open(input); });
}

}  // namespace imageformats
