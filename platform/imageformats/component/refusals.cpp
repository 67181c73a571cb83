#include "platform/imageformats/component/refusals.h"

#include <algorithm>
#include <deque>
#include <mutex>

namespace imageformats {

namespace {

constexpr std::size_t kMaxRefusals = 1024;

struct SRefusal {
  SFileRecord file;
  SViewChoice view;
  std::string reason;
};

struct SRefusals {
  std::mutex mutex;
  std::deque<SRefusal> list;  // guarded by mutex; the latest in front
};

// Never destroyed: a worker may outlive the library's statics.
SRefusals& Refusals() {
  static auto* const refusals = new SRefusals;
  return *refusals;
}

}  // namespace

std::optional<std::string> RefusalOf(const SFileRecord& file, const SViewChoice& view) {
  SRefusals& refusals = Refusals();
  const std::lock_guard lock(refusals.mutex);
  const auto found = std::find_if(refusals.list.begin(), refusals.list.end(), [&](const SRefusal& refusal) {
    return refusal.file == file && refusal.view == view;
  });
  if (found == refusals.list.end()) return std::nullopt;
  return found->reason;
}

void NoteRefusal(const SFileRecord& file, const SViewChoice& view, const std::string& reason) {
  SRefusals& refusals = Refusals();
  const std::lock_guard lock(refusals.mutex);
  refusals.list.push_front({file, view, reason});
  if (refusals.list.size() > kMaxRefusals) refusals.list.pop_back();
}

}  // namespace imageformats
