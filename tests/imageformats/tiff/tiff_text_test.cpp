// Units, and the limits of OME-XML documents.

#include <gtest/gtest.h>

#include <string>

#include "platform/imageformats/base/units.h"
#include "platform/imageformats/tiff/ome/ome_xml.h"

namespace tifftest {
namespace {

using imageformats::MicrometresPer;
using imageformats::SecondsPer;
using imageformats::tiff::LooksLikeOmeXml;
using imageformats::tiff::ParseOmeXml;
using imageformats::tiff::SOmeDocument;

TEST(TiffText, LengthsInMicrometres) {
  EXPECT_EQ(1.0, MicrometresPer("\xC2\xB5m"));
  EXPECT_EQ(1.0, MicrometresPer("\xCE\xBCm"));
  EXPECT_EQ(1.0, MicrometresPer("\xB5m"));
  EXPECT_EQ(1.0, MicrometresPer(" Microns\n"));
  EXPECT_EQ(1e-3, MicrometresPer("nm"));
  EXPECT_EQ(1e-4, MicrometresPer("\xC3\x85"));
  EXPECT_EQ(1e3, MicrometresPer("mm"));
  EXPECT_EQ(1e12, MicrometresPer("Mm"));
  EXPECT_EQ(1e4, MicrometresPer("cm"));
  EXPECT_EQ(1e6, MicrometresPer("m"));
  EXPECT_EQ(25400.0, MicrometresPer("Inch"));
  for (const char* none : {"", "pixel", "reference frame", "s", "micro"}) EXPECT_FALSE(MicrometresPer(none)) << none;
}

TEST(TiffText, TimesInSeconds) {
  EXPECT_EQ(1.0, SecondsPer("s"));
  EXPECT_EQ(1e-3, SecondsPer("ms"));
  EXPECT_EQ(60.0, SecondsPer("min"));
  EXPECT_EQ(3600.0, SecondsPer("Hours"));
  EXPECT_FALSE(SecondsPer("m"));
}

TEST(TiffText, OmeDocumentsAreKnownByTheirRoot) {
  EXPECT_TRUE(LooksLikeOmeXml("<OME>"));
  EXPECT_TRUE(LooksLikeOmeXml("\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<!-- note -->\n<ome:OME xmlns:ome=\"x\">"));
  EXPECT_FALSE(LooksLikeOmeXml(""));
  EXPECT_FALSE(LooksLikeOmeXml("an image of OME"));
  EXPECT_FALSE(LooksLikeOmeXml("<html><body>OME</body></html>"));
}

std::string TextDocument(const std::string& inside) {
  return "<OME><Image ID=\"I\"><Pixels SizeX=\"1\" SizeY=\"1\">" + inside + "</Pixels></Image></OME>";
}

TEST(TiffText, TheLimitsOfOmeDocuments) {
  SOmeDocument document;
  std::string error;
  EXPECT_TRUE(ParseOmeXml(TextDocument("<TiffData/>"), &document, &error));
  ASSERT_EQ(1u, document.images.size());

  std::string deep;
  for (int i = 0; i < 100; ++i) deep += "<a>";
  for (int i = 0; i < 100; ++i) deep += "</a>";
  EXPECT_FALSE(ParseOmeXml(TextDocument("<TiffData/>" + deep), &document, &error));
  EXPECT_NE(std::string::npos, error.find("deep"));

  EXPECT_FALSE(ParseOmeXml(TextDocument("<TiffData/>" + std::string(25u << 20, ' ')), &document, &error));
  EXPECT_NE(std::string::npos, error.find("large"));

  std::string many;
  for (int i = 0; i < 900000; ++i) many += "<a/>";
  EXPECT_FALSE(ParseOmeXml(TextDocument("<TiffData/>" + many), &document, &error));
  EXPECT_NE(std::string::npos, error.find("large"));

  error.clear();
  EXPECT_FALSE(ParseOmeXml("<OME></OME>", &document, &error));
  EXPECT_NE("", error);
}

TEST(TiffText, EntitiesLeadNowhere) {
  SOmeDocument document;
  std::string error;
  const std::string text =
      "<!DOCTYPE OME [<!ENTITY file SYSTEM \"file:///etc/passwd\"><!ENTITY a \"b\">]>"
      "<OME><Image ID=\"I\" Name=\"&file;&a;&amp;\"><Pixels SizeX=\"1\" SizeY=\"1\"><TiffData/></Pixels></Image></OME>";
  ASSERT_TRUE(ParseOmeXml(text, &document, &error)) << error;
  EXPECT_EQ("&file;&a;&", document.images.at(0).name);
}

}  // namespace
}  // namespace tifftest
