#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "picture/qvpicbuf.h"
#include "platform/imageformats/render/channel_composite.h"
#include "platform/imageformats/render/display.h"
#include "platform/imageformats/render/render_request.h"

// Pictures that have several planes, from any format: which of them the overview shows, and how they become one
// picture.

namespace imageformats {

// A channel's way of being shown, as far as the file says it.
struct SStackChannel {
  std::optional<std::uint32_t> color;         // 0x00RRGGBB
  double emission = 0.0;                      // nanometres, 0 unknown: a colour to fall back on
  std::shared_ptr<const SLookupTable> table;  // instead of the colour
  std::optional<SDisplayRange> range;         // what the author last looked at
  bool isOff = false;                         // the author had switched it off: shown when a view names it
};

struct SPlaneStack {
  SSize size;  // of a plane as stored, in full resolution
  EOrientation orientation = EOrientation::kTopLeft;
  std::uint32_t sizeZ = 1, sizeT = 1, positions = 1;
  // What stands for the middle: a plain sequence shows its first. Nothing: the middle.
  std::optional<std::uint32_t> ownZ;
  std::uint32_t ownPosition = 0;
  // What planes hold: one component each, shown in the channel's colour (a single one in grey). Empty: planes are
  // pictures, shown by `model`.
  std::vector<SStackChannel> channels;
  SDisplayRange nominal;  // what is black and white when samples are not stretched
  bool stretch = false;   // between the percentiles: more than 8 significant bits, signed, floats
  // Of pictures; see SDisplaySettings.
  EColorModel model = EColorModel::kRgb;
  bool inverted = false;
  std::vector<std::uint8_t> profile;
  // Samples number things, which get distinct colours; of a single channel. Such pictures are also known by their
  // content.
  bool labels = false;
};

// Of one plane; `channel` is 0 for pictures.
struct SPlaneIndex {
  std::uint32_t channel = 0, z = 0, t = 0, position = 0;
};

// What a codec provides. Used by one thread. Memory that it reserves for a plane is given back for it after the plane;
// what it keeps between planes it bounds itself.
class IPlaneReader {
 public:
  // Averages of the plane in exactly `reduced` pixels, one component or those of the stack's model, from the smallest
  // pyramid level that has them. Throws CDamagedError when pixels are missing.
  virtual SAveragedPicture Average(const SPlaneIndex& plane, SSize reduced, CRenderGuard& guard) = 0;
  // The same of several channels, one picture of one component each; `plane.channel` says nothing. For formats that
  // keep channels together, so that they are decoded once.
  virtual std::vector<SAveragedPicture> AverageChannels(const SPlaneIndex& plane,
                                                        std::span<const std::uint32_t> channels, SSize reduced,
                                                        CRenderGuard& guard);
  // The sample in the middle of each pixel's area instead of the average, which would mix labels (CNearestSampler).
  // The default is the average.
  virtual SAveragedPicture Sample(const SPlaneIndex& plane, SSize reduced, CRenderGuard& guard) {
    return Average(plane, reduced, guard);
  }

 protected:
  ~IPlaneReader() = default;
};

// A projection takes no more planes than this, evenly spread over the stack, its first and last among them.
inline constexpr std::uint32_t kMostProjectedPlanes = 128;
// A composite shows no more channels than this unless a view names them.
inline constexpr std::size_t kMostOwnChannels = 6;

// Fills `picture` with the overview that the request's view asks for. When the plane that is shown by default has one
// value everywhere, others are looked at, outwards, in steps that double.
void RenderPlanes(const SPlaneStack& stack, IPlaneReader& reader, const SRenderRequest& request, SQvPicBuf& picture,
                  CRenderGuard& guard);

// The colour of a channel that has no table: its own, else that of its light where every channel's is known and
// different, else a default one.
std::uint32_t DisplayColor(const std::vector<SStackChannel>& channels, std::size_t index);

// What a channel's samples are stretched between: what the author left while it suits them, else the percentiles or
// the nominal range.
SDisplayRange ChooseRange(const SStackChannel& channel, const SDisplayRange& nominal, bool stretch,
                          const std::vector<float>& samples);

}  // namespace imageformats
