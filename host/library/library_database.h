#pragma once

#include <atomic>
#include <string>

#include "host/library/library_file.h"
#include "imageformats/iqvimagedatabase.h"

namespace qvhost {

// Gives the service access to the records of a library: the owner of its database locations. It belongs to the code
// that made it, whatever its reference count, and must outlive the session. Throws CHostError when the library cannot
// be opened; the operations of the interface never throw.
class CLibraryDatabase final : public IQvImageDatabase {
 public:
  explicit CLibraryDatabase(const std::string& path) : m_file(path, false) {}

  std::int32_t AddRef() override { return ++m_references; }
  std::int32_t Release() override { return --m_references; }
  const char* GetClassName() const override { return "CLibraryDatabase"; }
  IQvInterface* QueryInterface(const char* name) override;

  std::int32_t BeginAccess() override;
  std::int32_t GetRecord(const CQvVariant& recordID, IQvImageRecord** record) override;
  std::int32_t EndAccess() override;

  const CLibraryFile& File() const noexcept { return m_file; }
  // Accesses begun, and those of them that have not ended.
  std::int32_t BegunAccessesForTest() const noexcept { return m_begun; }
  std::int32_t OpenAccessesForTest() const noexcept { return m_open; }

 private:
  const CLibraryFile m_file;
  std::atomic<std::int32_t> m_references{1};
  std::atomic<std::int32_t> m_begun{0}, m_open{0};
};

}  // namespace qvhost
