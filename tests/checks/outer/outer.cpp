#include "imageformats/iqvimageformatmanager.h"
#include "system/qvstring.h"
#include "thumbnailcache/iqvthumbnailcache.h"

int main() { return CQvStringUtils::UTF8toW("outer").IsEmpty() ? 1 : 0; }
