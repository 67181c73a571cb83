#include "bench/cold_compare/contender.h"

#include <algorithm>
#include <iterator>

namespace {

namespace fs = std::filesystem;
using Command = std::vector<std::string>;

constexpr const char* kBox = "480x180";

void Append(Command* command, const Paths& files, const char* suffix = "") {
  for (const fs::path& file : files) command->push_back(file.string() + suffix);
}

template <bool sync>
Command Ours(const std::string& program, const Paths& files, const fs::path& out) {
  Command command = {program, "make", "--db", out / "thumbnails.db"};
  if (sync) command.emplace_back("--sync");
  Append(&command, files);
  return command;
}

Command Vips(const std::string& program, const Paths& files, const fs::path& out) {
  Command command = {program, "--size", kBox, "-o", out / "%s.jpg"};
  Append(&command, files);
  return command;
}

// Without [0] both would go through all planes of a stack.
Command GraphicsMagick(const std::string& program, const Paths& files, const fs::path& out) {
  Command command = {program, "convert", "-size", kBox};
  Append(&command, files, "[0]");
  command.insert(command.end(), {"-thumbnail", kBox, "+adjoin", out / "%02d.jpg"});
  return command;
}

Command ImageMagick(const std::string& program, const Paths& files, const fs::path& out) {
  Command command = {program, "-define", std::string("jpeg:size=") + kBox};
  Append(&command, files, "[0]");
  command.insert(command.end(), {"-thumbnail", kBox, "+adjoin", out / "%02d.jpg"});
  return command;
}

// The library's tools copy a region of a level and do not scale: it is given the level that covers the box.
Command OpenSlide(const std::string& program, const Paths& files, const fs::path& out) {
  return {program, files.front(), "0", "0", "6", "312", "312", out / "region.png"};
}

bool AllThere(const fs::path& out, std::size_t count) {
  return static_cast<std::size_t>(std::distance(fs::directory_iterator(out), fs::directory_iterator())) >= count;
}

}  // namespace

std::vector<SContender> MainContenders(const std::string& qvthumbs) {
  return {{"qvthumbs", qvthumbs, Ours<true>, true, false, nullptr},
          {"vipsthumbnail", "vipsthumbnail", Vips, true, true, nullptr},
          {"qvthumbs, two workers", qvthumbs, Ours<false>, true, false, nullptr}};
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

SProcessRun RunContender(const SContender& contender, const Paths& files, const fs::path& out) {
  fs::remove_all(out);
  fs::create_directories(out);
  const Paths first(files.begin(), files.begin() + 1);
  const Paths& given = contender.wholeBatch ? files : first;
  SProcessRun run = RunProcess(contender.command(contender.program, given, out));
  if (contender.leavesFiles) run.succeeded = run.succeeded && AllThere(out, given.size());
  return run;
}
