// A decoder that does wrong, in the way that its name says: before it is ready, or when it is asked something.

#include <signal.h>
#include <unistd.h>

#include <cstring>
#include <limits>
#include <string>

#include "platform/imageformats/process/channel.h"
#include "platform/imageformats/process/image_records.h"
#include "platform/imageformats/process/protocol.h"

using namespace imageformats;

namespace {

constexpr std::uint32_t kMost = std::numeric_limits<std::uint32_t>::max();

CWireWriter Success() {
  CWireWriter answer;
  answer.Value(std::int32_t{0});
  return answer;
}

// An opened image of these properties, up to its metadata.
CWireWriter Opened(std::uint32_t side, std::uint32_t components, bool withMetadata) {
  CWireWriter answer = Success();
  SQvImageInfo info;
  info.width = info.height = info.widthBytes = side;
  info.components = components;
  info.bpcInMemory = 8;
  PutImageInfo(answer, info);
  answer.Value(std::numeric_limits<std::uint64_t>::max());
  answer.Value(true);
  answer.Value(withMetadata);
  return answer;
}

CWireWriter OpenedUnread(std::uint32_t side, std::uint32_t components) {
  CWireWriter answer = Opened(side, components, false);
  answer.Value(false);
  return answer;
}

CWireWriter OpenedWithManyLoops() {
  CWireWriter answer = Opened(100, 100, true);
  SImageMetadata metadata;
  metadata.loops.resize(100000);
  PutMetadata(answer, metadata);
  return answer;
}

void Announce(std::uint32_t size) {
  const std::uint32_t header[] = {kAnswer, size};
  [[maybe_unused]] const ssize_t sent = write(kSocketHandle, header, sizeof header);
}

void Misbehave(const std::string& name, CChannel& channel) {
  if (name == "crash") {
    // A sanitizer's run-time library takes the signal itself.
    signal(SIGSEGV, SIG_DFL);
    raise(SIGSEGV);
  }
  if (name == "exit") _exit(7);
  if (name == "stop") raise(SIGSTOP);
  if (name == "garbage") [[maybe_unused]]
    const ssize_t sent = write(kSocketHandle, "garbage that is none", 20);
  if (name == "crumb") [[maybe_unused]]
    const ssize_t sent = write(kSocketHandle, "x", 1);
  if (name == "huge") Announce(kMost);
  if (name == "cut") Announce(1000);
  if (name == "empty") channel.Send(kAnswer, {});
  if (name == "question") channel.Send(kRequestOpen, {});
  if (name == "status") channel.Send(kAnswer, std::vector<std::uint8_t>(4, 0xFF));
  if (name == "success") channel.Send(kAnswer, Success().Content());
  if (name == "giant") channel.Send(kAnswer, OpenedUnread(kMost, kMost).Content());
  if (name == "lists") {
    CWireWriter answer = Opened(100, 100, true);
    answer.Raw(std::vector<std::uint8_t>(1000, 0xFF));
    channel.Send(kAnswer, answer.Content());
  }
  if (name == "loops") channel.Send(kAnswer, OpenedWithManyLoops().Content());
  if (name == "nagging") {
    CWireWriter question;
    question.Text(std::string("../../etc/passwd"));
    while (channel.Send(kAskBeside, question.Content()) == CChannel::EResult::kDone) continue;
  }
  while (name == "busy") (void)getppid();
}

// Whether the question is to open and to read at once.
bool AsksToRead(const SMessage& message) {
  return message.kind == kRequestOpen && !message.content.empty() && message.content.back() != 0;
}

// Opens whatever it is asked to, and does wrong when it is to read.
void MisbehaveReading(const std::string& name, const SMessage& message, CChannel& channel) {
  if (message.kind == kRequestMemory || message.kind == kRequestClose) return;
  if (name == "read-giant" && message.kind == kRequestOpen) {
    CWireWriter answer = Opened(2000, 3, false);
    answer.Value(true);
    channel.Send(kAnswer, answer.Content());
    return;
  }
  if (message.kind == kRequestOpen && !AsksToRead(message)) {
    channel.Send(kAnswer, OpenedUnread(10, 3).Content());
    return;
  }
  Misbehave(name == "read-giant" ? "crash" : name.substr(0, name.find('-')), channel);
}

// As a program whose library is missing, that is not let run, or whose system does not answer.
void MisbehaveUnready(const std::string& name, CChannel& channel) {
  if (name == "unready-exit") _exit(127);
  if (name == "unready-killed") raise(SIGKILL);
  if (name == "unready-stop") raise(SIGSTOP);
  while (name == "unready-busy") (void)getppid();
  if (name == "unready-answer") channel.Send(kAnswer, Success().Content());
}

}  // namespace

int main(int, char** arguments) {
  const char* slash = std::strrchr(arguments[0], '/');
  const std::string name = slash != nullptr ? slash + 1 : "";
  CChannel channel(CDescriptor(kSocketHandle), true);
  MisbehaveUnready(name, channel);
  channel.Send(kReady, {});
  SMessage message;
  while (channel.Receive(&message) != CChannel::EResult::kClosed) {
    if (name.find("read") != std::string::npos && name.find("unready") == std::string::npos) {
      MisbehaveReading(name, message, channel);
    } else {
      Misbehave(name, channel);
    }
  }
  return 0;
}
