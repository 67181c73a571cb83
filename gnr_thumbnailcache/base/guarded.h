#pragma once

#include <utility>

// Runs the body of an interface operation. No exception crosses the interface: whatever is thrown (memory that ran out,
// a host object that throws) becomes `onException`.
template <class Result, class Body>
Result Guarded(Result onException, Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    return onException;
  }
}
