#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/imageformats/tiff/directory/ifd_chain.h"
#include "platform/imageformats/tiff/directory/tiff_handle.h"

namespace imageformats::tiff {

// A TIFF file and its main chain. One thread.
struct STiffFile {
  explicit STiffFile(std::shared_ptr<const CInput> source);

  std::shared_ptr<const CInput> input;
  bool chainLeadsOut = false;  // see ReadIfdChain
  std::vector<SIfdSummary> chain;
  CTiffHandle handle;
};

// The opened file, or the first of a set whose companion was opened, and the files beside it that a document names.
// Only plain names in the same folder are followed.
class CFileSet {
 public:
  // `companion`: the document that was opened, and that the others lie beside, where that is not the file itself.
  // Throws CDamagedError when the file is no TIFF file.
  explicit CFileSet(std::shared_ptr<const CInput> input, std::shared_ptr<const CInput> companion = nullptr);

  STiffFile& Main() const noexcept { return *m_files.front(); }
  STiffFile& File(std::size_t index) noexcept { return *m_files[index]; }

  // Of all files opened so far.
  std::uint64_t Bytes() const noexcept;

  // Null where the file itself was opened.
  const CInput* Companion() const noexcept { return m_companion.get(); }

  // The file's own name, in UTF-8; empty for memory.
  const std::string& MainName() const noexcept { return m_name; }
  // Index of the TIFF file of that name beside the main one, opened when asked for first; -1 when there is none, or the
  // name leads elsewhere.
  int FindTiff(const std::string& name);
  // Any file beside the main one; null when there is none.
  std::shared_ptr<const CInput> OpenBeside(const std::string& name) const;

 private:
  std::shared_ptr<const CInput> m_companion;
  std::vector<std::unique_ptr<STiffFile>> m_files;
  std::map<std::string, int> m_found;
  std::string m_name;
};

}  // namespace imageformats::tiff
