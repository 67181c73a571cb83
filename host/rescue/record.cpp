#include "host/rescue/record.h"

#include <bit>

namespace qvhost {
namespace {

constexpr std::uint64_t kRealType = 7;
constexpr std::uint64_t kZeroType = 8, kOneType = 9;
constexpr std::uint64_t kFirstBytesType = 12;

std::int64_t ReadInteger(CBytes bytes) {
  const auto shift = static_cast<int>(64 - 8 * bytes.size());
  return static_cast<std::int64_t>(ReadBigEndian(bytes) << shift) >> shift;
}

// The value of a type from the front of `rest`. False when it does not hold it.
bool TakeValue(std::uint64_t type, CBytes* rest, SRecordValue* value) {
  constexpr std::uint8_t kSizes[] = {0, 1, 2, 3, 4, 6, 8, 8, 0, 0};
  const bool isBytes = type >= kFirstBytesType;
  if (!isBytes && type > kOneType) return false;
  const std::uint64_t size = isBytes ? (type - kFirstBytesType) / 2 : kSizes[type];
  if (size > rest->size()) return false;
  const CBytes bytes = rest->first(static_cast<std::size_t>(size));
  *rest = rest->subspan(bytes.size());
  if (isBytes) {
    value->kind = type % 2 == 0 ? EValueKind::Blob : EValueKind::Text;
    value->bytes = {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
  } else if (type == kRealType) {
    value->kind = EValueKind::Real;
    value->real = std::bit_cast<double>(ReadBigEndian(bytes));
  } else if (type != 0) {
    value->kind = EValueKind::Integer;
    value->integer = bytes.empty() ? static_cast<std::int64_t>(type - kZeroType) : ReadInteger(bytes);
  }
  return true;
}

}  // namespace

bool DecodeRecord(CBytes payload, CRecord* values) {
  values->clear();
  CBytes types = payload;
  std::uint64_t headerSize = 0;
  if (!TakeVarint(&types, &headerSize) || headerSize > payload.size()) return false;
  const std::size_t taken = payload.size() - types.size();
  if (headerSize < taken) return false;
  types = types.first(static_cast<std::size_t>(headerSize) - taken);
  CBytes rest = payload.subspan(static_cast<std::size_t>(headerSize));
  while (!types.empty()) {
    std::uint64_t type = 0;
    if (!TakeVarint(&types, &type) || !TakeValue(type, &rest, &values->emplace_back())) return false;
  }
  return rest.empty();
}

}  // namespace qvhost
