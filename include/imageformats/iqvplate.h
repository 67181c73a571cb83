#pragma once

#include <cstdint>
#include <vector>

#include "picture/qvpicbuf.h"
#include "system/qvclass.h"
#include "system/qvstring.h"

// A well of a plate that was imaged.
struct SQvPlateWell {
  std::uint32_t row = 0, column = 0;  // from 0
  std::uint32_t fields = 1;           // pictures of the well
  // The plain name of the file that holds the first of them, beside the opened one; of a picture that is a folder, the
  // way below it. Empty: the opened one. It need not be there.
  CQvStringW location;
  // That location's own thumbnail shows another picture; only RenderWell shows this well.
  bool isHidden = false;
  std::uint32_t width = 0, height = 0;  // pixels of the first picture
};

// The plate that a file belongs to.
struct SQvPlate {
  CQvStringW name;
  std::uint32_t rows = 0, columns = 0;  // 0: the file does not say
  std::vector<SQvPlateWell> wells;      // those with pictures, in the file's order
};

// The plates of screens, whose wells lie in one file or in a file each.
//
// IQvImageFile offers it: QvQuery<IQvPlate>(*file, "IQvPlate"). It belongs to the thread that the file belongs to, and
// stays usable after the file's release. Results as in iqvimageformatmanager.h.
class IQvPlate : public qv_abi::SOwnTable, public virtual IQvInterface {
 public:
  // -9 when the file belongs to no plate.
  virtual std::int32_t GetPlate(SQvPlate* plate) = 0;
  // Renders the overview of a well's first picture, by the well's number in the list, into an 8-bit, 3-component
  // picture. Pixels are undefined on failure.
  virtual std::int32_t RenderWell(std::uint32_t well, SQvPicBuf* picture) = 0;

 protected:
  ~IQvPlate() = default;
};
