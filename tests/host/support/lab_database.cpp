#include "tests/host/support/lab_database.h"

#include "tests/support/experiments.h"
#include "tests/support/sql.h"

using namespace qvtest;

namespace {

constexpr const char* kTableSql =
    "CREATE TABLE cache (filename TEXT, lastWritten REAL, flags INTEGER, binData BLOB, quality INTEGER, PRIMARY KEY "
    "(filename, flags));"
    "CREATE TABLE metadata (filename TEXT, lastWritten INTEGER, M_imageID TEXT, M_type TEXT, M_group TEXT, M_sampleID "
    "TEXT, M_author TEXT, M_description TEXT, M_capturing TEXT, M_sampling TEXT, M_location TEXT, M_date TEXT, "
    "M_conclusion TEXT, M_info1 TEXT, M_info2 TEXT, M_optics TEXT, M_width INTEGER, M_widthBytes INTEGER, M_height "
    "INTEGER, M_comp INTEGER, M_bpcInMemory INTEGER, M_bpcSignificant INTEGER, M_pixelType INTEGER, M_sequenceCount "
    "INTEGER, M_tileWidth INTEGER, M_tileHeight INTEGER, M_compression INTEGER, M_compressionParam REAL, M_calibration "
    "REAL, M_objective TEXT, M_acqTime REAL, M_fileSize INTEGER, M_timeLoop INTEGER, M_zLoop INTEGER, M_multipointLoop "
    "INTEGER, M_lambdaLoop INTEGER, PRIMARY KEY (filename));"
    "CREATE TABLE experiments (experimentID INTEGER PRIMARY KEY, M_acqTime REAL, liteVariant BLOB, picturePlanes BLOB, "
    "storedID INTEGER, hashCRC INTEGER);"
    "CREATE TABLE history (filename TEXT, userID TEXT, M_acqTime REAL, experimentID INTEGER, PRIMARY KEY (filename));"
    "CREATE TABLE stored (storedID INTEGER, storedParentID INTEGER, filename TEXT, flags INTEGER, PRIMARY KEY "
    "(storedID));";

std::string FileName(int number) { return "/data/lab/field " + std::to_string(1000 + number) + ".tif"; }

void AddExperiment(const CSql& db, int number) {
  const CExperiment experiment = NewExperiment(kQvLoopTime, static_cast<std::uint32_t>(10 + number), 0.5);
  CSqlStatement insert(db, "INSERT INTO experiments VALUES (?1, ?2, ?3, x'', -1, ?4)");
  insert.Int(1, number + 1).Double(2, 2460000.25 + number).Blob(3, Serialize(experiment.get()));
  insert.Int(4, static_cast<std::int32_t>(CQvExperimentAPI::GetExperimentHash(experiment.get()))).Done();
}

void AddThumbnail(const CSql& db, int number) {
  CSqlStatement insert(db, "INSERT INTO cache VALUES (?1, ?2, 0, ?3, ?4)");
  const auto size = static_cast<std::size_t>(200 + number % 7 * 900);
  insert.Text(1, FileName(number)).Double(2, 2460000.5 + number).Blob(3, FakeJpeg(size, number)).Int(4, number % 2);
  insert.Done();
}

}  // namespace

std::vector<std::uint8_t> FakeJpeg(std::size_t size, int number) {
  std::vector<std::uint8_t> bytes = {0xFF, 0xD8, 0xFF, 0xE0, 0, 4, 'x', 'y', 0xFF, 0xDA, 0, 2};
  for (std::size_t i = 0; i < size; ++i)
    bytes.push_back(static_cast<std::uint8_t>((i * 31 + 7 * unsigned(number)) % 251));
  bytes.insert(bytes.end(), {0xFF, 0xD9});
  return bytes;
}

void WriteLabDatabase(const std::string& path, const SLabShape& shape) {
  CSql db(path);
  db.Run("PRAGMA page_size = " + std::to_string(shape.pageSize) + "; PRAGMA encoding = '" + shape.encoding +
         "'; PRAGMA journal_mode = DELETE; BEGIN;" + kTableSql);
  for (int i = 0; i < shape.experiments; ++i) AddExperiment(db, i);
  for (int i = 0; i < shape.history; ++i) {
    CSqlStatement insert(db, "INSERT INTO history VALUES (?1, ?2, ?3, ?4)");
    insert.Text(1, FileName(i)).Text(2, i % 3 ? "anna" : "bert").Double(3, 2460000.75 + i);
    insert.Int(4, 1 + i % shape.experiments).Done();
  }
  for (int i = 0; i < shape.stored; ++i) {
    CSqlStatement insert(db, "INSERT INTO stored VALUES (?1, ?2, ?3, ?4)");
    insert.Int(1, i + 1).Int(2, i / 4).Text(3, "item " + std::to_string(i)).Int(4, i % 5).Done();
  }
  for (int i = 0; i < shape.thumbnails; ++i) AddThumbnail(db, i);
  for (int i = 0; i < shape.texts; ++i) {
    CSqlStatement insert(
        db, "INSERT INTO metadata (filename, lastWritten, M_description, M_width) VALUES (?1, ?2, ?3, 64)");
    insert.Text(1, FileName(i)).Int(2, 77777 + i).Text(3, "what the file says of itself").Done();
  }
  db.Run("COMMIT");
}

std::vector<SLabPage> PagesOfDatabase(const std::string& path) {
  CSql db(path);
  std::vector<SLabPage> pages(static_cast<std::size_t>(db.Number("PRAGMA page_count")) + 1);
  CSqlStatement rows(db,
                     "SELECT pageno, name, pagetype, ncell, name NOT LIKE 'sqlite_autoindex%' FROM dbstat ORDER BY 1");
  while (rows.Row()) {
    SLabPage& page = pages.at(static_cast<std::size_t>(std::stoul(rows.TextAt(0))));
    page = {rows.TextAt(1), rows.TextAt(2), 0};
    const bool isTable = rows.TextAt(4) == "1" && page.table != "sqlite_schema";
    if (isTable && page.kind == "leaf") page.rows = std::stol(rows.TextAt(3));
    if (isTable && page.kind == "overflow") page.rows = 1;
  }
  return pages;
}
