#include "tests/thumbnailcache/faults/workload.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "metadata/qvexperiment.h"
#include "tests/support/faulty_vfs.h"
#include "tests/support/sql.h"
#include "tests/thumbnailcache/standin/standin.h"

namespace qvtest {
namespace {

constexpr const char* kNone = "(none)";
constexpr const wchar_t* kUser = L"ada";

// Keys, and what else a row says, of every table. Experiments and items are told apart by their ids.
const std::pair<const char*, const char*> kQueries[] = {
    {"cache", "SELECT filename || '|' || flags, quote(lastWritten), quality, hex(binData) FROM cache"},
    {"metadata",
     "SELECT filename, quote(lastWritten), M_author, M_description, M_width, M_height, M_fileSize, M_comp "
     "FROM metadata"},
    {"experiments",
     "SELECT experimentID, quote(M_acqTime), hex(liteVariant), hex(picturePlanes), storedID, hashCRC "
     "FROM experiments"},
    {"history", "SELECT filename, userID, quote(M_acqTime), experimentID FROM history"},
    {"stored", "SELECT storedID, storedParentID, filename, flags FROM stored"}};

bool MayBeMissing(const std::string& key) { return key.starts_with("cache ") || key.starts_with("metadata "); }

void CopyFile(const std::string& from, const std::string& to) {
  for (const char* tail : {"-journal", "-wal", "-shm"}) std::filesystem::remove(to + tail);
  std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing);
}

}  // namespace

CContents ReadContents(const std::string& file) {
  CSql sql(file);
  const std::string damage = sql.Value("PRAGMA integrity_check");
  if (damage != "ok") throw std::runtime_error("damaged: " + damage);
  CContents contents;
  for (const auto& [table, query] : kQueries) {
    for (const std::string& row : sql.Rows(query)) {
      // A thumbnail's key has two parts.
      std::size_t end = row.find('|');
      if (table == std::string("cache")) end = row.find('|', end + 1);
      contents[table + (" " + row.substr(0, end))] = row.substr(end + 1);
    }
  }
  return contents;
}

CFaultWorkload::CFaultWorkload(EJournal journal)
    : m_template(m_folder.Path("template.db")), m_file(m_folder.Path("cache.db")) {
  for (const char* name : {"kept.tif", "remade.tif", "new.tif"}) m_images.push_back(m_folder.MakeFileWide(name, name));
  FillTemplate(journal);
  MakeSteps();
  LearnChanges();
}

// Every image has texts of its own, and pixels after its name.
void CFaultWorkload::MakeScript() {
  auto& script = standin::CScript::Get();
  script.Reset();
  for (std::size_t i = 0; i < m_images.size(); ++i) {
    standin::SFile file(40 + static_cast<std::uint32_t>(i), 30);
    file.metadata.text.author = L"author " + std::to_wstring(i);
    // As the file itself says, whoever asks.
    file.metadata.fileSize =
        static_cast<std::int64_t>(std::filesystem::file_size(CQvStringUtils::WtoUTF8(m_images[i].c_str()).Str()));
    file.metadata.text.description = L"description " + std::to_wstring(i);
    script.SetFile(m_images[i], file);
  }
}

std::vector<SQvThumbnailDescription> CFaultWorkload::Images() const {
  std::vector<SQvThumbnailDescription> descriptions;
  for (const std::wstring& image : m_images) descriptions.push_back(Describe(image));
  return descriptions;
}

std::int32_t CFaultWorkload::GetTexts(std::size_t image) {
  SQvImageTextInfo text;
  SQvImageInfo info;
  double calibration = 0, time = 0;
  CQvStringW objective;
  std::int64_t size = 0;
  return m_service->GetFileTextInfo(m_images[image].c_str(), text, info, calibration, objective, time, size, nullptr);
}

std::int32_t CFaultWorkload::WriteExperiment(std::uint32_t size, double time, int storedID) {
  SQvExperiment experiment;
  experiment.loopType = kQvLoopTime;
  experiment.loopSize = size;
  int id = 0;
  return m_service->WriteExperiment(&experiment, nullptr, time, storedID, &id);
}

void CFaultWorkload::FillTemplate(EJournal journal) {
  CSql(m_template).Run(journal == EJournal::WriteAhead ? "PRAGMA journal_mode=WAL" : "PRAGMA journal_mode=DELETE");
  MakeScript();
  if (m_service.Open(CQvStringUtils::UTF8toW(m_template).Str()) != 0) throw std::runtime_error("no template");
  m_service->SetThumbnailBox(8, 6, false);
  RequestNow(*m_service, {Images()[0], Images()[1]});
  for (std::uint32_t experiment = 1; experiment <= 3; ++experiment) WriteExperiment(experiment, experiment, 1);
  for (const wchar_t* name : {L"/recorded", L"/deleted 1", L"/deleted 2", L"/kept"})
    m_service->WriteHistory(name, kUser, 10, std::wstring(name).starts_with(L"/deleted") ? 2 : 1);
  int item = 0;
  for (const wchar_t* name : {L"root", L"child", L"grandchild"}) m_service->InsertStoredItem(item, name, 0, &item);
  for (const wchar_t* name : {L"updated", L"kept"}) m_service->InsertStoredItem(0, name, 0, &item);
  m_service.Close();
}

void CFaultWorkload::MakeSteps() {
  const auto add = [&](const char* name, std::function<std::int32_t()> run) {
    m_steps.push_back({name, std::move(run), {}, {}, false, {}});
    return &m_steps.back();
  };
  add("request thumbnails", [&] {
    m_service->SetThumbnailBox(8, 6, false);
    RequestNow(*m_service, Images());
    return 0;
  });
  add("get kept texts", [&] { return GetTexts(0); });
  add("get new texts", [&] { return GetTexts(2); });
  add("insert an experiment", [&] { return WriteExperiment(77, 20, 1); });
  add("find an experiment", [&] { return WriteExperiment(1, 21, 4); })->elsewhere["experiments 1"] = "experiments 5";
  add("record a file", [&] { return m_service->WriteHistory(L"/new", kUser, 22, 1); });
  add("record it again", [&] { return m_service->WriteHistory(L"/new", kUser, 23, 1); });
  add("record an old file again", [&] { return m_service->WriteHistory(L"/recorded", kUser, 24, 1); });
  add("insert an item", [&] {
    int id = 0;
    return m_service->InsertStoredItem(5, L"inserted", 3, &id);
  });
  add("update an item", [&] { return m_service->UpdateStoredItem(4, 5, L"renamed", 7); });
  add("read everything", [&] {
    std::vector<int> ids;
    std::vector<double> times;
    std::vector<CQvStringW> names;
    SQvExperiment* experiment = nullptr;
    SQvPicturePlanes planes;
    double time = 0;
    m_service->ReadHistory(kUser, 0, 99, &ids, &times, &names);
    m_service->GetHistoryFilenames(kUser, 1, 0, 99, &names);
    m_service->GetExperimentIDsByStoredID(1, &ids);
    m_service->GetStoredChildren(1, &ids, &names);
    m_service->ReadExperiment(&experiment, &planes, &time, 1);
    SQvExperiment::FreeRecursive(experiment);
    return 0;
  });
  add("delete history", [&] { return m_service->DeleteHistory(0, 99, 2); })->answersFor = {"history /deleted 1",
                                                                                           "history /deleted 2"};
  add("delete items", [&] { return m_service->DeleteStoredItem(1); })->answersFor = {"stored 1"};
}

void CFaultWorkload::Restore() {
  CopyFile(m_template, m_file);
  MakeScript();
}

// Steps once without faults and looks at the file after each.
void CFaultWorkload::LearnChanges() {
  Restore();
  m_before = ReadContents(m_file);
  if (m_service.Open(CQvStringUtils::UTF8toW(m_file).Str()) != 0) throw std::runtime_error("cannot be opened");
  CContents former = m_before;
  for (SStep& step : m_steps) {
    if (step.run() != 0) throw std::runtime_error(step.name + " fails");
    const CContents now = ReadContents(m_file);
    for (const auto& [key, value] : former)
      if (now.count(key) == 0) step.changes[key] = kNone;
    for (const auto& [key, value] : now)
      if (former.count(key) == 0 || former.at(key) != value) step.changes[key] = value;
    former = now;
  }
  m_service.Close();
  Restore();
}

std::int32_t CFaultWorkload::Run() {
  for (SStep& step : m_steps) step.acknowledged = false;
  const std::int32_t opened = m_service.Open(CQvStringUtils::UTF8toW(m_file).Str());
  for (SStep& step : m_steps) {
    if (opened != 0) break;
    m_diag.Take();
    const std::int32_t status = step.run();
    step.acknowledged = m_diag.Take().empty() && status == 0;
    if (step.acknowledged) Acknowledge(static_cast<std::uint8_t>(&step - m_steps.data()));
  }
  m_service.Close();
  // Also closes what a failed open left.
  m_service->CloseDatabase();
  return opened;
}

void CFaultWorkload::Acknowledge(std::uint8_t step) const {
  if (m_acknowledgements >= 0 && write(m_acknowledgements, &step, 1) != 1) _exit(1);
}

bool CFaultWorkload::RunUntilKilled(long room) {
  int ends[2];
  if (pipe(ends) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  const pid_t child = fork();
  if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (child == 0) {
    CFaultyVfs vfs;
    vfs.Fail(CFaultyVfs::EFault::Kill, room, false);
    m_acknowledgements = ends[1];
    Run();
    _exit(0);
  }
  close(ends[1]);
  for (SStep& step : m_steps) step.acknowledged = false;
  for (std::uint8_t step = 0; read(ends[0], &step, 1) == 1;) m_steps.at(step).acknowledged = true;
  close(ends[0]);
  int status = 0;
  if (waitpid(child, &status, 0) != child) throw std::system_error(errno, std::generic_category(), "waitpid");
  return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
}

CFaultWorkload::CAllowed CFaultWorkload::Allowed() const {
  CAllowed allowed;
  for (const auto& [key, value] : m_before) allowed[key] = {value};
  const auto valuesOf = [&](const std::string& key) -> std::set<std::string>& {
    return allowed.try_emplace(key, std::set<std::string>{kNone}).first->second;
  };
  for (const SStep& step : m_steps) {
    for (const auto& [key, value] : step.changes) {
      const bool answered = step.answersFor.empty() || step.answersFor.contains(key);
      const auto elsewhere = step.elsewhere.find(key);
      if (elsewhere != step.elsewhere.end()) valuesOf(elsewhere->second).insert(value);
      if (step.acknowledged && answered && elsewhere == step.elsewhere.end()) valuesOf(key).clear();
      valuesOf(key).insert(value);
    }
  }
  for (auto& [key, values] : allowed)
    if (MayBeMissing(key)) values.insert(kNone);
  return allowed;
}

// What was acknowledged and may be in one of two rows, but is in neither.
std::string CFaultWorkload::FindMissing(const CContents& contents) const {
  const auto holds = [&](const std::string& key, const std::string& value) {
    const auto found = contents.find(key);
    return found != contents.end() && found->second == value;
  };
  for (const SStep& step : m_steps) {
    for (const auto& [key, other] : step.elsewhere) {
      const std::string& value = step.changes.at(key);
      if (step.acknowledged && !holds(key, value) && !holds(other, value)) return "nothing is left of: " + step.name;
    }
  }
  return {};
}

std::string CFaultWorkload::FindWrongRow(const CContents& contents) const {
  const CAllowed allowed = Allowed();
  for (const auto& [key, value] : contents)
    if (allowed.count(key) == 0) return "nobody wrote " + key + ": " + value;
  for (const auto& [key, values] : allowed) {
    const auto found = contents.find(key);
    const std::string value = found == contents.end() ? kNone : found->second;
    if (values.count(value) == 0) return key + " is " + value + " instead of " + *values.begin();
  }
  // They go in one statement.
  if (contents.count("history /deleted 1") != contents.count("history /deleted 2"))
    return "half of a deletion is there";
  return FindMissing(contents);
}

std::string CFaultWorkload::FindWrongThumbnail() {
  MakeScript();
  if (m_service.Open(CQvStringUtils::UTF8toW(m_file).Str()) != 0) return "it cannot be opened again";
  m_service->SetThumbnailBox(8, 6, false);
  RequestNow(*m_service, Images());
  std::string wrong;
  for (const SQvThumbnailDescription& image : Images()) {
    const SLookup look = Get(*m_service, image);
    const auto* pixels = static_cast<const std::uint8_t*>(look.picture.data);
    const bool right =
        look.state == kQvThumbnailReady && pixels && pixels[0] == standin::RenderedByte(image.location.Str(), 0);
    if (!right) wrong = "a thumbnail is not remade: state " + std::to_string(look.state);
    if (look.HasPicture()) m_service->ReleaseThumbnail(1, image);
  }
  m_service.Close();
  return wrong;
}

std::string CFaultWorkload::FindLoss() {
  try {
    std::string wrong = FindWrongRow(ReadContents(m_file));
    if (wrong.empty()) wrong = FindWrongThumbnail();
    if (wrong.empty()) return wrong;
    wrong += "; acknowledged:";
    for (const SStep& step : m_steps)
      if (step.acknowledged) wrong += " [" + step.name + "]";
    return wrong;
  } catch (const std::exception& exception) {
    return exception.what();
  }
}

}  // namespace qvtest
