#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

// What a gallery's page was given to show: its cards and plates, in their order.
struct SGalleryPage {
  explicit SGalleryPage(const std::string& html);

  // The card of the picture of that name; null when there is none.
  nlohmann::json Card(const std::string& name) const;

  std::vector<nlohmann::json> cards, plates;
  std::size_t pictures = 0;  // that lie in the page
};
