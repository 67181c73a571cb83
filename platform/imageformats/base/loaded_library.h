#pragma once

#include <initializer_list>

namespace imageformats {

// A shared library that is loaded at run time, for libraries that would cost every process their start. It stays
// loaded.
class CLoadedLibrary {
 public:
  // The first of the names that is there.
  explicit CLoadedLibrary(std::initializer_list<const char*> names) noexcept;
  CLoadedLibrary(const CLoadedLibrary&) = delete;
  CLoadedLibrary& operator=(const CLoadedLibrary&) = delete;

  bool IsThere() const noexcept { return m_library != nullptr; }

  // Null when the library, or the function in it, is not there.
  template <class Function>
  Function* Find(Function*, const char* name) const noexcept {
    return reinterpret_cast<Function*>(Symbol(name));
  }
  // As above, for a table of functions; false when there is none.
  template <class Function>
  bool Fill(Function*& function, const char* name) const noexcept {
    function = Find(function, name);
    return function != nullptr;
  }

 private:
  void* Symbol(const char* name) const noexcept;

  void* m_library = nullptr;
};

}  // namespace imageformats
