#pragma once

#include "system/qvstring.h"

// The descriptive texts of an image file; an empty text means that the file does not say.
struct SQvImageTextInfo {
  CQvStringW imageID;
  CQvStringW type;
  CQvStringW group;
  CQvStringW sampleID;
  CQvStringW author;
  CQvStringW description;
  CQvStringW capturing;
  CQvStringW sampling;
  CQvStringW location;
  CQvStringW date;
  CQvStringW conclusion;
  CQvStringW info1;
  CQvStringW info2;
  CQvStringW optics;
};
