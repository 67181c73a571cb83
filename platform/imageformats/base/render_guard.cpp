#include "platform/imageformats/base/render_guard.h"

#include <time.h>

#include <algorithm>
#include <limits>
#include <string>

#include "platform/imageformats/base/format_error.h"

namespace imageformats {

namespace {

constexpr char kTimeExceeded[] = "Reading the picture needs more processor time than its size allows: ";

constexpr std::uint64_t kBytesPerMillisecond = 5'000;

}  // namespace

SRenderLimits LimitsFor(std::uint64_t bytes, std::uint64_t unpackedBytes) noexcept {
  constexpr std::uint64_t kUnpackedPerMillisecond = 100'000;
  constexpr std::uint64_t kMost = 1ull << 40;  // bytes; the time stays representable
  constexpr std::uint64_t kMostUnpacked = 2'000'000'000;
  SRenderLimits limits;
  limits.time += std::chrono::milliseconds(std::min(bytes, kMost) / kBytesPerMillisecond);
  limits.time += std::chrono::milliseconds(std::min(unpackedBytes, kMostUnpacked) / kUnpackedPerMillisecond);
  return limits;
}

std::uint64_t PictureBytes(std::uint64_t width, std::uint64_t height, std::uint64_t components,
                           std::uint64_t bits) noexcept {
  return CRenderGuard::Multiply(CRenderGuard::Multiply(width, height), components * (bits / 8));
}

std::string TimeExceeded(std::chrono::milliseconds limit) {
  return kTimeExceeded + std::to_string(limit.count() / 1000) + " s";
}

bool IsTimeExceeded(std::string_view reason) noexcept { return reason.starts_with(kTimeExceeded); }

CRenderGuard::CRenderGuard(const SRenderLimits& limits) : CRenderGuard(limits, nullptr) {}

CRenderGuard::CRenderGuard(const SRenderLimits& limits, const std::atomic<bool>* stop)
    : m_limits(limits), m_stop(stop) {
  BeginOnThisThread();
}

void CRenderGuard::BeginOnThisThread() {
  m_start = std::chrono::steady_clock::now();
  m_earliest = m_start + m_limits.time;
  m_deadline = ThreadTime() + m_limits.time;
}

std::chrono::nanoseconds CRenderGuard::ThreadTime() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

std::chrono::nanoseconds CRenderGuard::Elapsed() const { return std::chrono::steady_clock::now() - m_start; }

void CRenderGuard::CheckPixels(std::uint64_t width, std::uint64_t height) const {
  if (width == 0 || height == 0) throw CDamagedError("The picture has no pixels");
  if (Multiply(width, height) > m_limits.pixels) {
    throw CDamagedError("The picture is too large: " + std::to_string(width) + " x " + std::to_string(height) +
                        " pixels");
  }
}

void CRenderGuard::CheckTime() const {
  if (m_stop != nullptr && *m_stop) throw CDamagedError("The picture is given up");
  const std::chrono::nanoseconds helped(m_helped);
  if (std::chrono::steady_clock::now() + helped < m_earliest || ThreadTime() + helped < m_deadline) return;
  throw CDamagedError(TimeExceeded(m_limits.time));
}

void CRenderGuard::AddSource(std::uint64_t bytes) {
  m_addedBytes += bytes;
  const std::chrono::milliseconds more(m_addedBytes / kBytesPerMillisecond);
  m_addedBytes %= kBytesPerMillisecond;
  m_limits.time += more;
  m_earliest += more;
  m_deadline += more;
}

void CRenderGuard::Reserve(std::uint64_t bytes) {
  if (bytes > Available()) {
    throw CDamagedError("Reading the picture needs more than " + std::to_string(m_limits.memory >> 20) + " MiB");
  }
  m_reserved += bytes;
}

void CRenderGuard::Release(std::uint64_t bytes) noexcept { m_reserved -= std::min(bytes, m_reserved); }

std::uint64_t CRenderGuard::Multiply(std::uint64_t a, std::uint64_t b) noexcept {
  constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();
  return a != 0 && b > kMax / a ? kMax : a * b;
}

}  // namespace imageformats
