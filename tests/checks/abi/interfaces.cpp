// A library in which every interface, record and enumeration of include/ is used, so that its debug information
// describes all of them: the components' own libraries export next to nothing.

#include "imageformats/iqvassociatedimages.h"
#include "imageformats/iqvimagedatabase.h"
#include "imageformats/iqvimageformatmanager.h"
#include "imageformats/iqvimageviewsettings.h"
#include "imageformats/iqvplate.h"
#include "metadata/qvexperiment.h"
#include "metadata/qvimageinfo.h"
#include "metadata/qvpicturemetadata.h"
#include "metadata/qvpictureplanes.h"
#include "picture/qvpicbuf.h"
#include "system/qvclass.h"
#include "system/qvdatetime.h"
#include "system/qvdiag.h"
#include "system/qvexport.h"
#include "system/qvfile.h"
#include "system/qvrtti.h"
#include "system/qvtextinfo.h"
#include "system/qvthumbnaildescription.h"
#include "system/qvvariant.h"
#include "thumbnailcache/iqvthumbnailcache.h"

#define QV_USED(Type) \
  extern "C" QV_EXPORT void Use##Type(const Type*) {}

QV_USED(IQvInterface)
QV_USED(IQvThumbnailCache)
QV_USED(IQvImageFormatManager)
QV_USED(IQvImageCodec)
QV_USED(IQvImageFile)
QV_USED(IQvMetadataReader)
QV_USED(IQvOutputImageFile)
QV_USED(IQvPictureSource)
QV_USED(IQvAssociatedImages)
QV_USED(IQvImageDatabase)
QV_USED(IQvImageRecord)
QV_USED(IQvImageViewSettings)
QV_USED(IQvPlate)

QV_USED(SQvAssociatedImage)
QV_USED(SQvDiagMessage)
QV_USED(SQvExperiment)
QV_USED(SQvExperimentChannel)
QV_USED(SQvFileLine)
QV_USED(SQvFileTime)
QV_USED(SQvFindData)
QV_USED(SQvImageInfo)
QV_USED(SQvImageTextInfo)
QV_USED(SQvImageView)
QV_USED(SQvPicBuf)
QV_USED(SQvPictureMetadata)
QV_USED(SQvPicturePlane)
QV_USED(SQvPicturePlanes)
QV_USED(SQvPlate)
QV_USED(SQvPlateWell)
QV_USED(SQvRTTICacheEntry)
QV_USED(SQvRTTIClass)
QV_USED(SQvStagePosition)
QV_USED(SQvThumbnailDescription)

QV_USED(EQvCompression)
QV_USED(EQvDiagKind)
QV_USED(EQvLoopType)
QV_USED(EQvModality)
QV_USED(EQvPixelType)
QV_USED(EQvPlaneChoice)
QV_USED(EQvThumbnailState)
