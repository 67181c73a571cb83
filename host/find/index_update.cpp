#include "host/find/index_update.h"

#include <vector>

#include "host/find/picture_writer.h"
#include "host/find/row_comparison.h"
#include "host/output/progress.h"
#include "host/session/interrupt.h"

namespace qvhost {

void UpdateSearchIndex(CSearchIndex& index, const CKnownRows& rows, const CFolding& folding, const std::string& stamp,
                       bool quiet) {
  if (!stamp.empty() && index.Note("stamp") == stamp) return;
  const CSearchIndex::CUpdateMemory memory(index);
  SQLite::Transaction transaction(index.Connection(), SQLite::TransactionBehavior::IMMEDIATE);
  CRowComparison comparison(index, rows);
  for (const EKnownTable table : kKnownTables) comparison.Compare(table);
  const std::vector<std::int64_t> changed = comparison.TakeChangedPictures();
  CPictureWriter writer(index, rows, folding);
  CProgress progress(static_cast<std::int64_t>(changed.size()), quiet);
  std::int64_t done = 0;
  for (const std::int64_t picture : changed) {
    CInterrupt::ThrowIfRequested(kIndexingInterrupted);
    writer.Write(picture);
    progress.Update(++done, "preparing the search");
  }
  progress.Finish();
  writer.Finish(changed.size());
  index.SetNote("stamp", stamp);
  transaction.commit();
}

}  // namespace qvhost
