#pragma once

#include <type_traits>
#include <utility>

#include "system/qvclass.h"
#include "system/qvrtti.h"

// Owns one reference on an object of the platform and gives it back as the object's class says: through the registry
// for component objects (whatever derives from IQvInterface), else with Release or Destroy. Movable, not copied; one
// thread at a time.
template <class T>
class CQvRef {
 public:
  CQvRef() noexcept = default;
  // Takes over a reference that the caller owns; null is allowed.
  explicit CQvRef(T* object) noexcept : m_object(object) {}
  CQvRef(CQvRef&& other) noexcept : m_object(other.Detach()) {}
  CQvRef& operator=(CQvRef&& other) {
    if (this != &other) Reset(other.Detach());
    return *this;
  }
  CQvRef(const CQvRef&) = delete;
  CQvRef& operator=(const CQvRef&) = delete;
  ~CQvRef() { Reset(); }

  // Gives the reference back, then takes over `object`.
  void Reset(T* object = nullptr) {
    if (T* old = std::exchange(m_object, object)) GiveBack(old);
  }
  // For operations that hand an object out: gives the reference back and tells where to put the new one.
  T** Out() {
    Reset();
    return &m_object;
  }
  // The reference becomes the caller's.
  [[nodiscard]] T* Detach() noexcept { return std::exchange(m_object, nullptr); }

  T* Get() const noexcept { return m_object; }
  T* operator->() const noexcept { return m_object; }
  T& operator*() const noexcept { return *m_object; }
  explicit operator bool() const noexcept { return m_object != nullptr; }

 private:
  static void GiveBack(T* object) {
    if constexpr (std::is_base_of_v<IQvInterface, T>) {
      CQvRTTI::Release(object);
    } else if constexpr (requires { object->Release(); }) {
      object->Release();
    } else {
      object->Destroy();
    }
  }

  T* m_object = nullptr;
};

// Another interface of an object, with a reference of its own; empty when the object does not offer it.
template <class Interface>
CQvRef<Interface> QvQuery(IQvInterface& object, const char* interfaceName) {
  CQvRef<IQvInterface> found(object.QueryInterface(interfaceName));
  CQvRef<Interface> result(dynamic_cast<Interface*>(found.Get()));
  if (result) (void)found.Detach();
  return result;
}

// The interface of a registered class: a new object, or the shared one of a singleton class. Empty when the registry
// has none. See CQvRTTI::CreateAndQuery.
template <class Interface>
CQvRef<Interface> QvCreate(const char* className, const char* interfaceName, const SQvFileLine& where) {
  CQvRef<IQvInterface> object(CQvRTTI::CreateAndQuery(className, interfaceName, where));
  CQvRef<Interface> result(dynamic_cast<Interface*>(object.Get()));
  if (result) (void)object.Detach();
  return result;
}
