#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace imageformats {

// What samples mean. Conversions take them normalised: grey, RGB 0..1; CMYK 0..1, 1 full ink; Lab as L 0..100,
// a and b -128..127 (CIE 1976, D50).
enum class EColorModel { kGrey, kRgb, kCmyk, kLab };
std::uint32_t ModelComponents(EColorModel model) noexcept;  // 1, 3, 4, 3

// Turns pixels into sRGB bytes: through an embedded ICC profile when it is sound and fits the model; else grey and RGB
// are taken as sRGB, CMYK as ideal inks, Lab by its definition. Owns its lcms2 objects. One thread at a time.
class CColorTransform {
 public:
  // `profile` may be empty; an unusable one is ignored. Copies what it needs.
  CColorTransform(EColorModel model, std::span<const std::uint8_t> profile);
  CColorTransform(CColorTransform&&) noexcept;
  CColorTransform& operator=(CColorTransform&&) noexcept;
  ~CColorTransform();

  // Whether pixels are shown as stored (grey or RGB without a profile, or with an sRGB one).
  bool IsIdentity() const noexcept;
  // `pixels` are count * ModelComponents normalised values; `rgb` receives count * 3 bytes. NaN is 0.
  void Convert(const float* pixels, std::size_t count, std::uint8_t* rgb);

 private:
  struct SState;
  std::unique_ptr<SState> m_state;
};

}  // namespace imageformats
