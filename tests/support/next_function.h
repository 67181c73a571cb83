#pragma once

#include <dlfcn.h>

namespace qvtest {

// The function of that name that the program's own takes the place of.
template <class Function>
Function NextFunction(const char* symbol) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, symbol));
}

}  // namespace qvtest
