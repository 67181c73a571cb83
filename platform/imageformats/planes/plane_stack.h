#pragma once

#include <cstdint>
#include <memory>
#include <optional>
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
};

struct SPlaneStack {
  SSize size;  // of a plane as stored, in full resolution
  EOrientation orientation = EOrientation::kTopLeft;
  std::uint32_t sizeZ = 1, sizeT = 1, positions = 1;
  // What planes hold: one component each, shown in the channel's colour (a single one in grey). Empty: planes are
  // pictures in colour, of three components.
  std::vector<SStackChannel> channels;
  SDisplayRange nominal;  // what is black and white when samples are not stretched
  bool stretch = false;   // between the percentiles: more than 8 significant bits, signed, floats
};

// Of one plane; `channel` is 0 for pictures in colour.
struct SPlaneIndex {
  std::uint32_t channel = 0, z = 0, t = 0, position = 0;
};

// What a codec provides. Used by one thread.
class IPlaneReader {
 public:
  // Averages of the plane in exactly `reduced` pixels, one component or three, from the smallest pyramid level that has
  // them. Throws CDamagedError when pixels are missing.
  virtual SAveragedPicture Average(const SPlaneIndex& plane, SSize reduced, CRenderGuard& guard) = 0;

 protected:
  ~IPlaneReader() = default;
};

// Fills `picture` with the overview that the request's view asks for.
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
