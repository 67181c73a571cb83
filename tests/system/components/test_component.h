#pragma once

#include <cstring>

#include "system/qvclass.h"

// Texts of a one-interface class record.
#define QV_TEST_RECORD(name, singleton) \
  u"<variant version=\"1.0\"><" name u" runtype=\"RQvRttiClass\">"                                   \
  u"<m_parent1 runtype=\"CQvStringW\" value=\"IQvTestCounter\"/><m_parent2 runtype=\"CQvStringW\" value=\"\"/>" \
  u"<m_additional runtype=\"CQvListVariant\"><m_singleton runtype=\"bool\" value=\"" singleton u"\"/></m_additional></" \
  name u"></variant>"

// What the test components implement.
class IQvTestCounter : public qv_abi::SOwnTable, public virtual IQvInterface {
 public:
  // How many objects of this class exist.
  virtual int CountObjects() = 0;
  // The line that the factory was given.
  virtual unsigned int GetLine() = 0;
  virtual const char* GetFile() = 0;

 protected:
  ~IQvTestCounter() = default;
};
