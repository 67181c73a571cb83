#pragma once

#include <cstring>

#include "system/qvclass.h"

namespace imageformats {

// The component model's side of an object that is released through the registry: its count, its name and its interface,
// beside which it may offer others. Safe from any thread.
template <class Interface>
class CComponentObject : public Interface, public virtual CQvClass {
 public:
  // Both texts are static.
  CComponentObject(const char* className, const char* interfaceName) noexcept
      : m_className(className), m_interfaceName(interfaceName) {}

  std::int32_t AddRef() final { return IncrementRefCount(); }
  std::int32_t Release() final {
    const std::int32_t count = DecrementRefCount();
    if (count == 0 && IsDeletedAtZero()) delete this;
    return count;
  }
  const char* GetClassName() const final { return m_className; }
  IQvInterface* QueryInterface(const char* name) final {
    if (name == nullptr || (std::strcmp(name, m_interfaceName) != 0 && !OffersToo(name))) return nullptr;
    AddRef();
    return this;
  }
  void* GetMostDerivedObject() final { return dynamic_cast<void*>(this); }

 protected:
  ~CComponentObject() override = default;
  virtual bool OffersToo(const char* /*interfaceName*/) const noexcept { return false; }

 private:
  const char* m_className;
  const char* m_interfaceName;
};

}  // namespace imageformats
