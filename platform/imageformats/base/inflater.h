#pragma once

#include <libdeflate.h>

#include <memory>
#include <new>

namespace imageformats {

struct SInflaterFree {
  void operator()(libdeflate_decompressor* inflater) const noexcept { libdeflate_free_decompressor(inflater); }
};

// What owns a decompressor of Deflate, zlib and gzip data.
using CInflaterPtr = std::unique_ptr<libdeflate_decompressor, SInflaterFree>;

// Throws std::bad_alloc.
inline CInflaterPtr NewInflater() {
  CInflaterPtr inflater(libdeflate_alloc_decompressor());
  if (!inflater) throw std::bad_alloc();
  return inflater;
}

}  // namespace imageformats
