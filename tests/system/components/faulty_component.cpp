#include "system/qvrtti.h"
#include "system/qvrtti_records.h"
#include "tests/system/components/test_component.h"

extern "C" {

#if !defined(QV_FAULT_NO_FACTORY)
QV_EXPORT IQvInterface* QV_ConstructorForCQvTestFaulty(const char*, unsigned int) { return nullptr; }
#endif

#if defined(QV_FAULT_UNTERMINATED)
// Six units that only the symbol's size ends: "<varia".
__asm__(
    ".pushsection .qvunterminated,\"a\"\n"
    ".globl QV_RegistrationData\n"
    ".type QV_RegistrationData, @object\n"
    ".size QV_RegistrationData, 12\n"
    "QV_RegistrationData:\n"
    ".short 0x3c, 0x76, 0x61, 0x72, 0x69, 0x61\n"
    ".fill 64, 2, 0x20\n"
    ".popsection\n");
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
