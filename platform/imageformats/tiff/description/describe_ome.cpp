#include <algorithm>

#include "platform/imageformats/base/text.h"
#include "platform/imageformats/tiff/description/describe.h"
#include "system/qvdatetime.h"

namespace imageformats::tiff {
namespace {

constexpr std::size_t kMaxPositions = 4096;

std::string ObjectiveName(const SOmeObjective& objective) {
  if (!objective.model.empty()) return Joined({objective.manufacturer, objective.model}, " ");
  return Joined({objective.manufacturer, Labelled("", objective.magnification, 2, "x")}, " ");
}

std::string OpticsText(const SOmeObjective& objective) {
  const bool namesPower = objective.model.empty();
  return Joined({ObjectiveName(objective), namesPower ? "" : Labelled("", objective.magnification, 2, "x"),
                 Labelled("NA ", objective.aperture, 3, ""), objective.immersion},
                ", ");
}

std::string ChannelText(const SOmeChannel& channel) {
  return Joined(
      {channel.name, Labelled("ex ", channel.excitation, 1, " nm"), Labelled("em ", channel.emission, 1, " nm"),
       Labelled("", channel.exposure, 3, " ms"), channel.contrastMethod},
      ", ");
}

std::string ChannelsText(const SOmeImage& image) {
  std::string text;
  for (const SOmeChannel& channel : image.channels) text = Joined({text, ChannelText(channel)}, "; ");
  return text;
}

std::string CapturingText(const SOmeImage& image) {
  std::string text = image.microscope;
  std::string lastMode, lastDetector;
  for (const SOmeChannel& channel : image.channels) {
    if (channel.acquisitionMode != lastMode) text = Joined({text, channel.acquisitionMode}, ", ");
    if (channel.detectorModel != lastDetector) text = Joined({text, channel.detectorModel}, ", ");
    lastMode = channel.acquisitionMode;
    lastDetector = channel.detectorModel;
  }
  return text;
}

bool Contains(const std::string& text, const char* part) { return text.find(part) != std::string::npos; }

// AcquisitionMode, ContrastMethod and IlluminationType of the OME model, and their older spellings.
std::uint32_t Modality(const SOmeChannel& channel) {
  const std::string& mode = channel.acquisitionMode;
  if (Contains(mode, "SpinningDisk")) return kQvModalitySpinningDisk;
  if (Contains(mode, "SlitScan") || Contains(mode, "LaserScanningConfocal") || Contains(mode, "SweptFieldConfocal")) {
    return kQvModalityConfocal;
  }
  if (Contains(mode, "MultiPhoton") || Contains(mode, "SecondHarmonic")) return kQvModalityMultiphoton;
  if (Contains(mode, "SPIM") || Contains(mode, "SinglePlaneIllumination") || Contains(mode, "LSM")) {
    return kQvModalityLightSheet;
  }
  if (Contains(channel.contrastMethod, "DIC")) return kQvModalityDIC;
  if (Contains(channel.contrastMethod, "Phase")) return kQvModalityPhaseContrast;
  if (Contains(channel.contrastMethod, "Brightfield")) return kQvModalityBrightfield;
  if (Contains(channel.contrastMethod, "Fluorescence") || Contains(channel.illuminationType, "Epifluorescence")) {
    return kQvModalityWidefieldFluorescence;
  }
  if (Contains(channel.illuminationType, "Transmitted")) return kQvModalityBrightfield;
  if (Contains(mode, "WideField") || Contains(mode, "Wide-field")) return kQvModalityWidefieldFluorescence;
  return mode.empty() || mode == "Other" ? kQvModalityUnknown : kQvModalityOther;
}

void DescribePlanesOfImage(const SDataset& dataset, const SOmeImage& image, SImageMetadata* metadata) {
  auto& planes = metadata->picture.planes.planes;
  const bool byChannel = dataset.sizeC == planes.size();
  for (std::size_t i = 0; i < planes.size() && i < image.channels.size() && byChannel; ++i) {
    const SOmeChannel& channel = image.channels[i];
    if (!channel.name.empty()) planes[i].name = TextOf(channel.name);
    if (channel.color && planes[i].components == 1) planes[i].color = *channel.color;
    planes[i].excitationWavelength = channel.excitation;
    planes[i].emissionWavelength = channel.emission;
    planes[i].modality = Modality(channel);
  }
}

SLoop PositionLoop(const SDataset& dataset) {
  SLoop loop;
  loop.type = kQvLoopXYPosition;
  loop.size = static_cast<std::uint32_t>(dataset.omePositions.size());
  for (const std::size_t index : dataset.omePositions) {
    if (loop.positions.size() >= kMaxPositions) break;
    const SOmeImage& image = dataset.ome.images[index];
    SQvStagePosition position;
    position.name = TextOf(image.position.name.empty() ? image.name : image.position.name);
    if (image.position.known) {
      position.x = image.position.x;
      position.y = image.position.y;
      position.z = image.position.z;
    }
    loop.positions.push_back(position);
  }
  return loop;
}

void AddLoops(const SDataset& dataset, const SOmeImage& image, SImageMetadata* metadata) {
  AddLoop(kQvLoopTime, dataset.sizeT, image.timeStep, metadata);
  if (dataset.omePositions.size() > 1) metadata->loops.push_back(PositionLoop(dataset));
  AddLoop(kQvLoopZ, dataset.sizeZ, image.zStep, metadata);
  AddChannelLoop(metadata);
  for (SLoop& loop : metadata->loops) {
    for (std::size_t i = 0; i < loop.channels.size() && i < image.channels.size(); ++i) {
      loop.channels[i].exposureTime = image.channels[i].exposure;
    }
  }
}

}  // namespace

void DescribeOme(const SDataset& dataset, SImageMetadata* metadata) {
  const SOmeImage& image = dataset.ome.images[dataset.omeImage];
  SQvImageTextInfo& text = metadata->text;
  text.imageID = TextOf(image.name.empty() ? image.id : image.name);
  text.type = Joined(text.type, L", ", TextOf(image.experimentType));
  text.group = TextOf(image.group);
  text.sampleID = TextOf(image.well);
  text.author = TextOf(image.experimenter);
  text.description = TextOf(image.description);
  text.capturing = TextOf(CapturingText(image));
  text.sampling = TextOf(SamplingText(image.pixelWidth, image.pixelHeight, image.zStep, image.timeStep));
  text.location = TextOf(Joined({image.position.name, image.position.text}, ": "));
  text.date = TextOf(image.date);
  text.info1 = TextOf(ChannelsText(image));
  text.info2 = TextOf(dataset.ome.creator);
  text.optics = TextOf(OpticsText(image.objective));

  metadata->calibration = image.pixelWidth;
  if (image.pixelWidth > 0.0 && image.pixelHeight > 0.0) metadata->aspect = image.pixelHeight / image.pixelWidth;
  metadata->objective = TextOf(ObjectiveName(image.objective));
  CQvDateTime time;
  if (time.SetIso(image.date.c_str())) metadata->acquisitionTime = time.GetJulianDayNumber();
  metadata->picture.zStep = image.zStep;
  metadata->picture.objectiveName = metadata->objective;
  metadata->picture.objectiveMagnification = image.objective.magnification;
  metadata->picture.numericalAperture = image.objective.aperture;
  DescribePlanesOfImage(dataset, image, metadata);
  AddLoops(dataset, image, metadata);
}

}  // namespace imageformats::tiff
