#include "gnr_thumbnailcache/diagnostics.h"

#include <sqlite3.h>

#include "gnr_thumbnailcache/guarded.h"
#include "system/qvdiag.h"
#include "system/qvstring.h"

namespace {
constexpr const char* kSource = "gnr_thumbnailcache/thumbnailcache_impl";
}

void ReportText(std::int32_t line, const std::wstring& text) noexcept {
  DiagOutputExW_hlp(kSource, line);
  DiagOutputExW(L"%s", text.c_str());
}

void ReportSqlError(std::int32_t line, const wchar_t* message, sqlite3* db) noexcept {
  Guarded(false, [&] {
    ReportText(line, message + CQvStringUtils::UTF8toW(sqlite3_errmsg(db)).Str());
    return true;
  });
}

void ReportAssertion(std::int32_t line, const wchar_t* expression) noexcept { DiagAssertW(expression, kSource, line); }
