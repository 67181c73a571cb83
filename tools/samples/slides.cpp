#include "tools/samples/slides.h"

#include <tiff.h>

#include "tools/samples/ome_tiff.h"
#include "tools/samples/tiff_writer.h"
#include "tools/samples/tissue.h"

namespace {

constexpr double kSlidePixel = 0.5;  // micrometres
constexpr int kTile = 256;

// Level 0 and its halves, down to the first that fits one tile.
std::vector<SRgbImage> MakePyramid(SRgbImage level) {
  std::vector<SRgbImage> levels;
  levels.push_back(std::move(level));
  while (std::max(levels.back().width, levels.back().height) > kTile) levels.push_back(Halve(levels.back()));
  return levels;
}

STiffPage LevelPage(const SRgbImage& level, std::size_t number) {
  STiffPage page = PageOf(level);
  page.compression = COMPRESSION_JPEG;
  page.jpegQuality = 82;
  page.tileSize = kTile;
  page.reduced = number > 0;
  page.pixelsPerCentimetre = 1e4 / (kSlidePixel * static_cast<double>(1 << number));
  return page;
}

void WriteChain(const SContext& context, const std::string& name, const std::vector<SRgbImage>& levels) {
  CTiffWriter file(context.output.Add(name), ETiffKind::kBigTiff);
  for (std::size_t i = 0; i < levels.size(); ++i) {
    STiffPage page = LevelPage(levels[i], i);
    if (i == 0) {
      page.description = "Colon mucosa, haematoxylin and eosin, 20x";
      page.dateTime = SMoment(61).Tiff();
    }
    file.Write(page);
  }
  file.Close();
}

void WriteSubDirectories(const SContext& context, const std::string& name, const std::vector<SRgbImage>& levels) {
  SOmeDocument document = NewDocument(context, name, EObjective::k20x);
  SOmeImage& image = document.images.emplace_back();
  image.name = "Section 2";
  image.description = "Colon mucosa, haematoxylin and eosin";
  image.date = SMoment(62).Iso();
  image.width = levels.front().width;
  image.height = levels.front().height;
  image.pixelSize = kSlidePixel;
  CTiffWriter file(context.output.Add(name));
  for (std::size_t i = 0; i < levels.size(); ++i) {
    STiffPage page = LevelPage(levels[i], i);
    if (i == 0) page.description = MakeOmeXml(document);
    file.Write(page, i == 0 ? static_cast<int>(levels.size()) - 1 : 0);
  }
  file.Close();
}

}  // namespace

void MakeSlides(const SContext& context) {
  const std::string chain = "Histology/HE section 1.tif", nested = "Histology/HE section 2.ome.tif";
  WriteChain(context, chain, MakePyramid(RenderTissue(context.Side(3072), context.Side(2304), context.SeedFor(chain))));
  WriteSubDirectories(context, nested,
                      MakePyramid(RenderTissue(context.Side(2048), context.Side(1536), context.SeedFor(nested))));
}
