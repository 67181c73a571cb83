#include "platform/imageformats/wsi/slide_bytes.h"

#include <filesystem>
#include <string>
#include <system_error>

namespace imageformats {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxSlideFiles = 10000;

template <class Function>
void ForEachEntry(const fs::path& folder, Function&& function) {
  std::error_code failed;
  std::size_t count = 0;
  for (fs::directory_iterator entry(folder, failed), end; !failed && entry != end && count < kMaxSlideFiles;
       entry.increment(failed), ++count) {
    function(*entry);
  }
}

std::uint64_t FileBytes(const fs::directory_entry& entry) {
  std::error_code failed;
  const std::uintmax_t size = entry.is_regular_file(failed) ? entry.file_size(failed) : 0;
  return failed ? 0 : size;
}

}  // namespace

std::uint64_t SlideBytes(const CInput& input) {
  // A slide that is a TIFF file is complete in it.
  const auto head = input.Head();
  if (head.size() < 2 || (head[0] == head[1] && (head[0] == 'I' || head[0] == 'M'))) return input.Size();
  const fs::path path(input.NativePath().Str());
  const std::string stem = path.stem().string();
  std::uint64_t bytes = input.Size();
  ForEachEntry(path.parent_path(), [&](const fs::directory_entry& entry) {
    const std::string name = entry.path().filename().string();
    if (name.compare(0, stem.size(), stem) != 0 || entry.path() == path) return;
    bytes += FileBytes(entry);
    if (name == stem) ForEachEntry(entry.path(), [&](const fs::directory_entry& inner) { bytes += FileBytes(inner); });
  });
  return bytes;
}

}  // namespace imageformats
