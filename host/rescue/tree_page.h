#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "host/rescue/big_endian.h"

namespace qvhost {

// A page of a b-tree, as SQLite's file format has it. Every number in it may be damaged.

enum class EPageKind { None, IndexInterior = 2, TableInterior = 5, IndexLeaf = 10, TableLeaf = 13 };

struct SCell {
  std::int64_t rowid = 0;         // of tables
  std::uint32_t child = 0;        // of interior pages: what lies left of it
  std::uint64_t payloadSize = 0;  // of its record
  CBytes local;                   // the part of the record that is on the page
  std::uint32_t overflow = 0;     // the page with the next part; 0: all is here
  std::size_t end = 0;            // offset behind it on the page
};

class CTreePage {
 public:
  // `usable`: the page without the bytes that are reserved at its end; it has to outlive the object. The first page of
  // a file begins with the file's header.
  CTreePage(CBytes usable, bool isFirst);

  // None for what is no page of a tree.
  EPageKind Kind() const noexcept { return m_kind; }
  bool IsTable() const noexcept { return m_kind == EPageKind::TableLeaf || m_kind == EPageKind::TableInterior; }
  bool IsInterior() const noexcept { return m_kind == EPageKind::TableInterior || m_kind == EPageKind::IndexInterior; }
  std::size_t CellCount() const noexcept { return m_cellCount; }
  // Nothing for a damaged one.
  std::optional<SCell> Cell(std::size_t index) const;
  // Of interior pages: what lies right of all cells.
  std::uint32_t RightChild() const;

 private:
  bool TakePayload(CBytes* rest, SCell* cell) const;

  CBytes m_bytes;
  std::size_t m_header = 0;    // offset
  std::size_t m_pointers = 0;  // offset of the cells' offsets
  EPageKind m_kind = EPageKind::None;
  std::size_t m_cellCount = 0;
};

}  // namespace qvhost
