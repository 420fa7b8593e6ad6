// On-device layouts, shared constants and the parameter catalogue.
//
// Layouts are packed, little-endian records of the NVMe base specification
// (revision 1.4); every field the decoders read has its size and offset
// checked at compile time. Reserved gaps are named rsvd<offset>.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace orka {

// ---------------------------------------------------------------------------
// Shared constants
// ---------------------------------------------------------------------------

constexpr unsigned int ALL_NAMESPACES = 0xFFFFFFFF;
constexpr unsigned int IDENTIFY_CONTROLLER_LENGTH = 4096;
constexpr unsigned int IDENTIFY_NAMESPACE_LENGTH = 4096;
constexpr unsigned int MAX_POWER_STATES = 32;
constexpr unsigned int MAX_LBA = 16;
constexpr unsigned int MAX_LOGPAGE1_ERRORS = 256;
constexpr unsigned int MAX_TEMP_SENSORS = 8;
constexpr unsigned int MAXIMUM_FIRMWARE_SLOTS = 7;
constexpr unsigned int MAX_SELF_TESTS = 20;
constexpr unsigned int LOGPAGE_01_LENGTH = 16384;
constexpr unsigned int LOGPAGE_02_LENGTH = 512;
constexpr unsigned int LOGPAGE_03_LENGTH = 512;
constexpr unsigned int LOGPAGE_04_LENGTH = 4096;
constexpr unsigned int LOGPAGE_05_LENGTH = 4096;
constexpr unsigned int LOGPAGE_06_LENGTH = 564;
constexpr unsigned int LOGPAGE_09_LENGTH = 512;
constexpr unsigned int LOGPAGE_0A_LENGTH = 512;
constexpr unsigned int LOGPAGE_0D_LENGTH = 262144;
constexpr unsigned int LOGPAGE_80_LENGTH = 64;
constexpr unsigned int LOGPAGE_81_LENGTH = 512;
constexpr unsigned int KELVIN_TO_CELSIUS = 273;

// ---------------------------------------------------------------------------
// On-device layouts: Identify Controller and Identify Namespace
// ---------------------------------------------------------------------------

// (filled in with the identify decoders)

// ---------------------------------------------------------------------------
// Parameter catalogue
// ---------------------------------------------------------------------------

// One catalogue row as written here; the run-time map PARAMETER_INFO
// (orka_nvme.h) is built from these rows.
struct CatalogueRow {
    const char* name;
    const char* source;
    const char* description;
};

// (the rows are filled in with the catalogue)
inline constexpr CatalogueRow CATALOGUE_ROWS[] = {
    {"Model", "Calculated", "Model number with whitespace trimmed"},
};

// ---------------------------------------------------------------------------
// Command setting lists: the keys each command type requires in its command file
// ---------------------------------------------------------------------------

// (filled in with the catalogue)

}  // namespace orka
