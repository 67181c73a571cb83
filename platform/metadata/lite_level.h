#pragma once

#include "system/qvlitevariant.h"

// Levels of the serialisation that end with the scope, so that writer and reader stay balanced on every path.

class CLiteLevelW {
 public:
  CLiteLevelW(CQvLiteVariantW& writer, const wchar_t* name) : m_writer(writer), m_open(writer.LevelBegin(name) == 0) {}
  ~CLiteLevelW() {
    if (m_open) m_writer.LevelEnd();
  }
  CLiteLevelW(const CLiteLevelW&) = delete;
  CLiteLevelW& operator=(const CLiteLevelW&) = delete;

  bool IsOpen() const { return m_open; }

 private:
  CQvLiteVariantW& m_writer;
  const bool m_open;
};

class CLiteLevelR {
 public:
  CLiteLevelR(CQvLiteVariantR& reader, const wchar_t* name)
      : m_reader(reader), m_open(reader.LevelBegin(name, &m_size) == 0) {}
  ~CLiteLevelR() {
    if (m_open) m_reader.LevelEnd();
  }
  CLiteLevelR(const CLiteLevelR&) = delete;
  CLiteLevelR& operator=(const CLiteLevelR&) = delete;

  bool IsOpen() const { return m_open; }
  // Bytes of the level's content; 0 when it is not open.
  std::size_t Size() const { return m_size; }

 private:
  CQvLiteVariantR& m_reader;
  std::size_t m_size = 0;
  const bool m_open;
};

// Reads a number that was written as unsigned and must fit 32 bits.
inline bool ReadU32(CQvLiteVariantR& reader, const wchar_t* name, std::uint32_t* value) {
  std::uint64_t wide = 0;
  if (reader.ReadUInt(name, &wide) != 0 || wide > 0xFFFFFFFFu) return false;
  *value = static_cast<std::uint32_t>(wide);
  return true;
}
