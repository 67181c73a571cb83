#pragma once

#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "host/find/picture_query.h"

// Pictures that a thumbnail database knows, and what is found among them by looking at each: what a search with an
// index is compared with.
class CKnownPictures {
 public:
  explicit CKnownPictures(const std::string& database);

  const std::string& Database() const { return m_database; }
  std::size_t Count() const { return m_pictures.size(); }
  // Of made-up pictures so many are added, written anew, changed in part, or removed, all in one transaction.
  void Change(int count);
  qvhost::SPictureQuery SomeQuery();
  // By location. Of a query without a limit.
  std::vector<qvhost::SFoundPicture> Find(const qvhost::SPictureQuery& query) const;

 private:
  struct SKnown {
    bool hasThumbnail = false, hasTexts = false, hasRecord = false;
    std::string description, objective, user;
    int channels = 0, z = 0, t = 0, experiment = 0;
    std::int64_t size = 0;
    double pixelSize = 0.0, time = 0.0, timeOfRecord = 0.0;
  };

  std::size_t Below(std::size_t end) { return m_random() % end; }
  SKnown SomePicture();
  static qvhost::SFoundPicture Facts(const std::string& location, const SKnown& picture);
  static bool HasWords(const std::string& location, const SKnown& picture, const qvhost::SPictureQuery& query);

  const std::string m_database;
  std::mt19937_64 m_random{7};
  std::map<std::string, SKnown> m_pictures;
  int m_written = 0;
};
