#include "gnr_thumbnailcache/experiments/experiment_records.h"

#include <memory>

#include "gnr_thumbnailcache/database/statement.h"
#include "system/qvlitevariant.h"
#include "system/qvstatus.h"

namespace {

constexpr SWriteMessages kWriteMessages = {{L"THUMBCACHE: WriteExperiment - sqlite3_step failed: ", __LINE__},
                                           {L"THUMBCACHE: WriteExperiment - sqlite3_finalize failed: ", __LINE__}};
constexpr const wchar_t* kPlanesLevel = L"SQvPicturePlanes";

struct SFreeExperiment {
  void operator()(SQvExperiment* experiment) const { SQvExperiment::FreeRecursive(experiment); }
};
using CExperimentOwner = std::unique_ptr<SQvExperiment, SFreeExperiment>;

CQvByteArray SerialiseExperiment(const SQvExperiment* experiment) {
  CQvLiteVariantW writer;
  CQvLiteVariantR reader;
  SQvExperiment::SaveToLiteVariant(writer, experiment);
  writer.Finalize(reader, 0);
  return reader.Bytes();
}

// Empty without planes.
CQvByteArray SerialisePlanes(const SQvPicturePlanes* planes) {
  if (!planes) return CQvByteArray();
  CQvLiteVariantW writer;
  CQvLiteVariantR reader;
  if (writer.LevelBegin(kPlanesLevel) == kQvOk) {
    SQvPicturePlanes::SaveToLiteVariant(writer, planes);
    writer.LevelEnd();
  }
  writer.Finalize(reader, 0);
  return reader.Bytes();
}

std::int32_t HashExperiment(const SQvExperiment* experiment, const SQvPicturePlanes* planes) {
  unsigned int hash = CQvExperimentAPI::GetExperimentHash(experiment);
  if (planes) planes->GetHash(hash);
  return static_cast<std::int32_t>(hash);
}

CExperimentOwner LoadExperiment(const CQvByteArray& blob) {
  SQvExperiment* loaded = nullptr;
  SQvExperiment::Alloc(&loaded);
  CExperimentOwner experiment(loaded);
  CQvLiteVariantR reader;
  reader.Bytes().SetData(blob.GetData(0), blob.GetSize(), 0, 0);
  if (loaded) SQvExperiment::LoadFromLiteVariant(loaded, reader);
  return experiment;
}

void LoadPlanes(const CQvByteArray& blob, SQvPicturePlanes& planes) {
  CQvLiteVariantR reader;
  reader.Bytes().SetData(blob.GetData(0), blob.GetSize(), 0, 0);
  if (reader.LevelBegin(kPlanesLevel, nullptr) != kQvOk) return;
  SQvPicturePlanes::LoadFromLiteVariant(planes, reader);
  reader.LevelEnd();
}

struct SStoredExperiment {
  std::int32_t storedID = 0;
  std::int32_t experimentID = 0;
};

// Finds the row of an equal experiment among those of the same hash. The planes are part of the hash only.
bool FindEqual(sqlite3* db, const SQvExperiment* experiment, std::int32_t hash, SStoredExperiment* found) {
  CStatement statement(db, "SELECT liteVariant, storedID, experimentID FROM experiments WHERE hashCRC = :HC");
  statement.BindInt(1, hash);
  while (statement.Step() == SQLITE_ROW) {
    *found = {statement.GetInt(1), statement.GetInt(2)};
    const CExperimentOwner candidate = LoadExperiment(statement.GetBlob(0));
    if (SQvExperiment::IsEqual(candidate.get(), experiment, true, true)) return true;
  }
  return false;
}

// A failure is reported and otherwise let be: the caller has its experiment.
void RefreshExperiment(sqlite3* db, const SStoredExperiment& stored, double acqTime, int storedID) {
  CStatement statement(db, "UPDATE experiments SET M_acqTime = :AT, storedID = :SI WHERE experimentID = :EI");
  statement.BindDouble(1, acqTime);
  statement.BindInt(2, storedID >= 0 ? storedID : stored.storedID);
  statement.BindInt(3, stored.experimentID);
  RunAndReport(db, statement, kWriteMessages);
}

}  // namespace

std::int32_t WriteExperiment(sqlite3* db, const SQvExperiment* experiment, const SQvPicturePlanes* planes,
                             double acqTime, int storedID, int* experimentID) {
  if (!experiment) return kQvFailure;
  const CQvByteArray blob = SerialiseExperiment(experiment);
  if (blob.IsEmpty()) return kQvFailure;
  const CQvByteArray planesBlob = SerialisePlanes(planes);
  const std::int32_t hash = HashExperiment(experiment, planes);
  if (!db) return kQvOk;
  SStoredExperiment stored;
  if (FindEqual(db, experiment, hash, &stored)) {
    if (experimentID) *experimentID = stored.experimentID;
    RefreshExperiment(db, stored, acqTime, storedID);
    return kQvOk;
  }
  CStatement statement(db,
                       "INSERT INTO experiments (M_acqTime, liteVariant, picturePlanes, storedID, hashCRC) "
                       "VALUES (:AT, :LV, :PP, :SI, :HC)");
  statement.BindDouble(1, acqTime);
  statement.BindBlob(2, blob);
  statement.BindBlob(3, planesBlob);
  statement.BindInt(4, storedID);
  statement.BindInt(5, hash);
  return RunAndReport(db, statement, kWriteMessages, experimentID);
}

std::int32_t ReadExperiment(sqlite3* db, SQvExperiment** experiment, SQvPicturePlanes* planes, double* acqTime,
                            int experimentID) {
  if (!experiment || !planes) return kQvFailure;
  if (!db) return kQvOk;
  CStatement statement(db, "SELECT M_acqTime, liteVariant, picturePlanes FROM experiments WHERE experimentID = :EI");
  statement.BindInt(1, experimentID);
  if (statement.Step() == SQLITE_ROW) {
    if (acqTime) *acqTime = statement.GetDouble(0);
    const CQvByteArray planesBlob = statement.GetBlob(2);
    *experiment = LoadExperiment(statement.GetBlob(1)).release();
    if (!planesBlob.IsEmpty()) LoadPlanes(planesBlob, *planes);
  }
  return statement.Finalize();
}

std::int32_t GetExperimentIDsByStoredID(sqlite3* db, int storedID, std::vector<int>* experimentIDs) {
  if (!db || !experimentIDs) return kQvFailure;
  experimentIDs->clear();
  CStatement statement(db, "SELECT experimentID FROM experiments WHERE storedID = :SI");
  statement.BindInt(1, storedID);
  while (statement.Step() == SQLITE_ROW) experimentIDs->push_back(statement.GetInt(0));
  return statement.Finalize();
}
