#pragma once

#include <cstdint>

#include "system/qvclass.h"
#include "system/qvexport.h"
#include "system/qvstring.h"

// A source location. The text is not copied: use literals.
struct SQvFileLine {
  const char* file = nullptr;
  std::int32_t line = 0;

  constexpr SQvFileLine() = default;
  constexpr SQvFileLine(const char* f, std::int32_t l = -1) : file(f), line(l) {}
};

// The registry copies its records through special members that every component library carries as exported symbols;
// system/qvrtti_records.h defines them.

// What a class says of itself in its registration text.
struct SQvRTTIClass {
  static constexpr int kParentCount = 9;

  CQvStringW className;
  CQvStringW parents[kParentCount];  // interface names; unused slots are empty
  bool singleton = false;            // m_singleton of the additional properties

  QV_EXPORT SQvRTTIClass();
  QV_EXPORT SQvRTTIClass(const SQvRTTIClass& other);
  QV_EXPORT SQvRTTIClass(SQvRTTIClass&& other) noexcept;
  QV_EXPORT SQvRTTIClass& operator=(const SQvRTTIClass& other);
  QV_EXPORT SQvRTTIClass& operator=(SQvRTTIClass&& other) noexcept;
  QV_EXPORT ~SQvRTTIClass();
};

// One class as the registry keeps it: its registration and where its factory lives.
struct SQvRTTICacheEntry {
  SQvRTTIClass registration;
  CQvStringW libraryPath;
  void* library = nullptr;  // handle of the loaded library; owned by the registry
  void* factory = nullptr;  // the factory's address; see QvFactory

  QV_EXPORT SQvRTTICacheEntry();
  QV_EXPORT SQvRTTICacheEntry(const SQvRTTICacheEntry& other);
  QV_EXPORT SQvRTTICacheEntry(SQvRTTICacheEntry&& other) noexcept;
  QV_EXPORT SQvRTTICacheEntry& operator=(const SQvRTTICacheEntry& other);
  QV_EXPORT SQvRTTICacheEntry& operator=(SQvRTTICacheEntry&& other) noexcept;
  QV_EXPORT ~SQvRTTICacheEntry();
};

// The factory of class X is exported as "QV_ConstructorFor" + X. `file` and `line` name the caller. It returns the new
// object (or, for a singleton, the shared one) with a reference for the caller, or null.
using QvFactory = IQvInterface* (*)(const char* file, unsigned int line);

// A component library exports its registration texts under this name: UTF-16 texts in the machine's byte order, each
// ended by a zero unit, the list ended by an empty text.
#define QV_REGISTRATION_SYMBOL "QV_RegistrationData"

// The component registry: one per process, all operations safe from any thread.
class QV_SYSTEM_API CQvRTTI {
 public:
  // Looks for component libraries in a folder (dynamic libraries that export registration data; others are left alone)
  // and adds their classes. A class that is already registered stays as it is. Returns the number of classes added, or
  // -9 when the folder cannot be listed. A library whose registration text is malformed is reported through the
  // diagnostics and skipped.
  static std::int32_t ScanFolder(const wchar_t* folder);

  // The folder that holds this system library: where the platform's components are installed beside it.
  static CQvStringW GetLibraryFolder();

  // Copies the record of a registered class; false, `entry` untouched, when there is none.
  static bool FindClass(const char* className, SQvRTTICacheEntry* entry);

  // Calls the class's factory and asks the object for the interface. Returns the interface with one reference, to be
  // given back with Release, or null (unknown class, factory without result, no such interface). Factories of singleton
  // classes are called one at a time, so that all callers get the one instance.
  static IQvInterface* CreateAndQuery(const char* className, const char* interfaceName, const SQvFileLine& where);

  // Drops a reference; null is allowed. The last reference of a singleton is dropped under the same guard that its
  // factory runs under. An object of a singleton class must therefore not be released from that class's own factory.
  static void Release(IQvInterface* object);

  // Drops every registered class (for tests). Libraries stay loaded: objects of theirs may still be alive.
  static void Reset();
};
