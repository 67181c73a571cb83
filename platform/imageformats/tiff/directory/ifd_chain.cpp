#include "platform/imageformats/tiff/directory/ifd_chain.h"

#include <tiff.h>

#include <limits>
#include <unordered_set>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/tiff/directory/ifd_reader.h"

namespace imageformats::tiff {
namespace {

CIfdReader OpenReader(const CInput& input) {
  if (input.Head().size() < 8) throw CDamagedError("Not a TIFF file: too short");
  std::optional<CIfdReader> reader = CIfdReader::Open(input);
  if (!reader) throw CDamagedError("Not a TIFF file: no TIFF header");
  return std::move(*reader);
}

std::uint32_t* FieldOf(std::uint16_t tag, SIfdSummary* summary) noexcept {
  switch (tag) {
    case TIFFTAG_SUBFILETYPE:
      return &summary->subfileType;
    case TIFFTAG_IMAGEWIDTH:
      return &summary->width;
    case TIFFTAG_IMAGELENGTH:
      return &summary->height;
    case TIFFTAG_BITSPERSAMPLE:
      return &summary->bits;
    case TIFFTAG_SAMPLESPERPIXEL:
      return &summary->samples;
    case TIFFTAG_PHOTOMETRIC:
      return &summary->photometric;
    default:
      return nullptr;
  }
}

SIfdSummary Summarise(const CIfdReader& reader, std::uint64_t offset) noexcept {
  SIfdSummary summary;
  summary.offset = offset;
  for (std::size_t i = 0; i < reader.EntryCount(); ++i) {
    const SIfdEntry entry = reader.Entry(i);
    std::uint32_t* const field = FieldOf(entry.tag, &summary);
    if (field == nullptr) continue;
    const std::optional<std::uint64_t> value = reader.FirstInteger(entry);
    if (value && *value <= std::numeric_limits<std::uint32_t>::max()) *field = static_cast<std::uint32_t>(*value);
  }
  return summary;
}

// A loop, a pointer out of the file or an unreadable directory ends the chain; whether one of the two latter did is
// returned. Directories of an honest file do not overlap, so all of them together are no larger than the file.
bool ReadChain(CIfdReader& reader, const CInput& input, std::uint64_t offset, std::size_t limit,
               std::vector<SIfdSummary>* chain) {
  std::unordered_set<std::uint64_t> seen;
  while (offset != 0 && offset < input.Size() && seen.size() < limit && reader.BytesRead() <= input.Size() &&
         seen.insert(offset).second) {
    if (!reader.Read(offset)) return true;
    chain->push_back(Summarise(reader, offset));
    offset = reader.NextOffset();
  }
  return offset >= input.Size() || (!chain->empty() && reader.IsCut());
}

}  // namespace

std::vector<SIfdSummary> ReadIfdChain(const CInput& input, bool* leadsOut) {
  CIfdReader reader = OpenReader(input);
  std::vector<SIfdSummary> chain;
  const bool ledOut = ReadChain(reader, input, reader.FirstOffset(), kMaxDirectories, &chain);
  if (chain.empty()) throw CDamagedError("The TIFF file has no readable directory");
  if (leadsOut) *leadsOut = ledOut;
  return chain;
}

std::vector<SIfdSummary> ReadIfdChainsFrom(const CInput& input, std::span<const std::uint64_t> offsets,
                                           std::size_t limit) {
  CIfdReader reader = OpenReader(input);
  std::vector<SIfdSummary> directories;
  for (const std::uint64_t offset : offsets) ReadChain(reader, input, offset, limit, &directories);
  return directories;
}

}  // namespace imageformats::tiff
