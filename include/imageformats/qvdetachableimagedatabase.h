#pragma once

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

#include "imageformats/iqvimagedatabase.h"
#include "system/qvstatus.h"

// Stands in for a host's image database as the owner of thumbnails (SQvThumbnailDescription::owner), so that the
// database may go before the cache's database is closed: after Detach nothing asks it any more. Thumbnails that were
// made stay; one that would have to be made again is not.
//
// The object itself takes the owner's place, so it must live as long as an owner. It belongs to the host, whatever the
// number of references says. Any thread.
class CQvDetachableImageDatabase final : public IQvImageDatabase {
 public:
  // The database must live until Detach has returned.
  explicit CQvDetachableImageDatabase(IQvImageDatabase& database) noexcept : m_database(database) {}
  CQvDetachableImageDatabase(const CQvDetachableImageDatabase&) = delete;
  CQvDetachableImageDatabase& operator=(const CQvDetachableImageDatabase&) = delete;

  // Refuses every access from now on and waits for those under way. Not from inside an access. May be called again.
  void Detach() {
    std::unique_lock lock(m_mutex);
    m_detached = true;
    m_left.wait(lock, [&] { return m_inside == 0; });
  }

  std::int32_t AddRef() override { return ++m_references; }
  std::int32_t Release() override { return --m_references; }
  const char* GetClassName() const override { return "CQvDetachableImageDatabase"; }
  IQvInterface* QueryInterface(const char* name) override {
    if (!name || std::strcmp(name, "IQvImageDatabase") != 0) return nullptr;
    AddRef();
    return this;
  }

  // -9 once it is detached, else as the database does.
  std::int32_t BeginAccess() override {
    if (!Enter()) return kQvFailure;
    try {
      return m_database.BeginAccess();
    } catch (...) {
      Leave();
      throw;
    }
  }
  std::int32_t GetRecord(const CQvVariant& recordID, IQvImageRecord** record) override {
    return m_database.GetRecord(recordID, record);
  }
  // By the thread that began, also after a refusal.
  std::int32_t EndAccess() override {
    if (TakeRefusal()) return kQvOk;
    const std::int32_t status = m_database.EndAccess();
    Leave();
    return status;
  }

 private:
  bool Enter() {
    const std::lock_guard lock(m_mutex);
    if (m_detached) {
      m_refused.push_back(std::this_thread::get_id());
      return false;
    }
    ++m_inside;
    return true;
  }
  void Leave() {
    const std::lock_guard lock(m_mutex);
    --m_inside;
    m_left.notify_all();
  }
  bool TakeRefusal() {
    const std::lock_guard lock(m_mutex);
    const auto refusal = std::find(m_refused.begin(), m_refused.end(), std::this_thread::get_id());
    if (refusal == m_refused.end()) return false;
    m_refused.erase(refusal);
    return true;
  }

  IQvImageDatabase& m_database;
  std::atomic<std::int32_t> m_references{1};
  std::mutex m_mutex;
  std::condition_variable m_left;
  bool m_detached = false;
  int m_inside = 0;
  // The threads between a refused BeginAccess and their EndAccess.
  std::vector<std::thread::id> m_refused;
};
