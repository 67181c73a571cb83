#pragma once

#include <cstdint>
#include <vector>

#include "host/rescue/page_file.h"
#include "host/rescue/tree_page.h"

namespace qvhost {

// Puts records together that go on on further pages.
class CPayloadReader {
 public:
  // A page belongs to one record or tree: those that are used are added to `used`.
  CPayloadReader(const CPageFile& file, CPageSet& used) : m_file(file), m_used(used) {}

  // False when a part of the record is not to be found, or when it is larger than the service takes.
  bool Read(const SCell& cell, std::vector<std::uint8_t>* payload);
  // The record that was read last turned out to be none: its pages may belong to another one.
  void GiveBack();

 private:
  bool Append(std::uint32_t page, std::uint64_t size, std::vector<std::uint8_t>* payload);

  const CPageFile& m_file;
  CPageSet& m_used;
  std::vector<std::uint32_t> m_chain;  // of the record that is read
};

}  // namespace qvhost
