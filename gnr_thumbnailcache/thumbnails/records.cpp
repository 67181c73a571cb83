#include "gnr_thumbnailcache/thumbnails/records.h"

#include <algorithm>

#include "gnr_thumbnailcache/base/diagnostics.h"
#include "gnr_thumbnailcache/database/statement.h"
#include "imageformats/qvoutputformat.h"
#include "system/qvref.h"
#include "system/qvstatus.h"

namespace {

constexpr double kJpegQuality = 0.8;

// A stored picture is served when its sides are at most so many times those of its box, which may have been larger when
// it was made. A row that claims more is no thumbnail, and decoding it could take any amount of memory.
constexpr std::uint64_t kLargestInBoxes = 8;

constexpr SWriteMessages kSaveRecordMessages = {
    {L"THUMBCACHE: SaveThumbnailToDatabase - sqlite3_step failed: ", __LINE__},
    {L"THUMBCACHE: SaveThumbnailToDatabase - sqlite3_finalize failed: ", __LINE__}};

struct SThumbnailRow {
  double lastWritten = 0.0;
  CQvByteArray stream;
  bool highQuality = false;
};

void BindIdentity(CStatement& statement, const SThumbnailFields& thumbnail) {
  statement.BindText(1, CQvStringUtils::WtoUTF8(thumbnail.location));
  statement.BindInt(2, static_cast<std::int32_t>(thumbnail.flags));
}

// The statement ends here, before the picture is decoded: decoding must not hold the connection.
bool ReadRow(sqlite3* db, const SThumbnailFields& thumbnail, SThumbnailRow* row) {
  CStatement statement(db, "SELECT lastWritten, binData, quality FROM cache WHERE filename = :FN AND flags = :FL");
  BindIdentity(statement, thumbnail);
  const int res = statement.Step();
  if (res != SQLITE_DONE && res != SQLITE_ROW) {
    ReportAssertion({L"res != SQLITE_DONE && res != SQLITE_ROW", __LINE__});
  }
  if (res != SQLITE_ROW) return false;
  row->lastWritten = statement.GetDouble(0);
  row->stream = statement.GetBlob(1);
  row->highQuality = statement.GetInt(2) != 0;
  return true;
}

// Opens a stored stream and accepts what a thumbnail can be. False when it is anything else.
bool OpenStream(const CQvByteArray& stream, IQvImageFormatManager* manager, CQvRef<IQvImageCodec>* codec,
                CQvRef<IQvPictureSource>* source, SQvImageInfo* info) {
  return manager && manager->GetCodecByName("JPG", codec->Out()) == kQvOk &&
         (*codec)->OpenInputMemory(stream.GetData(0), stream.GetSize(), source->Out()) == kQvOk &&
         (*source)->GetPictureInfo(info) == kQvOk && info->width != 0 && info->height != 0 &&
         info->bpcSignificant == 8 && info->components == 3;
}

bool FitsBoxes(const SQvImageInfo& info, const SThumbnailBox& box) {
  return info.width <= kLargestInBoxes * std::max(box.width, 1u) &&
         info.height <= kLargestInBoxes * std::max(box.height, 1u);
}

// Null on success, else what to report.
const SMessage* Decode(const CQvByteArray& stream, const SThumbnailBox& box, IQvImageFormatManager* manager,
                       CThumbnailWork& work) {
  CQvRef<IQvImageCodec> codec;
  CQvRef<IQvPictureSource> source;
  SQvImageInfo info;
  if (!OpenStream(stream, manager, &codec, &source, &info) || !FitsBoxes(info, box)) {
    return &messages::kStoredStreamUnreadable;
  }
  if (!work.ReinitPicture(info.width, info.height, info.bpcInMemory)) return &messages::kStoredPixelsUnreadable;
  return source->ReadPicture(&work.picture, 0, 0) == kQvOk ? nullptr : &messages::kStoredPixelsUnreadable;
}

bool Encode(const CThumbnailWork& work, IQvImageFormatManager* manager, CMutex& dbWriteMutex, CQvByteArray& stream) {
  CQvRef<IQvOutputImageFile> output;
  {
    const CLockGuard lock(dbWriteMutex);
    CQvRef<IQvImageCodec> codec;
    if (!manager || manager->GetCodecByName("JPG", codec.Out()) != kQvOk ||
        codec->CreateOutputMemory(&stream, output.Out()) != kQvOk) {
      return false;
    }
  }
  return output->SetPictureFormat(DescribeForOutput(work.picture), kJpegQuality) == kQvOk &&
         output->WritePicture(work.picture.data, 0, 0) == kQvOk && output->Finish() == kQvOk;
}

}  // namespace

bool ReadThumbnailFromDatabase(sqlite3* db, CThumbnailWork& work, const SThumbnailSettings& settings,
                               IQvImageFormatManager* manager) {
  if (!db) return false;
  SThumbnailRow row;
  if (!ReadRow(db, work, &row)) {
    work.state = work.HasPicture() ? kQvThumbnailStale : kQvThumbnailNone;
    return false;
  }
  if (const SMessage* failure = Decode(row.stream, settings.Box(row.highQuality), manager, work)) {
    ReportText(failure->line, failure->text);
    work.Fail();
    return false;
  }
  work.lastWritten = row.lastWritten;
  work.knowsLastWritten = true;
  work.highQuality = row.highQuality;
  work.state = kQvThumbnailReady;
  return true;
}

void SaveThumbnailToDatabase(sqlite3* db, const CThumbnailWork& work, IQvImageFormatManager* manager,
                             CMutex& dbWriteMutex) {
  if (!db) return;
  CStatement remove(db, "DELETE FROM cache WHERE filename = :FN AND flags = :FL");
  BindIdentity(remove, work);
  if (remove.Step() != SQLITE_DONE) {
    remove.ResetAndLeave();
    return;
  }
  remove.Finalize();
  CStatement insert(db,
                    "INSERT INTO cache (filename, flags, lastWritten, quality, binData) "
                    "VALUES (:FN, :FL, :LW, :QU, :BD)");
  BindIdentity(insert, work);
  insert.BindDouble(3, work.lastWritten);
  insert.BindInt(4, work.highQuality ? 1 : 0);
  CQvByteArray stream;
  if (Encode(work, manager, dbWriteMutex, stream)) {
    insert.BindBlob(5, stream);
    StepAndReport(db, insert, kSaveRecordMessages.stepFailed);
  }
  FinalizeAndReport(db, insert, kSaveRecordMessages.finalizeFailed);
}
