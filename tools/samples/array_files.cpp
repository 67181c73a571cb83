#include "tools/samples/array_files.h"

#include <bit>

#include "tools/samples/fluorescence.h"

namespace {

// A header whose numbers stand at fixed places.
class CHeaderBytes {
 public:
  explicit CHeaderBytes(std::size_t size) : m_bytes(size) {}

  void Integer(std::size_t at, std::uint64_t value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) m_bytes[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
  }
  void Word(std::size_t at, int value) { Integer(at, static_cast<std::uint64_t>(value), 4); }
  void Half(std::size_t at, int value) { Integer(at, static_cast<std::uint64_t>(value), 2); }
  void Float(std::size_t at, double value) { Integer(at, std::bit_cast<std::uint32_t>(static_cast<float>(value)), 4); }
  void Text(std::size_t at, const std::string& text) {
    for (std::size_t i = 0; i < text.size(); ++i) m_bytes[at + i] = static_cast<std::uint8_t>(text[i]);
  }
  const CBytes& Bytes() const { return m_bytes; }

 private:
  CBytes m_bytes;
};

enum class ERows { kDown, kUp };  // the order in which a format keeps them

CBytes Samples(const SStack& stack, ERows rows, bool bigEndian, int offset) {
  CBytes bytes;
  for (const std::vector<std::uint16_t>& plane : stack.planes) {
    for (int y = 0; y < stack.height; ++y) {
      const int row = rows == ERows::kDown ? y : stack.height - 1 - y;
      for (int x = 0; x < stack.width; ++x) {
        const auto value = static_cast<std::uint32_t>(plane[static_cast<std::size_t>(row * stack.width + x)] + offset);
        const auto low = static_cast<std::uint8_t>(value), high = static_cast<std::uint8_t>(value >> 8);
        bytes.push_back(bigEndian ? high : low);
        bytes.push_back(bigEndian ? low : high);
      }
    }
  }
  return bytes;
}

CBytes Joined(CBytes header, const CBytes& samples) {
  header.insert(header.end(), samples.begin(), samples.end());
  return header;
}

// The lengths of an MRC cell are in angstroms.
CBytes Mrc(const SStack& stack) {
  constexpr double kAngstroms = 1e4;
  CHeaderBytes header(1024);
  const int sizes[] = {stack.width, stack.height, stack.sizeZ};
  const double steps[] = {stack.pixelSize, stack.pixelSize, stack.zStep};
  for (std::size_t i = 0; i < 3; ++i) {
    header.Word(4 * i, sizes[i]);
    header.Word(28 + 4 * i, sizes[i]);
    header.Float(40 + 4 * i, steps[i] * sizes[i] * kAngstroms);
    header.Float(52 + 4 * i, 90);
    header.Word(64 + 4 * i, static_cast<int>(i) + 1);
  }
  header.Word(12, 6);  // unsigned, 16 bits
  header.Word(88, 1);  // a volume
  header.Word(108, 20140);
  header.Text(208, "MAP DD");
  header.Word(220, 1);
  header.Text(224, "Cells, made by qvthumbs-samples");
  return Joined(header.Bytes(), Samples(stack, ERows::kUp, false, 0));
}

std::string NrrdHeader(const SStack& stack, const std::string& dataFile) {
  const std::string pixel = std::to_string(stack.pixelSize);
  std::string text = "NRRD0004\ncontent: cells\ntype: uint16\ndimension: 3\nkinds: space space space\n";
  text += "units: \"microns\" \"microns\" \"microns\"\nendian: little\nencoding: raw\n";
  text.append("sizes: ").append(std::to_string(stack.width)).append(" ").append(std::to_string(stack.height));
  text.append(" ").append(std::to_string(stack.sizeZ)).append("\nspacings: ").append(pixel).append(" ").append(pixel);
  text.append(" ").append(std::to_string(stack.zStep)).append("\ndata file: ").append(dataFile).append("\n");
  return text;
}

CBytes Nifti(const SStack& stack) {
  CHeaderBytes header(352);
  header.Word(0, 348);
  const int sizes[] = {3, stack.width, stack.height, stack.sizeZ, 1, 1, 1, 1};
  const double steps[] = {1, stack.pixelSize, stack.pixelSize, stack.zStep};
  for (std::size_t i = 0; i < 8; ++i) header.Half(40 + 2 * i, sizes[i]);
  for (std::size_t i = 0; i < 4; ++i) header.Float(76 + 4 * i, steps[i]);
  header.Half(70, 512);  // unsigned, 16 bits
  header.Half(72, 16);
  header.Float(108, 352);
  header.Integer(123, 3, 1);  // micrometres
  header.Text(148, "Cells, made by qvthumbs-samples");
  header.Text(344, "n+1");
  return Joined(header.Bytes(), Samples(stack, ERows::kUp, false, 0));
}

// FITS has signed integers only: unsigned ones are stored less half their range.
CBytes Fits(const SStack& stack) {
  constexpr std::size_t kBlock = 2880;
  std::string header;
  const auto card = [&](std::string keyword, const std::string& value) {
    keyword.resize(8, ' ');
    keyword.append("= ").append(value).resize(80, ' ');
    header += keyword;
  };
  card("SIMPLE", "T");
  card("BITPIX", "16");
  card("NAXIS", "3");
  card("NAXIS1", std::to_string(stack.width));
  card("NAXIS2", std::to_string(stack.height));
  card("NAXIS3", std::to_string(stack.sizeZ));
  card("BZERO", "32768");
  card("OBJECT", "'cells'");
  card("INSTRUME", "'sCMOS'");
  card("DATE-OBS", std::string("'").append(SMoment(300).Iso()).append("'"));
  for (int axis = 1; axis <= 3; ++axis) {
    const std::string number = std::to_string(axis);
    card(std::string("CUNIT").append(number), "'um'");
    card(std::string("CDELT").append(number), std::to_string(axis == 3 ? stack.zStep : stack.pixelSize));
  }
  header.append("END").resize((header.size() / kBlock + 1) * kBlock, ' ');
  CBytes file = Joined(CBytes(header.begin(), header.end()), Samples(stack, ERows::kUp, true, -32768));
  file.resize((file.size() + kBlock - 1) / kBlock * kBlock);
  return file;
}

}  // namespace

void MakeArrayFiles(const SContext& context) {
  SFieldOptions options;
  options.width = context.Side(320);
  options.height = context.Side(240);
  options.channels = 1;
  options.sizeZ = 5;
  const SStack stack = MakeField(EFluorescence::kCells, options, context.SeedFor("Volumes/cells"));
  context.output.Write("Volumes/cells.mrc", Mrc(stack));
  context.output.Write("Volumes/cells.nhdr", NrrdHeader(stack, "cells.raw"));
  context.output.Write("Volumes/cells.raw", Samples(stack, ERows::kDown, false, 0));
  context.output.Write("Volumes/cells.nii", Nifti(stack));
  context.output.Write("Volumes/cells.fits", Fits(stack));
}
