#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "metadata/qvexperiment.h"
#include "system/qvdiag.h"
#include "tests/support/sql.h"
#include "tests/support/temp_folder.h"
#include "tests/thumbnailcache/support/service.h"
#include "tests/thumbnailcache/support/sqlite_spy.h"

namespace qvtest {
namespace {

// The history as a plain table, and the ids of the experiments that exist.
struct SModel {
  struct SRow {
    std::wstring user;
    double time = 0.0;
    int experiment = 0;
  };
  std::map<std::wstring, SRow> rows;
  std::set<int> experiments;
};

class HistoryModelTest : public ::testing::Test {
 protected:
  void SetUp() override {
    UseInstalledComponents();
    CSql(m_folder.Path("history.db")).Run("PRAGMA journal_mode=WAL; PRAGMA synchronous=OFF");
    ASSERT_EQ(m_service.Open(m_folder.Wide("history.db")), 0);
    QV_SetDiagSink([](void*, const SQvDiagMessage&) {}, nullptr);
  }
  void TearDown() override {
    QV_SetDiagSink(nullptr, nullptr);
    m_service.Close();
    CSqliteSpy::Reset();
  }

  unsigned Below(unsigned limit) { return static_cast<unsigned>(m_random() % limit); }
  std::wstring User() { return L"user " + std::to_wstring(Below(3)); }
  std::wstring File() { return L"file " + std::to_wstring(Below(60)) + L" \u00C4.tif"; }
  double Time() { return Below(20) * 0.5 - 2.0; }

  void WriteExperiment() {
    SQvExperiment experiment;
    experiment.loopType = kQvLoopZ;
    experiment.loopSize = Below(12);
    int id = 0;
    ASSERT_EQ(m_service->WriteExperiment(&experiment, nullptr, Time(), -1, &id), 0);
    m_model.experiments.insert(id);
  }
  void Write() {
    const std::wstring file = File(), user = User();
    const double time = Time();
    const int experiment = static_cast<int>(Below(12)) + 1;
    const std::int32_t result = m_service->WriteHistory(file.c_str(), user.c_str(), time, experiment);
    const auto found = m_model.rows.find(file);
    if (found == m_model.rows.end()) {
      EXPECT_EQ(result, 0);
      m_model.rows[file] = {user, time, experiment};
    } else if (found->second.user == user) {
      EXPECT_EQ(result, 0);
      found->second.time = time;
      // The lookup of a known file is left open; too many of them would weigh on every later statement.
      CSqliteSpy::FinalizeOpenStatements();
    } else {
      EXPECT_EQ(result, SQLITE_CONSTRAINT);
    }
  }
  void Read() {
    const std::wstring user = User();
    const double from = Time(), to = Below(5) == 0 ? from : Time();
    std::vector<int> ids;
    std::vector<double> times;
    std::vector<CQvStringW> names;
    ASSERT_EQ(m_service->ReadHistory(user.c_str(), from, to, &ids, &times, &names), 0);
    if (from == -1.0 && to == -1.0) {
      double earliest = 0.0;
      for (bool first = true; const auto& [file, row] : m_model.rows) {
        earliest = first ? row.time : std::min(earliest, row.time);
        first = false;
      }
      EXPECT_EQ(times, std::vector<double>{earliest});
      return;
    }
    ASSERT_EQ(ids.size(), times.size());
    ASSERT_EQ(ids.size(), names.size());
    std::set<std::tuple<int, double, std::wstring>> got, expected;
    for (std::size_t i = 0; i < ids.size(); ++i) got.emplace(ids[i], times[i], names[i].Str());
    for (const auto& [file, row] : m_model.rows)
      if (row.user == user && row.time >= from && row.time < to) expected.emplace(row.experiment, row.time, file);
    EXPECT_EQ(got, expected);
    EXPECT_EQ(got.size(), ids.size());
  }
  void ListFiles() {
    const std::wstring user = User();
    const double from = Time(), to = Time();
    const int experiment = static_cast<int>(Below(12)) + 1;
    std::vector<CQvStringW> names;
    ASSERT_EQ(m_service->GetHistoryFilenames(user.c_str(), experiment, from, to, &names), 0);
    std::set<std::wstring> got, expected;
    for (const CQvStringW& name : names) got.insert(name.Str());
    for (const auto& [file, row] : m_model.rows)
      if (row.user == user && row.experiment == experiment && row.time >= from && row.time < to) expected.insert(file);
    EXPECT_EQ(got, expected);
    EXPECT_EQ(got.size(), names.size());
  }
  void Delete() {
    const double from = Time(), to = Time();
    const int experiment = static_cast<int>(Below(12)) + 1;
    ASSERT_EQ(m_service->DeleteHistory(from, to, experiment), 0);
    bool left = false;
    for (auto row = m_model.rows.begin(); row != m_model.rows.end();) {
      const bool its = row->second.experiment == experiment;
      const bool gone = its && row->second.time >= from && row->second.time < to;
      left |= its && !gone;
      row = gone ? m_model.rows.erase(row) : std::next(row);
    }
    if (!left) m_model.experiments.erase(experiment);
  }
  void CheckTables() {
    CSql sql(m_folder.Path("history.db"));
    EXPECT_EQ(sql.Value("SELECT count(*) FROM history"), std::to_string(m_model.rows.size()));
    std::vector<std::string> expected;
    for (const int id : m_model.experiments) expected.push_back(std::to_string(id));
    EXPECT_EQ(sql.Rows("SELECT experimentID FROM experiments ORDER BY experimentID"), expected);
  }

  CTempFolder m_folder;
  CServiceHandle m_service;
  std::mt19937 m_random{20240229};
  SModel m_model;
};

TEST_F(HistoryModelTest, RandomOperationsAgreeWithAPlainTable) {
  for (int step = 0; step < 6000 && !HasFailure(); ++step) {
    const unsigned choice = Below(20);
    if (choice < 9)
      Write();
    else if (choice < 13)
      Read();
    else if (choice < 16)
      ListFiles();
    else if (choice < 18)
      Delete();
    else
      WriteExperiment();
    if (step % 500 == 0) CheckTables();
  }
  CheckTables();
}

}  // namespace
}  // namespace qvtest
