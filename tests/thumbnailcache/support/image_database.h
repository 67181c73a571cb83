#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "imageformats/iqvimagedatabase.h"
#include "tests/thumbnailcache/standin/standin.h"

namespace qvtest {

// A host's image database with scripted records, for the owner of database locations.
class CImageDatabase final : public IQvImageDatabase {
 public:
  struct SRecord {
    std::int32_t openResult = 0;
    std::map<std::wstring, standin::SFile> fields;  // lower-case names
  };

  std::int32_t AddRef() override { return ++references; }
  std::int32_t Release() override { return --references; }
  const char* GetClassName() const override { return "CTestImageDatabase"; }
  IQvInterface* QueryInterface(const char* name) override;

  std::int32_t BeginAccess() override;
  std::int32_t GetRecord(const CQvVariant& recordID, IQvImageRecord** record) override;
  std::int32_t EndAccess() override;

  std::vector<std::string> TakeCalls();
  void Note(const std::string& call);

  std::atomic<int> references{1};
  std::int32_t beginResult = 0;
  std::map<std::int64_t, SRecord> records;
  std::atomic<int> inside{0};       // BeginAccess without EndAccess
  std::atomic<int> liveRecords{0};  // handed out, not released

 private:
  std::mutex m_mutex;
  std::vector<std::string> m_calls;
};

}  // namespace qvtest
