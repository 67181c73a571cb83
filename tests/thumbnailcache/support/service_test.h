#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "tests/support/diag_recorder.h"
#include "tests/support/sql.h"
#include "tests/support/temp_folder.h"
#include "tests/thumbnailcache/standin/standin.h"
#include "tests/thumbnailcache/support/platform_spy.h"
#include "tests/thumbnailcache/support/service.h"
#include "tests/thumbnailcache/support/sqlite_spy.h"

namespace qvtest {

constexpr const char* kSource = "gnr_thumbnailcache/thumbnailcache_impl";

// The service on stand-in image formats, with SQLite, the platform and the diagnostics watched. At the end everything
// that was handed out must have come back.
class ServiceTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  IQvThumbnailCache& Cache() { return **m_service; }
  CServiceHandle& Host() { return *m_service; }
  standin::CScript& Script() { return standin::CScript::Get(); }
  const CTempFolder& Folder() const { return m_folder; }
  std::string DatabaseFile() const { return m_folder.Path("cache.db"); }
  // Also waits until both workers have started.
  std::int32_t Open();
  std::int32_t Close() { return m_service->Close(); }

  // An existing file whose picture the stand-in scripts; gives its lower-case path.
  std::wstring MakeFile(const std::string& name) { return m_folder.MakeFileWide(name, "content"); }
  std::wstring MakeFile(const std::string& name, const standin::SFile& file);

  // Queues one new file and waits until the listener was told of it.
  void MakeOne(CRecordingListener& listener);

  // Both workers stand in the rendering of two files until Unblock… of the script.
  void OccupyWorkers(CRecordingListener& listener);
  // Lets both go and waits until they are done.
  void FreeWorkers(CRecordingListener& listener);
  // Lets one go.
  void FreeOneWorker(CRecordingListener& listener);
  // Waits until the workers are done with everything that was queued before this call. Afterwards those that were free
  // are free again.
  void Drain(CRecordingListener& listener);

  CDiagRecorder m_diag;
  std::wstring m_occupiers[2];       // the files that OccupyWorkers chose
  bool m_expectLeftPicture = false;  // a test leaves a picture behind on purpose

 private:
  // Queues a file at whose rendering a worker will stand; gives its path.
  std::wstring OccupyWorker(const std::string& name);

  CTempFolder m_folder;
  std::unique_ptr<CServiceHandle> m_service;
  int m_files = 0;
};

std::string Utf8(const std::wstring& text);
std::wstring Upper(std::wstring text);

// The first byte of a picture's pixels when all pixel bytes are equal, else -1.
int UniformByte(const SQvPicBuf& picture);

}  // namespace qvtest
