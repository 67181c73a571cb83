#include "platform/imageformats/jpeg/jpeg_scans.h"

#include "platform/imageformats/jpeg/stream/coding.h"

namespace imageformats {

namespace {

int ScaledSize(const jpeg_component_info& component) noexcept {
#if JPEG_LIB_VERSION >= 70
  return component.DCT_h_scaled_size > component.DCT_v_scaled_size ? component.DCT_h_scaled_size
                                                                   : component.DCT_v_scaled_size;
#else
  return component.DCT_scaled_size;
#endif
}

// Grey levels by which a coefficient may still change: its missing bits times the quantiser, over the 8 that the
// transform scales by.
double Uncertainty(const JQUANT_TBL* table, int natural, int missingBits) noexcept {
  const double step = table != nullptr ? table->quantval[natural] : 255.0;
  return static_cast<double>((1 << missingBits) - 1) * step / 8.0;
}

bool HasCoefficients(const jpeg_decompress_struct& info, int index, ENeededScans need) noexcept {
  const jpeg_component_info& component = info.comp_info[index];
  const int* missingBits = info.coef_bits[index];
  const JQUANT_TBL* table =
      component.quant_table != nullptr ? component.quant_table : info.quant_tbl_ptrs[component.quant_tbl_no];
  const int size = need == ENeededScans::kAll ? DCTSIZE : ScaledSize(component);
  for (int k = 0; k < DCTSIZE2; ++k) {
    const int natural = kNaturalOrder[k];
    if (natural / DCTSIZE >= size || natural % DCTSIZE >= size) continue;
    if (missingBits[k] < 0) return false;
    if (missingBits[k] == 0) continue;
    if (need != ENeededScans::kWithinTolerance || Uncertainty(table, natural, missingBits[k]) > kToleratedGreyLevels)
      return false;
  }
  return true;
}

}  // namespace

bool HasScans(const jpeg_decompress_struct& info, ENeededScans need) noexcept {
  if (info.coef_bits == nullptr) return false;
  for (int i = 0; i < info.num_components; ++i) {
    if (!HasCoefficients(info, i, need)) return false;
  }
  return true;
}

}  // namespace imageformats
