#pragma once

#include <cstddef>
#include <cstdint>

namespace imageformats {

// What the viewer and a decoder tell each other. First the decoder says that it is kReady: it has given up its rights
// and has not looked at a file. The viewer asks, one question at a time, and the decoder answers with kAnswer; while it
// works on one it may ask for a file beside the picture's, and gets kBeside. Pictures do not travel: the decoder writes
// them into memory that the viewer lends it.
enum ERequest : std::uint32_t {
  kRequestOpen = 1,  // image, codec, name, native path, is a file, is a folder, the stream when it is small, whether to
                     // read the picture at once; else the file or the stream. Answer: info, source bytes, has tags,
                     // has metadata, metadata, whether the picture was read: then the image is closed
  kRequestDetect,    // codec, name, native path; the file. Answer: whether the content is the codec's
  kRequestMetadata,  // image. Answer: metadata
  kRequestTag,       // image, name. Answer: has it, bytes
  kRequestMemory,    // memory for pictures, which replaces the former; no answer
  kRequestRender,    // image, bytes of a row, request, whether to close it then. Answer: nothing more
  kRequestRead,      // image, bytes of a row, width, height, bits, components. Answer: nothing more
  kRequestClose,     // image; no answer
  kRequestAssociated,        // image. Answer: a list of names and sizes
  kRequestPlate,             // image. Answer: whether there is one, the plate
  kRequestRenderWell,        // image, bytes of a row, request, well. Answer: nothing more
  kRequestRenderAssociated,  // image, bytes of a row, width, height, name. Answer: nothing more
  kAnswer,                   // status, text when it is not 0
  kAskBeside,                // name; of a picture that is a folder, a path below it
  kBeside,                   // the file, when there is one
  kReady,                    // nothing
};

// Where a decoder finds what it is started with.
inline constexpr int kSocketHandle = 3;
// A pipe whose other end nobody writes to: it closes with the viewer, wherever the decoder stands.
inline constexpr int kLifelineHandle = 4;
// The folder that the decoder of slides may read.
inline constexpr int kFolderHandle = 5;

// Streams up to this size travel in the question, which is one packet then.
inline constexpr std::size_t kMostInline = 48u << 10;

// The decoder's only argument: what it is for. Else the name of a codec that has a decoder of its own.
inline constexpr char kForPictures[] = "pictures";
inline constexpr char kForSlides[] = "slides";

}  // namespace imageformats
