#include <cstring>

#include "system/qvstring.h"
#include "tests/thumbnailcache/standin/standin.h"

namespace standin {
namespace {

std::wstring Key(const std::wstring& path) {
  std::wstring key = path;
  CQvStringUtils::ToLower(key);
  return key;
}

}  // namespace

SFile::SFile(std::uint32_t width, std::uint32_t height) {
  info.width = width;
  info.height = height;
  info.widthBytes = width * 3;
  info.components = 3;
  info.bpcInMemory = 8;
  info.bpcSignificant = 8;
  info.pixelType = kQvPixelUnsigned;
  info.sequenceCount = 1;
  info.tileWidth = width;
  info.tileHeight = height;
}

CScript& CScript::Get() {
  static CScript script;
  return script;
}

void CScript::Reset() {
  std::lock_guard lock(mutex);
  files.clear();
  fallback = std::make_shared<SFile>();
  blocked.clear();
  renders.clear();
  totalRenders = 0;
  codecByNameResult = createResult = formatResult = writeResult = finishResult = 0;
  factoryNull = factoryOther = false;
  outputs.clear();
  renderHook = nullptr;
  recording = false;
  calls.clear();
  changed.notify_all();
}

void CScript::SetFile(const std::wstring& path, const SFile& file) {
  std::lock_guard lock(mutex);
  files[Key(path)] = std::make_shared<SFile>(file);
}

void CScript::SetFallback(const std::optional<SFile>& file) {
  std::lock_guard lock(mutex);
  fallback = file ? std::make_shared<SFile>(*file) : nullptr;
}

std::shared_ptr<const SFile> CScript::Find(const std::wstring& path) const {
  std::lock_guard lock(mutex);
  const auto found = files.find(Key(path));
  return found != files.end() ? found->second : fallback;
}

void CScript::FailCodecByName(std::int32_t result) {
  std::lock_guard lock(mutex);
  codecByNameResult = result;
}

void CScript::FailOutput(std::int32_t create, std::int32_t format, std::int32_t write, std::int32_t finish) {
  std::lock_guard lock(mutex);
  createResult = create;
  formatResult = format;
  writeResult = write;
  finishResult = finish;
}

std::vector<SOutput> CScript::Outputs() const {
  std::lock_guard lock(mutex);
  return outputs;
}

void CScript::FailFactory(bool null, bool other) {
  std::lock_guard lock(mutex);
  factoryNull = null;
  factoryOther = other;
}

void CScript::Block(const std::wstring& path) {
  std::lock_guard lock(mutex);
  blocked.insert(Key(path));
}

void CScript::Unblock(const std::wstring& path) {
  std::lock_guard lock(mutex);
  blocked.erase(Key(path));
  changed.notify_all();
}

void CScript::UnblockAll() {
  std::lock_guard lock(mutex);
  blocked.clear();
  changed.notify_all();
}

void CScript::WaitForBlocked(int count) {
  std::unique_lock lock(mutex);
  changed.wait(lock, [&] { return standing >= count; });
}

int CScript::CountBlocked() {
  std::lock_guard lock(mutex);
  return standing;
}

void CScript::SetRenderHook(std::function<void(const std::wstring& path)> hook) {
  std::lock_guard lock(mutex);
  renderHook = std::move(hook);
}

void CScript::WaitForManagers(int count) {
  std::unique_lock lock(mutex);
  changed.wait(lock, [&] { return managers >= count || factoryNull || factoryOther; });
}

int CScript::RenderCount(const std::wstring& path) const {
  std::lock_guard lock(mutex);
  const auto found = renders.find(Key(path));
  return found != renders.end() ? found->second : 0;
}

int CScript::TotalRenders() const {
  std::lock_guard lock(mutex);
  return totalRenders;
}

SBalance CScript::Live() const { return {managers, codecs, sources, outputsLive, readers, imageFiles}; }

void CScript::RecordCalls(bool on) {
  std::lock_guard lock(mutex);
  recording = on;
  calls.clear();
}

std::vector<std::string> CScript::TakeCalls() {
  std::lock_guard lock(mutex);
  return std::exchange(calls, {});
}

void CScript::Note(const std::string& call) {
  if (!recording) return;
  std::lock_guard lock(mutex);
  calls.push_back(call);
}

int CScript::EnterRender(const std::wstring& path) {
  const std::wstring key = Key(path);
  std::function<void(const std::wstring&)> hook;
  int before = 0;
  {
    std::unique_lock lock(mutex);
    before = renders[key]++;
    ++totalRenders;
    if (blocked.contains(key)) {
      ++standing;
      changed.notify_all();
      changed.wait(lock, [&] { return !blocked.contains(key); });
      --standing;
    }
    hook = renderHook;
  }
  if (hook) hook(path);
  return before;
}

std::vector<std::uint8_t> MakeStream(std::uint32_t width, std::uint32_t height, std::uint32_t components,
                                     std::uint32_t bits, std::uint8_t value, std::optional<std::size_t> payload) {
  const std::uint32_t header[4] = {width, height, components, bits};
  const std::size_t pixels = std::size_t{width} * height * components * (bits > 8 ? 2 : 1);
  std::vector<std::uint8_t> stream(sizeof(header) + payload.value_or(pixels), value);
  std::memcpy(stream.data(), header, sizeof(header));
  return stream;
}

std::uint8_t RenderedByte(const std::wstring& path, int n) {
  std::uint32_t hash = 2166136261u;
  for (const wchar_t c : Key(path)) hash = (hash ^ static_cast<std::uint32_t>(c)) * 16777619u;
  return static_cast<std::uint8_t>((hash >> 8) + static_cast<std::uint32_t>(n) * 37u);
}

}  // namespace standin
