#include "host/rescue/salvage.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "host/host_error.h"
#include "host/output/text.h"
#include "host/rescue/free_pages.h"
#include "host/rescue/row_check.h"
#include "host/rescue/tree_walk.h"
#include "host/session/interrupt.h"

namespace qvhost {
namespace {

constexpr std::uint32_t kSchemaRoot = 1;
constexpr std::size_t kSchemaColumns = 5;  // type, name, table, root, statement

bool IsSchemaRow(const CRecord& record) {
  const auto isWhole = [](const SRecordValue& value) { return value.isWhole; };
  return record.size() == kSchemaColumns && std::all_of(record.begin(), record.end(), isWhole) &&
         record[0].kind == EValueKind::Text && record[1].kind == EValueKind::Text &&
         record[2].kind == EValueKind::Text && record[3].kind == EValueKind::Integer;
}

}  // namespace

bool SSalvage::IsAll() const {
  return std::all_of(tables.begin(), tables.end(), [](const STableSalvage& table) { return table.IsAll(); });
}

bool SSalvage::IsNothing() const {
  return !IsAll() &&
         std::all_of(tables.begin(), tables.end(), [](const STableSalvage& table) { return table.read == 0; });
}

CSalvage::CSalvage(const CPageFile& file, IRowSink& sink, COnPages onPages)
    : m_file(file),
      m_sink(sink),
      m_onPages(std::move(onPages)),
      m_used(file.PageCount()),
      m_payloads(file, m_used),
      m_texts(FindTextEncoding(file)) {
  for (const ETable table : kAllTables) Of(table).orders = KnownOrders(table);
}

SSalvage CSalvage::Run() {
  ReadSchema();
  RequireOwn();
  for (const ETable table : kAllTables) ReadTree(table);
  if (std::any_of(kAllTables.begin(), kAllTables.end(), [this](ETable table) { return IsDamaged(table); })) {
    FindStrays();
    for (const ETable table : kAllTables) ReadStrays(table);
  }
  SSalvage salvage;
  for (const ETable table : kAllTables) {
    CountLost(table);
    salvage.tables[static_cast<std::size_t>(table)] = std::move(Of(table).result);
  }
  return salvage;
}

bool CSalvage::Decode(const SCell& cell, CRecord* record) {
  if (!m_payloads.Read(cell, &m_payload) || !DecodeRecord(m_payload, record)) return false;
  m_texts.ToUtf8(record);
  return true;
}

void CSalvage::ReadSchema() {
  bool isWhole = true;
  const std::uint32_t lost = WalkTree(m_file, kSchemaRoot, true, m_used, [&](const CTreePage& page) {
    for (std::size_t i = 0; i < page.CellCount(); ++i) {
      const auto cell = page.Cell(i);
      const bool isSound = cell && Decode(*cell, &m_record) && IsSchemaRow(m_record);
      if (isSound) TakeSchemaRow(m_record);
      isWhole = isWhole && isSound;
    }
    return true;
  });
  m_isSchemaWhole = isWhole && lost == 0;
}

void CSalvage::TakeSchemaRow(const CRecord& row) {
  const std::string_view type = row[0].bytes, owner = row[2].bytes;
  const auto root = static_cast<std::uint32_t>(row[3].integer);
  ETable table{};
  if (!FindTable(owner, &table)) {
    if (type == "table" && !owner.starts_with("sqlite_")) m_foreignTable = owner;
  } else if (type == "index" && row[1].bytes.starts_with("sqlite_autoindex_")) {
    Of(table).index = root;
  } else if (type == "table") {
    Of(table).root = root;
    const CColumnOrder order = OrderOf(table, std::string(row[4].bytes));
    if (!order.empty()) Of(table).orders.insert(Of(table).orders.begin(), order);
  }
}

// Damage hides tables, but adds none.
void CSalvage::RequireOwn() const {
  const bool isOwn = std::any_of(m_tables.begin(), m_tables.end(), [](const STable& table) { return table.root != 0; });
  if (isOwn || !m_isSchemaWhole) return;
  throw CHostError(m_foreignTable.empty() ? std::string("it has no tables")
                                          : fmt::format("it is another program's database (it has a table '{}')",
                                                        Printable(m_foreignTable)));
}

void CSalvage::ReadTree(ETable table) {
  STable& own = Of(table);
  if (own.root == 0) return;
  own.lostPages = WalkTree(m_file, own.root, true, m_used, [&](const CTreePage& page) {
    CInterrupt::ThrowIfRequested("interrupted; nothing was written");
    m_onPages(m_used.Count(), NameOf(table));
    return ReadPage(table, page);
  });
}

// False when nothing on it is a row of the table: it is another one's.
bool CSalvage::ReadPage(ETable table, const CTreePage& page) {
  std::int64_t misfits = 0;
  for (std::size_t i = 0; i < page.CellCount(); ++i) {
    const auto cell = page.Cell(i);
    const EFate fate = cell ? ReadCell(table, *cell) : EFate::Misfit;
    if (fate == EFate::LeftOut) ++Of(table).result.leftOut;
    if (fate == EFate::Read) ++Of(table).result.read;
    if (fate == EFate::Misfit) {
      ++misfits;
    } else {
      Of(table).rowids.push_back(cell->rowid);
    }
  }
  if (misfits > 0 && misfits == static_cast<std::int64_t>(page.CellCount())) return false;
  Of(table).misfits += misfits;
  return true;
}

CSalvage::EFate CSalvage::ReadCell(ETable table, const SCell& cell) {
  if (!Decode(cell, &m_record)) return EFate::Misfit;
  for (const CColumnOrder& order : Of(table).orders) {
    if (!FitRow(table, order, m_record, cell.rowid, &m_row)) continue;
    if (!IsSoundRow(table, m_row)) return EFate::LeftOut;
    m_sink.Put(table, m_row);
    return EFate::Read;
  }
  m_payloads.GiveBack();
  return EFate::Misfit;
}

// A name that is damaged hides a table, too. Only a merge makes the one of what was merged.
bool CSalvage::IsDamaged(ETable table) const {
  const STable& own = m_tables[static_cast<std::size_t>(table)];
  const bool isMissing = own.root == 0 && table != ETable::Merged;
  return !m_isSchemaWhole || isMissing || own.lostPages > 0 || own.misfits > 0;
}

void CSalvage::FindStrays() {
  for (const std::uint32_t page : FindFreePages(m_file)) m_used.Add(page);
  std::vector<std::uint8_t> bytes;
  for (std::uint32_t number = 2; number <= m_file.PageCount(); ++number) {
    CInterrupt::ThrowIfRequested("interrupted; nothing was written");
    if (m_used.Has(number)) continue;
    const CBytes read = m_file.Read(number);
    bytes.assign(read.begin(), read.end());
    const CTreePage page(bytes, false);
    if (page.Kind() != EPageKind::TableLeaf) continue;
    if (const auto table = TableOf(page)) Of(*table).strays.push_back(number);
  }
}

// By the first of its rows that can be read.
std::optional<ETable> CSalvage::TableOf(const CTreePage& page) {
  for (std::size_t i = 0; i < page.CellCount(); ++i) {
    const auto cell = page.Cell(i);
    if (!cell || !Decode(*cell, &m_record)) continue;
    m_payloads.GiveBack();
    for (const ETable table : kAllTables) {
      for (const CColumnOrder& order : Of(table).orders) {
        const auto last = *std::max_element(order.begin(), order.end());
        if (m_record.size() != static_cast<std::size_t>(last) + 1) continue;
        if (FitRow(table, order, m_record, cell->rowid, &m_row)) return table;
      }
    }
  }
  return std::nullopt;
}

void CSalvage::ReadStrays(ETable table) {
  std::vector<std::uint8_t> bytes;
  for (const std::uint32_t number : Of(table).strays) {
    CInterrupt::ThrowIfRequested("interrupted; nothing was written");
    if (!m_used.Add(number)) continue;
    const CBytes read = m_file.Read(number);
    bytes.assign(read.begin(), read.end());
    ReadPage(table, CTreePage(bytes, false));
    m_onPages(m_used.Count(), NameOf(table));
  }
}

void CSalvage::CountLost(ETable table) {
  STable& own = Of(table);
  if (!IsDamaged(table)) return;
  own.result.lost = own.misfits;
  own.result.isComplete = own.lostPages == 0 && m_isSchemaWhole && own.root != 0;
  if (own.index == 0) return;
  const std::uint32_t lostOfIndex = CompareWithIndex(own, table == ETable::History);
  own.result.isComplete = own.result.isComplete || lostOfIndex == 0;
}

// The index of a table's key names every row. Returns how many of its pages are not to be found.
std::uint32_t CSalvage::CompareWithIndex(STable& table, bool withKeys) {
  std::sort(table.rowids.begin(), table.rowids.end());
  std::int64_t missing = 0;
  std::uint32_t damaged = 0;
  const std::uint32_t lostPages = WalkTree(m_file, table.index, false, m_used, [&](const CTreePage& page) {
    for (std::size_t i = 0; i < page.CellCount(); ++i) {
      const auto cell = page.Cell(i);
      if (!cell || !Decode(*cell, &m_record) || m_record.size() < 2 || m_record.back().kind != EValueKind::Integer) {
        ++damaged;
      } else if (!std::binary_search(table.rowids.begin(), table.rowids.end(), m_record.back().integer)) {
        ++missing;
        if (withKeys) table.result.lostKeys.emplace_back(m_record.front().bytes);
      }
    }
    return true;
  });
  const bool isWhole = lostPages + damaged == 0;
  table.result.lost = isWhole ? missing : std::max(missing, table.result.lost);
  return lostPages + damaged;
}

}  // namespace qvhost
