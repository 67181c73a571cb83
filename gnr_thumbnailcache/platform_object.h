#pragma once

#include "imageformats/iqvimageformatmanager.h"
#include "system/qvrtti.h"

// How an object of the platform is given back.
struct SReleaseByRegistry {
  template <class T>
  void operator()(T* object) const {
    CQvRTTI::Release(object);
  }
};
struct SReleaseByObject {
  template <class T>
  void operator()(T* object) const {
    object->Release();
  }
};
struct SDestroy {
  template <class T>
  void operator()(T* object) const {
    object->Destroy();
  }
};

// Owns one reference on an object of the platform.
template <class T, class GiveBack>
class CPlatformObject {
 public:
  CPlatformObject() noexcept = default;
  explicit CPlatformObject(T* object) noexcept : m_object(object) {}
  CPlatformObject(const CPlatformObject&) = delete;
  CPlatformObject& operator=(const CPlatformObject&) = delete;
  ~CPlatformObject() { Reset(); }

  void Reset() {
    if (m_object) GiveBack()(m_object);
    m_object = nullptr;
  }
  // For operations that hand an object out.
  T** Out() {
    Reset();
    return &m_object;
  }
  T* Get() const noexcept { return m_object; }
  T* operator->() const noexcept { return m_object; }
  explicit operator bool() const noexcept { return m_object != nullptr; }

 private:
  T* m_object = nullptr;
};

using CCodecRef = CPlatformObject<IQvImageCodec, SReleaseByRegistry>;
using CImageFileRef = CPlatformObject<IQvImageFile, SReleaseByRegistry>;
using CPictureSourceRef = CPlatformObject<IQvPictureSource, SReleaseByObject>;
using COutputFileRef = CPlatformObject<IQvOutputImageFile, SReleaseByObject>;
using CMetadataReaderRef = CPlatformObject<IQvMetadataReader, SDestroy>;

// An image-format manager of the calling thread's own; empty when the registry has none.
class CFormatManagerRef {
 public:
  CFormatManagerRef()
      : m_interface(
            CQvRTTI::CreateAndQuery("CQvImageFormatManagerImpl", "IQvImageFormatManager", SQvFileLine("no file", -1))),
        m_manager(dynamic_cast<IQvImageFormatManager*>(m_interface.Get())) {}

  IQvImageFormatManager* Get() const noexcept { return m_manager; }

 private:
  CPlatformObject<IQvInterface, SReleaseByRegistry> m_interface;
  IQvImageFormatManager* m_manager;
};
