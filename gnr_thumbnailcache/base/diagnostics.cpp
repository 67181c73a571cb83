#include "gnr_thumbnailcache/base/diagnostics.h"

#include <sqlite3.h>

#include "gnr_thumbnailcache/base/guarded.h"
#include "system/qvdiag.h"
#include "system/qvstring.h"

namespace {
constexpr const char* kSource = "gnr_thumbnailcache/thumbnailcache_impl";
}

void ReportText(std::int32_t line, const std::wstring& text) noexcept {
  DiagOutputExW_hlp(kSource, line);
  DiagOutputExW(L"%s", text.c_str());
}

void ReportSqlError(const SMessage& message, sqlite3* db) noexcept {
  Guarded(false, [&] {
    ReportText(message.line, message.text + CQvStringUtils::UTF8toW(sqlite3_errmsg(db)).Str());
    return true;
  });
}

void ReportAssertion(const SMessage& expression) noexcept { DiagAssertW(expression.text, kSource, expression.line); }
