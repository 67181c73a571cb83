#include "platform/imageformats/render/color_transform.h"

#include <lcms2.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace imageformats {

namespace {

constexpr std::size_t kMaxProfileBytes = 16u << 20;  // no real profile comes near
constexpr std::size_t kPixelsPerBlock = 1024;        // pixels converted at a time

struct SContextDelete {
  void operator()(cmsContext context) const { cmsDeleteContext(context); }
};
struct SProfileClose {
  void operator()(void* profile) const { cmsCloseProfile(profile); }
};
struct STransformDelete {
  void operator()(void* transform) const { cmsDeleteTransform(transform); }
};
using CContextPtr = std::unique_ptr<_cmsContext_struct, SContextDelete>;
using CProfilePtr = std::unique_ptr<void, SProfileClose>;
using CTransformPtr = std::unique_ptr<void, STransformDelete>;

void IgnoreError(cmsContext, cmsUInt32Number, const char*) {}

struct SLibraryFormat {
  cmsColorSpaceSignature space;
  cmsUInt32Number format;
};

SLibraryFormat FormatOf(EColorModel model) {
  switch (model) {
    case EColorModel::kGrey:
      return {cmsSigGrayData, TYPE_GRAY_16};
    case EColorModel::kRgb:
      return {cmsSigRgbData, TYPE_RGB_16};
    case EColorModel::kCmyk:
      return {cmsSigCmykData, TYPE_CMYK_16};
    case EColorModel::kLab:
      break;
  }
  return {cmsSigLabData, TYPE_Lab_FLT};
}

CProfilePtr SourceProfile(cmsContext context, EColorModel model, std::span<const std::uint8_t> bytes) {
  if (!bytes.empty() && bytes.size() <= kMaxProfileBytes) {
    CProfilePtr profile(cmsOpenProfileFromMemTHR(context, bytes.data(), static_cast<cmsUInt32Number>(bytes.size())));
    if (profile && cmsGetColorSpace(profile.get()) == FormatOf(model).space) return profile;
  }
  return CProfilePtr(model == EColorModel::kLab ? cmsCreateLab4ProfileTHR(context, nullptr) : nullptr);
}

std::uint8_t ToByte(float value) {
  return value > 0.0f ? static_cast<std::uint8_t>(std::min(value, 1.0f) * 255.0f + 0.5f) : std::uint8_t{0};
}

std::uint16_t ToWord(float value) {
  return value > 0.0f ? static_cast<std::uint16_t>(std::min(value, 1.0f) * 65535.0f + 0.5f) : std::uint16_t{0};
}

// Without a profile: grey and RGB as stored, CMYK as inks that each swallow their complement.
void ConvertWithoutProfile(EColorModel model, const float* pixels, std::size_t count, std::uint8_t* rgb) {
  for (std::size_t i = 0; i < count; ++i, rgb += 3) {
    if (model == EColorModel::kGrey) {
      rgb[0] = rgb[1] = rgb[2] = ToByte(pixels[i]);
      continue;
    }
    const float* p = pixels + i * ModelComponents(model);
    const float light = model == EColorModel::kCmyk ? 1.0f - std::clamp(p[3], 0.0f, 1.0f) : 1.0f;
    for (std::size_t k = 0; k < 3; ++k) rgb[k] = ToByte(model == EColorModel::kCmyk ? (1.0f - p[k]) * light : p[k]);
  }
}

}  // namespace

std::uint32_t ModelComponents(EColorModel model) noexcept {
  return model == EColorModel::kGrey ? 1 : model == EColorModel::kCmyk ? 4 : 3;
}

struct CColorTransform::SState {
  EColorModel model = EColorModel::kRgb;
  CContextPtr context;
  CTransformPtr transform;
  bool identity = false;

  void Open(std::span<const std::uint8_t> profile);
  void ConvertBlock(const float* pixels, std::size_t count, std::uint8_t* rgb) const;
  bool IsNearIdentity() const;
};

void CColorTransform::SState::Open(std::span<const std::uint8_t> profile) {
  identity = model == EColorModel::kGrey || model == EColorModel::kRgb;
  if (profile.empty() && model != EColorModel::kLab) return;
  context.reset(cmsCreateContext(nullptr, nullptr));
  if (!context) return;
  cmsSetLogErrorHandlerTHR(context.get(), IgnoreError);
  const CProfilePtr source = SourceProfile(context.get(), model, profile);
  const CProfilePtr screen(cmsCreate_sRGBProfileTHR(context.get()));
  if (!source || !screen) return;
  transform.reset(cmsCreateTransformTHR(context.get(), source.get(), FormatOf(model).format, screen.get(), TYPE_RGB_8,
                                        INTENT_PERCEPTUAL, cmsFLAGS_NOCACHE));
  if (transform && identity) identity = IsNearIdentity();
  if (identity) transform.reset();
}

// sRGB profiles come in many wordings; what they do to a few colours tells.
bool CColorTransform::SState::IsNearIdentity() const {
  constexpr int kTolerance = 2;
  constexpr float kLevels[] = {0.0f, 0.05f, 0.2f, 0.5f, 0.8f, 1.0f};
  const std::size_t components = ModelComponents(model);
  std::vector<float> probes;
  for (const float level : kLevels) {
    for (std::size_t lit = 0; lit <= components; ++lit) {
      for (std::size_t k = 0; k < components; ++k) probes.push_back(lit == components || lit == k ? level : 0.2f);
    }
  }
  const std::size_t count = probes.size() / components;
  std::vector<std::uint8_t> plain(count * 3), managed(count * 3);
  ConvertWithoutProfile(model, probes.data(), count, plain.data());
  ConvertBlock(probes.data(), count, managed.data());
  return std::equal(plain.begin(), plain.end(), managed.begin(),
                    [](int a, int b) { return std::abs(a - b) <= kTolerance; });
}

void CColorTransform::SState::ConvertBlock(const float* pixels, std::size_t count, std::uint8_t* rgb) const {
  const std::size_t samples = count * ModelComponents(model);
  if (model == EColorModel::kLab) {
    std::vector<float> finite(pixels, pixels + samples);
    for (float& v : finite) v = std::isfinite(v) ? v : 0.0f;
    return cmsDoTransform(transform.get(), finite.data(), rgb, static_cast<cmsUInt32Number>(count));
  }
  std::vector<std::uint16_t> words(samples);
  std::transform(pixels, pixels + samples, words.begin(), ToWord);
  cmsDoTransform(transform.get(), words.data(), rgb, static_cast<cmsUInt32Number>(count));
}

CColorTransform::CColorTransform(EColorModel model, std::span<const std::uint8_t> profile)
    : m_state(std::make_unique<SState>()) {
  m_state->model = model;
  m_state->Open(profile);
}

CColorTransform::CColorTransform(CColorTransform&&) noexcept = default;
CColorTransform& CColorTransform::operator=(CColorTransform&&) noexcept = default;
CColorTransform::~CColorTransform() = default;

bool CColorTransform::IsIdentity() const noexcept { return m_state->identity; }

void CColorTransform::Convert(const float* pixels, std::size_t count, std::uint8_t* rgb) {
  if (!m_state->transform) return ConvertWithoutProfile(m_state->model, pixels, count, rgb);
  const std::size_t components = ModelComponents(m_state->model);
  for (std::size_t done = 0; done < count; done += kPixelsPerBlock) {
    m_state->ConvertBlock(pixels + done * components, std::min(kPixelsPerBlock, count - done), rgb + done * 3);
  }
}

}  // namespace imageformats
