#include "host/find/picture_search.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "host/find/index_update.h"
#include "host/host_error.h"
#include "host/output/text.h"
#include "host/session/database_stamp.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

bool IsDamage(const SQLite::Exception& error) {
  return error.getErrorCode() == SQLITE_CORRUPT || error.getErrorCode() == SQLITE_NOTADB ||
         error.getErrorCode() == SQLITE_ERROR;
}

const std::string& LocationOf(const std::string& location) { return location; }
const std::string& LocationOf(const SFoundPicture& picture) { return picture.location; }

// Most of them come so.
template <class T>
void SortByLocation(std::vector<T>* found) {
  const auto isBefore = [](const T& a, const T& b) { return LocationOf(a) < LocationOf(b); };
  if (!std::is_sorted(found->begin(), found->end(), isBefore)) std::sort(found->begin(), found->end(), isBefore);
}

}  // namespace

CPictureSearch::CPictureSearch(SQLite::Database& db, bool quiet)
    : m_databasePath(db.getFilename()), m_rows(db), m_quiet(quiet) {}

std::vector<SFoundPicture> CPictureSearch::Find(const SPictureQuery& query) {
  std::vector<SFoundPicture> found;
  Search([&](CSearchIndex& index) {
    found.clear();
    FindPictures(index, m_folding, query, [&](SFoundPicture picture) { found.push_back(std::move(picture)); });
  });
  if (query.limit == 0) SortByLocation(&found);
  return found;
}

std::vector<std::string> CPictureSearch::FindLocations(const SPictureQuery& query) {
  std::vector<std::string> found;
  Search([&](CSearchIndex& index) {
    found.clear();
    qvhost::FindLocations(index, m_folding, query, [&](std::string location) { found.push_back(std::move(location)); });
  });
  if (query.limit == 0) SortByLocation(&found);
  return found;
}

void CPictureSearch::Search(const std::function<void(CSearchIndex& index)>& find) {
  try {
    Prepare();
    find(*m_index);
  } catch (const SQLite::Exception& error) {
    if (m_temporary) throw;
    // An error of the database itself comes again.
    m_index.reset();
    if (IsDamage(error)) {
      RemoveSearchIndex(SearchIndexPath(m_databasePath));
    } else {
      OpenTemporary(error.what());
    }
    Prepare();
    find(*m_index);
  }
}

void CPictureSearch::Prepare() {
  const std::string stamp = IsStampFresh(m_databasePath) ? std::string() : StampOfDatabase(m_databasePath);
  if (!m_index) OpenBesideDatabase();
  UpdateSearchIndex(*m_index, m_rows, m_folding, stamp, m_quiet);
}

void CPictureSearch::OpenBesideDatabase() {
  try {
    m_index = std::make_unique<CSearchIndex>(SearchIndexPath(m_databasePath), m_databasePath);
  } catch (const CHostError& error) {
    OpenTemporary(error.what());
  }
}

void CPictureSearch::OpenTemporary(const std::string& reason) {
  auto temporary = std::make_unique<CTemporaryFolder>();
  if (!temporary->IsMade()) {
    throw CHostError(
        fmt::format("there is no place to prepare the search in, {}: {}", temporary->Path(), std::strerror(errno)));
  }
  m_temporary = std::move(temporary);
  std::fprintf(stderr,
               "qvthumbs: the search index %s cannot be used (%s); a temporary one is made, which takes longer\n",
               Printable(SearchIndexPath(m_databasePath)).c_str(), Printable(reason).c_str());
  m_index = std::make_unique<CSearchIndex>(m_temporary->Path() + "/search.find", m_databasePath);
}

std::int64_t CPictureSearch::CountKnown() { return m_index->NumberNote("pictures"); }

bool CPictureSearch::IsKnown(const std::string& location) {
  SQLite::Statement row(m_index->Connection(), "SELECT 1 FROM picture WHERE location = ?1");
  row.bind(1, location);
  return row.executeStep();
}

void RefreshSearchIndex(SQLite::Database& db) {
  const std::string path = SearchIndexPath(db.getFilename());
  std::error_code error;
  if (!fs::exists(path, error)) return;
  try {
    CSearchIndex index(path, db.getFilename());
    UpdateSearchIndex(index, CKnownRows(db), CFolding(), {}, true);
  } catch (const CHostError&) {
  } catch (const SQLite::Exception&) {
  }
}

}  // namespace qvhost
