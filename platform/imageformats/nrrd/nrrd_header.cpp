#include "platform/imageformats/nrrd/nrrd_header.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/text.h"

namespace imageformats {

namespace {

constexpr std::size_t kLongestNrrdHeader = 1 << 20;
constexpr std::size_t kMostNrrdAxes = 16;

using CWords = std::vector<std::string>;

// Words between blanks; what stands in parentheses or quotation marks is one word, without them.
CWords WordsOf(std::string_view text) {
  CWords words;
  for (std::size_t at = 0; at < text.size();) {
    const char first = text[at];
    if (first == ' ' || first == '\t') {
      ++at;
      continue;
    }
    const bool quoted = first == '"', nested = first == '(';
    const std::size_t begin = quoted || nested ? at + 1 : at;
    std::size_t end = quoted   ? text.find('"', begin)
                      : nested ? text.find(')', begin)
                               : text.find_first_of(" \t", begin);
    end = std::min(end, text.size());
    words.emplace_back(text.substr(begin, end - begin));
    at = quoted || nested ? end + 1 : end;
  }
  return words;
}

template <class T>
std::optional<T> NumberIn(std::string_view text) {
  text = Trimmed(text);
  T value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

// Length of a vector "a,b,c"; 0 for none.
double LengthOf(std::string_view vector) {
  double sum = 0.0;
  while (!vector.empty()) {
    const std::size_t comma = std::min(vector.find(','), vector.size());
    const double part = NumberIn<double>(vector.substr(0, comma)).value_or(0.0);
    sum += part * part;
    vector.remove_prefix(std::min(comma + 1, vector.size()));
  }
  return std::isfinite(sum) ? std::sqrt(sum) : 0.0;
}

class CNrrdParser {
 public:
  explicit CNrrdParser(SNrrdHeader& header) : m_header(header) {}

  void TakeLine(std::string_view line) {
    if (line.starts_with('#')) return;
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) throw CDamagedError("The NRRD header is damaged");
    if (line.substr(colon).starts_with(":=")) {
      m_header.values.emplace_back(line.substr(0, colon), line.substr(colon + 2));
    } else {
      TakeField(LowerAscii(Trimmed(line.substr(0, colon))), Trimmed(line.substr(colon + 1)));
    }
  }

  void Complete() {
    const bool isComplete = !m_header.axes.empty() && !m_header.type.empty() && !m_header.encoding.empty();
    if (!isComplete || m_sizes != m_header.axes.size()) throw CDamagedError("The NRRD header is incomplete");
    for (SNrrdAxis& axis : m_header.axes) {
      if (axis.unit.empty() && axis.spacing > 0.0 && m_hasDirections) axis.unit = m_spaceUnit;
    }
  }

 private:
  void TakeField(const std::string& name, std::string_view value) {
    if (name == "dimension") {
      const auto count = NumberIn<std::size_t>(value).value_or(0);
      if (count == 0 || count > kMostNrrdAxes) throw CDamagedError("The NRRD header names no usable dimension");
      m_header.axes.resize(count);
    } else if (name == "type") {
      m_header.type = LowerAscii(value);
    } else if (name == "encoding") {
      m_header.encoding = LowerAscii(value);
    } else if (name == "endian") {
      m_header.bigEndian = LowerAscii(value) == "big";
    } else if (name == "line skip" || name == "lineskip") {
      m_header.lineSkip = NumberIn<std::int64_t>(value).value_or(0);
    } else if (name == "byte skip" || name == "byteskip") {
      m_header.byteSkip = NumberIn<std::int64_t>(value).value_or(0);
    } else if (name == "data file" || name == "datafile") {
      m_header.dataFile = value;
    } else if (name == "content") {
      m_header.content = value;
    } else {
      TakeAxes(name, value);
    }
  }

  void TakeAxes(const std::string& name, std::string_view value) {
    if (name == "sizes") {
      ForEachAxis(value, [](SNrrdAxis& axis, const std::string& word) {
        axis.size = NumberIn<std::uint64_t>(word).value_or(0);
        if (axis.size == 0) throw CDamagedError("The NRRD header names a size of 0");
      });
      m_sizes = WordsOf(value).size();
    } else if (name == "spacings") {
      ForEachAxis(value, [](SNrrdAxis& axis, const std::string& word) {
        const double spacing = NumberIn<double>(word).value_or(0.0);
        axis.spacing = std::isfinite(spacing) ? std::fabs(spacing) : 0.0;
      });
    } else if (name == "space directions") {
      m_hasDirections = true;
      ForEachAxis(value, [](SNrrdAxis& axis, const std::string& word) { axis.spacing = LengthOf(word); });
    } else if (name == "units") {
      ForEachAxis(value, [](SNrrdAxis& axis, const std::string& word) { axis.unit = word; });
    } else if (name == "space units") {
      const CWords units = WordsOf(value);
      if (!units.empty()) m_spaceUnit = units.front();
    } else if (name == "kinds") {
      ForEachAxis(value, [](SNrrdAxis& axis, const std::string& word) { axis.kind = LowerAscii(word); });
    } else if (name == "labels") {
      ForEachAxis(value, [](SNrrdAxis& axis, const std::string& word) { axis.label = LowerAscii(word); });
    }
  }

  template <class Function>
  void ForEachAxis(std::string_view value, Function&& function) {
    const CWords words = WordsOf(value);
    for (std::size_t i = 0; i < std::min(words.size(), m_header.axes.size()); ++i) function(m_header.axes[i], words[i]);
  }

  SNrrdHeader& m_header;
  std::size_t m_sizes = 0;
  bool m_hasDirections = false;
  std::string m_spaceUnit;
};

// The next line, without its end; nothing at the end of the text.
std::optional<std::string_view> TakeLine(std::string_view text, std::size_t& at) {
  if (at >= text.size()) return std::nullopt;
  const std::size_t end = text.find('\n', at);
  std::string_view line = text.substr(at, std::min(end, text.size()) - at);
  at = end == std::string_view::npos ? text.size() : end + 1;
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

}  // namespace

bool IsNrrd(std::span<const std::uint8_t> head, std::uint64_t /*size*/) {
  constexpr std::string_view kSignature = "NRRD000";
  return head.size() > kSignature.size() && std::equal(kSignature.begin(), kSignature.end(), head.begin()) &&
         head[kSignature.size()] >= '1' && head[kSignature.size()] <= '9';
}

SNrrdHeader ReadNrrdHeader(const CInput& input) {
  std::vector<char> bytes(static_cast<std::size_t>(std::min<std::uint64_t>(input.Size(), kLongestNrrdHeader)));
  const std::string_view text(bytes.data(), input.ReadAt(0, bytes.data(), bytes.size()));
  SNrrdHeader header;
  CNrrdParser parser(header);
  std::size_t at = 0;
  TakeLine(text, at);
  for (;;) {
    const std::optional<std::string_view> line = TakeLine(text, at);
    if (line && line->empty()) break;
    if (!line) {
      if (header.dataFile.empty() || text.size() == kLongestNrrdHeader) {
        throw CDamagedError("The NRRD header does not end");
      }
      break;
    }
    parser.TakeLine(*line);
    // What follows are names.
    if (header.dataFile.starts_with("LIST")) break;
  }
  parser.Complete();
  header.dataOffset = at;
  return header;
}

}  // namespace imageformats
