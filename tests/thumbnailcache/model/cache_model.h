#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace qvtest {

// The states of the thumbnails as the service must have them while no two operations overlap: a plain, slow rendering
// of its rules. Workers are played by Process, which works off the queue as a single worker does.
class CCacheModel {
 public:
  // What there is at a location. Shared by both qualities.
  struct SSource {
    bool isRecord = false;
    bool exists = true;    // file sources
    double written = 0.0;  // file sources: what the file system says
    std::int32_t renderResult = 0;
    int renders = 0;  // how often it was rendered
  };
  struct SEntry {
    std::wstring location;
    std::uint32_t flags = 0;
    std::uint32_t state = 0;
    double lastWritten = 0.0;
    std::uint64_t lastUse = 0;
    bool highQuality = false;
    bool hasPicture = false;
    int content = -1;  // which rendering the picture shows
    bool owned = false;
    std::set<std::uint64_t> referrers;
  };
  struct SRow {
    int content = -1;
    double lastWritten = 0.0;
    bool highQuality = false;
  };
  struct SLookup {
    std::uint32_t state = 0;
    bool picture = false;
    int content = -1;
  };
  using Key = std::pair<std::wstring, bool>;  // the location, and whether high quality is asked for

  SLookup Get(std::uint64_t referrer, const std::wstring& location, std::uint32_t flags, double lastWritten);
  void Release(std::uint64_t referrer, const std::wstring& location, std::uint32_t flags, double lastWritten);
  void RequestNow(const std::wstring& location, std::uint32_t flags, double lastWritten, bool owned);
  void Queue(const std::wstring& location, std::uint32_t flags, double lastWritten, bool owned);
  void CancelAll();
  void Cancel(const std::wstring& location, std::uint32_t flags);
  void Purge();

  // A worker takes the front of the queue and stands in its rendering; Finish lets it publish.
  void Begin();
  std::wstring Finish();
  // A worker works off the queue; gives the locations that listeners are told of, in order.
  std::vector<std::wstring> Process();

  std::map<std::wstring, SSource> sources;
  std::map<Key, SEntry> entries;
  std::map<std::pair<std::wstring, std::uint32_t>, SRow> rows;
  std::set<std::wstring> excluded;
  bool highQuality = false;
  std::uint32_t limit = 1000;
  std::uint32_t pictures = 0;

 private:
  static Key KeyOf(const std::wstring& location, std::uint32_t flags) { return {location, flags != 0}; }
  SEntry& FindOrAdd(const std::wstring& location, std::uint32_t flags, bool* added);
  bool ReadRow(SEntry& entry);
  bool Create(SEntry& entry);
  void StartPicture(SEntry& entry);
  bool Render(SEntry& entry);
  void Save(const SEntry& entry);
  void Resolve(SEntry& entry, bool stale);
  bool Take(SEntry* entry);
  void Evict();
  void DropPicture(SEntry& entry);

  std::uint64_t m_useCounter = 0;
  std::deque<Key> m_queue;
  std::vector<Key> m_inWork;  // begun and not finished
};

}  // namespace qvtest
