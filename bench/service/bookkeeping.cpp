// The bookkeeping operations against the statements that they issue, prepared per call and issued bare on a database
// of the same content.

#include <memory>

#include "bench/service/support/cache.h"
#include "bench/service/support/paired.h"
#include "metadata/qvexperiment.h"

namespace {

using namespace qvbench;

constexpr int kRounds = 15;
constexpr int kWrites = 50;  // in a round
constexpr int kReads = 20;
constexpr int kListed = 500;
constexpr double kTime = 2460000.5;
constexpr SLimit kLimit = {EValue::RatioAtMost, 1.1};
// Finding that an experiment is known reads the stored one back and compares the two.
constexpr SLimit kKnownLimit = {EValue::RatioAtMost, 1.2};
// A list of names is the interface's own: wide strings where SQLite has UTF-8.
constexpr SLimit kListLimit = {EValue::RatioAtMost, 1.5};

struct SScene {
  SScene() {
    MakeDatabase(folder.File("ours.db"));
    MakeDatabase(folder.File("bare.db"));
    cache = std::make_unique<COpenCache>(folder.File("ours.db"));
    bare = std::make_unique<CBareDatabase>(folder.File("bare.db"));
  }
  CBareStatement Prepare(const char* sql) { return CBareStatement(bare->Get(), sql); }

  CTempFolder folder;
  std::unique_ptr<COpenCache> cache;
  std::unique_ptr<CBareDatabase> bare;
};

SQvExperiment* MakeExperiment(std::uint32_t loopSize) {
  SQvExperiment* time = nullptr;
  SQvExperiment::Alloc(&time);
  time->loopType = kQvLoopTime;
  time->loopSize = loopSize;
  time->step = 500.0;
  SQvExperiment* channels = nullptr;
  SQvExperiment::Alloc(&channels);
  channels->loopType = kQvLoopLambda;
  for (const wchar_t* name : {L"DAPI", L"FITC", L"TRITC"}) channels->channels.push_back({name, 0xFF00, 405, 460, 20});
  time->subExperiments.push_back(channels);
  return time;
}

int WriteExperiment(SScene& scene, int number, double time) {
  const std::unique_ptr<SQvExperiment, void (*)(SQvExperiment*)> experiment(
      MakeExperiment(static_cast<std::uint32_t>(number)), SQvExperiment::FreeRecursive);
  int id = 0;
  if ((*scene.cache)->WriteExperiment(experiment.get(), nullptr, time, 1, &id) != 0) GiveUp("not written");
  return id;
}

std::vector<unsigned char> ReadExperimentBlob(SScene& scene, int* hash) {
  CBareDatabase db(scene.folder.File("ours.db"));
  CBareStatement select(db.Get(), "SELECT liteVariant, hashCRC FROM experiments LIMIT 1");
  if (!select.Row()) GiveUp("no experiment");
  const auto* bytes = static_cast<const unsigned char*>(sqlite3_column_blob(select.Get(), 0));
  *hash = sqlite3_column_int(select.Get(), 1);
  return {bytes, bytes + sqlite3_column_bytes(select.Get(), 0)};
}

void NewExperiment(benchmark::State& state) {
  SScene scene;
  int number = 0, bareNumber = 0, hash = 0;
  WriteExperiment(scene, number++, kTime);
  const auto blob = ReadExperimentBlob(scene, &hash);
  const auto insertBare = [&] {
    const int ownHash = hash + ++bareNumber;
    {
      auto select = scene.Prepare("SELECT liteVariant, storedID, experimentID FROM experiments WHERE hashCRC = :HC");
      select.Int(1, ownHash).Done();
    }
    auto insert = scene.Prepare(
        "INSERT INTO experiments (M_acqTime, liteVariant, picturePlanes, storedID, hashCRC) "
        "VALUES (:AT, :LV, :PP, :SI, :HC)");
    insert.Double(1, kTime).Blob(2, blob).Int(4, 1).Int(5, ownHash).Done();
  };
  RunPaired(
      state, kWrites, kLimit,
      [&] {
        for (int i = 0; i < kWrites; ++i) WriteExperiment(scene, number++, kTime);
      },
      [&] {
        for (int i = 0; i < kWrites; ++i) insertBare();
      });
}

void KnownExperiment(benchmark::State& state) {
  SScene scene;
  int hash = 0;
  // A row that stays as it is would not be written.
  double time = kTime, bareTime = kTime;
  WriteExperiment(scene, 1, time);
  const auto blob = ReadExperimentBlob(scene, &hash);
  scene.Prepare("INSERT INTO experiments VALUES (1, 1, ?, NULL, 1, ?)").Blob(1, blob).Int(2, hash).Done();
  const auto refreshBare = [&] {
    {
      auto select = scene.Prepare("SELECT liteVariant, storedID, experimentID FROM experiments WHERE hashCRC = :HC");
      if (!select.Int(1, hash).Row()) GiveUp("no experiment");
    }
    auto update = scene.Prepare("UPDATE experiments SET M_acqTime = :AT, storedID = :SI WHERE experimentID = :EI");
    update.Double(1, ++bareTime).Int(2, 1).Int(3, 1).Done();
  };
  RunPaired(
      state, kWrites, kKnownLimit,
      [&] {
        for (int i = 0; i < kWrites; ++i) WriteExperiment(scene, 1, ++time);
      },
      [&] {
        for (int i = 0; i < kWrites; ++i) refreshBare();
      });
}

void InsertBareHistory(SScene& scene, const std::string& name) {
  {
    auto select = scene.Prepare("SELECT experimentID FROM history WHERE filename = :FN AND userID = :UI");
    select.Text(1, name).Text(2, "anna").Done();
  }
  auto insert =
      scene.Prepare("INSERT INTO history (filename, userID, M_acqTime, experimentID) VALUES (:FN, :UI, :AT, :EI)");
  insert.Text(1, name).Text(2, "anna").Double(3, kTime).Int(4, 1).Done();
}

void NewHistory(benchmark::State& state) {
  SScene scene;
  std::size_t number = 0, bareNumber = 0;
  RunPaired(
      state, kWrites, kLimit,
      [&] {
        for (int i = 0; i < kWrites; ++i) (*scene.cache)->WriteHistory(LocationOf(number++).c_str(), L"anna", kTime, 1);
      },
      [&] {
        for (int i = 0; i < kWrites; ++i) InsertBareHistory(scene, RowNameOf(bareNumber++));
      });
}

template <class TOurs, class TBare>
void RunReads(benchmark::State& state, const TOurs& listOurs, const TBare& listBare) {
  RunPaired(
      state, kReads, kListLimit,
      [&] {
        for (int i = 0; i < kReads; ++i) listOurs();
      },
      [&] {
        for (int i = 0; i < kReads; ++i) listBare();
      });
}

void ListHistory(benchmark::State& state) {
  SScene scene;
  for (std::size_t i = 0; i < kListed; ++i) {
    (*scene.cache)->WriteHistory(LocationOf(i).c_str(), L"anna", kTime, 1);
    InsertBareHistory(scene, RowNameOf(i));
  }
  const auto listBare = [&] {
    std::vector<int> ids;
    std::vector<double> times;
    std::vector<std::string> names;
    auto select = scene.Prepare(
        "SELECT experimentID, M_acqTime, filename FROM history "
        "WHERE userID = :UI AND M_acqTime >= :AF AND M_acqTime < :AT");
    select.Text(1, "anna").Double(2, 0).Double(3, 3e6);
    while (select.Row()) {
      ids.push_back(sqlite3_column_int(select.Get(), 0));
      times.push_back(sqlite3_column_double(select.Get(), 1));
      names.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(select.Get(), 2)));
    }
    if (ids.size() != kListed) GiveUp("rows are missing");
  };
  const auto listOurs = [&] {
    std::vector<int> ids;
    std::vector<double> times;
    std::vector<CQvStringW> names;
    (*scene.cache)->ReadHistory(L"anna", 0, 3e6, &ids, &times, &names);
    if (ids.size() != kListed) GiveUp("rows are missing");
  };
  RunReads(state, listOurs, listBare);
}

void InsertBareItem(SScene& scene, const std::string& name) {
  auto insert = scene.Prepare("INSERT INTO stored (storedParentID, filename, flags) VALUES (:SP, :FN, :FL)");
  insert.Int(1, 0).Text(2, name).Int(3, 1).Done();
}

void NewItem(benchmark::State& state) {
  SScene scene;
  std::size_t number = 0, bareNumber = 0;
  RunPaired(
      state, kWrites, kLimit,
      [&] {
        int id = 0;
        for (int i = 0; i < kWrites; ++i) (*scene.cache)->InsertStoredItem(0, LocationOf(number++).c_str(), 1, &id);
      },
      [&] {
        for (int i = 0; i < kWrites; ++i) InsertBareItem(scene, RowNameOf(bareNumber++));
      });
}

void ListItems(benchmark::State& state) {
  SScene scene;
  for (std::size_t i = 0; i < kListed; ++i) {
    int id = 0;
    (*scene.cache)->InsertStoredItem(0, LocationOf(i).c_str(), 1, &id);
    InsertBareItem(scene, RowNameOf(i));
  }
  const auto listBare = [&] {
    std::vector<int> ids;
    std::vector<std::string> names;
    auto select = scene.Prepare("SELECT storedID, filename FROM stored WHERE storedParentID = :SP");
    select.Int(1, 0);
    while (select.Row()) {
      ids.push_back(sqlite3_column_int(select.Get(), 0));
      names.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(select.Get(), 1)));
    }
    if (ids.size() != kListed) GiveUp("rows are missing");
  };
  const auto listOurs = [&] {
    std::vector<int> ids;
    std::vector<CQvStringW> names;
    (*scene.cache)->GetStoredChildren(0, &ids, &names);
    if (ids.size() != kListed) GiveUp("rows are missing");
  };
  RunReads(state, listOurs, listBare);
}

BENCHMARK(NewExperiment)->Name("WriteExperiment, a new one")->Iterations(kRounds)->UseManualTime();
BENCHMARK(KnownExperiment)->Name("WriteExperiment, a known one")->Iterations(kRounds)->UseManualTime();
BENCHMARK(NewHistory)->Name("WriteHistory, a new file")->Iterations(kRounds)->UseManualTime();
BENCHMARK(ListHistory)->Name("ReadHistory, 500 files")->Iterations(kRounds)->UseManualTime();
BENCHMARK(NewItem)->Name("InsertStoredItem")->Iterations(kRounds)->UseManualTime();
BENCHMARK(ListItems)->Name("GetStoredChildren, 500 items")->Iterations(kRounds)->UseManualTime();

}  // namespace
