#pragma once

#include <memory>

namespace qvtest {

template <auto Free>
struct SFreeWith {
  template <class T>
  void operator()(T* object) const {
    Free(object);
  }
};

// Owns what a C library handed out: CHandle<TIFF, TIFFClose>.
template <class T, auto Free>
using CHandle = std::unique_ptr<T, SFreeWith<Free>>;

}  // namespace qvtest
