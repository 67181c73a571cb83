#include "host/commands/experiment_text.h"

#include <fmt/format.h>

#include <cstdio>

#include "host/output/text.h"

namespace qvhost {
namespace {

struct SLoopName {
  const char* label;
  const char* abbreviation;
  const char* key;
};

SLoopName NameOf(std::uint32_t type) {
  switch (type) {
    case kQvLoopTime:
      return {"Time", "T", "time"};
    case kQvLoopXYPosition:
      return {"Stage positions", "XY", "positions"};
    case kQvLoopXYMosaic:
      return {"Mosaic", "mosaic", "mosaic"};
    case kQvLoopZ:
      return {"Z stack", "Z", "z"};
    case kQvLoopPolar:
      return {"Rotation", "rotation", "rotation"};
    case kQvLoopLambda:
      return {"Channels", "channels", "channels"};
    case kQvLoopTimePhases:
      return {"Time phases", "T", "timePhases"};
    case kQvLoopTimeManual:
      return {"Time, by hand", "T", "timeManual"};
    case kQvLoopZManual:
      return {"Z, by hand", "Z", "zManual"};
    default:
      return {"Loop", "loop", "other"};
  }
}

bool IsTimeLoop(std::uint32_t type) {
  return type == kQvLoopTime || type == kQvLoopTimePhases || type == kQvLoopTimeManual;
}

bool IsZLoop(std::uint32_t type) { return type == kQvLoopZ || type == kQvLoopZManual; }

std::string StepText(const SQvExperiment& level) {
  if (level.step == 0.0) return {};
  if (IsTimeLoop(level.loopType)) return ", every " + FormatNumber(level.step) + " s";
  if (IsZLoop(level.loopType)) return ", " + FormatNumber(level.step) + " µm apart";
  return ", step " + FormatNumber(level.step);
}

std::string WavelengthText(double excitation, double emission) {
  std::string text;
  if (excitation > 0.0) text += ", excitation " + FormatNumber(excitation) + " nm";
  if (emission > 0.0) text += ", emission " + FormatNumber(emission) + " nm";
  return text;
}

void PrintPositions(const std::vector<SQvStagePosition>& positions, const std::string& indent) {
  for (std::size_t i = 0; i < positions.size() && i < kMaxListed; ++i) {
    const SQvStagePosition& position = positions[i];
    std::printf("%s%s  (%s, %s, %s) µm\n", indent.c_str(),
                position.name.IsEmpty() ? fmt::format("{}", i + 1).c_str() : Printable(position.name).c_str(),
                FormatNumber(position.x).c_str(), FormatNumber(position.y).c_str(), FormatNumber(position.z).c_str());
  }
  if (positions.size() > kMaxListed) {
    std::printf("%s%s\n", indent.c_str(), FormatOmitted(positions.size(), "positions").c_str());
  }
}

void PrintLevel(const SQvExperiment& level, std::size_t depth) {
  const std::string indent(2 * depth, ' ');
  std::printf("%s%s: %u%s\n", indent.c_str(), NameOf(level.loopType).label, CQvExperimentAPI::GetLoopSize(&level),
              StepText(level).c_str());
  PrintPositions(level.positions, indent + "    ");
  for (const SQvExperimentChannel& channel : level.channels) {
    std::printf("%s    %s  #%06X%s%s\n", indent.c_str(), Printable(channel.name).c_str(), channel.color & 0xFFFFFFu,
                WavelengthText(channel.excitationWavelength, channel.emissionWavelength).c_str(),
                channel.exposureTime > 0.0 ? (", exposure " + FormatNumber(channel.exposureTime) + " ms").c_str() : "");
  }
  for (const SQvExperiment* below : level.subExperiments) {
    if (below) PrintLevel(*below, depth + 1);
  }
}

CJson ColorJson(std::uint32_t color) { return fmt::format("#{:06X}", color & 0xFFFFFFu); }

CJson LevelJson(const SQvExperiment& level) {
  CJson json = {{"loop", NameOf(level.loopType).key},
                {"loopType", level.loopType},
                {"size", CQvExperimentAPI::GetLoopSize(&level)}};
  if (level.step != 0.0) json["step"] = level.step;
  for (const SQvStagePosition& p : level.positions) {
    json["positions"].push_back({{"name", JsonText(p.name)}, {"x", p.x}, {"y", p.y}, {"z", p.z}});
  }
  for (const SQvExperimentChannel& c : level.channels) {
    json["channels"].push_back({{"name", JsonText(c.name)},
                                {"color", ColorJson(c.color)},
                                {"excitationWavelength", c.excitationWavelength},
                                {"emissionWavelength", c.emissionWavelength},
                                {"exposureTime", c.exposureTime}});
  }
  for (const SQvExperiment* below : level.subExperiments) {
    if (below) json["inner"].push_back(LevelJson(*below));
  }
  return json;
}

}  // namespace

std::string SummarizeLoops(const SQvExperiment& experiment) {
  std::string text;
  for (const SQvExperiment* level = &experiment; level;
       level = level->subExperiments.empty() ? nullptr : level->subExperiments.front()) {
    text += fmt::format("{}{} {}", text.empty() ? "" : " x ", NameOf(level->loopType).abbreviation,
                        CQvExperimentAPI::GetLoopSize(level));
  }
  return text;
}

void PrintExperiment(const SQvExperiment& experiment, const SQvPicturePlanes& planes) {
  PrintLevel(experiment, 1);
  for (const SQvPicturePlane& plane : planes.planes) {
    std::printf("  Plane %s  #%06X%s\n", Printable(plane.name).c_str(), plane.color & 0xFFFFFFu,
                WavelengthText(plane.excitationWavelength, plane.emissionWavelength).c_str());
  }
}

CJson ExperimentJson(const SQvExperiment& experiment, const SQvPicturePlanes& planes) {
  CJson json = LevelJson(experiment);
  json["planes"] = CJson::array();
  for (const SQvPicturePlane& plane : planes.planes) {
    json["planes"].push_back({{"name", JsonText(plane.name)},
                              {"color", ColorJson(plane.color)},
                              {"excitationWavelength", plane.excitationWavelength},
                              {"emissionWavelength", plane.emissionWavelength},
                              {"modality", plane.modality},
                              {"components", plane.components}});
  }
  return json;
}

}  // namespace qvhost
