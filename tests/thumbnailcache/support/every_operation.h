#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "metadata/qvexperiment.h"
#include "tests/thumbnailcache/support/service.h"

namespace qvtest {

// Calls the operations of the interface by their number in it, with arguments that give each something to do. One
// thread; several objects may share a service.
class CEveryOperation {
 public:
  static constexpr int kCount = 33;
  // These are for one thread, and end what the others need.
  static constexpr int kOpen = 16, kClose = 17;
  static const char* Name(int operation);

  // `files`: the thumbnails that it asks for. `caller` tells the objects of one service apart, from 1.
  CEveryOperation(IQvThumbnailCache& cache, std::vector<SQvThumbnailDescription> files, int caller);

  // Calls it, and answers as it did: its status, or 0 where it has none.
  std::int32_t Call(int operation);
  // Other arguments from here on. They are made here, so that a call allocates nothing itself, but for operation 18,
  // whose argument is a copy.
  void NextRound();

 private:
  const SQvThumbnailDescription& File() const { return m_files[m_round % m_files.size()]; }
  int Number() const { return m_caller * 100'000 + static_cast<int>(m_round); }

  std::int32_t CallForViewers(int operation);
  std::int32_t CallForSettings(int operation);
  std::int32_t CallForExperiments(int operation);
  std::int32_t CallForHistory(int operation);
  std::int32_t CallForItems(int operation);
  std::int32_t GetThumbnail();
  std::int32_t GetTexts();

  IQvThumbnailCache& m_cache;
  const std::vector<SQvThumbnailDescription> m_files;
  const int m_caller;
  const std::wstring m_user;
  std::uint64_t m_round = 0;
  std::wstring m_excluded, m_recorded, m_stored, m_renamed;
  int m_experimentID = 0;
  int m_storedID = 0;
  SQvExperiment m_experiment;
};

}  // namespace qvtest
