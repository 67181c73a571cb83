#include "bench/cold/comparison.h"

#include <algorithm>
#include <fstream>

#include "bench/median.h"

namespace {

namespace fs = std::filesystem;

CPaths FilesIn(const fs::path& folder) {
  CPaths files;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::ranges::sort(files);
  return files;
}

void FillPageCache(const CPaths& files) {
  std::vector<char> buffer(1 << 20);
  for (const fs::path& path : files) {
    std::ifstream file(path, std::ios::binary);
    while (file.read(buffer.data(), static_cast<std::streamsize>(buffer.size()))) {
    }
  }
}

std::vector<double> ValuesOf(const std::vector<SProgramRun>& runs, double SProgramRun::*value) {
  std::vector<double> values;
  for (const SProgramRun& run : runs) values.push_back(run.*value);
  return values;
}

// The runs of one contender on one class.
struct SSeries {
  const SContender* contender = nullptr;
  std::vector<SProgramRun> starts, batches;
  bool reads = true;

  void RunStart(const CPaths& files, const fs::path& out) { starts.push_back(RunContender(*contender, files, out)); }
  void RunBatch(const CPaths& files, const fs::path& out) {
    if (!reads) return;
    batches.push_back(RunContender(*contender, files, out));
    reads = batches.back().succeeded;
  }
  // Of each round, with the median start-up taken out.
  std::vector<double> Net(double SProgramRun::*time) const {
    std::vector<double> net = ValuesOf(batches, time);
    const double start = Median(ValuesOf(starts, time));
    for (double& seconds : net) seconds -= start;
    return net;
  }
  std::optional<SRate> Result(std::size_t batch) const {
    if (!reads) return std::nullopt;
    const auto count = static_cast<double>(contender->wholeBatch ? batch : 1);
    return SRate{count / Median(Net(&SProgramRun::seconds)), std::ranges::max(ValuesOf(batches, &SProgramRun::peakMiB)),
                 Median(ValuesOf(starts, &SProgramRun::peakMiB))};
  }
};

double MedianQuotient(const SSeries& above, const SSeries& below, double SProgramRun::*time) {
  if (!above.reads || !below.reads) return 0;
  std::vector<double> quotients = above.Net(time);
  const std::vector<double> divisors = below.Net(time);
  for (std::size_t i = 0; i < quotients.size(); ++i) quotients[i] /= divisors[i];
  return Median(quotients);
}

// In turns, so that a change of the machine's pace meets all alike.
std::vector<SSeries> RunInTurns(const std::vector<SContender>& contenders, int rounds, const CPaths& start,
                                const CPaths& files, const SScratch& scratch) {
  std::vector<SSeries> all;
  for (const SContender& contender : contenders) all.emplace_back().contender = &contender;
  for (int round = 0; round < rounds; ++round) {
    for (SSeries& series : all) series.RunStart(start, scratch.Of(*series.contender));
    for (SSeries& series : all) series.RunBatch(files, scratch.Of(*series.contender));
  }
  fs::remove_all(scratch.memory);
  fs::remove_all(scratch.disk);
  return all;
}

}  // namespace

SComparison SComparer::Compare(const fs::path& folder, const std::string& className) const {
  const CPaths files = FilesIn(folder), start = FilesIn(folder / "start");
  FillPageCache(files);
  const std::vector<SSeries> pair = RunInTurns(main, rounds, start, files, scratch);
  SComparison result;
  result.ours = pair[0].Result(files.size());
  result.vips = pair[1].Result(files.size());
  result.oursTwice = pair[2].Result(files.size());
  result.toVips = MedianQuotient(pair[0], pair[1], &SProgramRun::seconds);
  result.twoWorkersToOne = MedianQuotient(pair[2], pair[0], &SProgramRun::seconds);
  result.diskToMemory = MedianQuotient(pair[3], pair[2], &SProgramRun::seconds);
  result.processorToVips = MedianQuotient(pair[0], pair[1], &SProgramRun::processorSeconds);
  for (const SContender& other : others) {
    if (other.onlyClass != nullptr && className != other.onlyClass) {
      result.others.emplace_back();
    } else {
      result.others.push_back(RunInTurns({other}, otherRounds, start, files, scratch).front().Result(files.size()));
    }
  }
  return result;
}
