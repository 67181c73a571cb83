#include "gnr_thumbnailcache/textinfo/metadata_columns.h"

#include <sstream>

const SMetadataColumn kMetadataColumns[kMetadataColumnCount] = {
    {"filename", "TEXT", ":FN"},
    {"lastWritten", "REAL", ":LW"},
    {"M_imageID", "TEXT", ":IID"},
    {"M_type", "TEXT", ":TYPE"},
    {"M_group", "TEXT", ":GRP"},
    {"M_sampleID", "TEXT", ":SID"},
    {"M_author", "TEXT", ":AUTH"},
    {"M_description", "TEXT", ":DESC"},
    {"M_capturing", "TEXT", ":CAPT"},
    {"M_sampling", "TEXT", ":SMP"},
    {"M_location", "TEXT", ":LOC"},
    {"M_date", "TEXT", ":DATE"},
    {"M_conclusion", "TEXT", ":CONC"},
    {"M_info1", "TEXT", ":INFA"},
    {"M_info2", "TEXT", ":INFB"},
    {"M_optics", "TEXT", ":OPT"},
    {"M_width", "INTEGER", ":WID"},
    {"M_widthBytes", "INTEGER", ":WIDB"},
    {"M_height", "INTEGER", ":HGHT"},
    {"M_comp", "INTEGER", ":COMP"},
    {"M_bpcInMemory", "INTEGER", ":BPCM"},
    {"M_bpcSignificant", "INTEGER", ":BPCS"},
    {"M_pixelType", "INTEGER", ":PIXTYPE"},
    {"M_sequenceCount", "INTEGER", ":SEQCNT"},
    {"M_tileWidth", "INTEGER", ":TILEW"},
    {"M_tileHeight", "INTEGER", ":TILEH"},
    {"M_compression", "INTEGER", ":COMPR"},
    {"M_compressionParam", "REAL", ":COMPRPARAM"},
    {"M_calibration", "REAL", ":CALIB"},
    {"M_objective", "TEXT", ":OBJ"},
    {"M_acqTime", "REAL", ":ACQT"},
    {"M_fileSize", "INTEGER", ":FILESIZE"},
    {"M_timeLoop", "INTEGER", ":LOOPT"},
    {"M_zLoop", "INTEGER", ":LOOPZ"},
    {"M_multipointLoop", "INTEGER", ":LOOPXY"},
    {"M_lambdaLoop", "INTEGER", ":LOOPL"},
};

std::string JoinMetadataColumns(EMetadataPart part, std::size_t first) {
  std::ostringstream joined;
  for (std::size_t i = first; i < kMetadataColumnCount; ++i) {
    const SMetadataColumn& column = kMetadataColumns[i];
    if (i != first) joined << ", ";
    joined << (part == EMetadataPart::Parameter ? column.parameter : column.name);
    if (part == EMetadataPart::Definition) joined << ' ' << column.type;
  }
  return joined.str();
}
