#include "system/qvexport.h"

extern "C" QV_EXPORT int QvBystander() { return 1; }
