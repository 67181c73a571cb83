#include "system/qvthumbnaildescription.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

using Desc = SQvThumbnailDescription;

TEST(ThumbnailDescription, TakesAnyPathAsAFileLocation) {
  for (const wchar_t* path : {L"/data/img.tif", L"img", L"C:\\data\\img.tif", L"db:5:thumb", L"/a:b:c", L"12:field",
                              L"\xDC80\xDCFF", L"\x00E9"}) {
    const CQvStringW location(path);
    EXPECT_TRUE(Desc::IsFileLoc(location));
    EXPECT_FALSE(Desc::IsDBLoc(location));
    EXPECT_EQ(Desc::ExtractFilePath(location), location);
    EXPECT_TRUE(Desc::ExtractDBRecID(location).IsEmpty());
    EXPECT_TRUE(Desc::ExtractDBField(location).IsEmpty());
  }
}

TEST(ThumbnailDescription, AnEmptyLocationIsNothing) {
  EXPECT_FALSE(Desc::IsFileLoc(CQvStringW()));
  EXPECT_FALSE(Desc::IsDBLoc(CQvStringW()));
  EXPECT_TRUE(Desc::ExtractFilePath(CQvStringW()).IsEmpty());
}

TEST(ThumbnailDescription, DatabaseLocationsComeApartAgain) {
  const std::int32_t kIDs[] = {
      0, 1, 42, -7, std::numeric_limits<std::int32_t>::max(), std::numeric_limits<std::int32_t>::min()};
  for (const std::int32_t id : kIDs) {
    for (const wchar_t* field : {L"Picture", L"", L"a:b", L"\x00C4rger", L"5"}) {
      const CQvStringW location = Desc::MakeDBLocation(id, field);
      EXPECT_TRUE(Desc::IsDBLoc(location));
      EXPECT_FALSE(Desc::IsFileLoc(location));
      EXPECT_TRUE(Desc::ExtractFilePath(location).IsEmpty());
      EXPECT_EQ(Desc::ExtractDBRecID(location).Str(), std::to_wstring(id));
      EXPECT_EQ(Desc::ExtractDBField(location).Str(), field);
    }
  }
}

TEST(ThumbnailDescription, SurvivesLowerCasingAndUpperCasedPrefixes) {
  CQvStringW location = Desc::MakeDBLocation(12, L"Overview");
  CQvStringUtils::ToLower(location.Str());
  EXPECT_EQ(Desc::ExtractDBRecID(location).Str(), L"12");
  EXPECT_EQ(Desc::ExtractDBField(location).Str(), L"overview");
  EXPECT_TRUE(CQvStringUtils::EqualNoCase(location.Str(), Desc::MakeDBLocation(12, L"OVERVIEW").Str()));
  for (wchar_t& c : location.Str()) {
    if (c >= L'a' && c <= L'z') c = static_cast<wchar_t>(c - L'a' + L'A');
  }
  EXPECT_EQ(Desc::ExtractDBRecID(location).Str(), L"12");
}

TEST(ThumbnailDescription, NoFileNameConvertsToADatabaseLocation) {
  const CQvStringW location = Desc::MakeDBLocation(3, L"Picture");
  EXPECT_EQ(location.Str()[0] & 0xFC00, 0xD800);
  const CQvStringW fromDisk = CQvStringUtils::UTF8toW(CQvStringUtils::WtoUTF8(location));
  EXPECT_NE(fromDisk, location);
  EXPECT_TRUE(Desc::IsFileLoc(fromDisk));
}

TEST(ThumbnailDescription, DamagedDatabaseLocationsNameNoRecord) {
  const std::wstring whole = Desc::MakeDBLocation(123, L"f").Str();
  const std::wstring prefix = whole.substr(0, whole.size() - 5);
  for (const std::wstring& tail : {std::wstring(), std::wstring(L"123"), std::wstring(L":f"), std::wstring(L"-:f"),
                                   std::wstring(L"12x:f"), std::wstring(L" 12:f"), std::wstring(L"--1:f")}) {
    const CQvStringW location(prefix + tail);
    EXPECT_FALSE(Desc::IsDBLoc(location));
    EXPECT_TRUE(Desc::ExtractDBRecID(location).IsEmpty());
    EXPECT_TRUE(Desc::ExtractDBField(location).IsEmpty());
  }
  EXPECT_TRUE(Desc::IsDBLoc(CQvStringW(prefix + L"123:f")));
}

TEST(ThumbnailDescription, MembersSpeakOfTheirOwnLocation) {
  Desc desc;
  desc.location = Desc::MakeDBLocation(9, L"Photo");
  EXPECT_TRUE(desc.IsDBLoc());
  EXPECT_EQ(desc.ExtractDBRecID().Str(), L"9");
  EXPECT_EQ(desc.ExtractDBField().Str(), L"Photo");
  desc.location = L"/img.png";
  EXPECT_TRUE(desc.IsFileLoc());
  EXPECT_EQ(desc.ExtractFilePath().Str(), L"/img.png");
}

}  // namespace
