#include "platform/imageformats/base/loaded_library.h"

#include <dlfcn.h>

namespace imageformats {

CLoadedLibrary::CLoadedLibrary(std::initializer_list<const char*> names) noexcept {
  for (const char* name : names) {
    m_library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
    if (m_library != nullptr) return;
  }
}

void* CLoadedLibrary::Symbol(const char* name) const noexcept {
  return m_library == nullptr ? nullptr : dlsym(m_library, name);
}

}  // namespace imageformats
