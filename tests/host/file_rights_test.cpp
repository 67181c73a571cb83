// Rights that a new file takes over, from inside.

#include "host/session/file_rights.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/temp_folder.h"

namespace qvhost {
namespace {

using namespace qvtest;

constexpr unsigned kNobody = 61001;

struct stat ModelWith(mode_t mode, gid_t group) {
  struct stat model {};
  model.st_mode = S_IFREG | mode;
  model.st_gid = group;
  return model;
}

// Of a new file in that folder.
mode_t RightsIn(const CTempFolder& folder, const struct stat& model, gid_t* group) {
  const int file = open(folder.Path("new").c_str(), O_WRONLY | O_CREAT, 0600);
  const mode_t rights = ShareLike(model, file);
  struct stat made {};
  EXPECT_EQ(fstat(file, &made), 0);
  *group = made.st_gid;
  close(file);
  return rights;
}

TEST(FileRightsTest, AFileOfTheSameGroupIsForTheSameUsers) {
  const CTempFolder folder;
  gid_t group = 0;
  for (const auto& [model, rights] :
       {std::pair{0600u, 0600u}, {0640u, 0640u}, {0664u, 0664u}, {0444u, 0644u}, {0751u, 0640u}, {04604u, 0604u}}) {
    EXPECT_EQ(RightsIn(folder, ModelWith(model, getgid()), &group), rights) << model;
    EXPECT_EQ(group, getgid());
  }
}

TEST(FileRightsTest, RootGivesItToAnyGroup) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can";
  const CTempFolder folder;
  gid_t group = 0;
  EXPECT_EQ(RightsIn(folder, ModelWith(0660, kNobody), &group), 0660u);
  EXPECT_EQ(group, kNobody);
}

TEST(FileRightsTest, OfAnotherGroupNobodyGainsAnything) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
  const CTempFolder folder;
  ASSERT_EQ(chmod(folder.Path().c_str(), 0777), 0);
  const pid_t child = fork();
  if (child == 0) {
    if (setresgid(kNobody, kNobody, kNobody) != 0 || setresuid(kNobody, kNobody, kNobody) != 0) _exit(99);
    int wrong = 0;
    gid_t group = 0;
    for (const auto& [model, rights] :
         {std::pair{0600u, 0600u}, {0660u, 0600u}, {0644u, 0604u}, {0666u, 0606u}, {0604u, 0600u}, {0646u, 0604u}}) {
      if (RightsIn(folder, ModelWith(model, 0), &group) != rights || group != kNobody) ++wrong;
    }
    _exit(wrong);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace qvhost
