#include "platform/imageformats/component/view_settings.h"

#include <mutex>
#include <optional>

#include "system/qvstatus.h"

namespace imageformats {

namespace {

class CProcessView {
 public:
  SQvImageView Get() {
    const std::lock_guard lock(m_mutex);
    return m_view;
  }
  void Set(const SQvImageView& view) {
    const std::lock_guard lock(m_mutex);
    m_view = view;
  }

 private:
  std::mutex m_mutex;
  SQvImageView m_view;
};

CProcessView& ProcessView() {
  static CProcessView view;
  return view;
}

std::optional<EPlaneChoice> PlaneChoiceOf(std::uint32_t planes) noexcept {
  switch (planes) {
    case kQvPlaneMiddle:
      return EPlaneChoice::kMiddle;
    case kQvPlaneFirst:
      return EPlaneChoice::kFirst;
    case kQvPlaneLast:
      return EPlaneChoice::kLast;
    case kQvPlaneGiven:
      return EPlaneChoice::kGiven;
    case kQvPlaneMaximum:
      return EPlaneChoice::kMaximum;
    case kQvPlaneMean:
      return EPlaneChoice::kMean;
    default:
      return std::nullopt;
  }
}

}  // namespace

SViewChoice CurrentView() {
  const SQvImageView view = ProcessView().Get();
  return {PlaneChoiceOf(view.planes).value_or(EPlaneChoice::kMiddle),
          view.z,
          view.t,
          view.position,
          view.channels,
          view.stretchTogether};
}

}  // namespace imageformats

std::int32_t CQvImageViewSettingsImpl::GetView(SQvImageView* view) {
  if (view == nullptr) return kQvFailure;
  *view = imageformats::ProcessView().Get();
  return kQvOk;
}

std::int32_t CQvImageViewSettingsImpl::SetView(const SQvImageView& view) {
  if (!imageformats::PlaneChoiceOf(view.planes)) return kQvFailure;
  imageformats::ProcessView().Set(view);
  return kQvOk;
}
