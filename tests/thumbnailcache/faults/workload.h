#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/support/diag_recorder.h"
#include "tests/support/temp_folder.h"
#include "tests/thumbnailcache/support/service.h"

namespace qvtest {

// What a database file holds: a key for each row, and everything that the row says. Throws when it cannot be read, and
// when the file is damaged or one of its tables is missing.
using CContents = std::map<std::string, std::string>;
CContents ReadContents(const std::string& file);

enum class EJournal { Rollback, WriteAhead };

// A database with rows in every table, and work that changes some of everything, one operation a step. Where the file
// system or the memory failed meanwhile, it tells what may be found afterwards: of a step that was acknowledged
// (status 0 and no message) what it wrote, of others that or what was there before. Thumbnails and text information may
// be missing, but must be those of their file. Three acknowledgements say less: a deletion answers for the history, not
// for the experiment that nothing refers to any more, and for the item, not for those below it; and an experiment that
// could not be looked for is stored a second time.
class CFaultWorkload {
 public:
  explicit CFaultWorkload(EJournal journal);

  // Puts the file back to the start.
  void Restore();
  // Opens the file, does all steps and closes it. What goes wrong is remembered, step by step. The status of the open.
  std::int32_t Run();
  // The same in a copy of this process that is killed at the call to SQLite's files after `room` others. Whether it
  // was; else it came to the end.
  bool RunUntilKilled(long room);
  // What is wrong with the file now, after a run: empty when nothing is. Ends by opening it again and asking for every
  // thumbnail.
  std::string FindLoss();

  const std::string& File() const { return m_file; }

 private:
  using CAllowed = std::map<std::string, std::set<std::string>>;
  struct SStep {
    std::string name;
    std::function<std::int32_t()> run;
    // The rows that an acknowledgement answers for; without any, all that change.
    std::set<std::string> answersFor;
    // What may be found of it in another row: the row's key by that of the right one.
    std::map<std::string, std::string> elsewhere;
    bool acknowledged = false;
    // What it changes when nothing fails: the new values by key; "(none)" for a row that goes.
    CContents changes;
  };

  void MakeScript();
  void FillTemplate(EJournal journal);
  void MakeSteps();
  void LearnChanges();
  std::vector<SQvThumbnailDescription> Images() const;
  std::int32_t GetTexts(std::size_t image);
  std::int32_t WriteExperiment(std::uint32_t size, double time, int storedID);
  void Acknowledge(std::uint8_t step) const;
  CAllowed Allowed() const;
  std::string FindMissing(const CContents& contents) const;
  std::string FindWrongRow(const CContents& contents) const;
  std::string FindWrongThumbnail();

  CTempFolder m_folder;
  const std::string m_template, m_file;
  std::vector<std::wstring> m_images;
  std::vector<SStep> m_steps;
  CContents m_before;
  CServiceHandle m_service;
  CDiagRecorder m_diag;
  int m_acknowledgements = -1;  // where the numbers of acknowledged steps are written as they come
};

}  // namespace qvtest
