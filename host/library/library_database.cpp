#include "host/library/library_database.h"

#include <cstring>
#include <limits>
#include <memory>
#include <optional>

#include "host/library/memory_picture.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

class CLibraryRecord final : public IQvImageRecord {
 public:
  CLibraryRecord(const CLibraryFile& file, std::int32_t record) : m_file(file), m_record(record) {}

  void Release() override { delete this; }
  std::int32_t Open() override { return kQvOk; }

  std::int32_t GetPictureSource(const CQvStringW& field, IQvPictureSource** source) override {
    try {
      std::optional<std::string> bytes = m_file.Read(m_record, CQvStringUtils::WtoUTF8(field).Str());
      return bytes ? OpenMemoryPicture(std::move(*bytes), source, nullptr) : kQvFailure;
    } catch (...) {
      return kQvFailure;
    }
  }

 private:
  const CLibraryFile& m_file;
  const std::int32_t m_record;
};

}  // namespace

IQvInterface* CLibraryDatabase::QueryInterface(const char* name) {
  if (std::strcmp(name, "IQvImageDatabase") != 0) return nullptr;
  AddRef();
  return this;
}

std::int32_t CLibraryDatabase::BeginAccess() {
  ++m_begun;
  ++m_open;
  return kQvOk;
}

std::int32_t CLibraryDatabase::EndAccess() {
  --m_open;
  return kQvOk;
}

std::int32_t CLibraryDatabase::GetRecord(const CQvVariant& recordID, IQvImageRecord** record) {
  try {
    std::int64_t id = 0;
    if (recordID.GetInt(&id) != kQvOk || id < 1 || id > std::numeric_limits<std::int32_t>::max()) return kQvFailure;
    if (!m_file.HasRecord(static_cast<std::int32_t>(id))) return kQvFailure;
    *record = new CLibraryRecord(m_file, static_cast<std::int32_t>(id));
    return kQvOk;
  } catch (...) {
    return kQvFailure;
  }
}

}  // namespace qvhost
