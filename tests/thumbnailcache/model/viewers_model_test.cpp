#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <random>
#include <thread>

#include "imageformats/iqvimagedatabase.h"
#include "system/qvdatetime.h"
#include "tests/support/diag_recorder.h"
#include "tests/support/sql.h"
#include "tests/support/temp_folder.h"
#include "tests/thumbnailcache/model/cache_model.h"
#include "tests/thumbnailcache/standin/standin.h"
#include "tests/thumbnailcache/support/insides.h"
#include "tests/thumbnailcache/support/service.h"

namespace qvtest {
namespace {

long Setting(const char* name, long standard) {
  const char* text = std::getenv(name);
  return text ? std::atol(text) : standard;
}

// Any record id gives a picture whose rendering the stand-in's script of "db:<id>:image" decides.
class CRecords final : public IQvImageDatabase {
 public:
  std::int32_t AddRef() override { return 2; }
  std::int32_t Release() override { return 1; }
  const char* GetClassName() const override { return "CRecords"; }
  IQvInterface* QueryInterface(const char*) override { return this; }
  std::int32_t BeginAccess() override { return 0; }
  std::int32_t EndAccess() override { return 0; }
  std::int32_t GetRecord(const CQvVariant& recordID, IQvImageRecord** record) override {
    std::int64_t id = 0;
    recordID.GetInt(&id);
    *record = new CRecord(id);
    return 0;
  }
  static std::wstring Name(std::int64_t id) { return L"db:" + std::to_wstring(id) + L":image"; }

 private:
  class CRecord final : public IQvImageRecord {
   public:
    explicit CRecord(std::int64_t id) : m_id(id) {}
    virtual ~CRecord() = default;
    void Release() override { delete this; }
    std::int32_t Open() override { return 0; }
    std::int32_t GetPictureSource(const CQvStringW&, IQvPictureSource** source) override {
      *source = standin::MakeSource(Name(m_id), *standin::CScript::Get().Find(Name(m_id)));
      return 0;
    }

   private:
    std::int64_t m_id;
  };
};

// A picture that a viewer shows.
struct SShown {
  std::wstring location;
  std::uint32_t flags = 0;
  std::uint64_t viewer = 0;
  SQvPicBuf picture{};
  std::uint8_t byte = 0;
};

bool Uniform(const SQvPicBuf& picture, std::uint8_t byte) {
  const auto* bytes = static_cast<const std::uint8_t*>(picture.data);
  const std::size_t row = std::size_t{picture.width} * picture.components;
  for (std::uint32_t y = 0; y < picture.height; ++y)
    for (std::size_t x = 0; x < row; ++x)
      if (bytes[std::size_t{y} * picture.widthBytes + x] != byte) return false;
  return true;
}

class ViewersModelTest : public ::testing::Test {
 protected:
  static constexpr int kFiles = 24;
  static constexpr int kRecords = 6;
  static constexpr int kViewers = 5;

  ViewersModelTest() : m_seed(static_cast<unsigned>(Setting("QV_MODEL_SEED", 20240611))), m_random(m_seed) {}

  void SetUp() override {
    standin::CScript::Get().Reset();
    UseStandInFormats();
    std::printf("seed %u\n", m_seed);
    m_service = std::make_unique<CServiceHandle>();
    CSql(m_folder.Path("cache.db")).Run("PRAGMA journal_mode=WAL");
    ASSERT_EQ(m_service->Open(m_folder.Wide("cache.db")), 0);
    Cache().SetThumbnailBox(16, 12, false);
    Cache().SetThumbnailBox(24, 18, true);
    m_listener = std::make_unique<CRecordingListener>(Cache());
    for (int i = 0; i < kFiles; ++i) {
      const std::wstring path = m_folder.MakeFileWide("file-" + std::to_string(100 + i) + ".tif");
      m_locations.push_back(path);
      m_model.sources[path];
      Touch(path);
    }
    for (int i = 0; i < kRecords; ++i) {
      const std::wstring location = SQvThumbnailDescription::MakeDBLocation(i, L"image").Str();
      m_locations.push_back(location);
      m_model.sources[location].isRecord = true;
    }
  }
  void TearDown() override {
    standin::CScript::Get().UnblockAll();
    m_listener.reset();
    m_service.reset();
    EXPECT_EQ(standin::CScript::Get().Live(), standin::SBalance{});
    standin::CScript::Get().Reset();
  }

  IQvThumbnailCache& Cache() { return **m_service; }
  std::string FindBroken() { return CThumbnailCacheForTest::FindBrokenInvariant(CServiceForTest::Cache(Cache())); }
  unsigned Below(unsigned limit) { return static_cast<unsigned>(m_random() % limit); }
  const std::wstring& AnyLocation() { return m_locations[Below(static_cast<unsigned>(m_locations.size()))]; }
  std::uint32_t AnyFlags() { return Below(4) == 0 ? 1 : 0; }
  IQvInterface* AnyOwner() { return Below(8) == 0 ? nullptr : static_cast<IQvInterface*>(&m_records); }
  double AnyTime(const std::wstring& location) {
    const unsigned choice = Below(10);
    if (choice < 6) return 0.0;
    const CCacheModel::SSource& source = m_model.sources[location];
    return choice < 9 && !source.isRecord ? source.written : 3000000.0 + Below(3);
  }

  // Gives the file a new time.
  void Touch(const std::wstring& path) {
    const std::int64_t second = 4102444800 + m_clock++;  // from 2100 on, later than any creation
    const timespec times[2] = {{0, UTIME_OMIT}, {second, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, CQvStringUtils::WtoUTF8(path.c_str()).c_str(), times, 0), 0);
    const auto ticks = static_cast<std::uint64_t>(second) * 10000000 + 116444736000000000u;
    m_model.sources[path].written = CQvDateTime(SQvFileTime::FromTicks(ticks)).GetJulianDayNumber();
  }
  void ChangeSource() {
    const std::wstring& location = AnyLocation();
    CCacheModel::SSource& source = m_model.sources[location];
    if (source.isRecord || Below(3) != 0) {
      constexpr std::int32_t kResults[] = {0, 0, 0, -9, -3};
      source.renderResult = kResults[Below(5)];
      standin::SFile file(40, 30);
      file.renderResult = source.renderResult;
      standin::CScript::Get().SetFile(ScriptName(location), file);
      return;
    }
    const std::string name = CQvStringUtils::WtoUTF8(location.c_str()).Str();
    source.exists = Below(4) != 0;
    if (!source.exists) {
      std::filesystem::remove(name);
    } else {
      std::ofstream(name, std::ios::app) << 'x';
      Touch(location);
    }
  }
  static std::wstring ScriptName(const std::wstring& location) {
    if (!SQvThumbnailDescription::IsDBLoc(location)) return location;
    return CRecords::Name(std::stoi(SQvThumbnailDescription::ExtractDBRecID(location).Str()));
  }
  static std::uint8_t Byte(const std::wstring& location, int content) {
    return standin::RenderedByte(ScriptName(location), content);
  }

  const unsigned m_seed;
  std::mt19937 m_random;
  CTempFolder m_folder;
  CDiagRecorder m_diag;
  CRecords m_records;
  CCacheModel m_model;
  std::unique_ptr<CServiceHandle> m_service;
  std::unique_ptr<CRecordingListener> m_listener;
  std::vector<std::wstring> m_locations;
  std::vector<SShown> m_shown;
  std::int64_t m_clock = 0;
};

// One thread plays the viewers and compares every answer with the model. While it does, both workers stand in
// renderings of their own; then one of them works off the queue, which therefore happens in the model's order.
class ExactModelTest : public ViewersModelTest {
 protected:
  void LookUp(const std::wstring& location, std::uint32_t flags, double time) {
    const std::uint64_t viewer = Below(kViewers);
    for (const SShown& shown : m_shown)
      if (shown.viewer == viewer && shown.location == location && shown.flags == flags) return;
    const SLookup look = Get(Cache(), Describe(location, flags, time), viewer);
    const CCacheModel::SLookup expected = m_model.Get(viewer, location, flags, time);
    ASSERT_EQ(look.state, expected.state);
    ASSERT_EQ(look.HasPicture(), expected.picture);
    if (!look.HasPicture()) return;
    const std::uint8_t byte = Byte(location, expected.content);
    ASSERT_TRUE(Uniform(look.picture, byte));
    m_shown.push_back({location, flags, viewer, look.picture, byte});
  }
  void Leave(std::size_t index, double time) {
    const SShown shown = m_shown[index];
    m_shown.erase(m_shown.begin() + static_cast<std::ptrdiff_t>(index));
    ASSERT_TRUE(Uniform(shown.picture, shown.byte)) << "a shown picture changed";
    Cache().ReleaseThumbnail(shown.viewer, Describe(shown.location, shown.flags, time));
    m_model.Release(shown.viewer, shown.location, shown.flags, time);
  }
  void LeaveAny() {
    if (m_shown.empty()) return;
    const std::size_t index = Below(static_cast<unsigned>(m_shown.size()));
    const CCacheModel::SEntry& entry = m_model.entries.at({m_shown[index].location, m_shown[index].flags != 0});
    Leave(index, Below(5) == 0 ? AnyTime(m_shown[index].location) : entry.lastWritten);
  }
  void Request(bool queue) {
    std::vector<SQvThumbnailDescription> batch;
    for (unsigned i = 1 + Below(4); i > 0; --i) {
      const std::wstring& location = AnyLocation();
      batch.push_back(Describe(location, AnyFlags(), AnyTime(location), AnyOwner()));
    }
    (queue ? qvtest::Queue : qvtest::RequestNow)(Cache(), batch);
    for (const auto& desc : batch) {
      if (queue)
        m_model.Queue(desc.location.Str(), desc.flags, desc.lastWritten, desc.owner != nullptr);
      else
        m_model.RequestNow(desc.location.Str(), desc.flags, desc.lastWritten, desc.owner != nullptr);
    }
  }
  void Exclude(bool on) {
    const std::wstring& location = AnyLocation();
    on ? Cache().ExcludeLocation(location.c_str()) : Cache().IncludeLocation(location.c_str());
    on ? static_cast<void>(m_model.excluded.insert(location)) : static_cast<void>(m_model.excluded.erase(location));
  }
  void Set() {
    if (Below(2) == 0) {
      m_model.highQuality = Below(2) == 0;
      Cache().SetHighQuality(m_model.highQuality);
    } else {
      m_model.limit = Below(3) == 0 ? Below(60) : 5 + Below(12);
      Cache().SetCacheLimit(m_model.limit);
    }
  }
  void Withdraw() {
    if (Below(6) == 0) {
      Cache().CancelAllRequests();
      m_model.CancelAll();
      return;
    }
    const SQvThumbnailDescription desc = Describe(AnyLocation(), AnyFlags());
    Cache().CancelRequests(0, &desc, 1);
    m_model.Cancel(desc.location.Str(), desc.flags);
  }
  void Step() {
    const unsigned choice = Below(100);
    if (choice < 40) {
      const std::wstring& location = AnyLocation();
      LookUp(location, AnyFlags(), AnyTime(location));
    } else if (choice < 65) {
      LeaveAny();
    } else if (choice < 78) {
      Request(true);
    } else if (choice < 84) {
      Request(false);
    } else if (choice < 89) {
      Withdraw();
    } else if (choice < 93) {
      ChangeSource();
    } else if (choice < 96) {
      Exclude(Below(3) == 0);
    } else if (choice < 98) {
      Set();
    } else if (Below(6) == 0) {
      Cache().PurgeUnusedThumbnails();
      m_model.Purge();
    }
  }

  std::wstring QueueFresh() {
    const std::wstring location = SQvThumbnailDescription::MakeDBLocation(m_fresh++, L"image").Str();
    m_model.sources[location].isRecord = true;
    qvtest::Queue(Cache(), {Describe(location, 0, 0.0, &m_records)});
    m_model.Queue(location, 0, 0.0, true);
    return location;
  }
  void OccupyWorkers() {
    for (std::wstring& location : m_occupied) {
      standin::CScript::Get().Block(CRecords::Name(m_fresh));
      location = QueueFresh();
      // One after the other, so that their order is the model's.
      standin::CScript::Get().WaitForBlocked(&location == &m_occupied[0] ? 1 : 2);
      m_model.Begin();
    }
  }
  void WorkOff() {
    const std::size_t before = m_listener->Locations().size();
    QueueFresh();  // told of when everything before it is done
    std::vector<std::wstring> expected = {m_model.Finish()};
    const auto told = m_model.Process();
    expected.insert(expected.end(), told.begin(), told.end());
    standin::CScript::Get().Unblock(ScriptName(m_occupied[0]));
    m_listener->WaitFor(expected.back());
    expected.push_back(m_model.Finish());
    standin::CScript::Get().Unblock(ScriptName(m_occupied[1]));
    m_listener->WaitFor(expected.back());
    const auto all = m_listener->Locations();
    ASSERT_EQ(std::vector<std::wstring>(all.begin() + static_cast<std::ptrdiff_t>(before), all.end()), expected);
    m_listener->Forget();
  }

 private:
  std::wstring m_occupied[2];
  int m_fresh = 1000;
};

TEST_F(ExactModelTest, EveryAnswerIsTheModels) {
  standin::CScript::Get().SetFallback(standin::SFile(40, 30));
  const long steps = Setting("QV_MODEL_STEPS", 120000);
  constexpr long kRound = 60;
  for (long round = 0; round < steps / kRound; ++round) {
    OccupyWorkers();
    for (long step = 0; step < kRound; ++step) {
      ASSERT_NO_FATAL_FAILURE(Step()) << "seed " << m_seed << " round " << round << " step " << step;
    }
    ASSERT_NO_FATAL_FAILURE(WorkOff()) << "seed " << m_seed << " round " << round;
    ASSERT_EQ(FindBroken(), "") << "seed " << m_seed << " round " << round;
    const auto messages = m_diag.TakeTexts();
    ASSERT_TRUE(messages.empty()) << CQvStringUtils::WtoUTF8(messages[0].c_str()).Str();
  }
  while (!m_shown.empty()) ASSERT_NO_FATAL_FAILURE(Leave(0, 0.0));
}

// Viewers on threads of their own and free workers: no order to compare with, but what a viewer shows never changes,
// and nothing is reported that a correct viewer may not see.
class ParallelModelTest : public ViewersModelTest {
 protected:
  void PlayViewer(unsigned number, long steps) {
    std::mt19937 random(m_seed + number);
    const auto below = [&](unsigned limit) { return static_cast<unsigned>(random() % limit); };
    std::vector<SShown> shown;
    for (long step = 0; step < steps; ++step) {
      const std::wstring& location = m_locations[below(static_cast<unsigned>(m_locations.size()))];
      const SQvThumbnailDescription desc =
          Describe(location, below(4) == 0, below(6) == 0 ? 3000000.0 + below(3) : 0.0, &m_records);
      const unsigned choice = below(100);
      if (choice < 40) {
        Show(desc, number * 1000000 + static_cast<std::uint64_t>(step), &shown);
      } else if (choice < 70) {
        if (!shown.empty()) Leave(&shown, below(static_cast<unsigned>(shown.size())), desc.lastWritten);
      } else if (choice < 88) {
        RequestThumbnails(desc, choice < 83);
      } else {
        Disturb(desc, below);
      }
    }
    while (!shown.empty()) Leave(&shown, shown.size() - 1, 0.0);
  }

  void Show(const SQvThumbnailDescription& desc, std::uint64_t viewer, std::vector<SShown>* shown) {
    const SLookup look = Get(Cache(), desc, viewer);
    EXPECT_THAT(look.state,
                testing::AnyOf(kQvThumbnailNone, kQvThumbnailQueued, kQvThumbnailInWork, kQvThumbnailReady,
                               kQvThumbnailFailed, kQvThumbnailDormant, kQvThumbnailStale, kQvThumbnailUnavailable));
    const bool refers = look.state == kQvThumbnailReady || look.state == kQvThumbnailStale;
    // A release makes a record stale even if it has no picture: a copy that failed was published meanwhile.
    EXPECT_TRUE(look.HasPicture() == refers || (refers && desc.IsDBLoc())) << look.state;
    if (!refers) return;
    const std::uint8_t byte = look.HasPicture() ? *static_cast<const std::uint8_t*>(look.picture.data) : 0;
    EXPECT_TRUE(!look.HasPicture() || Uniform(look.picture, byte)) << "half a picture was shown";
    shown->push_back({desc.location.Str(), desc.flags, viewer, look.picture, byte});
  }
  void Leave(std::vector<SShown>* shown, std::size_t index, double time) {
    const SShown item = (*shown)[index];
    shown->erase(shown->begin() + static_cast<std::ptrdiff_t>(index));
    EXPECT_TRUE(!item.picture.data || Uniform(item.picture, item.byte)) << "a shown picture changed";
    Cache().ReleaseThumbnail(item.viewer, Describe(item.location, item.flags, time));
  }
  void RequestThumbnails(const SQvThumbnailDescription& desc, bool queue) {
    (queue ? qvtest::Queue : qvtest::RequestNow)(Cache(), {desc});
  }
  void Disturb(const SQvThumbnailDescription& desc, const std::function<unsigned(unsigned)>& below) {
    switch (below(9)) {
      case 0:
        Cache().PurgeUnusedThumbnails();
        break;
      case 1:
        Cache().CancelAllRequests();
        break;
      case 2:
        Cache().CancelRequests(0, &desc, 1);
        break;
      case 3:
        Cache().ExcludeLocation(desc.location.c_str());
        break;
      case 4:
        Cache().IncludeLocation(desc.location.c_str());
        break;
      case 5:
        Cache().SetHighQuality(below(2) == 0);
        break;
      case 6:
        Cache().SetCacheLimit(below(30));
        break;
      case 7:
        Cache().RemoveListener(Cache().AddListener([](void*, const wchar_t*) {}, this));
        break;
      default:
        ChangeScript(desc.location.Str(), below);
        break;
    }
  }
  void ChangeScript(const std::wstring& location, const std::function<unsigned(unsigned)>& below) {
    standin::SFile file(40, 30 + below(3));
    file.renderResult = below(6) == 0 ? -9 : 0;
    standin::CScript::Get().SetFile(ScriptName(location), file);
  }

  void PlayAll() {
    standin::CScript::Get().SetFallback(standin::SFile(40, 30));
    const long steps = Setting("QV_MODEL_STEPS", 120000) / 3;
    std::vector<std::thread> threads;
    for (unsigned viewer = 1; viewer <= 4; ++viewer)
      threads.emplace_back([this, viewer, steps] { PlayViewer(viewer, steps / 4); });
    for (std::thread& thread : threads) thread.join();
    Cache().CancelAllRequests();
    EXPECT_EQ(FindBroken(), "");
  }
};

// What is excluded while it is in work turns dormant and may be taken a second time, and a release makes a record stale
// whatever it was before. Two threads then have copies of one thumbnail. The later copy replaces the references that
// were taken on the earlier one, so that their viewers' releases find none, or no entry at all; and where both deleted
// the row before either inserted it, the second row is refused. Nothing else may be reported.
bool TellsOfTwoCopies(const std::wstring& text) {
  if (text == L"m_RefSet.find(src) == m_RefSet.end()" || text == L"i == m_CacheMap.end()") return true;
  return text.starts_with(L"THUMBCACHE: SaveThumbnailToDatabase - sqlite3_") &&
         text.ends_with(L"UNIQUE constraint failed: cache.filename, cache.flags");
}

TEST_F(ParallelModelTest, ShownPicturesOfFilesNeverChange) {
  m_locations.resize(kFiles);
  PlayAll();
  for (const std::wstring& text : m_diag.TakeTexts())
    EXPECT_TRUE(TellsOfTwoCopies(text)) << CQvStringUtils::WtoUTF8(text.c_str()).Str();
}

TEST_F(ParallelModelTest, ShownPicturesOfRecordsNeverChange) {
  m_locations.erase(m_locations.begin(), m_locations.begin() + kFiles);
  PlayAll();
  for (const std::wstring& text : m_diag.TakeTexts())
    EXPECT_TRUE(TellsOfTwoCopies(text)) << CQvStringUtils::WtoUTF8(text.c_str()).Str();
}

}  // namespace
}  // namespace qvtest
