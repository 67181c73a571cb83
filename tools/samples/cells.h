#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "tools/samples/noise.h"
#include "tools/samples/volume.h"

enum class ECellPhase { kInterphase, kProphase, kMetaphase, kAnaphase };
enum class ECellStain { kNuclei, kTubulin, kActin, kMitochondria };

// Adherent cells on a cover glass: where they lie, how far they spread, what is stained in them. Lengths in pixels.
class CCellScene {
 public:
  struct SOptions {
    int width = 512, height = 512;
    double pixelSize = 0.1625;  // micrometres
    double coverage = 1.0;      // 1: a closed layer
    double dividing = 0.06;     // part of the cells that are in mitosis
  };
  CCellScene(const SOptions& options, std::uint64_t seed);

  // Lets the cells crawl for that many hours and the ones in mitosis go on. Shapes and fibres stay recognisable.
  void Advance(double hours);
  // Adds what is stained to the volume.
  void Render(ECellStain stain, CVolume* volume) const;

 private:
  static constexpr int kDirections = 96;
  struct SCell {
    float x, y, angle, spread;
    float nucleusLong, nucleusShort, nucleusAngle;
    float velocityX, velocityY;
    float progress;  // of mitosis: 0 prophase to 1 anaphase; negative in interphase
    float strength;
    std::uint64_t seed;
    std::array<float, kDirections> reach;  // distance of the border in each direction
  };

  void Place(CRandom& random);
  SCell MakeCell(float x, float y, CRandom& random) const;
  void SpreadAll();
  void Spread(SCell* cell) const;
  float Reach(const SCell& cell, float angle) const;
  ECellPhase Phase(const SCell& cell) const;

  void RenderNucleus(const SCell& cell, CVolume* volume) const;
  void RenderChromosomes(const SCell& cell, CVolume* volume) const;
  void RenderTubulin(const SCell& cell, CVolume* volume) const;
  void RenderSpindle(const SCell& cell, CVolume* volume) const;
  void RenderActin(const SCell& cell, CVolume* volume) const;
  void RenderMitochondria(const SCell& cell, CVolume* volume) const;

  SOptions m_options;
  float m_pixelsPerMicron;
  CNoise m_noise;
  std::vector<SCell> m_cells;
};
