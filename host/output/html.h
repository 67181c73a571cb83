#pragma once

#include <string>
#include <string_view>

namespace qvhost {

// A text made safe inside an element or a quoted attribute; invalid UTF-8 becomes U+FFFD.
std::string HtmlText(std::string_view text);
// A path as it stands in a URL: bytes that have a meaning there, and those that are no ASCII, as %XX (RFC 3986).
std::string PercentEncoded(std::string_view path);
// "file:///..." of an absolute path in the file system's bytes.
std::string FileUrl(std::string_view path);
// RFC 4648.
std::string Base64(std::string_view bytes);

}  // namespace qvhost
