#include "tests/thumbnailcache/support/image_database.h"

#include <cstring>

#include "imageformats/iqvimageformatmanager.h"
#include "system/qvstring.h"

namespace qvtest {
namespace {

class CRecord final : public IQvImageRecord {
 public:
  CRecord(CImageDatabase& database, std::int64_t id, const CImageDatabase::SRecord& record)
      : m_database(database), m_id(id), m_record(record) {
    ++m_database.liveRecords;
  }
  virtual ~CRecord() { --m_database.liveRecords; }

  void Release() override {
    m_database.Note("Record.Release");
    delete this;
  }
  std::int32_t Open() override {
    m_database.Note("Open");
    return m_record.openResult;
  }
  std::int32_t GetPictureSource(const CQvStringW& field, IQvPictureSource** source) override {
    m_database.Note("GetPictureSource " + CQvStringUtils::WtoUTF8(field).Str());
    std::wstring key = field.Str();
    CQvStringUtils::ToLower(key);
    const auto found = m_record.fields.find(key);
    if (found == m_record.fields.end()) return -9;
    *source = standin::MakeSource(L"db:" + std::to_wstring(m_id) + L":" + key, found->second);
    return 0;
  }

 private:
  CImageDatabase& m_database;
  std::int64_t m_id;
  const CImageDatabase::SRecord& m_record;
};

}  // namespace

IQvInterface* CImageDatabase::QueryInterface(const char* name) {
  if (std::strcmp(name, "IQvImageDatabase") != 0) return nullptr;
  AddRef();
  return this;
}

std::int32_t CImageDatabase::BeginAccess() {
  Note("BeginAccess");
  ++inside;
  return beginResult;
}

std::int32_t CImageDatabase::EndAccess() {
  Note("EndAccess");
  --inside;
  return 0;
}

std::int32_t CImageDatabase::GetRecord(const CQvVariant& recordID, IQvImageRecord** record) {
  std::int64_t id = -1;
  if (recordID.GetInt(&id) != 0) return -9;
  Note("GetRecord " + std::to_string(id) + (recordID.IsTypeChangeEnabled() ? " changeable" : ""));
  const auto found = records.find(id);
  if (found == records.end()) return -9;
  *record = new CRecord(*this, id, found->second);
  return 0;
}

std::vector<std::string> CImageDatabase::TakeCalls() {
  std::lock_guard lock(m_mutex);
  return std::exchange(m_calls, {});
}

void CImageDatabase::Note(const std::string& call) {
  std::lock_guard lock(m_mutex);
  m_calls.push_back(call);
}

}  // namespace qvtest
