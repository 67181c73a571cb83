#include "host/serve/folder_search.h"

#include "host/files/image_file.h"
#include "host/find/search_words.h"
#include "host/output/text.h"

namespace qvhost {
namespace {

// As many as somebody looks through.
constexpr std::int64_t kMostFound = 1000;

CJson FactsOf(const SFoundPicture& picture) {
  CJson facts = CJson::object();
  if (picture.channels) facts["channels"] = *picture.channels;
  if (picture.z) facts["z"] = *picture.z;
  if (picture.t) facts["t"] = *picture.t;
  if (!picture.objective.empty()) facts["objective"] = Printable(picture.objective);
  return facts;
}

}  // namespace

CFolderSearch::CFolderSearch(const std::string& databasePath, const CServedFolder& folder)
    : m_folder(folder), m_db(OpenForReading(databasePath)), m_search(m_db, true) {}

CJson CFolderSearch::Find(const std::string& line) {
  SPictureQuery query;
  query.words = WordsOfLine(line);
  query.under = LocationOfFolder(m_folder.Path());
  query.limit = kMostFound + 1;
  CJson files = CJson::array();
  std::int64_t count = 0;
  if (!query.words.empty()) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    CRealPaths paths;
    for (const SFoundPicture& picture : m_search.Find(query)) {
      if (++count > kMostFound) break;
      const auto file = m_folder.FileAt(paths.Find(picture.location));
      if (!file) continue;
      files.push_back(
          {{"path", file->name}, {"size", file->size}, {"time", file->lastWritten}, {"facts", FactsOf(picture)}});
    }
  }
  return {{"files", std::move(files)}, {"more", count > kMostFound}};
}

}  // namespace qvhost
