// Searches with an index, from inside, compared with looking at each picture.

#include "host/find/picture_search.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "host/find/search_index.h"
#include "host/host_error.h"
#include "tests/host/support/known_pictures.h"
#include "tests/support/faulty_vfs.h"
#include "tests/support/sql.h"
#include "tests/support/temp_folder.h"

namespace qvhost {
namespace {

using namespace qvtest;

class PictureSearchTest : public testing::Test {
 protected:
  PictureSearchTest() : m_pictures(m_folder.Path("cache.db")) {}

  std::string Index() const { return SearchIndexPath(m_pictures.Database()); }
  std::vector<SFoundPicture> Find(const SPictureQuery& query) const {
    SQLite::Database db = OpenForReading(m_pictures.Database());
    std::vector<SFoundPicture> found = CPictureSearch(db, true).Find(query);
    for (SFoundPicture& picture : found) picture.textRow = 0;
    return found;
  }
  std::vector<std::string> FindLocations(const SPictureQuery& query) const {
    SQLite::Database db = OpenForReading(m_pictures.Database());
    return CPictureSearch(db, true).FindLocations(query);
  }
  void ExpectTheSame(const SPictureQuery& query) const {
    const std::vector<SFoundPicture> expected = m_pictures.Find(query);
    EXPECT_TRUE(Find(query) == expected) << Text(query) << ": " << expected.size() << " are wanted";
    std::vector<std::string> locations;
    for (const SFoundPicture& picture : expected) locations.push_back(picture.location);
    EXPECT_EQ(FindLocations(query), locations) << Text(query);
  }
  void ExpectTheSameOfMany(int queries) {
    for (int i = 0; i < queries; ++i) ExpectTheSame(m_pictures.SomeQuery());
  }
  static std::string Text(const SPictureQuery& query) {
    std::string text = "under '" + query.under + "', objective '" + query.objective + "', user '" + query.user + "'";
    for (const std::string& word : query.words) text += ", '" + word + "'";
    return text;
  }
  static SPictureQuery Words(std::vector<std::string> words) {
    SPictureQuery query;
    query.words = std::move(words);
    return query;
  }
  // Changed rows, and an index of what was before.
  void LeaveOldIndex() {
    m_pictures.Change(600);
    Find(Words({"hela"}));
    std::filesystem::copy_file(Index(), m_folder.Path("old.find"));
    m_pictures.Change(300);
  }
  void RestoreOldIndex() const {
    std::filesystem::remove(Index() + "-journal");
    std::filesystem::copy_file(m_folder.Path("old.find"), Index(), std::filesystem::copy_options::overwrite_existing);
  }
  // One of each kind.
  std::vector<SPictureQuery> Kinds() const {
    std::vector<SPictureQuery> kinds = {Words({"hela", "cell 1"}), Words({"7"}), {}};
    kinds.back().z = {20.0, std::nullopt};
    kinds.push_back(kinds.back());
    kinds.back().words = {"compound 1"};
    return kinds;
  }
  void ExpectKindsTheSame() const {
    for (const SPictureQuery& query : Kinds()) ExpectTheSame(query);
  }
  // Searches while one call after the other fails, and after each again without.
  void SearchWith(CFaultyVfs::EFault fault, bool fromThenOn);

  const CTempFolder m_folder;
  CKnownPictures m_pictures;
};

TEST_F(PictureSearchTest, FindsWhatLookingAtEachFinds) {
  for (const int changes : {1500, 400, 30, 1, 1500}) {
    m_pictures.Change(changes);
    ExpectTheSameOfMany(60);
  }
}

TEST_F(PictureSearchTest, FindsTheSameWhateverTheSampleSays) {
  m_pictures.Change(1500);
  ExpectTheSameOfMany(1);
  for (const char* texts : {"'hela compound 17'", "'/data/plate 1/cell 1' || id", "text"}) {
    Execute(Index(),
            "DELETE FROM sample; INSERT INTO sample SELECT id, " + std::string(texts) + " FROM doc WHERE id % 3 = 0");
    ExpectTheSameOfMany(60);
  }
}

TEST_F(PictureSearchTest, FindsNoMoreThanTheLimit) {
  m_pictures.Change(1500);
  for (SPictureQuery query : Kinds()) {
    query.limit = 7;
    EXPECT_EQ(Find(query).size(), 7u) << Text(query);
    EXPECT_EQ(FindLocations(query).size(), 7u) << Text(query);
  }
}

TEST_F(PictureSearchTest, WordsAreLookedForInEveryText) {
  const std::vector<std::string> columns = {"M_imageID",   "M_type",     "M_group",    "M_sampleID",  "M_author",
                                            "M_capturing", "M_sampling", "M_location", "M_date",      "M_conclusion",
                                            "M_info1",     "M_info2",    "M_optics",   "M_objective", "M_description"};
  for (const std::string& column : columns) {
    Execute(m_pictures.Database(), "INSERT INTO metadata (filename, " + column + ") VALUES ('/lab/" + column +
                                       ".tif', 'Word of " + column + "')");
  }
  for (const std::string& column : columns) {
    const std::string name = CFolding()(column);
    EXPECT_THAT(FindLocations(Words({"word of " + name})), testing::Contains("/lab/" + name + ".tif")) << column;
  }
}

TEST_F(PictureSearchTest, CountsThePicturesThatAreKnown) {
  for (const int changes : {1000, 500, 1}) {
    m_pictures.Change(changes);
    SQLite::Database db = OpenForReading(m_pictures.Database());
    CPictureSearch search(db, true);
    search.Find(Words({"hela"}));
    EXPECT_EQ(search.CountKnown(), static_cast<std::int64_t>(m_pictures.Count()));
  }
}

TEST_F(PictureSearchTest, NothingOfWhatIsGoneStaysInTheSample) {
  m_pictures.Change(9000);
  Find(Words({"hela"}));
  EXPECT_GT(QueryInt(Index(), "SELECT count(*) FROM sample"), 0);
  Execute(m_pictures.Database(), "DELETE FROM cache; DELETE FROM metadata; DELETE FROM history");
  Find(Words({"hela"}));
  for (const char* table : {"sample", "doc", "picture"}) {
    EXPECT_EQ(QueryInt(Index(), "SELECT count(*) FROM " + std::string(table)), 0) << table;
  }
  EXPECT_EQ(QueryInt(Index(), "SELECT max(length(packed)) FROM fact"), 89);
}

TEST_F(PictureSearchTest, DamagedFactsMakeTheIndexAnew) {
  m_pictures.Change(600);
  for (const char* damage : {"x''", "x'00'", "substr(packed, 2)", "packed || x'00'", "zeroblob(81)"}) {
    ExpectKindsTheSame();
    Execute(Index(), "UPDATE fact SET packed = " + std::string(damage));
    ExpectTheSame(Kinds()[2]);
    Execute(Index(), "UPDATE fact SET packed = " + std::string(damage));
    ExpectTheSame(Kinds()[3]);
  }
}

TEST_F(PictureSearchTest, AnIndexOfTheVersionBeforeIsMadeAnew) {
  m_pictures.Change(600);
  ExpectKindsTheSame();
  Execute(Index(),
          "PRAGMA user_version = 2; DROP TABLE sample; DROP TABLE fact; CREATE TABLE fact (id INTEGER PRIMARY KEY, "
          "channels INTEGER, z INTEGER, t INTEGER, pixelSize REAL, size INTEGER, time REAL, objective INTEGER, user "
          "INTEGER, experiment INTEGER)");
  ExpectKindsTheSame();
}

TEST_F(PictureSearchTest, TwoThatUpdateAtOnceBothFindAll) {
  LeaveOldIndex();
  for (int round = 0; round < 5; ++round) {
    RestoreOldIndex();
    std::vector<pid_t> others;
    for (int i = 0; i < 2; ++i) {
      others.push_back(fork());
      if (others.back() == 0) _exit(Find(Kinds()[3]) == m_pictures.Find(Kinds()[3]) ? 0 : 1);
    }
    ExpectKindsTheSame();
    for (const pid_t other : others) {
      int status = -1;
      EXPECT_EQ(waitpid(other, &status, 0), other);
      EXPECT_EQ(status, 0);
    }
    ExpectKindsTheSame();
  }
}

void PictureSearchTest::SearchWith(CFaultyVfs::EFault fault, bool fromThenOn) {
  LeaveOldIndex();
  const SPictureQuery query = Kinds()[3];
  testing::internal::CaptureStderr();
  bool failed = true;
  for (long room = 0; failed; room += 1 + room / 10) {
    RestoreOldIndex();
    {
      CFaultyVfs vfs;
      vfs.Fail(fault, room, fromThenOn);
      try {
        EXPECT_TRUE(Find(query) == m_pictures.Find(query)) << room;
      } catch (const SQLite::Exception&) {
      } catch (const CHostError&) {
      }
      failed = vfs.HasFailed();
    }
    ExpectTheSame(query);
  }
  testing::internal::GetCapturedStderr();
}

TEST_F(PictureSearchTest, AFileThatFailsOnceNeverMakesAWrongAnswer) { SearchWith(CFaultyVfs::EFault::IoError, false); }

TEST_F(PictureSearchTest, ADiskThatIsFullNeverMakesAWrongAnswer) { SearchWith(CFaultyVfs::EFault::DiskFull, true); }

TEST_F(PictureSearchTest, KilledAtAnyMomentTheIndexIsWhole) {
  LeaveOldIndex();
  bool killed = true;
  for (long room = 0; killed; room += 1 + room / 10) {
    RestoreOldIndex();
    const pid_t child = fork();
    if (child == 0) {
      CFaultyVfs vfs;
      vfs.Fail(CFaultyVfs::EFault::Kill, room, false);
      Find(Kinds()[3]);
      _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    killed = WIFSIGNALED(status);
    ExpectKindsTheSame();
  }
}

}  // namespace
}  // namespace qvhost
