#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "system/qvexport.h"

namespace qv_abi {
struct SEmptyBase {};
// A polymorphic base without operations. A class that names it first keeps a dispatch table of its own instead of
// continuing the table of its virtual base IQvInterface, so that slot n of an interface is its nth operation.
struct SOwnTable : virtual SEmptyBase {};
}  // namespace qv_abi

// The root of the component model, slot order as declared. Every component object and every object that a component
// hands out to be released through the registry is one. Always a virtual base, so that an object holds one.
// All four operations may be called from any thread that holds a reference.
class IQvInterface {
 public:
  // Adds a reference; returns the new count.
  virtual std::int32_t AddRef() = 0;
  // Drops a reference; returns the new count. At 0 the object is deleted when it is marked for deletion at zero.
  virtual std::int32_t Release() = 0;
  // The registration name of the object's class; a static text.
  virtual const char* GetClassName() const = 0;
  // The object's interface of that exact name with a reference added, or null with none added. The result is the
  // object's IQvInterface; cast it dynamically to the interface asked for.
  virtual IQvInterface* QueryInterface(const char* name) = 0;

 protected:
  IQvInterface() = default;
  IQvInterface(const IQvInterface&) = default;
  IQvInterface& operator=(const IQvInterface&) = default;
  ~IQvInterface() = default;
};

// Base of component classes: the reference count (starting at 1, the creator's reference) and the bookkeeping
// allocator.
class QV_SYSTEM_API CQvClass : public qv_abi::SOwnTable, public virtual IQvInterface {
 public:
  CQvClass() noexcept;
  CQvClass(const CQvClass&) = delete;
  CQvClass& operator=(const CQvClass&) = delete;
  virtual ~CQvClass();
  // Address of the most-derived object.
  virtual void* GetMostDerivedObject() = 0;

  // `file` and `line` name the place that asked for the object; QV_GetLiveClassObjects reports the balance.
  static void* operator new(std::size_t size, const char* file, unsigned int line);
  static void operator delete(void* memory, const char* file, unsigned int line) noexcept;
  static void operator delete(void* memory) noexcept;

 protected:
  std::int32_t IncrementRefCount() noexcept { return m_refCount.fetch_add(1, std::memory_order_relaxed) + 1; }
  std::int32_t DecrementRefCount() noexcept { return m_refCount.fetch_sub(1, std::memory_order_acq_rel) - 1; }
  bool IsDeletedAtZero() const noexcept { return m_deleteAtZero; }

  std::atomic<std::int32_t> m_refCount;
  bool m_deleteAtZero;
};

// Number of CQvClass objects allocated and not yet freed in this process. Any thread.
QV_SYSTEM_API std::int64_t QV_GetLiveClassObjects() noexcept;
