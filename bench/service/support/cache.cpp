#include "bench/service/support/cache.h"

#include <stdlib.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "system/qvrtti.h"

namespace qvbench {

void GiveUp(const std::string& reason) {
  std::fprintf(stderr, "%s\n", reason.c_str());
  std::exit(1);
}

std::vector<unsigned char> ReadFile(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void WriteFile(const std::string& file, const std::vector<unsigned char>& bytes) {
  std::ofstream stream(file, std::ios::binary);
  stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!stream.flush()) GiveUp("cannot write " + file);
}

CTempFolder::CTempFolder() : m_path((std::filesystem::temp_directory_path() / "qvbench-XXXXXX").string()) {
  if (!mkdtemp(m_path.data())) GiveUp("no temporary folder: " + m_path);
}

CTempFolder::~CTempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

CBareDatabase::CBareDatabase(const std::string& file) {
  if (sqlite3_open(file.c_str(), &m_db) != SQLITE_OK) GiveUp("cannot open " + file);
}

void CBareDatabase::Run(const char* sql) {
  if (sqlite3_exec(m_db, sql, nullptr, nullptr, nullptr) != SQLITE_OK) GiveUp(sqlite3_errmsg(m_db));
}

CBareStatement::CBareStatement(sqlite3* db, const char* sql) {
  if (sqlite3_prepare_v2(db, sql, -1, &m_statement, nullptr) != SQLITE_OK) GiveUp(sqlite3_errmsg(db));
}

CBareStatement& CBareStatement::Text(int parameter, const std::string& text) {
  sqlite3_bind_text(m_statement, parameter, text.c_str(), -1, SQLITE_TRANSIENT);
  return *this;
}

CBareStatement& CBareStatement::Int(int parameter, std::int64_t value) {
  sqlite3_bind_int64(m_statement, parameter, value);
  return *this;
}

CBareStatement& CBareStatement::Double(int parameter, double value) {
  sqlite3_bind_double(m_statement, parameter, value);
  return *this;
}

CBareStatement& CBareStatement::Blob(int parameter, const std::vector<unsigned char>& bytes) {
  sqlite3_bind_blob(m_statement, parameter, bytes.data(), static_cast<int>(bytes.size()), SQLITE_TRANSIENT);
  return *this;
}

bool CBareStatement::Row() { return sqlite3_step(m_statement) == SQLITE_ROW; }

void CBareStatement::Done() {
  int result = SQLITE_ROW;
  while (result == SQLITE_ROW) result = sqlite3_step(m_statement);
  if (result != SQLITE_DONE) GiveUp(sqlite3_errmsg(sqlite3_db_handle(m_statement)));
}

COpenCache::COpenCache(const std::string& file) {
  static const bool scanned = CQvRTTI::ScanFolder(CQvRTTI::GetLibraryFolder().c_str()) >= 0;
  IQvInterface* object =
      scanned ? CQvRTTI::CreateAndQuery("CQvThumbnailCacheImpl", "IQvThumbnailCache", SQvFileLine(__FILE__, __LINE__))
              : nullptr;
  m_cache = dynamic_cast<IQvThumbnailCache*>(object);
  if (!m_cache) GiveUp("the service was not found beside the system library");
  if (m_cache->OpenDatabase(CQvStringUtils::UTF8toW(file).c_str()) != 0) GiveUp("cannot open " + file);
}

COpenCache::~COpenCache() {
  m_cache->CloseDatabase();
  CQvRTTI::Release(m_cache);
}

void MakeDatabase(const std::string& file) {
  CBareDatabase(file).Run("PRAGMA journal_mode=WAL");
  const COpenCache cache(file);
}

std::wstring LocationOf(std::size_t number) {
  wchar_t text[80];
  std::swprintf(text, std::size(text), L"/data/Microscope-2/2024-05-06 Plate %02zu/Well_B%02zu_Field_%04zu.tif",
                number / 10000, number / 100 % 100, number);
  return text;
}

std::string RowNameOf(std::size_t number) {
  std::wstring location = LocationOf(number);
  CQvStringUtils::ToLower(location);
  return CQvStringUtils::WtoUTF8(location).Str();
}

SQvThumbnailDescription Describe(const std::wstring& location) {
  SQvThumbnailDescription description;
  description.location = location;
  return description;
}

std::vector<SQvThumbnailDescription> DescribeFirst(std::size_t count) {
  std::vector<SQvThumbnailDescription> descriptions;
  descriptions.reserve(count);
  for (std::size_t i = 0; i < count; ++i) descriptions.push_back(Describe(LocationOf(i)));
  return descriptions;
}

void FillRows(const std::string& file, std::size_t first, std::size_t end, const std::vector<unsigned char>& stream,
              bool withTexts) {
  CBareDatabase db(file);
  db.Run("BEGIN");
  CBareStatement picture(db.Get(), "INSERT INTO cache VALUES (?, 2460000.5, 0, ?, 0)");
  CBareStatement texts(db.Get(),
                       "INSERT INTO metadata (filename, lastWritten, M_width, M_objective) VALUES (?, 1, 2048, 'x')");
  for (std::size_t i = first; i < end; ++i) {
    const std::string name = RowNameOf(i);
    picture.Text(1, name).Blob(2, stream).Done();
    sqlite3_reset(picture.Get());
    if (!withTexts) continue;
    texts.Text(1, name).Done();
    sqlite3_reset(texts.Get());
  }
  db.Run("COMMIT");
}

}  // namespace qvbench
