#include "tests/support/encode_jpeg.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include <jpeglib.h>

namespace qvtest {
namespace {

J_COLOR_SPACE InputColor(std::uint32_t components) {
  return components == 1 ? JCS_GRAYSCALE : components == 3 ? JCS_RGB : JCS_CMYK;
}

// One scan a component, all 64 coefficients each.
void SetSeparateScans(jpeg_compress_struct& info, std::vector<jpeg_scan_info>& scans) {
  for (int i = 0; i < info.num_components; ++i) {
    jpeg_scan_info scan = {};
    scan.comps_in_scan = 1;
    scan.component_index[0] = i;
    scan.Se = 63;
    scans.push_back(scan);
  }
  info.scan_info = scans.data();
  info.num_scans = info.num_components;
}

// One scan for each coefficient of the only component.
void SetFrequencyScans(jpeg_compress_struct& info, std::vector<jpeg_scan_info>& scans) {
  for (int k = 0; k < DCTSIZE2; ++k) {
    jpeg_scan_info scan = {};
    scan.comps_in_scan = 1;
    scan.Ss = scan.Se = k;
    scans.push_back(scan);
  }
  info.scan_info = scans.data();
  info.num_scans = DCTSIZE2;
}

void Configure(jpeg_compress_struct& info, const STestPicture& picture, const SJpegRecipe& recipe) {
  info.image_width = picture.width;
  info.image_height = picture.height;
  info.input_components = static_cast<int>(picture.components);
  info.in_color_space = InputColor(picture.components);
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, recipe.quality, TRUE);
  if (picture.components == 4) jpeg_set_colorspace(&info, recipe.ycck ? JCS_YCCK : JCS_CMYK);
  if (picture.components == 4) info.write_Adobe_marker = recipe.adobeCmyk || recipe.ycck ? TRUE : FALSE;
  if (recipe.keepRgb) jpeg_set_colorspace(&info, JCS_RGB);
  info.comp_info[0].h_samp_factor = recipe.chromaX;
  info.comp_info[0].v_samp_factor = recipe.chromaY;
  if (recipe.ycck) {
    info.comp_info[3].h_samp_factor = recipe.chromaX;
    info.comp_info[3].v_samp_factor = recipe.chromaY;
  }
  info.restart_in_rows = recipe.restartRows;
  info.arith_code = recipe.arithmetic ? TRUE : FALSE;
  if (recipe.progressive) jpeg_simple_progression(&info);
}

}  // namespace

SFileBytes EncodeJpeg(const STestPicture& picture, const SJpegRecipe& recipe) {
  jpeg_compress_struct info;
  jpeg_error_mgr errors;
  info.err = jpeg_std_error(&errors);  // ends the test program: a recipe that libjpeg refuses is a mistake in the test
  jpeg_create_compress(&info);
  unsigned char* memory = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&info, &memory, &size);
  std::vector<jpeg_scan_info> scans;
  Configure(info, picture, recipe);
  if (recipe.separateScans) SetSeparateScans(info, scans);
  if (recipe.scanPerFrequency) SetFrequencyScans(info, scans);
  jpeg_start_compress(&info, TRUE);
  for (const auto& [marker, payload] : recipe.segments) {
    jpeg_write_marker(&info, marker, payload.data(), static_cast<unsigned int>(payload.size()));
  }
  const std::size_t rowSamples = std::size_t{picture.width} * picture.components;
  std::vector<JSAMPLE> row(rowSamples);
  const bool inverted = picture.components == 4 && (recipe.adobeCmyk || recipe.ycck);
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    for (std::size_t i = 0; i < rowSamples; ++i) {
      const int sample = picture.samples[y * rowSamples + i];
      row[i] = static_cast<JSAMPLE>(inverted ? 255 - sample : sample);
    }
    JSAMPROW pointer = row.data();
    jpeg_write_scanlines(&info, &pointer, 1);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  SFileBytes bytes(memory, memory + size);
  std::free(memory);
  return bytes;
}

SFileBytes ExifWithOrientation(int orientation) {
  SFileBytes exif = BytesOf("Exif");
  const std::uint8_t body[] = {
      0, 0, 'I', 'I', 42, 0, 8, 0, 0, 0, 1, 0, 0x12, 0x01, 3, 0, 1, 0, 0, 0, static_cast<std::uint8_t>(orientation),
      0, 0, 0,   0,   0,  0, 0};
  exif.insert(exif.end(), std::begin(body), std::end(body));
  return exif;
}

SFileBytes ExifOfAuthor(const char (&author)[4], int orientation) {
  SFileBytes exif = {'I', 'I', 42, 0, 8, 0, 0, 0, 2, 0, 0x12, 0x01, 3, 0, 1, 0, 0, 0};
  exif.push_back(static_cast<std::uint8_t>(orientation));
  for (const int byte : {0, 0, 0, 0x3B, 0x01, 2, 0, 4, 0, 0, 0}) exif.push_back(static_cast<std::uint8_t>(byte));
  exif.insert(exif.end(), author, author + sizeof author);
  exif.resize(exif.size() + 4);
  return exif;
}

std::vector<std::pair<int, SFileBytes>> ProfileSegments(const SFileBytes& profile) {
  constexpr std::size_t kPiece = 60000;
  std::vector<std::pair<int, SFileBytes>> segments;
  const std::size_t count = (profile.size() + kPiece - 1) / kPiece;
  for (std::size_t i = 0; i < count; ++i) {
    SFileBytes payload = BytesOf("ICC_PROFILE");
    payload.push_back(0);
    payload.push_back(static_cast<std::uint8_t>(i + 1));
    payload.push_back(static_cast<std::uint8_t>(count));
    const std::size_t end = std::min(profile.size(), (i + 1) * kPiece);
    payload.insert(payload.end(), profile.begin() + static_cast<std::ptrdiff_t>(i * kPiece),
                   profile.begin() + static_cast<std::ptrdiff_t>(end));
    segments.emplace_back(0xE2, std::move(payload));
  }
  return segments;
}

}  // namespace qvtest
