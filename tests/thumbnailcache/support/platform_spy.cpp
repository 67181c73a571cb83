#include "tests/thumbnailcache/support/platform_spy.h"

#include <map>
#include <mutex>
#include <sstream>

#include "system/qvfile.h"
#include "system/qvrtti.h"
#include "system/qvstring.h"
#include "tests/support/next_function.h"

namespace {

struct SState {
  std::mutex mutex;
  bool recording = false;
  std::vector<std::string> calls;
  std::map<void*, SQvPicBuf> pictures;
};

SState& State() {
  static SState state;
  return state;
}

template <class... Args>
void Note(const Args&... args) {
  std::lock_guard lock(State().mutex);
  if (!State().recording) return;
  std::ostringstream line;
  (line << ... << args);
  State().calls.push_back(line.str());
}

std::string Narrow(const wchar_t* text) { return CQvStringUtils::WtoUTF8(text).Str(); }

}  // namespace

std::int32_t CQvPicBufAPI::Reinit(SQvPicBuf* picture, std::uint32_t width, std::uint32_t height,
                                  std::uint32_t widthBytes, std::uint32_t bpc, std::uint32_t components,
                                  bool clear) noexcept {
  static const auto real =
      qvtest::NextFunction<decltype(&CQvPicBufAPI::Reinit)>("_ZN12CQvPicBufAPI6ReinitEP9SQvPicBufjjjjjb");
  Note("Reinit ", width, "x", height, " ", widthBytes, " ", bpc, " ", components, clear ? " true" : " false");
  {
    std::lock_guard lock(State().mutex);
    State().pictures.erase(picture->data);
  }
  const std::int32_t result = real(picture, width, height, widthBytes, bpc, components, clear);
  std::lock_guard lock(State().mutex);
  if (picture->data) State().pictures[picture->data] = *picture;
  return result;
}

void CQvPicBufAPI::Free(SQvPicBuf* picture) noexcept {
  static const auto real = qvtest::NextFunction<decltype(&CQvPicBufAPI::Free)>("_ZN12CQvPicBufAPI4FreeEP9SQvPicBuf");
  if (picture->data) {
    Note("Free");
    std::lock_guard lock(State().mutex);
    State().pictures.erase(picture->data);
  }
  real(picture);
}

std::int32_t CQvPicBufAPI_GeomTrans::Stretch(SQvPicBuf* destination, const SQvPicBuf* source,
                                             std::int32_t mode) noexcept {
  static const auto real = qvtest::NextFunction<decltype(&CQvPicBufAPI_GeomTrans::Stretch)>(
      "_ZN22CQvPicBufAPI_GeomTrans7StretchEP9SQvPicBufPKS0_i");
  Note("Stretch ", mode);
  return real(destination, source, mode);
}

IQvInterface* CQvRTTI::CreateAndQuery(const char* className, const char* interfaceName, const SQvFileLine& where) {
  static const auto real =
      qvtest::NextFunction<decltype(&CQvRTTI::CreateAndQuery)>("_ZN7CQvRTTI14CreateAndQueryEPKcS1_RK11SQvFileLine");
  Note("CreateAndQuery ", className, " ", interfaceName, " ", where.file, " ", where.line);
  return real(className, interfaceName, where);
}

void CQvRTTI::Release(IQvInterface* object) {
  static const auto real = qvtest::NextFunction<decltype(&CQvRTTI::Release)>("_ZN7CQvRTTI7ReleaseEP12IQvInterface");
  if (object) Note("Release ", object->GetClassName());
  real(object);
}

QV_EXPORT std::int32_t QV_OpenFile(const wchar_t* path, std::uint32_t access, std::uint32_t share,
                                   std::uint32_t attributes, QvFileHandle* handle) {
  static const auto real = qvtest::NextFunction<decltype(&QV_OpenFile)>("_Z11QV_OpenFilePKwjjjPi");
  Note("QV_OpenFile ", Narrow(path), " ", access, " ", share, " ", attributes);
  return real(path, access, share, attributes, handle);
}

QV_EXPORT std::int32_t QV_GetFileSize(QvFileHandle handle, std::int64_t* size) {
  static const auto real = qvtest::NextFunction<decltype(&QV_GetFileSize)>("_Z14QV_GetFileSizeiPl");
  Note("QV_GetFileSize");
  return real(handle, size);
}

QV_EXPORT std::int32_t QV_GetFileTimes(QvFileHandle handle, SQvFileTime* creation, SQvFileTime* lastAccess,
                                       SQvFileTime* lastWrite) {
  static const auto real = qvtest::NextFunction<decltype(&QV_GetFileTimes)>("_Z15QV_GetFileTimesiP11SQvFileTimeS0_S0_");
  Note("QV_GetFileTimes ", creation != nullptr, " ", lastAccess != nullptr, " ", lastWrite != nullptr);
  return real(handle, creation, lastAccess, lastWrite);
}

QV_EXPORT std::int32_t QV_CloseFile(QvFileHandle handle) {
  static const auto real = qvtest::NextFunction<decltype(&QV_CloseFile)>("_Z12QV_CloseFilei");
  Note("QV_CloseFile");
  return real(handle);
}

QV_EXPORT std::int32_t QV_FindFileFirst(const wchar_t* path, SQvFindData* data, QvFindHandle* find) {
  static const auto real =
      qvtest::NextFunction<decltype(&QV_FindFileFirst)>("_Z16QV_FindFileFirstPKwP11SQvFindDataPPv");
  Note("QV_FindFileFirst ", Narrow(path));
  return real(path, data, find);
}

QV_EXPORT std::int32_t QV_FindFileClose(QvFindHandle find) {
  static const auto real = qvtest::NextFunction<decltype(&QV_FindFileClose)>("_Z16QV_FindFileClosePv");
  Note("QV_FindFileClose");
  return real(find);
}

namespace qvtest {

void CPlatformSpy::Reset() {
  Record(false);
  FreeLeftPictures();
}

void CPlatformSpy::Record(bool on) {
  std::lock_guard lock(State().mutex);
  State().recording = on;
  State().calls.clear();
}

std::vector<std::string> CPlatformSpy::TakeCalls() {
  std::lock_guard lock(State().mutex);
  return std::exchange(State().calls, {});
}

std::vector<std::string> CPlatformSpy::TakeCalls(const std::vector<std::string>& prefixes) {
  std::vector<std::string> wanted;
  for (const std::string& call : TakeCalls())
    for (const std::string& prefix : prefixes)
      if (call.starts_with(prefix)) wanted.push_back(call);
  return wanted;
}

int CPlatformSpy::LivePictures() {
  std::lock_guard lock(State().mutex);
  return static_cast<int>(State().pictures.size());
}

void CPlatformSpy::FreeLeftPictures() {
  std::map<void*, SQvPicBuf> left;
  {
    std::lock_guard lock(State().mutex);
    left.swap(State().pictures);
  }
  for (auto& [data, picture] : left) CQvPicBufAPI::Free(&picture);
}

}  // namespace qvtest
