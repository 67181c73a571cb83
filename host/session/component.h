#pragma once

#include <memory>

#include "imageformats/iqvimageformatmanager.h"
#include "system/qvrtti.h"

namespace qvhost {

// Owners of what the platform hands out. Each gives its object back as the object's class says.
struct SRegistryRelease {
  void operator()(IQvInterface* object) const noexcept { CQvRTTI::Release(object); }
};
template <class T>
using CComponentPtr = std::unique_ptr<T, SRegistryRelease>;

struct SOwnRelease {
  template <class T>
  void operator()(T* object) const noexcept {
    object->Release();
  }
};
using CPictureSourcePtr = std::unique_ptr<IQvPictureSource, SOwnRelease>;
using COutputImageFilePtr = std::unique_ptr<IQvOutputImageFile, SOwnRelease>;

struct SReaderDestroy {
  void operator()(IQvMetadataReader* reader) const noexcept { reader->Destroy(); }
};
using CMetadataReaderPtr = std::unique_ptr<IQvMetadataReader, SReaderDestroy>;

// The interface of a new object of a registered class; null when the registry has none.
template <class T>
CComponentPtr<T> CreateComponent(const char* className, const char* interfaceName, const SQvFileLine& where) {
  CComponentPtr<IQvInterface> base(CQvRTTI::CreateAndQuery(className, interfaceName, where));
  T* object = dynamic_cast<T*>(base.get());
  if (!object) return nullptr;
  (void)base.release();
  return CComponentPtr<T>(object);
}

// A new image-format manager, for the calling thread; null when the component is missing.
inline CComponentPtr<IQvImageFormatManager> CreateImageFormatManager() {
  return CreateComponent<IQvImageFormatManager>("CQvImageFormatManagerImpl", "IQvImageFormatManager",
                                                SQvFileLine(__FILE__, __LINE__));
}

}  // namespace qvhost
