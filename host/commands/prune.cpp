#include <fmt/format.h>

#include <cstdio>

#include "host/commands/command.h"
#include "host/files/image_file.h"
#include "host/output/json.h"
#include "host/output/progress.h"
#include "host/output/text.h"
#include "host/session/cache_database.h"
#include "host/session/interrupt.h"

namespace qvhost {
namespace {

struct SArguments {
  SDatabaseOptions database;
  std::string under;
  bool dryRun = false, json = false;
};

// A row whose file is gone.
struct SGoneRow {
  std::int64_t rowid;
  std::string file;
};

bool IsUnder(const std::string& file, const std::string& folder) {
  return folder.empty() || (file.size() > folder.size() && file.compare(0, folder.size(), folder) == 0 &&
                            (folder.back() == '/' || file[folder.size()] == '/'));
}

std::string LowerCase(const std::string& text) {
  CQvStringW wide = CQvStringUtils::UTF8toW(text);
  CQvStringUtils::ToLower(wide.Str());
  return CQvStringUtils::WtoUTF8(wide).Str();
}

class CPruner {
 public:
  CPruner(const CSqlite& db, const SArguments& arguments)
      : m_db(db),
        m_under(arguments.under.empty() ? "" : LowerCase(AbsolutePath(arguments.under))),
        m_progress(db.RunInt("SELECT (SELECT count(*) FROM cache) + (SELECT count(*) FROM metadata)"), arguments.json) {
  }

  // Text information keeps its file names as UTF-16, thumbnails as UTF-8.
  std::vector<SGoneRow> FindThumbnails() {
    return Find("SELECT rowid, filename FROM cache ORDER BY filename",
                [](const CStatement& rows) { return CQvStringUtils::UTF8toW(rows.Text(1)); });
  }
  std::vector<SGoneRow> FindTextInfos() {
    return Find("SELECT rowid, filename FROM metadata ORDER BY filename",
                [](const CStatement& rows) { return CQvStringUtils::UTF16toW(rows.WideText(1)); });
  }

  void Delete(const char* sql, const std::vector<SGoneRow>& gone) {
    CTransaction transaction(m_db);
    CStatement remove = m_db.Prepare(sql);
    for (const SGoneRow& row : gone) {
      remove.Bind(1, row.rowid).Step();
      remove.Reset();
    }
    transaction.Commit();
  }

 private:
  template <class Name>
  std::vector<SGoneRow> Find(const char* sql, Name name) {
    std::vector<SGoneRow> gone;
    for (CStatement rows = m_db.Prepare(sql); rows.Step();) {
      if (CInterrupt::Requested()) throw CHostError("interrupted; nothing was removed", kExitInterrupted);
      const CQvStringW location = name(rows);
      const std::string file = CQvStringUtils::WtoUTF8(location).Str();
      m_progress.Update(++m_looked, file);
      if (IsUnder(LowerCase(file), m_under) && !Exists(location)) gone.push_back({rows.Int(0), file});
    }
    return gone;
  }

  const CSqlite& m_db;
  const std::string m_under;
  CProgress m_progress;
  std::int64_t m_looked = 0;
};

void Print(const SArguments& arguments, const std::vector<SGoneRow>& thumbnails, std::size_t textInfos) {
  if (arguments.json) {
    CJson files = CJson::array();
    for (const SGoneRow& row : thumbnails) files.push_back(row.file);
    PrintJson({{"removed", !arguments.dryRun},
               {"thumbnails", thumbnails.size()},
               {"textInformation", textInfos},
               {"files", files}});
    return;
  }
  if (arguments.dryRun) {
    for (const SGoneRow& row : thumbnails) std::printf("%s\n", Printable(row.file).c_str());
  }
  std::printf("%s %s thumbnails and %s text informations of files that are gone\n",
              arguments.dryRun ? "would remove" : "removed",
              FormatCount(static_cast<std::int64_t>(thumbnails.size())).c_str(),
              FormatCount(static_cast<std::int64_t>(textInfos)).c_str());
}

void Prune(const SArguments& arguments) {
  std::string path;
  const CSqlite db = OpenCacheDatabase(arguments.database, &path);
  std::vector<SGoneRow> thumbnails, textInfos;
  {
    CPruner pruner(db, arguments);
    thumbnails = pruner.FindThumbnails();
    textInfos = pruner.FindTextInfos();
    if (!arguments.dryRun) {
      pruner.Delete("DELETE FROM cache WHERE rowid = ?1", thumbnails);
      pruner.Delete("DELETE FROM metadata WHERE rowid = ?1", textInfos);
    }
  }
  Print(arguments, thumbnails, textInfos.size());
}

}  // namespace

void AddPruneCommand(CLI::App* app, SRun&) {
  const auto arguments = std::make_shared<SArguments>();
  CLI::App* command = AddVerb(app, "prune", "Remove what the database holds of files that are gone");
  AddDatabaseOptions(command, &arguments->database);
  AddOption(command, "--under", &arguments->under, "Only files below this folder", {.type = "FOLDER"});
  AddFlag(command, "-n,--dry-run", &arguments->dryRun, "Only tell what would be removed");
  AddJsonOption(command, &arguments->json);
  SetFooter(command,
            "A disk that is not mounted looks like files that are gone. History and experiments stay.\n\n"
            "Example: look first\n  qvthumbs prune --dry-run");
  SetWork(command, [arguments] { Prune(*arguments); });
}

}  // namespace qvhost
