#include "host/find/fact_filter.h"

#include <algorithm>
#include <cmath>

#include "host/session/interrupt.h"

namespace qvhost {
namespace {

constexpr std::int64_t kLeastFact = kUnknownFact + 1, kMostFact = std::numeric_limits<std::int64_t>::max();

std::int64_t ToFact(double value) {
  constexpr double kEnd = 9223372036854775808.0;
  if (value >= kEnd) return kMostFact;
  return value <= -kEnd ? kLeastFact : static_cast<std::int64_t>(value);
}

std::string_view BlobIn(const SQLite::Statement& row, int number) {
  const SQLite::Column column = row.getColumn(number);
  return {static_cast<const char*>(column.getBlob()), static_cast<std::size_t>(column.getBytes())};
}

}  // namespace

CFactFilter::CFactFilter(SQLite::Database& db, const CFolding& folding, const SPictureQuery& query)
    : m_db(db), m_read(db, "SELECT packed FROM fact WHERE block = ?1") {
  AddCounts(EFact::Channels, query.channels);
  AddCounts(EFact::Z, query.z);
  AddCounts(EFact::T, query.t);
  AddReals(EFact::PixelSize, query.pixelSize);
  AddCounts(EFact::Size, query.size);
  SFactRange time = query.time;
  if (time.most) *time.most = std::nextafter(*time.most, -1.0);
  AddReals(EFact::Time, time);
  if (query.experiment) m_conditions.push_back({EFact::Experiment, *query.experiment, *query.experiment, {}});
  if (!query.objective.empty()) {
    AddNames(EFact::Objective, "SELECT id FROM name WHERE instr(folded, ?1) > 0 ORDER BY id", folding(query.objective));
  }
  if (!query.user.empty()) {
    AddNames(EFact::User, "SELECT id FROM name WHERE folded = ?1 ORDER BY id", folding(query.user));
  }
}

bool CFactFilter::Meets(std::int64_t picture) {
  const std::int64_t number = BlockOf(picture);
  auto seen = m_seen.find(number);
  if (seen == m_seen.end()) {
    m_read.bind(1, number);
    seen = m_seen.emplace(number, m_read.executeStep() ? Look(BlobIn(m_read, 0)) : CPlaces()).first;
    m_read.reset();
  }
  return seen->second[PlaceInBlock(picture)];
}

void CFactFilter::ForEach(const std::function<void(std::int64_t picture)>& take) {
  SQLite::Statement rows(m_db, "SELECT block, packed FROM fact ORDER BY block");
  while (rows.executeStep()) {
    CInterrupt::ThrowIfRequested("interrupted");
    const CPlaces places = Look(BlobIn(rows, 1));
    const std::int64_t first = rows.getColumn(0).getInt64() * static_cast<std::int64_t>(kPicturesOfBlock);
    for (std::size_t place = 0; places.any() && place < kPicturesOfBlock; ++place) {
      if (places[place]) take(first + static_cast<std::int64_t>(place));
    }
  }
}

void CFactFilter::AddCounts(EFact fact, const SFactRange& range) {
  if (range.IsOpen()) return;
  m_conditions.push_back({fact,
                          range.least ? ToFact(std::ceil(*range.least)) : kLeastFact,
                          range.most ? ToFact(std::floor(*range.most)) : kMostFact,
                          {}});
}

void CFactFilter::AddReals(EFact fact, const SFactRange& range) {
  if (range.IsOpen()) return;
  const auto toFact = [](double value) { return value < 0.0 ? kLeastFact : FactOfReal(std::abs(value)); };
  m_conditions.push_back(
      {fact, range.least ? toFact(*range.least) : kLeastFact, range.most ? toFact(*range.most) : kMostFact, {}});
}

void CFactFilter::AddNames(EFact fact, const char* sql, const std::string& text) {
  SQLite::Statement rows(m_db, sql);
  rows.bind(1, text);
  SCondition condition = {fact, kMostFact, kLeastFact, {}};
  while (rows.executeStep()) condition.values.push_back(rows.getColumn(0).getInt64());
  if (!condition.values.empty()) {
    condition.least = condition.values.front();
    condition.most = condition.values.back();
  }
  m_conditions.push_back(std::move(condition));
}

CFactFilter::CPlaces CFactFilter::Look(std::string_view packed) const {
  std::array<bool, kPicturesOfBlock> met;
  met.fill(true);
  for (const SCondition& condition : m_conditions) {
    const CFactColumn column = UnpackFact(packed, condition.fact);
    for (std::size_t place = 0; place < kPicturesOfBlock; ++place) {
      met[place] &= column[place] >= condition.least && column[place] <= condition.most;
    }
    if (std::none_of(met.begin(), met.end(), [](bool isMet) { return isMet; })) return {};
    if (condition.values.empty()) continue;
    for (std::size_t place = 0; place < kPicturesOfBlock; ++place) {
      met[place] = met[place] && std::binary_search(condition.values.begin(), condition.values.end(), column[place]);
    }
  }
  CPlaces places;
  for (std::size_t place = 0; place < kPicturesOfBlock; ++place) places[place] = met[place];
  return places;
}

}  // namespace qvhost
