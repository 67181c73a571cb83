#include "host/plates/plate_finder.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include "host/files/image_file.h"
#include "host/plates/plate_reader.h"
#include "host/plates/well_names.h"
#include "host/session/interrupt.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

// Fewer wells than these, named like ordinary words, do not make a plate.
constexpr std::size_t kObviousWells = 6;

using CPlace = std::pair<std::uint32_t, std::uint32_t>;

struct SNamedFile {
  std::string file;  // absolute
  std::vector<SNamedWell> names;
};

// The one of a name's places that tells a group's files best apart: the number of the place that gives most wells.
std::size_t BestPlace(const std::vector<SNamedFile>& files) {
  std::size_t best = 0, most = 0;
  for (std::size_t k = 0;; ++k) {
    std::set<CPlace> places;
    for (const SNamedFile& file : files) {
      if (k < file.names.size()) places.emplace(file.names[k].row, file.names[k].column);
    }
    if (places.empty()) return best;
    if (places.size() <= most) continue;
    best = k;
    most = places.size();
  }
}

bool IsObvious(const SPlateLayout& plate, bool isExplicit) {
  std::set<std::uint32_t> rows, columns;
  for (const SWell& well : plate.wells) {
    rows.insert(well.row);
    columns.insert(well.column);
  }
  if (isExplicit) return plate.wells.size() > 1;
  return plate.wells.size() >= kObviousWells && rows.size() > 1 && columns.size() > 1;
}

class CPlateFinder {
 public:
  CPlateFinder(const std::vector<std::string>& files, EPlateEvidence evidence) : m_files(files), m_evidence(evidence) {
    for (const std::string& file : files) m_paths.push_back(AbsolutePath(file));
    m_given.insert(m_paths.begin(), m_paths.end());
  }

  SFoundPlates Find() {
    FindStated();
    FindNamed();
    SFoundPlates found;
    for (SPlateLayout& plate : m_plates) {
      Settle(&plate);
      found.plates.push_back(std::move(plate));
    }
    for (std::size_t i = 0; i < m_files.size(); ++i) {
      if (!m_taken.count(m_paths[i])) found.others.push_back(m_files[i]);
    }
    return found;
  }

 private:
  // Files of one folder are of one kind: once one of them says nothing of a plate, the others are not asked.
  void FindStated() {
    std::unordered_set<std::string> silent;
    for (const std::string& path : m_paths) {
      CInterrupt::ThrowIfRequested("interrupted");
      const std::string folder = fs::path(path).parent_path().string();
      if (m_taken.count(path) || silent.count(folder)) continue;
      std::optional<SPlateLayout> plate = ReadPlate(path);
      if (plate && IsWanted(&*plate)) {
        m_taken.insert(path);
        AddStated(folder, std::move(*plate));
      } else {
        silent.insert(folder);
      }
    }
  }

  bool IsWanted(SPlateLayout* plate) const {
    if (m_evidence == EPlateEvidence::Asked) return true;
    std::erase_if(plate->wells, [&](const SWell& well) { return well.isHidden || !m_given.count(well.file); });
    return plate->wells.size() > 1;
  }

  // Files that each state a part of a plate make one together.
  void AddStated(const std::string& folder, SPlateLayout plate) {
    for (const SWell& well : plate.wells) m_taken.insert(well.file);
    const auto [known, isNew] = m_stated.try_emplace({folder, plate.name}, m_plates.size());
    if (isNew) return m_plates.push_back(std::move(plate));
    SPlateLayout& first = m_plates[known->second];
    first.rows = std::max(first.rows, plate.rows);
    first.columns = std::max(first.columns, plate.columns);
    for (SWell& well : plate.wells) {
      const auto isThere = [&](const SWell& other) { return other.row == well.row && other.column == well.column; };
      if (std::none_of(first.wells.begin(), first.wells.end(), isThere)) first.wells.push_back(std::move(well));
    }
  }

  void FindNamed() {
    std::map<std::string, std::vector<SNamedFile>> groups;  // by the plate's folder
    for (const std::string& path : m_paths) {
      if (m_taken.count(path)) continue;
      const fs::path file(path), folder = file.parent_path();
      SNamedFile named{path, FindWellNames(file.filename().string())};
      const bool byFolder = named.names.empty();
      if (byFolder) named.names = FindWellNames(folder.filename().string());
      if (!named.names.empty()) groups[(byFolder ? folder.parent_path() : folder).string()].push_back(std::move(named));
    }
    for (const auto& [folder, files] : groups) AddNamed(folder, files);
  }

  void AddNamed(const std::string& folder, const std::vector<SNamedFile>& files) {
    const std::size_t place = BestPlace(files);
    SPlateLayout plate;
    plate.name = fs::path(folder).filename().string();
    std::vector<std::string> taken;
    bool isExplicit = true;
    for (const SNamedFile& file : files) {
      if (place >= file.names.size()) continue;
      const SNamedWell& name = file.names[place];
      isExplicit = isExplicit && name.isExplicit;
      plate.wells.push_back({name.row, name.column, 1, file.file, false, 0, 0, 0});
      taken.push_back(file.file);
    }
    SPlateLayout settled = plate;
    Settle(&settled);
    if (m_evidence == EPlateEvidence::Obvious && !IsObvious(settled, isExplicit)) return;
    m_taken.insert(taken.begin(), taken.end());
    m_plates.push_back(std::move(plate));
  }

  const std::vector<std::string>& m_files;
  const EPlateEvidence m_evidence;
  std::vector<std::string> m_paths;         // absolute, of the files
  std::unordered_set<std::string> m_given;  // the same
  std::unordered_set<std::string> m_taken;
  std::vector<SPlateLayout> m_plates;
  std::map<std::pair<std::string, std::string>, std::size_t> m_stated;  // by folder and name
};

}  // namespace

SFoundPlates FindPlates(const std::vector<std::string>& files, EPlateEvidence evidence) {
  return CPlateFinder(files, evidence).Find();
}

}  // namespace qvhost
