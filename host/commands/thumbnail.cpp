#include <cstdio>

#include "host/commands/command.h"
#include "host/commands/picture_choice.h"
#include "host/files/input_file.h"
#include "host/session/session.h"
#include "host/thumbnails/sized_picture.h"

namespace qvhost {
namespace {

constexpr int kLargestThumbnail = 1024;

struct SThumbnailArguments {
  std::string input, output;
  int size = 256;
  SPictureChoice picture;
};

// The caller may have made the output and opened it, so it is written into, and never replaced by another file.
void WriteThumbnail(const SThumbnailArguments& arguments, SOutcome& outcome) {
  const COutputTarget target = AnyPictureTarget(arguments.output);
  const SPictureFormat format = arguments.picture.For(target);
  const CInputFile input(arguments.input);
  target.RequireOtherThan(input.Path());
  LoadComponents();
  const SSizedPicture made =
      MakeSizedPicture(input.Path(), static_cast<std::uint32_t>(arguments.size), false, SDatabaseOptions());
  if (!made.picture.HasPixels()) return ReportFailure(outcome, input.Name(), made.failure);
  WritePicture(*made.picture, target, format, EPlacing::InPlace);
}

}  // namespace

void AddThumbnailCommand(CCommand program, SOutcome& outcome) {
  const auto arguments = std::make_shared<SThumbnailArguments>();
  CCommand command = program.AddVerb("thumbnail", "Write a picture of one file for a desktop's thumbnail folder");
  command.AddOption("-s,--size", &arguments->size, "Longest side in pixels, 1 to 1024 (default: 256)")
      .Between(1, kLargestThumbnail)
      .Type("N");
  AddPictureOptions(command, &arguments->picture);
  AddRequired(command, "input", &arguments->input, "Image file, or its file: URI; - is standard input", "INPUT")
      .FileNames();
  AddRequired(command, "output", &arguments->output,
              "The picture, written into a file that is there already; - is standard output", "OUTPUT");
  command.SetFooter(
      "Needs no database and writes none; a stored thumbnail of your own database is used when it is large enough.\n"
      "File managers call it through the entry that is installed with it.\n\n"
      "Example: what a file manager asks for\n"
      "  qvthumbs thumbnail -s 256 cells.ome.tif cells.png");
  command.SetWork([arguments, &outcome] { WriteThumbnail(*arguments, outcome); });
}

}  // namespace qvhost
