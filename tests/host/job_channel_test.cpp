#include "host/jobs/job_channel.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <optional>

namespace qvhost {
namespace {

// One that cannot go on says why, and has often been handed files that it never looked at.
TEST(JobChannelTest, WhatAProcessSaidBeforeItEndedIsHeardWhateverItLeftUnread) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
  const CJobChannel ours(ends[0]);
  std::optional<CJobChannel> theirs(std::in_place, ends[1]);
  ASSERT_TRUE(ours.Send(SJobOrder{SJobOrder::EKind::Files, {1, 2}}));
  ASSERT_TRUE(theirs->Send(SJobReport{SJobReport::EKind::Stopped, 2, "the disk is full"}));
  theirs.reset();
  const std::optional<SJobReport> heard = ours.ReceiveReport();
  ASSERT_TRUE(heard.has_value());
  EXPECT_EQ(heard->kind, SJobReport::EKind::Stopped);
  EXPECT_EQ(heard->text, "the disk is full");
  EXPECT_FALSE(ours.ReceiveReport().has_value());
}

}  // namespace
}  // namespace qvhost
