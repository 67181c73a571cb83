#include "platform/imageformats/component/metadata_reader.h"

#include <utility>

#include "platform/imageformats/base/error_text.h"

namespace imageformats {

namespace {

void FillLevel(SQvExperiment& level, const SLoop& loop) {
  level.loopType = loop.type;
  level.loopSize = loop.size;
  level.step = loop.step;
  level.positions = loop.positions;
  level.channels = loop.channels;
}

// Deeper levels are built first, so that a lack of memory half-way leaves the caller's level as it was.
void FillChain(SQvExperiment& top, const std::vector<SLoop>& loops) {
  std::unique_ptr<SQvExperiment, void (*)(SQvExperiment*)> below(nullptr, SQvExperiment::FreeRecursive);
  for (std::size_t i = loops.size(); i-- > 1;) {
    SQvExperiment* level = nullptr;
    SQvExperiment::Alloc(&level);
    if (level == nullptr) throw std::bad_alloc();
    std::unique_ptr<SQvExperiment, void (*)(SQvExperiment*)> owned(level, SQvExperiment::FreeRecursive);
    FillLevel(*level, loops[i]);
    if (below) {
      level->subExperiments.reserve(1);
      level->subExperiments.push_back(below.release());
    }
    below = std::move(owned);
  }
  SLoop first = loops.front();
  top.subExperiments.reserve(top.subExperiments.size() + 1);
  FillLevel(top, first);
  if (below) top.subExperiments.push_back(below.release());
}

class CMetadataReader final : public IQvMetadataReader {
 public:
  explicit CMetadataReader(SImageMetadata metadata) : m_metadata(std::move(metadata)) {}
  ~CMetadataReader() = default;

  void Destroy() override { delete this; }

  std::int32_t GetPictureMetadata(std::uint32_t index, SQvPictureMetadata* metadata, std::uint32_t reserved) override {
    return Answer([&] {
      if (metadata == nullptr || reserved != 0 || !IsInSequence(index)) return false;
      SQvPictureMetadata copy = m_metadata.picture;
      if (copy.calibration == 0.0) copy.calibration = m_metadata.calibration;
      if (copy.objectiveName.IsEmpty()) copy.objectiveName = m_metadata.objective;
      if (copy.acquisitionTime == 0.0 && index == 0) copy.acquisitionTime = m_metadata.acquisitionTime;
      *metadata = std::move(copy);
      return true;
    });
  }

  std::int32_t GetExperiment(SQvExperiment* experiment, std::uint32_t reserved) override {
    return Answer([&] {
      if (experiment == nullptr || reserved != 0 || m_metadata.loops.empty()) return false;
      FillChain(*experiment, m_metadata.loops);
      return true;
    });
  }

  std::int32_t GetImageInfo(SQvImageInfo* info) override {
    return Answer([&] {
      if (info == nullptr) return false;
      *info = m_metadata.info;
      return true;
    });
  }

  std::int32_t GetCalibration(std::uint32_t index, double* calibration, double* aspect,
                              CQvStringW* objective) override {
    return Answer([&] {
      if (!IsInSequence(index)) return false;
      if (objective != nullptr) *objective = m_metadata.objective;
      if (calibration == nullptr || !(m_metadata.calibration > 0.0)) return false;
      *calibration = m_metadata.calibration;
      if (aspect != nullptr) *aspect = m_metadata.aspect;
      return true;
    });
  }

  std::int32_t GetAcquisitionTime(double* acquisitionTime) override {
    return Answer([&] {
      if (acquisitionTime == nullptr || !(m_metadata.acquisitionTime > 0.0)) return false;
      *acquisitionTime = m_metadata.acquisitionTime;
      return true;
    });
  }

  std::int32_t GetTextInfo(SQvImageTextInfo* textInfo) override {
    return Answer([&] {
      if (textInfo == nullptr) return false;
      *textInfo = m_metadata.text;
      return true;
    });
  }

 private:
  template <class Body>
  std::int32_t Answer(Body&& body) {
    return RunAnswering(m_error, "The file does not say", std::forward<Body>(body));
  }
  bool IsInSequence(std::uint32_t index) const noexcept { return index < std::max(m_metadata.info.sequenceCount, 1u); }

  SImageMetadata m_metadata;
  CErrorText m_error;
};

}  // namespace

IQvMetadataReader* NewMetadataReader(SImageMetadata metadata) { return new CMetadataReader(std::move(metadata)); }

}  // namespace imageformats
