#pragma once

#include <string_view>

namespace qvhost {

// The files beside this one, as the build puts them into the program.
extern const std::string_view kPageStyle;        // gallery.css
extern const std::string_view kPageBody;         // body.html; {title} stands for the page's title
extern const std::string_view kPageScript;       // what every page runs
extern const std::string_view kStillPageScript;  // behind it: shows the cards that lie in the page
extern const std::string_view kLivePageScript;   // behind it: asks the server for them

}  // namespace qvhost
