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

// One of some 2,000, spread over all: the upper bits of a golden-ratio hash.
bool IsInSample(std::int64_t picture) { return static_cast<std::uint64_t>(picture) * 0x9E3779B97F4A7C15u >> 53 == 0; }

}  // namespace

CPictureWriter::CPictureWriter(CSearchIndex& index, const CKnownRows& rows, const CFolding& folding)
    : m_index(index),
      m_db(index.Connection()),
      m_rows(rows),
      m_fold(folding),
      m_facts(m_db),
      m_picture(m_db,
                "SELECT location, coalesce(standardRow, highRow), textRow, historyRow FROM picture WHERE id = ?1"),
      m_oldText(m_db, "SELECT text FROM doc WHERE id = ?1"),
      m_removeWords(m_db, "INSERT INTO words (words, rowid, text) VALUES ('delete', ?1, ?2)"),
      m_addWords(m_db, "INSERT INTO words (rowid, text) VALUES (?1, ?2)"),
      m_writeText(m_db, "INSERT OR REPLACE INTO doc VALUES (?1, ?2)"),
      m_writeSample(m_db, "INSERT OR REPLACE INTO sample VALUES (?1, substr(?2, 1, 4000))") {}

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
  m_added += static_cast<int>(text.has_value()) - static_cast<int>(old.has_value());
  if (!text) return;
  for (SQLite::Statement* statement : {&m_writeText, &m_addWords, &m_writeSample}) {
    if (statement == &m_writeSample && !IsInSample(picture)) continue;
    SQLite::bind(*statement, picture, *text);
    statement->exec();
    statement->reset();
  }
}

void CPictureWriter::WriteFacts(std::int64_t picture, const std::optional<STextInfo>& info,
                                const std::optional<SKnownRecord>& record) {
  CFacts facts;
  if (info) {
    facts[EFact::Channels] = std::max(info->loops[3], 1u);
    facts[EFact::Z] = std::max(info->loops[1], 1u);
    facts[EFact::T] = std::max(info->loops[0], 1u);
    if (info->calibration > 0.0) facts[EFact::PixelSize] = FactOfReal(info->calibration);
    facts[EFact::Size] = info->fileSize;
    if (info->acquisitionTime > 0.0) facts[EFact::Time] = FactOfReal(info->acquisitionTime);
    facts[EFact::Objective] = NameID(CQvStringUtils::WtoUTF8(info->objective).Str());
  }
  if (record) {
    // It may have been given by hand.
    if (record->time > 0.0) facts[EFact::Time] = FactOfReal(record->time);
    facts[EFact::User] = NameID(record->user);
    if (record->experiment != 0) facts[EFact::Experiment] = record->experiment;
  }
  m_facts.Write(picture, facts);
}

std::int64_t CPictureWriter::NameID(const std::string& name) {
  if (name.empty()) return kUnknownFact;
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
  m_facts.Write(picture, CFacts());
  for (const char* table : {"doc", "sample", "picture"}) {
    m_db.exec(fmt::format("DELETE FROM {} WHERE id = {}", table, picture));
  }
}

void CPictureWriter::Finish(std::size_t written) {
  m_facts.Flush();
  const std::int64_t pictures = m_index.NumberNote("pictures") + m_added;
  m_index.SetNote("pictures", pictures);
  if (2 * static_cast<std::int64_t>(written) > pictures) m_db.exec("INSERT INTO words (words) VALUES ('optimize')");
}

}  // namespace qvhost
