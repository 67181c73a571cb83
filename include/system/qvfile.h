#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "system/qvdatetime.h"
#include "system/qvexport.h"
#include "system/qvstring.h"

// The platform's file calls. Paths are wide strings; every call that takes one finds the file through the same layer:
// the exact path first, then, on a case-sensitive file system, component by component without regard to case: the exact
// name, else a unique match, else the first in byte order whose continuation exists. Folder listings are remembered by
// folder and modification time. A file that is opened from a folder where another name differs in case only is reported
// through the diagnostics, once for each folder and name. Safe from any thread; each handle by one thread at a time.
//
// A picture may be a folder (OME-Zarr): one that holds a regular file of one of the names below. It is opened, and
// found, as a regular file is, by its own name or that of such a file in it; its last-write time is the newest, and its
// size the sum, of what a thumbnail of it is made from. At most 2,000 of its files and folders are looked at: the
// descriptions first, then the levels of resolution, smallest first.

#if defined(_WIN32)
using QvFileHandle = void*;
#else
using QvFileHandle = int;  // a file descriptor, so that a codec's library can read through it
#endif
using QvFindHandle = void*;

// QV_OpenFile `access`
constexpr std::uint32_t kQvFileRead = 1;
// QV_OpenFile `share`
constexpr std::uint32_t kQvShareRead = 1;
constexpr std::uint32_t kQvShareWrite = 2;
// QV_OpenFile `attributes`
constexpr std::uint32_t kQvAnyAttributes = 0xFFFFFFFFu;

// The names that make a folder a picture; the first one that is there describes it.
inline constexpr std::array<const char*, 2> kQvPictureDocuments = {"zarr.json", ".zattrs"};

struct SQvFindData {
  std::uint32_t isFolder = 0;
  SQvFileTime creationTime;  // birth time where the file system has one, else the last-write time
  SQvFileTime lastAccessTime;
  SQvFileTime lastWriteTime;
  std::int64_t size = 0;
};

// Opens a regular file, or a folder that is a picture, for reading; `access` must be kQvFileRead, `share` and
// `attributes` are hints that POSIX has no use for. Another folder, a FIFO, device or socket is refused without
// waiting. Returns 0, or -9 with *handle untouched.
QV_SYSTEM_API std::int32_t QV_OpenFile(const wchar_t* path, std::uint32_t access, std::uint32_t share,
                                       std::uint32_t attributes, QvFileHandle* handle);
// Opens a regular file below an opened folder. `name` is a relative path in the file system's bytes, of plain names
// with slashes between them; neither it nor a link on the way leads out of the folder. 0, or -9 with *file untouched.
QV_SYSTEM_API std::int32_t QV_OpenFileBelow(QvFileHandle folder, const char* name, QvFileHandle* file);
// Whether the handle is that of a folder.
QV_SYSTEM_API bool QV_IsFolder(QvFileHandle handle) noexcept;
// Size in bytes. 0, or -9 with *size untouched.
QV_SYSTEM_API std::int32_t QV_GetFileSize(QvFileHandle handle, std::int64_t* size);
// The three times; each pointer may be null. 0, or -9 with the outputs untouched.
QV_SYSTEM_API std::int32_t QV_GetFileTimes(QvFileHandle handle, SQvFileTime* creation, SQvFileTime* lastAccess,
                                           SQvFileTime* lastWrite);
QV_SYSTEM_API std::int32_t QV_CloseFile(QvFileHandle handle);

// Finds the file or folder of that path (no wildcards) and fills *data. 0, *find to be closed; or -9, outputs
// untouched.
QV_SYSTEM_API std::int32_t QV_FindFileFirst(const wchar_t* path, SQvFindData* data, QvFindHandle* find);
QV_SYSTEM_API std::int32_t QV_FindFileClose(QvFindHandle find);

// The name under which the path really exists, in the file system's bytes, for libraries that open files themselves.
// When nothing matches, the path converted as it stands. 0, or -9 for a null or empty path.
QV_SYSTEM_API std::int32_t QV_ResolvePath(const wchar_t* path, CQvStringA* native);

// True in a process with 64-bit pointers.
QV_SYSTEM_API bool QV_Is64Bit() noexcept;
// Leading blanks, a sign and decimal digits; 0 for null or no digits; saturates at the limits of 32 bits.
QV_SYSTEM_API std::int32_t QV_wtoi(const wchar_t* text) noexcept;
