#include <cmath>
#include <cstdio>
#include <exception>
#include <map>
#include <stdexcept>
#include <string>

#include <fmt/format.h>
#include <time.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include "bench/decoders/files.h"
#include "bench/median.h"

namespace {

namespace fs = std::filesystem;

constexpr double kLeastGain = 1.2;      // what a decoder of our own has to be faster by
constexpr double kLeastSeconds = 0.01;  // that one measurement takes, by repeating short ones

// Of the calling thread: what other programs do does not count.
double ProcessorSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double SecondsOf(const SDecoder& decoder, int runs) {
  const double start = ProcessorSeconds();
  for (int i = 0; i < runs; ++i) decoder.decode();
  return (ProcessorSeconds() - start) / runs;
}

// Peak signal-to-noise ratio in dB, infinite for equal pictures.
double Likeness(const SAverages& a, const SAverages& b) {
  if (a.width != b.width || a.samples.size() != b.samples.size())
    throw std::runtime_error("the pictures differ in size");
  double sum = 0;
  for (std::size_t i = 0; i < a.samples.size(); ++i) {
    const double difference = static_cast<double>(a.samples[i]) - static_cast<double>(b.samples[i]);
    sum += difference * difference;
  }
  return 10 * std::log10(a.most * a.most * static_cast<double>(a.samples.size()) / sum);
}

// A library beside our own decoder.
struct SComparison {
  std::string library;
  double seconds = 0;  // median
  double gain = 0;     // its time divided by ours: median of the rounds' quotients
  double gainOfMinima = 0;
  double likeness = 0;
};

struct SMeasured {
  double seconds = 0;  // of our own decoder, median
  std::vector<SComparison> libraries;
};

// All in turns (A B A B ...), after a run that does not count.
SMeasured Measure(const std::vector<SDecoder>& decoders, int rounds) {
  std::vector<SAverages> averages;
  for (const SDecoder& decoder : decoders) averages.push_back(decoder.decode());
  const int runs = 1 + static_cast<int>(kLeastSeconds / std::max(SecondsOf(decoders.front(), 1), 1e-6));
  std::vector<std::vector<double>> seconds(decoders.size());
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t i = 0; i < decoders.size(); ++i) seconds[i].push_back(SecondsOf(decoders[i], runs));
  }
  SMeasured measured{Median(seconds.front()), {}};
  for (std::size_t i = 1; i < decoders.size(); ++i) {
    std::vector<double> quotients;
    for (std::size_t k = 0; k < seconds[i].size(); ++k) quotients.push_back(seconds[i][k] / seconds[0][k]);
    measured.libraries.push_back({decoders[i].name, Median(seconds[i]), Median(quotients),
                                  std::ranges::min(seconds[i]) / std::ranges::min(seconds[0]),
                                  Likeness(averages[0], averages[i])});
  }
  return measured;
}

// How often our own decoder gained enough on a library.
struct SCount {
  int enough = 0;
  std::vector<double> gains;
};

class CTable {
 public:
  CTable(int rounds, const fs::path& scratch) : m_rounds(rounds), m_scratch(scratch) {
    fmt::print(
        "| group | file | MiB | box | own decoder | ms | library | ms | library / own | of the minima | dB |\n"
        "|---|---|---|---|---|---|---|---|---|---|---|\n");
  }

  void Add(const SGroup& group, const SFile& file) {
    const fs::path path = m_scratch / "picture";
    fs::remove(path);
    file.write(path);
    for (const SBox& box : file.boxes) {
      const std::string head = fmt::format("| {} | {} | {:.2f} | {} x {} |", group.name, file.name,
                                           static_cast<double>(fs::file_size(path)) / (1 << 20), box.width, box.height);
      AddRows(group, file.kind, head, path, box);
    }
  }

  // One row for each kind of file, decoder of our own and library.
  void Summarise() const {
    fmt::print(
        "\n| group | kind | own decoder | library | rows | of them at least {} | least | median | most |\n"
        "|---|---|---|---|---|---|---|---|---|\n",
        kLeastGain);
    for (const auto& [name, count] : m_counts) {
      fmt::print("| {} | {} | {} | {:.2f} | {:.2f} | {:.2f} |\n", name, count.gains.size(), count.enough,
                 std::ranges::min(count.gains), Median(count.gains), std::ranges::max(count.gains));
    }
  }

 private:
  void AddRows(const SGroup& group, const std::string& kind, const std::string& head, const fs::path& path,
               const SBox& box) {
    std::vector<SDecoder> decoders;
    try {
      decoders = group.decoders(path, box);
      if (decoders.empty()) return fmt::print("{} left to the library | | | | | | |\n", head);
      const std::string& own = decoders.front().name;
      const SMeasured measured = Measure(decoders, m_rounds);
      for (const SComparison& c : measured.libraries) {
        fmt::print("{} {} | {:.3g} | {} | {:.3g} | {:.2f} | {:.2f} | {} |\n", head, own, 1e3 * measured.seconds,
                   c.library, 1e3 * c.seconds, c.gain, c.gainOfMinima,
                   std::isinf(c.likeness) ? "same" : fmt::format("{:.0f}", c.likeness));
        SCount& count = m_counts[fmt::format("{} | {} | {} | {}", group.name, kind, own, c.library)];
        count.gains.push_back(c.gain);
        count.enough += c.gain >= kLeastGain ? 1 : 0;
      }
    } catch (const std::exception& error) {
      fmt::print("{} {} | | | | | | |\n", head, error.what());
    }
    std::fflush(stdout);
  }

  int m_rounds;
  fs::path m_scratch;
  std::map<std::string, SCount> m_counts;
};

}  // namespace

int main(int argc, char** argv) try {
  CLI::App app("Times the platform's own decoders beside the libraries that could stand in for them");
  std::string only, samples;
  int rounds = 9;
  app.add_option("--only", only, "Only the rows that contain this text, as the table's first two columns show it");
  app.add_option("--samples", samples, "A folder with further pictures in jpeg and png");
  app.add_option("--rounds", rounds, "How often each decoder is timed")
      ->capture_default_str()
      ->check(CLI::Range(1, 99));
  CLI11_PARSE(app, argc, argv);

  const fs::path scratch = fs::temp_directory_path() / fmt::format("qvbench-decoders-{}", getpid());
  fs::create_directories(scratch);
  CTable table(rounds, scratch);
  for (const SGroup& group : MakeGroups(samples)) {
    for (const SFile& file : group.files) {
      if ((group.name + " | " + file.name).find(only) != std::string::npos) table.Add(group, file);
    }
  }
  table.Summarise();
  fs::remove_all(scratch);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "qvbench-decoders: %s\n", error.what());
  return 1;
}
