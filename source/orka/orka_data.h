// On-device layouts, shared constants and the parameter catalogue.
//
// Layouts are packed, little-endian records of the NVMe base specification
// (revision 1.4); every field the decoders read has its size and offset
// checked at compile time. Reserved gaps are named rsvd<offset>.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
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

// Multi-byte fields are held as little-endian byte arrays, so a packed record
// is never read through a misaligned pointer and decoding does not depend on
// the host's byte order.
template <typename T>
struct LittleEndian {
    static_assert(std::is_unsigned<T>::value, "little-endian fields are unsigned");
    unsigned char bytes[sizeof(T)];

    constexpr T get() const {
        T value = 0;
        for (std::size_t i = sizeof(T); i-- > 0;) {
            value = static_cast<T>((static_cast<unsigned long long>(value) << 8) | bytes[i]);
        }
        return value;
    }
};
using le16 = LittleEndian<std::uint16_t>;
using le32 = LittleEndian<std::uint32_t>;
using le64 = LittleEndian<std::uint64_t>;

// A field inside a field: `width` bits starting at bit `shift`.
struct BitField {
    unsigned int shift;
    unsigned int width;
};
constexpr unsigned int GetBits(unsigned long long value, BitField field) {
    return static_cast<unsigned int>((value >> field.shift) & ((1ULL << field.width) - 1));
}

#pragma pack(push, 1)

// Power state descriptor, 32 bytes.
struct ORKA_NVME_POWER_STATE_DESC {
    le16 MP;  // maximum power, unit chosen by MXPS
    unsigned char rsvd2;
    unsigned char MXPS_NOPS;  // PSD_MXPS, PSD_NOPS
    le32 ENLAT;               // microseconds
    le32 EXLAT;               // microseconds
    unsigned char RRT;        // PSD_RELATIVE
    unsigned char RRL;        // PSD_RELATIVE
    unsigned char RWT;        // PSD_RELATIVE
    unsigned char RWL;        // PSD_RELATIVE
    le16 IDLP;
    unsigned char IPS;  // PSD_POWER_SCALE
    unsigned char rsvd19;
    le16 ACTP;
    unsigned char APW_APS;  // PSD_APW, PSD_POWER_SCALE
    unsigned char rsvd23[9];
};
constexpr BitField PSD_MXPS{0, 1};
constexpr BitField PSD_NOPS{1, 1};
constexpr BitField PSD_RELATIVE{0, 5};
constexpr BitField PSD_APW{0, 3};
constexpr BitField PSD_POWER_SCALE{6, 2};

static_assert(sizeof(ORKA_NVME_POWER_STATE_DESC) == 32, "power state descriptor size");
static_assert(offsetof(ORKA_NVME_POWER_STATE_DESC, MP) == 0, "MP");
static_assert(offsetof(ORKA_NVME_POWER_STATE_DESC, MXPS_NOPS) == 3, "MXPS/NOPS");
static_assert(offsetof(ORKA_NVME_POWER_STATE_DESC, ENLAT) == 4, "ENLAT");
static_assert(offsetof(ORKA_NVME_POWER_STATE_DESC, EXLAT) == 8, "EXLAT");
static_assert(offsetof(ORKA_NVME_POWER_STATE_DESC, RRT) == 12, "RRT");
static_assert(offsetof(ORKA_NVME_POWER_STATE_DESC, RRL) == 13, "RRL");
static_assert(offsetof(ORKA_NVME_POWER_STATE_DESC, RWT) == 14, "RWT");
static_assert(offsetof(ORKA_NVME_POWER_STATE_DESC, RWL) == 15, "RWL");
static_assert(offsetof(ORKA_NVME_POWER_STATE_DESC, IDLP) == 16, "IDLP");
static_assert(offsetof(ORKA_NVME_POWER_STATE_DESC, IPS) == 18, "IPS");
static_assert(offsetof(ORKA_NVME_POWER_STATE_DESC, ACTP) == 20, "ACTP");
static_assert(offsetof(ORKA_NVME_POWER_STATE_DESC, APW_APS) == 22, "APW/APS");

// Identify Controller data structure (CNS 01h), 4096 bytes.
struct ORKA_NVME_IDENTIFY_CONTROLLER_DATA {
    le16 VID;
    le16 SSVID;
    char SN[20];
    char MN[40];
    char FR[8];
    unsigned char RAB;
    unsigned char IEEE[3];
    unsigned char CMIC;
    unsigned char MDTS;
    le16 CNTLID;
    le32 VER;
    le32 RTD3R;
    le32 RTD3E;
    le32 OAES;
    le32 CTRATT;
    le16 RRLS;
    unsigned char rsvd102[9];
    unsigned char CNTRLTYPE;
    unsigned char FGUID[16];
    le16 CRDT1;
    le16 CRDT2;
    le16 CRDT3;
    unsigned char rsvd134[119];
    unsigned char NVMSR;
    unsigned char VWCI;
    unsigned char MEC;
    le16 OACS;
    unsigned char ACL;
    unsigned char AERL;
    unsigned char FRMW;
    unsigned char LPA;
    unsigned char ELPE;
    unsigned char NPSS;
    unsigned char AVSCC;
    unsigned char APSTA;
    le16 WCTEMP;
    le16 CCTEMP;
    le16 MTFA;
    le32 HMPRE;
    le32 HMMIN;
    unsigned char TNVMCAP[16];
    unsigned char UNVMCAP[16];
    unsigned char RPMBS[4];  // RPMBS_UNITS, RPMBS_AUTHENTICATION; byte 2 total size, byte 3 access size
    le16 EDSTT;
    unsigned char DSTO;
    unsigned char FWUG;
    le16 KAS;
    le16 HCTMA;
    le16 MNTMT;
    le16 MXTMT;
    le32 SANICAP;
    le32 HMMINDS;
    le16 HMMAXD;
    le16 NSETIDMAX;
    le16 ENDGIDMAX;
    unsigned char ANATT;
    unsigned char ANACAP;
    le32 ANAGRPMAX;
    le32 NANAGRPID;
    le32 PELS;
    unsigned char rsvd356[156];
    unsigned char SQES;  // QUEUE_ENTRY_MAXIMUM, QUEUE_ENTRY_REQUIRED
    unsigned char CQES;  // QUEUE_ENTRY_MAXIMUM, QUEUE_ENTRY_REQUIRED
    le16 MAXCMD;
    le32 NN;
    le16 ONCS;
    le16 FUSES;
    unsigned char FNA;
    unsigned char VWC;
    le16 AWUN;
    le16 AWUPF;
    unsigned char NVSCC;
    unsigned char NWPC;
    le16 ACWU;
    unsigned char rsvd534[2];
    le32 SGLS;
    le32 MNAN;
    unsigned char rsvd544[224];
    char SUBNQN[256];
    unsigned char rsvd1024[1024];
    ORKA_NVME_POWER_STATE_DESC PSD[MAX_POWER_STATES];
    unsigned char VS[1024];
};
constexpr BitField RPMBS_UNITS{0, 3};
constexpr BitField RPMBS_AUTHENTICATION{3, 3};
constexpr BitField QUEUE_ENTRY_MAXIMUM{4, 4};
constexpr BitField QUEUE_ENTRY_REQUIRED{0, 4};

static_assert(sizeof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA) == IDENTIFY_CONTROLLER_LENGTH, "controller size");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, VID) == 0, "VID");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, SSVID) == 2, "SSVID");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, SN) == 4, "SN");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, MN) == 24, "MN");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, FR) == 64, "FR");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, RAB) == 72, "RAB");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, IEEE) == 73, "IEEE");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, CMIC) == 76, "CMIC");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, MDTS) == 77, "MDTS");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, CNTLID) == 78, "CNTLID");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, VER) == 80, "VER");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, RTD3R) == 84, "RTD3R");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, RTD3E) == 88, "RTD3E");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, OAES) == 92, "OAES");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, CTRATT) == 96, "CTRATT");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, RRLS) == 100, "RRLS");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, CNTRLTYPE) == 111, "CNTRLTYPE");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, FGUID) == 112, "FGUID");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, CRDT1) == 128, "CRDT1");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, CRDT2) == 130, "CRDT2");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, CRDT3) == 132, "CRDT3");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, NVMSR) == 253, "NVMSR");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, VWCI) == 254, "VWCI");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, MEC) == 255, "MEC");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, OACS) == 256, "OACS");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, ACL) == 258, "ACL");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, AERL) == 259, "AERL");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, FRMW) == 260, "FRMW");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, LPA) == 261, "LPA");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, ELPE) == 262, "ELPE");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, NPSS) == 263, "NPSS");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, AVSCC) == 264, "AVSCC");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, APSTA) == 265, "APSTA");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, WCTEMP) == 266, "WCTEMP");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, CCTEMP) == 268, "CCTEMP");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, MTFA) == 270, "MTFA");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, HMPRE) == 272, "HMPRE");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, HMMIN) == 276, "HMMIN");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, TNVMCAP) == 280, "TNVMCAP");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, UNVMCAP) == 296, "UNVMCAP");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, RPMBS) == 312, "RPMBS");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, EDSTT) == 316, "EDSTT");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, DSTO) == 318, "DSTO");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, FWUG) == 319, "FWUG");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, KAS) == 320, "KAS");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, HCTMA) == 322, "HCTMA");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, MNTMT) == 324, "MNTMT");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, MXTMT) == 326, "MXTMT");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, SANICAP) == 328, "SANICAP");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, HMMINDS) == 332, "HMMINDS");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, HMMAXD) == 336, "HMMAXD");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, NSETIDMAX) == 338, "NSETIDMAX");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, ENDGIDMAX) == 340, "ENDGIDMAX");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, ANATT) == 342, "ANATT");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, ANACAP) == 343, "ANACAP");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, ANAGRPMAX) == 344, "ANAGRPMAX");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, NANAGRPID) == 348, "NANAGRPID");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, PELS) == 352, "PELS");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, SQES) == 512, "SQES");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, CQES) == 513, "CQES");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, MAXCMD) == 514, "MAXCMD");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, NN) == 516, "NN");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, ONCS) == 520, "ONCS");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, FUSES) == 522, "FUSES");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, FNA) == 524, "FNA");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, VWC) == 525, "VWC");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, AWUN) == 526, "AWUN");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, AWUPF) == 528, "AWUPF");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, NVSCC) == 530, "NVSCC");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, NWPC) == 531, "NWPC");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, ACWU) == 532, "ACWU");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, SGLS) == 536, "SGLS");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, MNAN) == 540, "MNAN");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, SUBNQN) == 768, "SUBNQN");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, PSD) == 2048, "PSD");
static_assert(offsetof(ORKA_NVME_IDENTIFY_CONTROLLER_DATA, VS) == 3072, "VS");

// LBA format descriptor, 4 bytes.
struct ORKA_NVME_LBA_FORMAT {
    le16 MS;              // metadata bytes per block
    unsigned char LBADS;  // block size as a power of two
    unsigned char RP;     // LBAF_RP
};
constexpr BitField LBAF_RP{0, 2};

static_assert(sizeof(ORKA_NVME_LBA_FORMAT) == 4, "LBA format size");
static_assert(offsetof(ORKA_NVME_LBA_FORMAT, MS) == 0, "MS");
static_assert(offsetof(ORKA_NVME_LBA_FORMAT, LBADS) == 2, "LBADS");
static_assert(offsetof(ORKA_NVME_LBA_FORMAT, RP) == 3, "RP");

// Identify Namespace data structure (CNS 00h), 4096 bytes.
struct ORKA_NVME_IDENTIFY_NAMESPACE_DATA {
    le64 NSZE;
    le64 NCAP;
    le64 NUSE;
    unsigned char NSFEAT;
    unsigned char NLBAF;
    unsigned char FLBAS;  // FLBAS_FORMAT, FLBAS_EXTENDED
    unsigned char MC;
    unsigned char DPC;
    unsigned char DPS;  // DPS_TYPE, DPS_FIRST
    unsigned char NMIC;
    unsigned char RESCAP;
    unsigned char FPI;  // FPI_PERCENT, FPI_SUPPORTED
    unsigned char DLFEAT;
    le16 NAWUN;
    le16 NAWUPF;
    le16 NACWU;
    le16 NABSN;
    le16 NABO;
    le16 NABSPF;
    le16 NOIOB;
    unsigned char NVMCAP[16];
    le16 NPWG;
    le16 NPWA;
    le16 NPDG;
    le16 NPDA;
    le16 NOWS;
    unsigned char rsvd74[18];
    le32 ANAGRPID;
    unsigned char rsvd96[3];
    unsigned char NSATTR;
    le16 NVMSETID;
    le16 ENDGID;
    unsigned char NGUID[16];
    unsigned char EUI64[8];
    ORKA_NVME_LBA_FORMAT LBAF[MAX_LBA];
    unsigned char rsvd192[192];
    unsigned char VS[3712];
};
constexpr BitField FLBAS_FORMAT{0, 4};
constexpr BitField FLBAS_EXTENDED{4, 1};
constexpr BitField DPS_TYPE{0, 3};
constexpr BitField DPS_FIRST{3, 1};
constexpr BitField FPI_PERCENT{0, 7};
constexpr BitField FPI_SUPPORTED{7, 1};

static_assert(sizeof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA) == IDENTIFY_NAMESPACE_LENGTH, "namespace size");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, NSZE) == 0, "NSZE");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, NCAP) == 8, "NCAP");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, NUSE) == 16, "NUSE");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, NSFEAT) == 24, "NSFEAT");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, NLBAF) == 25, "NLBAF");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, FLBAS) == 26, "FLBAS");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, MC) == 27, "MC");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, DPC) == 28, "DPC");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, DPS) == 29, "DPS");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, NMIC) == 30, "NMIC");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, RESCAP) == 31, "RESCAP");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, FPI) == 32, "FPI");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, DLFEAT) == 33, "DLFEAT");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, NAWUN) == 34, "NAWUN");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, NAWUPF) == 36, "NAWUPF");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, NACWU) == 38, "NACWU");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, NABSN) == 40, "NABSN");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, NABO) == 42, "NABO");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, NABSPF) == 44, "NABSPF");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, NOIOB) == 46, "NOIOB");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, NVMCAP) == 48, "NVMCAP");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, NPWG) == 64, "NPWG");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, NPWA) == 66, "NPWA");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, NPDG) == 68, "NPDG");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, NPDA) == 70, "NPDA");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, NOWS) == 72, "NOWS");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, ANAGRPID) == 92, "ANAGRPID");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, NSATTR) == 99, "NSATTR");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, NVMSETID) == 100, "NVMSETID");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, ENDGID) == 102, "ENDGID");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, NGUID) == 104, "NGUID");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, EUI64) == 120, "EUI64");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, LBAF) == 128, "LBAF");
static_assert(offsetof(ORKA_NVME_IDENTIFY_NAMESPACE_DATA, VS) == 384, "VS");

#pragma pack(pop)

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
