#include "gnr_thumbnailcache/database/metadata_columns.h"

#include <sstream>

namespace {

constexpr std::size_t kKeyColumns = 2;

constexpr SMetadataColumn kColumns[] = {
    {"filename", "TEXT", ":FN", nullptr},
    {"lastWritten", "REAL", ":LW", nullptr},
    {"M_imageID", "TEXT", ":IID", [](STextInformation& of) -> CMetadataValue { return &of.text.imageID; }},
    {"M_type", "TEXT", ":TYPE", [](STextInformation& of) -> CMetadataValue { return &of.text.type; }},
    {"M_group", "TEXT", ":GRP", [](STextInformation& of) -> CMetadataValue { return &of.text.group; }},
    {"M_sampleID", "TEXT", ":SID", [](STextInformation& of) -> CMetadataValue { return &of.text.sampleID; }},
    {"M_author", "TEXT", ":AUTH", [](STextInformation& of) -> CMetadataValue { return &of.text.author; }},
    {"M_description", "TEXT", ":DESC", [](STextInformation& of) -> CMetadataValue { return &of.text.description; }},
    {"M_capturing", "TEXT", ":CAPT", [](STextInformation& of) -> CMetadataValue { return &of.text.capturing; }},
    {"M_sampling", "TEXT", ":SMP", [](STextInformation& of) -> CMetadataValue { return &of.text.sampling; }},
    {"M_location", "TEXT", ":LOC", [](STextInformation& of) -> CMetadataValue { return &of.text.location; }},
    {"M_date", "TEXT", ":DATE", [](STextInformation& of) -> CMetadataValue { return &of.text.date; }},
    {"M_conclusion", "TEXT", ":CONC", [](STextInformation& of) -> CMetadataValue { return &of.text.conclusion; }},
    {"M_info1", "TEXT", ":INFA", [](STextInformation& of) -> CMetadataValue { return &of.text.info1; }},
    {"M_info2", "TEXT", ":INFB", [](STextInformation& of) -> CMetadataValue { return &of.text.info2; }},
    {"M_optics", "TEXT", ":OPT", [](STextInformation& of) -> CMetadataValue { return &of.text.optics; }},
    {"M_width", "INTEGER", ":WID", [](STextInformation& of) -> CMetadataValue { return &of.image.width; }},
    {"M_widthBytes", "INTEGER", ":WIDB", [](STextInformation& of) -> CMetadataValue { return &of.image.widthBytes; }},
    {"M_height", "INTEGER", ":HGHT", [](STextInformation& of) -> CMetadataValue { return &of.image.height; }},
    {"M_comp", "INTEGER", ":COMP", [](STextInformation& of) -> CMetadataValue { return &of.image.components; }},
    {"M_bpcInMemory", "INTEGER", ":BPCM", [](STextInformation& of) -> CMetadataValue { return &of.image.bpcInMemory; }},
    {"M_bpcSignificant", "INTEGER", ":BPCS",
     [](STextInformation& of) -> CMetadataValue { return &of.image.bpcSignificant; }},
    {"M_pixelType", "INTEGER", ":PIXTYPE", [](STextInformation& of) -> CMetadataValue { return &of.image.pixelType; }},
    {"M_sequenceCount", "INTEGER", ":SEQCNT",
     [](STextInformation& of) -> CMetadataValue { return &of.image.sequenceCount; }},
    {"M_tileWidth", "INTEGER", ":TILEW", [](STextInformation& of) -> CMetadataValue { return &of.image.tileWidth; }},
    {"M_tileHeight", "INTEGER", ":TILEH", [](STextInformation& of) -> CMetadataValue { return &of.image.tileHeight; }},
    {"M_compression", "INTEGER", ":COMPR",
     [](STextInformation& of) -> CMetadataValue { return &of.image.compression; }},
    {"M_compressionParam", "REAL", ":COMPRPARAM",
     [](STextInformation& of) -> CMetadataValue { return &of.image.compressionParam; }},
    {"M_calibration", "REAL", ":CALIB", [](STextInformation& of) -> CMetadataValue { return &of.calibration; }},
    {"M_objective", "TEXT", ":OBJ", [](STextInformation& of) -> CMetadataValue { return &of.objective; }},
    {"M_acqTime", "REAL", ":ACQT", [](STextInformation& of) -> CMetadataValue { return &of.acqTime; }},
    {"M_fileSize", "INTEGER", ":FILESIZE", [](STextInformation& of) -> CMetadataValue { return &of.fileSize; }},
    {"M_timeLoop", "INTEGER", ":LOOPT", [](STextInformation& of) -> CMetadataValue { return &of.loops.time; }},
    {"M_zLoop", "INTEGER", ":LOOPZ", [](STextInformation& of) -> CMetadataValue { return &of.loops.z; }},
    {"M_multipointLoop", "INTEGER", ":LOOPXY",
     [](STextInformation& of) -> CMetadataValue { return &of.loops.multipoint; }},
    {"M_lambdaLoop", "INTEGER", ":LOOPL", [](STextInformation& of) -> CMetadataValue { return &of.loops.lambda; }},
};

}  // namespace

std::span<const SMetadataColumn> MetadataColumns() noexcept { return kColumns; }

std::span<const SMetadataColumn> MetadataValueColumns() noexcept { return MetadataColumns().subspan(kKeyColumns); }

std::string JoinMetadataColumns(EMetadataPart part, std::span<const SMetadataColumn> columns) {
  std::ostringstream joined;
  const char* separator = "";
  for (const SMetadataColumn& column : columns) {
    joined << separator << (part == EMetadataPart::Parameter ? column.parameter : column.name);
    if (part == EMetadataPart::Definition) joined << ' ' << column.type;
    separator = ", ";
  }
  return joined.str();
}
