#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "host/commands/command.h"
#include "host/files/file_finder.h"
#include "host/files/image_file.h"
#include "host/library/library_file.h"
#include "host/library/memory_picture.h"
#include "host/session/database_error.h"
#include "host/session/interrupt.h"
#include "host/session/session.h"
#include "system/qvref.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

// SQLite's own limit for one value.
constexpr std::uintmax_t kMaxBytes = 1000000000;

struct SImportArguments {
  std::string library;
  std::string field = "image";
  std::int32_t record = 0;
  std::vector<std::string> paths;
  bool recursive = false, json = false;
};

// False with the reason when the file cannot be read or is no image that can be opened from memory.
bool ReadImage(const std::string& path, std::string* bytes, std::string* reason) {
  *reason = ExplainOpenFailure(path);
  if (!reason->empty()) return false;
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) {
    *reason = "is a folder; a library holds files";
    return false;
  }
  if (std::filesystem::file_size(path, error) > kMaxBytes) {
    *reason = "larger than 1 GB, too large for a library";
    return false;
  }
  std::ifstream file(path, std::ios::binary);
  bytes->assign(std::istreambuf_iterator<char>(file), {});
  if (file.bad()) {
    *reason = std::strerror(errno);
    return false;
  }
  CQvRef<IQvPictureSource> source;
  const std::int32_t result = OpenMemoryPicture(*bytes, source.Out(), reason);
  if (result != kQvOk && reason->empty()) *reason = "damaged or no image";
  return result == kQvOk;
}

class CImporter {
 public:
  CImporter(const SImportArguments& arguments, SOutcome& outcome)
      : m_arguments(arguments), m_outcome(outcome), m_library(arguments.library, true) {
    if (arguments.record != 0 && !m_library.HasRecord(arguments.record)) {
      throw CHostError(fmt::format("the library has no record {}", arguments.record), kExitSomeFailed);
    }
  }

  void Import(const std::string& path) {
    std::string bytes, reason;
    if (!ReadImage(path, &bytes, &reason)) return Fail(path, reason);
    try {
      OnStored(path, Store(path, bytes), bytes.size());
    } catch (const std::runtime_error& error) {
      if (IsLastingError(error.what())) throw CHostError("stopped: " + ErrorText(error), kExitSomeFailed);
      Fail(path, ErrorText(error));
    }
  }

  void Fail(const std::string& path, const std::string& reason) {
    ++m_failed;
    m_failures.push_back({{"file", path}, {"reason", reason}});
    ReportFailure(m_outcome, path, reason);
  }

  void PrintSummary(bool completed) const {
    if (m_arguments.json) {
      PrintJson({{"pictures", m_pictures}, {"failures", m_failures}, {"interrupted", !completed}});
    } else {
      std::printf("%sadded %s, replaced %s, failed %s\n",
                  completed ? "" : "interrupted: ", FormatCount(m_added).c_str(), FormatCount(m_replaced).c_str(),
                  FormatCount(m_failed).c_str());
    }
  }

 private:
  SImportedPicture Store(const std::string& path, const std::string& bytes) {
    if (m_arguments.record != 0) return m_library.Store(m_arguments.record, m_arguments.field, bytes);
    const std::string absolute = AbsolutePath(path);
    return m_library.StoreSource(absolute, std::filesystem::path(absolute).filename().string(), m_arguments.field,
                                 bytes);
  }

  void OnStored(const std::string& path, const SImportedPicture& stored, std::size_t bytes) {
    ++(stored.replaced ? m_replaced : m_added);
    if (m_arguments.json) {
      m_pictures.push_back({{"record", stored.record},
                            {"field", m_arguments.field},
                            {"file", path},
                            {"bytes", bytes},
                            {"replaced", stored.replaced}});
    } else {
      std::printf("record %d, field %s: %s (%s)%s\n", stored.record, Printable(m_arguments.field).c_str(),
                  Printable(path).c_str(), FormatBytes(static_cast<std::int64_t>(bytes)).c_str(),
                  stored.replaced ? ", replaced" : "");
    }
  }

  const SImportArguments& m_arguments;
  SOutcome& m_outcome;
  CLibraryFile m_library;
  CJson m_pictures = CJson::array(), m_failures = CJson::array();
  std::int64_t m_added = 0, m_replaced = 0, m_failed = 0;
};

void Import(const SImportArguments& arguments, SOutcome& outcome) {
  LoadComponents();
  const SFoundFiles found = FindImageFiles(arguments.paths, arguments.recursive);
  if (arguments.record != 0 && found.files.size() > 1) {
    throw CHostError("--record takes one image; each field of a record holds one picture");
  }
  CImporter importer(arguments, outcome);
  for (const auto& [path, reason] : found.problems) importer.Fail(path, reason);
  bool completed = true;
  for (const std::string& path : found.files) {
    completed = !CInterrupt::Requested();
    if (!completed) break;
    importer.Import(path);
  }
  if (!completed) outcome.status = kExitInterrupted;
  importer.PrintSummary(completed);
}

}  // namespace

void AddImportCommand(CCommand program, SOutcome& outcome) {
  const auto arguments = std::make_shared<SImportArguments>();
  CCommand command = program.AddVerb("import", "Copy images into the records of an image library");
  AddRequired(command, "--library", &arguments->library, "The library, an SQLite file; made when missing", "FILE");
  command.AddOption("--field", &arguments->field, "The picture field to fill (default: image)")
      .Type("NAME")
      .NotEmpty("a field needs a name");
  command.AddOption("--record", &arguments->record, "Fill a field of this record instead of the image's own")
      .Positive()
      .Type("N");
  AddRecursiveOption(command, &arguments->recursive);
  AddJsonOption(command, &arguments->json);
  AddRequired(command, "images", &arguments->paths, "Image files, and folders of them", "IMAGE").FileNames();
  command.SetFooter(
      "An image that was imported before replaces its earlier state.\n\n"
      "Example: a library of the images of a folder, and the thumbnails of its records\n"
      "  qvthumbs import --library lab.qvlib ~/images\n"
      "  qvthumbs make --library lab.qvlib");
  command.SetWork([arguments, &outcome] { Import(*arguments, outcome); });
}

}  // namespace qvhost
