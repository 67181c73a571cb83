#include "host/find/picture_writer.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/output/text.h"

namespace qvhost {
namespace {

// Of one picture. More than this is no text that somebody wrote.
constexpr std::size_t kMostTextBytes = 256 * 1024;

std::string TextOf(const std::string& location, const std::optional<STextInfo>& info,
                   const std::optional<SKnownRecord>& record) {
  std::string text = EscapeInvalidUtf8(location);
  const auto add = [&text](const std::string& more) {
    if (!more.empty()) text.append("\n").append(more, 0, kMostTextBytes);
  };
  if (info) {
    for (const CQvStringW& each : info->AllTexts()) add(CQvStringUtils::WtoUTF8(each).Str());
  }
  if (record) add(record->user);
  if (text.size() > kMostTextBytes) text.resize(kMostTextBytes);
  return text;
}

void BindOrNull(SQLite::Statement& statement, int number, bool isKnown, double value) {
  if (isKnown) statement.bind(number, value);
}

}  // namespace

CPictureWriter::CPictureWriter(CSearchIndex& index, const CKnownRows& rows, const CFolding& folding)
    : m_index(index),
      m_db(index.Connection()),
      m_rows(rows),
      m_fold(folding),
      m_picture(m_db,
                "SELECT location, coalesce(standardRow, highRow), textRow, historyRow FROM picture WHERE id = ?1"),
      m_oldText(m_db, "SELECT text FROM doc WHERE id = ?1"),
      m_removeWords(m_db, "INSERT INTO words (words, rowid, text) VALUES ('delete', ?1, ?2)"),
      m_addWords(m_db, "INSERT INTO words (rowid, text) VALUES (?1, ?2)"),
      m_writeText(m_db, "INSERT OR REPLACE INTO doc VALUES (?1, ?2)"),
      m_writeFacts(m_db, "INSERT OR REPLACE INTO fact VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10)") {}

void CPictureWriter::Write(std::int64_t picture) {
  m_picture.bind(1, picture);
  if (!m_picture.executeStep()) return m_picture.reset();
  const std::string location = m_picture.getColumn(0).getString();
  const bool hasTexts = !m_picture.getColumn(2).isNull(), hasRecord = !m_picture.getColumn(3).isNull();
  const bool isKnown = !m_picture.getColumn(1).isNull() || hasTexts || hasRecord;
  const std::int64_t textRow = m_picture.getColumn(2).getInt64(), historyRow = m_picture.getColumn(3).getInt64();
  m_picture.reset();
  if (!isKnown) return Remove(picture);
  const auto info = hasTexts ? m_rows.ReadTexts(textRow) : std::nullopt;
  const auto record = hasRecord ? m_rows.ReadRecord(historyRow) : std::nullopt;
  // With the line end every two characters begin a trigram.
  WriteText(picture, m_fold(TextOf(location, info, record)) + '\n');
  WriteFacts(picture, info, record);
}

void CPictureWriter::WriteText(std::int64_t picture, const std::optional<std::string>& text) {
  std::optional<std::string> old;
  m_oldText.bind(1, picture);
  if (m_oldText.executeStep()) old = m_oldText.getColumn(0).getString();
  m_oldText.reset();
  if (old == text) return;
  if (old) {
    SQLite::bind(m_removeWords, picture, *old);
    m_removeWords.exec();
    m_removeWords.reset();
  }
  if (!text) return;
  for (SQLite::Statement* statement : {&m_writeText, &m_addWords}) {
    SQLite::bind(*statement, picture, *text);
    statement->exec();
    statement->reset();
  }
}

void CPictureWriter::WriteFacts(std::int64_t picture, const std::optional<STextInfo>& info,
                                const std::optional<SKnownRecord>& record) {
  SQLite::Statement& facts = m_writeFacts;
  facts.clearBindings();
  facts.bind(1, picture);
  if (info) {
    facts.bind(2, std::max(info->loops[3], 1u));
    facts.bind(3, std::max(info->loops[1], 1u));
    facts.bind(4, std::max(info->loops[0], 1u));
    BindOrNull(facts, 5, info->calibration > 0.0, info->calibration);
    facts.bind(6, info->fileSize);
    BindOrNull(facts, 7, info->acquisitionTime > 0.0, info->acquisitionTime);
    if (const auto id = NameID(CQvStringUtils::WtoUTF8(info->objective).Str())) facts.bind(8, *id);
  }
  if (record) {
    // It may have been given by hand.
    BindOrNull(facts, 7, record->time > 0.0, record->time);
    if (const auto id = NameID(record->user)) facts.bind(9, *id);
    if (record->experiment != 0) facts.bind(10, record->experiment);
  }
  facts.exec();
  facts.reset();
}

std::optional<std::int64_t> CPictureWriter::NameID(const std::string& name) {
  if (name.empty()) return std::nullopt;
  if (const auto known = m_names.find(name); known != m_names.end()) return known->second;
  SQLite::Statement add(m_db, "INSERT OR IGNORE INTO name (text, folded) VALUES (?1, ?2)");
  SQLite::bind(add, name, m_fold(name));
  add.exec();
  SQLite::Statement find(m_db, "SELECT id FROM name WHERE text = ?1");
  find.bind(1, name);
  find.executeStep();
  return m_names[name] = find.getColumn(0).getInt64();
}

void CPictureWriter::Remove(std::int64_t picture) {
  WriteText(picture, std::nullopt);
  for (const char* table : {"doc", "fact", "picture"}) {
    m_db.exec(fmt::format("DELETE FROM {} WHERE id = {}", table, picture));
  }
}

void CPictureWriter::Finish(std::size_t written) {
  const std::int64_t pictures = m_db.execAndGet("SELECT count(*) FROM fact").getInt64();
  m_index.SetNote("pictures", pictures);
  if (2 * static_cast<std::int64_t>(written) > pictures) m_db.exec("INSERT INTO words (words) VALUES ('optimize')");
}

}  // namespace qvhost
