#include "tests/host/support/known_pictures.h"

#include <algorithm>

#include "tests/host/support/lab_database.h"
#include "tests/support/sql.h"

using namespace qvhost;
using namespace qvtest;

namespace {

constexpr const char* kObjectives[] = {"", "plan apo 60x oil", "plan 10x", "s fluor 40x"};
constexpr const char* kUsers[] = {"anna", "bert", "cyril"};
constexpr double kPixelSizes[] = {0.0, 0.065, 0.13, 0.325};
constexpr const char* kWords[] = {"hela",  "yeast",       "dapi",   "gfp", "plate",     "compound 1", "07",   "60x",
                                  "apo",   "anna",        "cell 1", "q",   "e",         "23",         "7.ti", "no such",
                                  "plate", "compound 17", "ll 01",  "/",   "late 1/ce", "oil",        "ber",  "mpoun"};

bool IsIn(const SFactRange& range, const std::optional<double>& value) {
  if (range.IsOpen()) return true;
  return value && (!range.least || *value >= *range.least) && (!range.most || *value <= *range.most);
}

bool IsBefore(const SFactRange& range, const std::optional<double>& value) {
  return IsIn(range, value) && !(range.most && *value == *range.most);
}

bool HasFacts(const SFoundPicture& picture, const SPictureQuery& query) {
  return IsIn(query.channels, picture.channels) && IsIn(query.z, picture.z) && IsIn(query.t, picture.t) &&
         IsIn(query.size, picture.size) && IsIn(query.pixelSize, picture.pixelSize) &&
         IsBefore(query.time, picture.time) && (!query.experiment || picture.experiment == *query.experiment) &&
         (query.objective.empty() || picture.objective.find(query.objective) != picture.objective.npos) &&
         (query.user.empty() || picture.user == query.user);
}

}  // namespace

CKnownPictures::CKnownPictures(const std::string& database) : m_database(database) {
  WriteLabDatabase(database, {.experiments = 1, .history = 0, .stored = 0, .thumbnails = 0, .texts = 0});
}

CKnownPictures::SKnown CKnownPictures::SomePicture() {
  SKnown picture;
  picture.hasThumbnail = Below(2) == 0;
  picture.hasTexts = Below(8) != 0;
  picture.hasRecord = Below(4) == 0;
  if (!picture.hasThumbnail && !picture.hasTexts) picture.hasRecord = true;
  if (picture.hasTexts) {
    picture.description =
        std::string(Below(2) ? "hela, dapi" : "yeast gfp") + " compound " + std::to_string(Below(200));
    picture.objective = kObjectives[Below(4)];
    picture.channels = static_cast<int>(Below(4));
    picture.z = static_cast<int>(Below(60));
    picture.t = Below(10) == 0 ? static_cast<int>(Below(100000)) : 0;
    picture.size = static_cast<std::int64_t>(Below(3) == 0 ? 0 : Below(5'000'000'000));
    picture.pixelSize = kPixelSizes[Below(4)];
    picture.time = Below(3) == 0 ? 0.0 : 2455000.0 + static_cast<double>(Below(400)) / 4;
  }
  if (picture.hasRecord) {
    picture.user = kUsers[Below(3)];
    picture.timeOfRecord = Below(2) == 0 ? 0.0 : 2455000.0 + static_cast<double>(Below(400)) / 4;
    picture.experiment = static_cast<int>(Below(3)) - 1;
  }
  return picture;
}

void CKnownPictures::Change(int count) {
  CSql db(m_database);
  db.Run("BEGIN IMMEDIATE");
  CSqlStatement cache(db, "INSERT INTO cache VALUES (?1, ?2, 0, x'00', 0)");
  CSqlStatement texts(db,
                      "INSERT INTO metadata (filename, lastWritten, M_description, M_objective, M_lambdaLoop, M_zLoop, "
                      "M_timeLoop, M_fileSize, M_calibration, M_acqTime) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, "
                      "?10)");
  CSqlStatement history(db, "INSERT INTO history VALUES (?1, ?2, ?3, ?4)");
  for (int i = 0; i < count; ++i) {
    const std::size_t number = Below(6000);
    const std::string location =
        "/data/plate " + std::to_string(number / 100) + "/cell " + std::to_string(number) + ".tif";
    for (const char* table : {"cache", "metadata", "history"}) {
      db.Run("DELETE FROM " + std::string(table) + " WHERE filename = '" + location + "'");
    }
    m_pictures.erase(location);
    if (Below(4) == 0) continue;
    const SKnown& picture = m_pictures[location] = SomePicture();
    ++m_written;
    if (picture.hasThumbnail) cache.Text(1, location).Int(2, m_written).Done();
    if (picture.hasTexts) {
      texts.Text(1, location).Int(2, m_written).Text(3, picture.description).Text(4, picture.objective);
      texts.Int(5, picture.channels).Int(6, picture.z).Int(7, picture.t).Int(8, picture.size);
      texts.Double(9, picture.pixelSize).Double(10, picture.time).Done();
    }
    if (picture.hasRecord) {
      history.Text(1, location).Text(2, picture.user).Double(3, picture.timeOfRecord).Int(4, picture.experiment).Done();
    }
    for (CSqlStatement* statement : {&cache, &texts, &history}) statement->Reset();
  }
  db.Run("COMMIT");
}

SPictureQuery CKnownPictures::SomeQuery() {
  SPictureQuery query;
  while (query.IsOpen()) {
    for (std::size_t words = Below(3); words > 0; --words) query.words.emplace_back(kWords[Below(std::size(kWords))]);
    if (Below(4) == 0) query.z = {static_cast<double>(Below(50)), std::nullopt};
    if (Below(6) == 0) query.channels = {1.5, 2.5};
    if (Below(8) == 0) query.t = {std::nullopt, static_cast<double>(Below(100))};
    if (Below(8) == 0) query.pixelSize = {0.065, 0.13};
    if (Below(8) == 0) query.size = {0.0, Below(2) == 0 ? 1e9 : 1e30};
    if (Below(6) == 0)
      query.time = {2455000.0 + static_cast<double>(Below(50)), 2455000.0 + static_cast<double>(Below(100))};
    if (Below(8) == 0) query.objective = Below(2) == 0 ? "x" : "60x";
    if (Below(8) == 0) query.user = kUsers[Below(3)];
    if (Below(10) == 0) query.experiment = static_cast<int>(Below(3)) - 1;
    if (Below(4) == 0) query.under = Below(2) == 0 ? "/data/" : "/data/plate " + std::to_string(Below(60)) + "/";
  }
  return query;
}

SFoundPicture CKnownPictures::Facts(const std::string& location, const SKnown& picture) {
  SFoundPicture found;
  found.location = location;
  if (picture.hasTexts) {
    found.channels = std::max(picture.channels, 1);
    found.z = std::max(picture.z, 1);
    found.t = std::max(picture.t, 1);
    found.size = picture.size;
    if (picture.pixelSize > 0.0) found.pixelSize = picture.pixelSize;
    if (picture.time > 0.0) found.time = picture.time;
    found.objective = picture.objective;
  }
  if (picture.hasRecord) {
    if (picture.timeOfRecord > 0.0) found.time = picture.timeOfRecord;
    found.user = picture.user;
    if (picture.experiment != 0) found.experiment = picture.experiment;
  }
  return found;
}

// No word has the end of one text and the beginning of the next.
bool CKnownPictures::HasWords(const std::string& location, const SKnown& picture, const SPictureQuery& query) {
  return std::all_of(query.words.begin(), query.words.end(), [&](const std::string& word) {
    for (const std::string& text :
         {location.substr(query.under.size()), picture.description, picture.objective, picture.user}) {
      if (text.find(word) != text.npos) return true;
    }
    return false;
  });
}

std::vector<SFoundPicture> CKnownPictures::Find(const SPictureQuery& query) const {
  std::vector<SFoundPicture> found;
  for (const auto& [location, picture] : m_pictures) {
    if (!location.starts_with(query.under) || !HasWords(location, picture, query)) continue;
    const SFoundPicture facts = Facts(location, picture);
    if (HasFacts(facts, query)) found.push_back(facts);
  }
  return found;
}
