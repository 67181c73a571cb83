#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "host/commands/command.h"
#include "host/files/image_file.h"
#include "host/output/picture.h"
#include "host/output/progress.h"
#include "host/session/cache_database.h"
#include "host/session/interrupt.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

struct SArguments {
  SDatabaseOptions database;
  std::string under, folder;
  bool json = false;
};

constexpr const char* kFolderCondition =
    "FROM cache WHERE length(binData) > 0 AND (?1 = '' OR substr(filename, 1, length(?1)) = ?1)";

// How many folders all of the locations have in common: of sorted names the first and the last differ most.
std::ptrdiff_t CountCommonFolders(SQLite::Database& db, const std::string& prefix) {
  SQLite::Statement ends(db, std::string("SELECT min(filename), max(filename) ") + kFolderCondition);
  ends.bind(1, prefix);
  if (!ends.executeStep() || ends.getColumn(0).isNull()) return 0;
  const std::string first = ends.getColumn(0).getString(), last = ends.getColumn(1).getString();
  const auto differ = std::mismatch(first.begin(), first.end(), last.begin(), last.end()).first;
  const std::string common(first.begin(), differ);
  const std::size_t end = common.rfind('/');
  return end == common.npos ? 0
                            : std::count(common.begin(), common.begin() + static_cast<std::ptrdiff_t>(end) + 1, '/');
}

// The location below the common folders, under its real name while the file is there. Empty for one that leads
// elsewhere.
fs::path NameBelow(const std::string& location, std::ptrdiff_t folders) {
  const fs::path real = fs::path(RealPath(CQvStringUtils::UTF8toW(location))).lexically_normal();
  fs::path below;
  std::ptrdiff_t passed = 0;
  for (const fs::path& part : real) {
    if (part == "..") return {};
    if (passed++ >= folders && part != "/") below /= part;
  }
  return below;
}

class CExporter {
 public:
  CExporter(const SArguments& arguments, SOutcome& outcome)
      : m_arguments(arguments),
        m_outcome(outcome),
        m_prefix(arguments.under.empty() ? "" : LocationOfFolder(arguments.under)) {}

  void Run() {
    CCacheDatabase database(m_arguments.database, EDatabaseNeed::Look);
    SQLite::Database& db = database.Connection();
    const std::ptrdiff_t folders = CountCommonFolders(db, m_prefix);
    CProgress progress(db.execAndGet("SELECT count(*) FROM cache").getInt64(), m_arguments.json);
    // Of two thumbnails of a file the careful one comes first.
    SQLite::Statement rows(
        db, std::string("SELECT filename, binData ") + kFolderCondition + " ORDER BY filename, flags DESC");
    rows.bind(1, m_prefix);
    std::string before;
    for (std::int64_t done = 0; rows.executeStep(); progress.Update(++done, before)) {
      CInterrupt::ThrowIfRequested("interrupted; what was written stays");
      const std::string location = rows.getColumn(0).getString();
      if (location != before) Write(location, rows.getColumn(1).getString(), folders);
      before = location;
    }
  }

  std::int64_t Written() const noexcept { return m_written; }

 private:
  void Write(const std::string& location, std::string jpeg, std::ptrdiff_t folders) {
    const fs::path below = NameBelow(location, folders);
    try {
      if (below.empty()) throw CHostError("has no name below the folder");
      if (!jpeg.starts_with("\xFF\xD8")) throw CHostError("its stored picture is damaged");
      const fs::path file = fs::path(m_arguments.folder) / (below.string() + ".jpg");
      std::error_code error;
      fs::create_directories(file.parent_path(), error);
      WriteJpeg(std::move(jpeg), AnyPictureTarget(file.string()));
      ++m_written;
    } catch (const CHostError& failure) {
      ReportFailure(m_outcome, location, failure.what());
    }
  }

  const SArguments& m_arguments;
  SOutcome& m_outcome;
  const std::string m_prefix;
  std::int64_t m_written = 0;
};

void Export(const SArguments& arguments, SOutcome& outcome) {
  CExporter exporter(arguments, outcome);
  exporter.Run();
  if (arguments.json) {
    PrintJson({{"folder", arguments.folder}, {"written", exporter.Written()}});
  } else {
    std::printf("%s: %s\n", Printable(arguments.folder).c_str(), FormatCountOf(exporter.Written(), "picture").c_str());
  }
}

}  // namespace

void AddExportCommand(CCommand program, SOutcome& outcome) {
  const auto arguments = std::make_shared<SArguments>();
  CCommand command = program.AddVerb("export", "Write the stored thumbnails to a folder as JPEG files");
  AddDatabaseOptions(command, &arguments->database);
  AddUnderOption(command, &arguments->under, "Only those of images below this folder");
  AddJsonOption(command, &arguments->json);
  AddRequired(command, "folder", &arguments->folder, "Where they go, in folders as the images lie; made when missing",
              "FOLDER")
      .NotEmpty("an empty name is no folder");
  command.SetFooter(
      "cells.tif becomes cells.tif.jpg. A file is replaced only when qvthumbs wrote it.\n\n"
      "Example: the thumbnails of a project for its web page\n"
      "  qvthumbs export --under ~/images/project ~/public/thumbnails");
  command.SetWork([arguments, &outcome] { Export(*arguments, outcome); });
}

}  // namespace qvhost
