#include "platform/imageformats/zarr/ngff/find_picture.h"

#include <utility>

#include "platform/imageformats/base/format_error.h"

namespace imageformats::zarr {

namespace {

// A plate leads to a well, and a well to a field; more is a circle.
constexpr int kMostSteps = 4;

// The first path of a list of objects, or of names.
std::string FirstPath(const CJson* list) {
  for (const CJson& element : Elements(list)) {
    const std::string path = TextIn(element.is_string() ? &element : Member(element, "path"));
    if (!path.empty()) return path;
  }
  return "";
}

// Where it goes on from a group that is no picture; empty when nowhere.
std::string NextStep(IStore& store, SFoundPicture& found, CRenderGuard& guard) {
  if (const CJson* plate = Member(found.attributes, "plate")) {
    found.plateName = TextIn(Member(plate, "name"));
    return found.wellName = FirstPath(Member(plate, "wells"));
  }
  if (const CJson* well = Member(found.attributes, "well")) return FirstPath(Member(well, "images"));
  if (Member(found.attributes, "labels") != nullptr) return FirstPath(Member(found.attributes, "labels"));
  const bool isConverted = Member(found.attributes, "bioformats2raw.layout") != nullptr;
  const CJson ome = isConverted ? ReadAttributes(store, JoinedKey(found.key, "OME"), guard) : CJson();
  const std::string series = FirstPath(Member(ome, "series"));
  if (!series.empty()) return series;
  return isConverted ? "0" : "";
}

}  // namespace

SFoundPicture FindPicture(IStore& store, CRenderGuard& guard) {
  SFoundPicture found;
  for (int step = 0; step < kMostSteps; ++step) {
    found.attributes = ReadAttributes(store, found.key, guard);
    if (Member(found.attributes, "multiscales") != nullptr) return found;
    const std::string next = NextStep(store, found, guard);
    Require(!next.empty(), "The folder holds no picture");
    found.key = JoinedKey(found.key, next);
  }
  throw CDamagedError("The folder holds no picture");
}

}  // namespace imageformats::zarr
