#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "host/commands/command.h"
#include "host/commands/info_table.h"
#include "host/files/failure_reason.h"
#include "host/files/file_finder.h"
#include "host/files/image_file.h"
#include "host/files/picture_folder.h"
#include "host/files/text_info.h"
#include "host/session/interrupt.h"
#include "host/session/session.h"
#include "host/session/sqlite.h"

namespace qvhost {
namespace {

struct SInfoArguments {
  SDatabaseOptions database;
  std::vector<std::string> files;
  std::string fields;  // with commas between them; empty: all
  bool recursive = false, csv = false, json = false;
};

// The texts are read from the files when there is no database, so the user's own one is only a help.
void OpenIfPossible(CSession& session, const SDatabaseOptions& options) {
  if (options.allUsers || !options.file.empty()) return session.Open(options, EDatabaseNeed::Use);
  try {
    session.Open(options, EDatabaseNeed::Use);
  } catch (const std::runtime_error& error) {
    std::fprintf(stderr, "qvthumbs: without a database, because: %s\n", ErrorText(error).c_str());
  }
}

void PrintLines(const std::string& file, const STextInfo& info) {
  std::printf("%s\n", Printable(file).c_str());
  const auto lines = info.Lines();
  std::size_t width = 0;
  for (const auto& line : lines) width = std::max(width, DisplayWidth(line.first));
  const std::string indent(width + 4, ' ');
  for (const auto& [label, value] : lines) {
    std::string text = value;
    for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 1)) {
      text.insert(at + 1, indent);
    }
    std::printf("  %s%s%s\n", label.c_str(), std::string(width - DisplayWidth(label) + 2, ' ').c_str(), text.c_str());
  }
}

std::string ExplainFailure(const std::string& path) {
  const std::string reason = ExplainOpenFailure(path);
  return reason.empty() ? CFailureReason().OfFile(CQvStringUtils::UTF8toW(path)) : reason;
}

// Prints what is known of images, each as it comes where the form allows.
class CInfoPrinter {
 public:
  explicit CInfoPrinter(const SInfoArguments& arguments)
      : m_arguments(arguments), m_table(arguments.fields), m_rows(m_table.Header()) {
    if (arguments.csv) std::printf("%s\r\n", CsvLine(m_table.Header()).c_str());
  }

  void Add(const std::string& file, const std::string& path, const STextInfo& info) {
    if (m_arguments.csv) {
      std::printf("%s\r\n", CsvLine(m_table.Row(path, info)).c_str());
    } else if (m_arguments.json) {
      CJson entry = {{"file", path}};
      entry.update(m_arguments.fields.empty() ? info.Json() : m_table.Object(path, info));
      m_document.push_back(std::move(entry));
    } else if (m_arguments.fields.empty()) {
      PrintLines(file, info);
    } else {
      std::vector<std::string> row = m_table.Row(file, info);
      for (std::string& value : row) value = Printable(value);
      m_rows.Add(std::move(row));
    }
  }
  void AddFailure(const std::string& path, const std::string& reason) {
    if (m_arguments.json) m_document.push_back({{"file", path}, {"error", reason}});
  }
  void Finish() const {
    if (m_arguments.json) {
      PrintJson(m_document);
    } else if (!m_rows.IsEmpty()) {
      m_rows.Print();
    }
  }

 private:
  const SInfoArguments& m_arguments;
  const CInfoTable m_table;
  CTable m_rows;
  CJson m_document = CJson::array();
};

void ShowInfo(const SInfoArguments& arguments, SOutcome& outcome) {
  CInfoPrinter printer(arguments);
  const SFoundFiles found = FindImageFiles(arguments.files, arguments.recursive);
  const auto fail = [&](const std::string& file, const std::string& reason) {
    ReportFailure(outcome, file, reason);
    printer.AddFailure(AbsolutePath(PicturePath(file)), reason);
  };
  for (const auto& [path, reason] : found.problems) {
    const std::string said = ExplainOpenFailure(AbsolutePath(path));
    fail(path, said.empty() ? reason : said);
  }
  if (found.files.empty() && found.problems.empty()) {
    std::fprintf(stderr, "qvthumbs: no image files there%s\n",
                 arguments.recursive ? "" : "; --recursive looks into the folders below, too");
  }
  CSession session;
  OpenIfPossible(session, arguments.database);
  for (const std::string& file : found.files) {
    CInterrupt::ThrowIfRequested("interrupted");
    const std::string path = AbsolutePath(PicturePath(file));
    STextInfo info;
    if (info.Read(session.Service(), path)) {
      printer.Add(file, path, info);
    } else {
      fail(file, ExplainFailure(path));
    }
  }
  printer.Finish();
}

}  // namespace

void AddInfoCommand(CCommand program, SOutcome& outcome) {
  const auto arguments = std::make_shared<SInfoArguments>();
  CCommand command = program.AddVerb("info", "Tell what image files say about themselves");
  AddDatabaseOptions(command, &arguments->database);
  AddRecursiveOption(command, &arguments->recursive);
  command
      .AddOption("--fields", &arguments->fields,
                 "Only these, in a table, e.g. width,height,objective; a wrong name lists all there are")
      .NotEmpty("names no field")
      .Type("LIST");
  COption csv = command.AddFlag("--csv", &arguments->csv, "Print comma-separated values, a line for each image");
  AddJsonOption(command, &arguments->json).Excludes(csv);
  AddRequired(command, "files", &arguments->files, "Image files, and folders of them", "PATH").FileNames();
  command.SetFooter(
      "Example: sizes, loops, calibration, objective and acquisition time as JSON\n"
      "  qvthumbs info --json cells.ome.tif\n\n"
      "Example: a table of a folder for a spreadsheet\n"
      "  qvthumbs info --csv --fields file,objective,micrometresPerPixel,z,channels ~/images > images.csv");
  command.SetWork([arguments, &outcome] { ShowInfo(*arguments, outcome); });
}

}  // namespace qvhost
