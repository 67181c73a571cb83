#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace imageformats {

#if defined(__SANITIZE_THREAD__) || defined(QV_THREAD_SANITIZER)
// Instrumented code takes many times as long.
inline constexpr std::chrono::seconds kLeastTime(20);
#else
inline constexpr std::chrono::seconds kLeastTime(5);
#endif

struct SRenderLimits {
  std::uint64_t memory = 256ull << 20;          // bytes that one rendering may hold at once
  std::uint64_t pixels = 16ull << 30;           // pixels of a picture that is decoded in full
  std::chrono::milliseconds time = kLeastTime;  // the processor's: a busy machine refuses nothing
};

// The limits for a picture whose files have so many bytes: a second more for every 5 MB; and one for every 100 MB that
// it takes unpacked, as its header claims, up to 2 GB: blank pictures of a gigapixel are hardly larger than their
// header.
SRenderLimits LimitsFor(std::uint64_t bytes, std::uint64_t unpackedBytes = 0) noexcept;

// What a picture takes unpacked; saturated.
std::uint64_t PictureBytes(std::uint64_t width, std::uint64_t height, std::uint64_t components,
                           std::uint64_t bits) noexcept;

// Why an operation was given up that may take so long; and whether that was the reason.
std::string TimeExceeded(std::chrono::milliseconds limit);
bool IsTimeExceeded(std::string_view reason) noexcept;

// Keeps one operation within its limits. Codec code reserves memory before it allocates it and asks for the time
// once a band. Used by one thread, but for AddHelp. All refusals throw CDamagedError with a text for people.
class CRenderGuard {
 public:
  explicit CRenderGuard(const SRenderLimits& limits = {});
  // One for a thread that helps the owner of another guard (CWorkAhead). What it guards ends when `stop` is set.
  CRenderGuard(const SRenderLimits& limits, const std::atomic<bool>* stop);
  CRenderGuard(const CRenderGuard&) = delete;
  CRenderGuard& operator=(const CRenderGuard&) = delete;

  // Throws when the pixels of such a picture are over the limit, or when a side is 0.
  void CheckPixels(std::uint64_t width, std::uint64_t height) const;
  // Throws when the calling thread and its helpers have worked for longer since the guard was made. A clock read: once
  // per band or some rows, not per pixel. Two: the processor's is a call of the system's, and not read before so much
  // time has passed.
  void CheckTime() const;

  // Adds what another thread has worked for this. Any thread.
  void AddHelp(std::chrono::nanoseconds time) noexcept { m_helped += time.count(); }
  // Counts the time of the calling thread from now on, and no longer that of the one before.
  void BeginOnThisThread();
  bool IsHelpers() const noexcept { return m_stop != nullptr; }
  const SRenderLimits& Limits() const noexcept { return m_limits; }
  // Since the guard was made, by the clock on the wall.
  std::chrono::nanoseconds Elapsed() const;
  // Of the processor, for the calling thread since it began.
  static std::chrono::nanoseconds ThreadTime();

  // Extends the time for so many bytes of files that the limits did not count.
  void AddSource(std::uint64_t bytes);

  // Reserves memory about to be allocated; throws when it would be too much.
  void Reserve(std::uint64_t bytes);
  void Release(std::uint64_t bytes) noexcept;
  std::uint64_t Available() const noexcept { return m_limits.memory - m_reserved; }

  // A zeroed vector whose memory is reserved; it counts until the guard's end.
  template <class T>
  std::vector<T> NewVector(std::uint64_t count) {
    Reserve(Multiply(count, sizeof(T)));
    return std::vector<T>(static_cast<std::size_t>(count));
  }

  // The product, saturated, so that a later Reserve refuses it.
  static std::uint64_t Multiply(std::uint64_t a, std::uint64_t b) noexcept;

 private:
  SRenderLimits m_limits;
  const std::atomic<bool>* m_stop = nullptr;
  std::chrono::steady_clock::time_point m_start, m_earliest;
  std::chrono::nanoseconds m_deadline;
  std::atomic<std::int64_t> m_helped = 0;  // nanoseconds
  std::uint64_t m_reserved = 0;
  std::uint64_t m_addedBytes = 0;  // that have not made a millisecond yet
};

}  // namespace imageformats
