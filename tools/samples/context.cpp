#include "tools/samples/context.h"

// Ten pictures a day, 28 days a month.
SMoment::SMoment(int number)
    : month(1 + number / 280 % 12), day(1 + number / 10 % 28), hour(8 + number % 10), minute(number * 7 % 60) {}

std::string ZeroPadded(int number, int width) {
  std::string text = std::to_string(number);
  return text.size() < static_cast<std::size_t>(width)
             ? std::string(static_cast<std::size_t>(width) - text.size(), '0') + text
             : text;
}

std::string SMoment::Iso() const {
  return "2024-" + ZeroPadded(month, 2) + "-" + ZeroPadded(day, 2) + "T" + ZeroPadded(hour, 2) + ":" +
         ZeroPadded(minute, 2) + ":00";
}

std::string SMoment::Tiff() const {
  return "2024:" + ZeroPadded(month, 2) + ":" + ZeroPadded(day, 2) + " " + ZeroPadded(hour, 2) + ":" +
         ZeroPadded(minute, 2) + ":00";
}
