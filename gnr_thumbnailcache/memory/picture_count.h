#pragma once

#include <atomic>
#include <cstdint>

// How many entries hold pixels, counting those to which a thread at work is about to give some: threads that make
// pictures at the same time then see each other's when they evict. A work adds and takes back what it does to its copy,
// with no lock held; when it is published, the difference to what really became of the entry is added. Signed, because
// two works that drop the picture of one entry take it below its final value until then.
class CPictureCount {
 public:
  void Add(std::int32_t change) noexcept { m_count += change; }
  std::int64_t Get() const noexcept { return m_count; }

 private:
  std::atomic<std::int64_t> m_count{0};
};
