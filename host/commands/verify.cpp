#include <fmt/format.h>
#include <sqlite3.h>

#include <cstdio>

#include "host/commands/command.h"
#include "host/files/failure_reason.h"
#include "host/files/image_file.h"
#include "host/output/progress.h"
#include "host/session/cache_database.h"
#include "host/session/database_error.h"
#include "host/session/image_format_manager.h"
#include "host/session/interrupt.h"
#include "host/session/session.h"
#include "picture/qvpicture.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

struct SVerifyArguments {
  SDatabaseOptions database;
  bool repair = false, json = false;
};

struct SProblem {
  std::int64_t rowid;
  std::string file;
  std::string reason;
};

// Decodes stored pictures as the service does: 8-bit RGB in a JPEG stream.
class CStreamChecker {
 public:
  CStreamChecker() : m_manager(CreateImageFormatManager()) {
    if (!m_manager || m_manager->GetCodecByName("JPG", m_codec.Out()) != kQvOk) {
      throw CHostError("the JPEG format is not installed");
    }
  }

  // Empty when the stream is sound.
  std::string FindDamage(std::string_view jpeg) {
    CQvRef<IQvPictureSource> source;
    if (m_codec->OpenInputMemory(jpeg.data(), jpeg.size(), source.Out()) != kQvOk) {
      return "the stored picture cannot be opened";
    }
    SQvImageInfo info;
    if (source->GetPictureInfo(&info) != kQvOk || info.width == 0 || info.height == 0 || info.bpcSignificant != 8 ||
        info.components != 3) {
      return "the stored picture is no 8-bit RGB picture";
    }
    CQvPicture picture;
    if (!picture.Reinit(info.width, info.height, 8, 3, false)) return "out of memory";
    return source->ReadPicture(picture.Get(), 0, 0) == kQvOk ? "" : "the stored picture is damaged";
  }

 private:
  // The codec goes first.
  const CQvRef<IQvImageFormatManager> m_manager;
  CQvRef<IQvImageCodec> m_codec;
};

// The pages of the file itself, before what they hold.
void RequireSound(const SQLite::Database& db) {
  std::string damage;
  SQLite::Statement rows(db, fmt::format("PRAGMA integrity_check({})", kMaxListed));
  while (rows.executeStep()) {
    const std::string found = rows.getColumn(0).getString();
    if (found != "ok") damage += (damage.empty() ? "" : "; ") + found;
  }
  if (!damage.empty()) throw CHostError(ExplainDamage(damage), kExitSomeFailed);
}

CCacheDatabase OpenSound(const SVerifyArguments& arguments) {
  try {
    CCacheDatabase database(arguments.database, arguments.repair ? EDatabaseNeed::Change : EDatabaseNeed::Look);
    RequireSound(database.Connection());
    return database;
  } catch (const SQLite::Exception& error) {
    if (error.getErrorCode() != SQLITE_CORRUPT) throw;
    throw CHostError(ExplainDamage(error.what()), kExitSomeFailed);
  }
}

std::string FindTimeMismatch(const CQvStringW& location, double lastWritten) {
  if (!LocationExists(location)) return "the file is gone";
  SQvThumbnailDescription description;
  std::string reason;
  if (!DescribeFile(RealPath(location), false, &description, &reason)) return "the file cannot be opened: " + reason;
  return description.lastWritten == lastWritten ? "" : "the file has changed since";
}

std::vector<SProblem> FindProblems(SQLite::Database& db, bool quiet, std::int64_t* checked) {
  CStreamChecker check;
  CProgress progress(db.execAndGet("SELECT count(*) FROM cache").getInt64(), quiet);
  std::vector<SProblem> problems;
  SQLite::Statement rows(db, "SELECT rowid, filename, lastWritten, binData FROM cache ORDER BY filename");
  while (rows.executeStep()) {
    CInterrupt::ThrowIfRequested("interrupted; nothing was changed");
    const std::string name = rows.getColumn(1).getString();
    const CQvStringW location = CQvStringUtils::UTF8toW(name);
    std::string reason = check.FindDamage(rows.getColumn(3).getString());
    if (reason.empty()) reason = FindTimeMismatch(location, rows.getColumn(2).getDouble());
    progress.Update(++*checked, name);
    if (reason.empty()) continue;
    problems.push_back({rows.getColumn(0).getInt64(), RealPath(location), reason});
    if (!quiet) progress.PrintLine(fmt::format("{}: {}", Printable(problems.back().file), reason));
  }
  return problems;
}

void Remove(SQLite::Database& db, const std::vector<SProblem>& problems) {
  std::vector<std::int64_t> rowids;
  for (const SProblem& problem : problems) rowids.push_back(problem.rowid);
  DeleteRows(db, "cache", rowids);
}

void Verify(const SVerifyArguments& arguments, SOutcome& outcome) {
  LoadComponents();
  CCacheDatabase database = OpenSound(arguments);
  SQLite::Database& db = database.Connection();
  std::int64_t checked = 0;
  const std::vector<SProblem> problems = FindProblems(db, arguments.json, &checked);
  if (arguments.repair) Remove(db, problems);
  if (arguments.json) {
    CJson list = CJson::array();
    for (const SProblem& problem : problems) list.push_back({{"file", problem.file}, {"reason", problem.reason}});
    PrintJson({{"checked", checked}, {"problems", list}, {"removed", arguments.repair}});
  } else {
    std::printf("checked %s, %s with a problem%s\n", FormatCountOf(checked, "thumbnail").c_str(),
                FormatCount(static_cast<std::int64_t>(problems.size())).c_str(),
                problems.empty()   ? ""
                : arguments.repair ? ", which are removed; 'qvthumbs make' makes them anew"
                                   : "; --repair removes them, so that 'qvthumbs make' makes them anew");
  }
  if (!problems.empty() && !arguments.repair) outcome.status = kExitSomeFailed;
}

}  // namespace

void AddVerifyCommand(CCommand program, SOutcome& outcome) {
  const auto arguments = std::make_shared<SVerifyArguments>();
  CCommand command = program.AddVerb("verify", "Check that stored thumbnails decode and are as new as their files");
  AddDatabaseOptions(command, &arguments->database);
  command.AddFlag("--repair", &arguments->repair, "Remove those that are not, so that 'make' makes them anew");
  AddJsonOption(command, &arguments->json);
  command.SetFooter("Exit status 1: a problem was found and left as it is.\n\nExample:\n  qvthumbs verify --repair");
  command.SetWork([arguments, &outcome] { Verify(*arguments, outcome); });
}

}  // namespace qvhost
