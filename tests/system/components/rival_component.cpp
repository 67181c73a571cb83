#include "system/qvrtti.h"
#include "system/qvrtti_records.h"
#include "tests/system/components/test_component.h"

// Claims a class that another library has, and one of its own.
extern "C" {

QV_EXPORT IQvInterface* QV_ConstructorForCQvTestPlain(const char*, unsigned int) { return nullptr; }
QV_EXPORT IQvInterface* QV_ConstructorForCQvTestRival(const char*, unsigned int) { return nullptr; }

QV_EXPORT extern const char16_t QV_RegistrationData[];
const char16_t QV_RegistrationData[] =
    QV_TEST_RECORD(u"CQvTestPlain", u"false") u"\0" QV_TEST_RECORD(u"CQvTestRival", u"false") u"\0";
}
