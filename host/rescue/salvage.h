#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/rescue/page_file.h"
#include "host/rescue/payload_reader.h"
#include "host/rescue/table_shape.h"
#include "host/rescue/text_encoding.h"
#include "host/rescue/tree_page.h"

namespace qvhost {

// Takes the rows that are read. One that was read before may come again, in another version.
class IRowSink {
 public:
  virtual ~IRowSink() = default;
  // The values are valid during the call.
  virtual void Put(ETable table, const CRecord& row) = 0;
};

struct STableSalvage {
  std::int64_t read = 0;
  std::int64_t leftOut = 0;           // read, but not sound
  std::int64_t lost = 0;              // known to have been there
  bool isComplete = true;             // `lost` is all that is lost
  std::vector<std::string> lostKeys;  // of history: the files whose records are lost, as far as they are known

  bool IsAll() const noexcept { return isComplete && leftOut == 0 && lost == 0; }
};

struct SSalvage {
  std::array<STableSalvage, kTables> tables;

  const STableSalvage& Of(ETable table) const { return tables[static_cast<std::size_t>(table)]; }
  bool IsAll() const;
  bool IsNothing() const;
};

// Reads the rows of a thumbnail database page by page, without SQLite, which gives a table up at its first damaged
// page. Each table is read along its tree; when something is not to be found there, all pages that belong to no tree
// are looked at, and the rows on them known by their columns. What the damaged tables should hold is told by their
// indexes.
class CSalvage {
 public:
  using COnPages = std::function<void(std::uint32_t pages, const char* table)>;
  // `onPages` is told how many pages are done.
  CSalvage(const CPageFile& file, IRowSink& sink, COnPages onPages);

  // Once. Throws CHostError when it is another program's database, or no database at all.
  SSalvage Run();

 private:
  enum class EFate { Read, LeftOut, Misfit };
  struct STable {
    std::uint32_t root = 0, index = 0;  // pages; 0: not known
    std::vector<CColumnOrder> orders;   // that its rows may have
    std::uint32_t lostPages = 0;
    std::int64_t misfits = 0;
    std::vector<std::int64_t> rowids;   // of what was read
    std::vector<std::uint32_t> strays;  // pages with rows of it outside its tree
    STableSalvage result;
  };
  STable& Of(ETable table) { return m_tables[static_cast<std::size_t>(table)]; }

  void ReadSchema();
  void TakeSchemaRow(const CRecord& row);
  void RequireOwn() const;
  void ReadTree(ETable table);
  bool ReadPage(ETable table, const CTreePage& page);
  EFate ReadCell(ETable table, const SCell& cell);
  bool Decode(const SCell& cell, CRecord* record);
  bool IsDamaged(ETable table) const;
  void FindStrays();
  std::optional<ETable> TableOf(const CTreePage& page);
  void ReadStrays(ETable table);
  void CountLost(ETable table);
  std::uint32_t CompareWithIndex(STable& table, bool withKeys);

  const CPageFile& m_file;
  IRowSink& m_sink;
  const COnPages m_onPages;
  CPageSet m_used;
  CPayloadReader m_payloads;
  CTextReader m_texts;
  std::array<STable, kTables> m_tables;
  bool m_isSchemaWhole = false;
  std::string m_foreignTable;
  std::vector<std::uint8_t> m_payload;
  CRecord m_record, m_row;
};

}  // namespace qvhost
