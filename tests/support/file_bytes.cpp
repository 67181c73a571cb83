#include "tests/support/file_bytes.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace qvtest {
namespace {

template <class Content>
Content Read(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace

SFileBytes BytesOf(std::string_view text) { return {text.begin(), text.end()}; }

SFileBytes BytesOf(const CQvByteArray& bytes) {
  const std::uint8_t* first = bytes.GetData(0);
  return {first, first + bytes.GetSize()};
}

std::string TextOf(const CQvByteArray& bytes) {
  const SFileBytes copy = BytesOf(bytes);
  return {copy.begin(), copy.end()};
}

SFileBytes Concatenated(const std::vector<SFileBytes>& parts) {
  SFileBytes all;
  for (const SFileBytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

SFileBytes ReadFile(const std::string& path) { return Read<SFileBytes>(path); }

std::string ReadTextFile(const std::string& path) { return Read<std::string>(path); }

void WriteFile(const std::string& path, std::span<const std::uint8_t> bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

}  // namespace qvtest
