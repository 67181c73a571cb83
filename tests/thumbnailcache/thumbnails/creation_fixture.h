#pragma once

#include <string>

#include "tests/thumbnailcache/support/service_test.h"

namespace qvtest {

// An open service that makes thumbnails on the test's own thread.
class CreationTest : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    ASSERT_EQ(Open(), 0);
  }
  // Makes the thumbnail and gives its state and picture, referenced by 1.
  SLookup Make(const std::wstring& path, std::uint32_t flags = 0) {
    RequestNow(Cache(), {Describe(path, flags)});
    return Get(Cache(), Describe(path, flags));
  }
  std::string Size(std::uint32_t width, std::uint32_t height) {
    const std::wstring path = MakeFile("size-" + std::to_string(m_number++) + ".tif", standin::SFile(width, height));
    const SLookup look = Make(path);
    EXPECT_EQ(look.state, kQvThumbnailReady);
    const std::string size = std::to_string(look.picture.width) + "x" + std::to_string(look.picture.height);
    if (look.HasPicture()) Cache().ReleaseThumbnail(1, Describe(path));
    return size;
  }

 private:
  int m_number = 0;
};

}  // namespace qvtest
