#include "tools/samples/cells.h"

#include "tools/samples/angle.h"

namespace {

constexpr float kMeanSpread = 19;  // micrometres from the middle of a spread cell to its border

CNoise MakeNoise(std::uint64_t seed) {
  CRandom random(seed, "cell texture");
  return CNoise(random);
}

}  // namespace

CCellScene::CCellScene(const SOptions& options, std::uint64_t seed)
    : m_options(options), m_pixelsPerMicron(static_cast<float>(1 / options.pixelSize)), m_noise(MakeNoise(seed)) {
  CRandom random(seed, "cells");
  Place(random);
  SpreadAll();
}

// Throws darts and keeps those with room around them, also a little outside the picture: cells are cut by its border.
void CCellScene::Place(CRandom& random) {
  const float room = 1.35f * kMeanSpread * m_pixelsPerMicron;
  const float margin = room;
  const float width = static_cast<float>(m_options.width) + 2 * margin;
  const float height = static_cast<float>(m_options.height) + 2 * margin;
  const auto wanted = static_cast<std::size_t>(m_options.coverage * width * height / (room * room * 1.05f)) + 1;
  for (std::size_t attempt = 0; attempt < 60 * wanted && m_cells.size() < wanted; ++attempt) {
    const auto x = static_cast<float>(random.Between(-margin, static_cast<float>(m_options.width) + margin));
    const auto y = static_cast<float>(random.Between(-margin, static_cast<float>(m_options.height) + margin));
    const bool free = std::none_of(m_cells.begin(), m_cells.end(),
                                   [&](const SCell& cell) { return std::hypot(cell.x - x, cell.y - y) < room; });
    if (free) m_cells.push_back(MakeCell(x, y, random));
  }
}

CCellScene::SCell CCellScene::MakeCell(float x, float y, CRandom& random) const {
  SCell cell{};
  cell.x = x;
  cell.y = y;
  // Neighbours tend to lie in the same direction.
  cell.angle = 2.2f * m_noise.At(x / (70 * m_pixelsPerMicron), y / (70 * m_pixelsPerMicron)) + 0.35f * random.Normal();
  cell.spread = kMeanSpread * m_pixelsPerMicron * static_cast<float>(random.Between(0.95, 1.45));
  cell.nucleusLong = m_pixelsPerMicron * static_cast<float>(random.Between(8.0, 10.5));
  cell.nucleusShort = m_pixelsPerMicron * static_cast<float>(random.Between(6.0, 7.5));
  cell.nucleusAngle = cell.angle + 0.3f * random.Normal();
  cell.velocityX = 5 * m_pixelsPerMicron * random.Normal();
  cell.velocityY = 5 * m_pixelsPerMicron * random.Normal();
  cell.progress = random.Chance(m_options.dividing) ? static_cast<float>(random.Unit()) : -1;
  cell.strength = static_cast<float>(random.Between(0.7, 1.2));
  cell.seed = (std::uint64_t{random.Next()} << 32) | random.Next();
  return cell;
}

ECellPhase CCellScene::Phase(const SCell& cell) const {
  if (cell.progress < 0) return ECellPhase::kInterphase;
  if (cell.progress < 0.3f) return ECellPhase::kProphase;
  return cell.progress < 0.7f ? ECellPhase::kMetaphase : ECellPhase::kAnaphase;
}

void CCellScene::SpreadAll() {
  for (SCell& cell : m_cells) Spread(&cell);
}

// A cell reaches as far as it likes, but not beyond the middle of the way to a neighbour; dividing cells are round.
void CCellScene::Spread(SCell* cell) const {
  const bool round = cell->progress >= 0.2f;
  const float size = round ? 10.5f * m_pixelsPerMicron : cell->spread;
  const auto shift = static_cast<float>(cell->seed & 255);
  std::vector<const SCell*> neighbours;
  for (const SCell& other : m_cells) {
    if (&other != cell && std::hypot(other.x - cell->x, other.y - cell->y) < 4 * size) neighbours.push_back(&other);
  }
  for (int i = 0; i < kDirections; ++i) {
    const float angle = 2 * kPi * static_cast<float>(i) / kDirections, cosA = std::cos(angle), sinA = std::sin(angle);
    float reach = size;
    if (!round) {
      reach *= 1 + 0.28f * std::cos(2 * (angle - cell->angle));
      reach *= 1 + 0.55f * m_noise.Fractal(shift + 1.7f * cosA, shift * 0.7f + 1.7f * sinA, 2);
    }
    for (const SCell* other : neighbours) {
      const float dx = other->x - cell->x, dy = other->y - cell->y, along = dx * cosA + dy * sinA;
      if (along > 0.05f * std::hypot(dx, dy)) reach = std::min(reach, 0.51f * (dx * dx + dy * dy) / along);
    }
    cell->reach[static_cast<std::size_t>(i)] = std::max(reach, 1.15f * cell->nucleusShort);
  }
  for (int pass = 0; pass < 3; ++pass) {
    const auto before = cell->reach;
    for (std::size_t i = 0; i < kDirections; ++i) {
      const float sides = before[(i + 1) % kDirections] + before[(i + kDirections - 1) % kDirections];
      cell->reach[i] = 0.5f * before[i] + 0.25f * sides;
    }
  }
}

float CCellScene::Reach(const SCell& cell, float angle) const {
  const float turn = angle / (2 * kPi);
  const float position = (turn - std::floor(turn)) * kDirections;
  const auto lower = static_cast<std::size_t>(position) % kDirections;
  return Mix(cell.reach[lower], cell.reach[(lower + 1) % kDirections], position - std::floor(position));
}

void CCellScene::Advance(double hours) {
  const auto time = static_cast<float>(hours);
  for (SCell& cell : m_cells) {
    cell.x += cell.velocityX * time;
    cell.y += cell.velocityY * time;
    // Mitosis takes about an hour.
    if (cell.progress >= 0) cell.progress = std::min(1.0f, cell.progress + time);
  }
  SpreadAll();
}

void CCellScene::Render(ECellStain stain, CVolume* volume) const {
  for (const SCell& cell : m_cells) {
    const bool dividing = Phase(cell) == ECellPhase::kMetaphase || Phase(cell) == ECellPhase::kAnaphase;
    switch (stain) {
      case ECellStain::kNuclei:
        dividing ? RenderChromosomes(cell, volume) : RenderNucleus(cell, volume);
        break;
      case ECellStain::kTubulin:
        dividing ? RenderSpindle(cell, volume) : RenderTubulin(cell, volume);
        break;
      case ECellStain::kActin:
        RenderActin(cell, volume);
        break;
      case ECellStain::kMitochondria:
        RenderMitochondria(cell, volume);
        break;
    }
  }
}
