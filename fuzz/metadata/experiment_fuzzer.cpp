// Whatever is accepted as an experiment must be a tree that can be stored again and reads back equal.

#include "tests/support/experiments.h"
#include "tests/support/trap.h"

using namespace qvtest;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  SQvExperiment first, second;
  if (Deserialize({data, data + size}, &first) != 0) return 0;
  const std::vector<std::uint8_t> again = Serialize(&first);
  TrapUnless(!again.empty());
  TrapUnless(Deserialize(again, &second) == 0);
  TrapUnless(SQvExperiment::IsEqual(&first, &second, true, true));
  TrapUnless(CQvExperimentAPI::GetExperimentHash(&first) == CQvExperimentAPI::GetExperimentHash(&second));
  return 0;
}
