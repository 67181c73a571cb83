#include <new>
#include <stdexcept>
#include <utility>

#include "metadata/qvexperiment.h"
#include "platform/metadata/lite_level.h"
#include "system/qvstatus.h"

// The layout of an experiment in the serialisation (names are part of the stored format and never change meaning):
//
//   X level   holds all the rest, so that no cut of the bytes leaves a sound, smaller tree
//   V uint    layout version, once, before the top level's fields
//   T uint    loop type         N uint    loop size         S double  step
//   P doubles x, y, z of every stage position; left out when there are none
//   n level   one string "" per position; left out when no position has a name
//   C level   one per channel: n string name, k uint colour, w doubles excitation, emission, exposure
//   E level   one per sub-experiment, holding T, N, S, ...; an empty level is a null entry
//
// Numbers of positions, channels and sub-experiments are not written: they follow from the bytes that are there, so
// that no count can lie.

namespace {

constexpr std::uint64_t kLayoutVersion = 1;
constexpr unsigned kMaxDepth = 32;

bool IsWithinDepth(const SQvExperiment& experiment, unsigned depth) {
  if (depth > kMaxDepth) return false;
  for (const SQvExperiment* child : experiment.subExperiments) {
    if (child != nullptr && !IsWithinDepth(*child, depth + 1)) return false;
  }
  return true;
}

bool SavePositions(CQvLiteVariantW& writer, const std::vector<SQvStagePosition>& positions) {
  if (positions.empty()) return true;
  std::vector<double> values;
  values.reserve(positions.size() * 3);
  bool named = false;
  for (const SQvStagePosition& position : positions) {
    values.insert(values.end(), {position.x, position.y, position.z});
    named = named || !position.name.IsEmpty();
  }
  if (writer.WriteDoubles(L"P", values.data(), values.size()) != 0) return false;
  if (!named) return true;
  const CLiteLevelW level(writer, L"n");
  if (!level.IsOpen()) return false;
  for (const SQvStagePosition& position : positions) {
    if (writer.WriteString(L"", position.name) != 0) return false;
  }
  return true;
}

bool SaveChannel(CQvLiteVariantW& writer, const SQvExperimentChannel& channel) {
  const CLiteLevelW level(writer, L"C");
  const double numbers[] = {channel.excitationWavelength, channel.emissionWavelength, channel.exposureTime};
  return level.IsOpen() && writer.WriteString(L"n", channel.name) == 0 && writer.WriteUInt(L"k", channel.color) == 0 &&
         writer.WriteDoubles(L"w", numbers, 3) == 0;
}

bool SaveLevel(CQvLiteVariantW& writer, const SQvExperiment& experiment) {
  if (writer.WriteUInt(L"T", experiment.loopType) != 0 || writer.WriteUInt(L"N", experiment.loopSize) != 0 ||
      writer.WriteDouble(L"S", experiment.step) != 0 || !SavePositions(writer, experiment.positions)) {
    return false;
  }
  for (const SQvExperimentChannel& channel : experiment.channels) {
    if (!SaveChannel(writer, channel)) return false;
  }
  for (const SQvExperiment* child : experiment.subExperiments) {
    const CLiteLevelW level(writer, L"E");
    if (!level.IsOpen() || (child != nullptr && !SaveLevel(writer, *child))) return false;
  }
  return true;
}

bool LoadPositions(CQvLiteVariantR& reader, std::vector<SQvStagePosition>* positions) {
  std::vector<double> values;
  if (reader.ReadDoubles(L"P", &values) != 0) return true;
  if (values.empty() || values.size() % 3 != 0) return false;
  positions->resize(values.size() / 3);
  const double* value = values.data();
  for (SQvStagePosition& position : *positions) {
    position.x = *value++;
    position.y = *value++;
    position.z = *value++;
  }
  const CLiteLevelR level(reader, L"n");
  if (!level.IsOpen()) return true;
  for (SQvStagePosition& position : *positions) {
    if (reader.ReadString(L"", &position.name) != 0) return false;
  }
  return true;
}

bool LoadChannels(CQvLiteVariantR& reader, std::vector<SQvExperimentChannel>* channels) {
  while (true) {
    const CLiteLevelR level(reader, L"C");
    if (!level.IsOpen()) return true;
    SQvExperimentChannel& channel = channels->emplace_back();
    std::vector<double> numbers;
    if (reader.ReadString(L"n", &channel.name) != 0 || !ReadU32(reader, L"k", &channel.color) ||
        reader.ReadDoubles(L"w", &numbers) != 0 || numbers.size() != 3) {
      return false;
    }
    channel.excitationWavelength = numbers[0];
    channel.emissionWavelength = numbers[1];
    channel.exposureTime = numbers[2];
  }
}

bool LoadLevel(CQvLiteVariantR& reader, SQvExperiment* experiment, unsigned depth);

bool LoadChildren(CQvLiteVariantR& reader, SQvExperiment* experiment, unsigned depth) {
  while (true) {
    const CLiteLevelR level(reader, L"E");
    if (!level.IsOpen()) return true;
    experiment->subExperiments.push_back(nullptr);
    if (level.Size() == 0) continue;
    if (depth == kMaxDepth) return false;
    SQvExperiment*& child = experiment->subExperiments.back();
    SQvExperiment::Alloc(&child);
    if (child == nullptr || !LoadLevel(reader, child, depth + 1)) return false;
  }
}

bool LoadLevel(CQvLiteVariantR& reader, SQvExperiment* experiment, unsigned depth) {
  return ReadU32(reader, L"T", &experiment->loopType) && ReadU32(reader, L"N", &experiment->loopSize) &&
         reader.ReadDouble(L"S", &experiment->step) == 0 && LoadPositions(reader, &experiment->positions) &&
         LoadChannels(reader, &experiment->channels) && LoadChildren(reader, experiment, depth);
}

void MoveContent(SQvExperiment& from, SQvExperiment* to) {
  to->loopType = from.loopType;
  to->loopSize = from.loopSize;
  to->step = from.step;
  to->positions = std::move(from.positions);
  to->channels = std::move(from.channels);
  std::swap(to->subExperiments, from.subExperiments);
}

bool Save(CQvLiteVariantW& writer, const SQvExperiment& experiment) {
  const CLiteLevelW level(writer, L"X");
  return level.IsOpen() && writer.WriteUInt(L"V", kLayoutVersion) == 0 && SaveLevel(writer, experiment);
}

bool Load(CQvLiteVariantR& reader, SQvExperiment* experiment) {
  const CLiteLevelR level(reader, L"X");
  std::uint64_t version = 0;
  return level.IsOpen() && reader.ReadUInt(L"V", &version) == 0 && version == kLayoutVersion &&
         LoadLevel(reader, experiment, 1);
}

}  // namespace

std::int32_t SQvExperiment::SaveToLiteVariant(CQvLiteVariantW& writer, const SQvExperiment* experiment) {
  if (experiment == nullptr || !IsWithinDepth(*experiment, 1)) return kQvFailure;
  try {
    return Save(writer, *experiment) ? kQvOk : kQvFailure;
  } catch (const std::bad_alloc&) {
    return kQvFailure;
  }
}

std::int32_t SQvExperiment::LoadFromLiteVariant(SQvExperiment* experiment, CQvLiteVariantR& reader) {
  if (experiment == nullptr) return kQvFailure;
  SQvExperiment loaded, empty;
  bool good = false;
  try {
    good = Load(reader, &loaded);
  } catch (const std::bad_alloc&) {
  } catch (const std::length_error&) {
  }
  // Swapped, not assigned: what the level held before goes with the temporary.
  MoveContent(good ? loaded : empty, experiment);
  return good ? kQvOk : kQvFailure;
}
