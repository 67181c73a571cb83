#include "host/watch/growing_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "tests/support/temp_folder.h"

namespace {

using namespace std::chrono_literals;
using qvhost::CGrowingFiles;

using testing::ElementsAre;
using testing::IsEmpty;

class GrowingFilesTest : public testing::Test {
 protected:
  qvtest::CTempFolder m_folder;
  CGrowingFiles m_growing{2s};
  const CGrowingFiles::Clock::time_point m_start = CGrowingFiles::Clock::now();
};

TEST_F(GrowingFilesTest, AFileHasSettledWhenItWasQuietForLongEnough) {
  const std::string file = m_folder.MakeFile("a.tif", "1");
  EXPECT_TRUE(m_growing.Touch(file, m_start));
  EXPECT_THAT(m_growing.TakeSettled(m_start + 1s), IsEmpty());
  EXPECT_FALSE(m_growing.Touch(file, m_start + 1s));
  EXPECT_THAT(m_growing.TakeSettled(m_start + 2s), IsEmpty());
  EXPECT_THAT(m_growing.TakeSettled(m_start + 3s), ElementsAre(file));
  EXPECT_TRUE(m_growing.IsEmpty());
}

TEST_F(GrowingFilesTest, AFileThatGrewUnnoticedIsWaitedForAgain) {
  const std::string file = m_folder.MakeFile("a.tif", "1");
  m_growing.Touch(file, m_start);
  m_folder.MakeFile("a.tif", "longer");
  EXPECT_THAT(m_growing.TakeSettled(m_start + 3s), IsEmpty());
  EXPECT_THAT(m_growing.TakeSettled(m_start + 5s), ElementsAre(file));
}

TEST_F(GrowingFilesTest, WhatIsGoneIsForgotten) {
  const std::string file = m_folder.MakeFile("a.tif");
  m_growing.Touch(file, m_start);
  EXPECT_TRUE(m_growing.Forget(file));
  EXPECT_FALSE(m_growing.Forget(file));
  m_growing.Touch(m_folder.Path("never.tif"), m_start);
  EXPECT_THAT(m_growing.TakeSettled(m_start + 3s), IsEmpty());
  EXPECT_TRUE(m_growing.IsEmpty());
}

}  // namespace
