#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <map>
#include <set>
#include <unordered_map>

#include "host/commands/command.h"
#include "host/files/file_finder.h"
#include "host/files/file_jobs.h"
#include "host/output/picture.h"
#include "host/output/progress.h"
#include "host/plates/plate_finder.h"
#include "host/plates/plate_picture.h"
#include "host/plates/well_jobs.h"
#include "host/session/session.h"
#include "host/thumbnails/thumbnail_maker.h"

namespace qvhost {
namespace {

constexpr const char* kPlateInterrupted = "interrupted; no plate was written";

struct SPlateArguments {
  SDatabaseOptions database;
  std::vector<std::string> paths;
  std::string output;
  std::string name;
  std::int32_t cell = 0;
  bool highQuality = false, recursive = false, json = false;
};

// What became of each well.
class CPlateReport : public IThumbnailObserver {
 public:
  CPlateReport(const SPlateLayout& plate, std::uint32_t cell, bool quiet)
      : m_picture(plate, cell),
        m_reasons(plate.wells.size()),
        m_progress(static_cast<std::int64_t>(plate.wells.size()), quiet) {
    for (std::size_t i = 0; i < plate.wells.size(); ++i) m_byJob[WellJobName(plate.wells[i])].push_back(i);
  }

  void OnThumbnail(const SThumbnailJob& job, bool, const SQvPicBuf& picture) override {
    for (const std::size_t well : m_byJob[job.name]) {
      if (!picture.data) continue;
      m_picture.SetWell(well, picture);
      ++m_shown;
    }
    m_progress.Update(++m_done, job.name);
  }
  void OnFailed(const std::string& name, const std::string& reason) override {
    for (const std::size_t well : m_byJob[name]) {
      m_reasons[well] = reason;
      m_picture.SetFailed(well);
    }
    m_progress.Update(++m_done, name);
  }

  CQvPicture Draw() {
    m_progress.Finish();
    return m_picture.Draw();
  }
  // Empty for a well that is shown.
  const std::string& Reason(std::size_t well) const { return m_reasons[well]; }
  std::size_t Shown() const noexcept { return m_shown; }
  std::size_t Failed() const {
    return static_cast<std::size_t>(
        std::count_if(m_reasons.begin(), m_reasons.end(), [](const std::string& reason) { return !reason.empty(); }));
  }

 private:
  CPlatePicture m_picture;
  std::vector<std::string> m_reasons;
  std::unordered_map<std::string, std::vector<std::size_t>> m_byJob;
  CProgress m_progress;
  std::int64_t m_done = 0;
  std::size_t m_shown = 0;
};

bool IsThere(const SImagedWell& well) {
  std::error_code error;
  return std::filesystem::exists(well.file, error);
}

// One request for each file: of a plate whose files have not all been copied, those that are there.
std::vector<std::string> FilesOfWells(const SPlateLayout& plate) {
  std::set<std::string> files;
  for (const SImagedWell& well : plate.wells) {
    if (!well.isHidden && IsThere(well)) files.insert(well.file);
  }
  return {files.begin(), files.end()};
}

// By the file that they are hidden in.
std::map<std::string, std::vector<SImagedWell>> HiddenWells(const SPlateLayout& plate) {
  std::map<std::string, std::vector<SImagedWell>> wells;
  for (const SImagedWell& well : plate.wells) {
    if (well.isHidden) wells[well.file].push_back(well);
  }
  return wells;
}

void Request(CSession& session, IThumbnailJobs& jobs, CPlateReport& report, bool highQuality) {
  SMakeOptions options;
  options.highQuality = highQuality;
  options.picturesWanted = true;
  if (jobs.Count() != 0 && !CThumbnailMaker(session, jobs, report, options).Run()) {
    throw CHostError(kPlateInterrupted, kExitInterrupted);
  }
}

// What the service makes of a plate: a thumbnail for each well.
class CWellThumbnails {
 public:
  explicit CWellThumbnails(const SPlateLayout& plate) : m_files(FilesOfWells(plate)), m_hidden(HiddenWells(plate)) {
    for (const auto& [file, wells] : m_hidden) m_databases.emplace_back(file);
  }

  void Request(const SPlateArguments& arguments, CPlateReport& report) {
    // The databases outlive the session, whose workers call them.
    CSession session;
    session.Open(arguments.database, EDatabaseNeed::Use);
    CFileJobs files(m_files, arguments.highQuality, session.DatabasePath());
    qvhost::Request(session, files, report, arguments.highQuality);
    auto database = m_databases.begin();
    std::size_t number = 0;
    for (const auto& [file, wells] : m_hidden) {
      CWellJobs inside(*database++, number++, wells, arguments.highQuality);
      qvhost::Request(session, inside, report, arguments.highQuality);
    }
  }

 private:
  const std::vector<std::string> m_files;
  const std::map<std::string, std::vector<SImagedWell>> m_hidden;
  std::deque<CWellDatabase> m_databases;
};

// The plates' names as they tell them apart.
std::string ListOf(const std::vector<SPlateLayout>& plates) {
  std::string list;
  for (const SPlateLayout& plate : plates) list += (list.empty() ? "" : ", ") + Printable(plate.name);
  return list;
}

SPlateLayout ChoosePlate(const SPlateArguments& arguments, const std::vector<SPlateLayout>& plates) {
  if (plates.empty()) {
    throw CHostError(
        "no plate there: no file says that it belongs to one, and none is named after a well like A01 or r01c01",
        kExitSomeFailed);
  }
  if (arguments.name.empty() && plates.size() == 1) return plates.front();
  if (arguments.name.empty()) {
    throw CHostError(fmt::format("{} plates there: {}; choose one with --plate NAME", plates.size(), ListOf(plates)));
  }
  const auto named = std::find_if(plates.begin(), plates.end(),
                                  [&](const SPlateLayout& plate) { return plate.name == arguments.name; });
  if (named != plates.end()) return *named;
  throw CHostError(fmt::format("no plate '{}' there, but: {}", Printable(arguments.name), ListOf(plates)));
}

CJson JsonOf(const SPlateArguments& arguments, const SPlateLayout& plate, const CPlateReport& report,
             const SQvPicBuf& picture) {
  CJson wells = CJson::array();
  for (std::size_t i = 0; i < plate.wells.size(); ++i) {
    const SImagedWell& well = plate.wells[i];
    CJson entry = {{"well", WellName(well.row, well.column)},
                   {"row", well.row + 1},
                   {"column", well.column + 1},
                   {"file", well.file},
                   {"fields", well.fields}};
    entry["missing"] = !IsThere(well);
    if (!report.Reason(i).empty()) entry["error"] = report.Reason(i);
    wells.push_back(std::move(entry));
  }
  return {{"output", arguments.output},
          {"width", picture.width},
          {"height", picture.height},
          {"plate", plate.name},
          {"rows", plate.rows},
          {"columns", plate.columns},
          {"wells", wells}};
}

void PrintResult(const COutputTarget& target, const SPlateLayout& plate, const CPlateReport& report,
                 const SQvPicBuf& picture) {
  const std::size_t failed = report.Failed();
  std::string text = fmt::format("{}: {} x {} pixels, {}: {} of {} wells ({} x {})", Printable(target.Name()),
                                 picture.width, picture.height, Printable(plate.name), report.Shown(),
                                 plate.rows * plate.columns, plate.rows, plate.columns);
  const std::size_t missing = plate.wells.size() - report.Shown() - failed;
  if (missing > 0) text += fmt::format(", the files of {} not there", missing);
  if (failed > 0) text += fmt::format(", {} failed", failed);
  std::fprintf(target.IsStandardOutput() ? stderr : stdout, "%s\n", text.c_str());
}

void DrawPlate(const SPlateArguments& arguments, SOutcome& outcome) {
  if (arguments.database.view->position != 0) {
    throw CHostError("the wells of a plate are its positions; leave --position out");
  }
  const COutputTarget target = PictureTarget(arguments.output);
  const SFoundFiles found = FindImageFiles(arguments.paths, arguments.recursive);
  for (const auto& [path, reason] : found.problems) ReportFailure(outcome, path, reason);
  for (const std::string& file : found.files) target.RequireOtherThan(file);
  LoadComponents();
  const SPlateLayout plate = ChoosePlate(arguments, FindPlates(found.files, EPlateEvidence::Asked).plates);
  CPlateReport report(plate, static_cast<std::uint32_t>(arguments.cell), arguments.json);
  CWellThumbnails(plate).Request(arguments, report);
  const CQvPicture picture = report.Draw();
  WritePicture(*picture, target);
  for (std::size_t i = 0; i < plate.wells.size(); ++i) {
    if (!report.Reason(i).empty()) ReportFailure(outcome, WellJobName(plate.wells[i]), report.Reason(i));
  }
  if (arguments.json) return PrintJson(JsonOf(arguments, plate, report, *picture));
  PrintResult(target, plate, report, *picture);
}

}  // namespace

void AddPlateCommand(CCommand program, SOutcome& outcome) {
  const auto arguments = std::make_shared<SPlateArguments>();
  CCommand command = program.AddVerb("plate", "Write a plate of wells as one picture");
  AddDatabaseOptions(command, &arguments->database);
  AddRequired(command, "-o,--output", &arguments->output,
              "The picture file, ending in .jpg or .png; - is standard output, as PNG", "OUT");
  command.AddOption("--plate", &arguments->name, "Which one, when there are several").Type("NAME");
  command.AddOption("--cell", &arguments->cell, "Width of a well in pixels (default: a plate of about 1,600)")
      .Between(kLeastCell, kMostCell)
      .Type("N");
  AddRecursiveOption(command, &arguments->recursive);
  AddQualityOption(command, &arguments->highQuality);
  AddViewOptions(command, &arguments->database);
  AddJsonOption(command, &arguments->json);
  AddRequired(command, "paths", &arguments->paths, "Files of the plate, and folders of them", "PATH").FileNames();
  command.SetFooter(
      "Wells are what the files say (OME), else those of the names of files, or of the folders\n"
      "that they lie in: A01.tif, scan_B12_field1.tif, r02c12.tif, \"Well B12/field 1.tif\".\n"
      "Of several pictures of a well the first is shown. Each is stretched by itself, as a\n"
      "thumbnail is: brightness does not compare. A picture is replaced only when qvthumbs wrote it.\n\n"
      "Example:\n  qvthumbs plate ~/screens/plate1 -o plate1.png");
  command.SetWork([arguments, &outcome] {
    if (arguments->json && PictureTarget(arguments->output).IsStandardOutput()) {
      throw CHostError("--json prints to standard output, where the picture goes; give one of them");
    }
    DrawPlate(*arguments, outcome);
  });
}

}  // namespace qvhost
