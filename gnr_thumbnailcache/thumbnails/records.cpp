#include "gnr_thumbnailcache/diagnostics.h"
#include "gnr_thumbnailcache/platform_object.h"
#include "gnr_thumbnailcache/statement.h"
#include "gnr_thumbnailcache/thumbnailcache_impl.h"
#include "gnr_thumbnailcache/thumbnails/thumbnail_work.h"
#include "system/qvstatus.h"

namespace {

constexpr double kJpegQuality = 0.8;

constexpr const wchar_t* kReadFailed =
    L"ThumbnailCacheImpl2::ReadThumbnailFromDatabase - GetData failed (corrupted database?)";
constexpr const wchar_t* kOpenFailed =
    L"ThumbnailCacheImpl2::ReadThumbnailFromDatabase - CreaetInputImageFile failed (corrupted database?)";

constexpr SQvWriteReport kSaveReport = {L"THUMBCACHE: SaveThumbnailToDatabase - sqlite3_step failed: ", __LINE__,
                                        L"THUMBCACHE: SaveThumbnailToDatabase - sqlite3_finalize failed: ", __LINE__};

struct SThumbnailRow {
  double lastWritten = 0.0;
  CQvByteArray stream;
  bool highQuality = false;
};

void BindIdentity(CQvStatement& statement, const SThumbnailFields& thumbnail) {
  statement.BindText(1, CQvStringUtils::WtoUTF8(thumbnail.location));
  statement.BindInt(2, static_cast<std::int32_t>(thumbnail.flags));
}

// The statement ends here, before the picture is decoded: decoding must not hold the connection.
bool ReadRow(sqlite3* db, const SThumbnailFields& thumbnail, SThumbnailRow* row) {
  CQvStatement statement(db, "SELECT lastWritten, binData, quality FROM cache WHERE filename = :FN AND flags = :FL");
  BindIdentity(statement, thumbnail);
  const int res = statement.Step();
  if (res != SQLITE_DONE && res != SQLITE_ROW) {
    ReportAssertion(__LINE__, L"res != SQLITE_DONE && res != SQLITE_ROW");
  }
  if (res != SQLITE_ROW) return false;
  row->lastWritten = statement.GetDouble(0);
  row->stream = statement.GetBlob(1);
  row->highQuality = statement.GetInt(2) != 0;
  return true;
}

// Opens a stored stream and accepts what a thumbnail can be. False when it is anything else.
bool OpenStream(const CQvByteArray& stream, IQvImageFormatManager* manager, CCodecRef* codec, CPictureSourceRef* source,
                SQvImageInfo* info) {
  return manager && manager->GetCodecByName("JPG", codec->Out()) == kQvOk &&
         (*codec)->OpenInputMemory(stream.GetData(0), stream.GetSize(), source->Out()) == kQvOk &&
         (*source)->GetPictureInfo(info) == kQvOk && info->width != 0 && info->height != 0 &&
         info->bpcSignificant == 8 && info->components == 3;
}

// Null on success, else what to report.
const wchar_t* Decode(const CQvByteArray& stream, IQvImageFormatManager* manager, CThumbnailWork& work) {
  CCodecRef codec;
  CPictureSourceRef source;
  SQvImageInfo info;
  if (!OpenStream(stream, manager, &codec, &source, &info)) return kOpenFailed;
  if (!work.GiveShape(info.width, info.height, info.bpcInMemory)) return kReadFailed;
  return source->ReadPicture(&work.picture, 0, 0) == kQvOk ? nullptr : kReadFailed;
}

SQvImageInfo DescribeForOutput(const SQvPicBuf& picture) {
  SQvImageInfo format;
  format.width = format.tileWidth = picture.width;
  format.height = format.tileHeight = picture.height;
  format.widthBytes = picture.widthBytes;
  format.bpcInMemory = format.bpcSignificant = static_cast<std::uint8_t>(picture.bpc);
  format.components = picture.components;
  format.pixelType = kQvPixelUnsigned;
  format.sequenceCount = 1;
  return format;
}

}  // namespace

bool CQvThumbnailCacheImpl::ReadThumbnailFromDatabase(CThumbnailWork& work, IQvImageFormatManager* manager) {
  sqlite3* db = GetDatabase();
  if (!db) return false;
  SThumbnailRow row;
  if (!ReadRow(db, work, &row)) {
    work.state = work.HasPicture() ? kQvThumbnailStale : kQvThumbnailNone;
    return false;
  }
  if (const wchar_t* failure = Decode(row.stream, manager, work)) {
    ReportText(__LINE__, failure);
    work.DropPicture();
    work.state = kQvThumbnailFailed;
    return false;
  }
  work.lastWritten = row.lastWritten;
  work.knowsLastWritten = true;
  work.highQuality = row.highQuality;
  work.state = kQvThumbnailReady;
  return true;
}

bool CQvThumbnailCacheImpl::EncodeThumbnail(const CThumbnailWork& work, IQvImageFormatManager* manager,
                                            CQvByteArray& stream) {
  COutputFileRef output;
  {
    const CQvLockGuard lock(m_dbWriteMutex);
    CCodecRef codec;
    if (!manager || manager->GetCodecByName("JPG", codec.Out()) != kQvOk ||
        codec->CreateOutputMemory(&stream, output.Out()) != kQvOk) {
      return false;
    }
  }
  return output->SetPictureFormat(DescribeForOutput(work.picture), kJpegQuality) == kQvOk &&
         output->WritePicture(work.picture.data, 0, 0) == kQvOk && output->Finish() == kQvOk;
}

void CQvThumbnailCacheImpl::SaveThumbnailToDatabase(const CThumbnailWork& work, IQvImageFormatManager* manager) {
  sqlite3* db = GetDatabase();
  if (!db) return;
  CQvStatement remove(db, "DELETE FROM cache WHERE filename = :FN AND flags = :FL");
  BindIdentity(remove, work);
  if (remove.Step() != SQLITE_DONE) {
    remove.ResetAndLeave();
    return;
  }
  remove.Finalize();
  CQvStatement insert(db,
                      "INSERT INTO cache (filename, flags, lastWritten, quality, binData) "
                      "VALUES (:FN, :FL, :LW, :QU, :BD)");
  BindIdentity(insert, work);
  insert.BindDouble(3, work.lastWritten);
  insert.BindInt(4, work.highQuality ? 1 : 0);
  CQvByteArray stream;
  if (EncodeThumbnail(work, manager, stream)) {
    insert.BindBlob(5, stream);
    StepAndReport(db, insert, kSaveReport);
  }
  FinalizeAndReport(db, insert, kSaveReport);
}
