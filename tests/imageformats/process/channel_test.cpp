#include "platform/imageformats/process/channel.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <optional>

namespace imageformats {
namespace {

class ChannelTest : public testing::Test {
 protected:
  void SetUp() override {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
    m_one.emplace(CDescriptor(ends[0]), false);
    m_other.emplace(CDescriptor(ends[1]), false);
  }

  std::optional<CChannel> m_one, m_other;
  SMessage m_message;
};

// A decoder that dies has often not read all that it was asked.
TEST_F(ChannelTest, WhatAnEndSaidBeforeItClosedIsHeardWhateverItLeftUnread) {
  ASSERT_EQ(m_one->Send(7, {1, 2, 3}), CChannel::EResult::kDone);
  ASSERT_EQ(m_one->Send(8, {}), CChannel::EResult::kDone);
  ASSERT_EQ(m_other->Send(9, {4}), CChannel::EResult::kDone);
  m_one.reset();
  ASSERT_EQ(m_other->Receive(&m_message), CChannel::EResult::kDone);
  EXPECT_EQ(m_message.kind, 7u);
  EXPECT_EQ(m_message.content, (std::vector<std::uint8_t>{1, 2, 3}));
  ASSERT_EQ(m_other->Receive(&m_message), CChannel::EResult::kDone);
  EXPECT_EQ(m_message.kind, 8u);
  EXPECT_EQ(m_other->Receive(&m_message), CChannel::EResult::kClosed);
}

TEST_F(ChannelTest, AnEndThatClosedWithoutAWordIsClosed) {
  ASSERT_EQ(m_other->Send(9, {4}), CChannel::EResult::kDone);
  m_one.reset();
  EXPECT_EQ(m_other->Receive(&m_message), CChannel::EResult::kClosed);
  EXPECT_EQ(m_other->Send(9, {}), CChannel::EResult::kClosed);
}

TEST_F(ChannelTest, AMessageLargerThanAPacketArrivesWhole) {
  const std::vector<std::uint8_t> content(150000, 5);
  ASSERT_EQ(m_one->Send(7, content), CChannel::EResult::kDone);
  ASSERT_EQ(m_other->Receive(&m_message), CChannel::EResult::kDone);
  EXPECT_EQ(m_message.content, content);
}

}  // namespace
}  // namespace imageformats
