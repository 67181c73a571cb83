#include <fmt/format.h>

#include <cstdio>
#include <unordered_map>

#include "host/commands/command.h"
#include "host/commands/gallery_page.h"
#include "host/files/file_finder.h"
#include "host/files/file_jobs.h"
#include "host/files/image_file.h"
#include "host/output/progress.h"
#include "host/output/text.h"
#include "host/session/interrupt.h"
#include "host/session/session.h"
#include "host/thumbnails/thumbnail_maker.h"

namespace qvhost {
namespace {

struct SArguments {
  SDatabaseOptions database;
  std::vector<std::string> paths;
  std::string output = "gallery.html";
  std::string title = "Thumbnails";
  std::string quality = "standard";
  bool recursive = false;

  bool IsHighQuality() const { return quality == "high"; }
};

// Remembers what could not be made, to say so in the picture's place.
class CFailureNotes : public IThumbnailObserver {
 public:
  explicit CFailureNotes(std::int64_t total) : m_progress(total, false) {}

  void OnThumbnail(const SThumbnailJob& job, bool, const SQvPicBuf&) override { m_progress.Update(++m_done, job.name); }
  void OnFailed(const std::string& name, const std::string& reason) override {
    m_reasons[name] = reason;
    m_progress.Update(++m_done, name);
  }
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
  CGallery(const SArguments& arguments, CSession& session)
      : m_arguments(arguments),
        m_session(session),
        m_rows(session.DatabasePath()),
        m_page(arguments.output, arguments.title) {}

  void Add(const std::string& path, const SQvThumbnailDescription& description, const std::string& reason) {
    if (CInterrupt::Requested()) throw CHostError("interrupted; no gallery was written", kExitInterrupted);
    SGalleryEntry entry;
    entry.path = path;
    entry.jpeg = reason.empty() ? m_rows.ReadJpeg(description) : std::string();
    entry.reason = reason;
    entry.hasInfo = !entry.jpeg.empty() && entry.info.Read(m_session.Service(), path);
    m_page.Add(entry);
    ++m_count;
  }

  // Every thumbnail that the database holds.
  void AddAllRows() {
    const CSqlite db = OpenForReading(m_session.DatabasePath());
    CStatement rows = db.Prepare("SELECT filename FROM cache WHERE flags = ?1 ORDER BY filename");
    rows.Bind(1, static_cast<std::int64_t>(m_arguments.IsHighQuality()));
    while (rows.Step()) {
      SQvThumbnailDescription description;
      description.location = CQvStringUtils::UTF8toW(rows.Text(0));
      description.flags = m_arguments.IsHighQuality();
      Add(RealPath(description.location), description, "");
    }
  }

  void Finish() {
    m_page.Finish();
    std::printf("%s: %s pictures\n", Printable(m_arguments.output).c_str(), FormatCount(m_count).c_str());
  }

 private:
  const SArguments& m_arguments;
  CSession& m_session;
  CCacheRows m_rows;
  CGalleryPage m_page;
  std::int64_t m_count = 0;
};

// Makes what is missing, then shows all.
void AddFiles(const SArguments& arguments, CSession& session, CGallery& gallery, SRun& run) {
  const SFoundFiles found = FindImageFiles(arguments.paths, arguments.recursive);
  for (const auto& [path, reason] : found.problems) ReportFailure(run, path, reason);
  CFileJobs jobs(found.files, arguments.IsHighQuality(), session.DatabasePath());
  SMakeOptions options;
  options.highQuality = arguments.IsHighQuality();
  CFailureNotes notes(jobs.Count());
  if (!CThumbnailMaker(session, jobs, notes, options).Run()) {
    throw CHostError("interrupted; no gallery was written", kExitInterrupted);
  }
  for (const std::string& file : found.files) {
    SQvThumbnailDescription description;
    std::string reason;
    if (!DescribeFile(file, arguments.IsHighQuality(), &description, &reason)) {
      gallery.Add(AbsolutePath(file), description, reason);
      continue;
    }
    const bool made = CCacheRows(session.DatabasePath()).Find(description).has_value();
    gallery.Add(AbsolutePath(file), description, made ? "" : notes.ReasonOf(file));
  }
  if (!notes.IsEmpty()) run.status = kExitSomeFailed;
}

void MakeGallery(const SArguments& arguments, SRun& run) {
  CSession session;
  session.Open(arguments.database, arguments.paths.empty());
  CGallery gallery(arguments, session);
  if (arguments.paths.empty()) {
    gallery.AddAllRows();
  } else {
    AddFiles(arguments, session, gallery, run);
  }
  gallery.Finish();
}

}  // namespace

void AddGalleryCommand(CLI::App* app, SRun& run) {
  const auto arguments = std::make_shared<SArguments>();
  CLI::App* command = AddVerb(app, "gallery", "Write an HTML page of thumbnails");
  AddDatabaseOptions(command, &arguments->database);
  AddOption(command, "-o,--output", &arguments->output, "The page to write (default: gallery.html)",
            {.type = "OUT.html"});
  AddOption(command, "--title", &arguments->title, "The page's title", {.type = "TEXT"});
  AddFlag(command, "-r,--recursive", &arguments->recursive, "Also the folders below");
  AddQualityOption(command, &arguments->quality);
  AddOption(command, "paths", &arguments->paths, "Image files, and folders of them (default: all of the database)",
            {.type = "PATH"});
  SetFooter(command,
            "The page needs no other file: the thumbnails lie in it. Missing ones are made first.\n\n"
            "Example:\n  qvthumbs gallery -o images.html ~/images");
  SetWork(command, [arguments, &run] { MakeGallery(*arguments, run); });
}

}  // namespace qvhost
