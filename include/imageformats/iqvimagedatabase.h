#pragma once

#include <cstdint>

#include "imageformats/iqvimageformatmanager.h"
#include "system/qvclass.h"
#include "system/qvvariant.h"

// A record of a host's image database. Given back with Release; picture sources obtained from it stay usable until the
// database's EndAccess.
class IQvImageRecord {
 public:
  virtual void Release() = 0;
  virtual std::int32_t Open() = 0;
  // The picture in the named field (compared without regard to case).
  virtual std::int32_t GetPictureSource(const CQvStringW& field, IQvPictureSource** source) = 0;

 protected:
  ~IQvImageRecord() = default;
};

// Interface "IQvImageDatabase": the owner of database locations. Implemented by the host, called on any thread; access
// is bracketed, several threads may be inside at once.
class IQvImageDatabase : public virtual IQvInterface {
 public:
  virtual std::int32_t BeginAccess() = 0;
  virtual std::int32_t GetRecord(const CQvVariant& recordID, IQvImageRecord** record) = 0;
  virtual std::int32_t EndAccess() = 0;

 protected:
  ~IQvImageDatabase() = default;
};
