#include "tests/thumbnailcache/support/every_operation.h"

#include <array>
#include <utility>

namespace qvtest {
namespace {

constexpr std::array<const char*, CEveryOperation::kCount> kNames = {
    "GetCachedThumbnail",    "ReleaseThumbnail",  "NotImplemented",      "CancelAllRequests",
    "CancelRequests",        "RequestThumbnails", "ExcludeLocation",     "IncludeLocation",
    "PurgeUnusedThumbnails", "DoNothing",         "SetHighQuality",      "GetHighQuality",
    "SetThumbnailBox",       "GetThumbnailBox",   "GetCacheLimit",       "SetCacheLimit",
    "OpenDatabase",          "CloseDatabase",     "IgnoreLocation",      "GetFileTextInfo",
    "WriteExperiment",       "ReadExperiment",    "ReadHistory",         "GetExperimentIDsByStoredID",
    "DeleteHistory",         "WriteHistory",      "GetHistoryFilenames", "UpdateStoredItem",
    "InsertStoredItem",      "GetStoredChildren", "DeleteStoredItem",    "AddListener",
    "RemoveListener"};

void Ignore(void*, const wchar_t*) {}

}  // namespace

const char* CEveryOperation::Name(int operation) { return kNames.at(static_cast<std::size_t>(operation)); }

CEveryOperation::CEveryOperation(IQvThumbnailCache& cache, std::vector<SQvThumbnailDescription> files, int caller)
    : m_cache(cache), m_files(std::move(files)), m_caller(caller), m_user(L"user " + std::to_wstring(caller)) {
  m_experiment.loopType = kQvLoopTime;
  NextRound();
}

void CEveryOperation::NextRound() {
  ++m_round;
  const std::wstring number = std::to_wstring(Number());
  m_excluded = L"/a folder of excluded files/" + number;
  m_recorded = L"/a folder of recorded files/" + number;
  m_stored = L"/a folder of stored items/" + number;
  m_renamed = L"/a folder of renamed items/" + number;
}

std::int32_t CEveryOperation::Call(int operation) {
  if (operation <= 8) return CallForViewers(operation);
  if (operation <= 19) return CallForSettings(operation);
  if (operation <= 23 && operation != 22) return CallForExperiments(operation);
  if (operation <= 26) return CallForHistory(operation);
  return CallForItems(operation);
}

std::int32_t CEveryOperation::GetThumbnail() {
  const std::uint64_t referrer = static_cast<std::uint64_t>(Number());
  std::uint32_t state = 0;
  SQvPicBuf picture{};
  const std::int32_t status = m_cache.GetCachedThumbnail(referrer, File(), &state, &picture);
  if (status != 0 || (state != kQvThumbnailReady && state != kQvThumbnailStale)) return status;
  return m_cache.ReleaseThumbnail(referrer, File());
}

std::int32_t CEveryOperation::CallForViewers(int operation) {
  switch (operation) {
    case 0:
    case 1:
      return GetThumbnail();
    case 2:
      return m_cache.NotImplemented();
    case 3:
      return m_cache.CancelAllRequests();
    case 4:
      return m_cache.CancelRequests(0, m_files.data(), static_cast<std::int32_t>(m_files.size()));
    case 5:
      m_cache.RequestThumbnails(0, m_files.data(), static_cast<std::uint32_t>(m_files.size()), 0, true);
      return m_cache.RequestThumbnails(0, &File(), 1, 0, false);
    case 6:
      return m_cache.ExcludeLocation(m_excluded.c_str()), 0;
    case 7:
      return m_cache.IncludeLocation(m_excluded.c_str()), 0;
    default:
      return m_cache.PurgeUnusedThumbnails();
  }
}

std::int32_t CEveryOperation::GetTexts() {
  SQvImageTextInfo text;
  SQvImageInfo image;
  double calibration = 0, time = 0;
  CQvStringW objective;
  std::int64_t size = 0;
  std::uint32_t loops[4] = {};
  return m_cache.GetFileTextInfo(File().location.c_str(), text, image, calibration, objective, time, size, loops);
}

std::int32_t CEveryOperation::CallForSettings(int operation) {
  std::uint32_t width = 0, height = 0;
  bool high = false;
  switch (operation) {
    case 9:
      return m_cache.DoNothing();
    case 10:
      return m_cache.SetHighQuality(m_round % 2 != 0);
    case 11:
      return m_cache.GetHighQuality(&high);
    case 12:
      return m_cache.SetThumbnailBox(16, 12, m_round % 2 != 0);
    case 13:
      return m_cache.GetThumbnailBox(m_round % 2 != 0, &width, &height);
    case 14:
      return m_cache.GetCacheLimit(), 0;
    case 15:
      return m_cache.SetCacheLimit(static_cast<std::uint32_t>(m_round % 4));
    case 18:
      return m_cache.IgnoreLocation(File().location) ? -1 : 0;
    case 19:
      return GetTexts();
    default:
      return 0;
  }
}

std::int32_t CEveryOperation::CallForExperiments(int operation) {
  if (operation == 20) {
    m_experiment.loopSize = static_cast<std::uint32_t>(Number());
    return m_cache.WriteExperiment(&m_experiment, nullptr, Number(), Number(), &m_experimentID);
  }
  if (operation == 21) {
    SQvExperiment* read = nullptr;
    SQvPicturePlanes planes;
    double time = 0;
    const std::int32_t status = m_cache.ReadExperiment(&read, &planes, &time, m_experimentID);
    SQvExperiment::FreeRecursive(read);
    return status;
  }
  std::vector<int> ids;
  return m_cache.GetExperimentIDsByStoredID(Number(), &ids);
}

std::int32_t CEveryOperation::CallForHistory(int operation) {
  std::vector<int> ids;
  std::vector<double> times;
  std::vector<CQvStringW> names;
  switch (operation) {
    case 22:
      return m_cache.ReadHistory(m_user.c_str(), 0, 1e9, &ids, &times, &names);
    case 24:
      return m_cache.DeleteHistory(Number(), Number() + 1, m_experimentID);
    case 25: {
      // Recorded, and recorded again.
      const std::int32_t status = m_cache.WriteHistory(m_recorded.c_str(), m_user.c_str(), Number(), m_experimentID);
      return status != 0 ? status : m_cache.WriteHistory(m_recorded.c_str(), m_user.c_str(), Number(), m_experimentID);
    }
    default:
      return m_cache.GetHistoryFilenames(m_user.c_str(), m_experimentID, 0, 1e9, &names);
  }
}

std::int32_t CEveryOperation::CallForItems(int operation) {
  std::vector<int> ids;
  std::vector<CQvStringW> names;
  switch (operation) {
    case 27:
      return m_cache.UpdateStoredItem(m_storedID, m_caller, m_renamed.c_str(), 1);
    case 28:
      return m_cache.InsertStoredItem(m_caller, m_stored.c_str(), 0, &m_storedID);
    case 29:
      return m_cache.GetStoredChildren(m_caller, &ids, &names);
    case 30:
      return m_cache.DeleteStoredItem(m_storedID);
    case 31:
      m_cache.AddListener(&Ignore, this);
      return 0;
    default:
      return m_cache.RemoveListener({&Ignore, this}), 0;
  }
}

}  // namespace qvtest
