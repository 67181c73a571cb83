#pragma once

#include <deque>
#include <string>

#include "host/rescue/page_file.h"
#include "host/rescue/record.h"

namespace qvhost {

// What the texts of a file are in: what its header says, and where it says nothing that can be, what they look like.
ETextEncoding FindTextEncoding(const CPageFile& file);

// Makes the texts of records UTF-8. One thread.
class CTextReader {
 public:
  explicit CTextReader(ETextEncoding encoding) : m_encoding(encoding) {}

  // Of a record that was read. Its texts are valid until the next call. One that is not whole, of half a character or
  // half a pair of surrogates, is marked.
  void ToUtf8(CRecord* record);

 private:
  const ETextEncoding m_encoding;
  std::deque<std::string> m_texts;
};

}  // namespace qvhost
