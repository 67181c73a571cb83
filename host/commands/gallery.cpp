#include <fmt/format.h>

#include <cstdio>
#include <optional>
#include <unordered_map>

#include "host/commands/command.h"
#include "host/commands/gallery_report.h"
#include "host/files/file_finder.h"
#include "host/files/file_jobs.h"
#include "host/files/image_file.h"
#include "host/output/progress.h"
#include "host/page/gallery_page.h"
#include "host/plates/plate_finder.h"
#include "host/session/interrupt.h"
#include "host/session/session.h"
#include "host/thumbnails/larger_pictures.h"
#include "host/thumbnails/thumbnail_maker.h"

namespace qvhost {
namespace {

constexpr int kLeastLarger = 256, kMostLarger = 16384;  // pixels
constexpr const char* kGalleryInterrupted = "interrupted; no gallery was written";

struct SGalleryArguments {
  SDatabaseOptions database;
  std::vector<std::string> paths;
  std::string output;
  std::string title = "Thumbnails";
  int larger = 0;  // pixels; 0: none
  bool highQuality = false, recursive = false, noPlates = false, folder = false;
};

// Remembers what could not be made, to say so in the picture's place.
class CFailureCollector : public IThumbnailObserver {
 public:
  explicit CFailureCollector(std::int64_t total) : m_progress(total, false) {}

  void OnThumbnail(const SThumbnailJob& job, bool, const SQvPicBuf&) override { m_progress.Update(++m_done, job.name); }
  void OnFailed(const std::string& name, const std::string& reason) override {
    m_reasons[name] = reason;
    m_progress.Update(++m_done, name);
  }
  bool HasFailed(const std::string& name) const { return m_reasons.contains(name); }
  std::string ReasonOf(const std::string& name) const {
    const auto found = m_reasons.find(name);
    return found == m_reasons.end() ? "no thumbnail" : found->second;
  }
  bool IsEmpty() const noexcept { return m_reasons.empty(); }

 private:
  CProgress m_progress;
  std::int64_t m_done = 0;
  std::unordered_map<std::string, std::string> m_reasons;
};

class CGallery {
 public:
  CGallery(const SGalleryArguments& arguments, const COutputTarget& target, CSession& session)
      : m_arguments(arguments),
        m_target(target),
        m_session(session),
        m_rows(session.DatabasePath()),
        m_page(target, arguments.title, arguments.folder) {}

  // To be called with all files before the first of them is added, in the order in which they will be. One without a
  // name gets no larger picture.
  void PrepareLarger(std::vector<std::string> files) {
    if (m_arguments.larger == 0) return;
    SFittedSize box{};
    m_session.Service().GetThumbnailBox(m_arguments.highQuality, &box.width, &box.height);
    m_progress.emplace(static_cast<std::int64_t>(files.size()), false);
    m_larger.emplace(std::move(files), static_cast<std::uint32_t>(m_arguments.larger), box, m_arguments.highQuality);
  }

  void Add(const std::string& path, const SQvThumbnailDescription& description, const std::string& reason) {
    SGalleryEntry entry = Entry(path, description, reason);
    entry.hasInfo = !entry.jpeg.empty() && entry.info.Read(m_session.Service(), path);
    m_page.Add(entry);
  }

  // A file that was made a thumbnail of, or was not, for the reason that `failures` tell.
  void AddFile(const std::string& file, const CFailureCollector& failures) {
    SQvThumbnailDescription description;
    const std::string reason = Describe(file, failures, &description);
    Add(AbsolutePath(file), description, reason);
  }

  void AddPlate(const SPlateLayout& plate, const CFailureCollector& failures) {
    std::vector<SGalleryEntry> entries;
    for (const SImagedWell& well : plate.wells) {
      SQvThumbnailDescription description;
      const std::string reason = Describe(well.file, failures, &description);
      entries.push_back(Entry(well.file, description, reason));
    }
    m_page.AddPlate(plate, entries);
  }

  // Every thumbnail that the database holds.
  void AddAllRows() {
    const SQLite::Database db = OpenForReading(m_session.DatabasePath());
    SQLite::Statement rows(db, "SELECT filename FROM cache WHERE flags = ?1 ORDER BY filename");
    rows.bind(1, static_cast<int>(m_arguments.highQuality));
    std::vector<std::string> locations, files;
    CRealPaths paths;
    while (rows.executeStep()) {
      locations.push_back(rows.getColumn(0).getString());
      files.push_back(paths.Find(locations.back()));
    }
    PrepareLarger(files);
    for (std::size_t i = 0; i < files.size(); ++i) {
      SQvThumbnailDescription description;
      description.location = CQvStringUtils::UTF8toW(locations[i]);
      description.flags = m_arguments.highQuality;
      Add(files[i], description, "");
    }
  }

  void Finish() {
    if (m_progress) m_progress->Finish();
    m_page.Finish();
    ReportGallery(m_target, m_count);
    if (m_count > kMaxPicturesInPage && !m_arguments.folder) {
      std::fprintf(stderr, "qvthumbs: so many pictures in one page are slow to open; --folder keeps them in files\n");
    }
  }

 private:
  // The reason why there is no thumbnail; empty: there is one.
  std::string Describe(const std::string& file, const CFailureCollector& failures,
                       SQvThumbnailDescription* description) {
    std::string reason;
    if (!DescribeFile(file, m_arguments.highQuality, description, &reason)) return reason;
    return m_rows.Find(*description) ? std::string() : failures.ReasonOf(file);
  }

  SGalleryEntry Entry(const std::string& path, const SQvThumbnailDescription& description, const std::string& reason) {
    CInterrupt::ThrowIfRequested(kGalleryInterrupted);
    m_target.RequireOtherThan(path);
    SGalleryEntry entry;
    entry.path = path;
    entry.jpeg = reason.empty() ? m_rows.ReadJpeg(description) : std::string();
    entry.reason = reason;
    if (m_larger) {
      entry.larger = m_larger->Take(static_cast<std::size_t>(m_count));
      m_progress->Update(m_count + 1, path);
    }
    ++m_count;
    return entry;
  }

  const SGalleryArguments& m_arguments;
  const COutputTarget& m_target;
  CSession& m_session;
  CCacheRows m_rows;
  CGalleryPage m_page;
  std::optional<CProgress> m_progress;  // of the larger pictures
  std::optional<CLargerPictures> m_larger;
  std::int64_t m_count = 0;
};

SFoundPlates SortPlates(const SGalleryArguments& arguments, const std::vector<std::string>& files) {
  if (arguments.noPlates) return {{}, files};
  return FindPlates(files, EPlateEvidence::Obvious);
}

std::vector<std::string> FilesToShow(const SFoundPlates& sorted) {
  std::vector<std::string> files;
  for (const SPlateLayout& plate : sorted.plates) {
    for (const SImagedWell& well : plate.wells) files.push_back(well.file);
  }
  files.insert(files.end(), sorted.others.begin(), sorted.others.end());
  return files;
}

// Makes what is missing, then shows all.
void AddFiles(const SGalleryArguments& arguments, CSession& session, CGallery& gallery, SOutcome& outcome) {
  const SFoundFiles found = FindImageFiles(arguments.paths, arguments.recursive);
  for (const auto& [path, reason] : found.problems) ReportFailure(outcome, path, reason);
  const SFoundPlates sorted = SortPlates(arguments, found.files);
  const std::vector<std::string> shown = FilesToShow(sorted);
  CFileJobs jobs(shown, arguments.highQuality, session.DatabasePath());
  SMakeOptions options;
  options.highQuality = arguments.highQuality;
  CFailureCollector failures(jobs.Count());
  if (!CThumbnailMaker(session, jobs, failures, options).Run()) {
    throw CHostError(kGalleryInterrupted, kExitInterrupted);
  }
  std::vector<std::string> larger;
  for (const std::string& file : shown) larger.push_back(failures.HasFailed(file) ? std::string() : AbsolutePath(file));
  gallery.PrepareLarger(std::move(larger));
  for (const SPlateLayout& plate : sorted.plates) gallery.AddPlate(plate, failures);
  for (const std::string& file : sorted.others) gallery.AddFile(file, failures);
  if (!failures.IsEmpty()) outcome.status = kExitSomeFailed;
}

COutputTarget TargetOf(const SGalleryArguments& arguments) {
  if (arguments.folder) return GalleryFolderTarget(arguments.output.empty() ? "gallery" : arguments.output);
  return GalleryTarget(arguments.output.empty() ? "gallery.html" : arguments.output);
}

void MakeGallery(const SGalleryArguments& arguments, SOutcome& outcome) {
  const COutputTarget target = TargetOf(arguments);
  CSession session;
  const bool ofDatabase = arguments.paths.empty();
  session.Open(arguments.database, ofDatabase ? EDatabaseNeed::Look : EDatabaseNeed::Use);
  CGallery gallery(arguments, target, session);
  if (ofDatabase) {
    gallery.AddAllRows();
  } else {
    AddFiles(arguments, session, gallery, outcome);
  }
  gallery.Finish();
}

}  // namespace

void AddGalleryCommand(CCommand program, SOutcome& outcome) {
  const auto arguments = std::make_shared<SGalleryArguments>();
  CCommand command = program.AddVerb("gallery", "Write an HTML page of thumbnails");
  AddDatabaseOptions(command, &arguments->database);
  command
      .AddOption("-o,--output", &arguments->output, "The page to write (default: gallery.html); - is standard output")
      .NotEmpty("the output has an empty name")
      .Type("OUT.html");
  COption folder = command.AddFlag(
      "--folder", &arguments->folder,
      "-o is a folder (default: gallery): the page, index.html, and its pictures in files of their own; "
      "for more than 5,000 pictures");
  command
      .AddOption("--larger", &arguments->larger,
                 "With --folder, also a larger picture of each, no side longer than N pixels (e.g. 1600), which is "
                 "shown when it is opened; one that cannot be made keeps its thumbnail")
      .Between(kLeastLarger, kMostLarger)
      .Needs(folder)
      .Type("N");
  command.AddOption("--title", &arguments->title, "The page's title").Type("TEXT");
  AddRecursiveOption(command, &arguments->recursive);
  AddQualityOption(command, &arguments->highQuality);
  command.AddFlag("--no-plates", &arguments->noPlates,
                  "Every file by itself, also those that are wells of a plate (default: a grid of each plate's wells)");
  AddViewOptions(command, &arguments->database);
  command.AddOption("paths", &arguments->paths, "Image files, and folders of them (default: all of the database)")
      .Type("PATH")
      .FileNames();
  command.SetFooter(
      "The page needs no other file, unless with --folder: the thumbnails lie in it. Missing ones are made first.\n"
      "A file is replaced only when it is such a page.\n\n"
      "Example:\n  qvthumbs gallery -o images.html ~/images\n\n"
      "Example: for a web server, with pictures that fill the screen when they are opened\n"
      "  qvthumbs gallery --folder --larger 1600 -o web ~/images");
  command.SetWork([arguments, &outcome] { MakeGallery(*arguments, outcome); });
}

}  // namespace qvhost
