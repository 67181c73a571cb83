#include "platform/imageformats/component/known_formats.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace imageformats {

namespace {

using std::string_view_literals::operator""sv;

// One or two runs of bytes at fixed places.
struct SSignature {
  std::uint32_t place;
  std::string_view bytes;
  const char* name;  // with its article
  std::uint32_t secondPlace = 0;
  std::string_view secondBytes = {};
};

// Formats that are read: no codec took the file, so the rest of its header is not theirs.
constexpr SSignature kSignaturesOfRead[] = {
    {0, "GIF87a"sv, "a GIF file"},
    {0, "GIF89a"sv, "a GIF file"},
    {0, "BM"sv, "a BMP file", 6, "\0\0\0\0"sv},
    {0, "RIFF"sv, "a WebP file", 8, "WEBP"sv},
    {128, "DICM"sv, "a DICOM file"},
    {344, "n+1\0"sv, "a NIfTI file"},
    {344, "ni1\0"sv, "a NIfTI header"},
    {4, "n+2\0\r\n\x1A\n"sv, "a NIfTI file"},
    {4, "ni2\0\r\n\x1A\n"sv, "a NIfTI header"},
    {0, "NRRD000"sv, "an NRRD file"},
    {208, "MAP "sv, "an MRC file"},
};

// The first that fits counts: longer and rarer signatures stand before those that they begin with.
constexpr SSignature kSignatures[] = {
    // Pictures.
    {0, "\0\0\0\x0CJXL \r\n\x87\n"sv, "a JPEG XL file"},
    {0, "\xFF\x0A"sv, "a JPEG XL codestream"},
    {0, "II\xBC\x01"sv, "a JPEG XR file"},
    {4, "ftypavif"sv, "an AVIF file"},
    {4, "ftypavis"sv, "an AVIF file"},
    {4, "ftypheic"sv, "a HEIF file"},
    {4, "ftypheix"sv, "a HEIF file"},
    {4, "ftypheim"sv, "a HEIF file"},
    {4, "ftypheis"sv, "a HEIF file"},
    {4, "ftyphevc"sv, "a HEIF file"},
    {4, "ftypmif1"sv, "a HEIF file"},
    {4, "ftypmsf1"sv, "a HEIF file"},
    {0, "8BPS"sv, "a PSD file"},
    {0, "gimp xcf"sv, "an XCF file"},
    {0, "#?RADIANCE"sv, "a Radiance HDR file"},
    {0, "#?RGBE"sv, "a Radiance HDR file"},
    {0, "v/1\x01"sv, "an OpenEXR file"},
    {0, "SDPX"sv, "a DPX file"},
    {0, "XPDS"sv, "a DPX file"},
    {0, "P7 332"sv, "an XV thumbnail"},
    {0, "qoif"sv, "a QOI file"},
    {0, "FLIF"sv, "a FLIF file"},
    {0, "\x8AMNG\r\n\x1A\n"sv, "an MNG file"},
    {0, "\x8BJNG\r\n\x1A\n"sv, "a JNG file"},
    {0, "\0\0\x01\0"sv, "an icon file"},
    {0, "\0\0\x02\0"sv, "a cursor file"},
    {0, "icns"sv, "an icon file"},
    {0, "\x01\xDA"sv, "an SGI image"},
    {0, "\x59\xA6\x6A\x95"sv, "a Sun raster file"},
    {0, "AT&TFORM"sv, "a DjVu file"},
    {0, "/* XPM */"sv, "an XPM file"},
    {0, "PF\n"sv, "a PFM file"},
    {0, "Pf\n"sv, "a PFM file"},
    {0, "\xD7\xCD\xC6\x9A"sv, "a Windows metafile"},
    {0, "\x01\0\0\0"sv, "an enhanced metafile", 40, " EMF"sv},
    {0, "FUJIFILMCCD-RAW"sv, "a raw camera file"},
    {0, "II\x1A\0\0\0HEAPCCDR"sv, "a raw camera file"},
    {4, "ftypcrx "sv, "a raw camera file"},
    {0, "IIU\0"sv, "a raw camera file"},
    {0, "IIRO"sv, "a raw camera file"},
    {0, "IIRS"sv, "a raw camera file"},
    {0, "MMOR"sv, "a raw camera file"},
    {0, "\0MRM"sv, "a raw camera file"},
    {0, "FOVb"sv, "a raw camera file"},
    // Volumes and measurements.
    {0, "ObjectType = Image"sv, "a MetaImage file"},
    {0, "# vtk DataFile"sv, "a VTK file"},
    {0, "MATLAB 5.0 MAT-file"sv, "a MATLAB file"},
    {0, "MATLAB 7.3 MAT-file"sv, "a MATLAB file"},
    {0, "\x89HDF\r\n\x1A\n"sv, "an HDF5 file"},
    {512, "\x89HDF\r\n\x1A\n"sv, "an HDF5 file"},
    {0, "\x0E\x03\x13\x01"sv, "an HDF4 file"},
    {0, "CDF\x01"sv, "a NetCDF file"},
    {0, "CDF\x02"sv, "a NetCDF file"},
    {0, "CDF\x05"sv, "a NetCDF file"},
    {0, "\x93NUMPY"sv, "a NumPy file"},
    // Films.
    {4, "ftypqt  "sv, "a QuickTime film"},
    {4, "moov"sv, "a QuickTime film"},
    {4, "mdat"sv, "a QuickTime film"},
    {4, "ftyp"sv, "an MP4 film"},
    {0, "RIFF"sv, "an AVI film", 8, "AVI "sv},
    {0, "RIFF"sv, "a RIFF file"},
    {0, "\x1A\x45\xDF\xA3"sv, "a Matroska film"},
    {0, "\0\0\x01\xBA"sv, "an MPEG film"},
    {0, "OggS"sv, "an Ogg file"},
    // Documents, archives, programs.
    {0, "%PDF-"sv, "a PDF document"},
    {0, "%!PS-Adobe"sv, "a PostScript document"},
    {0, "%!"sv, "a PostScript document"},
    {0, "\xC5\xD0\xD3\xC6"sv, "an EPS document"},
    {0, "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"sv, "an OLE compound document"},
    {0, "{\\rtf"sv, "an RTF document"},
    {0, "SQLite format 3\0"sv, "an SQLite database"},
    {0, "PK\x03\x04"sv, "a ZIP archive"},
    {0, "PK\x05\x06"sv, "an empty ZIP archive"},
    {0, "\x1F\x8B"sv, "a gzip archive"},
    {0, "BZh"sv, "a bzip2 archive"},
    {0,
     "\xFD"
     "7zXZ\0"sv,
     "an XZ archive"},
    {0, "\x28\xB5\x2F\xFD"sv, "a Zstandard archive"},
    {0, "7z\xBC\xAF\x27\x1C"sv, "a 7-Zip archive"},
    {0, "Rar!\x1A\x07"sv, "a RAR archive"},
    {257, "ustar"sv, "a TAR archive"},
    {0,
     "\x7F"
     "ELF"sv,
     "a program"},
    {0, "MZ"sv, "a program", 2, "\x90\0"sv},
};

constexpr std::string_view kFooterOfTga = "TRUEVISION-XFILE.\0"sv;
constexpr std::string_view kLfsPointer = "version https://git-lfs.github.com/spec/";
constexpr char kUnknown[] = "The file is not an image of a known format";

bool Holds(const CInput& input, std::uint64_t place, std::string_view bytes) noexcept {
  std::array<char, 32> found{};
  return bytes.size() <= found.size() && input.ReadAt(place, found.data(), bytes.size()) == bytes.size() &&
         std::string_view(found.data(), bytes.size()) == bytes;
}

bool Fits(const CInput& input, const SSignature& signature) noexcept {
  return Holds(input, signature.place, signature.bytes) &&
         (signature.secondBytes.empty() || Holds(input, signature.secondPlace, signature.secondBytes));
}

// UTF-8 without control characters.
bool IsText(std::string_view head) noexcept {
  return std::none_of(head.begin(), head.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return (byte < 0x20 && c != '\t' && c != '\r' && c != '\n' && c != '\f') || byte == 0x7F || byte >= 0xF8;
  });
}

const char* KindOfText(const CInput& input) {
  std::array<char, 1024> start{};
  std::string_view text(start.data(), input.ReadAt(0, start.data(), start.size()));
  if (!IsText(text)) return nullptr;
  text.remove_prefix(std::min(text.find_first_not_of("\xEF\xBB\xBF \t\r\n"), text.size()));
  if (text.find("<svg") != std::string_view::npos) return "an SVG drawing";
  for (const std::string_view page : {"<!DOCTYPE html", "<!doctype html", "<html", "<HTML"}) {
    if (text.starts_with(page)) return "an HTML page";
  }
  if (text.starts_with('<')) return "an XML document";
  if (text.starts_with('{') || text.starts_with('[')) return "a JSON document";
  return "a text";
}

template <std::size_t N>
const char* NameOf(const SSignature (&signatures)[N], const CInput& input) noexcept {
  const auto* const found = std::find_if(std::begin(signatures), std::end(signatures),
                                         [&](const SSignature& signature) { return Fits(input, signature); });
  return found == std::end(signatures) ? nullptr : found->name;
}

const char* KnownFormat(const CInput& input) {
  if (const char* name = NameOf(kSignatures, input)) return name;
  if (input.Size() > 26 && Holds(input, input.Size() - kFooterOfTga.size(), kFooterOfTga)) return "a TGA file";
  return KindOfText(input);
}

}  // namespace

std::string UnknownFormatReason(const CInput& input) {
  const auto bytes = input.Head();
  const std::string_view head(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (head.starts_with(kLfsPointer)) return "The file is a Git LFS pointer: the image itself was not fetched";
  if (const char* name = NameOf(kSignaturesOfRead, input)) {
    std::string reason = "The file begins like ";
    return reason.append(name).append(", and is damaged");
  }
  if (const char* name = KnownFormat(input)) {
    std::string reason = "The file is ";
    return reason.append(name).append("; not supported");
  }
  if (head.starts_with("\x89PNG")) return "The PNG signature is damaged, as by a transfer as text";
  if (head.find_first_not_of('\0') == std::string_view::npos) return "The file begins with nothing but zeros";
  return kUnknown;
}

}  // namespace imageformats
