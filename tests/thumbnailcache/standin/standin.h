#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "metadata/qvexperiment.h"
#include "metadata/qvimageinfo.h"
#include "system/qvexport.h"
#include "system/qvtextinfo.h"

class IQvPictureSource;

// A component library that registers CQvImageFormatManagerImpl and plays image files as a test scripts them. Its "JPG"
// format is a plain header and raw pixels, so that pictures survive a database row without loss.
namespace standin {

// One level of a scripted loop chain, outermost first.
struct SLoop {
  std::uint32_t type = 0;
  std::uint32_t size = 0;
};

// What a metadata reader answers. A result other than 0 fails that call.
struct SMetadata {
  std::int32_t openResult = 0;    // OpenImageFile
  std::int32_t readerResult = 0;  // GetMetadataReader
  std::int32_t infoResult = 0;
  std::int32_t textResult = 0;
  std::int32_t calibrationResult = 0;
  std::int32_t pictureMetadataResult = 0;
  std::int32_t acquisitionTimeResult = 0;
  std::int32_t experimentResult = 0;
  SQvImageTextInfo text;
  double calibration = 0.0;
  std::wstring objective;
  std::uint32_t planeCount = 0;
  double pictureCalibration = 0.0;
  double acquisitionTime = 0.0;
  std::vector<SLoop> loops;
  bool nullSubExperiment = false;  // the innermost level lists one null sub-experiment
  std::int64_t fileSize = 1234;
};

// What the manager finds at a path.
struct QV_EXPORT SFile {
  SFile() : SFile(400, 300) {}
  SFile(std::uint32_t width, std::uint32_t height);

  SQvImageInfo info;
  std::int32_t codecResult = 0;       // GetCodecForFile
  std::int32_t openResult = 0;        // OpenInputFile
  std::int32_t sourceInfoResult = 0;  // GetPictureInfo
  std::int32_t renderResult = 0;
  std::map<std::wstring, std::vector<std::uint8_t>> tags;
  SMetadata metadata;
};

// Calls of the stand-in's "JPG" output.
struct SOutput {
  SQvImageInfo format;
  double quality = -1.0;
};

struct SBalance {
  int managers = 0, codecs = 0, sources = 0, outputs = 0, readers = 0, files = 0;
  bool operator==(const SBalance&) const = default;
};

// The script. One for the process; all members are guarded by `mutex` while workers run.
class QV_EXPORT CScript {
 public:
  static CScript& Get();

  // Back to the start: every path is a 400 x 300 picture, nothing blocks, no call fails.
  void Reset();

  void SetFile(const std::wstring& path, const SFile& file);
  // Paths without a script of their own.
  void SetFallback(const std::optional<SFile>& file);
  std::shared_ptr<const SFile> Find(const std::wstring& path) const;

  // The codec of "JPG".
  void FailCodecByName(std::int32_t result);
  void FailOutput(std::int32_t createResult, std::int32_t formatResult, std::int32_t writeResult,
                  std::int32_t finishResult);
  std::vector<SOutput> Outputs() const;

  // The factory gives nothing; or an object that is no image-format manager.
  void FailFactory(bool null, bool other);

  // Rendering of this path waits until Unblock.
  void Block(const std::wstring& path);
  void Unblock(const std::wstring& path);
  void UnblockAll();
  // Waits until `count` threads stand at blocked paths.
  void WaitForBlocked(int count);
  // How many threads stand at blocked paths.
  int CountBlocked();

  // Called in rendering, with no lock held, before the pixels are written.
  void SetRenderHook(std::function<void(const std::wstring& path)> hook);

  // Waits until `count` managers live, or the factory fails.
  void WaitForManagers(int count);

  int RenderCount(const std::wstring& path) const;
  int TotalRenders() const;
  SBalance Live() const;

  void RecordCalls(bool on);
  std::vector<std::string> TakeCalls();

  // For the stand-in itself.
  void Note(const std::string& call);
  // Waits at a blocked path; returns how many renderings of the path came before.
  int EnterRender(const std::wstring& path);

  mutable std::mutex mutex;
  std::condition_variable changed;
  std::map<std::wstring, std::shared_ptr<const SFile>> files;
  std::shared_ptr<const SFile> fallback;
  std::set<std::wstring> blocked;
  int standing = 0;
  std::map<std::wstring, int> renders;
  int totalRenders = 0;
  std::int32_t codecByNameResult = 0;
  std::int32_t createResult = 0, formatResult = 0, writeResult = 0, finishResult = 0;
  bool factoryNull = false, factoryOther = false;
  std::vector<SOutput> outputs;
  std::function<void(const std::wstring&)> renderHook;
  std::atomic<bool> recording{false};
  std::vector<std::string> calls;
  std::atomic<int> managers{0}, codecs{0}, sources{0}, outputsLive{0}, readers{0}, imageFiles{0};
};

// A stream of the stand-in's "JPG" format. `value` fills every byte of the pixels; a short stream keeps only
// `payload` bytes of them.
QV_EXPORT std::vector<std::uint8_t> MakeStream(std::uint32_t width, std::uint32_t height, std::uint32_t components,
                                               std::uint32_t bits, std::uint8_t value,
                                               std::optional<std::size_t> payload = std::nullopt);

// A picture source for hosts' records; counted like any other.
QV_EXPORT IQvPictureSource* MakeSource(const std::wstring& name, const SFile& file);

// The byte that rendering `path` for the nth time (0 first) writes everywhere.
QV_EXPORT std::uint8_t RenderedByte(const std::wstring& path, int n);

}  // namespace standin
