#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "imageformats/iqvimagedatabase.h"
#include "imageformats/iqvplate.h"
#include "system/qvref.h"

namespace qvhost {

// Gives the service access to the wells that lie in one file, as records whose number is the well's, from 1: the owner
// of their database locations, whose thumbnails the service keeps in memory only, so that none takes the place of the
// file's own. It belongs to the code that made it, whatever its reference count, and must outlive the session.
class CWellDatabase final : public IQvImageDatabase {
 public:
  // `file` is absolute. Files that cannot be opened have no records.
  explicit CWellDatabase(std::string file) : m_file(std::move(file)) {}

  std::int32_t AddRef() override { return ++m_references; }
  std::int32_t Release() override { return --m_references; }
  const char* GetClassName() const override { return "CWellDatabase"; }
  IQvInterface* QueryInterface(const char* name) override;

  std::int32_t BeginAccess() override;
  std::int32_t GetRecord(const CQvVariant& recordID, IQvImageRecord** record) override;
  std::int32_t EndAccess() override;

  // What a thread works with while it makes a picture. Opening takes a parse of the file's whole description, so what
  // one thread has opened the next one uses.
  struct SOpened {
    CQvRef<IQvPlate> reader;
    SQvPlate plate;
  };
  SOpened Take();
  void GiveBack(SOpened opened);

 private:
  const std::string m_file;
  std::atomic<std::int32_t> m_references{1};
  std::mutex m_mutex;
  std::vector<SOpened> m_idle;
};

}  // namespace qvhost
