#include "tests/imageformats/support/opened.h"

#include <algorithm>
#include <numbers>
#include <random>

#include "platform/imageformats/base/new_picture.h"
#include "platform/imageformats/component/codec_registry.h"

using namespace imageformats;

namespace {

STestPicture Empty(std::uint32_t width, std::uint32_t height, std::uint32_t components, std::uint32_t bits) {
  return {width, height, components, bits, std::vector<std::uint16_t>(std::size_t{width} * height * components)};
}

STestPicture FromBuffer(const SQvPicBuf& buffer) {
  STestPicture picture = Empty(buffer.width, buffer.height, buffer.components, buffer.bpc);
  const std::size_t rowSamples = std::size_t{buffer.width} * buffer.components;
  for (std::uint32_t y = 0; y < buffer.height; ++y) {
    const auto* row = static_cast<const std::uint8_t*>(buffer.data) + std::size_t{y} * buffer.widthBytes;
    for (std::size_t i = 0; i < rowSamples; ++i) {
      picture.samples[y * rowSamples + i] = buffer.bpc == 8 ? row[i] : reinterpret_cast<const std::uint16_t*>(row)[i];
    }
  }
  return picture;
}

double Overlap(double a, double b, double c, double d) { return std::max(0.0, std::min(b, d) - std::max(a, c)); }

}  // namespace

STestPicture SmoothPicture(std::uint32_t width, std::uint32_t height, std::uint32_t components, std::uint32_t bits) {
  STestPicture picture = Empty(width, height, components, bits);
  const double most = std::exp2(bits) - 1;
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      const double u = (x + 0.5) / width, v = (y + 0.5) / height;
      const bool inDisc = (u - 0.3) * (u - 0.3) + (v - 0.6) * (v - 0.6) < 0.02;
      for (std::uint32_t c = 0; c < components; ++c) {
        const double wave = std::sin(2 * std::numbers::pi * ((c + 1) * u + (3 - c) * v));
        const double value = inDisc ? 0.9 : 0.45 + 0.3 * wave;
        picture.At(x, y, c) = static_cast<std::uint16_t>(std::lround(value * most));
      }
    }
  }
  return picture;
}

STestPicture NoisePicture(std::uint32_t width, std::uint32_t height, std::uint32_t components, std::uint32_t bits,
                          unsigned seed) {
  STestPicture picture = Empty(width, height, components, bits);
  std::mt19937 random(seed);
  for (std::uint16_t& sample : picture.samples) sample = static_cast<std::uint16_t>(random() & ((1u << bits) - 1));
  return picture;
}

STestPicture AreaAverage(const STestPicture& source, std::uint32_t width, std::uint32_t height) {
  STestPicture result = Empty(width, height, source.components, source.bits);
  const double stepX = static_cast<double>(source.width) / width, stepY = static_cast<double>(source.height) / height;
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      for (std::uint32_t c = 0; c < source.components; ++c) {
        double sum = 0.0;
        for (auto j = static_cast<std::uint32_t>(y * stepY); j < source.height && j < (y + 1) * stepY; ++j) {
          const double high = Overlap(j, j + 1.0, y * stepY, (y + 1) * stepY);
          for (auto i = static_cast<std::uint32_t>(x * stepX); i < source.width && i < (x + 1) * stepX; ++i) {
            sum += high * Overlap(i, i + 1.0, x * stepX, (x + 1) * stepX) * source.At(i, j, c);
          }
        }
        result.At(x, y, c) = static_cast<std::uint16_t>(std::lround(sum / (stepX * stepY)));
      }
    }
  }
  return result;
}

double Psnr(const STestPicture& a, const STestPicture& b) {
  if (a.samples.size() != b.samples.size()) return 0.0;
  double sum = 0.0;
  for (std::size_t i = 0; i < a.samples.size(); ++i) {
    const double difference = static_cast<double>(a.samples[i]) - b.samples[i];
    sum += difference * difference;
  }
  return 10.0 * std::log10(255.0 * 255.0 / (sum / static_cast<double>(a.samples.size()) + 1e-9));
}

int LargestDifference(const STestPicture& a, const STestPicture& b) {
  if (a.samples.size() != b.samples.size()) return 65536;
  int largest = 0;
  for (std::size_t i = 0; i < a.samples.size(); ++i) {
    largest = std::max(largest, std::abs(static_cast<int>(a.samples[i]) - b.samples[i]));
  }
  return largest;
}

namespace {

std::unique_ptr<COpenedImage> Open(std::shared_ptr<const CInput> input) {
  const CCodecModule* codec = FindCodecFor(*input);
  if (codec == nullptr) throw CDamagedError("no codec");
  return codec->Open(std::move(input));
}

class CBytesImage final : public COpenedImage {
 public:
  explicit CBytesImage(SFileBytes bytes)
      : m_bytes(std::move(bytes)), m_image(Open(CInput::FromMemory(m_bytes.data(), m_bytes.size()))) {}

  const SQvImageInfo& Info() const override { return m_image->Info(); }
  void Read(SQvPicBuf& picture, CRenderGuard& guard) override { m_image->Read(picture, guard); }
  void Render(const SRenderRequest& request, SQvPicBuf& picture, CRenderGuard& guard) override {
    m_image->Render(request, picture, guard);
  }
  bool CustomTag(const CQvStringW& name, CQvByteArray& bytes) override { return m_image->CustomTag(name, bytes); }
  SImageMetadata Metadata() override { return m_image->Metadata(); }

 private:
  SFileBytes m_bytes;
  std::unique_ptr<COpenedImage> m_image;
};

}  // namespace

std::unique_ptr<COpenedImage> OpenBytes(SFileBytes bytes) { return std::make_unique<CBytesImage>(std::move(bytes)); }

std::unique_ptr<COpenedImage> OpenPath(const CQvStringW& path) { return Open(CInput::FromFile(path)); }

STestPicture ReadAll(COpenedImage& image) {
  const SQvImageInfo& info = image.Info();
  CQvPicture buffer = NewPicture(info.width, info.height, info.bpcInMemory, info.components);
  CRenderGuard guard;
  image.Read(*buffer.Get(), guard);
  return FromBuffer(*buffer.Get());
}

STestPicture Render(COpenedImage& image, std::uint32_t width, std::uint32_t height, bool fast) {
  CQvPicture buffer = NewPicture(width, height, 8, 3);
  CRenderGuard guard;
  image.Render({width, height, fast, kAllChannels}, *buffer.Get(), guard);
  return FromBuffer(*buffer.Get());
}
