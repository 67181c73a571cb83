// The bookkeeping operations against the statements that they issue, prepared per call and issued bare on a database
// of the same content.

#include <memory>

#include "bench/service/support/cache.h"
#include "bench/service/support/paired.h"
#include "tests/support/experiments.h"
#include "tests/support/sql.h"
#include "tests/support/temp_folder.h"

namespace {

using namespace qvbench;
using qvtest::CExperiment;
using qvtest::CSql;
using qvtest::CSqlStatement;

constexpr int kRounds = 15;
constexpr int kWritesPerRound = 50;
constexpr int kListsPerRound = 20;
constexpr int kListedRows = 500;
constexpr double kAcquisitionTime = 2460000.5;
constexpr SLimit kDefaultLimit = {EMeasure::RatioAtMost, 1.1};
// Finding that an experiment is known reads the stored one back and compares the two.
constexpr SLimit kKnownExperimentLimit = {EMeasure::RatioAtMost, 1.2};
// A list of names is the interface's own: wide strings where SQLite has UTF-8.
constexpr SLimit kListLimit = {EMeasure::RatioAtMost, 1.5};

// A database that the service has open and one of the same tables that is used directly.
struct SDatabasePair {
  SDatabasePair() {
    MakeDatabase(folder.Path("ours.db"));
    MakeDatabase(folder.Path("bare.db"));
    cache = std::make_unique<COpenCache>(folder.Path("ours.db"));
    bare = std::make_unique<CSql>(folder.Path("bare.db"));
  }
  CSqlStatement Prepare(const char* sql) { return CSqlStatement(*bare, sql); }

  qvtest::CTempFolder folder;
  std::unique_ptr<COpenCache> cache;
  std::unique_ptr<CSql> bare;
};

CExperiment MakeExperiment(std::uint32_t loopSize) {
  CExperiment time = qvtest::NewExperiment(kQvLoopTime, loopSize, 500.0),
              channels = qvtest::NewExperiment(kQvLoopLambda);
  for (const wchar_t* name : {L"DAPI", L"FITC", L"TRITC"}) channels->channels.push_back({name, 0xFF00, 405, 460, 20});
  time->subExperiments.push_back(channels.release());
  return time;
}

int WriteExperiment(SDatabasePair& databases, int number, double time) {
  const CExperiment experiment = MakeExperiment(static_cast<std::uint32_t>(number));
  int id = 0;
  if ((*databases.cache)->WriteExperiment(experiment.get(), nullptr, time, 1, &id) != 0) Fail("not written");
  return id;
}

std::vector<std::uint8_t> ReadExperimentBlob(const SDatabasePair& databases, int* hash) {
  const CSql db(databases.folder.Path("ours.db"));
  CSqlStatement select(db, "SELECT liteVariant, hashCRC FROM experiments LIMIT 1");
  if (!select.Row()) Fail("no experiment");
  *hash = sqlite3_column_int(select.Handle(), 1);
  return select.BlobAt(0);
}

void WriteNewExperiment(benchmark::State& state) {
  SDatabasePair databases;
  int number = 0, bareNumber = 0, hash = 0;
  WriteExperiment(databases, number++, kAcquisitionTime);
  const auto blob = ReadExperimentBlob(databases, &hash);
  const auto insertBare = [&] {
    const int ownHash = hash + ++bareNumber;
    {
      auto select =
          databases.Prepare("SELECT liteVariant, storedID, experimentID FROM experiments WHERE hashCRC = :HC");
      select.Int(1, ownHash).Done();
    }
    auto insert = databases.Prepare(
        "INSERT INTO experiments (M_acqTime, liteVariant, picturePlanes, storedID, hashCRC) "
        "VALUES (:AT, :LV, :PP, :SI, :HC)");
    insert.Double(1, kAcquisitionTime).Blob(2, blob).Int(4, 1).Int(5, ownHash).Done();
  };
  RunPaired(
      state, kWritesPerRound, kDefaultLimit,
      [&] {
        for (int i = 0; i < kWritesPerRound; ++i) WriteExperiment(databases, number++, kAcquisitionTime);
      },
      [&] {
        for (int i = 0; i < kWritesPerRound; ++i) insertBare();
      });
}

void WriteKnownExperiment(benchmark::State& state) {
  SDatabasePair databases;
  int hash = 0;
  // A row that stays as it is would not be written.
  double time = kAcquisitionTime, bareTime = kAcquisitionTime;
  WriteExperiment(databases, 1, time);
  const auto blob = ReadExperimentBlob(databases, &hash);
  databases.Prepare("INSERT INTO experiments VALUES (1, 1, ?, NULL, 1, ?)").Blob(1, blob).Int(2, hash).Done();
  const auto refreshBare = [&] {
    {
      auto select =
          databases.Prepare("SELECT liteVariant, storedID, experimentID FROM experiments WHERE hashCRC = :HC");
      if (!select.Int(1, hash).Row()) Fail("no experiment");
    }
    auto update = databases.Prepare("UPDATE experiments SET M_acqTime = :AT, storedID = :SI WHERE experimentID = :EI");
    update.Double(1, ++bareTime).Int(2, 1).Int(3, 1).Done();
  };
  RunPaired(
      state, kWritesPerRound, kKnownExperimentLimit,
      [&] {
        for (int i = 0; i < kWritesPerRound; ++i) WriteExperiment(databases, 1, ++time);
      },
      [&] {
        for (int i = 0; i < kWritesPerRound; ++i) refreshBare();
      });
}

void InsertBareHistory(SDatabasePair& databases, const std::string& name) {
  {
    auto select = databases.Prepare("SELECT experimentID FROM history WHERE filename = :FN AND userID = :UI");
    select.Text(1, name).Text(2, "anna").Done();
  }
  auto insert =
      databases.Prepare("INSERT INTO history (filename, userID, M_acqTime, experimentID) VALUES (:FN, :UI, :AT, :EI)");
  insert.Text(1, name).Text(2, "anna").Double(3, kAcquisitionTime).Int(4, 1).Done();
}

void WriteNewHistory(benchmark::State& state) {
  SDatabasePair databases;
  std::size_t number = 0, bareNumber = 0;
  RunPaired(
      state, kWritesPerRound, kDefaultLimit,
      [&] {
        for (int i = 0; i < kWritesPerRound; ++i)
          (*databases.cache)->WriteHistory(LocationOf(number++).c_str(), L"anna", kAcquisitionTime, 1);
      },
      [&] {
        for (int i = 0; i < kWritesPerRound; ++i) InsertBareHistory(databases, RowNameOf(bareNumber++));
      });
}

template <class Ours, class Bare>
void RunLists(benchmark::State& state, const Ours& listOurs, const Bare& listBare) {
  RunPaired(
      state, kListsPerRound, kListLimit,
      [&] {
        for (int i = 0; i < kListsPerRound; ++i) listOurs();
      },
      [&] {
        for (int i = 0; i < kListsPerRound; ++i) listBare();
      });
}

void ListHistory(benchmark::State& state) {
  SDatabasePair databases;
  for (std::size_t i = 0; i < kListedRows; ++i) {
    (*databases.cache)->WriteHistory(LocationOf(i).c_str(), L"anna", kAcquisitionTime, 1);
    InsertBareHistory(databases, RowNameOf(i));
  }
  const auto listBare = [&] {
    std::vector<int> ids;
    std::vector<double> times;
    std::vector<std::string> names;
    auto select = databases.Prepare(
        "SELECT experimentID, M_acqTime, filename FROM history "
        "WHERE userID = :UI AND M_acqTime >= :AF AND M_acqTime < :AT");
    select.Text(1, "anna").Double(2, 0).Double(3, 3e6);
    while (select.Row()) {
      ids.push_back(sqlite3_column_int(select.Handle(), 0));
      times.push_back(sqlite3_column_double(select.Handle(), 1));
      names.push_back(select.TextAt(2));
    }
    if (ids.size() != kListedRows) Fail("rows are missing");
  };
  const auto listOurs = [&] {
    std::vector<int> ids;
    std::vector<double> times;
    std::vector<CQvStringW> names;
    (*databases.cache)->ReadHistory(L"anna", 0, 3e6, &ids, &times, &names);
    if (ids.size() != kListedRows) Fail("rows are missing");
  };
  RunLists(state, listOurs, listBare);
}

void InsertBareItem(SDatabasePair& databases, const std::string& name) {
  auto insert = databases.Prepare("INSERT INTO stored (storedParentID, filename, flags) VALUES (:SP, :FN, :FL)");
  insert.Int(1, 0).Text(2, name).Int(3, 1).Done();
}

void InsertNewItem(benchmark::State& state) {
  SDatabasePair databases;
  std::size_t number = 0, bareNumber = 0;
  RunPaired(
      state, kWritesPerRound, kDefaultLimit,
      [&] {
        int id = 0;
        for (int i = 0; i < kWritesPerRound; ++i)
          (*databases.cache)->InsertStoredItem(0, LocationOf(number++).c_str(), 1, &id);
      },
      [&] {
        for (int i = 0; i < kWritesPerRound; ++i) InsertBareItem(databases, RowNameOf(bareNumber++));
      });
}

void ListItems(benchmark::State& state) {
  SDatabasePair databases;
  for (std::size_t i = 0; i < kListedRows; ++i) {
    int id = 0;
    (*databases.cache)->InsertStoredItem(0, LocationOf(i).c_str(), 1, &id);
    InsertBareItem(databases, RowNameOf(i));
  }
  const auto listBare = [&] {
    std::vector<int> ids;
    std::vector<std::string> names;
    auto select = databases.Prepare("SELECT storedID, filename FROM stored WHERE storedParentID = :SP");
    select.Int(1, 0);
    while (select.Row()) {
      ids.push_back(sqlite3_column_int(select.Handle(), 0));
      names.push_back(select.TextAt(1));
    }
    if (ids.size() != kListedRows) Fail("rows are missing");
  };
  const auto listOurs = [&] {
    std::vector<int> ids;
    std::vector<CQvStringW> names;
    (*databases.cache)->GetStoredChildren(0, &ids, &names);
    if (ids.size() != kListedRows) Fail("rows are missing");
  };
  RunLists(state, listOurs, listBare);
}

BENCHMARK(WriteNewExperiment)->Name("WriteExperiment, a new one")->Iterations(kRounds)->UseManualTime();
BENCHMARK(WriteKnownExperiment)->Name("WriteExperiment, a known one")->Iterations(kRounds)->UseManualTime();
BENCHMARK(WriteNewHistory)->Name("WriteHistory, a new file")->Iterations(kRounds)->UseManualTime();
BENCHMARK(ListHistory)->Name("ReadHistory, 500 files")->Iterations(kRounds)->UseManualTime();
BENCHMARK(InsertNewItem)->Name("InsertStoredItem")->Iterations(kRounds)->UseManualTime();
BENCHMARK(ListItems)->Name("GetStoredChildren, 500 items")->Iterations(kRounds)->UseManualTime();

}  // namespace
