#pragma once

#include <vector>

#include "tools/samples/plane.h"

// Light (dye) in a thin volume, kept in slabs from the cover glass (z = 0) to the top (z = 1).
class CVolume {
 public:
  CVolume(int width, int height, int slabs);

  int Width() const { return m_slabs.front().width; }
  int Height() const { return m_slabs.front().height; }
  // One slab, for scenes that look the same at every depth.
  SPlane& Slab(int index) { return m_slabs[static_cast<std::size_t>(index)]; }

  // Adds light at a point, shared between the two nearest slabs.
  void Add(float x, float y, float z, float amount);
  // Adds a round spot of that radius in pixels, soft at its border.
  void AddDisc(float x, float y, float z, float radius, float amount);
  // Adds light to one pixel, spread evenly between two depths: `density` times the part of each slab that is covered.
  void AddColumn(int x, int y, float bottom, float top, float density);

  // What the microscope sees when it is focused at `z`: slabs out of focus are blurred. `sharpness` is the deviation of
  // the blur in focus, `defocus` what a whole volume's distance adds, both in pixels.
  SPlane Focus(float z, float sharpness, float defocus) const;

 private:
  float SlabDepth(std::size_t index) const;

  std::vector<SPlane> m_slabs;
};

// A value that the part `fraction` of all values does not exceed.
float Percentile(const SPlane& plane, double fraction);
