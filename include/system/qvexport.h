#pragma once

// Symbol visibility. Every library is built with hidden visibility; what another module may use is marked
// with the macro of the library that defines it.

#if defined(_WIN32)
#define QV_EXPORT __declspec(dllexport)
#define QV_IMPORT __declspec(dllimport)
#else
#define QV_EXPORT __attribute__((visibility("default")))
#define QV_IMPORT __attribute__((visibility("default")))
#endif

#if defined(QV_BUILDING_SYSTEM)
#define QV_SYSTEM_API QV_EXPORT
#else
#define QV_SYSTEM_API QV_IMPORT
#endif

#if defined(QV_BUILDING_PICTURE)
#define QV_PICTURE_API QV_EXPORT
#else
#define QV_PICTURE_API QV_IMPORT
#endif

#if defined(QV_BUILDING_METADATA)
#define QV_METADATA_API QV_EXPORT
#else
#define QV_METADATA_API QV_IMPORT
#endif
