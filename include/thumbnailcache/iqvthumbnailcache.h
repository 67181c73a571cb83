#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "metadata/qvexperiment.h"
#include "metadata/qvimageinfo.h"
#include "metadata/qvpictureplanes.h"
#include "picture/qvpicbuf.h"
#include "system/qvclass.h"
#include "system/qvstring.h"
#include "system/qvtextinfo.h"
#include "system/qvthumbnaildescription.h"

// States of a thumbnail as GetCachedThumbnail reports them.
enum EQvThumbnailState : std::uint32_t {
  kQvThumbnailNone = 0,         // not known, or its source is missing
  kQvThumbnailQueued = 1,       // waiting for a worker
  kQvThumbnailInWork = 2,       // being made
  kQvThumbnailReady = 4,        // picture available
  kQvThumbnailFailed = 5,       // the source is damaged or unreadable
  kQvThumbnailDormant = 7,      // withdrawn, or its picture was evicted; asking for it queues it again
  kQvThumbnailStale = 8,        // picture available but outdated; remade once nobody holds it
  kQvThumbnailUnavailable = 9,  // this build cannot render such pixels
};

// Called on a worker thread, with no lock held, possibly on two threads at once, when a queued thumbnail is finished
// (made or failed). `location` is the lower-cased location, valid during the call. It may call every operation of the
// service but OpenDatabase and CloseDatabase, and must not give the last reference back: all three wait for the threads
// that call it.
using QvThumbnailCallback = void (*)(void* context, const wchar_t* location);
using QvThumbnailListener = std::pair<QvThumbnailCallback, void*>;

// The thumbnail cache service: class "CQvThumbnailCacheImpl", a singleton. The order of the operations is binding: it
// is the interface's dispatch table. Unless said otherwise an operation may be called from any thread while the
// database is open, returns 0, and never throws.
class IQvThumbnailCache : public qv_abi::SOwnTable, public virtual IQvInterface {
 public:
  // Looks in memory only. *state receives an EQvThumbnailState. When it is ready (4) or stale (8), *picture receives
  // the picture record and `referrer` (any 64-bit value that identifies the viewer) is noted: the pixels, shared with
  // the cache, stay valid and unchanged until ReleaseThumbnail with the same referrer and description. Else *picture is
  // untouched. A dormant thumbnail is queued again.
  virtual std::int32_t GetCachedThumbnail(std::uint64_t referrer, const SQvThumbnailDescription& desc,
                                          std::uint32_t* state, SQvPicBuf* picture) = 0;
  // Gives back what GetCachedThumbnail handed out. A stale thumbnail that nobody holds any more goes to the front of
  // the queue. For a database location whose `lastWritten` is news, the thumbnail becomes stale.
  virtual std::int32_t ReleaseThumbnail(std::uint64_t referrer, const SQvThumbnailDescription& desc) = 0;
  // Returns -2.
  virtual std::int32_t NotImplemented() = 0;
  // Withdraws every queued request that no worker has begun.
  virtual std::int32_t CancelAllRequests() = 0;
  // Withdraws the requests for these locations, spelled exactly as the lower-cased location. `referrer` is not used.
  virtual std::int32_t CancelRequests(std::uint64_t referrer, const SQvThumbnailDescription* descs,
                                      std::int32_t count) = 0;
  // For each description: makes the thumbnail (database first, then the source) on the calling thread when `queue` is
  // false; else queues it for the workers, which call the listeners when it is done. Failures show in the states only.
  virtual std::int32_t RequestThumbnails(std::uint64_t reserved1, const SQvThumbnailDescription* descs,
                                         std::uint32_t count, std::uint32_t reserved2, bool queue) = 0;
  // The workers leave an excluded location alone. Null is ignored.
  virtual void ExcludeLocation(const wchar_t* location) = 0;
  virtual void IncludeLocation(const wchar_t* location) = 0;
  // Empties the queue and frees every thumbnail that is neither referenced nor in work.
  virtual std::int32_t PurgeUnusedThumbnails() = 0;
  // Returns 0.
  virtual std::int32_t DoNothing() = 0;
  // Whether thumbnails are made in the high-quality box. Ready standard ones turn stale at their next lookup.
  virtual std::int32_t SetHighQuality(bool on) = 0;
  virtual std::int32_t GetHighQuality(bool* on) = 0;
  // The boxes, in pixels, that thumbnails are fitted into. Not checked. Null outputs are skipped.
  virtual std::int32_t SetThumbnailBox(std::uint32_t width, std::uint32_t height, bool highQuality) = 0;
  virtual std::int32_t GetThumbnailBox(bool highQuality, std::uint32_t* width, std::uint32_t* height) = 0;
  // Most thumbnails that keep pixels in memory; observed when the next one is made.
  virtual std::uint32_t GetCacheLimit() = 0;
  virtual std::int32_t SetCacheLimit(std::uint32_t limit) = 0;
  // Opens or creates the database file (null or empty: OrbThumbCache.db in the all-users documents folder), checks and
  // repairs its tables, sets the defaults and starts the workers. -9 on any failure, reported through the diagnostics;
  // the service then stays closed and may be opened again. One thread; no other operation may run at the same time.
  // Called by a listener, or by a host's image database while it is asked for a picture, it does nothing and returns
  // -9.
  virtual std::int32_t OpenDatabase(const wchar_t* path) = 0;
  // Stops the workers, purges and closes. As OpenDatabase for threads and for calls from inside a listener, which leave
  // everything open; the last Release from inside one leaves the service alive and open for whoever asks for it next.
  virtual std::int32_t CloseDatabase() = 0;
  // Returns false.
  virtual bool IgnoreLocation(CQvStringW location) = 0;
  // The text information of an image file, from the database while the file is unchanged, else from the file. Loop
  // counts: time, z, stage positions, channels; the pointer may be null. Outputs are references, calibration in
  // micrometres per pixel (0 unknown), acqTime a Julian day number (0 unknown), fileSize in bytes. -9 when the file
  // gives none; outputs may then be partly reset. Works without an open database.
  virtual std::int32_t GetFileTextInfo(const wchar_t* path, SQvImageTextInfo& textInfo, SQvImageInfo& imageInfo,
                                       double& calibration, CQvStringW& objective, double& acqTime,
                                       std::int64_t& fileSize, std::uint32_t* loopCounts) = 0;
  // Stores an experiment, or finds an equal one already stored and refreshes its time and (when `storedID` is not
  // negative) its stored item. *experimentID, which may be null, receives its id. -9 for a null or empty experiment; 0
  // with nothing done when no database is open; else SQLite's result.
  virtual std::int32_t WriteExperiment(const SQvExperiment* experiment, const SQvPicturePlanes* planes, double acqTime,
                                       int storedID, int* experimentID) = 0;
  // Reads an experiment. *experiment is allocated and becomes the caller's (SQvExperiment::FreeRecursive). An unknown
  // id leaves the outputs untouched and returns 0. -9 for a null `experiment` or `planes`; `acqTime` may be null.
  virtual std::int32_t ReadExperiment(SQvExperiment** experiment, SQvPicturePlanes* planes, double* acqTime,
                                      int experimentID) = 0;
  // Lists a user's acquisitions with acqFrom <= time < acqTo, in no particular order. `experimentIDs` is emptied first;
  // the two other lists are appended to. With (-1.0, -1.0): one entry, id -1 and the earliest time of all users (0 when
  // there is none), no file name; `filenames` may then be null. -9 without a database.
  virtual std::int32_t ReadHistory(const wchar_t* userID, double acqFrom, double acqTo, std::vector<int>* experimentIDs,
                                   std::vector<double>* acqTimes, std::vector<CQvStringW>* filenames) = 0;
  // The experiments of a stored item; the list is emptied first. -9 without a database.
  virtual std::int32_t GetExperimentIDsByStoredID(int storedID, std::vector<int>* experimentIDs) = 0;
  // Deletes an experiment's history with acqFrom <= time < acqTo, and the experiment when no history is left. -9
  // without a database or when the delete fails.
  virtual std::int32_t DeleteHistory(double acqFrom, double acqTo, int experimentID) = 0;
  // Records an acquisition; a file already recorded for the user keeps its experiment and gets the new time. -9 for a
  // null file name; 0 with nothing done without a database; else SQLite's result (a file has one row, whoever took it).
  virtual std::int32_t WriteHistory(const wchar_t* filename, const wchar_t* userID, double acqTime,
                                    int experimentID) = 0;
  // The files of a user's experiment with acqFrom <= time < acqTo; the list is emptied first. -9 without a database.
  virtual std::int32_t GetHistoryFilenames(const wchar_t* userID, int experimentID, double acqFrom, double acqTo,
                                           std::vector<CQvStringW>* filenames) = 0;
  // Updates a stored item. 0 when it exists, -9 when not.
  virtual std::int32_t UpdateStoredItem(int storedID, int parentID, const wchar_t* filename, int flags) = 0;
  // Inserts a stored item; *newStoredID, which may be null, receives its id. -9 for a null name; 0 with nothing done
  // without a database; else SQLite's result.
  virtual std::int32_t InsertStoredItem(int parentID, const wchar_t* filename, int flags, int* newStoredID) = 0;
  // Children of a stored item, in no particular order; both lists are emptied first and stay parallel. -9 without a
  // database, the lists untouched.
  virtual std::int32_t GetStoredChildren(int parentID, std::vector<int>* ids, std::vector<CQvStringW>* filenames) = 0;
  // Deletes a stored item and everything below it. Every item is visited once, also where parent links form a cycle.
  // -9 without a database.
  virtual std::int32_t DeleteStoredItem(int storedID) = 0;
  // Registers a listener (the same pair may be registered again); the result is the handle for RemoveListener, or an
  // empty pair when memory is out and nothing was registered. It is first called for the next thumbnail.
  virtual QvThumbnailListener AddListener(QvThumbnailCallback callback, void* context) = 0;
  // Removes the first equal listener. After it has returned no call of that listener begins, not for a thumbnail of
  // which other listeners are being told either, and not when a listener removes another; one that has begun may still
  // be running.
  virtual void RemoveListener(const QvThumbnailListener& listener) = 0;

 protected:
  ~IQvThumbnailCache() = default;
};
