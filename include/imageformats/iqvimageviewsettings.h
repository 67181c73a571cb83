#pragma once

#include <cstdint>

#include "system/qvclass.h"

// What the overviews of a process show of pictures that have several planes (IQvPictureSource::RenderPicture).

// Which z planes. A projection of a long stack takes 128 planes, evenly spread over it.
enum EQvPlaneChoice : std::uint32_t {
  kQvPlaneMiddle = 0,  // or what the file itself shows first
  kQvPlaneFirst = 1,
  kQvPlaneLast = 2,
  kQvPlaneGiven = 3,    // SQvImageView::z
  kQvPlaneMaximum = 4,  // the greatest of all planes in each pixel
  kQvPlaneMean = 5,
};

// The stage position that the file shows by itself.
inline constexpr std::uint32_t kQvOwnPosition = 0xFFFFFFFFu;

// A number beyond a picture's last shows its last; a picture that has no such dimension is shown as ever.
struct SQvImageView {
  std::uint32_t planes = kQvPlaneMiddle;    // EQvPlaneChoice
  std::uint32_t z = 0;                      // from 0
  std::uint32_t t = 0;                      // time point, from 0
  std::uint32_t position = kQvOwnPosition;  // stage position, from 0
  std::uint32_t channels = 0xFFFFFFFFu;  // mask of the channels shown, bit n is channel n; all: the file's own choice
  bool stretchTogether = false;          // one range of intensities for all channels
};

// Class "CQvImageViewSettingsImpl". Every object of it sets and gets the one view of the process. Any thread. A picture
// source keeps the view that was set when it was opened; those of thumbnails are opened when the thumbnail is made.
//
// What is rendered from another view is another picture, and a thumbnail's row in a cache database does not say from
// which it was made: set the view before the database is opened, and use a database of its own for each view.
class IQvImageViewSettings : public qv_abi::SOwnTable, public virtual IQvInterface {
 public:
  virtual std::int32_t GetView(SQvImageView* view) = 0;
  // -9 for a choice of planes that is none; the view stays as it was.
  virtual std::int32_t SetView(const SQvImageView& view) = 0;

 protected:
  ~IQvImageViewSettings() = default;
};
