#include "platform/imageformats/jpeg/jpeg_errors.h"

#include <jerror.h>

#include <cstring>
#include <string>

#include "platform/imageformats/base/format_error.h"

namespace imageformats {

namespace {

SJpegErrors& ErrorsOf(j_common_ptr info) { return *reinterpret_cast<SJpegErrors*>(info->err); }

[[noreturn]] void OnError(j_common_ptr info) {
  SJpegErrors& errors = ErrorsOf(info);
  errors.code = info->err->msg_code;
  (*info->err->format_message)(info, errors.text);
  std::longjmp(errors.jump, 1);
}

// Warnings after which pixels are made up.
bool LosesPixels(int code) {
  switch (code) {
    case JWRN_HIT_MARKER:
    case JWRN_HUFF_BAD_CODE:
    case JWRN_ARITH_BAD_CODE:
    case JWRN_MUST_RESYNC:
    case JWRN_BOGUS_PROGRESSION:
    case JWRN_NOT_SEQUENTIAL:
      return true;
    default:
      return false;
  }
}

void OnMessage(j_common_ptr info, int level) {
  if (level < 0 && LosesPixels(info->err->msg_code)) OnError(info);
}

void OnOutput(j_common_ptr) {}

bool IsUnsupported(const SJpegErrors& errors) {
  switch (errors.code) {
    case JERR_BAD_PRECISION:
      return errors.base.msg_parm.i[0] == 12 || errors.base.msg_parm.i[0] == 16;
    case JERR_SOF_UNSUPPORTED:
    case JERR_ARITH_NOTIMPL:
    case JERR_CCIR601_NOTIMPL:
    case JERR_FRACT_SAMPLE_NOTIMPL:
    case JERR_CONVERSION_NOTIMPL:
      return true;
    default:
      return false;
  }
}

}  // namespace

jpeg_error_mgr* InitJpegErrors(SJpegErrors& errors) noexcept {
  jpeg_std_error(&errors.base);
  errors.base.error_exit = OnError;
  errors.base.emit_message = OnMessage;
  errors.base.output_message = OnOutput;
  errors.code = 0;
  errors.text[0] = '\0';
  return &errors.base;
}

void ThrowJpegError(const SJpegErrors& errors) {
  const std::string detail(errors.text);
  if (IsUnsupported(errors)) throw CUnsupportedError("This kind of JPEG cannot be decoded: " + detail);
  if (errors.code == JWRN_HIT_MARKER) throw CDamagedError("The JPEG data ends before the picture is complete");
  throw CDamagedError("The JPEG data is damaged: " + detail);
}

}  // namespace imageformats
