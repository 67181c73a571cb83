#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "system/qvbytearray.h"
#include "system/qvexport.h"
#include "system/qvstring.h"

// The platform's compact serialisation: a tree of named levels that hold named values. The byte format (documented in
// docs/database.md) is versioned, little-endian, independent of word size, and the same for the same writes. Names are
// short wide texts; they need not be unique. Objects are used by one thread at a time.

class CQvLiteVariantR;

// Writes a tree front to back. Every operation returns 0, or -9 when it is refused (a level too many ended, more than
// kQvLiteVariantMaxDepth levels, a name above 255 UTF-8 bytes, more than 1 GiB); a refusal makes Finalize fail.
class QV_SYSTEM_API CQvLiteVariantW {
 public:
  std::int32_t LevelBegin(const wchar_t* name);
  std::int32_t LevelEnd();

  std::int32_t WriteBool(const wchar_t* name, bool value);
  std::int32_t WriteInt(const wchar_t* name, std::int64_t value);
  std::int32_t WriteUInt(const wchar_t* name, std::uint64_t value);
  // The bits are kept, NaN payloads included.
  std::int32_t WriteDouble(const wchar_t* name, double value);
  std::int32_t WriteDoubles(const wchar_t* name, const double* values, std::size_t count);
  std::int32_t WriteString(const wchar_t* name, const CQvStringW& value);
  std::int32_t WriteBytes(const wchar_t* name, const void* data, std::size_t size);

  // Moves what was written into the reader's byte array and leaves the writer empty. `flags` must be 0. Returns 0. With
  // nothing written, a level still open or an operation refused, the reader's array is left empty and -9 is returned.
  std::int32_t Finalize(CQvLiteVariantR& reader, std::uint32_t flags);

 private:
  std::int32_t Begin(std::uint8_t kind, const wchar_t* name, std::size_t payload);

  CQvByteArray m_bytes;
  std::vector<std::size_t> m_open;  // offsets of the length fields of the open levels
  bool m_refused = false;
};

constexpr std::size_t kQvLiteVariantMaxDepth = 64;

// Reads a tree. Give it bytes through Bytes(), then read. The first operation checks the structure of the whole tree,
// so that damaged bytes give nothing at all; nothing is allocated beyond what the bytes really hold. Read… looks, in
// the current level, for the next value of that name and kind behind the one read last, skipping others; LevelBegin
// does the same for levels. Returns 0, or -9 with the output untouched and the position unchanged (nothing of that name
// and kind, or malformed bytes).
class QV_SYSTEM_API CQvLiteVariantR {
 public:
  // The serialised bytes. Changing them starts reading anew at the top.
  CQvByteArray& Bytes() noexcept;
  const CQvByteArray& Bytes() const noexcept { return m_bytes; }

  // `size`, when not null, receives the byte length of the level's content.
  std::int32_t LevelBegin(const wchar_t* name, std::size_t* size);
  // Leaves the level, behind its content. -9 when no level is open.
  std::int32_t LevelEnd();

  std::int32_t ReadBool(const wchar_t* name, bool* value);
  std::int32_t ReadInt(const wchar_t* name, std::int64_t* value);
  std::int32_t ReadUInt(const wchar_t* name, std::uint64_t* value);
  std::int32_t ReadDouble(const wchar_t* name, double* value);
  std::int32_t ReadDoubles(const wchar_t* name, std::vector<double>* values);
  std::int32_t ReadString(const wchar_t* name, CQvStringW* value);
  std::int32_t ReadBytes(const wchar_t* name, CQvByteArray* value);

 private:
  struct SSpan {
    std::size_t begin = 0, end = 0;
  };
  bool Start();
  bool Find(std::uint8_t kind, const wchar_t* name, SSpan* payload);

  CQvByteArray m_bytes;
  std::vector<SSpan> m_levels;  // what is left to read of each open level, outermost first
  bool m_started = false;
};
