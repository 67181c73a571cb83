#pragma once

#include <string>

#include "tests/thumbnailcache/support/service_test.h"

namespace qvtest {

class CacheMapTest : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    ASSERT_EQ(Open(), 0);
  }

  // A file with a ready thumbnail.
  std::wstring MakeReady(const std::string& name, std::uint32_t flags = 0) {
    const std::wstring path = MakeFile(name);
    RequestNow(Cache(), {Describe(path, flags)});
    return path;
  }

  void ExpectAssertion(const wchar_t* text) {
    const auto messages = m_diag.Take();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].kind, EQvDiagKind::Assertion);
    EXPECT_EQ(messages[0].text, text);
    EXPECT_EQ(messages[0].file, kSource);
  }
};

}  // namespace qvtest
