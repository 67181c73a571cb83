#pragma once

#include <string>
#include <vector>

#include "tests/imageformats/tiff/tiff_test_image.h"
#include "tests/support/tiff_writer.h"

// OME-XML documents of 8 x 6 pixels, and what is shown of files that carry them.
namespace tifftest {

inline constexpr char kOpen[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?><!-- a warning --><OME "
    "xmlns=\"http://www.openmicroscopy.org/Schemas/OME/2016-06\" UUID=\"urn:uuid:own\">";

inline std::string Pixels(const std::string& order, int z, int c, int t, const std::string& inside,
                          const std::string& attributes = "", const std::string& type = "uint8") {
  return "<Pixels ID=\"Pixels:0\" DimensionOrder=\"" + order + "\" Type=\"" + type +
         "\" SizeX=\"8\" SizeY=\"6\" SizeZ=\"" + std::to_string(z) + "\" SizeC=\"" + std::to_string(c) + "\" SizeT=\"" +
         std::to_string(t) + "\" " + attributes + ">" + inside + "</Pixels>";
}

inline std::string Document(const std::string& pixels, const std::string& imageInside = "",
                            const std::string& before = "") {
  return kOpen + before + "<Image ID=\"Image:0\" Name=\"Slide 1\">" + imageInside + pixels + "</Image></OME>";
}

// Pages of one grey each, 10, 20, 30 and so on; the first carries the document.
inline std::vector<qvtest::STiffPage> Pages(int count, const std::string& document) {
  std::vector<qvtest::STiffPage> pages;
  for (int i = 0; i < count; ++i) {
    pages.push_back(qvtest::MakePage<std::uint8_t>(8, 6, 1, [&](auto, auto, auto) { return 10 * (i + 1); }));
  }
  pages[0].description = document;
  return pages;
}

inline SRgb Shown(CTestImage& image) { return Render(image, 4, 3).At(1, 1); }
inline SRgb Shown(const std::vector<qvtest::STiffPage>& pages) {
  CTestImage image(qvtest::WriteTiff(pages));
  return Shown(image);
}
}  // namespace tifftest
