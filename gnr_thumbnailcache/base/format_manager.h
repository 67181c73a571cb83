#pragma once

#include "imageformats/iqvimageformatmanager.h"
#include "system/qvref.h"

// An image-format manager of the calling thread's own; empty when the registry has none.
inline CQvRef<IQvImageFormatManager> CreateFormatManager() {
  return QvCreate<IQvImageFormatManager>("CQvImageFormatManagerImpl", "IQvImageFormatManager",
                                         SQvFileLine("no file", -1));
}
