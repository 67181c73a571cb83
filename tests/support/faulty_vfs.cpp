#include "tests/support/faulty_vfs.h"

#include <csignal>

#include <memory>

namespace qvtest {
namespace {

// A file, with room behind it for the real one.
struct SFile {
  sqlite3_file base;
  CFaultyVfs* vfs;
  sqlite3_file* real;
};

SFile* Own(sqlite3_file* file) { return reinterpret_cast<SFile*>(file); }
sqlite3_file* Real(sqlite3_file* file) { return Own(file)->real; }
const sqlite3_io_methods* RealMethods(sqlite3_file* file) { return Real(file)->pMethods; }
int TakeFault(sqlite3_file* file, bool needsRoom, int ioError) { return Own(file)->vfs->TakeFault(needsRoom, ioError); }

int Close(sqlite3_file* file) { return RealMethods(file)->xClose(Real(file)); }

int Read(sqlite3_file* file, void* data, int size, sqlite3_int64 at) {
  if (const int fault = TakeFault(file, false, SQLITE_IOERR_READ)) return fault;
  return RealMethods(file)->xRead(Real(file), data, size, at);
}

int Write(sqlite3_file* file, const void* data, int size, sqlite3_int64 at) {
  if (const int fault = TakeFault(file, true, SQLITE_IOERR_WRITE)) return fault;
  return RealMethods(file)->xWrite(Real(file), data, size, at);
}

int Truncate(sqlite3_file* file, sqlite3_int64 size) {
  if (const int fault = TakeFault(file, false, SQLITE_IOERR_TRUNCATE)) return fault;
  return RealMethods(file)->xTruncate(Real(file), size);
}

int Sync(sqlite3_file* file, int flags) {
  if (const int fault = TakeFault(file, true, SQLITE_IOERR_FSYNC)) return fault;
  return RealMethods(file)->xSync(Real(file), flags);
}

int FileSize(sqlite3_file* file, sqlite3_int64* size) {
  if (const int fault = TakeFault(file, false, SQLITE_IOERR_FSTAT)) return fault;
  return RealMethods(file)->xFileSize(Real(file), size);
}

int Lock(sqlite3_file* file, int level) {
  if (const int fault = TakeFault(file, false, SQLITE_IOERR_LOCK)) return fault;
  return RealMethods(file)->xLock(Real(file), level);
}

int Unlock(sqlite3_file* file, int level) { return RealMethods(file)->xUnlock(Real(file), level); }

int CheckReservedLock(sqlite3_file* file, int* held) {
  if (const int fault = TakeFault(file, false, SQLITE_IOERR_CHECKRESERVEDLOCK)) return fault;
  return RealMethods(file)->xCheckReservedLock(Real(file), held);
}

int FileControl(sqlite3_file* file, int what, void* argument) {
  return RealMethods(file)->xFileControl(Real(file), what, argument);
}
int SectorSize(sqlite3_file* file) { return RealMethods(file)->xSectorSize(Real(file)); }
int DeviceCharacteristics(sqlite3_file* file) { return RealMethods(file)->xDeviceCharacteristics(Real(file)); }

int ShmMap(sqlite3_file* file, int region, int size, int extend, void volatile** memory) {
  if (const int fault = TakeFault(file, extend != 0, SQLITE_IOERR_SHMMAP)) return fault;
  return RealMethods(file)->xShmMap(Real(file), region, size, extend, memory);
}

int ShmLock(sqlite3_file* file, int offset, int count, int flags) {
  if (flags & SQLITE_SHM_LOCK) {
    if (const int fault = TakeFault(file, false, SQLITE_IOERR_SHMLOCK)) return fault;
  }
  return RealMethods(file)->xShmLock(Real(file), offset, count, flags);
}

void ShmBarrier(sqlite3_file* file) { RealMethods(file)->xShmBarrier(Real(file)); }
int ShmUnmap(sqlite3_file* file, int remove) { return RealMethods(file)->xShmUnmap(Real(file), remove); }

// Version 2: with shared memory, without mapped files.
constexpr sqlite3_io_methods kMethods = {2,
                                         Close,
                                         Read,
                                         Write,
                                         Truncate,
                                         Sync,
                                         FileSize,
                                         Lock,
                                         Unlock,
                                         CheckReservedLock,
                                         FileControl,
                                         SectorSize,
                                         DeviceCharacteristics,
                                         ShmMap,
                                         ShmLock,
                                         ShmBarrier,
                                         ShmUnmap,
                                         nullptr,
                                         nullptr};

CFaultyVfs& Vfs(sqlite3_vfs* vfs) { return *static_cast<CFaultyVfs*>(vfs->pAppData); }

int Open(sqlite3_vfs* vfs, sqlite3_filename path, sqlite3_file* file, int flags, int* outFlags) {
  file->pMethods = nullptr;
  if (const int fault = Vfs(vfs).TakeFault((flags & SQLITE_OPEN_CREATE) != 0, SQLITE_CANTOPEN)) return fault;
  SFile* own = Own(file);
  own->vfs = &Vfs(vfs);
  own->real = reinterpret_cast<sqlite3_file*>(own + 1);
  sqlite3_vfs* real = Vfs(vfs).Real();
  const int result = real->xOpen(real, path, own->real, flags, outFlags);
  if (own->real->pMethods) file->pMethods = &kMethods;
  return result;
}

int Delete(sqlite3_vfs* vfs, const char* path, int sync) {
  if (const int fault = Vfs(vfs).TakeFault(false, SQLITE_IOERR_DELETE)) return fault;
  sqlite3_vfs* real = Vfs(vfs).Real();
  return real->xDelete(real, path, sync);
}

int Access(sqlite3_vfs* vfs, const char* path, int flags, int* result) {
  if (const int fault = Vfs(vfs).TakeFault(false, SQLITE_IOERR_ACCESS)) return fault;
  sqlite3_vfs* real = Vfs(vfs).Real();
  return real->xAccess(real, path, flags, result);
}

}  // namespace

CFaultyVfs::CFaultyVfs() : m_real(sqlite3_vfs_find(nullptr)) {
  m_vfs = *m_real;
  m_vfs.pNext = nullptr;
  m_vfs.zName = "qvtest-faulty";
  m_vfs.pAppData = this;
  m_vfs.szOsFile = static_cast<int>(sizeof(SFile)) + m_real->szOsFile;
  m_vfs.xOpen = Open;
  m_vfs.xDelete = Delete;
  m_vfs.xAccess = Access;
  sqlite3_vfs_register(&m_vfs, 1);
}

CFaultyVfs::~CFaultyVfs() {
  sqlite3_vfs_unregister(&m_vfs);
  sqlite3_vfs_register(m_real, 1);
}

void CFaultyVfs::Fail(EFault fault, long room, bool fromThenOn) {
  m_fault = fault;
  m_fromThenOn = fromThenOn;
  m_failed = false;
  m_room = room;
  m_armed = true;
}

void CFaultyVfs::Heal() { m_armed = false; }

int CFaultyVfs::TakeFault(bool needsRoom, int ioError) {
  const bool full = m_fault == EFault::DiskFull;
  if (!m_armed || (full && !needsRoom)) return SQLITE_OK;
  const long before = m_room.fetch_sub(1);
  if (before > 0 || (before < 0 && !m_fromThenOn)) return SQLITE_OK;
  m_failed = true;
  if (m_fault == EFault::Kill) raise(SIGKILL);
  return full ? SQLITE_FULL : ioError;
}

}  // namespace qvtest
