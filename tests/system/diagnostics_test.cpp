#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cwchar>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "system/qvdiag.h"

namespace {

struct SReport {
  EQvDiagKind kind;
  std::wstring text;
  std::wstring format;
  std::string file;
  bool hasFile, hasFormat;
  std::int32_t line;
};

// Collects what is reported while it exists.
class CCollector {
 public:
  CCollector() { QV_SetDiagSink(&Collect, this); }
  ~CCollector() { QV_SetDiagSink(nullptr, nullptr); }

  std::vector<SReport> reports;

 private:
  static void Collect(void* context, const SQvDiagMessage& message) {
    auto* self = static_cast<CCollector*>(context);
    const std::lock_guard<std::mutex> lock(self->m_mutex);
    self->reports.push_back({message.kind, message.text, message.format ? message.format : L"",
                             message.file ? message.file : "", message.file != nullptr, message.format != nullptr,
                             message.line});
  }

  std::mutex m_mutex;
};

TEST(Diagnostics, FormatsWideTexts) {
  CCollector collector;
  DiagOutputExW(L"%s has %d of %5.2f%% and %-6s|%.2s", L"\x00C4 file", 42, 1.5, L"ab", L"xyz");
  ASSERT_EQ(collector.reports.size(), 1u);
  const SReport& report = collector.reports[0];
  EXPECT_EQ(report.kind, EQvDiagKind::Output);
  EXPECT_EQ(report.text, L"\x00C4 file has 42 of  1.50% and ab    |xy");
  EXPECT_EQ(report.format, L"%s has %d of %5.2f%% and %-6s|%.2s");
  EXPECT_FALSE(report.hasFile);
}

TEST(Diagnostics, PercentSignsAndNamedLengthsStay) {
  CCollector collector;
  DiagOutputExW(L"100%%s %ls %hs %*s %lld", L"wide", "narrow", 4, L"r", 5LL);
  ASSERT_EQ(collector.reports.size(), 1u);
  EXPECT_EQ(collector.reports[0].text, L"100%s wide narrow    r 5");
}

TEST(Diagnostics, ALocationServesOneMessageOfItsThread) {
  CCollector collector;
  DiagOutputExW_hlp("here.cpp", 12);
  std::thread([] { DiagOutputExW(L"other thread"); }).join();
  DiagOutputExW(L"first");
  DiagOutputExW(L"second");
  ASSERT_EQ(collector.reports.size(), 3u);
  EXPECT_FALSE(collector.reports[0].hasFile);
  EXPECT_EQ(collector.reports[1].file, "here.cpp");
  EXPECT_EQ(collector.reports[1].line, 12);
  EXPECT_FALSE(collector.reports[2].hasFile);
  EXPECT_EQ(collector.reports[2].line, 0);
}

TEST(Diagnostics, AssertionsCarryTheirExpression) {
  CCollector collector;
  DiagAssertW(L"i == %s", "map.cpp", 7);
  ASSERT_EQ(collector.reports.size(), 1u);
  EXPECT_EQ(collector.reports[0].kind, EQvDiagKind::Assertion);
  EXPECT_EQ(collector.reports[0].text, L"i == %s");
  EXPECT_FALSE(collector.reports[0].hasFormat);
  EXPECT_EQ(collector.reports[0].file, "map.cpp");
  EXPECT_EQ(collector.reports[0].line, 7);
}

TEST(Diagnostics, LongTextsAreWhole) {
  CCollector collector;
  for (const std::size_t size : {510u, 511u, 512u, 513u, 2047u, 2048u, 1000000u}) {
    const std::wstring text(size, L'x');
    DiagOutputExW(L"%s", text.c_str());
    EXPECT_EQ(collector.reports.back().text, text);
  }
  EXPECT_EQ(collector.reports.size(), 7u);
}

TEST(Diagnostics, WhatCannotBeFormattedIsReportedByItsFormat) {
  CCollector collector;
  DiagOutputExW(L"bad %hs", "\xFF\xFE");
  ASSERT_EQ(collector.reports.size(), 1u);
  EXPECT_EQ(collector.reports[0].text, L"bad %hs");
  const std::wstring huge(20'000'000, L'x');
  DiagOutputExW(L"huge %s", huge.c_str());
  ASSERT_EQ(collector.reports.size(), 2u);
  EXPECT_EQ(collector.reports[1].text, L"huge %s");
}

TEST(Diagnostics, NullFormatIsAnEmptyText) {
  CCollector collector;
  DiagOutputExW(nullptr);
  DiagAssertW(nullptr, nullptr, 0);
  ASSERT_EQ(collector.reports.size(), 2u);
  EXPECT_TRUE(collector.reports[0].text.empty());
  EXPECT_TRUE(collector.reports[1].text.empty());
}

TEST(Diagnostics, ASinkMayReportAndThrow) {
  static int depth;
  depth = 0;
  QV_SetDiagSink(
      [](void*, const SQvDiagMessage&) {
        if (++depth < 3) DiagOutputExW(L"again");
        throw 1;
      },
      nullptr);
  testing::internal::CaptureStderr();
  DiagOutputExW(L"once");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "a diagnostic message was lost\na diagnostic message was lost\na diagnostic message was lost\n");
  QV_SetDiagSink(nullptr, nullptr);
  EXPECT_EQ(depth, 3);
}

TEST(Diagnostics, TheDefaultSinkWritesLines) {
  testing::internal::CaptureStderr();
  DiagOutputExW(L"a \x00B5\nb");
  DiagOutputExW_hlp("f.cpp", 3);
  DiagOutputExW(L"text");
  DiagAssertW(L"x == 0", "g.cpp", 4);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "a \xC2\xB5 b\nf.cpp:3: text\nassertion: g.cpp:4: x == 0\n");
}

TEST(Diagnostics, LinesOfManyThreadsDoNotMix) {
  const std::wstring text(20000, L'y');
  testing::internal::CaptureStderr();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 10; ++n) DiagOutputExW(L"%s", text.c_str());
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::string expected;
  for (int i = 0; i < 40; ++i) expected += std::string(20000, 'y') + "\n";
  EXPECT_TRUE(testing::internal::GetCapturedStderr() == expected);
}

struct SPair {
  std::atomic<int> messages{0};
  std::atomic<int> strangers{0};
};

template <int kOwn>
void Count(void* context, const SQvDiagMessage&) {
  auto* pairs = static_cast<SPair*>(context);
  ++pairs->messages;
  // The second array element belongs to the second function.
  if (pairs->strangers.load() != kOwn) ++pairs->strangers;
}

TEST(Diagnostics, SinkAndContextAreSwappedTogether) {
  SPair pairs[2];
  pairs[1].strangers = 1;
  QV_SetDiagSink(&Count<0>, &pairs[0]);
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      while (!stop) DiagOutputExW(L"%d", 1);
    });
  }
  for (int i = 0; i < 2000; ++i) {
    QV_SetDiagSink(&Count<1>, &pairs[1]);
    QV_SetDiagSink(&Count<0>, &pairs[0]);
  }
  while (pairs[0].messages == 0) std::this_thread::yield();
  stop = true;
  for (std::thread& thread : threads) thread.join();
  QV_SetDiagSink(nullptr, nullptr);
  EXPECT_EQ(pairs[0].strangers, 0);
  EXPECT_EQ(pairs[1].strangers, 1);
}

}  // namespace
