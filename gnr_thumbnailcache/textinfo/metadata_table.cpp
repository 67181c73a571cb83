#include "gnr_thumbnailcache/diagnostics.h"
#include "gnr_thumbnailcache/guarded.h"
#include "gnr_thumbnailcache/statement.h"
#include "gnr_thumbnailcache/textinfo/extraction.h"
#include "gnr_thumbnailcache/textinfo/metadata_columns.h"
#include "gnr_thumbnailcache/thumbnailcache_impl.h"
#include "system/qvfile.h"
#include "system/qvstatus.h"

namespace {

constexpr SQvWriteReport kSaveReport = {L"THUMBCACHE: SaveFileTextInfoToDatabase - sqlite3_step failed: ", 2640,
                                        L"THUMBCACHE: SaveFileTextInfoToDatabase - sqlite3_finalize failed: ", 2646};

// A row is valid while the file's stamp equals the stored one: the low half of the last-write time, 0 for a missing
// file. The high half is left out on purpose: stamps in existing files were written so.
double GetLastWriteStamp(const CQvStringW& path) {
  SQvFindData data;
  QvFindHandle find = nullptr;
  if (QV_FindFileFirst(path.c_str(), &data, &find) == kQvOk) QV_FindFileClose(find);
  return static_cast<double>(data.lastWriteTime.low);
}

// Visits the values behind the key in column order, so that the order stands in one place.
template <class Visitor, class Info>
void VisitColumns(Visitor& visit, Info& info) {
  auto& text = info.text;
  for (auto* value :
       {&text.imageID, &text.type, &text.group, &text.sampleID, &text.author, &text.description, &text.capturing,
        &text.sampling, &text.location, &text.date, &text.conclusion, &text.info1, &text.info2, &text.optics}) {
    visit.Text(*value);
  }
  auto& image = info.image;
  visit.Int(image.width);
  visit.Int(image.widthBytes);
  visit.Int(image.height);
  visit.Int(image.components);
  visit.Int(image.bpcInMemory);
  visit.Int(image.bpcSignificant);
  visit.Int(image.pixelType);
  visit.Int(image.sequenceCount);
  visit.Int(image.tileWidth);
  visit.Int(image.tileHeight);
  visit.Int(image.compression);
  visit.Double(image.compressionParam);
  visit.Double(info.calibration);
  visit.Text(info.objective);
  visit.Double(info.acqTime);
  visit.Int64(info.fileSize);
  visit.Int(info.loops.time);
  visit.Int(info.loops.z);
  visit.Int(info.loops.multipoint);
  visit.Int(info.loops.lambda);
}

struct SBinder {
  CQvStatement& statement;
  int parameter;

  void Text(const CQvStringW& value) { statement.BindText16(parameter++, value); }
  void Int(std::uint32_t value) { statement.BindInt(parameter++, static_cast<std::int32_t>(value)); }
  void Int64(std::int64_t value) { statement.BindInt64(parameter++, value); }
  void Double(double value) { statement.BindDouble(parameter++, value); }
};

struct SColumnReader {
  CQvStatement& statement;
  int column = 0;

  void Text(CQvStringW& value) { value = statement.GetText16(column++); }
  template <class T>
  void Int(T& value) {
    value = static_cast<T>(statement.GetInt(column++));
  }
  void Int64(std::int64_t& value) { value = statement.GetInt64(column++); }
  void Double(double& value) { value = statement.GetDouble(column++); }
};

}  // namespace

bool CQvThumbnailCacheImpl::ReadFileTextInfoFromDatabase(const CQvStringW& path, STextInformation& info) {
  sqlite3* db = GetDatabase();
  if (!db) return false;
  static const std::string kSelect = "SELECT " + JoinMetadataColumns(EMetadataPart::Name, kMetadataKeyColumns) +
                                     " FROM metadata WHERE filename = :FN AND lastWritten = :LW";
  CQvStatement statement(db, kSelect);
  statement.BindText16(1, path);
  statement.BindDouble(2, GetLastWriteStamp(path));
  const int res = statement.Step();
  if (res != SQLITE_DONE && res != SQLITE_ROW) ReportAssertion(2705, L"res != SQLITE_DONE && res != SQLITE_ROW");
  if (res != SQLITE_ROW) return false;
  SColumnReader reader{statement};
  VisitColumns(reader, info);
  return true;
}

void CQvThumbnailCacheImpl::SaveFileTextInfoToDatabase(const CQvStringW& path, const STextInformation& info) {
  sqlite3* db = GetDatabase();
  if (!db) return;
  // Before the connection is held: to look a file up may take as long as its disk likes.
  const double stamp = GetLastWriteStamp(path);
  // Both qualities of a file may be saved at once, and the file has one row.
  const CQvConnectionLock connection(db);
  CQvStatement remove(db, "DELETE FROM metadata WHERE filename = :FN");
  remove.BindText16(1, path);
  if (remove.Step() != SQLITE_DONE) {
    remove.ResetAndLeave();
    return;
  }
  remove.Finalize();
  static const std::string kInsert = "INSERT INTO metadata (" + JoinMetadataColumns(EMetadataPart::Name, 0) +
                                     ") VALUES (" + JoinMetadataColumns(EMetadataPart::Parameter, 0) + ")";
  CQvStatement insert(db, kInsert);
  insert.BindText16(1, path);
  insert.BindDouble(2, stamp);
  SBinder binder{insert, static_cast<int>(kMetadataKeyColumns) + 1};
  VisitColumns(binder, info);
  RunAndReport(db, insert, kSaveReport);
}

std::int32_t CQvThumbnailCacheImpl::GetFileTextInfo(const wchar_t* path, SQvImageTextInfo& textInfo,
                                                    SQvImageInfo& imageInfo, double& calibration, CQvStringW& objective,
                                                    double& acqTime, std::int64_t& fileSize,
                                                    std::uint32_t* loopCounts) {
  return Guarded(kQvFailure, [&] {
    if (!path) return kQvFailure;
    STextInformation info{textInfo, imageInfo, calibration, objective, acqTime, fileSize, {}};
    if (loopCounts) info.loops = {loopCounts[0], loopCounts[1], loopCounts[2], loopCounts[3]};
    bool found = ReadFileTextInfoFromDatabase(path, info);
    if (!found) {
      found = ExtractFileTextInfo(path, info);
      if (found) SaveFileTextInfoToDatabase(path, info);
    }
    textInfo = info.text;
    imageInfo = info.image;
    calibration = info.calibration;
    objective = info.objective;
    acqTime = info.acqTime;
    fileSize = info.fileSize;
    if (loopCounts) {
      loopCounts[0] = info.loops.time;
      loopCounts[1] = info.loops.z;
      loopCounts[2] = info.loops.multipoint;
      loopCounts[3] = info.loops.lambda;
    }
    return found ? kQvOk : kQvFailure;
  });
}
