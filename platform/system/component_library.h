#pragma once

#include <optional>
#include <string>
#include <vector>

#include "system/qvstring.h"

// A dynamic library of components: the seam to the machine's loader. Owns the loader's handle.
class CComponentLibrary {
 public:
  // Loads the library, its own symbols kept to itself. Check IsLoaded. Not loaded when the loader refuses it.
  explicit CComponentLibrary(const std::string& path) noexcept;
  ~CComponentLibrary();
  CComponentLibrary(const CComponentLibrary&) = delete;
  CComponentLibrary& operator=(const CComponentLibrary&) = delete;

  bool IsLoaded() const noexcept { return m_handle != nullptr; }
  // The address of a symbol that this library itself exports (not one that it depends on), or null.
  void* FindOwnSymbol(const char* name) const noexcept;
  // The units of the library's registration data as far as the symbol, or where its size is unknown the memory around
  // it, reaches. Nothing when the library exports none.
  std::optional<std::u16string> RegistrationData() const;
  // Gives up the handle: the library stays loaded for the rest of the process.
  void* KeepLoaded() noexcept;

 private:
  void* m_handle;
};

// Native paths of the dynamic libraries in a folder (regular files), in byte order. False when it cannot be listed.
bool ListLibraries(const std::string& folder, std::vector<std::string>* paths);

// The folder of the library that this code is part of.
std::string OwnLibraryFolder();
