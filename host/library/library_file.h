#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "host/session/sqlite.h"

namespace qvhost {

// One picture field of a record.
struct SLibraryPicture {
  std::int32_t record = 0;
  std::string field;
  std::string name;      // the record's, for people
  double changed = 0.0;  // Julian day number of the last import
};

// What an import has filled.
struct SImportedPicture {
  std::int32_t record = 0;
  bool replaced = false;
};

// An image library: an SQLite file of records, each with picture fields that hold encoded image files.
//
//   records   id, name, source (the file it was imported from)
//   pictures  record, field (compared without regard to case), changed, data
//
// All operations may be called from any thread; they throw CHostError or SQLite::Exception.
class CLibraryFile {
 public:
  // Opens; with `create` a missing file is made. A file that is no library is refused.
  CLibraryFile(const std::string& path, bool create);

  // All picture fields, by record; only those named `field` when it is not empty.
  std::vector<SLibraryPicture> List(const std::string& field) const;
  // Without the pixels; none when the record or the field is missing.
  std::optional<SLibraryPicture> Find(std::int32_t record, const std::string& field) const;
  bool HasRecord(std::int32_t record) const;
  // The encoded image file; none when there is no such field.
  std::optional<std::string> Read(std::int32_t record, const std::string& field) const;

  // Stores or replaces a picture. Its `changed` becomes the present, and always another value than before.
  SImportedPicture Store(std::int32_t record, const std::string& field, const std::string& data);
  // The same for the record that was imported from that file; it is made when there is none, but never left without a
  // picture.
  SImportedPicture StoreSource(const std::string& source, const std::string& name, const std::string& field,
                               const std::string& data);

 private:
  void CreateTables();
  // The callers of these hold the mutex.
  std::optional<SLibraryPicture> FindPicture(std::int32_t record, const std::string& field) const;
  std::int32_t RecordOfSource(const std::string& source, const std::string& name);
  SImportedPicture Put(std::int32_t record, const std::string& field, const std::string& data);

  mutable std::mutex m_mutex;  // a statement and what is read after it belong together
  SQLite::Database m_db;
};

}  // namespace qvhost
