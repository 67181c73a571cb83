#include <fcntl.h>
#include <malloc.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <string_view>

#include "platform/imageformats/component/codec_registry.h"
#include "platform/imageformats/decoder/confinement.h"
#include "platform/imageformats/decoder/server.h"
#include "platform/imageformats/process/protocol.h"
#include "system/qvstring.h"

// qvthumbs-decoder: decodes pictures for a viewer that hands it files, and for nobody else. Started by the image-format
// manager, never by people.

using namespace imageformats;

namespace {

bool IsSocket(int handle) {
  int type = 0;
  socklen_t size = sizeof type;
  return getsockopt(handle, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && type == SOCK_SEQPACKET;
}

// The pipe's end becomes a signal, which ends this process wherever it stands. The death of the thread that started it
// would not do: threads come and go.
bool DieWithViewer() {
  return fcntl(kLifelineHandle, F_SETOWN, getpid()) == 0 && fcntl(kLifelineHandle, F_SETFL, O_ASYNC | O_RDONLY) == 0;
}

// What opens files at its first use must not come to that later.
void LoadLocale() {
  (void)CQvStringUtils::EqualNoCase(L"\x00C4", L"\x00E4");
  tzset();
}

// Whether the codec is one that a decoder for this purpose has.
bool IsFor(const CCodecModule& codec, std::string_view purpose) {
  if (codec.OpensByPath()) return purpose == kForSlides;
  return purpose == (codec.HasOwnDecoder() ? codec.Name() : kForPictures);
}

// False for an unknown purpose.
bool LoadLibraries(std::string_view purpose) {
  bool isKnown = false;
  for (const CCodecModule* codec : AllCodecs()) {
    if (!IsFor(*codec, purpose)) continue;
    codec->Prepare();
    isKnown = true;
  }
  return isKnown;
}

// One picture's memory is the next one's: to give it back in between costs more than many a small picture.
void KeepMemory() {
  constexpr int kKept = 32 << 20;
  mallopt(M_MMAP_THRESHOLD, kKept / 2);
  mallopt(M_TRIM_THRESHOLD, kKept);
}

}  // namespace

int main(int count, char** arguments) {
  const std::string_view purpose = count == 2 ? arguments[1] : "";
  const bool forSlides = purpose == kForSlides;
  constexpr char kUse[] = "qvthumbs-decoder is started by the programs that show pictures, not by hand.\n";
  KeepMemory();
  LoadLocale();
  if (!IsSocket(kSocketHandle) || !LoadLibraries(purpose)) {
    return write(STDERR_FILENO, kUse, sizeof kUse - 1) < 0 ? 3 : 2;
  }
  if (!DieWithViewer() || !Confine(forSlides ? kFolderHandle : -1)) return 3;
  if (forSlides) close(kFolderHandle);
  CChannel channel(CDescriptor(kSocketHandle), true);
  if (channel.Send(kReady, {}) != CChannel::EResult::kDone) return 3;
  CDecoderServer(channel).Run();
  // Whatever is still open goes with the process.
  _exit(0);
}
