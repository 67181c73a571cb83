#pragma once

#include <string>

#include "system/qvthumbnaildescription.h"

namespace qvhost {

// An image file as the service will see it. Paths are in the file system's bytes.

// The absolute path without "." and "..", as it stands in the database.
std::string AbsolutePath(const std::string& path);

// The location of an absolute path.
CQvStringW LowerCaseLocation(const std::string& path);

// What the locations of all that lies below a folder begin with: the folder's own, and a slash.
std::string LocationOfFolder(const std::string& folder);

// The description of a file's thumbnail without its time: nothing is asked of the file system.
SQvThumbnailDescription DescribeLocation(const std::string& path, bool highQuality);

// Fills the description of a file's thumbnail: its location in lower case, and as lastWritten the later of its creation
// and last-write times, taken from the file that the service will find under that location. False with the reason when
// the file cannot be opened, or when the location leads to another file whose name differs in case only.
bool DescribeFile(const std::string& path, bool highQuality, SQvThumbnailDescription* description, std::string* reason);

// Finds the times of many files without opening them. Looks for a folder once in a row of files that lie in it, so it
// is not to live long.
class CLastWrittenFinder {
 public:
  // Fills the time of a description of DescribeLocation as DescribeFile does. False when the file has to be opened to
  // know more: it cannot be read, is a folder, or the location leads to another file.
  bool Find(const std::string& path, SQvThumbnailDescription* description);

 private:
  bool LeadsTo(const std::string& absolute, const std::string& location);

  std::string m_folder;  // of the file before
  bool m_leadsToFolder = false;
};

// The path to give to GetFileTextInfo: the lower-case location, under which the workers keep the texts, or the path
// itself when the location leads to another file.
CQvStringW TextInfoPath(const std::string& path);

// The file that a location of the database leads to, under its real name; the location itself when there is none.
std::string RealPath(const CQvStringW& location);
// The same for many that follow each other by name: a folder that is gone is looked for once, and nothing below it. One
// thread, and not to live long.
class CRealPaths {
 public:
  std::string Find(const std::string& location);

 private:
  bool IsThere(const std::string& folder);

  std::string m_folder;  // of the location before
  bool m_isThere = false;
  std::string m_missing;  // the highest folder known to be gone, with all below it; empty: none is known
};
// Whether a location of the database leads to a file or folder.
bool LocationExists(const CQvStringW& location);

// When the file was last written, as a Julian day number; 0 when it cannot be opened. The time at which it came into
// being does not count: of a copy that is when it was copied.
double LastWriteTime(const std::string& path);

// Why the file cannot be opened, from the system; empty when it is a regular file, or a folder that is a picture, that
// can be.
std::string ExplainOpenFailure(const std::string& path);

}  // namespace qvhost
