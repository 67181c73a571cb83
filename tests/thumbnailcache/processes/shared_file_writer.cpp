// Writes to a database that other processes write to as well, until it is killed.
//   shared_file_writer DATABASE LOG NUMBER IMAGE...
// The log says what was wanted and what was acknowledged. NUMBER makes the keys of this process its own.

#include <atomic>
#include <cstdio>
#include <exception>
#include <span>
#include <string>
#include <vector>

#include "system/qvdiag.h"
#include "system/qvstring.h"
#include "tests/support/experiments.h"
#include "tests/thumbnailcache/processes/keys.h"
#include "tests/thumbnailcache/processes/write_log.h"
#include "tests/thumbnailcache/support/service.h"

namespace qvtest {
namespace {

constexpr int kFiles = 10, kItems = 5;

std::atomic<unsigned> messages = 0;

std::wstring Wide(const std::string& ascii) { return {ascii.begin(), ascii.end()}; }

class CWriter {
 public:
  CWriter(IQvThumbnailCache& cache, const char* log, const char* number)
      : m_cache(cache), m_log(log), m_name(number), m_first(FirstExperiment(std::stoul(number))) {}

  // The same files, items and experiments come round again and again.
  void Step(unsigned number, std::span<char* const> images) {
    const std::string value = std::to_string(number);
    RecordFile(FileKey(m_name, number % kFiles), value);
    WriteItem(number % kItems, value);
    RecordExperiment(number);
    RequestNow(m_cache, {Describe(Wide(images[number % images.size()]))});
  }

 private:
  // An operation whose status is always 0 can still have failed: then there was a message.
  template <class Operation>
  void Log(const std::string& key, const std::string& value, Operation operation) {
    m_log.Begin(key, value);
    const unsigned before = messages;
    if (operation() == 0 && messages == before) m_log.Acknowledge();
  }

  void RecordFile(const std::string& key, const std::string& value) {
    Log(key, value, [&] { return m_cache.WriteHistory(Wide(key).c_str(), Wide(m_name).c_str(), std::stod(value), 1); });
  }
  void WriteItem(int index, const std::string& value) {
    int& id = m_items[index];
    const std::string key = ItemKey(m_name, index);
    const int flags = std::stoi(value);
    Log(key, value, [&] {
      return id == 0 ? m_cache.InsertStoredItem(0, Wide(key).c_str(), flags, &id)
                     : m_cache.UpdateStoredItem(id, 0, Wide(key).c_str(), flags);
    });
  }
  // The number of sections makes it an experiment of this process only.
  void RecordExperiment(unsigned number) {
    const unsigned sections = m_first + number % kExperimentsOfWriter;
    const CExperiment experiment = NewExperiment(kQvLoopZ, sections);
    const SQvPicturePlanes planes;
    Log(ExperimentKey(sections), std::to_string(number),
        [&] { return m_cache.WriteExperiment(experiment.get(), &planes, number, -1, nullptr); });
  }

  IQvThumbnailCache& m_cache;
  CWriteLog m_log;
  std::string m_name;
  unsigned m_first;
  int m_items[kItems] = {};
};

int Run(std::span<char*> arguments) {
  QV_SetDiagSink(
      [](void*, const SQvDiagMessage& message) {
        ++messages;
        std::fprintf(stderr, "%ls\n", message.text);
      },
      nullptr);
  UseInstalledComponents();
  CServiceHandle service;
  if (service.Open(Wide(arguments[1])) != 0) return 1;
  CWriter writer(*service, arguments[2], arguments[3]);
  for (unsigned number = 1;; ++number) writer.Step(number, arguments.subspan(4));
}

}  // namespace
}  // namespace qvtest

int main(int argc, char** argv) {
  if (argc < 5) return 2;
  try {
    return qvtest::Run({argv, static_cast<std::size_t>(argc)});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
