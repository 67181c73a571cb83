#pragma once

#include <cstdint>
#include <vector>

#include "picture/qvpicbuf.h"
#include "system/qvclass.h"
#include "system/qvstring.h"

// A picture that lies in a file beside its main one.
struct SQvAssociatedImage {
  CQvStringW name;                      // "label" and "macro" of slides, else as the format calls it
  std::uint32_t width = 0, height = 0;  // pixels
};

// The pictures beside a file's main one, such as a slide's label and the image of its whole glass. A label may carry a
// patient's name: nothing of them is decoded, cached or shown but by these operations.
//
// IQvImageFile offers it: QvQuery<IQvAssociatedImages>(*file, "IQvAssociatedImages"). It belongs to the thread that the
// file belongs to, and stays usable after the file's release. Results as in iqvimageformatmanager.h.
class IQvAssociatedImages : public qv_abi::SOwnTable, public virtual IQvInterface {
 public:
  // Fills the list, without decoding; it is empty for files that hold none.
  virtual std::int32_t GetAssociatedImages(std::vector<SQvAssociatedImage>* images) = 0;
  // Renders all of the image of that name, to the letter, into an 8-bit, 3-component picture, whatever its size. Pixels
  // are undefined on failure.
  virtual std::int32_t RenderAssociatedImage(const CQvStringW& name, SQvPicBuf* picture) = 0;

 protected:
  ~IQvAssociatedImages() = default;
};
