#include <algorithm>
#include <atomic>
#include <cstring>
#include <sstream>

#include "imageformats/iqvimageformatmanager.h"
#include "tests/thumbnailcache/standin/standin.h"

namespace standin {
namespace {

CScript& Script() { return CScript::Get(); }

template <class... Args>
void Note(const Args&... args) {
  if (!Script().recording) return;
  std::ostringstream text;
  (text << ... << args);
  Script().Note(text.str());
}

// Counts itself while it lives.
class CCounted {
 public:
  explicit CCounted(std::atomic<int>& counter) : m_counter(counter) { ++m_counter; }
  CCounted(const CCounted&) = delete;
  CCounted& operator=(const CCounted&) = delete;
  ~CCounted() { --m_counter; }

 private:
  std::atomic<int>& m_counter;
};

// The reference count of an object that is released through the registry.
template <class Interface>
class CObject : public Interface {
 public:
  CObject(std::atomic<int>& counter, const char* className) : m_counted(counter), m_className(className) {}
  virtual ~CObject() = default;
  std::int32_t AddRef() override { return ++m_references; }
  std::int32_t Release() override {
    const std::int32_t left = --m_references;
    if (left == 0) delete this;
    return left;
  }
  const char* GetClassName() const override { return m_className; }

 private:
  CCounted m_counted;
  std::atomic<std::int32_t> m_references{1};
  const char* m_className;
};

class CReader final : public IQvMetadataReader {
 public:
  CReader(const std::shared_ptr<const SFile>& file) : m_counted(Script().readers), m_file(file) {}
  virtual ~CReader() = default;

  void Destroy() override {
    Note("Destroy");
    delete this;
  }
  std::int32_t GetPictureMetadata(std::uint32_t index, SQvPictureMetadata* metadata, std::uint32_t reserved) override {
    Note("GetPictureMetadata ", index, " ", reserved);
    if (Meta().pictureMetadataResult != 0) return Meta().pictureMetadataResult;
    metadata->planes.planes.resize(Meta().planeCount);
    metadata->calibration = Meta().pictureCalibration;
    return 0;
  }
  std::int32_t GetExperiment(SQvExperiment* experiment, std::uint32_t reserved) override {
    Note("GetExperiment ", reserved);
    if (Meta().experimentResult != 0) return Meta().experimentResult;
    SQvExperiment* level = experiment;
    for (std::size_t i = 0; i < Meta().loops.size(); ++i) {
      if (i != 0) {
        SQvExperiment* sub = nullptr;
        SQvExperiment::Alloc(&sub);
        level->subExperiments.push_back(sub);
        level = sub;
      }
      level->loopType = Meta().loops[i].type;
      level->loopSize = Meta().loops[i].size;
    }
    if (Meta().nullSubExperiment) level->subExperiments.push_back(nullptr);
    return 0;
  }
  std::int32_t GetImageInfo(SQvImageInfo* info) override {
    Note("GetImageInfo");
    if (Meta().infoResult != 0) return Meta().infoResult;
    *info = m_file->info;
    return 0;
  }
  std::int32_t GetCalibration(std::uint32_t index, double* calibration, double* aspect,
                              CQvStringW* objective) override {
    Note("GetCalibration ", index);
    *objective = Meta().objective;
    if (Meta().calibrationResult != 0) return Meta().calibrationResult;
    *calibration = Meta().calibration;
    *aspect = 1.0;
    return 0;
  }
  std::int32_t GetAcquisitionTime(double* acquisitionTime) override {
    Note("GetAcquisitionTime");
    if (Meta().acquisitionTimeResult != 0) return Meta().acquisitionTimeResult;
    *acquisitionTime = Meta().acquisitionTime;
    return 0;
  }
  std::int32_t GetTextInfo(SQvImageTextInfo* textInfo) override {
    Note("GetTextInfo");
    if (Meta().textResult != 0) return Meta().textResult;
    *textInfo = Meta().text;
    return 0;
  }

 private:
  const SMetadata& Meta() const { return m_file->metadata; }

  CCounted m_counted;
  std::shared_ptr<const SFile> m_file;
};

std::int32_t MakeReader(const std::shared_ptr<const SFile>& file, IQvMetadataReader** reader) {
  if (file->metadata.readerResult != 0) return file->metadata.readerResult;
  *reader = new CReader(file);
  return 0;
}

std::size_t RowBytes(const SQvImageInfo& info) {
  return std::size_t{info.width} * info.components * (info.bpcInMemory > 8 ? 2 : 1);
}

// A scripted file, or a stream in memory.
class CSource final : public IQvPictureSource {
 public:
  CSource(std::wstring name, std::shared_ptr<const SFile> file, std::vector<std::uint8_t> pixels = {})
      : m_counted(Script().sources), m_name(std::move(name)), m_file(std::move(file)), m_pixels(std::move(pixels)) {}
  virtual ~CSource() = default;

  void Release() override {
    Note("Source.Release");
    delete this;
  }
  std::int32_t GetPictureInfo(SQvImageInfo* info) override {
    Note("GetPictureInfo");
    if (m_file->sourceInfoResult != 0) return m_file->sourceInfoResult;
    *info = m_file->info;
    return 0;
  }
  std::int32_t ReadPicture(SQvPicBuf* picture, std::uint32_t reserved1, std::uint32_t reserved2) override {
    Note("ReadPicture ", reserved1, " ", reserved2);
    const std::size_t row = RowBytes(m_file->info);
    auto* out = static_cast<std::uint8_t*>(picture->data);
    if (m_pixels.size() != row * m_file->info.height || picture->widthBytes < row) return -9;
    for (std::uint32_t y = 0; y < picture->height; ++y)
      std::memcpy(out + std::size_t{y} * picture->widthBytes, m_pixels.data() + y * row, row);
    return 0;
  }
  std::int32_t GetCustomTag(const CQvStringW& name, CQvByteArray* bytes) override {
    Note("GetCustomTag ", CQvStringUtils::WtoUTF8(name).Str());
    const auto found = m_file->tags.find(name.Str());
    if (found == m_file->tags.end()) return -9;
    bytes->SetData(found->second.data(), found->second.size(), 0, 0);
    return 0;
  }
  std::int32_t RenderPicture(const std::uint32_t* width, const std::uint32_t* height, SQvPicBuf* picture,
                             std::uint32_t mode, bool fast, std::uint32_t first, std::uint32_t reserved,
                             std::uint32_t channels) override {
    Note("RenderPicture ", *width, "x", *height, " ", mode, " ", fast, " ", first, " ", reserved, " ", channels);
    const int n = Script().EnterRender(m_name);
    if (*width != picture->width || *height != picture->height) return -9;
    std::memset(picture->data, RenderedByte(m_name, n), picture->dataSize);
    return m_file->renderResult;
  }
  std::int32_t GetMetadataReader(IQvMetadataReader** reader) override {
    Note("Source.GetMetadataReader");
    return MakeReader(m_file, reader);
  }
  CQvStringW GetErrorText() const override { return {}; }

 private:
  CCounted m_counted;
  std::wstring m_name;
  std::shared_ptr<const SFile> m_file;
  std::vector<std::uint8_t> m_pixels;
};

class COutput final : public IQvOutputImageFile {
 public:
  explicit COutput(CQvByteArray* destination) : m_counted(Script().outputsLive), m_destination(destination) {}
  virtual ~COutput() = default;

  void Release() override {
    Note("Output.Release");
    delete this;
  }
  std::int32_t SetPictureFormat(const SQvImageInfo& format, double quality) override {
    Note("SetPictureFormat");
    m_format = format;
    std::lock_guard lock(Script().mutex);
    if (Script().recording) Script().outputs.push_back({format, quality});
    return Script().formatResult;
  }
  std::int32_t WritePicture(const void* data, std::uint32_t reserved1, std::uint32_t reserved2) override {
    Note("WritePicture ", reserved1, " ", reserved2);
    const std::uint32_t header[4] = {m_format.width, m_format.height, m_format.components, m_format.bpcInMemory};
    m_destination->SetData(header, sizeof(header), 0, 0);
    const auto* rows = static_cast<const std::uint8_t*>(data);
    for (std::uint32_t y = 0; y < m_format.height; ++y)
      m_destination->Append(rows + std::size_t{y} * m_format.widthBytes, RowBytes(m_format));
    std::lock_guard lock(Script().mutex);
    return Script().writeResult;
  }
  std::int32_t Finish() override {
    Note("Finish");
    std::lock_guard lock(Script().mutex);
    return Script().finishResult;
  }

 private:
  CCounted m_counted;
  CQvByteArray* m_destination;
  SQvImageInfo m_format;
};

class CCodec final : public CObject<IQvImageCodec> {
 public:
  CCodec() : CObject(Script().codecs, "CQvStandInCodec") {}
  ~CCodec() override { Note("Codec.Release"); }

  IQvInterface* QueryInterface(const char*) override { return nullptr; }
  std::int32_t OpenInputFile(const CQvStringW& path, IQvPictureSource** source) override {
    Note("OpenInputFile");
    const auto file = Script().Find(path.Str());
    if (!file) return -9;
    if (file->openResult != 0) return file->openResult;
    *source = new CSource(path.Str(), file);
    return 0;
  }
  std::int32_t OpenInputMemory(const void* data, std::size_t size, IQvPictureSource** source) override {
    Note("OpenInputMemory ", size);
    std::uint32_t header[4];
    if (size < sizeof(header)) return -9;
    std::memcpy(header, data, sizeof(header));
    auto file = std::make_shared<SFile>(header[0], header[1]);
    file->info.components = header[2];
    file->info.bpcInMemory = header[3] > 8 ? 16 : 8;
    file->info.bpcSignificant = static_cast<std::uint8_t>(header[3]);
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    *source = new CSource(L"", file, {bytes + sizeof(header), bytes + size});
    return 0;
  }
  std::int32_t CreateOutputMemory(CQvByteArray* destination, IQvOutputImageFile** output) override {
    Note("CreateOutputMemory");
    {
      std::lock_guard lock(Script().mutex);
      if (Script().createResult != 0) return Script().createResult;
    }
    *output = new COutput(destination);
    return 0;
  }
};

class CImageFile final : public CObject<IQvImageFile> {
 public:
  explicit CImageFile(std::shared_ptr<const SFile> file)
      : CObject(Script().imageFiles, "CQvStandInFile"), m_file(std::move(file)) {}
  ~CImageFile() override { Note("File.Release"); }

  IQvInterface* QueryInterface(const char*) override { return nullptr; }
  std::int32_t GetMetadataReader(const CQvStringW& path, IQvMetadataReader** reader) override {
    Note("File.GetMetadataReader ", CQvStringUtils::WtoUTF8(path).Str());
    return MakeReader(m_file, reader);
  }
  std::int32_t GetFileSize(const wchar_t* path, std::int64_t* size) override {
    Note("File.GetFileSize ", CQvStringUtils::WtoUTF8(path).Str());
    *size = m_file->metadata.fileSize;
    return 0;
  }

 private:
  std::shared_ptr<const SFile> m_file;
};

class CManager final : public CObject<IQvImageFormatManager> {
 public:
  CManager() : CObject(Script().managers, "CQvImageFormatManagerImpl") {
    std::lock_guard lock(Script().mutex);
    Script().changed.notify_all();
  }
  ~CManager() override { Note("Manager.Release"); }

  IQvInterface* QueryInterface(const char* name) override {
    if (std::strcmp(name, "IQvImageFormatManager") != 0) return nullptr;
    AddRef();
    return this;
  }
  std::int32_t GetCodecByName(const CQvStringA& formatName, IQvImageCodec** codec) override {
    Note("GetCodecByName ", formatName.Str());
    std::lock_guard lock(Script().mutex);
    if (Script().codecByNameResult != 0) return Script().codecByNameResult;
    *codec = new CCodec;
    return 0;
  }
  std::int32_t GetCodecForFile(const CQvStringW& path, IQvImageCodec** codec) override {
    Note("GetCodecForFile ", CQvStringUtils::WtoUTF8(path).Str());
    const auto file = Script().Find(path.Str());
    if (!file) return -9;
    if (file->codecResult != 0) return file->codecResult;
    *codec = new CCodec;
    return 0;
  }
  std::int32_t OpenImageFile(const CQvStringW& path, IQvImageFile** imageFile) override {
    Note("OpenImageFile ", CQvStringUtils::WtoUTF8(path).Str());
    const auto file = Script().Find(path.Str());
    if (!file) return -9;
    if (file->metadata.openResult != 0) return file->metadata.openResult;
    *imageFile = new CImageFile(file);
    return 0;
  }
  CQvStringW GetErrorText() const override { return {}; }
};

// Answers to the manager's interface name without being one.
class CImpostor final : public CObject<IQvInterface> {
 public:
  CImpostor() : CObject(Script().managers, "CQvImpostor") {}
  IQvInterface* QueryInterface(const char*) override {
    AddRef();
    return this;
  }
};

IQvInterface* Create() {
  bool null = false, other = false;
  {
    std::lock_guard lock(Script().mutex);
    null = Script().factoryNull;
    other = Script().factoryOther;
  }
  if (null) return nullptr;
  if (other) return new CImpostor;
  return new CManager;
}

}  // namespace

IQvPictureSource* MakeSource(const std::wstring& name, const SFile& file) {
  return new CSource(name, std::make_shared<SFile>(file));
}

}  // namespace standin

extern "C" QV_EXPORT IQvInterface* QV_ConstructorForCQvImageFormatManagerImpl(const char*, unsigned int) {
  return standin::Create();
}

extern "C" QV_EXPORT const char16_t QV_RegistrationData[] =
    u"<variant version=\"1.0\"><CQvImageFormatManagerImpl runtype=\"RQvRttiClass\">"
    u"<m_parent1 runtype=\"CQvStringW\" value=\"IQvImageFormatManager\"/>"
    u"<m_additional runtype=\"CQvListVariant\"><m_singleton runtype=\"bool\" value=\"false\"/></m_additional>"
    u"</CQvImageFormatManagerImpl></variant>\0";
