#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/system/component_library.h"
#include "platform/system/mutex.h"
#include "platform/system/registration_text.h"
#include "system/qvdiag.h"
#include "system/qvfile.h"
#include "system/qvrtti.h"
#include "system/qvrtti_records.h"
#include "system/qvstatus.h"

namespace {

constexpr const char* kSource = "platform/system/registry";

struct SRegistry {
  CMutex mutex;
  std::map<std::string, SQvRTTICacheEntry, std::less<>> classes QV_GUARDED_BY(mutex);
  // Held while factories of singleton classes run and while references to their objects are dropped. Recursive: such a
  // factory or destructor may itself use the registry.
  CRecursiveMutex singletonMutex;
  // Held while libraries are loaded and unloaded, before `mutex`: one scan at a time.
  CRecursiveMutex scanMutex;
};

SRegistry& Registry() {
  // Never destroyed: components released by static destructors still come here.
  static auto* registry = new SRegistry;
  return *registry;
}

void Notice(const std::string& library, const wchar_t* text) {
  const CQvStringW path = CQvStringUtils::UTF8toW(library);
  DiagOutputExW_hlp(kSource, -1);
  DiagOutputExW(L"REGISTRY: %s: %s", path.c_str(), text);
}

// The records of the library's classes that have a factory.
std::vector<SQvRTTICacheEntry> ReadRecords(const CComponentLibrary& library, const std::string& path) {
  std::vector<SQvRTTICacheEntry> records;
  const std::optional<std::u16string> data = library.RegistrationData();
  if (!data) return records;
  std::vector<SQvRTTIClass> classes;
  if (const wchar_t* error = ParseRegistrationData(*data, &classes)) {
    Notice(path, (std::wstring(L"malformed registration data: ") + error).c_str());
    return records;
  }
  for (SQvRTTIClass& one : classes) {
    const std::string name = CQvStringUtils::WtoUTF8(one.className).Str();
    SQvRTTICacheEntry record;
    record.factory = library.FindOwnSymbol(("QV_ConstructorFor" + name).c_str());
    if (!record.factory) {
      Notice(path, (L"no factory for class " + one.className.Str()).c_str());
      continue;
    }
    record.registration = std::move(one);
    record.libraryPath = CQvStringUtils::UTF8toW(path);
    records.push_back(std::move(record));
  }
  return records;
}

std::int32_t AddLibrary(const std::string& path) {
  CComponentLibrary library(path);
  if (!library.IsLoaded()) return 0;
  std::vector<SQvRTTICacheEntry> records = ReadRecords(library, path);
  SRegistry& registry = Registry();
  const CMutexLock lock(registry.mutex);
  std::int32_t added = 0;
  // A component library stays loaded even when its classes are known already: unloading it would unload libraries that
  // cannot give back what they set up.
  void* handle = records.empty() ? nullptr : library.KeepLoaded();
  for (SQvRTTICacheEntry& record : records) {
    const std::string name = CQvStringUtils::WtoUTF8(record.registration.className).Str();
    if (registry.classes.count(name) != 0) continue;
    record.library = handle;
    registry.classes.emplace(name, std::move(record));
    ++added;
  }
  return added;
}

struct SFactory {
  QvFactory function = nullptr;
  bool singleton = false;
};

SFactory FindFactory(const char* className) {
  SFactory found;
  if (!className) return found;
  SRegistry& registry = Registry();
  const CMutexLock lock(registry.mutex);
  const auto record = registry.classes.find(std::string_view(className));
  if (record == registry.classes.end()) return found;
  found.function = reinterpret_cast<QvFactory>(record->second.factory);
  found.singleton = record->second.registration.singleton;
  return found;
}

IQvInterface* Create(const SFactory& factory, const char* interfaceName, const SQvFileLine& where) {
  const char* file = where.file ? where.file : "no file";
  IQvInterface* object = factory.function(file, static_cast<unsigned int>(where.line));
  if (!object) return nullptr;
  IQvInterface* wanted = object->QueryInterface(interfaceName);
  object->Release();
  return wanted;
}

}  // namespace

std::int32_t CQvRTTI::ScanFolder(const wchar_t* folder) {
  CQvStringA native;
  std::vector<std::string> paths;
  if (QV_ResolvePath(folder, &native) != kQvOk || !ListLibraries(native.Str(), &paths)) return kQvFailure;
  const CMutexLock lock(Registry().scanMutex);
  std::int32_t added = 0;
  for (const std::string& path : paths) added += AddLibrary(path);
  return added;
}

CQvStringW CQvRTTI::GetLibraryFolder() { return CQvStringUtils::UTF8toW(OwnLibraryFolder()); }

bool CQvRTTI::FindClass(const char* className, SQvRTTICacheEntry* entry) {
  if (!className || !entry) return false;
  SRegistry& registry = Registry();
  const CMutexLock lock(registry.mutex);
  const auto record = registry.classes.find(std::string_view(className));
  if (record == registry.classes.end()) return false;
  *entry = record->second;
  return true;
}

IQvInterface* CQvRTTI::CreateAndQuery(const char* className, const char* interfaceName, const SQvFileLine& where) {
  const SFactory factory = FindFactory(className);
  if (!factory.function || !interfaceName) return nullptr;
  try {
    if (!factory.singleton) return Create(factory, interfaceName, where);
    const CMutexLock lock(Registry().singletonMutex);
    return Create(factory, interfaceName, where);
  } catch (...) {
    DiagOutputExW_hlp(kSource, -1);
    DiagOutputExW(L"REGISTRY: the factory of class %hs failed", className);
    return nullptr;
  }
}

void CQvRTTI::Release(IQvInterface* object) {
  if (!object) return;
  if (!FindFactory(object->GetClassName()).singleton) {
    object->Release();
    return;
  }
  const CMutexLock lock(Registry().singletonMutex);
  object->Release();
}

void CQvRTTI::Reset() {
  SRegistry& registry = Registry();
  const CMutexLock lock(registry.mutex);
  registry.classes.clear();
}
