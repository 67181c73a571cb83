#include <fmt/format.h>

#include <cstdio>

#include "host/commands/command.h"
#include "host/files/failure_reason.h"
#include "host/files/image_file.h"
#include "host/output/json.h"
#include "host/output/picture.h"
#include "host/output/progress.h"
#include "host/output/text.h"
#include "host/session/cache_database.h"
#include "host/session/interrupt.h"
#include "host/session/session.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

struct SArguments {
  SDatabaseOptions database;
  bool repair = false, json = false;
};

struct SProblem {
  std::int64_t rowid;
  std::string file;
  std::string reason;
};

// Decodes stored pictures as the service does: 8-bit RGB in a JPEG stream.
class CStreamCheck {
 public:
  CStreamCheck() : m_manager(CreateImageFormatManager()) {
    IQvImageCodec* found = nullptr;
    if (!m_manager || m_manager->GetCodecByName("JPG", &found) != kQvOk) {
      throw CHostError("the JPEG format is not installed");
    }
    m_codec.reset(found);
  }

  // Empty when the stream is sound.
  std::string FindFault(std::string_view jpeg) {
    IQvPictureSource* opened = nullptr;
    if (m_codec->OpenInputMemory(jpeg.data(), jpeg.size(), &opened) != kQvOk) {
      return "the stored picture cannot be opened";
    }
    const CPictureSourcePtr source(opened);
    SQvImageInfo info;
    if (source->GetPictureInfo(&info) != kQvOk || info.width == 0 || info.height == 0 || info.bpcSignificant != 8 ||
        info.components != 3) {
      return "the stored picture is no 8-bit RGB picture";
    }
    CPicture picture;
    if (!picture.Reinit(info.width, info.height)) return "out of memory";
    return source->ReadPicture(picture.Get(), 0, 0) == kQvOk ? "" : "the stored picture is damaged";
  }

 private:
  // The codec goes first.
  const CComponentPtr<IQvImageFormatManager> m_manager;
  CComponentPtr<IQvImageCodec> m_codec;
};

std::string FindStampFault(const CQvStringW& location, double lastWritten) {
  if (!Exists(location)) return "the file is gone";
  SQvThumbnailDescription description;
  std::string reason;
  if (!DescribeFile(RealPath(location), false, &description, &reason)) return "the file cannot be opened: " + reason;
  return description.lastWritten == lastWritten ? "" : "the file has changed since";
}

std::vector<SProblem> FindProblems(const CSqlite& db, bool quiet, std::int64_t* checked) {
  CStreamCheck check;
  CProgress progress(db.RunInt("SELECT count(*) FROM cache"), quiet);
  std::vector<SProblem> problems;
  CStatement rows = db.Prepare("SELECT rowid, filename, lastWritten, binData FROM cache ORDER BY filename");
  while (rows.Step()) {
    if (CInterrupt::Requested()) throw CHostError("interrupted; nothing was changed", kExitInterrupted);
    const CQvStringW location = CQvStringUtils::UTF8toW(rows.Text(1));
    std::string reason = check.FindFault(rows.Blob(3));
    if (reason.empty()) reason = FindStampFault(location, rows.Double(2));
    progress.Update(++*checked, rows.Text(1));
    if (reason.empty()) continue;
    problems.push_back({rows.Int(0), RealPath(location), reason});
    if (!quiet) progress.Say(fmt::format("{}: {}", Printable(problems.back().file), reason));
  }
  return problems;
}

void Remove(const CSqlite& db, const std::vector<SProblem>& problems) {
  CTransaction transaction(db);
  CStatement remove = db.Prepare("DELETE FROM cache WHERE rowid = ?1");
  for (const SProblem& problem : problems) {
    remove.Bind(1, problem.rowid).Step();
    remove.Reset();
  }
  transaction.Commit();
}

void Verify(const SArguments& arguments, SRun& run) {
  LoadComponents();
  std::string path;
  const CSqlite db = OpenCacheDatabase(arguments.database, &path);
  std::int64_t checked = 0;
  const std::vector<SProblem> problems = FindProblems(db, arguments.json, &checked);
  if (arguments.repair) Remove(db, problems);
  if (arguments.json) {
    CJson list = CJson::array();
    for (const SProblem& problem : problems) list.push_back({{"file", problem.file}, {"reason", problem.reason}});
    PrintJson({{"checked", checked}, {"problems", list}, {"removed", arguments.repair}});
  } else {
    std::printf("checked %s thumbnails, %s with a problem%s\n", FormatCount(checked).c_str(),
                FormatCount(static_cast<std::int64_t>(problems.size())).c_str(),
                problems.empty()   ? ""
                : arguments.repair ? ", which are removed; 'qvthumbs make' makes them anew"
                                   : "; --repair removes them, so that 'qvthumbs make' makes them anew");
  }
  if (!problems.empty() && !arguments.repair) run.status = kExitSomeFailed;
}

}  // namespace

void AddVerifyCommand(CLI::App* app, SRun& run) {
  const auto arguments = std::make_shared<SArguments>();
  CLI::App* command = AddVerb(app, "verify", "Check that stored thumbnails decode and are as new as their files");
  AddDatabaseOptions(command, &arguments->database);
  AddFlag(command, "--repair", &arguments->repair, "Remove those that are not, so that 'make' makes them anew");
  AddJsonOption(command, &arguments->json);
  SetFooter(command, "Exit status 1: a problem was found and left as it is.\n\nExample:\n  qvthumbs verify --repair");
  SetWork(command, [arguments, &run] { Verify(*arguments, run); });
}

}  // namespace qvhost
