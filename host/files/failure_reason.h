#pragma once

#include <cstdint>
#include <string>

#include "imageformats/iqvimageformatmanager.h"
#include "system/qvref.h"

namespace qvhost {

// Finds out why no thumbnail could be made of an image: the service tells only that it failed, so the file is opened
// and rendered once more with an image-format manager of the host's own, which has words for what is wrong. One thread.
class CFailureReason {
 public:
  // `path` as the service was given it. Never empty.
  std::string OfFile(const CQvStringW& path);
  // Whether that was that nothing here reads such a file or such pixels; else the file is at fault.
  bool IsUnsupported() const noexcept { return m_isUnsupported; }
  // The same for a source that could be opened.
  static std::string OfSource(IQvPictureSource& source, bool* isUnsupported = nullptr);
  // The text of the manager or source that failed, or `otherwise`.
  static std::string OrElse(const CQvStringW& text, const char* otherwise);

 private:
  std::string OfCodec(IQvImageCodec& codec, const CQvStringW& path);

  CQvRef<IQvImageFormatManager> m_manager;
  bool m_isUnsupported = false;
};

}  // namespace qvhost
