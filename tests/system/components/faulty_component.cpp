#include "system/qvrtti.h"
#include "system/qvrtti_records.h"
#include "tests/system/components/test_component.h"

extern "C" {

#if !defined(QV_FAULT_NO_FACTORY)
QV_EXPORT IQvInterface* QV_ConstructorForCQvTestFaulty(const char*, unsigned int) { return nullptr; }
#endif

#if defined(QV_FAULT_UNTERMINATED)
QV_EXPORT extern const char16_t QV_RegistrationData[6];
const char16_t QV_RegistrationData[6] = {u'<', u'v', u'a', u'r', u'i', u'a'};
#elif defined(QV_FAULT_NOT_XML)
QV_EXPORT extern const char16_t QV_RegistrationData[];
const char16_t QV_RegistrationData[] = u"<variant version=\"1.0\"><CQvTestFaulty\0";
#elif defined(QV_FAULT_NO_FACTORY)
QV_EXPORT extern const char16_t QV_RegistrationData[];
const char16_t QV_RegistrationData[] = QV_TEST_RECORD(u"CQvTestFaulty", u"false") u"\0";
#else
// A symbol whose size the symbol table does not tell, at the very end of what is mapped for it.
__asm__(
    ".pushsection .qvlast,\"a\"\n"
    ".globl QV_RegistrationData\n"
    ".type QV_RegistrationData, @object\n"
    "QV_RegistrationData:\n"
    ".fill 8192, 1, 0x3c\n"
    ".popsection\n");
#endif
}
