#include "host/serve/answers.h"

#include <algorithm>
#include <charconv>
#include <filesystem>

#include "host/files/failure_reason.h"
#include "host/files/image_file.h"
#include "host/files/text_info.h"
#include "host/host_error.h"
#include "host/output/text.h"
#include "host/page/card.h"
#include "host/page/gallery_page.h"
#include "host/page/page_parts.h"

namespace qvhost {
namespace {

constexpr int kMaxLargeSide = 4096;
constexpr int kDefaultSide = 1024;

// Not exactly "application/json", which the library would compress for longer than it takes to send.
SAnswer JsonAnswer(const CJson& document) {
  return {200, "application/json; charset=utf-8", document.dump(-1, ' ', false, CJson::error_handler_t::replace)};
}

SAnswer Refusal(int status, const std::string& text) { return {status, "text/plain; charset=utf-8", text + "\n"}; }

SAnswer NotThere() { return Refusal(404, "there is no such thing"); }

// From 1; 0 for what is no number, or too large for a picture.
int NumberFrom(const std::string& text) {
  int number = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
  return read.ec == std::errc() && read.ptr == text.data() + text.size() && number > 0 ? number : 0;
}

}  // namespace

CAnswers::CAnswers(CSession& session, const CServedFolder& folder, CPictureProcess& pictures,
                   CLiveThumbnails& thumbnails, const std::string& title)
    : m_session(session),
      m_folder(folder),
      m_pictures(pictures),
      m_thumbnails(thumbnails),
      m_search(session.DatabasePath(), folder),
      m_page(LivePage(title)),
      m_script(std::string(kPageScript).append(kLivePageScript)) {}

SAnswer CAnswers::Get(const std::string& what, const CParameters& parameters) {
  if (what.empty()) return {200, "text/html; charset=utf-8", m_page};
  if (what == "gallery.css") return {200, "text/css; charset=utf-8", std::string(kPageStyle)};
  if (what == "gallery.js") return {200, "text/javascript; charset=utf-8", m_script};
  if (what == "list") return List(parameters("folder"));
  if (what == "search") return Search(parameters("words"));
  const std::string name = parameters("path");
  const std::optional<std::string> path = m_folder.Resolve(name);
  if (!path || name.empty()) return NotThere();
  if (what == "card") return Card(*path, name);
  if (what == "thumbnail") return Thumbnail(*path);
  if (what == "picture") return Picture(*path, parameters);
  return NotThere();
}

SAnswer CAnswers::List(const std::string& name) {
  const std::optional<std::string> path = m_folder.Resolve(name);
  std::error_code error;
  if (!path || !std::filesystem::is_directory(*path, error)) return Refusal(404, "there is no such folder");
  const CServedFolder::SListing listing = m_folder.List(*path);
  CJson files = CJson::array();
  for (const CServedFolder::SFile& file : listing.files) {
    files.push_back(CJson::array({file.name, file.size, file.lastWritten}));
  }
  CJson document = {{"root", EscapeInvalidUtf8(m_folder.Path())}, {"folders", listing.folders}, {"files", files}};
  if (!listing.problem.empty()) document["error"] = listing.problem;
  return JsonAnswer(document);
}

SAnswer CAnswers::Search(const std::string& words) {
  try {
    return JsonAnswer(m_search.Find(words));
  } catch (const CHostError& error) {
    return Refusal(500, error.what());
  } catch (const SQLite::Exception& error) {
    return Refusal(500, ErrorText(error));
  }
}

SAnswer CAnswers::Card(const std::string& path, const std::string& name) {
  STextInfo info;
  const bool isKnown = info.Read(m_session.Service(), path);
  std::string reason;
  if (!isKnown || m_thumbnails.Jpeg(path).empty()) {
    reason = ExplainOpenFailure(path);
    if (reason.empty()) reason = CFailureReason().OfFile(CQvStringUtils::UTF8toW(path));
  }
  CJson card = CardOf(name, isKnown ? std::string() : reason);
  if (isKnown) AddFacts(info, true, &card);
  return JsonAnswer(card);
}

SAnswer CAnswers::Thumbnail(const std::string& path) {
  std::string jpeg = m_thumbnails.Jpeg(path);
  return jpeg.empty() ? NotThere() : SAnswer{200, "image/jpeg", std::move(jpeg)};
}

SAnswer CAnswers::Picture(const std::string& path, const CParameters& parameters) {
  SViewOptions options;
  const int z = NumberFrom(parameters("z"));
  if (z > 0) options.planes = std::to_string(z);
  options.time = NumberFrom(parameters("t"));
  options.channels = parameters("c");
  const int side = NumberFrom(parameters("side"));
  SQvImageView view;
  try {
    view = ViewOf(options);
  } catch (const CHostError& error) {
    return Refusal(400, error.what());
  }
  std::string reason;
  std::string jpeg = m_pictures.Render(
      path, static_cast<unsigned>(side == 0 ? kDefaultSide : std::min(side, kMaxLargeSide)), view, &reason);
  return jpeg.empty() ? Refusal(422, reason) : SAnswer{200, "image/jpeg", std::move(jpeg)};
}

SAnswer CAnswers::Want(const std::string& body) {
  const auto wish = CJson::parse(body, nullptr, false);
  try {
    const auto client = static_cast<std::uint64_t>(std::stoull(wish.at("client").get<std::string>()));
    const auto visible = wish.at("visible").get<std::vector<std::string>>();
    const auto next = wish.at("next").get<std::vector<std::string>>();
    if (!m_thumbnails.Want(client, visible, next)) return Refusal(410, "this client has gone");
  } catch (const std::logic_error&) {  // a number that is none
    return Refusal(400, "no such wish");
  } catch (const CJson::exception&) {
    return Refusal(400, "no such wish");
  }
  return Refusal(200, "asked for");
}

}  // namespace qvhost
