#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/imageformats/base/format_error.h"
#include "system/qvstring.h"

namespace imageformats {

// What a message between the viewer and a decoder holds, in this machine's own form: both ends are of one build. A
// function that takes either class writes a record or reads it, so the two cannot differ.
class CWireWriter {
 public:
  static constexpr bool kReads = false;

  template <class T>
  void Value(const T& value) {
    static_assert(std::is_arithmetic_v<T>);
    Append(&value, sizeof value);
  }
  void Bytes(const void* data, std::size_t size) {
    Value(static_cast<std::uint32_t>(size));
    Append(data, size);
  }
  // As it stands, without its size.
  void Raw(const std::vector<std::uint8_t>& bytes) { Append(bytes.data(), bytes.size()); }
  void Text(const std::string& text) { Bytes(text.data(), text.size()); }
  void Text(const CQvStringW& text) { Bytes(text.c_str(), text.GetLength() * sizeof(wchar_t)); }
  // Elements of a list, each written by `element`.
  template <class T, class Element>
  void List(const std::vector<T>& list, std::size_t /*most*/, Element&& element) {
    Value(static_cast<std::uint32_t>(list.size()));
    for (const T& item : list) element(item);
  }

  const std::vector<std::uint8_t>& Content() const noexcept { return m_bytes; }

 private:
  void Append(const void* data, std::size_t size) {
    if (size == 0) return;
    const std::size_t end = m_bytes.size();
    m_bytes.resize(end + size);
    std::memcpy(m_bytes.data() + end, data, size);
  }

  std::vector<std::uint8_t> m_bytes;
};

// Trusts nothing: what is cut short, or claims more than there is, throws CDamagedError.
class CWireReader {
 public:
  static constexpr bool kReads = true;

  // The bytes must outlive the reader.
  explicit CWireReader(const std::vector<std::uint8_t>& bytes) noexcept : m_next(bytes.data()), m_left(bytes.size()) {}

  template <class T>
  void Value(T& value) {
    static_assert(std::is_arithmetic_v<T>);
    std::memcpy(&value, Take(sizeof value), sizeof value);
  }
  void Value(bool& value) { value = *static_cast<const std::uint8_t*>(Take(1)) != 0; }
  template <class T>
  T Get() {
    T value{};
    Value(value);
    return value;
  }
  // Valid as long as the message.
  std::pair<const std::uint8_t*, std::size_t> Bytes() {
    const auto size = Get<std::uint32_t>();
    return {Take(size), size};
  }
  void Text(std::string& text) {
    const auto [bytes, size] = Bytes();
    text.assign(reinterpret_cast<const char*>(bytes), size);
  }
  // Characters that are none become U+FFFD.
  void Text(CQvStringW& text);
  // Throws when there are more than `most`.
  template <class T, class Element>
  void List(std::vector<T>& list, std::size_t most, Element&& element) {
    const auto count = Get<std::uint32_t>();
    Require(count <= most, "The decoder's message is damaged");
    list.clear();
    for (std::uint32_t i = 0; i < count; ++i) {
      Require(m_left > 0, "The decoder's message is damaged");
      element(list.emplace_back());
    }
  }
  // Throws when something is left.
  void End() const { Require(m_left == 0, "The decoder's message is damaged"); }

 private:
  const std::uint8_t* Take(std::size_t size) {
    Require(size <= m_left, "The decoder's message is damaged");
    const std::uint8_t* taken = m_next;
    m_next += size;
    m_left -= size;
    return taken;
  }

  const std::uint8_t* m_next;
  std::size_t m_left;
};

}  // namespace imageformats
