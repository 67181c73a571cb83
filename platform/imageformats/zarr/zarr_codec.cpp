#include "platform/imageformats/zarr/zarr_codec.h"

#include <array>
#include <cstring>
#include <utility>

#include "platform/imageformats/zarr/zarr_image.h"

namespace imageformats {

namespace {

bool IsZip(const CInput& input) noexcept {
  constexpr std::array<std::uint8_t, 4> kLocalFile = {'P', 'K', 3, 4};
  return input.Head().size() > kLocalFile.size() &&
         std::memcmp(input.Head().data(), kLocalFile.data(), kLocalFile.size()) == 0;
}

class CZarrCodecModule final : public CCodecModule {
 public:
  const char* Name() const noexcept override { return "ZARR"; }
  bool Matches(const CInput& input) const noexcept override { return input.IsFolder() || IsZip(input); }
  std::unique_ptr<COpenedImage> Open(std::shared_ptr<const CInput> input) const override {
    return std::make_unique<zarr::CZarrImage>(std::move(input));
  }
};

}  // namespace

const CCodecModule& ZarrCodec() noexcept {
  static const CZarrCodecModule module;
  return module;
}

}  // namespace imageformats
