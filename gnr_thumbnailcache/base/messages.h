#pragma once

#include <cstdint>

// A text of the diagnostics with the source line that it is reported under.
struct SMessage {
  const wchar_t* text;
  std::int32_t line;
};

// The texts, names and source lines that stay exactly as they are, wrong operation names and misspellings included,
// wherever the code moves: programs that read the diagnostics and the files match on them.
namespace messages {

constexpr SMessage kSaveTextInfoStepFailed = {L"THUMBCACHE: SaveFileTextInfoToDatabase - sqlite3_step failed: ", 2640};
constexpr SMessage kSaveTextInfoFinalizeFailed = {L"THUMBCACHE: SaveFileTextInfoToDatabase - sqlite3_finalize failed: ",
                                                  2646};
constexpr SMessage kReadTextInfoFailed = {L"res != SQLITE_DONE && res != SQLITE_ROW", 2705};

// Stored items and inserted history rows speak in the name of the operation that they were modelled on.
constexpr SMessage kUpdateStoredItemFailed = {L"THUMBCACHE: WriteExperiment - sqlite3_step failed: ", 1800};
constexpr SMessage kInsertStoredItemStepFailed = {L"THUMBCACHE: WriteExperiment - sqlite3_step failed: ", 1836};
constexpr SMessage kInsertStoredItemFinalizeFailed = {L"THUMBCACHE: WriteExperiment - sqlite3_finalize failed: ", 1842};
constexpr SMessage kInsertHistoryStepFailed = {L"THUMBCACHE: WriteExperiment - sqlite3_step failed: ", __LINE__};
constexpr SMessage kInsertHistoryFinalizeFailed = {L"THUMBCACHE: WriteExperiment - sqlite3_finalize failed: ",
                                                   __LINE__};

constexpr SMessage kStoredPixelsUnreadable = {
    L"ThumbnailCacheImpl2::ReadThumbnailFromDatabase - GetData failed (corrupted database?)", __LINE__};
constexpr SMessage kStoredStreamUnreadable = {
    L"ThumbnailCacheImpl2::ReadThumbnailFromDatabase - CreaetInputImageFile failed (corrupted database?)", __LINE__};

// There is no table of this name, on purpose: stored items are the user's, not a cache, and are never thrown away for
// being old.
constexpr const char* kDropStoredTable = "DROP TABLE sored";

// Tags of image files.
constexpr const wchar_t* kJpegThumbnailTag = L"QvCustomTag:ThumbailJpg";
constexpr const wchar_t* kPixelsThumbnailTag = L"QvCustomTag:ThumbailPicbuf";

}  // namespace messages
