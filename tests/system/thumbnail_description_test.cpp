#include "system/qvthumbnaildescription.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

using SDescription = SQvThumbnailDescription;

TEST(ThumbnailDescription, TakesAnyPathAsAFileLocation) {
  for (const wchar_t* path : {L"/data/img.tif", L"img", L"C:\\data\\img.tif", L"db:5:thumb", L"/a:b:c", L"12:field",
                              L"\xDC80\xDCFF", L"\x00E9"}) {
    const CQvStringW location(path);
    EXPECT_TRUE(SDescription::IsFileLoc(location));
    EXPECT_FALSE(SDescription::IsDBLoc(location));
    EXPECT_EQ(SDescription::ExtractFilePath(location), location);
    EXPECT_TRUE(SDescription::ExtractDBRecID(location).IsEmpty());
    EXPECT_TRUE(SDescription::ExtractDBField(location).IsEmpty());
  }
}

TEST(ThumbnailDescription, AnEmptyLocationIsNothing) {
  EXPECT_FALSE(SDescription::IsFileLoc(CQvStringW()));
  EXPECT_FALSE(SDescription::IsDBLoc(CQvStringW()));
  EXPECT_TRUE(SDescription::ExtractFilePath(CQvStringW()).IsEmpty());
}

TEST(ThumbnailDescription, DatabaseLocationsComeApartAgain) {
  const std::int32_t kIDs[] = {
      0, 1, 42, -7, std::numeric_limits<std::int32_t>::max(), std::numeric_limits<std::int32_t>::min()};
  for (const std::int32_t id : kIDs) {
    for (const wchar_t* field : {L"Picture", L"", L"a:b", L"\x00C4rger", L"5"}) {
      const CQvStringW location = SDescription::MakeDBLocation(id, field);
      EXPECT_TRUE(SDescription::IsDBLoc(location));
      EXPECT_FALSE(SDescription::IsFileLoc(location));
      EXPECT_TRUE(SDescription::ExtractFilePath(location).IsEmpty());
      EXPECT_EQ(SDescription::ExtractDBRecID(location).Str(), std::to_wstring(id));
      EXPECT_EQ(SDescription::ExtractDBField(location).Str(), field);
    }
  }
}

TEST(ThumbnailDescription, SurvivesLowerCasingAndUpperCasedPrefixes) {
  CQvStringW location = SDescription::MakeDBLocation(12, L"Overview");
  CQvStringUtils::ToLower(location.Str());
  EXPECT_EQ(SDescription::ExtractDBRecID(location).Str(), L"12");
  EXPECT_EQ(SDescription::ExtractDBField(location).Str(), L"overview");
  EXPECT_TRUE(CQvStringUtils::EqualNoCase(location.Str(), SDescription::MakeDBLocation(12, L"OVERVIEW").Str()));
  for (wchar_t& c : location.Str()) {
    if (c >= L'a' && c <= L'z') c = static_cast<wchar_t>(c - L'a' + L'A');
  }
  EXPECT_EQ(SDescription::ExtractDBRecID(location).Str(), L"12");
}

TEST(ThumbnailDescription, NoFileNameConvertsToADatabaseLocation) {
  const CQvStringW location = SDescription::MakeDBLocation(3, L"Picture");
  EXPECT_EQ(location.Str()[0] & 0xFC00, 0xD800);
  const CQvStringW fromDisk = CQvStringUtils::UTF8toW(CQvStringUtils::WtoUTF8(location));
  EXPECT_NE(fromDisk, location);
  EXPECT_TRUE(SDescription::IsFileLoc(fromDisk));
}

TEST(ThumbnailDescription, DamagedDatabaseLocationsNameNoRecord) {
  const std::wstring whole = SDescription::MakeDBLocation(123, L"f").Str();
  const std::wstring prefix = whole.substr(0, whole.size() - 5);
  for (const std::wstring& tail : {std::wstring(), std::wstring(L"123"), std::wstring(L":f"), std::wstring(L"-:f"),
                                   std::wstring(L"12x:f"), std::wstring(L" 12:f"), std::wstring(L"--1:f")}) {
    const CQvStringW location(prefix + tail);
    EXPECT_FALSE(SDescription::IsDBLoc(location));
    EXPECT_TRUE(SDescription::ExtractDBRecID(location).IsEmpty());
    EXPECT_TRUE(SDescription::ExtractDBField(location).IsEmpty());
  }
  EXPECT_TRUE(SDescription::IsDBLoc(CQvStringW(prefix + L"123:f")));
}

TEST(ThumbnailDescription, MembersSpeakOfTheirOwnLocation) {
  SDescription desc;
  desc.location = SDescription::MakeDBLocation(9, L"Photo");
  EXPECT_TRUE(desc.IsDBLoc());
  EXPECT_EQ(desc.ExtractDBRecID().Str(), L"9");
  EXPECT_EQ(desc.ExtractDBField().Str(), L"Photo");
  desc.location = L"/img.png";
  EXPECT_TRUE(desc.IsFileLoc());
  EXPECT_EQ(desc.ExtractFilePath().Str(), L"/img.png");
}

}  // namespace
