#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/samples/stack.h"

struct SOmeObjective {
  std::string model, immersion, correction;
  double magnification = 0, aperture = 0, workingDistance = 0;  // the last in micrometres
};

struct SOmeImage {
  std::string name, description, date;        // the date as in SMoment::Iso
  const SStack* stack = nullptr;              // borrowed; null for an RGB picture
  int width = 0, height = 0;                  // of an RGB picture
  double pixelSize = 0;                       // of an RGB picture, micrometres
  std::string stageLabel = {};                // empty: no stage position is known
  double stageX = 0, stageY = 0, stageZ = 0;  // micrometres
  int firstDirectory = 0;                     // where its planes begin in the file
};

struct SOmeDocument {
  std::uint64_t seed = 0;  // makes the UUID
  std::string firstName, lastName, institution, group;
  SOmeObjective objective;
  std::string microscope, detector;
  std::vector<SOmeImage> images;
};

// OME-XML of the schema 2016-06 (https://www.openmicroscopy.org/Schemas/OME/2016-06/ome.xsd), elements in the order of
// its sequences.
std::string MakeOmeXml(const SOmeDocument& document);
