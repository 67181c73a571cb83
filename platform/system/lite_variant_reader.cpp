#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "platform/system/code_point.h"
#include "platform/system/lite_variant_format.h"
#include "system/qvlitevariant.h"
#include "system/qvstatus.h"

using namespace lite_variant;

namespace {

struct SItem {
  std::uint8_t kind = 0;
  std::size_t nameBegin = 0, nameEnd = 0;
  std::size_t begin = 0, end = 0;  // the payload without its length field
};

// Takes the item at `at` apart; false when it does not lie wholly before `end` or its payload cannot be of its kind.
bool ParseItem(const std::uint8_t* bytes, std::size_t at, std::size_t end, SItem* item) noexcept {
  if (end - at < 2) return false;
  item->kind = bytes[at];
  item->nameBegin = at + 2;
  const std::size_t nameLength = bytes[at + 1];
  if (end - item->nameBegin < nameLength) return false;
  item->nameEnd = item->begin = item->nameBegin + nameLength;
  std::size_t length = FixedPayload(item->kind);
  if (HasLengthField(item->kind)) {
    if (end - item->begin < kLengthField) return false;
    length = LoadLittleEndian<std::uint32_t>(bytes + item->begin);
    item->begin += kLengthField;
  } else if (length == 0) {
    return false;
  }
  if (end - item->begin < length) return false;
  item->end = item->begin + length;
  if (item->kind == kDoubles && length % sizeof(double) != 0) return false;
  return item->kind != kBool || bytes[item->begin] <= 1;
}

// True when the bytes from `at` to `end` are whole items all the way down.
bool IsWellFormed(const std::uint8_t* bytes, std::size_t at, std::size_t end, std::size_t depth) noexcept {
  while (at != end) {
    SItem item;
    if (!ParseItem(bytes, at, end, &item)) return false;
    if (item.kind == kLevel) {
      if (depth == kQvLiteVariantMaxDepth || !IsWellFormed(bytes, item.begin, item.end, depth + 1)) return false;
    }
    at = item.end;
  }
  return true;
}

bool NameEquals(const std::uint8_t* name, std::size_t size, const wchar_t* wanted) noexcept {
  for (std::size_t at = 0; at < size;) {
    char32_t c = 0;
    const std::size_t used = DecodeUtf8(name + at, size - at, &c);
    wchar_t wide[2];
    if (used == 0) return false;
    for (const wchar_t *w = wide, *end = StoreWide(c, wide); w != end; ++w) {
      if (*wanted == L'\0' || *wanted++ != *w) return false;
    }
    at += used;
  }
  return *wanted == L'\0';
}

bool DecodeText(const std::uint8_t* bytes, std::size_t size, std::wstring* text) {
  text->resize(size);
  wchar_t* target = text->data();
  for (std::size_t at = 0; at < size;) {
    char32_t c = 0;
    const std::size_t used = DecodeUtf8(bytes + at, size - at, &c);
    if (used == 0) return false;
    target = StoreWide(c, target);
    at += used;
  }
  text->resize(static_cast<std::size_t>(target - text->data()));
  return true;
}

}  // namespace

CQvByteArray& CQvLiteVariantR::Bytes() noexcept {
  m_started = false;
  m_levels.clear();
  return m_bytes;
}

// Checks the whole tree once, so that damaged bytes give nothing rather than their sound beginning. The outermost span
// ends at the array's end; when it does not, the array was changed through a reference kept from Bytes().
bool CQvLiteVariantR::Start() {
  if (m_started && m_levels.front().end == m_bytes.GetSize()) return true;
  m_started = false;
  m_levels.clear();
  const std::size_t size = m_bytes.GetSize();
  const std::uint8_t* bytes = m_bytes.GetData(0);
  if (size < sizeof kHeader || !std::equal(kHeader, kHeader + sizeof kHeader, bytes)) return false;
  if (!IsWellFormed(bytes, sizeof kHeader, size, 0)) return false;
  m_levels.push_back({sizeof kHeader, size});
  m_started = true;
  return true;
}

// Finds the next item of that kind and name in the current level and moves behind it.
bool CQvLiteVariantR::Find(std::uint8_t kind, const wchar_t* name, SSpan* payload) {
  if (!Start()) return false;
  const wchar_t* wanted = name ? name : L"";
  const std::uint8_t* bytes = m_bytes.GetData(0);
  SSpan& level = m_levels.back();
  for (std::size_t at = level.begin; at < level.end;) {
    SItem item;
    if (!ParseItem(bytes, at, level.end, &item)) return false;
    if (item.kind == kind && NameEquals(bytes + item.nameBegin, item.nameEnd - item.nameBegin, wanted)) {
      *payload = {item.begin, item.end};
      level.begin = item.end;
      return true;
    }
    at = item.end;
  }
  return false;
}

std::int32_t CQvLiteVariantR::LevelBegin(const wchar_t* name, std::size_t* size) {
  SSpan content;
  if (!Find(kLevel, name, &content)) return kQvFailure;
  if (size) *size = content.end - content.begin;
  m_levels.push_back(content);
  return kQvOk;
}

std::int32_t CQvLiteVariantR::LevelEnd() {
  if (m_levels.size() < 2) return kQvFailure;
  m_levels.pop_back();
  return kQvOk;
}

std::int32_t CQvLiteVariantR::ReadBool(const wchar_t* name, bool* value) {
  SSpan payload;
  if (!value || !Find(kBool, name, &payload)) return kQvFailure;
  *value = *m_bytes.GetData(payload.begin) != 0;
  return kQvOk;
}

std::int32_t CQvLiteVariantR::ReadInt(const wchar_t* name, std::int64_t* value) {
  SSpan payload;
  if (!value || !Find(kInt, name, &payload)) return kQvFailure;
  *value = static_cast<std::int64_t>(LoadLittleEndian<std::uint64_t>(m_bytes.GetData(payload.begin)));
  return kQvOk;
}

std::int32_t CQvLiteVariantR::ReadUInt(const wchar_t* name, std::uint64_t* value) {
  SSpan payload;
  if (!value || !Find(kUInt, name, &payload)) return kQvFailure;
  *value = LoadLittleEndian<std::uint64_t>(m_bytes.GetData(payload.begin));
  return kQvOk;
}

std::int32_t CQvLiteVariantR::ReadDouble(const wchar_t* name, double* value) {
  SSpan payload;
  if (!value || !Find(kDouble, name, &payload)) return kQvFailure;
  *value = std::bit_cast<double>(LoadLittleEndian<std::uint64_t>(m_bytes.GetData(payload.begin)));
  return kQvOk;
}

std::int32_t CQvLiteVariantR::ReadDoubles(const wchar_t* name, std::vector<double>* values) {
  SSpan payload;
  if (!values || !Find(kDoubles, name, &payload)) return kQvFailure;
  const std::size_t count = (payload.end - payload.begin) / sizeof(double);
  values->resize(count);
  const std::uint8_t* source = m_bytes.GetData(payload.begin);
  if constexpr (kNativeDoubles) {
    if (count != 0) std::memcpy(values->data(), source, count * sizeof(double));
  } else {
    for (double& value : *values) {
      value = std::bit_cast<double>(LoadLittleEndian<std::uint64_t>(source));
      source += sizeof(double);
    }
  }
  return kQvOk;
}

std::int32_t CQvLiteVariantR::ReadString(const wchar_t* name, CQvStringW* value) {
  if (!value || !Start()) return kQvFailure;
  const SSpan before = m_levels.back();
  SSpan payload;
  if (!Find(kString, name, &payload)) return kQvFailure;
  std::wstring text;
  if (!DecodeText(m_bytes.GetData(payload.begin), payload.end - payload.begin, &text)) {
    m_levels.back() = before;
    return kQvFailure;
  }
  *value = CQvStringW(std::move(text));
  return kQvOk;
}

std::int32_t CQvLiteVariantR::ReadBytes(const wchar_t* name, CQvByteArray* value) {
  SSpan payload;
  if (!value || !Find(kBytes, name, &payload)) return kQvFailure;
  value->SetData(m_bytes.GetData(payload.begin), payload.end - payload.begin, 0, 0);
  return kQvOk;
}
