#include "tests/thumbnailcache/support/service_test.h"

#include <cwctype>

#include "system/qvrtti.h"
#include "system/qvstring.h"

namespace qvtest {
namespace {
constexpr int kWorkers = 2;
}

void ServiceTest::SetUp() {
  CPlatformSpy::Reset();
  CSqliteSpy::Reset();
  Script().Reset();
  UseStandInFormats();
  m_service = std::make_unique<CServiceHandle>();
}

void ServiceTest::TearDown() {
  Script().UnblockAll();
  m_service.reset();
  EXPECT_EQ(Script().Live(), standin::SBalance{});
  EXPECT_TRUE(m_expectLeftPicture || CPlatformSpy::LivePictures() == 0) << CPlatformSpy::LivePictures();
  EXPECT_EQ(CSqliteSpy::OpenConnections(), 0);
  CPlatformSpy::Reset();
  CSqliteSpy::Reset();
  Script().Reset();
}

std::int32_t ServiceTest::Open() {
  const std::int32_t result = m_service->Open(m_folder.Wide("cache.db"));
  if (result == 0) Script().WaitForManagers(kWorkers);
  return result;
}

std::wstring ServiceTest::MakeFile(const std::string& name, const standin::SFile& file) {
  const std::wstring path = m_folder.MakeFileWide(name, "content");
  Script().SetFile(path, file);
  return path;
}

void ServiceTest::MakeOne(CRecordingListener& listener) {
  const std::wstring path = MakeFile("one-" + std::to_string(m_files++) + ".tif");
  Queue(Cache(), {Describe(path)});
  listener.WaitFor(path);
}

std::wstring ServiceTest::OccupyWorker(const std::string& name) {
  const std::wstring path = MakeFile(name + "-" + std::to_string(m_files++) + ".tif");
  Script().Block(path);
  // A batch of its own, since a batch wakes one worker.
  Queue(Cache(), {Describe(path)});
  return path;
}

void ServiceTest::OccupyWorkers(CRecordingListener&) {
  for (std::wstring& path : m_occupiers) path = OccupyWorker("occupier");
  Script().WaitForBlocked(kWorkers);
}

void ServiceTest::FreeWorkers(CRecordingListener& listener) {
  for (const std::wstring& path : m_occupiers) {
    Script().Unblock(path);
    listener.WaitFor(path);
  }
}

void ServiceTest::FreeOneWorker(CRecordingListener& listener) {
  Script().Unblock(m_occupiers[0]);
  listener.WaitFor(m_occupiers[0]);
}

void ServiceTest::Drain(CRecordingListener& listener) {
  // One worker at the end of the queue does not tell that the other is done with what it took before; only when all of
  // them stand is nothing in work.
  std::vector<std::wstring> last;
  for (int idle = kWorkers - Script().CountBlocked(); idle > 0; --idle) last.push_back(OccupyWorker("drain"));
  Script().WaitForBlocked(kWorkers);
  for (const std::wstring& path : last) {
    Script().Unblock(path);
    listener.WaitFor(path);
  }
}

std::string Utf8(const std::wstring& text) { return CQvStringUtils::WtoUTF8(text.c_str()).Str(); }

std::wstring Upper(std::wstring text) {
  for (wchar_t& c : text) c = static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(c)));
  return text;
}

int UniformByte(const SQvPicBuf& picture) {
  const auto* bytes = static_cast<const std::uint8_t*>(picture.data);
  if (!bytes) return -1;
  const std::size_t row = std::size_t{picture.width} * picture.components;
  for (std::uint32_t y = 0; y < picture.height; ++y)
    for (std::size_t x = 0; x < row; ++x)
      if (bytes[std::size_t{y} * picture.widthBytes + x] != bytes[0]) return -1;
  return bytes[0];
}

}  // namespace qvtest
