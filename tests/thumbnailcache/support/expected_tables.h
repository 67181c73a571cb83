#pragma once

#include <string>
#include <vector>

namespace qvtest {

inline const std::string kMetadataColumns =
    "filename, lastWritten, M_imageID, M_type, M_group, M_sampleID, M_author, M_description, M_capturing, M_sampling, "
    "M_location, M_date, M_conclusion, M_info1, M_info2, M_optics, M_width, M_widthBytes, M_height, M_comp, "
    "M_bpcInMemory, M_bpcSignificant, M_pixelType, M_sequenceCount, M_tileWidth, M_tileHeight, M_compression, "
    "M_compressionParam, M_calibration, M_objective, M_acqTime, M_fileSize, M_timeLoop, M_zLoop, M_multipointLoop, "
    "M_lambdaLoop";

// A table and the statements that the opening runs for it.
struct STable {
  std::string name, existence, test, drop, create;
};

inline const std::vector<STable>& Tables() {
  static const std::vector<STable> tables = {
      {"cache", "SELECT name FROM sqlite_master WHERE type='table' AND name ='cache'",
       "SELECT filename, lastWritten, flags, binData, quality FROM cache", "DROP TABLE cache",
       "CREATE TABLE cache (filename TEXT, lastWritten REAL, flags INTEGER, binData BLOB, quality INTEGER, PRIMARY KEY "
       "(filename, flags))"},
      {"metadata", "SELECT name FROM sqlite_master WHERE type='table' AND name ='metadata'",
       "SELECT " + kMetadataColumns + " FROM metadata", "DROP TABLE metadata",
       "CREATE TABLE metadata (filename TEXT, lastWritten REAL, M_imageID TEXT, M_type TEXT, M_group TEXT, M_sampleID "
       "TEXT, M_author TEXT, M_description TEXT, M_capturing TEXT, M_sampling TEXT, M_location TEXT, M_date TEXT, "
       "M_conclusion TEXT, M_info1 TEXT, M_info2 TEXT, M_optics TEXT, M_width INTEGER, M_widthBytes INTEGER, M_height "
       "INTEGER, M_comp INTEGER, M_bpcInMemory INTEGER, M_bpcSignificant INTEGER, M_pixelType INTEGER, M_sequenceCount "
       "INTEGER, M_tileWidth INTEGER, M_tileHeight INTEGER, M_compression INTEGER, M_compressionParam REAL, "
       "M_calibration REAL, M_objective TEXT, M_acqTime REAL, M_fileSize INTEGER, M_timeLoop INTEGER, M_zLoop INTEGER, "
       "M_multipointLoop INTEGER, M_lambdaLoop INTEGER, PRIMARY KEY (filename))"},
      {"experiments", "SELECT name FROM sqlite_master WHERE type='table' AND name ='experiments'",
       "SELECT experimentID, M_acqTime, liteVariant, picturePlanes, storedID, hashCRC FROM experiments",
       "DROP TABLE experiments",
       "CREATE TABLE experiments (experimentID INTEGER PRIMARY KEY, M_acqTime REAL, liteVariant BLOB, picturePlanes "
       "BLOB, storedID INTEGER, hashCRC INTEGER)"},
      {"history", "SELECT name FROM sqlite_master WHERE type='table' AND name ='history'",
       "SELECT filename, M_acqTime, experimentID FROM history", "DROP TABLE history",
       "CREATE TABLE history (filename TEXT, userID TEXT, M_acqTime REAL, experimentID INTEGER, PRIMARY KEY "
       "(filename))"},
      {"stored", "SELECT name FROM sqlite_master WHERE type='table' AND name ='stored'",
       "SELECT storedID, storedParentID, filename, flags FROM stored", "DROP TABLE sored",
       "CREATE TABLE stored (storedID INTEGER, storedParentID INTEGER, filename TEXT, flags INTEGER, PRIMARY KEY "
       "(storedID))"},
  };
  return tables;
}

// What is said of a table of an old form, and of the copy that is made of the file before.
constexpr const wchar_t* kWrongFormat = L"THUMBCACHE: Table has wrong (old) format";
constexpr const wchar_t* kCopied = L"THUMBCACHE: The database was copied to ";

}  // namespace qvtest
