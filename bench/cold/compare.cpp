#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <stdexcept>

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include "bench/cold/comparison.h"
#include "bench/corpus/classes.h"

namespace {

namespace fs = std::filesystem;

// What the time may be at most, as a part of vipsthumbnail's.
const std::map<std::string_view, double> kLargestTimeRatios = {
    {"jpeg-baseline", 0.60},   {"jpeg-progressive", 0.20}, {"png", 0.42},           {"grey16", 0.04},
    {"lzw-1-row", 0.30},       {"lzw-16-rows", 0.30},      {"deflate-1-row", 0.75}, {"deflate-16-rows", 0.75},
    {"pyramid-chain", 0.25},   {"pyramid-nested", 0.25},   {"tiled-jpeg", 0.20},    {"tiled-lzw", 0.25},
    {"ome-five-channels", 0.3}};

void PrintHead(const SComparer& comparer) {
  std::string head =
      "| class | qvthumbs files/s | vipsthumbnail files/s | time ours / its | at most |"
      " processor time ours / its |"
      " two workers / one | database on a disk / in memory | two workers MiB over idle | vipsthumbnail MiB |";
  std::string line = "|---|---|---|---|---|---|---|---|---|---|";
  for (const SContender& other : comparer.others) {
    head += fmt::format(" {} files/s, MiB |", other.name);
    line += "---|";
  }
  fmt::print("{}\n{}\n", head, line);
}

std::string Number(double value) { return fmt::format("{:.{}f}", value, value < 10 ? 2 : 0); }

void PrintRow(const SCorpusClass& kind, const SComparison& result) {
  if (!result.ours || !result.vips || !result.oursTwice) {
    throw std::runtime_error(fmt::format("a run on the class {} failed", kind.name));
  }
  std::string row =
      fmt::format("| {} | {} | {} | {:.3f} | {:.2f} | {:.3f} | {:.2f} | {:.2f} | {:.0f} | {:.0f} |", kind.name,
                  Number(result.ours->filesPerSecond), Number(result.vips->filesPerSecond), result.toVips,
                  kLargestTimeRatios.at(kind.name), result.processorToVips, result.twoWorkersToOne, result.diskToMemory,
                  result.oursTwice->peakMiB - result.oursTwice->startMiB, result.vips->peakMiB);
  for (const std::optional<SRate>& other : result.others) {
    row += other ? fmt::format(" {}, {:.0f} |", Number(other->filesPerSecond), other->peakMiB) : " - |";
  }
  fmt::print("{}\n", row);
  std::fflush(stdout);
}

// One thread for every peer: more of them on the one processor that it has would only get into each other's way.
void TakeOneThread() {
  for (const char* name : {"VIPS_CONCURRENCY", "OMP_NUM_THREADS", "MAGICK_THREAD_LIMIT"}) setenv(name, "1", 1);
}

}  // namespace

int main(int argc, char** argv) try {
  CLI::App app("Compares qvthumbs with other makers of thumbnails on a corpus and prints a table");
  std::string corpus, qvthumbs, only, scratch = "/dev/shm", disk = fs::temp_directory_path();
  SComparer comparer;
  bool alone = false;
  app.add_option("CORPUS", corpus, "Folder that qvbench-corpus made")->required()->check(CLI::ExistingDirectory);
  app.add_option("QVTHUMBS", qvthumbs, "The program")->required()->check(CLI::ExistingFile);
  app.add_option("--class", only, "This class only");
  app.add_option("--rounds", comparer.rounds, "Runs of each")->capture_default_str()->check(CLI::Range(1, 1000));
  app.add_option("--scratch", scratch, "Folder for what is made; its disk must not matter")->capture_default_str();
  app.add_option("--disk", disk, "Folder on a disk that is waited for")->capture_default_str();
  app.add_flag("--alone", alone, "Leave out all peers but vipsthumbnail");
  CLI11_PARSE(app, argc, argv);

  comparer.main = MainContenders(qvthumbs);
  if (!alone) comparer.others = OtherContenders();
  comparer.otherRounds = std::min(comparer.otherRounds, comparer.rounds);
  const std::string own = fmt::format("qvbench-{}", getpid());
  comparer.scratch = {fs::path(scratch) / own, fs::path(disk) / own};
  TakeOneThread();
  PrintHead(comparer);
  for (const SCorpusClass& kind : CorpusClasses()) {
    if (!only.empty() && kind.name != only) continue;
    PrintRow(kind, comparer.Compare(fs::path(corpus) / kind.name, std::string(kind.name)));
  }
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "qvbench-cold-compare: %s\n", error.what());
  return 1;
}
