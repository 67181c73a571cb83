#include "platform/system/registration_text.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace std::string_literals;

const std::u16string kFull =
    u"<variant version=\"1.0\"><CQvSampleImpl runtype=\"RQvRttiClass\">"
    u"<m_parent1 runtype=\"CQvStringW\" value=\"IQvSample\"/><m_parent2 runtype=\"CQvStringW\" value=\"IQvOther\"/>"
    u"<m_parent3 runtype=\"CQvStringW\" value=\"\"/><m_parent9 runtype=\"CQvStringW\" value=\"IQvLast\"/>"
    u"<m_additional runtype=\"CQvListVariant\"><m_singleton runtype=\"bool\" value=\"true\"/></m_additional>"
    u"</CQvSampleImpl></variant>";

std::u16string Record(const std::u16string& inner) { return u"<variant version=\"1.0\">" + inner + u"</variant>"; }

bool Parses(const std::u16string& data, std::vector<SQvRTTIClass>* classes) {
  return ParseRegistrationData(data, classes) == nullptr;
}

TEST(RegistrationText, ReadsEveryProperty) {
  std::vector<SQvRTTIClass> classes;
  ASSERT_TRUE(Parses(kFull + u"\0\0"s, &classes));
  ASSERT_EQ(classes.size(), 1u);
  EXPECT_EQ(classes[0].className.Str(), L"CQvSampleImpl");
  EXPECT_EQ(classes[0].parents[0].Str(), L"IQvSample");
  EXPECT_EQ(classes[0].parents[1].Str(), L"IQvOther");
  for (int i = 2; i < 8; ++i) EXPECT_TRUE(classes[0].parents[i].IsEmpty());
  EXPECT_EQ(classes[0].parents[8].Str(), L"IQvLast");
  EXPECT_TRUE(classes[0].singleton);
}

TEST(RegistrationText, ReadsTheListInOrderAndIgnoresWhatFollows) {
  const std::u16string second = Record(u"<B runtype=\"RQvRttiClass\"/>");
  std::vector<SQvRTTIClass> classes(1);
  ASSERT_TRUE(Parses(kFull + u"\0"s + second + u"\0\0garbage"s, &classes));
  ASSERT_EQ(classes.size(), 3u);
  EXPECT_EQ(classes[1].className.Str(), L"CQvSampleImpl");
  EXPECT_EQ(classes[2].className.Str(), L"B");
  EXPECT_FALSE(classes[2].singleton);
}

TEST(RegistrationText, AnEmptyListIsNoFault) {
  std::vector<SQvRTTIClass> classes;
  EXPECT_TRUE(Parses(u"\0"s, &classes));
  EXPECT_TRUE(classes.empty());
}

TEST(RegistrationText, OnlyTrueMakesASingleton) {
  for (const std::u16string& value : {u"false"s, u""s, u"1"s, u"TRUE"s}) {
    std::vector<SQvRTTIClass> classes;
    ASSERT_TRUE(Parses(Record(u"<A runtype=\"RQvRttiClass\"><m_additional><m_singleton value=\"" + value +
                              u"\"/></m_additional></A>") +
                           u"\0\0"s,
                       &classes));
    EXPECT_FALSE(classes[0].singleton);
  }
}

TEST(RegistrationText, MalformedDataChangesNothing) {
  const std::u16string good = Record(u"<A runtype=\"RQvRttiClass\"/>") + u"\0"s;
  std::u16string deep(40000, u'<');
  for (std::size_t i = 1; i < deep.size(); i += 3) {
    deep[i] = u'a';
    if (i + 1 < deep.size()) deep[i + 1] = u'>';
  }
  const std::u16string kMalformed[] = {
      u"",
      kFull,
      kFull + u"\0"s,  // not terminated
      u"no xml\0\0"s,
      u"<variant\0\0"s,
      u"<variant version=\"1.0\">\0\0"s,  // not well-formed
      u"<?xml version=\"1.0\"?>\0\0"s,
      u"<other version=\"1.0\"/>\0\0"s,
      u"<variant version=\"1.0\"/>\0\0"s,
      u"<variant><A runtype=\"RQvRttiClass\"/></variant>\0\0"s,
      u"<variant version=\"2.0\"><A runtype=\"RQvRttiClass\"/></variant>\0\0"s,
      Record(u"<A/>") + u"\0\0"s,
      Record(u"<A runtype=\"CQvStringW\"/>") + u"\0\0"s,
      Record(u"<A-b runtype=\"RQvRttiClass\"/>") + u"\0\0"s,
      Record(u"<\x00E9 runtype=\"RQvRttiClass\"/>") + u"\0\0"s,
      Record(u"<" + std::u16string(256, u'A') + u" runtype=\"RQvRttiClass\"/>") + u"\0\0"s,
      std::u16string(70000, u' ') + good + u"\0"s,
      deep + u"\0\0"s};
  for (const std::u16string& data : kMalformed) {
    for (const std::u16string& front : {std::u16string(), good}) {
      // What is malformed behind a good text spoils the whole.
      if (front.empty() == false && data.empty()) continue;
      std::vector<SQvRTTIClass> classes(1);
      EXPECT_NE(ParseRegistrationData(front + data, &classes), nullptr) << data.size();
      EXPECT_EQ(classes.size(), 1u);
    }
  }
}

TEST(RegistrationText, EntitiesOfADocumentTypeAreNotExpanded) {
  std::vector<SQvRTTIClass> classes;
  ASSERT_TRUE(Parses(u"<!DOCTYPE v [<!ENTITY x \"IQvEvil\">]>" +
                         Record(u"<A runtype=\"RQvRttiClass\"><m_parent1 value=\"&x;&lt;\"/></A>") + u"\0\0"s,
                     &classes));
  EXPECT_EQ(classes[0].parents[0].Str(), L"&x;<");
}

}  // namespace
