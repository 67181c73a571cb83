#include "host/session/database_form.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>
#include <vector>

namespace qvhost {
namespace {

// A table as every version has made it; `history` had no userID at first, so that column is not asked for.
struct STableForm {
  std::string_view name;
  std::string_view columns;  // each with a blank behind it
};

constexpr std::array<STableForm, 5> kForms = {{
    {"cache", "filename lastWritten flags binData quality "},
    {"metadata",
     "filename lastWritten M_imageID M_type M_group M_sampleID M_author M_description M_capturing M_sampling "
     "M_location M_date M_conclusion M_info1 M_info2 M_optics M_width M_widthBytes M_height M_comp M_bpcInMemory "
     "M_bpcSignificant M_pixelType M_sequenceCount M_tileWidth M_tileHeight M_compression M_compressionParam "
     "M_calibration M_objective M_acqTime M_fileSize M_timeLoop M_zLoop M_multipointLoop M_lambdaLoop "},
    {"experiments", "experimentID M_acqTime liteVariant picturePlanes storedID hashCRC "},
    {"history", "filename M_acqTime experimentID "},
    {"stored", "storedID storedParentID filename flags "},
}};

// SQLite compares names without regard to the case of ASCII letters.
bool SameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](unsigned char left, unsigned char right) { return std::tolower(left) == std::tolower(right); });
}

std::vector<std::string> ColumnsOf(const SQLite::Database& db, const std::string& table) {
  SQLite::Statement rows(db, "SELECT name FROM pragma_table_info(?1)");
  rows.bind(1, table);
  std::vector<std::string> columns;
  while (rows.executeStep()) columns.push_back(rows.getColumn(0).getString());
  return columns;
}

// The first column of the form that the table lacks.
std::string_view FindMissingColumn(const STableForm& form, const std::vector<std::string>& present) {
  for (std::string_view left = form.columns; !left.empty(); left.remove_prefix(left.find(' ') + 1)) {
    const std::string_view wanted = left.substr(0, left.find(' '));
    const auto isWanted = [wanted](const std::string& column) { return SameName(column, wanted); };
    if (std::none_of(present.begin(), present.end(), isWanted)) return wanted;
  }
  return {};
}

}  // namespace

std::string_view ColumnsOfForm(std::string_view table) noexcept {
  const auto form = std::find_if(kForms.begin(), kForms.end(),
                                 [table](const STableForm& candidate) { return SameName(candidate.name, table); });
  return form == kForms.end() ? std::string_view() : form->columns;
}

std::string ColumnListOfForm(std::string_view table) {
  std::string list;
  for (std::string_view left = ColumnsOfForm(table); !left.empty(); left.remove_prefix(left.find(' ') + 1)) {
    list.append(list.empty() ? "" : ", ").append(left.substr(0, left.find(' ')));
  }
  return list;
}

std::string FindForeignForm(const SQLite::Database& db) {
  std::string other;
  std::size_t own = 0;
  SQLite::Statement tables(db, "SELECT name, type FROM sqlite_master WHERE type IN ('table', 'view')");
  while (tables.executeStep()) {
    const std::string name = tables.getColumn(0).getString(), type = tables.getColumn(1).getString();
    if (name.starts_with("sqlite_")) continue;
    const auto form = std::find_if(kForms.begin(), kForms.end(),
                                   [&name](const STableForm& candidate) { return SameName(candidate.name, name); });
    if (form == kForms.end()) {
      other = fmt::format("it has a {} '{}'", type, name);
      continue;
    }
    if (type != "table") return fmt::format("its {} is a view", name);
    const std::string_view missing = FindMissingColumn(*form, ColumnsOf(db, name));
    if (!missing.empty()) return fmt::format("its {} table has no column {}", name, missing);
    ++own;
  }
  return own == kForms.size() ? std::string() : other;
}

}  // namespace qvhost
