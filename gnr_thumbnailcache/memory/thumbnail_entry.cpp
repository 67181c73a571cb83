#include "gnr_thumbnailcache/memory/thumbnail_entry.h"

#include "gnr_thumbnailcache/base/diagnostics.h"

void SThumbnailEntry::AddReferrer(std::uint64_t referrer) {
  if (!m_RefSet.Insert(referrer)) ReportAssertion({L"m_RefSet.find(src) != m_RefSet.end()", __LINE__});
}

void SThumbnailEntry::RemoveReferrer(std::uint64_t referrer) {
  if (!m_RefSet.Erase(referrer)) ReportAssertion({L"m_RefSet.find(src) == m_RefSet.end()", __LINE__});
}
