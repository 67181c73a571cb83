#include "tools/samples/fluorescence.h"

#include "tools/samples/ome_tiff.h"

namespace {

void MakeZStack(const SContext& context) {
  const std::string name = "Immunofluorescence/z-stack 60x.ome.tif";
  SFieldOptions options;
  options.width = options.height = context.Side(448);
  options.pixelSize = PixelSizeOf(EObjective::k60x);
  options.channels = 4;
  options.sizeZ = 9;
  options.dividing = 0.25;
  const SStack stack = MakeField(EFluorescence::kCells, options, context.SeedFor(name));
  SOmeDocument document = NewDocument(context, name, EObjective::k60x);
  SOmeImage& image = document.images.emplace_back();
  image = {"Coverslip 4, z stack", "Fixed cells, four stains, 9 planes", SMoment(31).Iso(), &stack};
  WriteOmeTiff(context, name, document);
}

void MakeTimeSeries(const SContext& context) {
  const std::string name = "Live imaging/mitosis time series.ome.tif";
  SFieldOptions options;
  options.width = options.height = context.Side(448);
  options.pixelSize = PixelSizeOf(EObjective::k20x);
  options.channels = 2;
  options.sizeT = 13;
  options.dividing = 0.2;
  SStack stack = MakeField(EFluorescence::kCells, options, context.SeedFor(name));
  // Living cells make their own dyes.
  stack.channels = {{"H2B-mCherry", "mCherry", 0xFF5A35, 561, 610, 60},
                    {"Tubulin-EGFP", "EGFP", 0x1FE070, 488, 510, 80}};
  SOmeDocument document = NewDocument(context, name, EObjective::k20x);
  document.images.push_back({"Mitosis", "Living cells, one picture every 5 minutes", SMoment(44).Iso(), &stack});
  WriteOmeTiff(context, name, document);
}

void MakePositions(const SContext& context) {
  const std::string name = "Live imaging/six positions.ome.tif";
  SFieldOptions options;
  options.width = options.height = context.Side(320);
  options.pixelSize = PixelSizeOf(EObjective::k20x);
  std::vector<SStack> stacks;
  for (int i = 0; i < 6; ++i)
    stacks.push_back(MakeField(EFluorescence::kCells, options, context.SeedFor(name + ZeroPadded(i, 1))));
  SOmeDocument document = NewDocument(context, name, EObjective::k20x);
  for (int i = 0; i < 6; ++i) {
    SOmeImage image{std::string("Position ").append(ZeroPadded(i + 1, 1)), "One of six stage positions",
                    SMoment(52).Iso(), &stacks[static_cast<std::size_t>(i)]};
    image.stageLabel = ZeroPadded(i + 1, 1).insert(0, 1, 'B');
    image.stageX = 9000.0 * (i % 3);
    image.stageY = 9000.0 * (i / 3);
    image.stageZ = 3120.5 + 4 * i;
    document.images.push_back(image);
  }
  WriteOmeTiff(context, name, document);
}

void WriteField(const SContext& context, const std::string& name, EFluorescence kind, EObjective objective,
                SFieldOptions options, const std::string& title, int number) {
  options.pixelSize = PixelSizeOf(objective);
  const SStack stack = MakeField(kind, options, context.SeedFor(name));
  SOmeDocument document = NewDocument(context, name, objective);
  document.images.push_back({title, "Field " + std::to_string(number + 1), SMoment(number).Iso(), &stack});
  WriteOmeTiff(context, name, document);
}

}  // namespace

void MakeFluorescenceExperiments(const SContext& context) {
  MakeZStack(context);
  MakeTimeSeries(context);
  MakePositions(context);
}

void MakeScreenField(const SContext& context, int number) {
  const int well = number / 2 % 96;
  std::string wellName(1, static_cast<char>('A' + well / 12));
  wellName += ZeroPadded(1 + well % 12, 2);
  const std::string name = "Screen/Plate " + std::to_string(1 + number / 192) + "/Well " + wellName + "/field " +
                           ZeroPadded(1 + number % 2, 2) + ".ome.tif";
  static constexpr EObjective kObjectives[] = {EObjective::k20x, EObjective::k40x, EObjective::k40x, EObjective::k60x,
                                               EObjective::k10x};
  SFieldOptions options;
  options.width = context.Side(number % 3 == 1 ? 640 : 512);
  options.height = context.Side(512);
  options.channels = 3 + number % 2;
  WriteField(context, name, EFluorescence::kCells, kObjectives[number % 5], options, "Well " + wellName, number);
}

void MakeNeuronField(const SContext& context, int number) {
  const std::string name = "Hippocampal cultures/DIV14 neurons " + ZeroPadded(number + 1, 3) + ".ome.tif";
  SFieldOptions options;
  options.width = context.Side(640);
  options.height = context.Side(480);
  WriteField(context, name, EFluorescence::kNeurons, number % 3 == 2 ? EObjective::k40x : EObjective::k20x, options,
             "Neurons", number);
}
