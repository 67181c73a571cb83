#include "host/page/card.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using qvhost::AddFacts;
using qvhost::BriefLines;
using qvhost::CardOf;
using qvhost::CJson;
using qvhost::ScriptJson;
using qvhost::ShortLength;
using qvhost::STextInfo;

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

STextInfo Picture() {
  STextInfo info;
  info.image.width = 2048;
  info.image.height = 1024;
  info.image.sequenceCount = 1;
  info.loops = {1, 1, 1, 1};
  return info;
}

TEST(CardTest, LengthsHaveThreeDigitsAndTheUnitThatReadsBest) {
  EXPECT_EQ(ShortLength(135.168), "135 µm");
  EXPECT_EQ(ShortLength(0.325), "0.325 µm");
  EXPECT_EQ(ShortLength(0.0025), "2.5 nm");
  EXPECT_EQ(ShortLength(10000.0), "10 mm");
  EXPECT_EQ(ShortLength(12345.6), "12.3 mm");
  EXPECT_EQ(ShortLength(2.5e6), "2.5 m");
}

TEST(CardTest, FramesThatTheLoopsCountAreNotToldAgain) {
  STextInfo info = Picture();
  info.image.sequenceCount = 25;
  info.loops = {5, 5, 1, 2};
  EXPECT_THAT(BriefLines(info), ElementsAre("2048 × 1024 pixels", "5 time points · 5 z planes · 2 channels"));
  info.loops = {1, 1, 1, 1};
  EXPECT_THAT(BriefLines(info), ElementsAre("2048 × 1024 pixels", "25 frames"));
}

TEST(CardTest, ATimeStandsAsTheFileWritesItAndWithoutAZoneThatItDoesNotName) {
  STextInfo info = Picture();
  info.acquisitionTime = 2460432.0208333335;
  EXPECT_EQ(BriefLines(info).back(), "2024-05-01 12:30:00");
  info.texts.date = L"2024-05-01T14:30:00";
  EXPECT_EQ(BriefLines(info).back(), "2024-05-01 14:30:00");
  info.texts.date = L"2024-05-01T14:30:00+02:00";
  EXPECT_EQ(BriefLines(info).back(), "2024-05-01 14:30:00+02:00");
}

TEST(CardTest, ChannelsAuthorAndDescriptionStandOnIt) {
  STextInfo info = Picture();
  info.loops[3] = 2;
  info.texts.info1 = L"DAPI, 461 nm\nGFP, 509 nm";
  info.texts.author = L"Anna";
  info.texts.description = L"HeLa cells\nsecond line";
  EXPECT_THAT(BriefLines(info),
              ElementsAre("2048 × 1024 pixels", "2 channels", "DAPI, 461 nm · GFP, 509 nm", "Anna", "HeLa cells"));
}

TEST(CardTest, ItsFactsCanBeChosenBy) {
  STextInfo info = Picture();
  info.objective = L"Plan 20x";
  info.loops = {7, 5, 1, 2};
  CJson card = CardOf("/a/b.tif", "");
  AddFacts(info, false, &card);
  EXPECT_EQ(card["facts"], (CJson{{"channels", 2}, {"z", 5}, {"t", 7}, {"size", 0}, {"objective", "Plan 20x"}}));
  EXPECT_FALSE(card.contains("reason"));
  EXPECT_FALSE(card.contains("lines"));
}

TEST(CardTest, NoTextOfAFileEndsTheScriptThatItStandsIn) {
  const std::string json = ScriptJson({{"path", "</script><b>\xFF"}});
  EXPECT_THAT(json, Not(HasSubstr("<")));
  EXPECT_EQ(CJson::parse(json)["path"], "</script><b>\uFFFD");
}

}  // namespace
