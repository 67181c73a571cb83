#include <atomic>
#include <new>

#include "system/qvclass.h"

namespace {
constinit std::atomic<std::int64_t> g_liveObjects{0};
}  // namespace

CQvClass::CQvClass() noexcept : m_refCount(1), m_deleteAtZero(true) {}

CQvClass::~CQvClass() = default;

void* CQvClass::operator new(std::size_t size, const char* /*file*/, unsigned int /*line*/) {
  void* memory = ::operator new(size);
  g_liveObjects.fetch_add(1, std::memory_order_relaxed);
  return memory;
}

void CQvClass::operator delete(void* memory, const char* /*file*/, unsigned int /*line*/) noexcept {
  CQvClass::operator delete(memory);
}

void CQvClass::operator delete(void* memory) noexcept {
  if (!memory) return;
  g_liveObjects.fetch_sub(1, std::memory_order_relaxed);
  ::operator delete(memory);
}

std::int64_t QV_GetLiveClassObjects() noexcept { return g_liveObjects.load(std::memory_order_relaxed); }
