#pragma once

#include <cstdint>

#include "system/qvexport.h"

// Diagnostics: notices and broken invariants that a host may show or log. They never change a result. All calls are
// safe from any thread; the source location set by DiagOutputExW_hlp belongs to the calling thread and serves one
// message.

enum class EQvDiagKind { Output, Assertion };

// One message as a sink receives it; the texts are valid during the call only.
struct SQvDiagMessage {
  EQvDiagKind kind = EQvDiagKind::Output;
  const wchar_t* text = nullptr;    // the formatted text, or the expression of an assertion
  const wchar_t* format = nullptr;  // the format it was made with; null for an assertion
  const char* file = nullptr;       // null when no source location was set
  std::int32_t line = 0;
};

// Called with no lock of the diagnostics held, on the thread that reports, possibly on several threads at once.
using QvDiagSink = void (*)(void* context, const SQvDiagMessage& message);

// Installs the sink; null restores the default one, which writes a line to standard error. A message that is being
// reported on another thread may still reach the former sink for a moment.
QV_SYSTEM_API void QV_SetDiagSink(QvDiagSink sink, void* context) noexcept;

// Sets the source location of this thread's next message.
QV_SYSTEM_API void DiagOutputExW_hlp(const char* file, std::int32_t line) noexcept;
// Formats (wide printf, %s takes a wide string) and reports.
QV_SYSTEM_API void DiagOutputExW(const wchar_t* format, ...) noexcept;
// Reports a broken invariant with the expression that unexpectedly held. Does not stop the program.
QV_SYSTEM_API void DiagAssertW(const wchar_t* expression, const char* file, std::int32_t line) noexcept;
