#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "host/commands/command.h"
#include "host/commands/find_choice.h"
#include "host/commands/found_gallery.h"
#include "host/files/file_finder.h"
#include "host/files/image_file.h"
#include "host/find/picture_search.h"
#include "host/output/time_text.h"
#include "host/page/card.h"
#include "host/page/gallery_page.h"
#include "host/session/cache_database.h"

namespace qvhost {
namespace {

constexpr std::size_t kNamesAtOnce = 1 << 16;  // bytes

struct SFindArguments {
  SDatabaseOptions database;
  SFindChoice choice;
  std::string gallery;
  bool json = false, endedByZero = false;
};

// How many of the pictures below a folder are known.
struct SCoverage {
  std::int64_t known = 0, present = 0;

  bool IsComplete() const noexcept { return known == present; }
};

SCoverage LookBelow(const std::string& folder, CPictureSearch& search) {
  SCoverage coverage;
  for (const std::string& file : FindImageFiles({folder}, true).files) {
    ++coverage.present;
    const CQvStringW location = LowerCaseLocation(AbsolutePath(file));
    if (search.IsKnown(CQvStringUtils::WtoUTF8(location).Str())) ++coverage.known;
  }
  return coverage;
}

template <class T>
CJson OrNull(const std::optional<T>& value) {
  return value ? CJson(*value) : CJson(nullptr);
}

CJson TextOrNull(const std::string& text) { return text.empty() ? CJson(nullptr) : CJson(text); }

CJson ToJson(const SFoundPicture& picture, CRealPaths& paths) {
  return {{"file", paths.Find(picture.location)},
          {"objective", TextOrNull(picture.objective)},
          {"channels", OrNull(picture.channels)},
          {"z", OrNull(picture.z)},
          {"time", OrNull(picture.t)},
          {"micrometresPerPixel", OrNull(picture.pixelSize)},
          {"fileSize", OrNull(picture.size)},
          {"acquired", JsonTime(picture.time.value_or(0.0))},
          {"user", TextOrNull(picture.user)},
          {"experiment", OrNull(picture.experiment)}};
}

void PrintFoundJson(const std::vector<SFoundPicture>& found, std::int64_t known,
                    const std::optional<SCoverage>& coverage) {
  CJson pictures = CJson::array();
  CRealPaths paths;
  for (const SFoundPicture& picture : found) pictures.push_back(ToJson(picture, paths));
  CJson document = {{"pictures", std::move(pictures)}, {"known", known}};
  if (coverage) document["below"] = {{"known", coverage->known}, {"pictures", coverage->present}};
  PrintJson(std::move(document));
}

void PrintFoundTable(const std::vector<SFoundPicture>& found, std::int64_t known) {
  const auto number = [](const std::optional<std::int64_t>& value) { return value ? FormatCount(*value) : "-"; };
  CTable table({"Acquired", "Objective", "Pixel", "Channels", "z", "t", "Size", "File"},
               {false, false, true, true, true, true, true, false});
  CRealPaths paths;
  for (const SFoundPicture& picture : found) {
    table.Add(
        {picture.time ? FormatTime(*picture.time) : "-", picture.objective.empty() ? "-" : Printable(picture.objective),
         picture.pixelSize ? ShortLength(*picture.pixelSize) : "-", number(picture.channels), number(picture.z),
         number(picture.t), picture.size ? FormatBytes(*picture.size) : "-", Printable(paths.Find(picture.location))});
  }
  if (!table.IsEmpty()) table.Print();
  std::printf("%s of %s\n", found.empty() ? "none" : FormatCount(static_cast<std::int64_t>(found.size())).c_str(),
              FormatCountOf(known, "known picture").c_str());
}

void PrintFoundNames(const std::vector<std::string>& locations) {
  CRealPaths paths;
  std::string names;
  for (const std::string& location : locations) {
    names.append(paths.Find(location)).push_back('\0');
    if (names.size() < kNamesAtOnce) continue;
    std::fwrite(names.data(), 1, names.size(), stdout);
    names.clear();
  }
  std::fwrite(names.data(), 1, names.size(), stdout);
}

void TellCoverage(const std::string& folder, const SCoverage& coverage) {
  if (coverage.IsComplete()) return;
  std::fprintf(stderr, "qvthumbs: knows %s of %s below %s; 'qvthumbs make --recursive %s' adds what can be read\n",
               FormatCount(coverage.known).c_str(), FormatCountOf(coverage.present, "picture").c_str(),
               Printable(folder).c_str(), Printable(folder).c_str());
}

void Find(const SFindArguments& arguments) {
  const SPictureQuery query = arguments.choice.Query();
  std::optional<COutputTarget> page;
  if (!arguments.gallery.empty()) page.emplace(GalleryTarget(arguments.gallery));
  CCacheDatabase database(arguments.database, EDatabaseNeed::Look);
  SQLite::Database& db = database.Connection();
  if (database.IsCopy()) {
    std::fprintf(stderr, "qvthumbs: %s may only be read; the search is prepared anew each time\n",
                 Printable(database.Path()).c_str());
  }
  CPictureSearch search(db, arguments.json);
  std::vector<SFoundPicture> found;
  std::vector<std::string> locations;
  if (arguments.endedByZero) {
    locations = search.FindLocations(query);
  } else {
    found = search.Find(query);
  }
  std::optional<SCoverage> coverage;
  if (!arguments.choice.under.empty()) coverage = LookBelow(arguments.choice.under, search);
  if (page) WriteFoundGallery(found, *page, db);
  if (arguments.json) {
    PrintFoundJson(found, search.CountKnown(), coverage);
  } else if (arguments.endedByZero) {
    PrintFoundNames(locations);
  } else if (!page) {
    PrintFoundTable(found, search.CountKnown());
  }
  if (coverage && !arguments.json) TellCoverage(arguments.choice.under, *coverage);
}

}  // namespace

void AddFindCommand(CCommand program) {
  const auto arguments = std::make_shared<SFindArguments>();
  CCommand command = program.AddVerb("find", "Find pictures by words and facts, among those that the database knows");
  AddDatabaseOptions(command, &arguments->database);
  AddFindChoice(command, &arguments->choice);
  COption json = AddJsonOption(command, &arguments->json);
  COption null = command.AddFlag("-0,--null", &arguments->endedByZero,
                                 "Only names, each ended by a zero byte, as xargs -0 reads them");
  null.Excludes(json);
  command
      .AddOption("--gallery", &arguments->gallery,
                 "Write a page of what is found, as 'gallery' does; - is standard output")
      .NotEmpty("the page has an empty name")
      .Type("OUT.html")
      .Excludes(json)
      .Excludes(null);
  command.SetFooter(
      "Words match parts of words, whatever their case and accents; \"two words\" in quotes must stand together.\n"
      "A range is N, N..M, N.. or ..M. What the database does not know of a picture is in no range.\n"
      "No picture is opened: 'qvthumbs make' makes pictures known. The search keeps an index beside the database.\n\n"
      "Example: stacks of mitochondria through the 60x, finer than 0.2 micrometres\n"
      "  qvthumbs find mito --objective 60x --z 2.. --pixel-size ..0.2\n\n"
      "Example: what Anna took in May, on a page\n"
      "  qvthumbs find --user anna --since 2024-05-01 --until 2024-06-01 --gallery may.html");
  command.SetWork([arguments] { Find(*arguments); });
}

}  // namespace qvhost
