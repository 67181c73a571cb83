#include <exception>

#include "platform/imageformats/component/image_format_manager_impl.h"
#include "system/qvrtti_records.h"

// One class, then the empty text that ends the list.
extern "C" QV_EXPORT const char16_t QV_RegistrationData[];
const char16_t QV_RegistrationData[] =
    u"<variant version=\"1.0\"><CQvImageFormatManagerImpl runtype=\"RQvRttiClass\">"
    u"<m_parent1 runtype=\"CQvStringW\" value=\"IQvImageFormatManager\"/>"
    u"<m_parent2 runtype=\"CQvStringW\" value=\"\"/><m_parent3 runtype=\"CQvStringW\" value=\"\"/>"
    u"<m_parent4 runtype=\"CQvStringW\" value=\"\"/><m_parent5 runtype=\"CQvStringW\" value=\"\"/>"
    u"<m_parent6 runtype=\"CQvStringW\" value=\"\"/><m_parent7 runtype=\"CQvStringW\" value=\"\"/>"
    u"<m_parent8 runtype=\"CQvStringW\" value=\"\"/><m_parent9 runtype=\"CQvStringW\" value=\"\"/>"
    u"<m_additional runtype=\"CQvListVariant\"><m_singleton runtype=\"bool\" value=\"false\"/></m_additional>"
    u"</CQvImageFormatManagerImpl></variant>\0";

// A manager of the caller's own; null when memory is out. Any thread.
extern "C" QV_EXPORT IQvInterface* QV_ConstructorForCQvImageFormatManagerImpl(const char* file, unsigned int line) {
  try {
    return new (file, line) CQvImageFormatManagerImpl;
  } catch (const std::exception&) {
    return nullptr;
  }
}
