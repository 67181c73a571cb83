#include "tools/samples/samples.h"

#include "tools/samples/array_files.h"
#include "tools/samples/exports.h"
#include "tools/samples/fluorescence.h"
#include "tools/samples/imagej_hyperstack.h"
#include "tools/samples/odd_files.h"
#include "tools/samples/ome_zarr.h"
#include "tools/samples/other_pictures.h"
#include "tools/samples/ratio_image.h"
#include "tools/samples/slides.h"

namespace {

using CPictureMaker = void (*)(const SContext&, int);

struct SPictureKind {
  CPictureMaker make;
  int atLeast;  // so many that each variant of the kind is there
  int share;    // of ten ordinary pictures
};

// The mixture of a lab's folders: half of the pictures are fluorescence.
constexpr SPictureKind kKinds[] = {{MakeScreenField, 2, 4}, {MakePhotograph, 4, 2}, {MakeElectronPicture, 4, 1},
                                   {MakeNeuronField, 1, 1}, {MakePlot, 4, 1},       {MakeCameraFrame, 5, 1}};

// Each kind counts its own pictures, so that names and motifs have no gaps.
void MakeOrdinaryPictures(const SContext& context, int count) {
  for (const SPictureKind& kind : kKinds) {
    for (int i = 0; i < kind.atLeast; ++i) kind.make(context, i);
  }
  int made = 0;
  for (int round = 0; made < count; ++round) {
    for (const SPictureKind& kind : kKinds) {
      for (int i = 0; i < kind.share && made < count; ++i, ++made)
        kind.make(context, kind.atLeast + round * kind.share + i);
    }
  }
}

}  // namespace

int MakeSamples(const SSampleOptions& options) {
  COutput output(options.folder);
  const SContext context{output, options.seed, options.sizePercent};
  MakeFluorescenceExperiments(context);
  MakeImageJHyperstack(context);
  MakeRatioImage(context);
  MakeArrayFiles(context);
  MakeOmeZarr(context);
  MakeSlides(context);
  MakeEmbeddedThumbnails(context);
  MakeExports(context);
  if (options.optionalFormats) MakeOptionalExports(context);
  MakeUnusualNames(context);
  MakeDamagedFiles(context);
  MakeOrdinaryPictures(context, options.count);
  return output.FileCount();
}
