#include "platform/imageformats/process/decoder.h"

#include <fcntl.h>

#include <algorithm>
#include <utility>

#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/base/text.h"
#include "platform/imageformats/process/decoder_pool.h"
#include "platform/imageformats/process/protocol.h"
#include "platform/imageformats/process/troublemakers.h"

namespace imageformats {

namespace {

constexpr std::chrono::milliseconds kTick(200);
// A decoder stops by itself in time, and says why; it is ended when it does not.
constexpr std::chrono::seconds kGrace(2);
// Processor time that loading its libraries and giving up its rights may take.
constexpr std::chrono::seconds kMostToStart(20);
std::chrono::milliseconds g_patience = std::chrono::seconds(30);
std::chrono::milliseconds g_limitForTest{};
// More than a set of files has, and than a picture that is a folder shows of its chunks.
constexpr int kMostAskedFor = 10000;
constexpr int kMostAskedForBelow = 250000;

constexpr std::size_t kLargePicture = 8u << 20;
constexpr std::size_t kPixelStep = 1u << 20;

constexpr std::size_t kMaxReason = 1000;

[[noreturn]] void ThrowAnswer(std::int32_t status, CWireReader& answer) {
  std::string text;
  answer.Text(text);
  text = CQvStringUtils::WtoUTF8(TextOf(std::string_view(text).substr(0, kMaxReason))).Str();
  if (status == kQvUnsupported) throw CUnsupportedError(text);
  throw CDamagedError(text);
}

}  // namespace

// Counts what a decoder does while it is waited for, tick by tick: time in which this process itself stood still, and
// the machine slept, is not held against it.
class CDecoder::CWatch {
 public:
  explicit CWatch(const CDecoderProcess& process) : m_process(process) {}

  // Why the decoder is to be ended; empty: it may go on.
  std::string Tick(const SSubject& subject) { return Tick(LimitsFor(subject.bytes, subject.unpackedBytes).time); }
  std::string Tick(std::chrono::milliseconds limit) {
    const std::chrono::nanoseconds now = m_process.ProcessorTime();
    if (m_ticks++ == 0) m_start = m_last = now;
    m_still = now == m_last ? m_still + kTick : std::chrono::milliseconds(0);
    m_last = now;
    const auto most = g_limitForTest.count() != 0 ? g_limitForTest : limit + kGrace;
    if (now - m_start > most) return TimeExceeded(limit);
    if (m_still >= g_patience) return "The decoder stood still and was ended";
    return "";
  }

 private:
  const CDecoderProcess& m_process;
  int m_ticks = 0;
  std::chrono::nanoseconds m_start{}, m_last{};
  std::chrono::milliseconds m_still{};
};

CDecoder::CDecoder(SDecoderUse use) : m_use(std::move(use)) {}

bool CDecoder::Start() {
  if (IsRunning()) return true;
  m_process.reset();
  m_pixels = CSharedPixels();
  ++m_lending;
  CDescriptor folder;
  if (!m_use.folder.empty()) {
    folder.Reset(open(m_use.folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!folder) return false;
  }
  m_process = CDecoderProcess::Start(DecoderProgram(), m_use.purpose.c_str(), folder.Get());
  if (!m_process) return false;
  m_process->Channel().SetTick(static_cast<std::uint32_t>(kTick.count()));
  m_isReady = false;
  ++m_generation;
  return true;
}

std::vector<std::uint8_t> CDecoder::Ask(std::uint32_t kind, const CWireWriter& question, const SSubject& subject,
                                        int descriptor) {
  // Asked before it is ready, so that nobody waits for the other one.
  if (!IsRunning() || m_process->Channel().Send(kind, question.Content(), descriptor) != CChannel::EResult::kDone) {
    if (IsRunning() && !m_isReady) AwaitReady();
    m_process.reset();
    throw CStaleDecoder();
  }
  AwaitReady();
  SMessage message;
  try {
    Await(subject, &message);
  } catch (...) {
    // Whatever it still says belongs to nothing.
    m_process.reset();
    throw;
  }
  CWireReader answer(message.content);
  const auto status = answer.Get<std::int32_t>();
  if (status != kQvOk) ThrowAnswer(status, answer);
  message.content.erase(message.content.begin(), message.content.begin() + sizeof status);
  return std::move(message.content);
}

void CDecoder::AwaitReady() {
  if (m_isReady) return;
  CWatch watch(*m_process);
  SMessage message;
  for (;;) {
    switch (m_process->Channel().Receive(&message)) {
      case CChannel::EResult::kTick:
        if (!watch.Tick(kMostToStart).empty()) GiveUpUnready("was not ready in time", true);
        continue;
      case CChannel::EResult::kClosed:
        GiveUpUnready("ended before it was ready (" + m_process->End() + ")", false);
      case CChannel::EResult::kDone:
        if (message.kind != kReady) GiveUpUnready("says something else than that it is ready", false);
        m_isReady = true;
        NoteReady(m_use);
        return;
    }
  }
}

void CDecoder::GiveUpUnready(const std::string& reason, bool keptWaiting) {
  m_process.reset();
  NoteUnready(m_use, keptWaiting);
  throw CUnreadyDecoder("The decoder " + reason);
}

void CDecoder::Await(const SSubject& subject, SMessage* message) {
  CWatch watch(*m_process);
  const int mostAskedFor = subject.input.IsFolder() ? kMostAskedForBelow : kMostAskedFor;
  int askedFor = 0;
  for (;;) {
    switch (m_process->Channel().Receive(message)) {
      case CChannel::EResult::kTick:
        if (const std::string reason = watch.Tick(subject); !reason.empty()) GiveUp(subject, reason);
        continue;
      case CChannel::EResult::kClosed:
        GiveUp(subject, "The decoder died of it (" + m_process->End() + ")");
      case CChannel::EResult::kDone:
        break;
    }
    if (message->kind == kAnswer) return;
    if (message->kind != kAskBeside || ++askedFor > mostAskedFor) GiveUp(subject, "The decoder's answer is damaged");
    AnswerBeside(*message, subject);
  }
}

void CDecoder::AnswerBeside(const SMessage& message, const SSubject& subject) {
  std::string name;
  CWireReader(message.content).Text(name);
  // Only a picture that is a folder reaches below itself.
  const bool isFolder = subject.input.IsFolder();
  const std::shared_ptr<const CInput> file = isFolder ? subject.input.OpenBelow(name) : subject.input.OpenBeside(name);
  if (file) subject.bytes += file->Size();
  if (m_process->Channel().Send(kBeside, {}, file ? file->Handle() : -1) != CChannel::EResult::kDone) {
    GiveUp(subject, "The decoder asks and does not listen");
  }
}

void CDecoder::GiveUp(const SSubject& subject, const std::string& reason) {
  m_process.reset();
  NoteTroublemaker(subject.input);
  throw CDamagedError(reason);
}

void CDecoder::Tell(std::uint32_t kind, const CWireWriter& content, int descriptor) noexcept {
  if (!IsRunning()) return;
  if (m_process->Channel().Send(kind, content.Content(), descriptor) != CChannel::EResult::kDone) m_process.reset();
}

const CSharedPixels& CDecoder::Lend(std::size_t size) {
  ++m_lending;
  if (m_pixels.Size() < size) {
    m_pixels = CSharedPixels();
    m_pixels = CSharedPixels::Create((size + kPixelStep - 1) / kPixelStep * kPixelStep);
    Tell(kRequestMemory, CWireWriter(), m_pixels.Handle());
  }
  return m_pixels;
}

void CDecoder::TakeBackLarge() noexcept {
  if (m_pixels.Size() <= kLargePicture) return;
  ++m_lending;
  m_pixels = CSharedPixels();
  Tell(kRequestMemory, CWireWriter());
}

void CDecoder::SetPatienceForTest(std::chrono::milliseconds still, std::chrono::milliseconds busy) noexcept {
  g_patience = still;
  g_limitForTest = busy;
}

}  // namespace imageformats
