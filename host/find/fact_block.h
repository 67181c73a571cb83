#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace qvhost {

// What numbers tell of a picture. Objective and User refer to names; PixelSize and Time are reals, held by FactOfReal.
enum class EFact { Channels, Z, T, PixelSize, Size, Time, Objective, User, Experiment };
constexpr std::size_t kFactCount = 9;
constexpr std::int64_t kUnknownFact = std::numeric_limits<std::int64_t>::min();

// A real that is not negative as a whole number: of two the larger one stays the larger one.
std::int64_t FactOfReal(double value);
double RealOfFact(std::int64_t fact);

// The facts of one picture, as EFact counts.
class CFacts {
 public:
  CFacts() { m_values.fill(kUnknownFact); }

  std::int64_t& operator[](EFact fact) { return m_values[static_cast<std::size_t>(fact)]; }
  std::int64_t operator[](EFact fact) const { return m_values[static_cast<std::size_t>(fact)]; }

 private:
  std::array<std::int64_t, kFactCount> m_values;
};

// Pictures whose numbers follow each other have their facts in one block, fact by fact, so that one fact of all of them
// is looked at in a row.
constexpr std::size_t kPicturesOfBlock = 256;
using CFactColumn = std::array<std::int64_t, kPicturesOfBlock>;
constexpr std::int64_t BlockOf(std::int64_t picture) { return picture / static_cast<std::int64_t>(kPicturesOfBlock); }
constexpr std::size_t PlaceInBlock(std::int64_t picture) {
  return static_cast<std::size_t>(picture) % kPicturesOfBlock;
}

// One fact of all pictures of a packed block. Throws SQLite::Exception, as of a damaged file, when it is none.
CFactColumn UnpackFact(std::string_view packed, EFact fact);

class CFactBlock {
 public:
  // Nothing is known.
  CFactBlock();
  // As UnpackFact.
  explicit CFactBlock(std::string_view packed);

  CFacts At(std::size_t place) const;
  void Set(std::size_t place, const CFacts& facts);
  std::string Pack() const;

 private:
  std::array<CFactColumn, kFactCount> m_columns;
};

}  // namespace qvhost
