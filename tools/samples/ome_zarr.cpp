#include "tools/samples/ome_zarr.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>

#include "tools/samples/fluorescence.h"

namespace {

constexpr int kChunkSide = 128;
constexpr int kZarrLevels = 2;

std::string ZarrNumber(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", value);
  return text;
}

std::string ShapeText(const SStack& stack) {
  return "[1," + std::to_string(stack.SizeC()) + "," + std::to_string(stack.sizeZ) + "," +
         std::to_string(stack.height) + "," + std::to_string(stack.width) + "]";
}

std::string ChunkText() { return "[1,1,1," + std::to_string(kChunkSide) + "," + std::to_string(kChunkSide) + "]"; }

std::string Description2(const SStack& stack) {
  return R"({"zarr_format":2,"shape":)" + ShapeText(stack) + R"(,"chunks":)" + ChunkText() +
         R"(,"dtype":"<u2","compressor":null,"fill_value":0,"order":"C","filters":null,"dimension_separator":"/"})";
}

std::string Description3(const SStack& stack) {
  return R"({"zarr_format":3,"node_type":"array","shape":)" + ShapeText(stack) +
         R"(,"data_type":"uint16","chunk_grid":{"name":"regular","configuration":{"chunk_shape":)" + ChunkText() +
         R"(}},"chunk_key_encoding":{"name":"default","configuration":{"separator":"/"}},"fill_value":0,)"
         R"("codecs":[{"name":"bytes","configuration":{"endian":"little"}}],"attributes":{}})";
}

std::string AttributesText(const SStack& stack, const std::string& version) {
  std::string text = R"({"version":")" + version + R"(","multiscales":[{"name":"cells","version":")" + version +
                     R"(","axes":[{"name":"t","type":"time","unit":"second"},{"name":"c","type":"channel"})";
  for (const char* axis : {"z", "y", "x"}) {
    text += R"(,{"name":")" + std::string(axis) + R"(","type":"space","unit":"micrometer"})";
  }
  text += R"(],"datasets":[)";
  for (int level = 0; level < kZarrLevels; ++level) {
    const std::string side = ZarrNumber(stack.pixelSize * (1 << level));
    text += (level == 0 ? "" : ",") + std::string(R"({"path":")") + std::to_string(level) +
            R"(","coordinateTransformations":[{"type":"scale","scale":[1,1,)" + ZarrNumber(stack.zStep) + "," + side +
            "," + side + "]}]}";
  }
  text += R"(]}],"omero":{"channels":[)";
  for (int c = 0; c < stack.SizeC(); ++c) {
    const SStackChannel& channel = stack.channels[static_cast<std::size_t>(c)];
    char color[8];
    std::snprintf(color, sizeof color, "%06X", static_cast<unsigned>(channel.color));
    text += (c == 0 ? "" : ",") + std::string(R"({"label":")") + channel.name + R"(","color":")" + color +
            R"(","active":true,"window":{"start":100,"end":3400,"min":0,"max":4095}})";
  }
  return text + "]}}";
}

// Of half the sides; the mean of four pixels.
SStack Halved(const SStack& stack) {
  SStack half = stack;
  half.width = stack.width / 2;
  half.height = stack.height / 2;
  for (std::size_t i = 0; i < stack.planes.size(); ++i) {
    half.planes[i].clear();
    for (int y = 0; y < half.height; ++y) {
      for (int x = 0; x < half.width; ++x) {
        const auto at = static_cast<std::size_t>(2 * y * stack.width + 2 * x);
        const auto below = at + static_cast<std::size_t>(stack.width);
        const std::vector<std::uint16_t>& plane = stack.planes[i];
        half.planes[i].push_back(
            static_cast<std::uint16_t>((plane[at] + plane[at + 1] + plane[below] + plane[below + 1] + 2) / 4));
      }
    }
  }
  return half;
}

CBytes ChunkOf(const SStack& stack, const std::vector<std::uint16_t>& plane, int left, int top) {
  CBytes bytes;
  for (int y = top; y < top + kChunkSide; ++y) {
    for (int x = left; x < left + kChunkSide; ++x) {
      const bool isInside = x < stack.width && y < stack.height;
      const std::uint16_t value = isInside ? plane[static_cast<std::size_t>(y * stack.width + x)] : std::uint16_t{0};
      bytes.push_back(static_cast<std::uint8_t>(value & 0xFF));
      bytes.push_back(static_cast<std::uint8_t>(value >> 8));
    }
  }
  return bytes;
}

// `folder`: of the level's chunks, with a slash at its end.
void WriteChunks(const SContext& context, const SStack& stack, const std::string& folder) {
  for (int z = 0; z < stack.sizeZ; ++z) {
    for (int c = 0; c < stack.SizeC(); ++c) {
      const auto& plane = stack.planes[static_cast<std::size_t>(z * stack.SizeC() + c)];
      for (int top = 0; top < stack.height; top += kChunkSide) {
        for (int left = 0; left < stack.width; left += kChunkSide) {
          const std::string name = "0/" + std::to_string(c) + "/" + std::to_string(z) + "/" +
                                   std::to_string(top / kChunkSide) + "/" + std::to_string(left / kChunkSide);
          context.output.Write(folder + name, ChunkOf(stack, plane, left, top));
        }
      }
    }
  }
}

void MakeVersion04(const SContext& context, const std::string& folder, const SStack (&levels)[kZarrLevels]) {
  context.output.Write(folder + ".zgroup", std::string(R"({"zarr_format":2})"));
  context.output.Write(folder + ".zattrs", AttributesText(levels[0], "0.4"));
  for (int level = 0; level < kZarrLevels; ++level) {
    const std::string array = folder + std::to_string(level) + "/";
    context.output.Write(array + ".zarray", Description2(levels[level]));
    WriteChunks(context, levels[level], array);
  }
}

void MakeVersion05(const SContext& context, const std::string& folder, const SStack (&levels)[kZarrLevels]) {
  context.output.Write(folder + "zarr.json", R"({"zarr_format":3,"node_type":"group","attributes":{"ome":)" +
                                                 AttributesText(levels[0], "0.5") + "}}");
  for (int level = 0; level < kZarrLevels; ++level) {
    const std::string array = folder + std::to_string(level) + "/";
    context.output.Write(array + "zarr.json", Description3(levels[level]));
    WriteChunks(context, levels[level], array + "c/");
  }
}

}  // namespace

void MakeOmeZarr(const SContext& context) {
  SFieldOptions options;
  options.width = options.height = context.Side(288);
  options.channels = 2;
  options.sizeZ = 5;
  const SStack full = MakeField(EFluorescence::kCells, options, context.SeedFor("OME-Zarr"));
  const SStack levels[kZarrLevels] = {full, Halved(full)};
  MakeVersion04(context, "OME-Zarr/cells 0.4.zarr/", levels);
  MakeVersion05(context, "OME-Zarr/cells 0.5.zarr/", levels);
}
