#include "platform/system/diagnostics.h"

#include <cerrno>
#include <cstdarg>
#include <cwchar>
#include <string>

#include "platform/system/mutex.h"
#include "system/qvdiag.h"
#include "system/qvstring.h"

namespace {

// Far above any sensible message; a format that asks for more is reported by its format.
constexpr std::size_t kMaxTextLength = std::size_t{1} << 24;

struct SSink {
  QvDiagSink function = nullptr;
  void* context = nullptr;
};

struct SLocation {
  const char* file = nullptr;
  std::int32_t line = 0;
};

constinit CMutex g_sinkMutex;
constinit SSink g_sink QV_GUARDED_BY(g_sinkMutex);
constinit thread_local SLocation t_location;

void DefaultSink(const SQvDiagMessage& message) {
  std::string line = message.kind == EQvDiagKind::Assertion ? "assertion: " : "";
  if (message.file) line += std::string(message.file) + ":" + std::to_string(message.line) + ": ";
  line += CQvStringUtils::WtoUTF8(message.text).Str();
  for (char& c : line) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  WriteStandardError(line + '\n');
}

void Report(const SQvDiagMessage& message) noexcept {
  SSink sink;
  {
    const CMutexLock lock(g_sinkMutex);
    sink = g_sink;
  }
  try {
    if (sink.function) {
      sink.function(sink.context, message);
    } else {
      DefaultSink(message);
    }
  } catch (...) {
    WriteStandardError("a diagnostic message was lost\n");
  }
}

#if defined(_WIN32)
std::wstring NativeFormat(const wchar_t* format) { return format; }
#else
// Turns %s into %ls, which is what takes a wide string here; conversions that name a length stay.
std::wstring NativeFormat(const wchar_t* format) {
  std::wstring out;
  for (const wchar_t* c = format; *c; ++c) {
    out += *c;
    if (*c != L'%') continue;
    while (c[1] && std::wcschr(L"-+ #0'123456789.*$", c[1])) out += *++c;
    if (c[1] == L's') out += L'l';
    if (c[1]) out += *++c;
  }
  return out;
}
#endif

// False when the text cannot be made: a narrow argument that does not convert, or one too long.
bool Format(const wchar_t* format, std::va_list arguments, std::wstring* text) {
  const std::wstring native = NativeFormat(format);
  for (std::size_t room = 512; room <= kMaxTextLength; room *= 4) {
    text->resize(room);
    std::va_list copy;
    va_copy(copy, arguments);
    errno = 0;
    const int length = std::vswprintf(text->data(), room, native.c_str(), copy);
    const bool unconvertible = length < 0 && errno == EILSEQ;
    va_end(copy);
    if (length >= 0) {
      text->resize(static_cast<std::size_t>(length));
      return true;
    }
    if (unconvertible) return false;
  }
  return false;
}

bool TryFormat(const wchar_t* format, std::va_list arguments, std::wstring* text) noexcept {
  try {
    return Format(format, arguments, text);
  } catch (...) {
    return false;
  }
}

}  // namespace

void QV_SetDiagSink(QvDiagSink sink, void* context) noexcept {
  const CMutexLock lock(g_sinkMutex);
  g_sink = {sink, context};
}

void DiagOutputExW_hlp(const char* file, std::int32_t line) noexcept { t_location = {file, line}; }

void DiagOutputExW(const wchar_t* format, ...) noexcept {
  const SLocation location = t_location;
  t_location = {};
  if (!format) format = L"";
  std::wstring text;
  std::va_list arguments;
  va_start(arguments, format);
  const bool formatted = TryFormat(format, arguments, &text);
  va_end(arguments);
  Report({EQvDiagKind::Output, formatted ? text.c_str() : format, format, location.file, location.line});
}

void DiagAssertW(const wchar_t* expression, const char* file, std::int32_t line) noexcept {
  Report({EQvDiagKind::Assertion, expression ? expression : L"", nullptr, file, line});
}
