#pragma once

#include <string>

#include "gnr_thumbnailcache/base/messages.h"

struct sqlite3;

// The component's one way to speak: every message carries the component's source location and the format "%s".

// Reports a text.
void ReportText(std::int32_t line, const std::wstring& text) noexcept;
// Reports the message followed by the connection's error text. Hold the connection (CConnectionLock) from the failed
// call on, or another thread's call may have replaced the text.
void ReportSqlError(const SMessage& message, sqlite3* db) noexcept;
// Reports a broken invariant: the expression that unexpectedly held.
void ReportAssertion(const SMessage& expression) noexcept;
