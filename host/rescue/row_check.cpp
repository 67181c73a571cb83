#include "host/rescue/row_check.h"

#include <algorithm>

#include "host/files/image_experiment.h"
#include "host/rescue/big_endian.h"
#include "system/qvlitevariant.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

constexpr std::uint8_t kBegin = 0xD8, kEnd = 0xD9, kScan = 0xDA;

// Behind the coded data at the front of `rest`: at the mark that ends them.
CBytes SkipCoded(CBytes rest) {
  const auto isData = [](std::uint8_t byte) { return byte == 0 || (byte >= 0xD0 && byte <= 0xD7); };
  std::size_t at = 0;
  while (at + 1 < rest.size() && (rest[at] != 0xFF || isData(rest[at + 1]))) ++at;
  return rest.subspan(at);
}

void SetBytes(CQvLiteVariantR& reader, std::string_view bytes) {
  reader.Bytes().SetData(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(), 0, 0);
}

bool ContinueHashOfPlanes(std::string_view bytes, unsigned int* hash) {
  if (bytes.empty()) return true;
  CQvLiteVariantR reader;
  SetBytes(reader, bytes);
  SQvPicturePlanes planes;
  if (reader.LevelBegin(L"SQvPicturePlanes", nullptr) != kQvOk) return false;
  if (SQvPicturePlanes::LoadFromLiteVariant(planes, reader) != kQvOk) return false;
  return planes.GetHash(*hash) == kQvOk;
}

bool HasItsHash(std::string_view experiment, std::string_view planes, std::int64_t hash) {
  SQvExperiment* made = nullptr;
  SQvExperiment::Alloc(&made);
  const CExperimentPtr loaded(made);
  CQvLiteVariantR reader;
  SetBytes(reader, experiment);
  if (!loaded || SQvExperiment::LoadFromLiteVariant(loaded.get(), reader) != kQvOk) return false;
  unsigned int found = CQvExperimentAPI::GetExperimentHash(loaded.get());
  return ContinueHashOfPlanes(planes, &found) && static_cast<std::int32_t>(found) == hash;
}

// Nobody writes a zero into a text; a disk that lost a sector does.
bool IsBrokenText(const SRecordValue& value) {
  return value.kind == EValueKind::Text && (!value.isWhole || value.bytes.find('\0') != value.bytes.npos);
}

}  // namespace

bool IsWholeJpeg(std::string_view stream) {
  CBytes rest(reinterpret_cast<const std::uint8_t*>(stream.data()), stream.size());
  if (rest.size() < 4 || rest[0] != 0xFF || rest[1] != kBegin) return false;
  for (rest = rest.subspan(2); rest.size() >= 4;) {
    const std::uint8_t mark = rest[1];
    if (rest[0] != 0xFF || mark == 0 || mark == kBegin || mark == kEnd) return false;
    const auto size = static_cast<std::size_t>(ReadBigEndian(rest.subspan(2, 2)));
    if (size < 2 || size + 2 > rest.size()) return false;
    rest = rest.subspan(2 + size);
    if (mark == kScan) rest = SkipCoded(rest);
  }
  return rest.size() == 2 && rest[0] == 0xFF && rest[1] == kEnd;
}

bool IsSoundRow(ETable table, const CRecord& row) {
  if (std::any_of(row.begin(), row.end(), &IsBrokenText)) return false;
  // A row without a picture counts as none, and does no harm.
  if (table == ETable::Cache) return row[3].bytes.empty() || IsWholeJpeg(row[3].bytes);
  if (table == ETable::Experiments) return HasItsHash(row[2].bytes, row[3].bytes, row[5].integer);
  return true;
}

}  // namespace qvhost
