#include "tests/host/support/gallery.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string_view>

namespace {

// The texts between the two, in their order.
std::vector<std::string> Between(const std::string& text, std::string_view begin, std::string_view end) {
  std::vector<std::string> found;
  for (std::size_t at = text.find(begin); at != text.npos; at = text.find(begin, at)) {
    at += begin.size();
    found.push_back(text.substr(at, text.find(end, at) - at));
  }
  return found;
}

}  // namespace

SGalleryPage::SGalleryPage(const std::string& html) {
  for (const std::string& text : Between(html, "<script type=\"application/json\">", "</script>")) {
    auto card = nlohmann::json::parse(text, nullptr, false);
    if (card.is_discarded()) {
      ADD_FAILURE() << "no JSON: " << text;
    } else if (card.contains("plate")) {
      plates.push_back(std::move(card));
    } else {
      cards.push_back(std::move(card));
    }
  }
  for (const std::string& text : Between(html, "<script type=\"text/base64\">", "</script>")) {
    EXPECT_TRUE(text.starts_with("/9j/")) << text.substr(0, 20);
    ++pictures;
  }
}

nlohmann::json SGalleryPage::Card(const std::string& name) const {
  for (const nlohmann::json& card : cards) {
    if (std::filesystem::path(card["path"].get<std::string>()).filename() == name) return card;
  }
  return nullptr;
}
