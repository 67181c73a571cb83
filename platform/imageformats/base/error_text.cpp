#include "platform/imageformats/base/error_text.h"

namespace imageformats {

void CErrorText::Set(const char* text) noexcept {
  if (*text != '\0' || !m_text.IsEmpty()) {
    try {
      m_text = CQvStringUtils::UTF8toW(text);
    } catch (const std::bad_alloc&) {
      m_text.Clear();
    }
  }
  if (m_manager) m_manager->Set(text);
}

}  // namespace imageformats
