#include "platform/imageformats/pnm/pnm_header.h"

#include <string_view>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/text.h"

namespace imageformats {

namespace {

constexpr std::size_t kMaxPnmComment = 16384;
constexpr std::size_t kMaxPamLine = 1024;
constexpr std::size_t kMaxPamLines = 1000;

constexpr bool IsPnmBlank(int c) noexcept { return c == ' ' || (c >= '\t' && c <= '\r'); }
constexpr bool IsDigit(int c) noexcept { return c >= '0' && c <= '9'; }

void SkipComment(CBufferedInput& input, std::string* comment) {
  for (int c = input.Get(); c >= 0 && c != '\n' && c != '\r'; c = input.Get()) {
    if (comment != nullptr && comment->size() < kMaxPnmComment) comment->push_back(static_cast<char>(c));
  }
  if (comment != nullptr) comment->push_back('\n');
}

std::string NextLine(CBufferedInput& input) {
  std::string line;
  int c = input.Get();
  for (; c >= 0 && c != '\n'; c = input.Get()) {
    Require(line.size() < kMaxPamLine, "The PAM header is damaged");
    line.push_back(static_cast<char>(c));
  }
  Require(c >= 0, "The file ends in its header");
  return line;
}

std::uint32_t PamNumber(std::string_view text) {
  const double value = LeadingNumber(text);
  Require(value >= 1 && value <= 999999999, "The PAM header is damaged");
  return static_cast<std::uint32_t>(value);
}

void ReadPam(CBufferedInput& input, SPnmHeader& header) {
  header.depth = header.most = 0;
  for (std::size_t lines = 0;; ++lines) {
    Require(lines < kMaxPamLines, "The PAM header is damaged");
    const std::string line = NextLine(input);
    const std::string_view text = Trimmed(line);
    if (text == "ENDHDR") break;
    if (text.starts_with('#') && header.comment.size() < kMaxPnmComment) header.comment.append(text.substr(1)) += '\n';
    if (text.starts_with("WIDTH ")) header.size.width = PamNumber(text.substr(6));
    if (text.starts_with("HEIGHT ")) header.size.height = PamNumber(text.substr(7));
    if (text.starts_with("DEPTH ")) header.depth = PamNumber(text.substr(6));
    if (text.starts_with("MAXVAL ")) header.most = PamNumber(text.substr(7));
  }
  Require(header.depth != 0 && header.most != 0, "The PAM header is damaged");
  if (header.depth > 4) throw CUnsupportedError("PAM pictures of more than four samples a pixel are not supported");
}

void ReadNumbers(CBufferedInput& input, char kind, SPnmHeader& header) {
  header.isPlain = kind <= '3';
  header.isBitmap = kind == '1' || kind == '4';
  header.depth = kind == '3' || kind == '6' ? 3 : 1;
  header.size.width = NextPnmNumber(input, &header.comment);
  header.size.height = NextPnmNumber(input, &header.comment);
  if (!header.isBitmap) header.most = NextPnmNumber(input, &header.comment);
  // A comment may stand behind the last number; then one blank separates.
  while (input.Peek() == '#') SkipComment(input, &header.comment);
  if (!header.isPlain) Require(IsPnmBlank(input.Get()), "The file ends in its header");
}

}  // namespace

bool IsPnm(const CInput& input) noexcept {
  const auto head = input.Head();
  if (head.size() < 4 || head[0] != 'P' || head[1] < '1' || head[1] > '7') return false;
  if (head[1] == '7') return head[2] == '\n';
  std::size_t at = 2;
  while (at < head.size() && IsPnmBlank(head[at])) ++at;
  return (at > 2 || head[2] == '#') && (at == head.size() || head[at] == '#' || IsDigit(head[at]));
}

std::uint32_t NextPnmNumber(CBufferedInput& input, std::string* comment) {
  int c = input.Get();
  while (IsPnmBlank(c) || c == '#') {
    if (c == '#') SkipComment(input, comment);
    c = input.Get();
  }
  Require(c >= 0, "The file is truncated: numbers are missing");
  std::uint32_t value = 0, digits = 0;
  for (; IsDigit(c); ++digits) {
    value = value * 10 + static_cast<std::uint32_t>(c - '0');
    if (!IsDigit(input.Peek()) || digits == 8) break;
    c = input.Get();
  }
  Require(IsDigit(c) && !IsDigit(input.Peek()), "A number of the file is damaged");
  return value;
}

SPnmHeader ReadPnmHeader(const CInput& input) {
  Require(IsPnm(input), "The file is not a PNM file");
  CBufferedInput text(input, 2);
  SPnmHeader header;
  const char kind = static_cast<char>(input.Head()[1]);
  if (kind == '7') {
    text.Skip(1);
    ReadPam(text, header);
  } else {
    ReadNumbers(text, kind, header);
  }
  Require(header.size.width != 0 && header.size.height != 0, "The PNM picture has an impossible size");
  Require(header.most != 0 && header.most <= 65535, "The PNM header names an impossible largest value");
  header.pixels = text.Position();
  return header;
}

}  // namespace imageformats
