#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "host/commands/command.h"
#include "host/files/failure_reason.h"
#include "host/files/image_file.h"
#include "host/files/picture_folder.h"
#include "host/files/text_info.h"
#include "host/session/interrupt.h"
#include "host/session/session.h"
#include "host/session/sqlite.h"

namespace qvhost {
namespace {

struct SArguments {
  SDatabaseOptions database;
  std::vector<std::string> files;
  bool json = false;
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

void ShowInfo(const SArguments& arguments, SOutcome& outcome) {
  CSession session;
  OpenIfPossible(session, arguments.database);
  CJson document = CJson::array();
  for (const std::string& file : arguments.files) {
    CInterrupt::ThrowIfRequested("interrupted");
    const std::string path = AbsolutePath(PicturePath(file));
    STextInfo info;
    if (!info.Read(session.Service(), path)) {
      const std::string reason = ExplainFailure(path);
      ReportFailure(outcome, file, reason);
      document.push_back({{"file", path}, {"error", reason}});
    } else if (arguments.json) {
      CJson entry = {{"file", path}};
      entry.update(info.Json());
      document.push_back(std::move(entry));
    } else {
      PrintLines(file, info);
    }
  }
  if (arguments.json) PrintJson(document);
}

}  // namespace

void AddInfoCommand(CCommand program, SOutcome& outcome) {
  const auto arguments = std::make_shared<SArguments>();
  CCommand command = program.AddVerb("info", "Tell what image files say about themselves");
  AddDatabaseOptions(command, &arguments->database);
  AddJsonOption(command, &arguments->json);
  AddRequired(command, "files", &arguments->files, "Image files", "FILE").FileNames();
  command.SetFooter(
      "Example: sizes, loops, calibration, objective and acquisition time as JSON\n"
      "  qvthumbs info --json cells.ome.tif");
  command.SetWork([arguments, &outcome] { ShowInfo(*arguments, outcome); });
}

}  // namespace qvhost
