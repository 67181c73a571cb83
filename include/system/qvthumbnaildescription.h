#pragma once

#include <cstdint>

#include "system/qvclass.h"
#include "system/qvexport.h"
#include "system/qvstring.h"

// One wanted thumbnail, as a viewer describes it.
//
// A location is a file path, or names a picture field of a record in a host's database: a prefix that no file path can
// be mistaken for (it starts with a lone high surrogate, which no file name converts to), the record's decimal id, ':'
// and the field's name. Locations are compared without regard to case, and so are field names.
struct QV_SYSTEM_API SQvThumbnailDescription {
  CQvStringW location;
  // The source's modification time as a Julian day number (UTC, fractional); 0 when unknown.
  double lastWritten = 0.0;
  // Non-zero asks for high quality.
  std::uint32_t flags = 0;
  // For database locations: the requester's object that gives access to the records (see IQvImageDatabase). May be
  // null. Not owned, and no reference is added. The cache keeps the pointer with the thumbnail and asks the object, on
  // any thread, whenever the thumbnail is made again: it must live until the cache's CloseDatabase has returned. To let
  // a database go before that, request with a CQvDetachableImageDatabase in front of it.
  IQvInterface* owner = nullptr;

  bool IsFileLoc() const noexcept { return IsFileLoc(location); }
  bool IsDBLoc() const noexcept { return IsDBLoc(location); }
  CQvStringW ExtractFilePath() const { return ExtractFilePath(location); }
  CQvStringW ExtractDBRecID() const { return ExtractDBRecID(location); }
  CQvStringW ExtractDBField() const { return ExtractDBField(location); }

  // A non-empty location that is not a database location.
  static bool IsFileLoc(const CQvStringW& location) noexcept;
  static bool IsDBLoc(const CQvStringW& location) noexcept;
  // The path of a file location; empty for others.
  static CQvStringW ExtractFilePath(const CQvStringW& location);
  // The record id's digits, and the field's name, of a database location; empty for others.
  static CQvStringW ExtractDBRecID(const CQvStringW& location);
  static CQvStringW ExtractDBField(const CQvStringW& location);
  static CQvStringW MakeDBLocation(std::int32_t recordID, const CQvStringW& field);
  // The form in which locations are kept and compared.
  static CQvStringW LowerCase(CQvStringW location) {
    CQvStringUtils::ToLower(location.Str());
    return location;
  }
};
