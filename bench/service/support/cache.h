#pragma once

#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "thumbnailcache/iqvthumbnailcache.h"

namespace qvbench {

// A folder that goes with the object; below TMPDIR.
class CTempFolder {
 public:
  CTempFolder();
  ~CTempFolder();
  CTempFolder(const CTempFolder&) = delete;
  CTempFolder& operator=(const CTempFolder&) = delete;
  std::string File(const std::string& name) const { return m_path + "/" + name; }

 private:
  std::string m_path;
};

// A connection of the bare side.
class CBareDatabase {
 public:
  explicit CBareDatabase(const std::string& file);
  ~CBareDatabase() { sqlite3_close(m_db); }
  CBareDatabase(const CBareDatabase&) = delete;
  CBareDatabase& operator=(const CBareDatabase&) = delete;
  sqlite3* Get() const { return m_db; }
  void Run(const char* sql);

 private:
  sqlite3* m_db = nullptr;
};

// A prepared statement of the bare side.
class CBareStatement {
 public:
  CBareStatement(sqlite3* db, const char* sql);
  ~CBareStatement() { sqlite3_finalize(m_statement); }
  CBareStatement(const CBareStatement&) = delete;
  CBareStatement& operator=(const CBareStatement&) = delete;
  sqlite3_stmt* Get() const { return m_statement; }
  CBareStatement& Text(int parameter, const std::string& text);
  CBareStatement& Int(int parameter, std::int64_t value);
  CBareStatement& Double(int parameter, double value);
  CBareStatement& Blob(int parameter, const std::vector<unsigned char>& bytes);
  bool Row();   // steps; whether there is one
  void Done();  // steps to the end

 private:
  sqlite3_stmt* m_statement = nullptr;
};

// The service, open on a database file.
class COpenCache {
 public:
  explicit COpenCache(const std::string& file);
  ~COpenCache();
  COpenCache(const COpenCache&) = delete;
  COpenCache& operator=(const COpenCache&) = delete;
  IQvThumbnailCache* operator->() const { return m_cache; }
  IQvThumbnailCache& operator*() const { return *m_cache; }

 private:
  IQvThumbnailCache* m_cache;
};

// Makes the database with its tables, in write-ahead mode.
void MakeDatabase(const std::string& file);

// The nth location of a collection, as a host would spell it, and as its row keeps it.
std::wstring LocationOf(std::size_t number);
std::string RowNameOf(std::size_t number);
SQvThumbnailDescription Describe(const std::wstring& location);
std::vector<SQvThumbnailDescription> DescribeFirst(std::size_t count);

// Rows `first` to `end` of the cache table with that stream, and of the metadata table when asked for.
void FillRows(const std::string& file, std::size_t first, std::size_t end, const std::vector<unsigned char>& stream,
              bool withTexts);

// A JPEG stream of a picture with some detail.
std::vector<unsigned char> MakeJpeg(unsigned width, unsigned height);
// Decodes a stream as it is; the number of bytes.
std::size_t DecodeJpeg(const std::vector<unsigned char>& stream, std::vector<unsigned char>* pixels);

std::vector<unsigned char> ReadFile(const std::string& file);
void WriteFile(const std::string& file, const std::vector<unsigned char>& bytes);

// Reports the reason and ends the program: a bench whose preparation fails measures nothing.
[[noreturn]] void GiveUp(const std::string& reason);

}  // namespace qvbench
