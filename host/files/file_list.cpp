#include "host/files/file_list.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "host/host_error.h"
#include "host/output/text.h"
#include "host/session/interrupt.h"

namespace qvhost {
namespace {

constexpr std::size_t kListBlock = 1 << 16;

struct SCloseList {
  void operator()(std::FILE* file) const {
    if (file != stdin) std::fclose(file);
  }
};
using CListFile = std::unique_ptr<std::FILE, SCloseList>;

[[noreturn]] void FailToRead(const std::string& list) {
  throw CHostError(fmt::format("cannot read the list {}: {}", Printable(list), std::strerror(errno)));
}

// Cuts blocks into names.
class CNameCutter {
 public:
  CNameCutter(char separator, const std::function<void(std::string)>& take) : m_separator(separator), m_take(take) {}

  void Add(const char* bytes, std::size_t size) {
    const char* const end = bytes + size;
    for (const char* stop; (stop = static_cast<const char*>(std::memchr(bytes, m_separator, Left(bytes, end))));) {
      m_name.append(bytes, stop);
      Finish();
      bytes = stop + 1;
    }
    m_name.append(bytes, end);
  }
  void Finish() {
    if (!m_name.empty()) m_take(std::move(m_name));
    m_name.clear();
  }

 private:
  static std::size_t Left(const char* from, const char* end) { return static_cast<std::size_t>(end - from); }

  const char m_separator;
  const std::function<void(std::string)>& m_take;
  std::string m_name;
};

}  // namespace

void ReadFileList(const std::string& list, const std::function<void(std::string name)>& take) {
  const CListFile file(list == "-" ? stdin : std::fopen(list.c_str(), "rbe"));
  if (!file) FailToRead(list);
  std::vector<char> block(kListBlock);
  // A short count means the end of the list: a pipe is waited for.
  std::size_t size = std::fread(block.data(), 1, block.size(), file.get());
  const bool hasNul = size > 0 && std::memchr(block.data(), '\0', size);
  CNameCutter names(hasNul ? '\0' : '\n', take);
  for (; size > 0; size = std::fread(block.data(), 1, block.size(), file.get())) {
    CInterrupt::ThrowIfRequested("interrupted");
    names.Add(block.data(), size);
  }
  if (std::ferror(file.get())) FailToRead(list);
  names.Finish();
}

}  // namespace qvhost
