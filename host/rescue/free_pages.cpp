#include "host/rescue/free_pages.h"

namespace qvhost {

std::vector<std::uint32_t> FindFreePages(const CPageFile& file) {
  CPageSet free(file.PageCount());
  std::vector<std::uint32_t> list;
  for (std::uint32_t trunk = file.Header().freeTrunk; trunk != 0;) {
    const CBytes page = file.Read(trunk);
    if (page.size() < 8 || !free.Add(trunk)) return {};
    list.push_back(trunk);
    const std::uint32_t count = ReadNumber(page, 4);
    if (count > page.size() / 4 - 2) return {};
    for (std::uint32_t i = 0; i < count; ++i) {
      const std::uint32_t leaf = ReadNumber(page, 8 + 4 * std::size_t{i});
      if (!free.Add(leaf)) return {};
      list.push_back(leaf);
    }
    trunk = ReadNumber(page, 0);
  }
  return list.size() == file.Header().freeCount ? list : std::vector<std::uint32_t>();
}

}  // namespace qvhost
