#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "system/qvrtti.h"

// Parses a component library's registration data: UTF-16 texts in the machine's byte order, each ended by a zero unit,
// the list ended by an empty text. A text is the XML of one class:
//   <variant version="1.0"><ClassName runtype="RQvRttiClass">
//     <m_parent1 value="IName"/> … <m_parent9 value=""/>
//     <m_additional><m_singleton value="true"/></m_additional></ClassName></variant>
// Appends the classes in order. Null on success, else what is wrong (a static text) with *classes unchanged.
const wchar_t* ParseRegistrationData(std::u16string_view data, std::vector<SQvRTTIClass>* classes);
