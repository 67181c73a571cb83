#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tools/samples/output.h"
#include "tools/samples/rgb_image.h"

struct tiff;

// One directory of a TIFF file. Fields left at their defaults are not written.
struct STiffPage {
  int width = 0, height = 0;
  int components = 1;
  int bits = 8;                  // 8, 16 or 32; 32 is floating point
  const void* pixels = nullptr;  // rows without padding, in the machine's byte order; borrowed

  int compression = 1;   // COMPRESSION_… of tiff.h; 1 none, JPEG stores YCbCr
  int predictor = 0;     // 2 for LZW, Deflate and ZSTD of whole numbers
  int tileSize = 0;      // 0: strips
  int rowsPerStrip = 0;  // 0: the library's choice, about 8 KiB a strip
  int jpegQuality = 85;
  int orientation = 0;
  bool whiteIsZero = false;
  bool reduced = false;  // a smaller version of another picture

  std::string description;
  std::string software = "qvthumbs-samples";
  std::string dateTime;  // "YYYY:MM:DD HH:MM:SS"
  std::string artist, make, model;
  double pixelsPerCentimetre = 0;
  double pixelsPerUnit = 0;  // resolution without a unit, as ImageJ writes it

  CBytes thumbnailJpeg;    // tag 65050
  CBytes thumbnailPixels;  // tag 65051: RGB rows aligned to 4 bytes
  std::vector<std::uint32_t> imageJCounts;
  CBytes imageJMetadata;
};

enum class ETiffKind { kLittleEndian, kBigEndian, kBigTiff };

// Writes a TIFF file directory by directory. Throws std::runtime_error; the file is whole after Close.
class CTiffWriter {
 public:
  explicit CTiffWriter(const std::filesystem::path& path, ETiffKind kind = ETiffKind::kLittleEndian);
  ~CTiffWriter();
  CTiffWriter(const CTiffWriter&) = delete;
  CTiffWriter& operator=(const CTiffWriter&) = delete;

  // The next `subDirectories` pages become sub-directories of this one.
  void Write(const STiffPage& page, int subDirectories = 0);
  void Close();

 private:
  void SetFields(const STiffPage& page);
  void SetPrivateFields(const STiffPage& page);
  void WriteStrips(const STiffPage& page);
  void WriteTiles(const STiffPage& page);
  void Check(bool good, const char* what) const;

  struct SCloser {
    void operator()(tiff* file) const;
  };
  std::string m_name;
  std::unique_ptr<tiff, SCloser> m_file;
};

STiffPage PageOf(const SRgbImage& image);
STiffPage PageOf(const std::vector<std::uint16_t>& counts, int width, int height);

// The pixels as the private thumbnail tag holds them: RGB, rows filled up with zeros to a multiple of 4 bytes.
CBytes AlignedRgbRows(const SRgbImage& image);
