// Whatever is accepted as planes must be planes that can be stored again and hash alike.

#include "tests/support/experiments.h"
#include "tests/support/trap.h"

using namespace qvtest;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  SQvPicturePlanes first, second;
  if (Deserialize({data, data + size}, &first) != 0) return 0;
  const std::vector<std::uint8_t> again = Serialize(first);
  TrapUnless(!again.empty());
  TrapUnless(Deserialize(again, &second) == 0);
  unsigned int firstHash = 0, secondHash = 0;
  first.GetHash(firstHash);
  second.GetHash(secondHash);
  TrapUnless(firstHash == secondHash);
  return 0;
}
