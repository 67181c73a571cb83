#pragma once

#include <cstdint>
#include <string>

struct sqlite3;

// The component's one way to speak: every message carries the component's source location and the format "%s".

// Reports a text.
void ReportText(std::int32_t line, const std::wstring& text) noexcept;
// Reports `message` followed by the connection's error text. Hold the connection (CQvConnectionLock) from the failed
// call on, or another thread's call may have replaced the text.
void ReportSqlError(std::int32_t line, const wchar_t* message, sqlite3* db) noexcept;
// Reports a broken invariant: the expression that unexpectedly held.
void ReportAssertion(std::int32_t line, const wchar_t* expression) noexcept;
