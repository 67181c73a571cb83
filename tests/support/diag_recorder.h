#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "system/qvdiag.h"

namespace qvtest {

struct SDiag {
  EQvDiagKind kind = EQvDiagKind::Output;
  std::wstring text;
  std::wstring format;
  std::string file;
  int line = 0;
  bool hasFormat = false, hasFile = false;  // else null was reported
};

// Collects the diagnostics of the process while it lives.
class CDiagRecorder {
 public:
  CDiagRecorder() { QV_SetDiagSink(&Sink, this); }
  CDiagRecorder(const CDiagRecorder&) = delete;
  CDiagRecorder& operator=(const CDiagRecorder&) = delete;
  ~CDiagRecorder() { QV_SetDiagSink(nullptr, nullptr); }

  std::vector<SDiag> Take() {
    std::lock_guard lock(m_mutex);
    return std::exchange(m_messages, {});
  }
  std::vector<std::wstring> TakeTexts() {
    std::vector<std::wstring> texts;
    for (const SDiag& message : Take()) texts.push_back(message.text);
    return texts;
  }

 private:
  static void Sink(void* context, const SQvDiagMessage& message) {
    auto* self = static_cast<CDiagRecorder*>(context);
    std::lock_guard lock(self->m_mutex);
    self->m_messages.push_back({message.kind, message.text, message.format ? message.format : L"",
                                message.file ? message.file : "", message.line, message.format != nullptr,
                                message.file != nullptr});
  }

  std::mutex m_mutex;
  std::vector<SDiag> m_messages;
};

}  // namespace qvtest
