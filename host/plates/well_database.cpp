#include "host/plates/well_database.h"

#include <cstring>

#include "host/plates/plate_reader.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

SQvImageInfo InfoOf(const SQvPlateWell& well) {
  SQvImageInfo info;
  info.width = info.tileWidth = well.width;
  info.height = info.tileHeight = well.height;
  info.components = 3;
  info.widthBytes = well.width * 3;
  info.bpcInMemory = info.bpcSignificant = 8;
  info.pixelType = kQvPixelUnsigned;
  info.sequenceCount = 1;
  return info;
}

// The overview of one well; nothing else of it is asked for.
class CWellSource final : public IQvPictureSource {
 public:
  CWellSource(CWellDatabase& wells, CWellDatabase::SOpened opened, std::uint32_t well)
      : m_wells(wells), m_opened(std::move(opened)), m_well(well) {}
  ~CWellSource() { m_wells.GiveBack(std::move(m_opened)); }

  void Release() override { delete this; }
  std::int32_t GetPictureInfo(SQvImageInfo* info) override {
    *info = InfoOf(m_opened.plate.wells[m_well]);
    return kQvOk;
  }
  std::int32_t ReadPicture(SQvPicBuf*, std::uint32_t, std::uint32_t) override { return kQvUnsupported; }
  std::int32_t GetCustomTag(const CQvStringW&, CQvByteArray*) override { return kQvFailure; }
  std::int32_t RenderPicture(const std::uint32_t*, const std::uint32_t*, SQvPicBuf* picture, std::uint32_t, bool,
                             std::uint32_t, std::uint32_t, std::uint32_t) override {
    return m_opened.reader->RenderWell(m_well, picture);
  }
  std::int32_t GetMetadataReader(IQvMetadataReader**) override { return kQvFailure; }
  CQvStringW GetErrorText() const override { return {}; }

 private:
  CWellDatabase& m_wells;
  CWellDatabase::SOpened m_opened;
  const std::uint32_t m_well;
};

class CWellRecord final : public IQvImageRecord {
 public:
  CWellRecord(CWellDatabase& wells, std::uint32_t well) : m_wells(wells), m_well(well) {}

  void Release() override { delete this; }
  std::int32_t Open() override { return kQvOk; }
  std::int32_t GetPictureSource(const CQvStringW&, IQvPictureSource** source) override {
    try {
      CWellDatabase::SOpened opened = m_wells.Take();
      if (m_well >= opened.plate.wells.size()) return kQvFailure;
      *source = new CWellSource(m_wells, std::move(opened), m_well);
      return kQvOk;
    } catch (...) {
      return kQvFailure;
    }
  }

 private:
  CWellDatabase& m_wells;
  const std::uint32_t m_well;
};

}  // namespace

IQvInterface* CWellDatabase::QueryInterface(const char* name) {
  if (std::strcmp(name, "IQvImageDatabase") != 0) return nullptr;
  AddRef();
  return this;
}

std::int32_t CWellDatabase::BeginAccess() { return kQvOk; }
std::int32_t CWellDatabase::EndAccess() { return kQvOk; }

std::int32_t CWellDatabase::GetRecord(const CQvVariant& recordID, IQvImageRecord** record) {
  try {
    std::int64_t id = 0;
    if (recordID.GetInt(&id) != kQvOk || id < 1 || id > 0x7FFFFFFF) return kQvFailure;
    *record = new CWellRecord(*this, static_cast<std::uint32_t>(id - 1));
    return kQvOk;
  } catch (...) {
    return kQvFailure;
  }
}

CWellDatabase::SOpened CWellDatabase::Take() {
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_idle.empty()) {
      SOpened opened = std::move(m_idle.back());
      m_idle.pop_back();
      return opened;
    }
  }
  SOpened opened;
  opened.reader = OpenPlate(m_file);
  if (!opened.reader || opened.reader->GetPlate(&opened.plate) != kQvOk) opened.plate = {};
  return opened;
}

void CWellDatabase::GiveBack(SOpened opened) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_idle.push_back(std::move(opened));
}

}  // namespace qvhost
