#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <new>
#include <utility>

#include "platform/imageformats/base/format_error.h"
#include "system/qvstring.h"

namespace imageformats {

// Why the last operation of an object failed. What it is told it passes on to the manager's text, so that the manager
// answers for what was opened through it. One thread at a time, as the objects themselves.
class CErrorText {
 public:
  explicit CErrorText(std::shared_ptr<CErrorText> manager = nullptr) noexcept : m_manager(std::move(manager)) {}

  const CQvStringW& Get() const noexcept { return m_text; }
  const std::shared_ptr<CErrorText>& Manager() const noexcept { return m_manager; }
  // UTF-8; empty for success. A text that finds no memory is left out.
  void Set(const char* text) noexcept;

 private:
  CQvStringW m_text;
  std::shared_ptr<CErrorText> m_manager;
};

// Runs an interface operation's body, which throws to fail: no exception leaves it, and the text is kept.
template <class Body>
std::int32_t RunReportingErrors(CErrorText& error, Body&& body) noexcept {
  try {
    std::forward<Body>(body)();
    error.Set("");
    return kQvOk;
  } catch (const CFormatError& failure) {
    error.Set(failure.what());
    return failure.Status();
  } catch (const std::bad_alloc&) {
    error.Set("There is not enough memory");
  } catch (const std::exception& failure) {
    error.Set(failure.what());
  } catch (...) {
    error.Set("The picture cannot be read");
  }
  return kQvFailure;
}

// The same of a body that says whether there is an answer: what most files do not have is not worth an exception.
template <class Body>
std::int32_t RunAnswering(CErrorText& error, const char* noAnswer, Body&& body) noexcept {
  bool isAnswered = false;
  const std::int32_t status = RunReportingErrors(error, [&] { isAnswered = std::forward<Body>(body)(); });
  if (status != kQvOk || isAnswered) return status;
  error.Set(noAnswer);
  return kQvFailure;
}

}  // namespace imageformats
