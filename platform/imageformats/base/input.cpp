#include "platform/imageformats/base/input.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "platform/imageformats/base/format_error.h"

namespace imageformats {

namespace {

bool IsPlainName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." &&
         name.find_first_of(std::string_view("/\\:\0", 4)) == std::string::npos;
}

}  // namespace

std::shared_ptr<const CInput> CInput::FromFile(const CQvStringW& path) {
  const std::shared_ptr<CInput> input(new CInput);
  input->m_path = path;
  if (QV_ResolvePath(path.c_str(), &input->m_nativePath) != 0) throw CDamagedError("No file name was given");
  if (QV_OpenFile(path.c_str(), kQvFileRead, kQvShareRead | kQvShareWrite, kQvAnyAttributes, &input->m_handle) != 0) {
    throw CDamagedError("The file cannot be opened");
  }
  if (QV_IsFolder(input->m_handle)) input->OpenDocument(input->m_handle);
  input->m_isFile = true;
  input->LoadSize();
  input->LoadHead();
  return input;
}

std::shared_ptr<const CInput> CInput::FromHandle(QvFileHandle handle, const CQvStringW& path,
                                                 const CQvStringA& nativePath, SBeside beside, bool isFolder) {
  const std::shared_ptr<CInput> input(new CInput);
  input->m_handle = handle;
  input->m_isFile = true;
  input->m_isFolder = isFolder;
  input->m_path = path;
  input->m_nativePath = nativePath;
  input->m_beside = std::move(beside);
  input->LoadSize();
  input->LoadHead();
  return input;
}

std::shared_ptr<const CInput> CInput::FromMemory(const void* data, std::size_t size) { return OfMemory(data, size); }

std::shared_ptr<const CInput> CInput::FromBytes(std::vector<std::uint8_t> bytes) {
  const std::shared_ptr<CInput> input = OfMemory(bytes.data(), bytes.size());
  input->m_bytes = std::move(bytes);  // which stay where they are
  return input;
}

std::shared_ptr<CInput> CInput::OfMemory(const void* data, std::size_t size) {
  if (data == nullptr || size == 0) throw CDamagedError("There is no image data");
  const std::shared_ptr<CInput> input(new CInput);
  input->m_memory = {static_cast<const std::uint8_t*>(data), size};
  input->m_size = size;
  input->LoadHead();
  return input;
}

CInput::~CInput() {
  if (m_isFile) QV_CloseFile(m_handle);
  if (m_folder) QV_CloseFile(*m_folder);
}

std::size_t CInput::ReadAt(std::uint64_t offset, void* buffer, std::size_t size) const noexcept {
  if (m_isFile) return ReadFileAt(offset, buffer, size);
  if (offset >= m_memory.size()) return 0;
  const std::size_t count = std::min(size, m_memory.size() - static_cast<std::size_t>(offset));
  if (count != 0) std::memcpy(buffer, m_memory.data() + offset, count);
  return count;
}

void CInput::OpenDocument(QvFileHandle folder) {
  m_folder = folder;
  m_isFolder = true;
  const auto open = [&](const char* name) { return QV_OpenFileBelow(folder, name, &m_handle) == 0; };
  if (std::any_of(kQvPictureDocuments.begin(), kQvPictureDocuments.end(), open)) return;
  throw CDamagedError("The folder's description cannot be opened");
}

std::uint64_t CInput::StoredSize() const noexcept {
  std::int64_t size = 0;
  return m_folder && QV_GetFileSize(*m_folder, &size) == 0 ? static_cast<std::uint64_t>(size) : m_size;
}

void CInput::LoadSize() {
  std::int64_t size = 0;
  if (QV_GetFileSize(m_handle, &size) != 0) throw CDamagedError("The file's size cannot be read");
  m_size = static_cast<std::uint64_t>(std::max<std::int64_t>(size, 0));
}

std::shared_ptr<const CInput> CInput::OpenBeside(const std::string& name) const {
  if (!IsPlainName(name)) return nullptr;
  if (m_beside) return m_beside(name);
  if (!m_isFile || m_path.IsEmpty()) return nullptr;
  const std::wstring& path = m_path.Str();
  const std::size_t slash = path.find_last_of(L"/\\");
  const std::wstring folder = slash == std::wstring::npos ? std::wstring() : path.substr(0, slash + 1);
  try {
    return FromFile(CQvStringW(folder) + CQvStringUtils::UTF8toW(name));
  } catch (const CFormatError&) {
    return nullptr;
  }
}

std::shared_ptr<const CInput> CInput::OpenBelow(const std::string& name) const {
  if (!m_isFolder) return nullptr;
  if (m_beside) return m_beside(name);
  QvFileHandle file{};
  if (!m_folder || QV_OpenFileBelow(*m_folder, name.c_str(), &file) != 0) return nullptr;
  try {
    return FromHandle(file, CQvStringW(), CQvStringA(), nullptr);
  } catch (const CFormatError&) {
    return nullptr;
  }
}

void CInput::LoadHead() noexcept { m_headSize = ReadAt(0, m_head, kHeadSize); }

}  // namespace imageformats
