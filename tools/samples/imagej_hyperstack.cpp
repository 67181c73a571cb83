#include "tools/samples/imagej_hyperstack.h"

#include <bit>

#include "tools/samples/fluorescence.h"
#include "tools/samples/tiff_writer.h"

namespace {

// The metadata block (ij.io.TiffEncoder): a header of four-letter kinds with the number of entries of each, then the
// entries in that order; the sizes of header and entries stand in a tag of their own. Numbers in the file's byte order.
class CMetadataBlock {
 public:
  void Add(const char (&kind)[5], const std::vector<CBytes>& entries) {
    m_header.insert(m_header.end(), kind, kind + 4);
    Append(&m_header, static_cast<std::uint32_t>(entries.size()), 4);
    for (const CBytes& entry : entries) {
      m_sizes.push_back(static_cast<std::uint32_t>(entry.size()));
      m_data.insert(m_data.end(), entry.begin(), entry.end());
    }
  }
  std::vector<std::uint32_t> Sizes() const {
    std::vector<std::uint32_t> sizes = {static_cast<std::uint32_t>(m_header.size())};
    sizes.insert(sizes.end(), m_sizes.begin(), m_sizes.end());
    return sizes;
  }
  CBytes Data() const {
    CBytes data = m_header;
    data.insert(data.end(), m_data.begin(), m_data.end());
    return data;
  }

  // Most significant byte first.
  static void Append(CBytes* bytes, std::uint64_t value, int size) {
    for (int i = size - 1; i >= 0; --i) bytes->push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  }

 private:
  CBytes m_header = {'I', 'J', 'I', 'J'};
  CBytes m_data;
  std::vector<std::uint32_t> m_sizes;
};

// Black to the colour in 256 steps: all reds, all greens, all blues.
CBytes ColorTable(std::uint32_t rgb) {
  CBytes table;
  for (int shift = 16; shift >= 0; shift -= 8) {
    for (std::uint32_t i = 0; i < 256; ++i)
      table.push_back(static_cast<std::uint8_t>(((rgb >> shift) & 255) * i / 255));
  }
  return table;
}

CBytes Ranges(int channels, double low, double high) {
  CBytes bytes;
  for (int c = 0; c < channels; ++c) {
    CMetadataBlock::Append(&bytes, std::bit_cast<std::uint64_t>(low), 8);
    CMetadataBlock::Append(&bytes, std::bit_cast<std::uint64_t>(high), 8);
  }
  return bytes;
}

// UTF-16; the texts here are ASCII.
CBytes Text(const std::string& text) {
  CBytes bytes;
  for (const char c : text) CMetadataBlock::Append(&bytes, static_cast<unsigned char>(c), 2);
  return bytes;
}

CMetadataBlock DescribeStack(const SStack& stack) {
  CMetadataBlock block;
  block.Add("info", {Text("Made by qvthumbs-samples\nStain = DAPI, tubulin\n")});
  std::vector<CBytes> labels, tables;
  for (int t = 0; t < stack.sizeT; ++t) {
    for (int z = 0; z < stack.sizeZ; ++z) {
      for (const SStackChannel& channel : stack.channels) {
        labels.push_back(Text(channel.name + " z" + std::to_string(z + 1) + " t" + std::to_string(t + 1)));
      }
    }
  }
  block.Add("labl", labels);
  block.Add("rang", {Ranges(stack.SizeC(), 100, 3400)});
  for (const SStackChannel& channel : stack.channels) tables.push_back(ColorTable(channel.color));
  block.Add("luts", tables);
  return block;
}

}  // namespace

void MakeImageJHyperstack(const SContext& context) {
  const std::string name = "ImageJ/hyperstack 2c 5z 3t.tif";
  SFieldOptions options;
  options.width = options.height = context.Side(288);
  options.channels = 2;
  options.sizeZ = 5;
  options.sizeT = 3;
  const SStack stack = MakeField(EFluorescence::kCells, options, context.SeedFor(name));
  const CMetadataBlock block = DescribeStack(stack);
  CTiffWriter file(context.output.Add(name), ETiffKind::kBigEndian);
  for (std::size_t i = 0; i < stack.planes.size(); ++i) {
    STiffPage page = PageOf(stack.planes[i], stack.width, stack.height);
    page.software.clear();
    page.pixelsPerUnit = 1 / stack.pixelSize;
    if (i == 0) {
      page.description =
          "ImageJ=1.54f\nimages=30\nchannels=2\nslices=5\nframes=3\nhyperstack=true\nmode=composite\nunit=\\u00B5m\n"
          "finterval=300.0\nspacing=1.8\nloop=false\nmin=100.0\nmax=3400.0\n";
      page.imageJCounts = block.Sizes();
      page.imageJMetadata = block.Data();
    }
    file.Write(page);
  }
  file.Close();
}
