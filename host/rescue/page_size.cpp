#include "host/rescue/page_size.h"

#include <algorithm>
#include <vector>

#include "host/rescue/page_log.h"
#include "host/rescue/tree_page.h"

namespace qvhost {
namespace {

constexpr std::size_t kLargestPage = 65536;
constexpr std::size_t kSmallestPage = 512;
constexpr std::size_t kUsualPage = 4096;
constexpr std::int64_t kMostSamples = 256;

// Cells are put in from a page's end on, so one of them ends there unless it was taken out.
bool EndsWithCell(CBytes usable, bool isFirst) {
  const CTreePage page(usable, isFirst);
  if (page.Kind() == EPageKind::None) return false;
  for (std::size_t i = 0; i < page.CellCount(); ++i) {
    const auto cell = page.Cell(i);
    if (cell && cell->end == usable.size()) return true;
  }
  return false;
}

std::size_t CountBytesOfPages(CBytes sample, bool isFileBegin, std::size_t pageSize, std::size_t reserved) {
  std::size_t bytes = 0;
  for (std::size_t at = 0; at + pageSize <= sample.size(); at += pageSize) {
    if (EndsWithCell(sample.subspan(at, pageSize - reserved), isFileBegin && at == 0)) bytes += pageSize;
  }
  return bytes;
}

}  // namespace

std::size_t FindPageSize(const CByteFile& file, std::size_t claimed, std::size_t reserved) {
  const std::size_t likely = IsPageSize(claimed) ? claimed : kUsualPage;
  constexpr auto kStep = static_cast<std::int64_t>(kLargestPage);
  const std::int64_t chunks = (file.Size() + kStep - 1) / kStep;
  const std::int64_t stride = std::max<std::int64_t>(1, chunks / kMostSamples);
  std::vector<std::pair<std::size_t, std::size_t>> counts;  // of bytes, for a page size
  for (std::size_t size = kSmallestPage; size <= kLargestPage; size *= 2) counts.emplace_back(size == likely, size);
  std::vector<std::uint8_t> buffer(kLargestPage);
  for (std::int64_t chunk = 0; chunk < chunks; chunk += stride) {
    const std::size_t got = file.Read(chunk * kStep, buffer);
    for (auto& [bytes, size] : counts) {
      bytes += CountBytesOfPages(CBytes(buffer).first(got), chunk == 0, size, reserved);
    }
  }
  return std::max_element(counts.begin(), counts.end(), [](const auto& a, const auto& b) { return a.first < b.first; })
      ->second;
}

}  // namespace qvhost
