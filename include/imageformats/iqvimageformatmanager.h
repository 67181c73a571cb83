#pragma once

#include <cstddef>
#include <cstdint>

#include "metadata/qvexperiment.h"
#include "metadata/qvimageinfo.h"
#include "metadata/qvpicturemetadata.h"
#include "picture/qvpicbuf.h"
#include "system/qvbytearray.h"
#include "system/qvclass.h"
#include "system/qvstring.h"
#include "system/qvtextinfo.h"

// Image files as the platform sees them. A manager and everything obtained from it belong to one thread at a time;
// distinct managers work in parallel. Every operation returns 0, or: -3 when this build cannot treat such data, -9 when
// it is damaged, unreadable or not an image. Outputs are untouched on failure unless said otherwise. What an operation
// hands out through a pointer is the caller's, to be given back as its class says.

// Reads what a file says about its pictures. Given back with Destroy. Operations that fill texts or records leave
// fields that the file does not state at their defaults.
class IQvMetadataReader {
 public:
  virtual void Destroy() = 0;
  // `index` is the picture's number in the sequence, 0 the first; `reserved` must be 0.
  virtual std::int32_t GetPictureMetadata(std::uint32_t index, SQvPictureMetadata* metadata,
                                          std::uint32_t reserved) = 0;
  // Fills an empty level with the file's loop chain, outermost first. -9 when the file has a single picture only.
  virtual std::int32_t GetExperiment(SQvExperiment* experiment, std::uint32_t reserved) = 0;
  virtual std::int32_t GetImageInfo(SQvImageInfo* info) = 0;
  // Micrometres per pixel, the pixel aspect (height over width), and the objective's name. -9 when the calibration is
  // unknown; the objective is filled all the same when the file names one.
  virtual std::int32_t GetCalibration(std::uint32_t index, double* calibration, double* aspect,
                                      CQvStringW* objective) = 0;
  // Julian day number (UTC) of the first picture's acquisition. -9 when unknown.
  virtual std::int32_t GetAcquisitionTime(double* acquisitionTime) = 0;
  virtual std::int32_t GetTextInfo(SQvImageTextInfo* textInfo) = 0;

 protected:
  ~IQvMetadataReader() = default;
};

// An opened picture. Given back with its own Release.
class IQvPictureSource {
 public:
  virtual void Release() = 0;
  // Geometry of the main picture (of level 0 of a pyramid).
  virtual std::int32_t GetPictureInfo(SQvImageInfo* info) = 0;
  // Reads the whole first picture into `picture`, which must have been given the shape that GetPictureInfo reports
  // (width, height, bpcInMemory, components). Both reserved values must be 0. Pixels are undefined on failure.
  virtual std::int32_t ReadPicture(SQvPicBuf* picture, std::uint32_t reserved1, std::uint32_t reserved2) = 0;
  // A custom tag's bytes. -9 when the file has no such tag.
  virtual std::int32_t GetCustomTag(const CQvStringW& name, CQvByteArray* bytes) = 0;
  // Renders an 8-bit, 3-component picture of exactly *width x *height pixels into `picture`, which has that shape.
  // `mode` 1 is the overview for display: the middle z plane of the first time point and position, channels composited
  // in their colours, contrast stretched where there are more than 8 significant bits. `fast` may trade a little
  // accuracy for speed. `first` 0 selects the first time point and position; `reserved` must be 0; `channels` is a
  // mask, 0xFFFFFFFF all. Pixels are undefined on failure.
  virtual std::int32_t RenderPicture(const std::uint32_t* width, const std::uint32_t* height, SQvPicBuf* picture,
                                     std::uint32_t mode, bool fast, std::uint32_t first, std::uint32_t reserved,
                                     std::uint32_t channels) = 0;
  // The reader stays usable after the source's release.
  virtual std::int32_t GetMetadataReader(IQvMetadataReader** reader) = 0;
  // Why the last operation failed, for people; empty after success.
  virtual CQvStringW GetErrorText() const = 0;

 protected:
  ~IQvPictureSource() = default;
};

// A picture being written. Given back with its own Release, finished or not.
class IQvOutputImageFile {
 public:
  virtual void Release() = 0;
  // Describes the picture; `quality` 0..1 for lossy formats.
  virtual std::int32_t SetPictureFormat(const SQvImageInfo& format, double quality) = 0;
  // Takes all rows, format.widthBytes apart. Both reserved values must be 0.
  virtual std::int32_t WritePicture(const void* data, std::uint32_t reserved1, std::uint32_t reserved2) = 0;
  // Completes the stream. Before it the destination's content is undefined.
  virtual std::int32_t Finish() = 0;

 protected:
  ~IQvOutputImageFile() = default;
};

// One image format. Released through CQvRTTI::Release.
class IQvImageCodec : public virtual IQvInterface {
 public:
  virtual std::int32_t OpenInputFile(const CQvStringW& path, IQvPictureSource** source) = 0;
  // The memory must stay valid until the source is released. -3 for formats that need a file.
  virtual std::int32_t OpenInputMemory(const void* data, std::size_t size, IQvPictureSource** source) = 0;
  // `destination` must outlive the output file. -3 when the format cannot be written.
  virtual std::int32_t CreateOutputMemory(CQvByteArray* destination, IQvOutputImageFile** output) = 0;

 protected:
  ~IQvImageCodec() = default;
};

// A file opened for its metadata. Released through CQvRTTI::Release.
class IQvImageFile : public virtual IQvInterface {
 public:
  // `path` as given to OpenImageFile. The reader stays usable after the file's release.
  virtual std::int32_t GetMetadataReader(const CQvStringW& path, IQvMetadataReader** reader) = 0;
  // Size in bytes.
  virtual std::int32_t GetFileSize(const wchar_t* path, std::int64_t* size) = 0;

 protected:
  ~IQvImageFile() = default;
};

// Class "CQvImageFormatManagerImpl".
class IQvImageFormatManager : public qv_abi::SOwnTable, public virtual IQvInterface {
 public:
  // The codec of a format: "JPG", "PNG", "TIF", "WSI".
  virtual std::int32_t GetCodecByName(const CQvStringA& formatName, IQvImageCodec** codec) = 0;
  // The codec for a file, chosen by its content. -9 when the file cannot be opened or no codec knows it.
  virtual std::int32_t GetCodecForFile(const CQvStringW& path, IQvImageCodec** codec) = 0;
  virtual std::int32_t OpenImageFile(const CQvStringW& path, IQvImageFile** file) = 0;
  // Why the last operation failed, or what the last opened source that failed said; for people. Empty after success.
  virtual CQvStringW GetErrorText() const = 0;

 protected:
  ~IQvImageFormatManager() = default;
};
