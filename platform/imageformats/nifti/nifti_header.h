#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

namespace imageformats {

enum ENiftiType : std::int32_t {
  kNiftiUint8 = 2,
  kNiftiInt16 = 4,
  kNiftiInt32 = 8,
  kNiftiFloat = 16,
  kNiftiComplex64 = 32,
  kNiftiDouble = 64,
  kNiftiRgb = 128,
  kNiftiInt8 = 256,
  kNiftiUint16 = 512,
  kNiftiUint32 = 768,
  kNiftiInt64 = 1024,
  kNiftiUint64 = 1280,
  kNiftiComplex128 = 1792,
  kNiftiComplex256 = 2048,
  kNiftiRgba = 2304,
};

enum class ENiftiKind : std::uint8_t { kAnalyze, kNifti1, kNifti2 };

// What a header says; the three kinds differ in where it stands.
struct SNiftiHeader {
  ENiftiKind kind = ENiftiKind::kNifti1;
  bool bigEndian = false;
  bool isPair = false;                    // the pixels are in a file of their own
  std::int32_t type = 0;                  // ENiftiType, or unknown
  std::array<std::int64_t, 7> sizes{};    // x, y, z, time, values at a place, and two more; all above 0
  std::array<double, 4> steps{};          // x, y, z in micrometres, time in seconds; 0 unknown
  bool isTime = true;                     // the fourth axis is time
  std::uint64_t offset = 0;               // of the pixels
  double slope = 0.0, intercept = 0.0;    // a slope of 0 says nothing
  double darkest = 0.0, brightest = 0.0;  // what is shown as black and white, where they differ
  bool isLabels = false;
  bool firstRowIsUpper = false;
  std::string description, intent;
};

constexpr std::size_t kNiftiHeadBytes = 540;

bool IsNifti(std::span<const std::uint8_t> head, std::uint64_t size);

// Of the first kNiftiHeadBytes, or all there are. Throws CDamagedError.
SNiftiHeader ReadNiftiHeader(std::span<const std::uint8_t> head);

}  // namespace imageformats
