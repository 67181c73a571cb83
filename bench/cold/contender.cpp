#include "bench/cold/contender.h"

#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <sstream>

#include "tests/support/child_process.h"

namespace {

namespace fs = std::filesystem;
using CCommand = std::vector<std::string>;

constexpr const char* kBox = "480x180";

void Append(CCommand* command, const CPaths& files, const char* suffix = "") {
  for (const fs::path& file : files) command->push_back(file.string() + suffix);
}

template <bool sync>
CCommand Ours(const std::string& program, const CPaths& files, const fs::path& out) {
  CCommand command = {program, "make", "--db", out / "thumbnails.db"};
  if (sync) command.emplace_back("--sync");
  Append(&command, files);
  return command;
}

CCommand Vips(const std::string& program, const CPaths& files, const fs::path& out) {
  CCommand command = {program, "--size", kBox, "-o", out / "%s.jpg"};
  Append(&command, files);
  return command;
}

// Without [0] both would go through all planes of a stack.
CCommand GraphicsMagick(const std::string& program, const CPaths& files, const fs::path& out) {
  CCommand command = {program, "convert", "-size", kBox};
  Append(&command, files, "[0]");
  command.insert(command.end(), {"-thumbnail", kBox, "+adjoin", out / "%02d.jpg"});
  return command;
}

CCommand ImageMagick(const std::string& program, const CPaths& files, const fs::path& out) {
  CCommand command = {program, "-define", std::string("jpeg:size=") + kBox};
  Append(&command, files, "[0]");
  command.insert(command.end(), {"-thumbnail", kBox, "+adjoin", out / "%02d.jpg"});
  return command;
}

// The library's tools copy a region of a level and do not scale: it is given the level that covers the box.
CCommand OpenSlide(const std::string& program, const CPaths& files, const fs::path& out) {
  return {program, files.front(), "0", "0", "6", "312", "312", out / "region.png"};
}

// Whether a program of that name is in one of the folders of PATH.
bool IsInstalled(const std::string& program) {
  const char* path = std::getenv("PATH");
  std::istringstream folders(path != nullptr ? path : "");
  for (std::string folder; std::getline(folders, folder, ':');) {
    if (access((fs::path(folder) / program).c_str(), X_OK) == 0) return true;
  }
  return false;
}

bool AllThere(const fs::path& out, std::size_t count) {
  return static_cast<std::size_t>(std::distance(fs::directory_iterator(out), fs::directory_iterator())) >= count;
}

// Programs that are started meanwhile, and what these start, share one processor: what a program leaves to other
// threads and processes counts as its own.
class COneProcessor {
 public:
  COneProcessor() {
    sched_getaffinity(0, sizeof m_before, &m_before);
    cpu_set_t one;
    CPU_ZERO(&one);
    for (int i = 0; i < CPU_SETSIZE && CPU_COUNT(&one) == 0; ++i) {
      if (CPU_ISSET(i, &m_before)) CPU_SET(i, &one);
    }
    sched_setaffinity(0, sizeof one, &one);
  }
  ~COneProcessor() { sched_setaffinity(0, sizeof m_before, &m_before); }
  COneProcessor(const COneProcessor&) = delete;
  COneProcessor& operator=(const COneProcessor&) = delete;

 private:
  cpu_set_t m_before;
};

// Adds what the processes took that the program left behind: they are this one's children now.
void AddLeftBehind(qvtest::SProcessResult& result) {
  rusage usage{};
  int status = 0;
  while (wait4(-1, &status, 0, &usage) > 0) {
    const auto seconds = [](const timeval& time) {
      return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    result.processorSeconds += seconds(usage.ru_utime) + seconds(usage.ru_stime);
    result.peakKilobytes += usage.ru_maxrss;
  }
}

}  // namespace

std::vector<SContender> MainContenders(const std::string& qvthumbs) {
  return {{"qvthumbs", qvthumbs, Ours<true>, true, false, nullptr},
          {"vipsthumbnail", "vipsthumbnail", Vips, true, true, nullptr},
          {"qvthumbs, two workers", qvthumbs, Ours<false>, true, false, nullptr, false, true},
          {"qvthumbs, two workers, on a disk", qvthumbs, Ours<false>, true, false, nullptr, true, true}};
}

std::vector<SContender> OtherContenders() {
  std::vector<SContender> others = {
      {"GraphicsMagick", "gm", GraphicsMagick, false, true, nullptr},
      {"ImageMagick", "convert", ImageMagick, false, true, nullptr},
      {"OpenSlide", "openslide-write-png", OpenSlide, false, true, "pyramid-chain"},
  };
  std::erase_if(others, [](const SContender& contender) { return !IsInstalled(contender.program); });
  return others;
}

SProgramRun RunContender(const SContender& contender, const CPaths& files, const fs::path& out) {
  fs::remove_all(out);
  fs::create_directories(out);
  const CPaths first(files.begin(), files.begin() + 1);
  const CPaths& given = contender.wholeBatch ? files : first;
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  std::optional<COneProcessor> oneProcessor;
  if (!contender.usesAllProcessors) oneProcessor.emplace();
  qvtest::SProcessResult result = qvtest::CChildProcess({contender.command(contender.program, given, out), {}}).Wait();
  AddLeftBehind(result);
  const bool complete = !contender.leavesFiles || AllThere(out, given.size());
  return {result.seconds, result.processorSeconds, static_cast<double>(result.peakKilobytes) / 1024,
          result.status == 0 && complete};
}
