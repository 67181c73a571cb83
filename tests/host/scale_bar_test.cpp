#include "host/output/scale_bar.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "host/output/drawing.h"
#include "host/output/stroke_font.h"
#include "picture/qvpicture.h"

namespace {

using namespace qvhost;

std::string LabelOf(double pictureMicrometres) {
  const auto bar = ChooseScaleBar(pictureMicrometres);
  return bar ? bar->label : "none";
}

TEST(ScaleBarTest, HasARoundLengthInASensibleUnit) {
  EXPECT_EQ(LabelOf(150.0), "50 µm");
  EXPECT_EQ(LabelOf(149.0), "20 µm");
  EXPECT_EQ(LabelOf(0.9), "200 nm");
  EXPECT_EQ(LabelOf(3.0), "1 µm");
  EXPECT_EQ(LabelOf(3000.0), "1 mm");
  EXPECT_EQ(LabelOf(2999.0), "500 µm");
  EXPECT_EQ(LabelOf(0.003), "1 nm");
  EXPECT_EQ(LabelOf(20000.0), "5 mm");
}

TEST(ScaleBarTest, TakesFromASeventhToAThirdOfAnyPicture) {
  for (double width = 1e-5; width < 1e8; width *= 1.37) {
    const auto bar = ChooseScaleBar(width);
    ASSERT_TRUE(bar) << width;
    EXPECT_GT(bar->share, 0.13) << width;
    EXPECT_LE(bar->share, 0.3334) << width;
    EXPECT_NEAR(bar->micrometres, bar->share * width, width * 1e-9);
  }
}

TEST(ScaleBarTest, ThereIsNoneWithoutAScale) {
  for (const double width : {0.0, -3.0, 1e-12, 1e30, std::nan(""), HUGE_VAL}) EXPECT_EQ(LabelOf(width), "none");
}

TEST(ScaleBarTest, OneOfAGivenLengthMustFit) {
  EXPECT_EQ(MakeScaleBar(25.0, 100.0)->label, "25 µm");
  EXPECT_DOUBLE_EQ(MakeScaleBar(25.0, 100.0)->share, 0.25);
  EXPECT_FALSE(MakeScaleBar(101.0, 100.0));
  EXPECT_FALSE(MakeScaleBar(1.0, 0.0));
}

TEST(ScaleBarTest, LengthsAreReadInEverySpelling) {
  EXPECT_EQ(ParseLength("50um"), 50.0);
  EXPECT_EQ(ParseLength("50 µm"), 50.0);
  EXPECT_EQ(ParseLength("50\u03BCm"), 50.0);
  EXPECT_EQ(ParseLength(" 0.2 mm"), 200.0);
  EXPECT_NEAR(*ParseLength("100nm"), 0.1, 1e-12);
  for (const char* text : {"", "50", "um", "-5um", "0mm", "5 inch", "5um x", "nan um", "inf um", "1e400mm"}) {
    EXPECT_FALSE(ParseLength(text)) << text;
  }
}

CQvPicture Plain(std::uint32_t width, std::uint32_t height, std::uint8_t grey) {
  CQvPicture picture;
  EXPECT_TRUE(picture.Reinit(width, height, 8, 3, false));
  for (std::uint32_t y = 0; y < height; ++y) std::fill_n(picture.Row(y), std::size_t{width} * 3, grey);
  return picture;
}

// The longest run of white in a row below the label.
std::uint32_t WhiteRun(const CQvPicture& picture, std::uint32_t y) {
  std::uint32_t run = 0, best = 0;
  for (std::uint32_t x = 0; x < picture->width; ++x) {
    run = picture.Row(y)[x * 3] == 255 ? run + 1 : 0;
    best = std::max(best, run);
  }
  return best;
}

TEST(ScaleBarTest, TheLineIsAsLongAsItSays) {
  CQvPicture picture = Plain(240, 180, 0);
  ASSERT_TRUE(DrawScaleBar({50.0, 0.25, "50 µm"}, *picture.Get()));
  std::uint32_t longest = 0;
  for (std::uint32_t y = 150; y < 180; ++y) longest = std::max(longest, WhiteRun(picture, y));
  EXPECT_EQ(longest, 60u);
}

// Whatever the ground, there are both white and black pixels of the bar and of its label.
TEST(ScaleBarTest, StandsOutFromWhiteAndFromBlack) {
  for (const int ground : {0, 128, 255}) {
    CQvPicture picture = Plain(240, 180, static_cast<std::uint8_t>(ground));
    ASSERT_TRUE(DrawScaleBar({50.0, 0.25, "50 µm"}, *picture.Get()));
    for (const auto& [first, last] : {std::pair{150u, 162u}, std::pair{164u, 176u}}) {
      int white = 0, black = 0;
      for (std::uint32_t y = first; y < last; ++y) {
        for (std::uint32_t x = 120; x < 240; ++x) {
          white += picture.Row(y)[x * 3] > 230 && ground != 255;
          black += picture.Row(y)[x * 3] < 25 && ground != 0;
        }
      }
      EXPECT_TRUE(ground == 255 || white > 15) << ground << " row " << first << ": " << white;
      EXPECT_TRUE(ground == 0 || black > 15) << ground << " row " << first << ": " << black;
    }
  }
}

TEST(ScaleBarTest, ATooSmallPictureStaysAsItIs) {
  for (const auto& [width, height] : {std::pair{20u, 180u}, std::pair{240u, 20u}, std::pair{1u, 1u}}) {
    CQvPicture picture = Plain(width, height, 7);
    EXPECT_FALSE(DrawScaleBar({50.0, 0.25, "50 µm"}, *picture.Get()));
    for (std::uint32_t y = 0; y < height; ++y) EXPECT_EQ(picture.Row(y)[0], 7);
  }
}

TEST(StrokeFontTest, EveryCharacterOfAWellsNameAndOfALengthIsDrawn) {
  for (const char* character :
       {"A", "B", "C", "D", "E", "F", "G", "H", "I", "J", "K", "L", "M", "N", "O", "P", "Q", "R", "S", "T", "U",
        "V", "W", "X", "Y", "Z", "0", "1", "2", "3", "4", "5", "6", "7", "8", "9", ".", "-", "n", "m", "p", "µ"}) {
    int strokes = 0;
    ForEachStroke(character, [&](double x1, double y1, double x2, double y2) {
      ++strokes;
      for (const double x : {x1, x2}) EXPECT_TRUE(x >= 0.0 && x <= TextUnits(character)) << character;
      for (const double y : {y1, y2}) EXPECT_TRUE(y >= 0.0 && y <= 8.0) << character;
    });
    EXPECT_GT(strokes, 0) << character;
  }
}

TEST(StrokeFontTest, ATextIsAsWideAsItsCharacters) {
  EXPECT_EQ(TextUnits("AB"), 4 + 2 + 4);
  EXPECT_EQ(TextUnits(""), 0);
  double last = 0.0;
  ForEachStroke("1 mm", [&](double, double, double x, double) { last = std::max(last, x); });
  EXPECT_EQ(last, TextUnits("1 mm"));
}

TEST(DrawingTest, WhatLiesOutsideIsLeftOut) {
  CQvPicture picture = Plain(8, 8, 9);
  FillBox(*picture.Get(), {-5, -5, 7, 7}, kWhiteInk);
  EXPECT_EQ(picture.Row(1)[1 * 3], 255);
  EXPECT_EQ(picture.Row(2)[2 * 3], 9);
  FillBox(*picture.Get(), {100, 100, 7, 7}, kWhiteInk);
  DrawText(*picture.Get(), {-1000.0, 50.0}, "A1", {7.0, kBlackInk, true});
  DrawLine(*picture.Get(), {-50.0, 4.5}, {50.0, 4.5}, 1.0, kBlackInk);
  EXPECT_EQ(picture.Row(4)[7 * 3], 0);
  EXPECT_EQ(picture.Row(7)[7 * 3], 9);
}

}  // namespace
