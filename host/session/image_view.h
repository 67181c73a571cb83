#pragma once

#include <cstdint>
#include <string>

#include "imageformats/iqvimageviewsettings.h"

namespace qvhost {

// What thumbnails show of pictures that have several planes, as the user said it. Numbers count from 1; 0: not said.
struct SViewOptions {
  std::string planes;  // middle, first, last, max, mean or a number; empty: middle
  int time = 0;
  int position = 0;
  std::string channels;  // "1,3"; empty: the file's own choice
  bool stretchTogether = false;
};

// Throws CHostError for what is no choice.
SQvImageView ViewOf(const SViewOptions& options);

// A short name of the view, in which views differ, fit for a file's name: "max-t3-c1+2". Empty: the default.
std::string ViewName(const SQvImageView& view);

// Lets everything that is rendered in this process show the view. Throws CHostError when the image formats cannot.
void SetProcessView(const SQvImageView& view);

}  // namespace qvhost
