#pragma once

#include "imageformats/iqvimageformatmanager.h"
#include "system/qvref.h"

namespace qvhost {

// A new image-format manager, for the calling thread; empty when the component is missing.
inline CQvRef<IQvImageFormatManager> CreateImageFormatManager() {
  return QvCreate<IQvImageFormatManager>("CQvImageFormatManagerImpl", "IQvImageFormatManager",
                                         SQvFileLine(__FILE__, __LINE__));
}

}  // namespace qvhost
