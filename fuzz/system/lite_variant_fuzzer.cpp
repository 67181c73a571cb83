// Walks a hostile tree through every operation of the reader, steered by the first bytes.

#include <cstdint>
#include <string>
#include <vector>

#include "system/qvlitevariant.h"
#include "tests/support/trap.h"

using qvtest::TrapUnless;

namespace {

constexpr std::size_t kOperations = 16;
const wchar_t* const kNames[] = {L"a", L"", L"level", L"\x00E9"};

void RunOperation(CQvLiteVariantR& reader, std::uint8_t operation, std::size_t size) {
  const wchar_t* name = kNames[operation >> 6];
  bool flag;
  std::int64_t number;
  std::uint64_t mask;
  double real;
  std::size_t length = 0;
  std::vector<double> doubles;
  CQvStringW text;
  CQvByteArray bytes;
  switch (operation % 9) {
    case 0:
      reader.ReadBool(name, &flag);
      break;
    case 1:
      reader.ReadInt(name, &number);
      break;
    case 2:
      reader.ReadUInt(name, &mask);
      break;
    case 3:
      reader.ReadDouble(name, &real);
      break;
    case 4:
      reader.ReadDoubles(name, &doubles);
      break;
    case 5:
      reader.ReadString(name, &text);
      break;
    case 6:
      reader.ReadBytes(name, &bytes);
      break;
    case 7:
      reader.LevelBegin(name, &length);
      break;
    case 8:
      reader.LevelEnd();
      break;
  }
  // No result is larger than its input.
  TrapUnless(doubles.size() * sizeof(double) <= size);
  TrapUnless(text.GetLength() <= size);
  TrapUnless(bytes.GetSize() <= size);
  TrapUnless(length <= size);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < kOperations) return 0;
  CQvLiteVariantR reader;
  reader.Bytes().SetData(data + kOperations, size - kOperations, 0, 0);
  for (std::size_t i = 0; i < kOperations; ++i) RunOperation(reader, data[i], size);
  return 0;
}
