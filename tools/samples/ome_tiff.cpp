#include "tools/samples/ome_tiff.h"

#include <tiff.h>

#include "tools/samples/tiff_writer.h"

double PixelSizeOf(EObjective objective) {
  constexpr double kCameraPixel = 6.5;  // micrometres
  return kCameraPixel / DescribeObjective(objective).magnification;
}

SOmeObjective DescribeObjective(EObjective objective) {
  switch (objective) {
    case EObjective::k10x:
      return {"Plan Fluor 10x / 0.30", "Air", "PlanFluor", 10, 0.3, 16000};
    case EObjective::k20x:
      return {"Plan Apo 20x / 0.75", "Air", "PlanApo", 20, 0.75, 1000};
    case EObjective::k40x:
      return {"Plan Apo 40x / 0.95", "Air", "PlanApo", 40, 0.95, 210};
    default:
      return {"Plan Apo 60x / 1.40 Oil", "Oil", "PlanApo", 60, 1.4, 130};
  }
}

SOmeDocument NewDocument(const SContext& context, const std::string& fileName, EObjective objective) {
  SOmeDocument document;
  document.seed = context.SeedFor("document " + fileName);
  document.firstName = "Rosa";
  document.lastName = "Lindqvist";
  document.institution = "Institute of Cell Dynamics";
  document.group = "Cytoskeleton group";
  document.microscope = "Widefield stand";
  document.detector = "sCMOS 2048";
  document.objective = DescribeObjective(objective);
  return document;
}

void WriteOmeTiff(const SContext& context, const std::string& fileName, SOmeDocument document) {
  int directories = 0;
  for (SOmeImage& image : document.images) {
    image.firstDirectory = directories;
    directories += static_cast<int>(image.stack->planes.size());
  }
  CTiffWriter file(context.output.Add(fileName));
  std::string description = MakeOmeXml(document);
  for (const SOmeImage& image : document.images) {
    for (const auto& plane : image.stack->planes) {
      STiffPage page = PageOf(plane, image.stack->width, image.stack->height);
      page.compression = COMPRESSION_ADOBE_DEFLATE;
      page.predictor = 2;
      page.pixelsPerCentimetre = 1e4 / image.stack->pixelSize;
      page.description.swap(description);  // only the first directory carries it
      file.Write(page);
    }
  }
  file.Close();
}
