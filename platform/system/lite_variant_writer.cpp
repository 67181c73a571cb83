// Layout, all numbers little-endian:
//
//   bytes := header item*             header := 'Q' 'L' 'V' version(1)
//   item  := kind(u8) n(u8) name(n bytes) payload
//
//   kind  value     payload
//   1     level     length(u32), then items in exactly that many bytes; at most 64 levels deep
//   2     bool      u8, 0 or 1
//   3     int       i64, two's complement
//   4     uint      u64
//   5     double    IEEE 754 binary64
//   6     doubles   length(u32, a multiple of 8), then the binary64 values
//   7     string    length(u32), then the text
//   8     bytes     length(u32), then the bytes
//
// Names and texts are UTF-8 in which a lone surrogate has its three bytes, so that every wide string comes back as it
// was. A change that an old reader would misread gets a new version number.

#include <cstring>
#include <string_view>
#include <utility>

#include "platform/system/code_point.h"
#include "platform/system/lite_variant_format.h"
#include "system/qvlitevariant.h"
#include "system/qvstatus.h"

using namespace lite_variant;

namespace {

std::wstring_view View(const wchar_t* text) noexcept { return text ? std::wstring_view(text) : std::wstring_view(); }

std::size_t EncodedLength(std::wstring_view text) noexcept {
  std::size_t length = 0;
  for (const wchar_t *c = text.data(), *end = c + text.size(); c != end;) length += Utf8Length(NextCodePoint(c, end));
  return length;
}

void Encode(std::wstring_view text, std::uint8_t* out) noexcept {
  for (const wchar_t *c = text.data(), *end = c + text.size(); c != end;) out = StoreUtf8(NextCodePoint(c, end), out);
}

// Room for `size` more bytes at the end of the array; they are to be filled at once.
std::uint8_t* Extend(CQvByteArray& bytes, std::size_t size) {
  const std::size_t offset = bytes.GetSize();
  bytes.Resize(offset + size);
  return bytes.GetData(offset);
}

template <class Unsigned>
void AppendNumber(CQvByteArray& bytes, Unsigned value) {
  std::uint8_t buffer[sizeof(Unsigned)];
  StoreLittleEndian(value, buffer);
  bytes.Append(buffer, sizeof buffer);
}

}  // namespace

// Writes an item's kind, name and length field (where the kind has one); `payload` bytes are to follow.
std::int32_t CQvLiteVariantW::Begin(std::uint8_t kind, const wchar_t* name, std::size_t payload) {
  const std::wstring_view text = View(name);
  const std::size_t nameLength = EncodedLength(text);
  const std::size_t header = m_bytes.IsEmpty() ? sizeof kHeader : 0;
  const std::size_t fixed = header + 2 + nameLength + kLengthField;
  if (nameLength > kMaxName || payload > kMaxSize || m_bytes.GetSize() + fixed > kMaxSize - payload) {
    m_refused = true;
    return kQvFailure;
  }
  if (header != 0) m_bytes.Append(kHeader, sizeof kHeader);
  std::uint8_t* item = Extend(m_bytes, 2 + nameLength);
  item[0] = kind;
  item[1] = static_cast<std::uint8_t>(nameLength);
  Encode(text, item + 2);
  if (HasLengthField(kind)) AppendNumber(m_bytes, static_cast<std::uint32_t>(payload));
  return kQvOk;
}

std::int32_t CQvLiteVariantW::LevelBegin(const wchar_t* name) {
  if (m_open.size() == kQvLiteVariantMaxDepth) m_refused = true;
  if (m_open.size() == kQvLiteVariantMaxDepth || Begin(kLevel, name, 0) != kQvOk) return kQvFailure;
  m_open.push_back(m_bytes.GetSize() - kLengthField);
  return kQvOk;
}

std::int32_t CQvLiteVariantW::LevelEnd() {
  if (m_open.empty()) {
    m_refused = true;
    return kQvFailure;
  }
  const std::size_t field = m_open.back();
  m_open.pop_back();
  const std::size_t length = m_bytes.GetSize() - field - kLengthField;
  StoreLittleEndian(static_cast<std::uint32_t>(length), m_bytes.GetData(field));
  return kQvOk;
}

std::int32_t CQvLiteVariantW::WriteBool(const wchar_t* name, bool value) {
  if (Begin(kBool, name, 1) != kQvOk) return kQvFailure;
  AppendNumber(m_bytes, static_cast<std::uint8_t>(value ? 1 : 0));
  return kQvOk;
}

std::int32_t CQvLiteVariantW::WriteInt(const wchar_t* name, std::int64_t value) {
  if (Begin(kInt, name, sizeof value) != kQvOk) return kQvFailure;
  AppendNumber(m_bytes, static_cast<std::uint64_t>(value));
  return kQvOk;
}

std::int32_t CQvLiteVariantW::WriteUInt(const wchar_t* name, std::uint64_t value) {
  if (Begin(kUInt, name, sizeof value) != kQvOk) return kQvFailure;
  AppendNumber(m_bytes, value);
  return kQvOk;
}

std::int32_t CQvLiteVariantW::WriteDouble(const wchar_t* name, double value) {
  if (Begin(kDouble, name, sizeof value) != kQvOk) return kQvFailure;
  AppendNumber(m_bytes, std::bit_cast<std::uint64_t>(value));
  return kQvOk;
}

std::int32_t CQvLiteVariantW::WriteDoubles(const wchar_t* name, const double* values, std::size_t count) {
  // A count that cannot fit is made one that Begin refuses.
  const bool possible = count <= kMaxSize / sizeof(double) && (values || count == 0);
  const std::size_t size = possible ? count * sizeof(double) : kMaxSize + 1;
  if (Begin(kDoubles, name, size) != kQvOk) return kQvFailure;
  if constexpr (kNativeDoubles) {
    m_bytes.Append(values, size);
  } else {
    for (std::size_t i = 0; i < count; ++i) AppendNumber(m_bytes, std::bit_cast<std::uint64_t>(values[i]));
  }
  return kQvOk;
}

std::int32_t CQvLiteVariantW::WriteString(const wchar_t* name, const CQvStringW& value) {
  const std::size_t size = EncodedLength(value.Str());
  if (Begin(kString, name, size) != kQvOk) return kQvFailure;
  if (size != 0) Encode(value.Str(), Extend(m_bytes, size));
  return kQvOk;
}

std::int32_t CQvLiteVariantW::WriteBytes(const wchar_t* name, const void* data, std::size_t size) {
  if (Begin(kBytes, name, data || size == 0 ? size : kMaxSize + 1) != kQvOk) return kQvFailure;
  m_bytes.Append(data, size);
  return kQvOk;
}

std::int32_t CQvLiteVariantW::Finalize(CQvLiteVariantR& reader, std::uint32_t flags) {
  const bool complete = flags == 0 && !m_bytes.IsEmpty() && m_open.empty() && !m_refused;
  CQvByteArray written = std::exchange(m_bytes, CQvByteArray());
  m_open.clear();
  m_refused = false;
  if (complete) {
    reader.Bytes() = std::move(written);
  } else {
    reader.Bytes().Clear();
  }
  return complete ? kQvOk : kQvFailure;
}
