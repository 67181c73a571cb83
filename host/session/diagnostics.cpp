#include "host/session/diagnostics.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "host/host_error.h"
#include "system/qvstatus.h"
#include "system/qvstring.h"

namespace qvhost {
namespace {

constexpr std::size_t kMaxMessages = 16;

std::string WithoutPrefix(std::string text) {
  constexpr std::string_view kPrefix = "THUMBCACHE: ";
  if (text.compare(0, kPrefix.size(), kPrefix) == 0) text.erase(0, kPrefix.size());
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  return text;
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
  const std::lock_guard<std::mutex> lock(m_mutex);
  text = WithoutPrefix(std::move(text));
  if (std::find(m_messages.begin(), m_messages.end(), text) != m_messages.end()) return;
  m_messages.push_back(std::move(text));
  if (m_messages.size() > kMaxMessages) m_messages.pop_front();
}

std::string CDiagnostics::TakeMessages() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  std::string all;
  for (const std::string& text : m_messages) all += (all.empty() ? "" : "; ") + text;
  m_messages.clear();
  return all;
}

void RequireOk(std::int32_t status, const char* problem) {
  if (status != kQvOk) throw CHostError(fmt::format("{}: {}", problem, CDiagnostics::Get().TakeMessages()));
}

}  // namespace qvhost
