#include <algorithm>
#include <bit>
#include <new>
#include <utility>
#include <vector>

#include "metadata/qvexperiment.h"

namespace {

// Frees everything below `root` in constant extra memory however deep the tree is: on the way down the slot of the
// child that is being freed keeps the way back up.
void FreeBelow(SQvExperiment* root) noexcept {
  SQvExperiment* node = root;
  SQvExperiment* parent = nullptr;
  while (true) {
    auto& children = node->subExperiments;
    if (!children.empty()) {
      SQvExperiment* const child = children.back();
      if (child == nullptr) {
        children.pop_back();
      } else {
        children.back() = std::exchange(parent, node);
        node = child;
      }
    } else if (node == root) {
      return;
    } else {
      delete node;
      node = parent;
      parent = node->subExperiments.back();
      node->subExperiments.pop_back();
    }
  }
}

bool SameBits(double a, double b) { return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b); }

bool SamePosition(const SQvStagePosition& a, const SQvStagePosition& b) {
  return SameBits(a.x, b.x) && SameBits(a.y, b.y) && SameBits(a.z, b.z) && a.name == b.name;
}

bool SameChannel(const SQvExperimentChannel& a, const SQvExperimentChannel& b) {
  return a.name == b.name && a.color == b.color && SameBits(a.excitationWavelength, b.excitationWavelength) &&
         SameBits(a.emissionWavelength, b.emissionWavelength) && SameBits(a.exposureTime, b.exposureTime);
}

bool SameLevel(const SQvExperiment& a, const SQvExperiment& b, bool details) {
  if (a.loopType != b.loopType || a.loopSize != b.loopSize) return false;
  if (!details) return true;
  return SameBits(a.step, b.step) &&
         std::equal(a.positions.begin(), a.positions.end(), b.positions.begin(), b.positions.end(), SamePosition) &&
         std::equal(a.channels.begin(), a.channels.end(), b.channels.begin(), b.channels.end(), SameChannel);
}

}  // namespace

void SQvExperiment::Alloc(SQvExperiment** experiment) {
  if (experiment != nullptr) *experiment = new (std::nothrow) SQvExperiment;
}

void SQvExperiment::FreeRecursive(SQvExperiment* experiment) { delete experiment; }

SQvExperiment::~SQvExperiment() { FreeBelow(this); }

// Trees of callers may be deeper than what can be serialised, so the pairs still to compare wait on the heap.
bool SQvExperiment::IsEqual(const SQvExperiment* a, const SQvExperiment* b, bool details, bool recursive) {
  std::vector<std::pair<const SQvExperiment*, const SQvExperiment*>> pending{{a, b}};
  while (!pending.empty()) {
    const auto [left, right] = pending.back();
    pending.pop_back();
    if (left == right) continue;
    if (left == nullptr || right == nullptr || !SameLevel(*left, *right, details)) return false;
    if (!recursive) continue;
    const std::size_t count = left->subExperiments.size();
    if (count != right->subExperiments.size()) return false;
    for (std::size_t i = 0; i < count; ++i) pending.emplace_back(left->subExperiments[i], right->subExperiments[i]);
  }
  return true;
}

std::uint32_t CQvExperimentAPI::GetLoopSize(const SQvExperiment* experiment) {
  if (experiment == nullptr) return 0;
  if (experiment->loopSize != 0) return experiment->loopSize;
  switch (experiment->loopType) {
    case kQvLoopXYPosition:
    case kQvLoopXYMosaic:
      return static_cast<std::uint32_t>(experiment->positions.size());
    case kQvLoopLambda:
      return static_cast<std::uint32_t>(experiment->channels.size());
    default:
      return 0;
  }
}
