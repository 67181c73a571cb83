#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/imageformats/base/input.h"
#include "platform/imageformats/process/decoder_process.h"
#include "platform/imageformats/process/shared_pixels.h"
#include "platform/imageformats/process/wire.h"

namespace imageformats {

// What a decoder is started for.
struct SDecoderUse {
  std::string purpose;  // see protocol.h
  std::string folder;   // that a decoder for slides may read; else empty

  friend bool operator==(const SDecoderUse&, const SDecoderUse&) = default;
};

// A decoder that is started when it is first needed, and again when it has died. What it says is believed no further
// than its form. One thread at a time.
class CDecoder {
 public:
  explicit CDecoder(SDecoderUse use);
  CDecoder(const CDecoder&) = delete;
  CDecoder& operator=(const CDecoder&) = delete;

  const SDecoderUse& Use() const noexcept { return m_use; }
  // Makes sure that one is running; false when it cannot be started.
  bool Start();
  bool IsRunning() const noexcept { return m_process && m_process->IsOwn(); }
  // Changes with every start: images of former ones are not known any more. 0 before the first.
  std::uint64_t Generation() const noexcept { return m_generation; }

  // The file that a question is about, and the bytes that the time for the answer is measured by: those of files beside
  // it that the decoder asks for are added. `unpackedBytes`: of the picture, where it is known.
  struct SSubject {
    const CInput& input;
    std::uint64_t& bytes;
    std::uint64_t unpackedBytes = 0;
  };
  // What the decoder answers. Throws what it answers with; CDamagedError when it died, said nonsense or was ended
  // because it used too much time or stood still; CStaleDecoder when it was dead before it could be asked;
  // CUnreadyDecoder when it never came to look at a file.
  std::vector<std::uint8_t> Ask(std::uint32_t kind, const CWireWriter& question, const SSubject& subject,
                                int descriptor = -1);
  // What needs no answer. A decoder that does not take it is found dead by the next question.
  void Tell(std::uint32_t kind, const CWireWriter& content, int descriptor = -1) noexcept;

  // Memory for a picture that the decoder has, of at least that size.
  const CSharedPixels& Lend(std::size_t size);
  // What was lent last, and the number of its lending: as long as that is the same, nothing else was drawn there.
  const CSharedPixels& Lent() const noexcept { return m_pixels; }
  std::uint64_t Lending() const noexcept { return m_lending; }
  // Gives large memory back.
  void TakeBackLarge() noexcept;

  // How long a decoder that is waited for may stand still, and how much processor time it may use whatever the file.
  static void SetPatienceForTest(std::chrono::milliseconds still, std::chrono::milliseconds busy) noexcept;

 private:
  class CWatch;
  void AwaitReady();
  [[noreturn]] void GiveUpUnready(const std::string& reason, bool keptWaiting);
  void Await(const SSubject& subject, SMessage* message);
  void AnswerBeside(const SMessage& message, const SSubject& subject);
  [[noreturn]] void GiveUp(const SSubject& subject, const std::string& reason);

  SDecoderUse m_use;
  std::unique_ptr<CDecoderProcess> m_process;
  bool m_isReady = false;
  std::uint64_t m_generation = 0;
  CSharedPixels m_pixels;
  std::uint64_t m_lending = 0;
};

// The decoder had died, of something else, before it was asked: start it and ask again.
class CStaleDecoder : public CDamagedError {
 public:
  CStaleDecoder() : CDamagedError("The decoder was ended from outside") {}
};

// The decoder was started and ended, stood still or said nonsense before it was ready: that is no file's fault.
class CUnreadyDecoder : public CDamagedError {
 public:
  explicit CUnreadyDecoder(const std::string& reason) : CDamagedError(reason) {}
};

}  // namespace imageformats
