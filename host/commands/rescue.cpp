#include <fmt/format.h>

#include <memory>

#include "host/commands/command.h"
#include "host/commands/rescue_report.h"
#include "host/files/image_file.h"
#include "host/output/progress.h"
#include "host/rescue/page_file.h"
#include "host/rescue/rescued_database.h"
#include "host/rescue/salvage.h"

namespace qvhost {
namespace {

struct SRescueArguments {
  std::string oldFile, newFile;
  bool dryRun = false, json = false;
};

// Of a dry run.
class CNowhere : public IRowSink {
 public:
  void Put(ETable, const CRecord&) override {}
};

SSalvage Salvage(const CPageFile& file, IRowSink& sink, CProgress& progress, const std::string& name) {
  CSalvage salvage(file, sink, [&progress](std::uint32_t pages, const char* table) { progress.Update(pages, table); });
  try {
    SSalvage found = salvage.Run();
    file.RequireUnchanged();
    if (found.IsNothing()) throw CHostError("nothing of a thumbnail database can be read from it");
    return found;
  } catch (const CHostError& error) {
    if (error.Status() != kExitWrongUse) throw;
    throw CHostError(fmt::format("{}: {}", Printable(name), error.what()));
  }
}

void Rescue(const SRescueArguments& arguments, SOutcome& outcome) {
  const CPageFile file(arguments.oldFile);
  std::optional<CRescuedDatabase> target;
  if (!arguments.dryRun) target.emplace(arguments.newFile, file);
  CNowhere nowhere;
  CProgress progress(file.PageCount(), arguments.json);
  SRescueOutcome result{AbsolutePath(arguments.oldFile), {}, file.Header().isSound, {}, 0, 0.0};
  result.salvage = Salvage(file, target ? target->Rows() : nowhere, progress, arguments.oldFile);
  if (target) {
    if (!result.salvage.Of(ETable::Experiments).IsAll()) result.withoutExperiment = target->ForgetLostExperiments();
    target->Commit();
    result.newFile = AbsolutePath(arguments.newFile);
  }
  result.seconds = progress.Seconds();
  progress.Finish();
  outcome.status = PrintRescue(result, arguments.json);
}

}  // namespace

void AddRescueCommand(CCommand program, SOutcome& outcome) {
  const auto arguments = std::make_shared<SRescueArguments>();
  CCommand command = program.AddVerb("rescue", "Read what is left of a damaged database into a new one");
  AddDryRunOption(command, &arguments->dryRun);
  AddJsonOption(command, &arguments->json);
  AddRequired(command, "old", &arguments->oldFile, "The damaged database; it is not changed", "OLD").FileNames();
  AddRequired(command, "new", &arguments->newFile, "The database to make, which must not be there yet", "NEW")
      .NotEmpty("an empty name is no file");
  command.SetFooter(
      "Experiments, history and stored items come first, then thumbnails and texts. NEW appears when it is complete.\n"
      "Exit status: 0 everything was read, 1 some rows are lost, 2 nothing was written.\n\n"
      "Example: put what is left in the place of the damaged file\n"
      "  qvthumbs rescue lab.db saved.db\n"
      "  mkdir damaged && mv lab.db* damaged/ && mv saved.db lab.db\n"
      "A log beside the damaged file (lab.db-wal) must go with it: SQLite would take it for the new one's.");
  command.SetWork([arguments, &outcome] { Rescue(*arguments, outcome); });
}

}  // namespace qvhost
