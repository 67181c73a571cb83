#include "host/find/fact_store.h"

namespace qvhost {

CFactStore::CFactStore(SQLite::Database& db)
    : m_read(db, "SELECT packed FROM fact WHERE block = ?1"),
      m_write(db, "INSERT OR REPLACE INTO fact VALUES (?1, ?2)") {}

void CFactStore::Write(std::int64_t picture, const CFacts& facts) {
  Load(picture).Set(PlaceInBlock(picture), facts);
  m_isChanged = true;
}

void CFactStore::Flush() {
  if (!m_isChanged) return;
  const std::string packed = m_block.Pack();
  m_write.bind(1, *m_number);
  m_write.bindNoCopy(2, packed.data(), static_cast<int>(packed.size()));
  m_write.exec();
  m_write.reset();
  m_isChanged = false;
}

CFactBlock& CFactStore::Load(std::int64_t picture) {
  const std::int64_t number = BlockOf(picture);
  if (m_number == number) return m_block;
  Flush();
  m_number.reset();
  m_read.bind(1, number);
  m_block = m_read.executeStep() ? CFactBlock(m_read.getColumn(0).getString()) : CFactBlock();
  m_read.reset();
  m_number = number;
  return m_block;
}

}  // namespace qvhost
