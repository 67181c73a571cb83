#include "host/rescue/payload_reader.h"

#include <algorithm>

namespace qvhost {
namespace {

// A value has at most 64 MiB; the other columns of a row are short.
constexpr std::uint64_t kMostBytes = 65u << 20;
constexpr std::size_t kNextPageSize = 4;

}  // namespace

bool CPayloadReader::Append(std::uint32_t page, std::uint64_t size, std::vector<std::uint8_t>* payload) {
  while (payload->size() < size) {
    if (!m_used.Add(page)) return false;
    m_chain.push_back(page);
    const CBytes bytes = m_file.Read(page);
    if (bytes.size() < kNextPageSize) return false;
    const CBytes part = bytes.subspan(kNextPageSize);
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(part.size(), size - payload->size()));
    payload->insert(payload->end(), part.begin(), part.begin() + static_cast<std::ptrdiff_t>(wanted));
    page = ReadNumber(bytes, 0);
  }
  return page == 0;  // the last one says that it is
}

bool CPayloadReader::Read(const SCell& cell, std::vector<std::uint8_t>* payload) {
  m_chain.clear();
  if (cell.payloadSize > kMostBytes) return false;
  payload->assign(cell.local.begin(), cell.local.end());
  if (Append(cell.overflow, cell.payloadSize, payload)) return true;
  GiveBack();
  return false;
}

void CPayloadReader::GiveBack() {
  for (const std::uint32_t page : m_chain) m_used.Remove(page);
  m_chain.clear();
}

}  // namespace qvhost
