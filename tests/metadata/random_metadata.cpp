#include "tests/metadata/random_metadata.h"

#include <bit>
#include <string>

using namespace qvtest;

double CRandomMetadata::Double() {
  const std::uint64_t bits = (std::uint64_t{m_engine()} << 32) | m_engine();
  switch (Below(8)) {
    case 0:
      return 0.0;
    case 1:
      return -0.0;
    case 2:
      return std::bit_cast<double>(bits);
    case 3:
      return std::bit_cast<double>((bits & 0x000FFFFFFFFFFFFFu) | 0x7FF0000000000000u);
    default:
      return static_cast<double>(Below(2000001)) / 1000 - 1000;
  }
}

CQvStringW CRandomMetadata::String() {
  static constexpr wchar_t kCharacters[] = L"abcXYZ 019_\u00e9\u03bc\u6f22\U0001F52C";
  std::wstring text;
  for (std::uint32_t length = Below(3) == 0 ? 0 : Below(20); length > 0; --length) {
    text += kCharacters[Below(std::size(kCharacters) - 1)];
  }
  if (Below(20) == 0) text += static_cast<wchar_t>(0xDC80 + Below(128));
  if (Below(20) == 0) text += L'\0';
  return CQvStringW(text);
}

void CRandomMetadata::FillLevel(SQvExperiment* experiment) {
  experiment->loopType = Below(10) == 0 ? Below(0xFFFFFFFF) : Below(11);
  experiment->loopSize = Below(5) == 0 ? Below(0xFFFFFFFF) : Below(100);
  experiment->step = Double();
  if (Below(3) == 0) {
    const bool named = Below(2) == 0;
    for (std::uint32_t n = Below(12); n > 0; --n) {
      experiment->positions.push_back({Double(), Double(), Double(), named ? String() : CQvStringW()});
    }
  }
  if (Below(3) == 0) {
    for (std::uint32_t n = Below(6); n > 0; --n) {
      experiment->channels.push_back({String(), Below(0xFFFFFFFF), Double(), Double(), Double()});
    }
  }
}

void CRandomMetadata::AddChildren(SQvExperiment* experiment, unsigned maxDepth) {
  FillLevel(experiment);
  if (maxDepth <= 1) return;
  for (std::uint32_t n = Below(4) == 0 ? Below(4) : Below(2); n > 0; --n) {
    experiment->subExperiments.push_back(nullptr);
    if (Below(6) == 0) continue;
    SQvExperiment::Alloc(&experiment->subExperiments.back());
    AddChildren(experiment->subExperiments.back(), maxDepth - 1);
  }
}

CExperiment CRandomMetadata::Experiment(unsigned maxDepth) {
  CExperiment experiment = NewExperiment();
  AddChildren(experiment.get(), maxDepth);
  return experiment;
}

SQvPicturePlanes CRandomMetadata::Planes() {
  SQvPicturePlanes planes;
  for (std::uint32_t n = Below(6); n > 0; --n) {
    planes.planes.push_back({String(), Below(0xFFFFFFFF), Double(), Double(), Below(12), Below(5)});
  }
  return planes;
}

void CRandomMetadata::Change(SQvExperiment* experiment) {
  while (!experiment->subExperiments.empty() && Below(2) == 0) {
    SQvExperiment*& child =
        experiment->subExperiments[Below(static_cast<std::uint32_t>(experiment->subExperiments.size()))];
    if (child == nullptr) {
      SQvExperiment::Alloc(&child);
      return;
    }
    experiment = child;
  }
  const auto flip = [this](double& value) {
    value = std::bit_cast<double>(std::bit_cast<std::uint64_t>(value) ^ (std::uint64_t{1} << Below(64)));
  };
  switch (Below(7)) {
    case 0:
      experiment->loopType ^= 1u << Below(32);
      return;
    case 1:
      experiment->loopSize ^= 1u << Below(32);
      return;
    case 2:
      flip(experiment->step);
      return;
    case 3:
      if (experiment->positions.empty()) return experiment->positions.push_back({});
      return flip(experiment->positions.back().z);
    case 4:
      if (experiment->positions.empty()) return experiment->positions.push_back({});
      experiment->positions.front().name += CQvStringW(L"'");
      return;
    case 5:
      if (experiment->channels.empty()) return experiment->channels.push_back({});
      return flip(experiment->channels.back().exposureTime);
    default:
      experiment->subExperiments.push_back(nullptr);
      return;
  }
}
