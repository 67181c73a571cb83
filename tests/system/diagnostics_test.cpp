#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "system/qvdiag.h"
#include "tests/support/diag_recorder.h"
#include "tests/support/threads.h"

namespace {

using qvtest::CDiagRecorder;
using qvtest::RunThreads;
using qvtest::SDiag;

TEST(Diagnostics, FormatsWideTexts) {
  CDiagRecorder recorder;
  DiagOutputExW(L"%s has %d of %5.2f%% and %-6s|%.2s", L"\x00C4 file", 42, 1.5, L"ab", L"xyz");
  const std::vector<SDiag> reports = recorder.Take();
  ASSERT_EQ(reports.size(), 1u);
  const SDiag& report = reports[0];
  EXPECT_EQ(report.kind, EQvDiagKind::Output);
  EXPECT_EQ(report.text, L"\x00C4 file has 42 of  1.50% and ab    |xy");
  EXPECT_EQ(report.format, L"%s has %d of %5.2f%% and %-6s|%.2s");
  EXPECT_FALSE(report.hasFile);
}

TEST(Diagnostics, PercentSignsAndNamedLengthsStay) {
  CDiagRecorder recorder;
  DiagOutputExW(L"100%%s %ls %hs %*s %lld", L"wide", "narrow", 4, L"r", 5LL);
  const std::vector<SDiag> reports = recorder.Take();
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_EQ(reports[0].text, L"100%s wide narrow    r 5");
}

TEST(Diagnostics, ALocationServesOneMessageOfItsThread) {
  CDiagRecorder recorder;
  DiagOutputExW_hlp("here.cpp", 12);
  std::thread([] { DiagOutputExW(L"other thread"); }).join();
  DiagOutputExW(L"first");
  DiagOutputExW(L"second");
  const std::vector<SDiag> reports = recorder.Take();
  ASSERT_EQ(reports.size(), 3u);
  EXPECT_FALSE(reports[0].hasFile);
  EXPECT_EQ(reports[1].file, "here.cpp");
  EXPECT_EQ(reports[1].line, 12);
  EXPECT_FALSE(reports[2].hasFile);
  EXPECT_EQ(reports[2].line, 0);
}

TEST(Diagnostics, AssertionsCarryTheirExpression) {
  CDiagRecorder recorder;
  DiagAssertW(L"i == %s", "map.cpp", 7);
  const std::vector<SDiag> reports = recorder.Take();
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_EQ(reports[0].kind, EQvDiagKind::Assertion);
  EXPECT_EQ(reports[0].text, L"i == %s");
  EXPECT_FALSE(reports[0].hasFormat);
  EXPECT_EQ(reports[0].file, "map.cpp");
  EXPECT_EQ(reports[0].line, 7);
}

TEST(Diagnostics, LongTextsAreWhole) {
  CDiagRecorder recorder;
  for (const std::size_t size : {510u, 511u, 512u, 513u, 2047u, 2048u, 1000000u}) {
    const std::wstring text(size, L'x');
    DiagOutputExW(L"%s", text.c_str());
    EXPECT_EQ(recorder.TakeTexts(), std::vector{text});
  }
}

TEST(Diagnostics, WhatCannotBeFormattedIsReportedByItsFormat) {
  CDiagRecorder recorder;
  DiagOutputExW(L"bad %hs", "\xFF\xFE");
  const std::wstring huge(20'000'000, L'x');
  DiagOutputExW(L"huge %s", huge.c_str());
  EXPECT_EQ(recorder.TakeTexts(), (std::vector<std::wstring>{L"bad %hs", L"huge %s"}));
}

TEST(Diagnostics, NullFormatIsAnEmptyText) {
  CDiagRecorder recorder;
  DiagOutputExW(nullptr);
  DiagAssertW(nullptr, nullptr, 0);
  EXPECT_EQ(recorder.TakeTexts(), (std::vector<std::wstring>{L"", L""}));
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
  RunThreads(4, [&](int) {
    for (int n = 0; n < 10; ++n) DiagOutputExW(L"%s", text.c_str());
  });
  std::string expected;
  for (int i = 0; i < 40; ++i) expected += std::string(20000, 'y') + "\n";
  EXPECT_TRUE(testing::internal::GetCapturedStderr() == expected);
}

struct SSinkContext {
  const int sink;  // the number of the sink that it belongs to
  std::atomic<int> messages{0};
  std::atomic<int> ofOtherSink{0};
};

template <int kSink>
void Count(void* context, const SQvDiagMessage&) {
  auto* counts = static_cast<SSinkContext*>(context);
  ++counts->messages;
  if (counts->sink != kSink) ++counts->ofOtherSink;
}

TEST(Diagnostics, SinkAndContextAreSwappedTogether) {
  SSinkContext first{0}, second{1};
  QV_SetDiagSink(&Count<0>, &first);
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      while (!stop) DiagOutputExW(L"%d", 1);
    });
  }
  for (int i = 0; i < 2000; ++i) {
    QV_SetDiagSink(&Count<1>, &second);
    QV_SetDiagSink(&Count<0>, &first);
  }
  while (first.messages == 0) std::this_thread::yield();
  stop = true;
  for (std::thread& thread : threads) thread.join();
  QV_SetDiagSink(nullptr, nullptr);
  EXPECT_EQ(first.ofOtherSink, 0);
  EXPECT_EQ(second.ofOtherSink, 0);
}

}  // namespace
