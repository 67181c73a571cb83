#include "tests/imageformats/process/decoders.h"

#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "picture/qvpicture.h"
#include "platform/imageformats/component/image_format_manager_impl.h"
#include "platform/imageformats/component/picture_source.h"
#include "platform/imageformats/process/decoder.h"
#include "platform/imageformats/process/decoder_process.h"
#include "system/qvstatus.h"

namespace decodertest {

using imageformats::CDecoder;
using imageformats::SetDecoderProgramForTest;

namespace {

constexpr std::chrono::seconds kUsualPatience(30);

std::string Narrow(const CQvStringW& text) { return CQvStringUtils::WtoUTF8(text).Str(); }

void EndDecoders() {
  for (const pid_t pid : LivingDecoders()) {
    kill(pid, SIGKILL);
    while (IsAlive(pid)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

// State and parent of a process, as /proc tells them.
bool ReadStat(const std::string& pid, char* state, pid_t* parent) {
  std::ifstream file("/proc/" + pid + "/stat");
  std::string line;
  if (!std::getline(file, line)) return false;
  const std::size_t end = line.rfind(')');
  return end != std::string::npos && std::sscanf(line.c_str() + end + 1, " %c %d", state, parent) == 2;
}

}  // namespace

CDecoderHouse::CDecoderHouse() {
  setenv("XDG_CACHE_HOME", m_folder.Path("caches").c_str(), 1);
  UseTrue();
}

CDecoderHouse::~CDecoderHouse() {
  unsetenv("XDG_CACHE_HOME");
  CDecoder::SetPatienceForTest(kUsualPatience, {});
  SetDecoderProgramForTest("");
  // What is idle is the next test's no more.
  EndDecoders();
}

void CDecoderHouse::UseFake(const std::string& name) const {
  const std::string link = m_folder.Path(name);
  if (!std::filesystem::exists(link)) std::filesystem::create_symlink(QV_FAKE_DECODER, link);
  EndDecoders();
  SetDecoderProgramForTest(link);
}

void CDecoderHouse::UseTrue() const {
  EndDecoders();
  SetDecoderProgramForTest(QV_TRUE_DECODER);
}

CQvRef<IQvImageFormatManager> NewManager() {
  return CQvRef<IQvImageFormatManager>(new ("test", 1) CQvImageFormatManagerImpl);
}

SSeen View(IQvImageFormatManager& manager, const std::wstring& path, std::uint32_t width, std::uint32_t height) {
  CQvRef<IQvImageCodec> codec;
  CQvRef<IQvPictureSource> source;
  SSeen seen;
  seen.status = manager.GetCodecForFile(path, codec.Out());
  if (seen.status == kQvOk) seen.status = codec->OpenInputFile(path, source.Out());
  if (seen.status == kQvOk) {
    CQvPicture picture;
    if (!picture.Reinit(width, height, 8, 3, true)) throw std::bad_alloc();
    seen.status = source->RenderPicture(&width, &height, picture.Get(), imageformats::kOverviewMode, true, 0, 0,
                                        imageformats::kAllChannels);
    const auto* first = static_cast<const std::uint8_t*>(picture->data);
    if (seen.status == kQvOk) seen.pixels.assign(first, first + picture->dataSize);
  }
  seen.reason = Narrow(manager.GetErrorText());
  return seen;
}

SSeen View(const std::wstring& path) { return View(*NewManager(), path); }

SSeen ViewInPlace(const std::wstring& path) {
  setenv("QV_DECODER", "inprocess", 1);
  const SSeen seen = View(path);
  unsetenv("QV_DECODER");
  return seen;
}

std::vector<pid_t> LivingDecoders() {
  std::vector<pid_t> decoders;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const std::string name = entry.path().filename().string();
    char state = 0;
    pid_t parent = 0;
    if (name.find_first_not_of("0123456789") != std::string::npos || !ReadStat(name, &state, &parent)) continue;
    if (parent == getpid() && state != 'Z') decoders.push_back(std::stoi(name));
  }
  return decoders;
}

bool IsAlive(pid_t pid) {
  char state = 0;
  pid_t parent = 0;
  return ReadStat(std::to_string(pid), &state, &parent) && state != 'Z';
}

}  // namespace decodertest
