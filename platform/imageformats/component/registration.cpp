#include <exception>

#include "platform/imageformats/component/image_format_manager_impl.h"
#include "platform/imageformats/component/view_settings.h"
#include "system/qvrtti_records.h"

// What the registry wants to know of a class that is no singleton and has one interface.
#define QV_CLASS_TEXT(className, interfaceName) \
  u"<variant version=\"1.0\"><" className u" runtype=\"RQvRttiClass\">"                                           \
  u"<m_parent1 runtype=\"CQvStringW\" value=\"" interfaceName u"\"/>"                                             \
  u"<m_parent2 runtype=\"CQvStringW\" value=\"\"/><m_parent3 runtype=\"CQvStringW\" value=\"\"/>"                 \
  u"<m_parent4 runtype=\"CQvStringW\" value=\"\"/><m_parent5 runtype=\"CQvStringW\" value=\"\"/>"                 \
  u"<m_parent6 runtype=\"CQvStringW\" value=\"\"/><m_parent7 runtype=\"CQvStringW\" value=\"\"/>"                 \
  u"<m_parent8 runtype=\"CQvStringW\" value=\"\"/><m_parent9 runtype=\"CQvStringW\" value=\"\"/>"                 \
  u"<m_additional runtype=\"CQvListVariant\"><m_singleton runtype=\"bool\" value=\"false\"/></m_additional>"     \
  u"</" className u"></variant>\0"

// The classes, then the empty text that ends the list.
extern "C" QV_EXPORT const char16_t QV_RegistrationData[];
const char16_t QV_RegistrationData[] = QV_CLASS_TEXT(u"CQvImageFormatManagerImpl", u"IQvImageFormatManager")
    QV_CLASS_TEXT(u"CQvImageViewSettingsImpl", u"IQvImageViewSettings");

// A manager of the caller's own; null when memory is out. Any thread.
extern "C" QV_EXPORT IQvInterface* QV_ConstructorForCQvImageFormatManagerImpl(const char* file, unsigned int line) {
  try {
    return new (file, line) CQvImageFormatManagerImpl;
  } catch (const std::exception&) {
    return nullptr;
  }
}

// A way to the process's view; null when memory is out. Any thread.
extern "C" QV_EXPORT IQvInterface* QV_ConstructorForCQvImageViewSettingsImpl(const char* file, unsigned int line) {
  try {
    return new (file, line) CQvImageViewSettingsImpl;
  } catch (const std::exception&) {
    return nullptr;
  }
}
