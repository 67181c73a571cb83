#include "host/session/diagnostics.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdio>

#include "host/host_error.h"
#include "host/session/database_error.h"
#include "system/qvstatus.h"
#include "system/qvstring.h"

namespace qvhost {
namespace {

constexpr std::size_t kMaxMessages = 16;

thread_local CCallReports* t_reports = nullptr;

// "THUMBCACHE: WriteHistory - sqlite3_step failed: disk full" is "disk full" for people.
std::string WithoutPrefix(std::string text) {
  constexpr std::string_view kPrefix = "THUMBCACHE: ", kCall = " - sqlite3_", kFailed = " failed: ";
  if (text.starts_with(kPrefix)) text.erase(0, kPrefix.size());
  if (const std::size_t call = text.find(kCall); call != std::string::npos) {
    const std::size_t failed = text.find(kFailed, call);
    if (failed != std::string::npos) text.erase(0, failed + kFailed.size());
  }
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  return text;
}

template <class Texts>
std::string Join(const Texts& texts) {
  std::string all;
  for (const std::string& text : texts) all += (all.empty() ? "" : "; ") + text;
  return all;
}

template <class Texts>
bool Holds(const Texts& texts, const std::string& text) {
  return std::find(texts.begin(), texts.end(), text) != texts.end();
}

}  // namespace

CDiagnostics& CDiagnostics::Get() {
  static CDiagnostics* const instance = new CDiagnostics;
  return *instance;
}

void CDiagnostics::Install(bool print) noexcept {
  m_print = print;
  QV_SetDiagSink(&CDiagnostics::Sink, this);
}

void CDiagnostics::Sink(void* context, const SQvDiagMessage& message) noexcept {
  try {
    static_cast<CDiagnostics*>(context)->Add(message);
  } catch (...) {  // out of memory: a message is lost, no more
  }
}

void CDiagnostics::Add(const SQvDiagMessage& message) {
  std::string text = CQvStringUtils::WtoUTF8(message.text).Str();
  if (m_print) {
    const char* kind = message.kind == EQvDiagKind::Assertion ? "assertion" : "notice";
    std::fprintf(stderr, "qvthumbs: %s: %s (%s:%d)\n", kind, text.c_str(), message.file ? message.file : "-",
                 message.line);
  }
  text = WithoutPrefix(std::move(text));
  if (t_reports) return t_reports->Add(std::move(text));
  const std::lock_guard<std::mutex> lock(m_mutex);
  if (Holds(m_messages, text)) return;
  m_messages.push_back(std::move(text));
  if (m_messages.size() > kMaxMessages) m_messages.pop_front();
}

std::string CDiagnostics::TakeMessages() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  std::string all = Join(m_messages);
  m_messages.clear();
  return all;
}

CCallReports::CCallReports() noexcept { t_reports = this; }
CCallReports::~CCallReports() { t_reports = nullptr; }

void CCallReports::Add(std::string text) {
  if (!Holds(m_messages, text)) m_messages.push_back(std::move(text));
}

std::string CCallReports::Text() const { return Join(m_messages); }

std::string ReasonOfFailure(std::int32_t status, const CCallReports& reports) {
  std::string text = reports.Text();
  // Some operations hand on SQLite's result and report nothing.
  if (text.empty() && status > kQvOk) text = sqlite3_errstr(status);
  if (text.empty()) return status == kQvOk ? "" : "the database gave no reason";
  if (IsLastingError(text)) throw CHostError(ExplainDatabaseError(text), kExitSomeFailed);
  return ExplainDatabaseError(text);
}

void RequireNoFailure(const char* problem, const std::string& reason) {
  if (!reason.empty()) throw CHostError(fmt::format("{}: {}", problem, reason), kExitSomeFailed);
}

}  // namespace qvhost
