#include "platform/imageformats/tiff/directory/file_set.h"

#include "platform/imageformats/base/format_error.h"

namespace imageformats::tiff {
namespace {

// Every sibling keeps a file open; a set spread over more files than that is shown from these.
constexpr std::size_t kMaxFiles = 64;
// Names that lead nowhere are looked for on the disk at most so often.
constexpr std::size_t kMaxNames = 4096;

}  // namespace

STiffFile::STiffFile(std::shared_ptr<const CInput> source)
    : input(std::move(source)), chain(ReadIfdChain(*input, &chainLeadsOut)), handle(input) {}

CFileSet::CFileSet(std::shared_ptr<const CInput> input, std::shared_ptr<const CInput> companion)
    : m_companion(std::move(companion)) {
  m_files.push_back(std::make_unique<STiffFile>(std::move(input)));
  const CInput& main = *Main().input;
  if (!main.IsFile()) return;
  const std::string path = CQvStringUtils::WtoUTF8(main.Path()).Str();
  m_name = path.substr(path.find_last_of("/\\") + 1);
}

std::uint64_t CFileSet::Bytes() const noexcept {
  std::uint64_t bytes = 0;
  for (const std::unique_ptr<STiffFile>& file : m_files) bytes += file->input->Size();
  return bytes;
}

std::shared_ptr<const CInput> CFileSet::OpenBeside(const std::string& name) const {
  if (m_companion) return m_companion->OpenBeside(name);
  return m_name.empty() ? nullptr : Main().input->OpenBeside(name);
}

int CFileSet::FindTiff(const std::string& name) {
  const auto known = m_found.find(name);
  if (known != m_found.end()) return known->second;
  if (m_files.size() >= kMaxFiles || m_found.size() >= kMaxNames) return -1;
  int& index = m_found[name];
  index = -1;
  std::shared_ptr<const CInput> input = OpenBeside(name);
  if (!input) return index;
  try {
    m_files.push_back(std::make_unique<STiffFile>(std::move(input)));
    index = static_cast<int>(m_files.size()) - 1;
  } catch (const CFormatError&) {
    // A sibling that is no TIFF file is as good as none.
  }
  return index;
}

}  // namespace imageformats::tiff
