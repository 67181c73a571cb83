#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "platform/system/component_library.h"
#include "platform/system/posix_handles.h"
#include "system/qvrtti.h"

namespace {

// The end of the loaded segment that holds an address; 0 when none does.
struct SSegmentQuery {
  std::uintptr_t address = 0;
  std::uintptr_t end = 0;
};

int FindSegment(dl_phdr_info* info, std::size_t, void* context) noexcept {
  auto* query = static_cast<SSegmentQuery*>(context);
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const auto& header = info->dlpi_phdr[i];
    const std::uintptr_t begin = info->dlpi_addr + header.p_vaddr;
    if (header.p_type != PT_LOAD || query->address < begin || query->address - begin >= header.p_memsz) continue;
    query->end = begin + header.p_memsz;
    return 1;
  }
  return 0;
}

std::size_t ReadableSize(const void* symbol, std::size_t declared) noexcept {
  SSegmentQuery query;
  query.address = reinterpret_cast<std::uintptr_t>(symbol);
  ::dl_iterate_phdr(&FindSegment, &query);
  const std::size_t mapped = query.end ? query.end - query.address : 0;
  return declared == 0 ? mapped : std::min(declared, mapped);
}

// The texts and the empty one that ends them, or `most` units without one. What lies behind may be a sanitizer's.
std::u16string CopyTexts(const void* texts, std::size_t most) {
  std::u16string units;
  for (bool isEmptySoFar = true; units.size() < most;) {
    char16_t unit;
    std::memcpy(&unit, static_cast<const char*>(texts) + units.size() * sizeof(unit), sizeof(unit));
    units += unit;
    if (unit == 0 && isEmptySoFar) break;
    isEmptySoFar = unit == 0;
  }
  return units;
}

bool IsRegularFile(const std::string& path) noexcept {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

bool IsLibraryName(std::string_view name) noexcept { return name.size() > 3 && name.substr(name.size() - 3) == ".so"; }

std::string RealPath(const char* path) {
  const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path, nullptr), &std::free);
  return real ? real.get() : "";
}

}  // namespace

CComponentLibrary::CComponentLibrary(const std::string& path) noexcept
    : m_handle(::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {}

CComponentLibrary::~CComponentLibrary() {
  if (m_handle) ::dlclose(m_handle);
}

void* CComponentLibrary::KeepLoaded() noexcept { return std::exchange(m_handle, nullptr); }

void* CComponentLibrary::FindOwnSymbol(const char* name) const noexcept {
  void* symbol = m_handle ? ::dlsym(m_handle, name) : nullptr;
  link_map* own = nullptr;
  void* holder = nullptr;
  Dl_info info;
  if (!symbol || ::dlinfo(m_handle, RTLD_DI_LINKMAP, &own) != 0) return nullptr;
  if (::dladdr1(symbol, &info, &holder, RTLD_DL_LINKMAP) == 0) return nullptr;
  return holder == own ? symbol : nullptr;
}

std::optional<std::u16string> CComponentLibrary::RegistrationData() const {
  const void* symbol = FindOwnSymbol(QV_REGISTRATION_SYMBOL);
  if (!symbol) return std::nullopt;
  Dl_info info;
  void* entry = nullptr;
  std::size_t declared = 0;
  if (::dladdr1(symbol, &info, &entry, RTLD_DL_SYMENT) != 0 && entry && info.dli_saddr == symbol) {
    declared = static_cast<const ElfW(Sym)*>(entry)->st_size;
  }
  return CopyTexts(symbol, ReadableSize(symbol, declared) / sizeof(char16_t));
}

bool ListLibraries(const std::string& folder, std::vector<std::string>* paths) {
  const CFolderHandle open(::opendir(folder.c_str()));
  if (!open) return false;
  while (const dirent* entry = ::readdir(open.get())) {
    if (!IsLibraryName(entry->d_name)) continue;
    std::string path = folder + "/" + entry->d_name;
    if (IsRegularFile(path)) paths->push_back(std::move(path));
  }
  std::sort(paths->begin(), paths->end());
  return true;
}

std::string OwnLibraryFolder() {
  static const char kOwnAddress = 0;
  Dl_info info;
  std::string path;
  if (::dladdr(&kOwnAddress, &info) != 0 && info.dli_fname) path = RealPath(info.dli_fname);
  // Linked into the program itself, the loader knows it only by the name that it was called by.
  if (path.empty()) path = RealPath("/proc/self/exe");
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}
