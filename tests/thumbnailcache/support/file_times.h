#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdint>
#include <string>

#include "system/qvstring.h"

namespace qvtest {

inline void SetLastWrite(const std::wstring& path, const timespec& time) {
  const timespec times[2] = {{0, UTIME_OMIT}, time};
  ASSERT_EQ(utimensat(AT_FDCWD, CQvStringUtils::WtoUTF8(path.c_str()).c_str(), times, 0), 0);
}

// In 100-nanosecond steps since 1601.
inline void SetLastWrite(const std::wstring& path, std::int64_t ticks) {
  const std::int64_t since1970 = ticks - 116444736000000000;
  SetLastWrite(path, timespec{since1970 / 10000000, since1970 % 10000000 * 100});
}

inline timespec LastWrite(const std::wstring& path) {
  struct stat status {};
  EXPECT_EQ(stat(CQvStringUtils::WtoUTF8(path.c_str()).c_str(), &status), 0);
  return status.st_mtim;
}

}  // namespace qvtest
