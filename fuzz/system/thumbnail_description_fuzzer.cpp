// Any wide string is nothing, a file location or a database location, and a database location is made of its parts.

#include <cstdint>
#include <cstring>
#include <string>

#include "system/qvfile.h"
#include "system/qvthumbnaildescription.h"

namespace {

void Check(bool holds) {
  if (!holds) __builtin_trap();
}

void CheckLocation(const CQvStringW& location) {
  SQvThumbnailDescription desc;
  desc.location = location;
  Check(desc.IsFileLoc() + desc.IsDBLoc() + location.IsEmpty() == 1);
  Check(desc.IsFileLoc() == !desc.ExtractFilePath().IsEmpty());
  Check(desc.IsDBLoc() == !desc.ExtractDBRecID().IsEmpty());
  if (!desc.IsDBLoc()) return;
  const std::int32_t id = QV_wtoi(desc.ExtractDBRecID().c_str());
  const CQvStringW made = SQvThumbnailDescription::MakeDBLocation(id, desc.ExtractDBField());
  Check(QV_wtoi(SQvThumbnailDescription::ExtractDBRecID(made).c_str()) == id);
  Check(SQvThumbnailDescription::ExtractDBField(made) == desc.ExtractDBField());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::wstring text(size / sizeof(wchar_t), L'\0');
  if (!text.empty()) std::memcpy(text.data(), data, text.size() * sizeof(wchar_t));
  CheckLocation(CQvStringW(text));
  // Behind the prefix, as Latin letters.
  std::wstring made = SQvThumbnailDescription::MakeDBLocation(0, CQvStringW()).Str();
  made.resize(made.size() - 2);
  for (std::size_t i = 0; i < size; ++i) made += static_cast<wchar_t>(data[i]);
  CheckLocation(CQvStringW(made));
  return 0;
}
