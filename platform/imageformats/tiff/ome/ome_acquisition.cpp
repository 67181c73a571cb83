#include "platform/imageformats/tiff/ome/ome_acquisition.h"

#include <algorithm>

#include "platform/imageformats/base/text.h"
#include "platform/imageformats/tiff/ome/ome_node.h"

namespace imageformats::tiff::ome {
namespace {

std::string PersonName(pugi::xml_node person) {
  const std::string name = Joined({Value(person, "FirstName"), Value(person, "LastName")}, " ");
  if (!name.empty()) return name;
  for (const char* key : {"DisplayName", "UserName", "Email", "OMEName"}) {
    if (std::string text = Value(person, key); !text.empty()) return text;
  }
  return {};
}

std::string GroupName(const COmeIndex& index, pugi::xml_node image, pugi::xml_node person) {
  pugi::xml_node group = index.Resolve(image, "ExperimenterGroupRef", "ExperimenterGroup");
  if (!group) group = index.Resolve(image, "GroupRef", "Group");
  if (!group) group = index.Find("Group", Id(Child(person, "GroupRef")));
  const std::string name = Value(group, "Name");
  return name.empty() ? Value(person, "Institution") : name;
}

pugi::xml_node FindObjective(const COmeIndex& index, pugi::xml_node image) {
  for (const char* reference : {"ObjectiveSettings", "ObjectiveRef"}) {
    if (const pugi::xml_node ref = Child(image, reference)) {
      const std::string id = Attribute(ref, "ObjectiveID");
      return index.Find("Objective", id.empty() ? Attribute(ref, "ID") : id);
    }
  }
  // The first schema names the objective in the reference to the instrument.
  if (const std::string id = Attribute(Child(image, "InstrumentRef"), "ObjectiveID"); !id.empty()) {
    return index.Find("Objective", id);
  }
  const pugi::xml_node instrument = index.Resolve(image, "InstrumentRef", "Instrument");
  int count = 0;
  ForEach(instrument, "Objective", [&](pugi::xml_node) { ++count; });
  return count == 1 ? Child(instrument, "Objective") : pugi::xml_node();
}

void ReadObjective(pugi::xml_node objective, SOmeObjective* out) {
  out->model = Value(objective, "Model");
  out->manufacturer = Value(objective, "Manufacturer");
  out->immersion = Value(objective, "Immersion");
  out->aperture = std::max(Number(Value(objective, "LensNA")), 0.0);
  for (const char* key : {"NominalMagnification", "CalibratedMagnification", "Magnification"}) {
    if (out->magnification > 0.0) break;
    out->magnification = std::max(Number(Value(objective, key)), 0.0);
  }
}

std::string MicroscopeName(pugi::xml_node instrument) {
  const pugi::xml_node microscope = Child(instrument, "Microscope");
  return Joined({Value(microscope, "Manufacturer"), Value(microscope, "Model"), Value(microscope, "Type")}, " ");
}

}  // namespace

void ReadAcquisition(const COmeIndex& index, pugi::xml_node imageNode, SOmeImage* image) {
  const pugi::xml_node person = index.Resolve(imageNode, "ExperimenterRef", "Experimenter");
  image->experimenter = PersonName(person);
  image->group = GroupName(index, imageNode, person);
  image->experimentType = Value(index.Resolve(imageNode, "ExperimentRef", "Experiment"), "Type");
  image->microscope = MicroscopeName(index.Resolve(imageNode, "InstrumentRef", "Instrument"));
  ReadObjective(FindObjective(index, imageNode), &image->objective);
  image->well = index.WellOf(image->id);
}

}  // namespace imageformats::tiff::ome
