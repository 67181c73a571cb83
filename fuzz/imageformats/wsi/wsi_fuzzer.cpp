// A whole-slide file: its detection, its geometry and properties, and its pixels. The library behind it reads files
// only, so each input is written to one.

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "fuzz/imageformats/exercise.h"
#include "platform/imageformats/wsi/wsi_codec.h"

namespace {

class CMemoryFile {
 public:
  CMemoryFile() : m_handle(memfd_create("slide", 0)) {
    if (m_handle < 0) std::abort();
  }
  void Fill(const std::uint8_t* data, std::size_t size) const {
    const auto length = static_cast<ssize_t>(size);
    if (ftruncate(m_handle, 0) != 0 || pwrite(m_handle, data, size, 0) != length) std::abort();
  }
  CQvStringW Path() const {
    return CQvStringUtils::UTF8toW("/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(m_handle));
  }

 private:
  int m_handle;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace imageformats;
  static const CMemoryFile file;
  file.Fill(data, size);
  Attempt([&] {
    const auto input = CInput::FromFile(file.Path());
    WsiCodec().Matches(*input);
    Exercise(WsiCodec(), input);
  });
  return 0;
}
