// Any wide string is nothing, a file location or a database location, and a database location is made of its parts.

#include <cstdint>
#include <cstring>
#include <string>

#include "system/qvfile.h"
#include "system/qvthumbnaildescription.h"
#include "tests/support/trap.h"

using qvtest::TrapUnless;

namespace {

void CheckLocation(const CQvStringW& location) {
  SQvThumbnailDescription desc;
  desc.location = location;
  TrapUnless(desc.IsFileLoc() + desc.IsDBLoc() + location.IsEmpty() == 1);
  TrapUnless(desc.IsFileLoc() == !desc.ExtractFilePath().IsEmpty());
  TrapUnless(desc.IsDBLoc() == !desc.ExtractDBRecID().IsEmpty());
  if (!desc.IsDBLoc()) return;
  const std::int32_t id = QV_wtoi(desc.ExtractDBRecID().c_str());
  const CQvStringW made = SQvThumbnailDescription::MakeDBLocation(id, desc.ExtractDBField());
  TrapUnless(QV_wtoi(SQvThumbnailDescription::ExtractDBRecID(made).c_str()) == id);
  TrapUnless(SQvThumbnailDescription::ExtractDBField(made) == desc.ExtractDBField());
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
