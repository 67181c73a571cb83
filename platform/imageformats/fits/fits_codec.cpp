#include "platform/imageformats/fits/fits_codec.h"

#include <optional>
#include <utility>

#include "platform/imageformats/arrays/array_codec.h"
#include "platform/imageformats/arrays/byte_stream.h"
#include "platform/imageformats/fits/fits_header.h"
#include "platform/imageformats/fits/fits_layout.h"

namespace imageformats {

namespace {

// Tables and spectra before the picture.
constexpr int kMostFitsUnits = 1000;

struct SFitsChoice {
  SFitsUnit first, shown;
  bool isCompressed = false;
};

// The first picture; one in compressed tiles where there is no other.
SFitsChoice ChooseFitsUnit(IArrayBytes& file, std::uint64_t fileBytes) {
  std::optional<SFitsUnit> unit = ReadFitsUnit(file, fileBytes, 0);
  if (!unit) throw CDamagedError("The file is truncated: its header does not end");
  SFitsChoice choice;
  choice.first = *unit;
  for (int i = 0; unit && i < kMostFitsUnits; ++i) {
    if (unit->IsPicture()) {
      choice.shown = std::move(*unit);
      choice.isCompressed = false;
      return choice;
    }
    if (unit->IsCompressedPicture() && !choice.isCompressed) {
      choice.shown = *unit;
      choice.isCompressed = true;
    }
    // Whether more follows cannot be known of a compressed file before it is unpacked.
    if (choice.isCompressed && fileBytes == 0) break;
    unit = ReadFitsUnit(file, fileBytes, BehindFitsUnit(*unit));
  }
  if (!choice.isCompressed) throw CDamagedError("The FITS file has no picture");
  return choice;
}

SArrayPicture ReadFits(std::shared_ptr<const CInput> input) {
  SArrayPicture picture;
  picture.format = "FITS";
  picture.source.encoding = IsGzip(*input) ? EArrayEncoding::kGzip : EArrayEncoding::kRaw;
  picture.source.input = std::move(input);
  CRenderGuard guard(LimitsFor(picture.source.input->Size()));
  const std::unique_ptr<IArrayBytes> file = OpenArrayBytes(picture.source, {}, guard);
  const std::uint64_t fileBytes = picture.source.encoding == EArrayEncoding::kRaw ? picture.source.input->Size() : 0;
  const SFitsChoice choice = ChooseFitsUnit(*file, fileBytes);
  if (choice.isCompressed) {
    picture.unsupported = "FITS pictures in compressed tiles are not supported";
    picture.layout.size = {static_cast<std::uint32_t>(choice.shown.cards.Integer("ZNAXIS1", 1)),
                           static_cast<std::uint32_t>(choice.shown.cards.Integer("ZNAXIS2", 1))};
  } else {
    LayOutFits(choice.shown, picture);
    picture.source.skip = choice.shown.data;
  }
  DescribeFits(choice.shown, choice.first, picture);
  return picture;
}

}  // namespace

const CCodecModule& FitsCodec() noexcept {
  static const CArrayCodec codec({"FITS", IsFits, ReadFits, true});
  return codec;
}

}  // namespace imageformats
