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

// The read command's list holds "read feature 16h" twice and no name for
// feature 17h, so a read command file without a 17h key is valid.
inline const std::vector<std::string> READINFO_PARAMETERS = {
    "short description", "log hex data", "read system data", "read extended system data",
    "read identify controller", "read identify namespace",
    "read feature 01h", "read feature 02h", "read feature 03h", "read feature 04h", "read feature 05h",
    "read feature 06h", "read feature 07h", "read feature 08h", "read feature 09h", "read feature 0Ah",
    "read feature 0Bh", "read feature 0Ch", "read feature 0Dh", "read feature 0Eh", "read feature 0Fh",
    "read feature 10h", "read feature 11h", "read feature 12h", "read feature 13h", "read feature 14h",
    "read feature 15h", "read feature 16h", "read feature 16h", "read feature 18h",
    "read log page 01h", "read log page 02h", "read log page 03h", "read log page 04h", "read log page 05h",
    "read log page 06h", "read log page 07h", "read log page 08h", "read log page 09h", "read log page 0Ah",
    "read log page 0Bh", "read log page 0Ch", "read log page 0Dh", "read log page 0Eh", "read log page 0Fh",
    "read log page 10h",
    "samples", "interval in ms", "display sample rate", "log sample rate", "compare type", "compare file",
    "rules file", "fail limit", "high priority", "high resolution timer"};

inline const std::vector<std::string> SELFTEST_PARAMETERS = {
    "short description", "display sample interval in sec", "extended self-test", "read command times",
    "read smart data", "abort time", "high priority", "high resolution timer"};

inline const std::vector<std::string> SANITIZE_PARAMETERS = {
    "short description", "display sample interval in sec", "sanitize type", "read command times",
    "read smart data", "high priority", "high resolution timer"};

}  // namespace orka
