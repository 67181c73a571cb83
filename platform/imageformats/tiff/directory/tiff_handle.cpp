#include "platform/imageformats/tiff/directory/tiff_handle.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <optional>
#include <vector>

#include "platform/imageformats/base/format_error.h"

namespace imageformats::tiff {
namespace {

// Directories, strip tables and short strips are read from one window; a file of one row a strip would otherwise cost
// a system call a row.
constexpr std::size_t kWindowBytes = 64 << 10;

struct SOptionsDeleter {
  void operator()(TIFFOpenOptions* options) const noexcept { TIFFOpenOptionsFree(options); }
};

}  // namespace

struct CTiffHandle::SState {
  std::shared_ptr<const CInput> input;
  TIFF* tiff = nullptr;
  std::optional<std::uint64_t> directory;

  std::uint64_t position = 0;
  std::vector<std::uint8_t> window;
  std::uint64_t windowStart = 0;
  std::size_t windowSize = 0;

  std::string error, warning;

  tmsize_t Read(void* buffer, tmsize_t wanted) noexcept;
  toff_t Seek(toff_t offset, int whence) noexcept;
  static void KeepFirstMessage(std::string* text, const char* format, va_list arguments) noexcept;
};

tmsize_t CTiffHandle::SState::Read(void* buffer, tmsize_t wanted) noexcept {
  if (wanted <= 0) return 0;
  const auto size = static_cast<std::size_t>(wanted);
  std::size_t done = 0;
  if (size >= kWindowBytes / 2) {
    done = input->ReadAt(position, buffer, size);
  } else {
    if (position < windowStart || position + size > windowStart + windowSize) {
      windowStart = position;
      windowSize = input->ReadAt(position, window.data(), window.size());
    }
    const auto skip = static_cast<std::size_t>(position - windowStart);
    done = windowSize > skip ? std::min(size, windowSize - skip) : 0;
    std::memcpy(buffer, window.data() + skip, done);
  }
  position += done;
  return static_cast<tmsize_t>(done);
}

toff_t CTiffHandle::SState::Seek(toff_t offset, int whence) noexcept {
  if (whence == SEEK_CUR) offset += position;
  if (whence == SEEK_END) offset += input->Size();
  position = offset;
  return position;
}

void CTiffHandle::SState::KeepFirstMessage(std::string* text, const char* format, va_list arguments) noexcept {
  if (!text->empty()) return;
  char line[512];
  if (std::vsnprintf(line, sizeof line, format, arguments) < 0) return;
  try {
    *text = line;
  } catch (...) {
    // Without memory for the reason the failure itself still counts: see Error().
  }
}

CTiffHandle::CTiffHandle(std::shared_ptr<const CInput> input) : m_state(std::make_unique<SState>()) {
  SState& state = *m_state;
  state.input = std::move(input);
  state.window.resize(kWindowBytes);

  const std::unique_ptr<TIFFOpenOptions, SOptionsDeleter> options(TIFFOpenOptionsAlloc());
  if (!options) throw std::bad_alloc();
  TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), kMaxTiffAllocation);
  TIFFOpenOptionsSetErrorHandlerExtR(
      options.get(),
      [](TIFF*, void* user, const char*, const char* format, va_list arguments) {
        SState::KeepFirstMessage(&static_cast<SState*>(user)->error, format, arguments);
        return 1;
      },
      &state);
  TIFFOpenOptionsSetWarningHandlerExtR(
      options.get(),
      [](TIFF*, void* user, const char*, const char* format, va_list arguments) {
        SState::KeepFirstMessage(&static_cast<SState*>(user)->warning, format, arguments);
        return 1;
      },
      &state);
  // r: read; m: no mapping; h: header only; O: strip tables on demand; c: no invented strips in single-strip pictures.
  state.tiff = TIFFClientOpenExt(
      "image", "rmhOc", &state,
      [](thandle_t user, void* buffer, tmsize_t size) { return static_cast<SState*>(user)->Read(buffer, size); },
      [](thandle_t, void*, tmsize_t) { return tmsize_t{0}; },
      [](thandle_t user, toff_t offset, int whence) { return static_cast<SState*>(user)->Seek(offset, whence); },
      [](thandle_t) { return 0; }, [](thandle_t user) { return toff_t{static_cast<SState*>(user)->input->Size()}; },
      nullptr, nullptr, options.get());
  if (!state.tiff) throw CDamagedError("Not a TIFF file: " + (state.error.empty() ? "no TIFF header" : state.error));
}

CTiffHandle::~CTiffHandle() {
  if (m_state->tiff) TIFFClose(m_state->tiff);
}

TIFF* CTiffHandle::Get() const noexcept { return m_state->tiff; }
const CInput& CTiffHandle::Source() const noexcept { return *m_state->input; }
const std::shared_ptr<const CInput>& CTiffHandle::SharedSource() const noexcept { return m_state->input; }

void CTiffHandle::Select(std::uint64_t directoryOffset) {
  if (m_state->directory == directoryOffset) return;
  m_state->directory.reset();
  ClearMessages();
  if (directoryOffset == 0 || directoryOffset >= m_state->input->Size()) {
    throw CDamagedError("A directory lies outside the file");
  }
  if (!TIFFSetSubDirectory(m_state->tiff, directoryOffset)) {
    throw CDamagedError("Unreadable TIFF directory" + (Error().empty() ? std::string() : ": " + Error()));
  }
  m_state->directory = directoryOffset;
}

bool CTiffHandle::IsBigTiff() const noexcept { return TIFFIsBigTIFF(m_state->tiff) != 0; }
bool CTiffHandle::IsBigEndian() const noexcept { return TIFFIsBigEndian(m_state->tiff) != 0; }
bool CTiffHandle::IsSwapped() const noexcept { return TIFFIsByteSwapped(m_state->tiff) != 0; }

const std::string& CTiffHandle::Error() const noexcept { return m_state->error; }
const std::string& CTiffHandle::Warning() const noexcept { return m_state->warning; }
void CTiffHandle::ClearMessages() noexcept {
  m_state->error.clear();
  m_state->warning.clear();
}

}  // namespace imageformats::tiff
