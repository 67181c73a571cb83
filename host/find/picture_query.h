#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/find/folding.h"
#include "host/find/search_index.h"

namespace qvhost {

// Values from the least to the most; an end that is none is open. What is not known is in no range but an open one.
struct SFactRange {
  std::optional<double> least, most;

  bool IsOpen() const noexcept { return !least && !most; }
};

// Which pictures are wanted: those that meet every condition.
struct SPictureQuery {
  std::vector<std::string> words;  // parts of the texts
  SFactRange channels, z, t;
  SFactRange pixelSize;   // micrometres
  SFactRange size;        // bytes of the file
  SFactRange time;        // of acquisition, Julian day numbers; `most` is excluded
  std::string objective;  // a part of its name; empty: any
  std::string user;       // the whole name; empty: any
  std::optional<int> experiment;
  // The location of a folder, with a slash at its end: only what lies below it, whose words are looked for behind it.
  // Empty: everywhere.
  std::string under;
  // So many at most, any of them; 0: all, by location.
  std::int64_t limit = 0;

  // Whether every picture is wanted.
  bool IsOpen() const;
};

// A picture that was found, and what is known of it.
struct SFoundPicture {
  std::string location;  // in lower case
  std::optional<std::int64_t> channels, z, t, size, experiment;
  std::optional<double> pixelSize, time;
  std::string objective, user;
  std::int64_t textRow = 0;  // of the database's table `metadata`; 0: none

  bool operator==(const SFoundPicture&) const = default;
};

// Hands over what the index holds of the wanted pictures, or their locations alone, in no particular order. Throws
// SQLite::Exception, or CHostError when interrupted.
void FindPictures(CSearchIndex& index, const CFolding& folding, const SPictureQuery& query,
                  const std::function<void(SFoundPicture picture)>& take);
void FindLocations(CSearchIndex& index, const CFolding& folding, const SPictureQuery& query,
                   const std::function<void(std::string location)>& take);

}  // namespace qvhost
