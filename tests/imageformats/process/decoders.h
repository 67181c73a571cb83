#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "imageformats/iqvimageformatmanager.h"
#include "system/qvref.h"
#include "tests/support/temp_folder.h"

// What tests of decoders in processes of their own have in common.
namespace decodertest {

// Sets up a user's cache folder of the test's own, and the true decoder; undone at the end.
class CDecoderHouse {
 public:
  CDecoderHouse();
  ~CDecoderHouse();
  CDecoderHouse(const CDecoderHouse&) = delete;
  CDecoderHouse& operator=(const CDecoderHouse&) = delete;

  const qvtest::CTempFolder& Folder() const { return m_folder; }
  std::string ListPath() const { return m_folder.Path("caches/qvthumbs/decoder-failures"); }
  // The decoder that does wrong in the way of that name takes the true one's place.
  void UseFake(const std::string& name) const;
  void UseTrue() const;

 private:
  qvtest::CTempFolder m_folder;
};

CQvRef<IQvImageFormatManager> NewManager();

// What a viewer gets of a file: the status and, when it is 0, the pixels.
struct SSeen {
  std::int32_t status = 0;
  std::string reason;
  std::vector<std::uint8_t> pixels;
  friend bool operator==(const SSeen&, const SSeen&) = default;
};
SSeen View(IQvImageFormatManager& manager, const std::wstring& path, std::uint32_t width = 40,
           std::uint32_t height = 30);
SSeen View(const std::wstring& path);
// The same without a decoder.
SSeen ViewInPlace(const std::wstring& path);

// The decoders that this process has started and that live.
std::vector<pid_t> LivingDecoders();
bool IsAlive(pid_t pid);

}  // namespace decodertest
