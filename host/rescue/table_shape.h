#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/rescue/record.h"

namespace qvhost {

// The tables of a thumbnail database, those first that cannot be made again.
enum class ETable { Experiments, History, Stored, Merged, Cache, Metadata };
constexpr std::size_t kTables = 6;
constexpr std::array<ETable, kTables> kAllTables = {ETable::Experiments, ETable::History, ETable::Stored,
                                                    ETable::Merged,      ETable::Cache,   ETable::Metadata};

const char* NameOf(ETable table) noexcept;
// The table of a name, without regard to case. False for other tables.
bool FindTable(std::string_view name, ETable* table);

// The columns, in the order of a row's values.
const std::vector<std::string>& ColumnsOf(ETable table);

// Where in a record the values of a row stand; -1: nowhere.
using CColumnOrder = std::vector<int>;

// The orders in which this program's versions have made the table.
const std::vector<CColumnOrder>& KnownOrders(ETable table);

// The order of a table that was made with this statement. Empty when it lacks a column, and is no table of ours.
CColumnOrder OrderOf(ETable table, const std::string& createStatement);

// Puts a record's values into a row's order. False when they are too few, or not of the kinds of the table's columns.
bool FitRow(ETable table, const CColumnOrder& order, const CRecord& record, std::int64_t rowid, CRecord* row);

}  // namespace qvhost
