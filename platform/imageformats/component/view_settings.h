#pragma once

#include "imageformats/iqvimageviewsettings.h"
#include "platform/imageformats/component/component_object.h"
#include "platform/imageformats/render/render_request.h"

namespace imageformats {

// The view of the process. Any thread.
SViewChoice CurrentView();

}  // namespace imageformats

// The component: what CurrentView is.
class CQvImageViewSettingsImpl final : public imageformats::CComponentObject<IQvImageViewSettings> {
 public:
  CQvImageViewSettingsImpl() noexcept : CComponentObject("CQvImageViewSettingsImpl", "IQvImageViewSettings") {}

  std::int32_t GetView(SQvImageView* view) override;
  std::int32_t SetView(const SQvImageView& view) override;
};
