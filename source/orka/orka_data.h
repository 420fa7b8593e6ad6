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

// ---------------------------------------------------------------------------
// On-device layouts: log pages
// ---------------------------------------------------------------------------

// Error Information log entry (log 01h), 64 bytes.
struct ORKA_NVME_ERROR_INFO_ENTRY {
    le64 ERRCNT;  // 0: the entry is empty
    le16 SQID;    // FFFFh: not specific
    le16 CID;     // FFFFh: not specific
    le16 STS;     // STS_PHASE, STS_STATUS
    le16 PEL;     // PEL_BYTE, PEL_BIT; FFFFh: not specific
    le64 LBA;     // all ones: not applicable
    le32 NS;      // FFFFFFFFh: not applicable
    unsigned char VSIA;
    unsigned char TRTYPE;
    unsigned char rsvd30[2];
    le64 CSI;
    le16 TTSI;
    unsigned char rsvd42[22];
};
constexpr BitField STS_PHASE{0, 1};
constexpr BitField STS_STATUS{1, 15};
constexpr BitField PEL_BYTE{0, 8};
constexpr BitField PEL_BIT{8, 3};

static_assert(sizeof(ORKA_NVME_ERROR_INFO_ENTRY) == 64, "error entry size");
static_assert(offsetof(ORKA_NVME_ERROR_INFO_ENTRY, ERRCNT) == 0, "ERRCNT");
static_assert(offsetof(ORKA_NVME_ERROR_INFO_ENTRY, SQID) == 8, "SQID");
static_assert(offsetof(ORKA_NVME_ERROR_INFO_ENTRY, CID) == 10, "CID");
static_assert(offsetof(ORKA_NVME_ERROR_INFO_ENTRY, STS) == 12, "STS");
static_assert(offsetof(ORKA_NVME_ERROR_INFO_ENTRY, PEL) == 14, "PEL");
static_assert(offsetof(ORKA_NVME_ERROR_INFO_ENTRY, LBA) == 16, "LBA");
static_assert(offsetof(ORKA_NVME_ERROR_INFO_ENTRY, NS) == 24, "NS");
static_assert(offsetof(ORKA_NVME_ERROR_INFO_ENTRY, VSIA) == 28, "VSIA");
static_assert(offsetof(ORKA_NVME_ERROR_INFO_ENTRY, TRTYPE) == 29, "TRTYPE");
static_assert(offsetof(ORKA_NVME_ERROR_INFO_ENTRY, CSI) == 32, "CSI");
static_assert(offsetof(ORKA_NVME_ERROR_INFO_ENTRY, TTSI) == 40, "TTSI");

// Error Information log (01h): the entries the error log structure holds.
struct ORKA_NVME_LOGPAGE_01_DATA {
    ORKA_NVME_ERROR_INFO_ENTRY ENTRY[MAX_LOGPAGE1_ERRORS];
};
static_assert(sizeof(ORKA_NVME_LOGPAGE_01_DATA) == LOGPAGE_01_LENGTH, "log 01h size");

// SMART / Health Information log (02h), 512 bytes. The 16-byte counters are
// unsigned 128-bit little-endian numbers.
struct ORKA_NVME_LOGPAGE_02_DATA {
    unsigned char CW;  // critical warning bits 0-5
    le16 CTEMP;        // kelvin
    unsigned char AVSP;
    unsigned char AVSPT;
    unsigned char PUSED;
    unsigned char EGCWS;
    unsigned char rsvd7[25];
    unsigned char DUR[16];
    unsigned char DUW[16];
    unsigned char HRC[16];
    unsigned char HWC[16];
    unsigned char CBT[16];
    unsigned char PWRC[16];
    unsigned char POH[16];
    unsigned char UNSAFE[16];
    unsigned char MEDERR[16];
    unsigned char NUMERR[16];
    le32 WCTT;                    // minutes
    le32 CCTT;                    // minutes
    le16 TSEN[MAX_TEMP_SENSORS];  // kelvin, 0: not reported
    le32 TMT1TC;
    le32 TMT2TC;
    le32 TTTMT1;  // seconds
    le32 TTTMT2;  // seconds
    unsigned char rsvd232[280];
};

static_assert(sizeof(ORKA_NVME_LOGPAGE_02_DATA) == LOGPAGE_02_LENGTH, "log 02h size");
static_assert(offsetof(ORKA_NVME_LOGPAGE_02_DATA, CW) == 0, "CW");
static_assert(offsetof(ORKA_NVME_LOGPAGE_02_DATA, CTEMP) == 1, "CTEMP");
static_assert(offsetof(ORKA_NVME_LOGPAGE_02_DATA, AVSP) == 3, "AVSP");
static_assert(offsetof(ORKA_NVME_LOGPAGE_02_DATA, AVSPT) == 4, "AVSPT");
static_assert(offsetof(ORKA_NVME_LOGPAGE_02_DATA, PUSED) == 5, "PUSED");
static_assert(offsetof(ORKA_NVME_LOGPAGE_02_DATA, EGCWS) == 6, "EGCWS");
static_assert(offsetof(ORKA_NVME_LOGPAGE_02_DATA, DUR) == 32, "DUR");
static_assert(offsetof(ORKA_NVME_LOGPAGE_02_DATA, DUW) == 48, "DUW");
static_assert(offsetof(ORKA_NVME_LOGPAGE_02_DATA, HRC) == 64, "HRC");
static_assert(offsetof(ORKA_NVME_LOGPAGE_02_DATA, HWC) == 80, "HWC");
static_assert(offsetof(ORKA_NVME_LOGPAGE_02_DATA, CBT) == 96, "CBT");
static_assert(offsetof(ORKA_NVME_LOGPAGE_02_DATA, PWRC) == 112, "PWRC");
static_assert(offsetof(ORKA_NVME_LOGPAGE_02_DATA, POH) == 128, "POH");
static_assert(offsetof(ORKA_NVME_LOGPAGE_02_DATA, UNSAFE) == 144, "UNSAFE");
static_assert(offsetof(ORKA_NVME_LOGPAGE_02_DATA, MEDERR) == 160, "MEDERR");
static_assert(offsetof(ORKA_NVME_LOGPAGE_02_DATA, NUMERR) == 176, "NUMERR");
static_assert(offsetof(ORKA_NVME_LOGPAGE_02_DATA, WCTT) == 192, "WCTT");
static_assert(offsetof(ORKA_NVME_LOGPAGE_02_DATA, CCTT) == 196, "CCTT");
static_assert(offsetof(ORKA_NVME_LOGPAGE_02_DATA, TSEN) == 200, "TSEN");
static_assert(offsetof(ORKA_NVME_LOGPAGE_02_DATA, TMT1TC) == 216, "TMT1TC");
static_assert(offsetof(ORKA_NVME_LOGPAGE_02_DATA, TMT2TC) == 220, "TMT2TC");
static_assert(offsetof(ORKA_NVME_LOGPAGE_02_DATA, TTTMT1) == 224, "TTTMT1");
static_assert(offsetof(ORKA_NVME_LOGPAGE_02_DATA, TTTMT2) == 228, "TTTMT2");

// Firmware Slot Information log (03h), 512 bytes.
struct ORKA_NVME_LOGPAGE_03_DATA {
    unsigned char AFI;  // AFI_ACTIVE, AFI_NEXT
    unsigned char rsvd1[7];
    char FRS[MAXIMUM_FIRMWARE_SLOTS][8];  // slot 1 first
    unsigned char rsvd64[448];
};
constexpr BitField AFI_ACTIVE{0, 3};
constexpr BitField AFI_NEXT{4, 3};

static_assert(sizeof(ORKA_NVME_LOGPAGE_03_DATA) == LOGPAGE_03_LENGTH, "log 03h size");
static_assert(offsetof(ORKA_NVME_LOGPAGE_03_DATA, AFI) == 0, "AFI");
static_assert(offsetof(ORKA_NVME_LOGPAGE_03_DATA, FRS) == 8, "FRS");

// Commands Supported and Effects log (05h), 4096 bytes: one entry per opcode.
struct ORKA_NVME_LOGPAGE_05_DATA {
    le32 ACS[256];   // admin commands
    le32 IOCS[256];  // I/O commands
    unsigned char rsvd2048[2048];
};
constexpr BitField EFFECTS_CSUPP{0, 1};
constexpr BitField EFFECTS_LBCC{1, 1};
constexpr BitField EFFECTS_NCC{2, 1};
constexpr BitField EFFECTS_NIC{3, 1};
constexpr BitField EFFECTS_CCC{4, 1};
constexpr BitField EFFECTS_CSE{16, 3};
constexpr BitField EFFECTS_UUID{19, 1};

static_assert(sizeof(ORKA_NVME_LOGPAGE_05_DATA) == LOGPAGE_05_LENGTH, "log 05h size");
static_assert(offsetof(ORKA_NVME_LOGPAGE_05_DATA, ACS) == 0, "ACS");
static_assert(offsetof(ORKA_NVME_LOGPAGE_05_DATA, IOCS) == 1024, "IOCS");

// Device Self-test result entry, 28 bytes.
struct ORKA_NVME_SELF_TEST_RESULT {
    unsigned char STATUS;  // SELF_TEST_RESULT, SELF_TEST_CODE
    unsigned char SEGN;
    unsigned char VDI;  // bit 0 NSID, bit 1 FLBA, bit 2 SCT, bit 3 SC valid
    unsigned char rsvd3;
    le64 POH;
    le32 NSID;
    le64 FLBA;
    unsigned char SCT;
    unsigned char SC;
    unsigned char VS[2];
};
constexpr BitField SELF_TEST_RESULT{0, 4};
constexpr BitField SELF_TEST_CODE{4, 4};

static_assert(sizeof(ORKA_NVME_SELF_TEST_RESULT) == 28, "self-test result size");
static_assert(offsetof(ORKA_NVME_SELF_TEST_RESULT, STATUS) == 0, "STATUS");
static_assert(offsetof(ORKA_NVME_SELF_TEST_RESULT, SEGN) == 1, "SEGN");
static_assert(offsetof(ORKA_NVME_SELF_TEST_RESULT, VDI) == 2, "VDI");
static_assert(offsetof(ORKA_NVME_SELF_TEST_RESULT, POH) == 4, "POH");
static_assert(offsetof(ORKA_NVME_SELF_TEST_RESULT, NSID) == 12, "NSID");
static_assert(offsetof(ORKA_NVME_SELF_TEST_RESULT, FLBA) == 16, "FLBA");
static_assert(offsetof(ORKA_NVME_SELF_TEST_RESULT, SCT) == 24, "SCT");
static_assert(offsetof(ORKA_NVME_SELF_TEST_RESULT, SC) == 25, "SC");

// Device Self-test log (06h), 564 bytes, newest result first.
struct ORKA_NVME_LOGPAGE_06_DATA {
    unsigned char CDSTO;  // current operation
    unsigned char CDSTC;  // current completion, percent
    unsigned char rsvd2[2];
    ORKA_NVME_SELF_TEST_RESULT RESULT[MAX_SELF_TESTS];
};

static_assert(sizeof(ORKA_NVME_LOGPAGE_06_DATA) == LOGPAGE_06_LENGTH, "log 06h size");
static_assert(offsetof(ORKA_NVME_LOGPAGE_06_DATA, CDSTO) == 0, "CDSTO");
static_assert(offsetof(ORKA_NVME_LOGPAGE_06_DATA, CDSTC) == 1, "CDSTC");
static_assert(offsetof(ORKA_NVME_LOGPAGE_06_DATA, RESULT) == 4, "RESULT");

// Telemetry host- or controller-initiated log (07h, 08h), header block of 512 bytes.
struct ORKA_NVME_TELEMETRY_HEADER {
    unsigned char LID;
    unsigned char rsvd1[4];
    unsigned char IEEE[3];
    le16 DA1LB;
    le16 DA2LB;
    le16 DA3LB;  // last block of data area 3: the log's end
    unsigned char rsvd14[498];
};
constexpr unsigned int TELEMETRY_HEADER_LENGTH = 512;

static_assert(sizeof(ORKA_NVME_TELEMETRY_HEADER) == TELEMETRY_HEADER_LENGTH, "telemetry header size");
static_assert(offsetof(ORKA_NVME_TELEMETRY_HEADER, DA3LB) == 12, "DA3LB");

// Persistent Event log (0Dh) header, 512 bytes; the events follow it.
struct ORKA_NVME_EVENT_LOG_HEADER {
    unsigned char LID;
    unsigned char rsvd1[3];
    le32 TNEV;  // total number of events
    le64 TLL;   // total log length, header included
    unsigned char LRV;
    unsigned char rsvd17;
    le16 LHL;
    le64 TS;  // low 48 bits: milliseconds
    unsigned char POH[16];
    le64 PCC;
    le16 VID;
    le16 SSVID;
    char SN[20];
    char MN[40];
    char SUBNQN[256];
    unsigned char rsvd372[108];
    unsigned char SEB[32];  // supported events bitmap
};
constexpr unsigned int EVENT_LOG_HEADER_LENGTH = 512;

static_assert(sizeof(ORKA_NVME_EVENT_LOG_HEADER) == EVENT_LOG_HEADER_LENGTH, "event log header size");
static_assert(offsetof(ORKA_NVME_EVENT_LOG_HEADER, TNEV) == 4, "TNEV");
static_assert(offsetof(ORKA_NVME_EVENT_LOG_HEADER, TLL) == 8, "TLL");
static_assert(offsetof(ORKA_NVME_EVENT_LOG_HEADER, TS) == 20, "TS");
static_assert(offsetof(ORKA_NVME_EVENT_LOG_HEADER, POH) == 28, "POH");
static_assert(offsetof(ORKA_NVME_EVENT_LOG_HEADER, PCC) == 44, "PCC");
static_assert(offsetof(ORKA_NVME_EVENT_LOG_HEADER, SEB) == 480, "SEB");

// The Persistent Event log as read, at most LOGPAGE_0D_LENGTH bytes.
struct ORKA_NVME_LOGPAGE_0D_DATA {
    ORKA_NVME_EVENT_LOG_HEADER HEADER;
    unsigned char EVENTS[LOGPAGE_0D_LENGTH - EVENT_LOG_HEADER_LENGTH];
};
static_assert(sizeof(ORKA_NVME_LOGPAGE_0D_DATA) == LOGPAGE_0D_LENGTH, "log 0Dh size");

// Persistent event header, 24 bytes. The event occupies EHL + 3 + EL bytes;
// its data begins EHL + 3 + VSIL bytes after its start.
struct ORKA_NVME_EVENT_HEADER {
    unsigned char ETYPE;
    unsigned char ETYPREV;
    unsigned char EHL;
    unsigned char rsvd3;
    le16 CNTLID;
    le64 EVTTS;  // low 48 bits: milliseconds
    le16 PELPID;
    unsigned char rsvd16[4];
    le16 VSIL;
    le16 EL;
};

static_assert(sizeof(ORKA_NVME_EVENT_HEADER) == 24, "event header size");
static_assert(offsetof(ORKA_NVME_EVENT_HEADER, ETYPE) == 0, "ETYPE");
static_assert(offsetof(ORKA_NVME_EVENT_HEADER, EHL) == 2, "EHL");
static_assert(offsetof(ORKA_NVME_EVENT_HEADER, CNTLID) == 4, "CNTLID");
static_assert(offsetof(ORKA_NVME_EVENT_HEADER, EVTTS) == 6, "EVTTS");
static_assert(offsetof(ORKA_NVME_EVENT_HEADER, VSIL) == 20, "VSIL");
static_assert(offsetof(ORKA_NVME_EVENT_HEADER, EL) == 22, "EL");

// Additional hardware error information of a hardware error event for PCIe
// errors, from byte 4 of the event data.
struct ORKA_NVME_PCIE_ERROR_INFO {
    le16 DEVSTS;   // PCIe device status register
    le16 AERFLAG;  // 1: the AER fields below are valid
    unsigned char rsvd4[12];
    le32 AER;  // correctable (low 16 bits) or uncorrectable error status
    unsigned char rsvd20[12];
};

static_assert(sizeof(ORKA_NVME_PCIE_ERROR_INFO) == 32, "PCIe error information size");
static_assert(offsetof(ORKA_NVME_PCIE_ERROR_INFO, DEVSTS) == 0, "DEVSTS");
static_assert(offsetof(ORKA_NVME_PCIE_ERROR_INFO, AERFLAG) == 2, "AERFLAG");
static_assert(offsetof(ORKA_NVME_PCIE_ERROR_INFO, AER) == 16, "AER");

// Sanitize Status log page (81h), 512 bytes. Estimated times are seconds;
// FFFFFFFFh means no estimate.
struct ORKA_NVME_LOGPAGE_81_DATA {
    le16 SPROG;   // progress, in 1/65536 parts of the operation
    le16 SSTAT;   // SSTAT_STATUS, SSTAT_PASSES, SSTAT_GDE
    le32 SCDW10;  // command dword 10 of the Sanitize command that started the operation
    le32 ETO;     // overwrite
    le32 ETBE;    // block erase
    le32 ETCE;    // crypto erase
    le32 ETOND;   // overwrite, no-deallocate
    le32 ETBEND;  // block erase, no-deallocate
    le32 ETCEND;  // crypto erase, no-deallocate
    unsigned char rsvd32[480];
};
constexpr BitField SSTAT_STATUS{0, 3};
constexpr BitField SSTAT_PASSES{3, 5};
constexpr BitField SSTAT_GDE{8, 1};
constexpr unsigned int SANITIZE_NEVER = 0;
constexpr unsigned int SANITIZE_COMPLETED = 1;
constexpr unsigned int SANITIZE_IN_PROGRESS = 2;
constexpr unsigned int SANITIZE_FAILED = 3;
constexpr unsigned int SANITIZE_COMPLETED_NO_DEALLOCATE = 4;
constexpr unsigned int SANITIZE_NO_ESTIMATE = 0xFFFFFFFF;

static_assert(sizeof(ORKA_NVME_LOGPAGE_81_DATA) == LOGPAGE_81_LENGTH, "sanitize status log size");
static_assert(offsetof(ORKA_NVME_LOGPAGE_81_DATA, SPROG) == 0, "SPROG");
static_assert(offsetof(ORKA_NVME_LOGPAGE_81_DATA, SSTAT) == 2, "SSTAT");
static_assert(offsetof(ORKA_NVME_LOGPAGE_81_DATA, SCDW10) == 4, "SCDW10");
static_assert(offsetof(ORKA_NVME_LOGPAGE_81_DATA, ETO) == 8, "ETO");
static_assert(offsetof(ORKA_NVME_LOGPAGE_81_DATA, ETBE) == 12, "ETBE");
static_assert(offsetof(ORKA_NVME_LOGPAGE_81_DATA, ETCE) == 16, "ETCE");
static_assert(offsetof(ORKA_NVME_LOGPAGE_81_DATA, ETOND) == 20, "ETOND");
static_assert(offsetof(ORKA_NVME_LOGPAGE_81_DATA, ETBEND) == 24, "ETBEND");
static_assert(offsetof(ORKA_NVME_LOGPAGE_81_DATA, ETCEND) == 28, "ETCEND");

#pragma pack(pop)

// ---------------------------------------------------------------------------
// On-device layouts: Get Features data buffers
// ---------------------------------------------------------------------------

constexpr unsigned int FEATURE_0C_LENGTH = 256;
constexpr unsigned int FEATURE_0D_LENGTH = 4096;
constexpr unsigned int FEATURE_0E_LENGTH = 8;

#pragma pack(push, 1)

// Autonomous Power State Transition (feature 0Ch): one 8-byte entry per power
// state, MAX_POWER_STATES of them in the 256-byte buffer.
struct ORKA_NVME_APST_ENTRY {
    le32 ITPS_ITPT;  // APST_ITPS, APST_ITPT
    unsigned char rsvd4[4];
};
constexpr BitField APST_ITPS{3, 5};
constexpr BitField APST_ITPT{8, 24};

static_assert(sizeof(ORKA_NVME_APST_ENTRY) * MAX_POWER_STATES == FEATURE_0C_LENGTH, "APST entries");
static_assert(offsetof(ORKA_NVME_APST_ENTRY, ITPS_ITPT) == 0, "ITPS_ITPT");

// Host Memory Buffer attributes (feature 0Dh): the leading 16 bytes of the buffer.
struct ORKA_NVME_FEATURE_0D_DATA {
    le32 HSIZE;   // memory page size units
    le32 HMDLAL;  // descriptor list address, low
    le32 HMDLAU;  // descriptor list address, high
    le32 HMDLEC;  // descriptor list entries
};
static_assert(sizeof(ORKA_NVME_FEATURE_0D_DATA) == 16, "host memory buffer size");
static_assert(offsetof(ORKA_NVME_FEATURE_0D_DATA, HMDLAL) == 4, "HMDLAL");
static_assert(offsetof(ORKA_NVME_FEATURE_0D_DATA, HMDLAU) == 8, "HMDLAU");
static_assert(offsetof(ORKA_NVME_FEATURE_0D_DATA, HMDLEC) == 12, "HMDLEC");

// Timestamp (feature 0Eh), 8 bytes.
struct ORKA_NVME_FEATURE_0E_DATA {
    unsigned char TIMESTAMP[6];  // milliseconds, little-endian
    unsigned char ATTRIBUTES;    // TIMESTAMP_SYNCH, TIMESTAMP_ORIGIN
    unsigned char rsvd7;
};
constexpr BitField TIMESTAMP_SYNCH{0, 1};
constexpr BitField TIMESTAMP_ORIGIN{1, 3};
static_assert(sizeof(ORKA_NVME_FEATURE_0E_DATA) == FEATURE_0E_LENGTH, "timestamp size");
static_assert(offsetof(ORKA_NVME_FEATURE_0E_DATA, ATTRIBUTES) == 6, "timestamp attributes");

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

// Every parameter name the tool may report, grouped by source. A "#" stands for
// an instance number (power state, namespace, LBA format, sensor, slot, test
// result, LBA range, interrupt vector); ExpandParameterCatalogue turns those
// rows into numbered names. Descriptions of feature parameters begin with the
// feature number. A few texts are irregular on purpose and must stay as they
// are: "Disable Normal (DN)" has the source "Get Feature 0h", the two
// predictable latency rows carry the source "Get Feature 12h" while their
// descriptions name features 13h and 14h.
// clang-format off
inline constexpr CatalogueRow CATALOGUE_ROWS[] = {
    // Calculated
    {"Model", "Calculated", "Model number with whitespace trimmed"},
    {"Model No Spaces", "Calculated", "Model number trimmed and spaces replaced"},
    {"Unique Description", "Calculated", "Unique combination of model, size, and location"},
    {"Health", "Calculated", "Health of device based on critical warnings, media errors, throttling"},
    {"Temp Health", "Calculated", "Health of device temperature based on throttling"},
    {"Highest Version Detected", "Calculated", "Highest NVMe version detected based on supported features"},
    {"Controller Vendor", "Calculated", "Controller vendor from PCI lookup: https://pcisig.com/membership/member-companies"},
    {"Subsystem Vendor", "Calculated", "Subsystem vendor from PCI lookup: https://pcisig.com/membership/member-companies"},
    {"OS Location", "Calculated", "Drive location reported by the Operating System"},
    {"Transport", "Calculated", "How the host reaches the controller: pcie, tcp, rdma, fc or loop"},
    {"Transport Address", "Calculated", "Address of the controller on its transport: PCI address, or target address and service of a fabrics controller"},
    {"Size", "Calculated", "Total calculated size in bytes"},
    {"Size in GiB", "Calculated", "Total calculated size in GiB (1024*1024*1024)"},
    {"Size in GB", "Calculated", "Total calculated size in GB (1000*1000*1000)"},
    {"Size in TB", "Calculated", "Total calculated size in TB (1000*1000*1000*1000)"},
    {"Driver", "Calculated", "OS driver information"},
    {"Host Timestamp", "Calculated", "Host number of milliseconds since midnight, 01-Jan-1970, UTC"},
    {"Host Timestamp Decoded", "Calculated", "Host date and time"},
    {"Host Power Source", "Calculated", "Current host power source, battery or AC"},
    {"Windows Power Plan", "Calculated", "Name of active Windows OS Power Plan"},
    {"Windows Power NVMe Timeout 1 (DC)", "Calculated", "Windows OS Power Setting. Timeout to transition NVMe to first lower power state when host on battery power"},
    {"Windows Power NVMe Timeout 2 (DC)", "Calculated", "Windows OS Power Setting. Timeout to transition NVMe to second lower power state when host on battery power"},
    {"Windows Power NVMe Latency 1 (DC)", "Calculated", "Windows OS Power Setting. After timeout 1, change to lowest power state with entry+exit latency less than this when host on battery power"},
    {"Windows Power NVMe Latency 2 (DC)", "Calculated", "Windows OS Power Setting. After timeout 2, change to lowest power state with entry+exit latency less than this when host on battery power"},
    {"Windows Power NOPPME (DC)", "Calculated", "Windows OS power setting for NOPPME when host on battery power"},
    {"Windows Power ASPM (DC)", "Calculated", "Windows OS Power Setting for PCIe ASPM when host on battery power"},
    {"Windows Power NVMe Timeout 1 (AC)", "Calculated", "Windows OS Power Setting. Timeout to transition NVMe to first lower power state when host on AC power"},
    {"Windows Power NVMe Timeout 2 (AC)", "Calculated", "Windows OS Power Setting. Timeout to transition NVMe to second lower power state when host on AC power"},
    {"Windows Power NVMe Latency 1 (AC)", "Calculated", "Windows OS Power Setting. After timeout 1, change to lowest power state with entry+exit latency less than this when host on AC power"},
    {"Windows Power NVMe Latency 2 (AC)", "Calculated", "Windows OS Power Setting. After timeout 2, change to lowest power state with entry+exit latency less than this when host on AC power"},
    {"Windows Power NOPPME (AC)", "Calculated", "Windows OS power setting for NOPPME when host on AC power"},
    {"Windows Power ASPM (AC)", "Calculated", "Windows OS Power Setting for PCIe ASPM when host on AC power"},
    {"Namespace # Active LBA Size", "Calculated", "Size in bytes of the active LBA for Namespace"},
    {"PCI Rated Bandwidth", "Calculated", "Bandwidth in GT/s device is rated for, product of speed and width"},
    {"PCI Bandwidth", "Calculated", "Bandwidth in GT/s, product of speed and width"},
    {"PCI Device ID", "Calculated", "PCI device identifier assigned for the device"},
    {"PCI Rated Width", "Calculated", "Maximum PCI bus width the device is rated for"},
    {"PCI Width", "Calculated", "Current PCI bus width in lanes"},
    {"PCI Rated Speed", "Calculated", "Maximum PCI bus speed the device is rated for"},
    {"PCI Speed", "Calculated", "Current PCI bus speed"},
    {"PCI Location", "Calculated", "PCI bus address in the system"},
    {"Root PCI Device ID", "Calculated", "PCI device identifier assigned for the root device"},
    {"Root PCI Vendor ID", "Calculated", "PCI vendor identifier assigned for the root device"},
    {"Root PCI Location", "Calculated", "PCI bus address for the root device"},
    // Identify Controller
    {"PCI Vendor ID (VID)", "Identify Controller", "Vendor identifier assigned by the PCI-SIG to the maker of the controller"},
    {"PCI Subsystem Vendor ID (SSVID)", "Identify Controller", "Subsystem vendor identifier assigned by the PCI-SIG to the maker of the subsystem"},
    {"Serial Number (SN)", "Identify Controller", "Serial number for the NVM subsystem assigned by the vendor"},
    {"Model Number (MN)", "Identify Controller", "Model number for the NVM subsystem assigned by the vendor"},
    {"Firmware Revision (FR)", "Identify Controller", "Revision of the firmware currently active on the controller"},
    {"Recommended Arbitration Burst (RAB)", "Identify Controller", "Recommended number of commands, as a power of two, to fetch from a submission queue per arbitration turn"},
    {"IEEE OUI Identifier (IEEE)", "Identify Controller", "Organization Unique Identifier (OUI) for the controller vendor: https://regauth.standards.ieee.org/standards-ra-web/pub/view.html#registries"},
    {"NVM Subsystem PCIe Ports", "Identify Controller", "Whether the NVM subsystem has a single PCI Express port or more than one"},
    {"NVM Subsystem Controllers", "Identify Controller", "Whether the NVM subsystem may hold two or more controllers"},
    {"Associated Function Type", "Identify Controller", "Whether the controller is associated with an SR-IOV virtual function or a PCI function"},
    {"Asymmetric Namespace Access Reporting", "Identify Controller", "Support for Asymmetric Namespace Access (ANA) reporting"},
    {"Maximum Data Transfer Size (MDTS)", "Identify Controller", "Largest data transfer of one command, as a power of two in units of the minimum memory page size"},
    {"Controller ID (CNTLID)", "Identify Controller", "Identifier of this controller within the NVM subsystem"},
    {"Version (VER)", "Identify Controller", "NVMe version: https://nvmexpress.org/specifications/"},
    {"RTD3 Resume Latency (RTD3R)", "Identify Controller", "Expected time to become ready after resuming from runtime D3 (RTD3), in microseconds"},
    {"RTD3 Entry Latency (RTD3E)", "Identify Controller", "Typical time to enter runtime D3 (RTD3) after a shutdown notification, in microseconds"},
    {"Firmware Activation Notices", "Identify Controller", "Support for the Firmware Activation Starting asynchronous event"},
    {"Namespace Attribute Notices", "Identify Controller", "Support for the Namespace Attribute Changed asynchronous event"},
    {"Asymmetric Namespace Access Change Notices", "Identify Controller", "Support for the Asymmetric Namespace Access Change asynchronous event"},
    {"Predictable Latency Event Log Change Notices", "Identify Controller", "Support for the Predictable Latency Event Aggregate Log Change asynchronous event"},
    {"LBA Status Information Notices", "Identify Controller", "Support for the LBA Status Information Alert asynchronous event"},
    {"Endurance Group Event Log Page Change Notices", "Identify Controller", "Support for the Endurance Group Event Aggregate Log Page Change asynchronous event"},
    {"128-bit Host Identifier", "Identify Controller", "Support for a 128-bit host identifier"},
    {"Non-Operational Power State Permissive Mode", "Identify Controller", "Support for the Non-Operational Power State Config feature"},
    {"NVM Sets", "Identify Controller", "Support for NVM Sets"},
    {"Read Recovery Levels", "Identify Controller", "Support for Read Recovery Levels"},
    {"Endurance Groups", "Identify Controller", "Support for Endurance Groups"},
    {"Predictable Latency Mode", "Identify Controller", "Support for Predictable Latency Mode"},
    {"Traffic Based Keep Alive Support", "Identify Controller", "Support for restarting the keep alive timer on received commands (traffic based keep alive)"},
    {"Namespace Granularity", "Identify Controller", "Support for reporting namespace granularities in the Namespace Granularity List"},
    {"SQ Associations", "Identify Controller", "Support for associating I/O submission queues with NVM Sets"},
    {"UUID List", "Identify Controller", "Support for reporting a UUID List"},
    {"Read Recovery Levels Supported (RRLS)", "Identify Controller", "Bitmap of the read recovery levels supported, bit n set for level n"},
    {"Controller Type (CNTRLTYPE)", "Identify Controller", "Type of controller: I/O, discovery or administrative"},
    {"FRU Globally Unique Identifier (FGUID)", "Identify Controller", "Globally unique identifier of the field replaceable unit (FRU) holding the controller"},
    {"Command Retry Delay Time 1 (CRDT1)", "Identify Controller", "Delay before retrying a command whose completion selects retry delay time 1, in units of 100 milliseconds"},
    {"Command Retry Delay Time 2 (CRDT2)", "Identify Controller", "Delay before retrying a command whose completion selects retry delay time 2, in units of 100 milliseconds"},
    {"Command Retry Delay Time 3 (CRDT3)", "Identify Controller", "Delay before retrying a command whose completion selects retry delay time 3, in units of 100 milliseconds"},
    {"NVMe Storage Device (NVMESD)", "Identify Controller", "Whether the NVM subsystem is part of an NVMe storage device"},
    {"NVMe Enclosure (NVMEE)", "Identify Controller", "Whether the NVM subsystem is part of an NVMe enclosure"},
    {"VPD Write Cycles Remaining (VWCR)", "Identify Controller", "Number of write cycles left for the vital product data (VPD) of the NVM subsystem"},
    {"PCIe Management Endpoint (PCIEME)", "Identify Controller", "Whether the NVM subsystem has a management endpoint on a PCI Express port"},
    {"SMBus Management Endpoint (SMBUSME)", "Identify Controller", "Whether the NVM subsystem has a management endpoint on an SMBus/I2C port"},
    {"Security Send and Security Receive Command", "Identify Controller", "Support for the Security Send and Security Receive admin commands"},
    {"Format NVM Command", "Identify Controller", "Support for the Format NVM admin command"},
    {"Firmware Commit and Image Download Commands", "Identify Controller", "Support for the Firmware Commit and Firmware Image Download admin commands"},
    {"Namespace Management and Attachment Commands", "Identify Controller", "Support for the Namespace Management and Namespace Attachment admin commands"},
    {"Device Self-test Command", "Identify Controller", "Support for the Device Self-test admin command"},
    {"Directive Send and Directive Receive Commands", "Identify Controller", "Support for the Directive Send and Directive Receive admin commands"},
    {"NVME MI Send/Receive Commands", "Identify Controller", "Support for the NVMe-MI Send and NVMe-MI Receive admin commands"},
    {"Virtualization Mgt Command", "Identify Controller", "Support for the Virtualization Management admin command"},
    {"Doorbell Buffer Config Command", "Identify Controller", "Support for the Doorbell Buffer Config admin command"},
    {"Get LBA Status capability", "Identify Controller", "Support for the Get LBA Status admin command"},
    {"Abort Command Limit (ACL)", "Identify Controller", "Largest number of Abort commands the controller handles at the same time"},
    {"Asynchronous Event Request Limit (AERL)", "Identify Controller", "Largest number of Asynchronous Event Request commands the controller keeps outstanding"},
    {"Firmware Activation Without Reset", "Identify Controller", "Support for activating a firmware image without a reset"},
    {"Firmware Slots", "Identify Controller", "Number of firmware slots the controller supports"},
    {"Firmware Slot 1 Read Status", "Identify Controller", "Whether firmware slot 1 is read only or may be written"},
    {"SMART/Health Log Page per Namespace", "Identify Controller", "Support for the SMART / Health Information log page for a single namespace"},
    {"Commands Supported and Effects Log Page", "Identify Controller", "Support for the Commands Supported and Effects log page"},
    {"Extended Data for Get Log Page", "Identify Controller", "Support for log page offsets and 32-bit dword counts in the Get Log Page command"},
    {"Telemetry Log Notices", "Identify Controller", "Support for the Telemetry Host-Initiated and Telemetry Controller-Initiated log pages and their notices"},
    {"Persistent Event Log", "Identify Controller", "Support for the Persistent Event log page"},
    {"Error Log Page Entries (ELPE)", "Identify Controller", "Number of Error Information log entries the controller keeps"},
    {"Number of Power States Support (NPSS)", "Identify Controller", "Number of power states the controller supports"},
    {"Admin Vendor Specific command handling", "Identify Controller", "Whether all admin vendor specific commands use the standard command format"},
    {"Autonomous Power State Transition", "Identify Controller", "Support for autonomous power state transitions"},
    {"Warning Composite Temperature Threshold (WCTEMP)", "Identify Controller", "Composite temperature at or above which the controller is in a warning overheat condition"},
    {"Critical Composite Temperature Threshold (CCTEMP)", "Identify Controller", "Composite temperature at or above which the controller is in a critical overheat condition that may stop normal operation"},
    {"Maximum Time for Firmware Activation (MTFA)", "Identify Controller", "Longest time the controller may suspend command processing to activate a firmware image"},
    {"Host Memory Buffer Preferred Size (HMPRE)", "Identify Controller", "Preferred size of the host memory buffer, in 4 KiB units"},
    {"Host Memory Buffer Minimum Size (HMMIN)", "Identify Controller", "Smallest host memory buffer the controller can use, in 4 KiB units"},
    {"Total NVM Capacity (TNVMCAP)", "Identify Controller", "Total NVM capacity of the NVM subsystem in bytes"},
    {"Unallocated NVM Capacity (UNVMCAP)", "Identify Controller", "NVM capacity of the NVM subsystem not allocated to any namespace, in bytes"},
    {"Replay Protected Memory Blocks (RPMBS)", "Identify Controller", "Support for Replay Protected Memory Block (RPMB) targets"},
    {"Number of RPMB Units", "Identify Controller", "Number of Replay Protected Memory Block targets the controller supports"},
    {"RPMB Authentication Method", "Identify Controller", "Method used to authenticate access to the RPMB targets"},
    {"RPMB Total Size", "Identify Controller", "Size of each RPMB target, in 128 KiB units"},
    {"RPMB Access Size", "Identify Controller", "Largest size of one RPMB data transfer, in 512 byte units"},
    {"Extended Device Self-test Time (EDSTT)", "Identify Controller", "Nominal time in minutes for an extended device self-test to complete"},
    {"One Self-Test", "Identify Controller", "Whether the NVM subsystem runs only one device self-test at a time or one per controller"},
    {"Firmware Update Granularity (FWUG)", "Identify Controller", "Size and alignment required for each firmware image download, in 4 KiB units"},
    {"Keep Alive Support (KAS)", "Identify Controller", "Granularity of the keep alive timer in units of 100 milliseconds; 0 when keep alive is not supported"},
    {"Host Controlled Thermal Management (HCTMA)", "Identify Controller", "Support for host controlled thermal management"},
    {"Minimum Thermal Management Temperature (MNTMT)", "Identify Controller", "Lowest temperature the host may set as a thermal management temperature"},
    {"Maximum Thermal Management Temperature (MXTMT)", "Identify Controller", "Highest temperature the host may set as a thermal management temperature"},
    {"Overwrite Sanitize", "Identify Controller", "Support for the overwrite sanitize operation"},
    {"Block Erase Sanitize", "Identify Controller", "Support for the block erase sanitize operation"},
    {"Crypto Erase Sanitize", "Identify Controller", "Support for the crypto erase sanitize operation"},
    {"No-Deallocate Inhibited (NDI)", "Identify Controller", "Whether the controller declines to honour the No-Deallocate After Sanitize request of a sanitize operation"},
    {"No-Deallocate Modifies Media After Sanitize (NODMMAS)", "Identify Controller", "Whether media is modified after a sanitize operation that asked for No-Deallocate After Sanitize"},
    {"Host Memory Buffer Minimum Descriptor Entry Size (HMMINDS)", "Identify Controller", "Smallest size of one host memory buffer descriptor entry, in 4 KiB units"},
    {"Host Memory Maximum Descriptors Entries (HMMAXD)", "Identify Controller", "Largest number of descriptor entries the controller supports for the host memory buffer"},
    {"NVM Set Identifier Maximum (NSETIDMAX)", "Identify Controller", "Highest NVM Set identifier in the NVM subsystem"},
    {"Endurance Group Identifier Maximum (ENDGIDMAX)", "Identify Controller", "Highest Endurance Group identifier in the NVM subsystem"},
    {"ANA Transition Time (ANATT)", "Identify Controller", "Longest time in seconds for an ANA state transition to complete"},
    {"Report ANA Optimized state", "Identify Controller", "Support for reporting the ANA Optimized state"},
    {"Report ANA Non-Optimized state", "Identify Controller", "Support for reporting the ANA Non-Optimized state"},
    {"Report ANA Inaccessible state", "Identify Controller", "Support for reporting the ANA Inaccessible state"},
    {"Report ANA Persistent Loss state", "Identify Controller", "Support for reporting the ANA Persistent Loss state"},
    {"Report ANA Change state", "Identify Controller", "Support for reporting the ANA Change state"},
    {"Unchanged ANAGRPID", "Identify Controller", "Whether the ANA group identifier of a namespace stays the same while the namespace is attached"},
    {"Non-zero ANAGRPID", "Identify Controller", "Support for a non-zero ANA group identifier in the Namespace Management command"},
    {"ANA Group Identifier Maximum (ANAGRPMAX)", "Identify Controller", "Highest ANA group identifier the controller supports"},
    {"Number of ANA Group Identifiers (NANAGRPID)", "Identify Controller", "Number of ANA group identifiers the controller supports"},
    {"Persistent Event Log Size (PELS)", "Identify Controller", "Largest size of the Persistent Event log, in 64 KiB units"},
    {"Maximum Submission Queue Entry Size", "Identify Controller", "Largest submission queue entry size the controller supports, in bytes as a power of two"},
    {"Required Submission Queue Entry Size", "Identify Controller", "Submission queue entry size the controller requires, in bytes as a power of two"},
    {"Maximum Completion Queue Entry Size", "Identify Controller", "Largest completion queue entry size the controller supports, in bytes as a power of two"},
    {"Required Completion Queue Entry Size", "Identify Controller", "Completion queue entry size the controller requires, in bytes as a power of two"},
    {"Maximum Outstanding Commands (MAXCMD)", "Identify Controller", "Largest number of commands the controller processes at the same time for one queue"},
    {"Number of Namespaces (NN)", "Identify Controller", "Highest namespace identifier the controller supports"},
    {"Compare NVM Command", "Identify Controller", "Support for the Compare NVM command"},
    {"Write Uncorrectable NVM Command", "Identify Controller", "Support for the Write Uncorrectable NVM command"},
    {"Dataset Management NVM Command", "Identify Controller", "Support for the Dataset Management NVM command"},
    {"Write Zeroes NVM Command", "Identify Controller", "Support for the Write Zeroes NVM command"},
    {"Save/Select Fields in Features Command", "Identify Controller", "Support for the Save field of Set Features and the Select field of Get Features"},
    {"Reservations", "Identify Controller", "Support for reservations"},
    {"Timestamp Feature", "Identify Controller", "Support for the Timestamp feature"},
    {"Verify NVM Command", "Identify Controller", "Support for the Verify NVM command"},
    {"Compare and Write Fused Operation", "Identify Controller", "Support for the fused Compare and Write operation"},
    {"Format All Namespaces", "Identify Controller", "Whether a Format NVM command on any namespace formats every namespace of the NVM subsystem"},
    {"Secure Erase All Namespaces", "Identify Controller", "Whether a secure erase on any namespace erases every namespace of the NVM subsystem"},
    {"Crypto Erase", "Identify Controller", "Support for cryptographic erase as a secure erase"},
    {"Volatile Write Cache (VWC)", "Identify Controller", "Whether a volatile write cache is present"},
    {"Volatile Write Cache Flush All NSID", "Identify Controller", "Whether the Flush command accepts the broadcast namespace identifier FFFFFFFFh"},
    {"Atomic Write Unit Normal (AWUN)", "Identify Controller", "Number of logical blocks written atomically in normal operation, for every namespace"},
    {"Atomic Write Unit Power Fail (AWUPF)", "Identify Controller", "Number of logical blocks written atomically across a power fail or error, for every namespace"},
    {"Vendor Specific Command Configuration", "Identify Controller", "Whether all NVM vendor specific commands use the standard command format"},
    {"Write Protect Namespace States", "Identify Controller", "Support for the No Write Protect and Write Protect namespace states"},
    {"Write Protect Until Power Cycle", "Identify Controller", "Support for the Write Protect Until Power Cycle namespace state"},
    {"Permanent Write Protect", "Identify Controller", "Support for the Permanent Write Protect namespace state"},
    {"Atomic Compare & Write Unit (ACWU)", "Identify Controller", "Number of logical blocks written atomically by a Compare and Write fused operation, for every namespace"},
    {"SGL support in NVM command", "Identify Controller", "Support for Scatter Gather Lists (SGL) in NVM command set commands"},
    {"Keyed SGL Data Block descriptor", "Identify Controller", "Support for the Keyed SGL Data Block descriptor"},
    {"SGL Bit Bucket descriptor", "Identify Controller", "Support for the SGL Bit Bucket descriptor"},
    {"SGL byte aligned buffer of metadata", "Identify Controller", "Support for a byte aligned contiguous metadata buffer"},
    {"SGL command longer than the amount of data", "Identify Controller", "Support for SGLs whose total length exceeds the amount of data to transfer"},
    {"SGL - MPTR containing an SGL Descriptor", "Identify Controller", "Support for a metadata pointer (MPTR) addressing an SGL segment with a single SGL descriptor"},
    {"SGL - Address field specifies offset", "Identify Controller", "Support for an SGL descriptor Address field that holds an offset"},
    {"SGL - Transport SGL Data Block Descriptor", "Identify Controller", "Support for the Transport SGL Data Block descriptor"},
    {"Maximum Number Allowed Namespaces (MNAN)", "Identify Controller", "Largest number of namespaces the NVM subsystem supports"},
    {"NVM Subsystem NVMe Qualified Name (SUBNQN)", "Identify Controller", "NVMe Qualified Name that uniquely identifies the NVM subsystem"},
    {"Power State # Maximum Power (MP)", "Identify Controller", "Largest power drawn by the NVM subsystem in the power state, in watts"},
    {"Power State # Active Power (ACTP)", "Identify Controller", "Largest average power over 10 seconds in the power state under its active power workload, in watts"},
    {"Power State # Active Power Workload (APW)", "Identify Controller", "Workload under which the active power of the power state was measured"},
    {"Power State # Idle Power (IDLP)", "Identify Controller", "Typical power drawn by the NVM subsystem when idle in the power state, in watts"},
    {"Power State # Entry Latency (ENLAT)", "Identify Controller", "Longest time in microseconds to enter the power state"},
    {"Power State # Exit Latency (EXLAT)", "Identify Controller", "Longest time in microseconds to leave the power state"},
    {"Power State # Non-Operational State (NOPS)", "Identify Controller", "Whether the power state is non-operational, processing no I/O commands"},
    {"Power State # Relative Read Throughput (RRT)", "Identify Controller", "Read throughput rank of the power state, 0 being the best"},
    {"Power State # Relative Read Latency (RRL)", "Identify Controller", "Read latency rank of the power state, 0 being the best"},
    {"Power State # Relative Write Throughput (RWT)", "Identify Controller", "Write throughput rank of the power state, 0 being the best"},
    {"Power State # Relative Write Latency (RWL)", "Identify Controller", "Write latency rank of the power state, 0 being the best"},
    // Identify Namespace
    {"Namespace # Size", "Identify Namespace", "Namespace size in GB (1000*1000*1000 bytes), from its size in logical blocks and the block size in use"},
    {"Namespace # Size in GiB", "Identify Namespace", "Namespace size in GiB (1024*1024*1024 bytes), from its size in logical blocks and the block size in use"},
    {"Namespace # Size in LBA (NSZE)", "Identify Namespace", "Total size of the namespace in logical blocks"},
    {"Namespace # Capacity (NCAP)", "Identify Namespace", "Largest number of logical blocks that may be allocated in the namespace"},
    {"Namespace # Utilization (NUSE)", "Identify Namespace", "Number of logical blocks currently allocated in the namespace"},
    {"Namespace # Thin Provisioning", "Identify Namespace", "Support for thin provisioning, where the capacity reported may be less than the size"},
    {"Namespace # Atomic Writes", "Identify Namespace", "Whether the namespace defines its own atomic write units NAWUN, NAWUPF and NACWU"},
    {"Namespace # Logical Block Error", "Identify Namespace", "Support for the Deallocated or Unwritten Logical Block error in the namespace"},
    {"Namespace # NGUID/EUID Not Reused", "Identify Namespace", "Whether the NGUID and EUI64 of the namespace are never reused for another namespace"},
    {"Namespace # IO Optimize Fields", "Identify Namespace", "Whether the namespace reports the NPWG, NPWA, NPDG, NPDA and NOWS fields"},
    {"Namespace # Number of LBA Formats (NLBAF)", "Identify Namespace", "Number of LBA formats the namespace supports"},
    {"Namespace # Extended Data LBA", "Identify Namespace", "Whether metadata is transferred at the end of each logical block as an extended data LBA"},
    {"Namespace # Active LBA Format", "Identify Namespace", "Index of the LBA format the namespace is formatted with"},
    {"Namespace # Metadata Transfer Buffer", "Identify Namespace", "Support for metadata transferred in a separate buffer"},
    {"Namespace # Metadata Transfer Extended LBA", "Identify Namespace", "Support for metadata transferred as part of an extended data LBA"},
    {"Namespace # Protection Type 1", "Identify Namespace", "Support for end-to-end data protection Type 1"},
    {"Namespace # Protection Type 2", "Identify Namespace", "Support for end-to-end data protection Type 2"},
    {"Namespace # Protection Type 3", "Identify Namespace", "Support for end-to-end data protection Type 3"},
    {"Namespace # Protection First", "Identify Namespace", "Support for protection information in the first eight bytes of metadata"},
    {"Namespace # Protection Last", "Identify Namespace", "Support for protection information in the last eight bytes of metadata"},
    {"Namespace # Protection Information Enabled", "Identify Namespace", "End-to-end data protection type enabled for the namespace, if any"},
    {"Namespace # Protection Information First", "Identify Namespace", "Whether protection information sits in the first or the last eight bytes of metadata"},
    {"Namespace # Shared", "Identify Namespace", "Whether the namespace may be attached to two or more controllers at the same time"},
    {"Namespace # Persist Through Power Loss", "Identify Namespace", "Support for reservations that persist through a power loss"},
    {"Namespace # Write Exclusive Reservation", "Identify Namespace", "Support for the Write Exclusive reservation type"},
    {"Namespace # Exclusive Access Reservation", "Identify Namespace", "Support for the Exclusive Access reservation type"},
    {"Namespace # Write Exclusive Registrants Only Reservation", "Identify Namespace", "Support for the Write Exclusive - Registrants Only reservation type"},
    {"Namespace # Exclusive Access Registrants Only Reservation", "Identify Namespace", "Support for the Exclusive Access - Registrants Only reservation type"},
    {"Namespace # Write Exclusive All Registrants Reservation", "Identify Namespace", "Support for the Write Exclusive - All Registrants reservation type"},
    {"Namespace # Exclusive Access All Registrants Reservation", "Identify Namespace", "Support for the Exclusive Access - All Registrants reservation type"},
    {"Namespace # Ignore Existing Key Specification", "Identify Namespace", "Which revision's meaning of Ignore Existing Key the reservation commands follow"},
    {"Namespace # Format Progress Indicator", "Identify Namespace", "Support for reporting the progress of a format of the namespace"},
    {"Namespace # Format Percent Complete", "Identify Namespace", "Percentage of the namespace that remains to be formatted"},
    {"Namespace # Deallocate Logical Block Value", "Identify Namespace", "Values read back from a deallocated logical block"},
    {"Namespace # Deallocate Bit in Write Zeros", "Identify Namespace", "Support for the Deallocate bit of the Write Zeroes command"},
    {"Namespace # Deallocate Guard Field", "Identify Namespace", "Whether the Guard field of a deallocated block is the CRC of the data read"},
    {"Namespace # Atomic Write Unit Normal (NAWUN)", "Identify Namespace", "Number of logical blocks written atomically in normal operation for this namespace"},
    {"Namespace # Atomic Write Unit Power Fail (NAWUPF)", "Identify Namespace", "Number of logical blocks written atomically across a power fail or error for this namespace"},
    {"Namespace # Atomic Compare & Write Unit (NACWU)", "Identify Namespace", "Number of logical blocks written atomically by a Compare and Write fused operation for this namespace"},
    {"Namespace # Atomic Boundary Size Normal (NABSN)", "Identify Namespace", "Size in logical blocks of the atomic boundary for normal operation"},
    {"Namespace # Atomic Boundary Offset (NABO)", "Identify Namespace", "Logical block address of the first atomic boundary"},
    {"Namespace # Optimal IO Boundary (NOIOB)", "Identify Namespace", "Boundary in logical blocks that I/O should not cross for best performance"},
    {"Namespace # Atomic Boundary Size Power Fail (NABSPF)", "Identify Namespace", "Size in logical blocks of the atomic boundary across a power fail or error"},
    {"Namespace # NVM Capacity (NVMCAP)", "Identify Namespace", "Total size of the NVM allocated to the namespace, in bytes"},
    {"Namespace # Preferred Write Granularity (NPWG)", "Identify Namespace", "Smallest recommended size of a write, in logical blocks"},
    {"Namespace # Preferred Write Alignment (NPWA)", "Identify Namespace", "Recommended alignment of writes, in logical blocks"},
    {"Namespace # Preferred Deallocate Granularity (NPDG)", "Identify Namespace", "Recommended size of a deallocation, in logical blocks"},
    {"Namespace # Preferred Deallocate Alignment (NPDA)", "Identify Namespace", "Recommended alignment of deallocations, in logical blocks"},
    {"Namespace # Optimal Write Size (NOWS)", "Identify Namespace", "Size of a write that gives the best performance, in logical blocks"},
    {"Namespace # ANA Group Identifier (ANAGRPID)", "Identify Namespace", "ANA group the namespace belongs to"},
    {"Namespace # Write Protected", "Identify Namespace", "Whether the namespace is currently write protected"},
    {"Namespace # NVM Set Identifier (NVMSETID)", "Identify Namespace", "NVM Set the namespace belongs to"},
    {"Namespace # Endurance Group Identifier (ENDGID)", "Identify Namespace", "Endurance Group the namespace belongs to"},
    {"Namespace # Globally Unique Identifier (NGUID)", "Identify Namespace", "128-bit globally unique identifier assigned to the namespace"},
    {"Namespace # IEEE Extended Unique Identifier (EUI64)", "Identify Namespace", "64-bit IEEE extended unique identifier assigned to the namespace"},
    {"Namespace # LBA # Data Size (LBADS)", "Identify Namespace", "Logical block size of the LBA format in bytes, as a power of two"},
    {"Namespace # LBA # Relative Performance (RP)", "Identify Namespace", "Performance of the LBA format relative to the other formats"},
    {"Namespace # LBA # Metadata Size (MS)", "Identify Namespace", "Number of metadata bytes per logical block in the LBA format"},
    // Log Page 1
    {"Total Errors", "Log Page 1", "Total number of error entries in Log Page 1"},
    // Log Page 2
    {"Available Space Below Threshold", "Log Page 2", "Critical warning: the available spare capacity has fallen below its threshold"},
    {"Temperature Over/Under Threshold", "Log Page 2", "Critical warning: a temperature is above its over temperature threshold or below its under temperature threshold"},
    {"NVM Subsystem Unreliable", "Log Page 2", "Critical warning: reliability is degraded by media errors or an internal error"},
    {"Media in Read-only", "Log Page 2", "Critical warning: the media has been placed in read only mode"},
    {"Volatile Memory Backup Failed", "Log Page 2", "Critical warning: the volatile memory backup device has failed"},
    {"Persistent Memory Unreliable", "Log Page 2", "Critical warning: the Persistent Memory Region has become read only or unreliable"},
    {"Composite Temperature", "Log Page 2", "Current composite temperature of the controller and its namespaces in degrees Celsius"},
    {"Available Spare", "Log Page 2", "Remaining spare capacity as a normalized percentage"},
    {"Available Spare Threshold", "Log Page 2", "Available spare percentage below which a critical warning is raised"},
    {"Percentage Used", "Log Page 2", "Vendor specific estimate of the percentage life used, can exceed 100%"},
    {"EG Critical Warnings", "Log Page 2", "Summary of the critical warnings of all Endurance Groups"},
    {"EG Available Space Below Threshold", "Log Page 2", "Endurance Group critical warning: an Endurance Group's available spare capacity is below its threshold"},
    {"EG NVM Subsystem Unreliable", "Log Page 2", "Endurance Group critical warning: an Endurance Group's reliability is degraded by media errors or an internal error"},
    {"EG Media in Read-only", "Log Page 2", "Endurance Group critical warning: an Endurance Group has been placed in read only mode"},
    {"Data Units Read", "Log Page 2", "Number of 512,000 byte data units read from the controller; does not include metadata"},
    {"Data Read", "Log Page 2", "Data read from the controller in GB (1000*1000*1000), from the data units read"},
    {"Data Units Written", "Log Page 2", "Number of 512,000 byte data units written to the controller; does not include metadata"},
    {"Data Written", "Log Page 2", "Data written to the controller in GB (1000*1000*1000), from the data units written"},
    {"Data Written TB", "Log Page 2", "Data written to the controller in TB (1000*1000*1000*1000), from the data units written"},
    {"Host Read Commands", "Log Page 2", "Number of read commands completed by the controller"},
    {"Host Write Commands", "Log Page 2", "Number of write commands completed by the controller"},
    {"Controller Busy Time", "Log Page 2", "Minutes the controller has been busy with I/O commands"},
    {"Power Cycles", "Log Page 2", "Number of power cycles"},
    {"Power On Hours", "Log Page 2", "Number of hours powered on; time in non-operational power states may be left out"},
    {"Unsafe Shutdowns", "Log Page 2", "Number of times power was lost without a shutdown notification"},
    {"Media and Data Integrity Errors", "Log Page 2", "Number of unrecovered data integrity errors detected by the controller"},
    {"Number of Error Information Log Entries", "Log Page 2", "Number of Error Information log entries over the life of the controller"},
    {"Warning Composite Temperature Time", "Log Page 2", "Minutes the composite temperature has been at or above the warning threshold (WCTEMP)"},
    {"Critical Composite Temperature Time", "Log Page 2", "Minutes the composite temperature has been at or above the critical threshold (CCTEMP)"},
    {"Temperature Sensor #", "Log Page 2", "Current temperature of the temperature sensor in degrees Celsius"},
    {"Thermal Management Temperature 1 Count", "Log Page 2", "Number of times the controller has started light throttling for Thermal Management Temperature 1"},
    {"Thermal Management Temperature 2 Count", "Log Page 2", "Number of times the controller has started heavy throttling for Thermal Management Temperature 2"},
    {"Thermal Management Temperature 1 Time", "Log Page 2", "Seconds the controller has spent light throttling for Thermal Management Temperature 1"},
    {"Thermal Management Temperature 2 Time", "Log Page 2", "Seconds the controller has spent heavy throttling for Thermal Management Temperature 2"},
    {"Seconds Throttled", "Log Page 2", "Total seconds spent above the warning or critical temperature and in thermal management"},
    {"Minutes Throttled", "Log Page 2", "Total minutes spent above the warning or critical temperature and in thermal management"},
    {"Percent Throttled", "Log Page 2", "Percentage of the power on hours spent throttled"},
    // Log Page 3
    {"Firmware Pending Slot", "Log Page 3", "Firmware slot that will be activated at the next controller reset"},
    {"Firmware Active Slot", "Log Page 3", "Firmware slot from which the running firmware was loaded"},
    {"Firmware Slot # Revision", "Log Page 3", "Revision of the firmware image held in the firmware slot, empty when the slot is empty"},
    // Log Page 5
    {"Supported Admin Commands", "Log Page 5", "Number of Admin commands supported in Log Page 5"},
    {"Supported IO Commands", "Log Page 5", "Number of IO commands supported in Log Page 5"},
    // Log Page 6
    {"Current Self-Test Operation", "Log Page 6", "Device self-test operation in progress, if any"},
    {"Current Self-Test Completion", "Log Page 6", "Percentage complete of the device self-test in progress"},
    {"Self-Test # Result", "Log Page 6", "Outcome of the self-test: passed, failed or aborted"},
    {"Self-Test # Result Code", "Log Page 6", "Result code of the self-test as reported in Log Page 6"},
    {"Self-Test # Type", "Log Page 6", "Type of Self-Test (short, extended or vendor)"},
    {"Self-Test # Segment Number", "Log Page 6", "Number of the segment in which the self-test failed"},
    {"Self-Test # Namespace ID", "Log Page 6", "Namespace in which the self-test found a failure"},
    {"Self-Test # Failing LBA", "Log Page 6", "Logical block address of the first failure found by the self-test"},
    {"Self-Test # Status Code Type", "Log Page 6", "Status code type of the error that made the self-test fail"},
    {"Self-Test # Status Code", "Log Page 6", "Status code of the error that made the self-test fail"},
    {"Self-Test # Power On Hours", "Log Page 6", "Power on hours of the controller when the self-test completed"},
    {"Current Number Of Self-Tests", "Log Page 6", "Number of self-test results held in Log Page 6"},
    {"Number Of Failed Self-Tests", "Log Page 6", "Number of failed self-test results held in Log Page 6"},
    // Log Page D
    {"Total Events", "Log Page D", "Number of events recorded in the Persistent Event log"},
    {"Power Cycle Count", "Log Page D", "Number of power cycles at the time the Persistent Event log was read"},
    {"Event Log Size", "Log Page D", "Total length of the Persistent Event log in bytes"},
    {"Event Log Time", "Log Page D", "Date and time of the Persistent Event log header timestamp"},
    {"Event Log Timestamp", "Log Page D", "Timestamp of the Persistent Event log header in milliseconds"},
    {"Event Log Power On Hours", "Log Page D", "Power on hours at the time the Persistent Event log was read"},
    {"Suspect Persistent Events", "Log Page D", "Number of persistent events that point to a possible problem"},
    {"Critical Persistent Events", "Log Page D", "Number of persistent events that point to a critical problem"},
    {"SMART Snapshot Event Supported", "Log Page D", "Support for recording SMART / Health Log Snapshot events in the Persistent Event log"},
    {"Firmware Commit Event Supported", "Log Page D", "Support for recording Firmware Commit events in the Persistent Event log"},
    {"Timestamp Change Event Supported", "Log Page D", "Support for recording Timestamp Change events in the Persistent Event log"},
    {"Power On/Reset Event Supported", "Log Page D", "Support for recording Power-on or Reset events in the Persistent Event log"},
    {"Hardware Error Event Supported", "Log Page D", "Support for recording NVM Subsystem Hardware Error events in the Persistent Event log"},
    {"Change Namespace Event Supported", "Log Page D", "Support for recording Change Namespace events in the Persistent Event log"},
    {"Format NVM Start Event Supported", "Log Page D", "Support for recording Format NVM Start events in the Persistent Event log"},
    {"Format NVM Complete Event Supported", "Log Page D", "Support for recording Format NVM Completion events in the Persistent Event log"},
    {"Sanitize Start Event Supported", "Log Page D", "Support for recording Sanitize Start events in the Persistent Event log"},
    {"Sanitize Complete Event Supported", "Log Page D", "Support for recording Sanitize Completion events in the Persistent Event log"},
    {"Set Feature Event Supported", "Log Page D", "Support for recording Set Feature events in the Persistent Event log"},
    {"Telemetry Log Event Supported", "Log Page D", "Support for recording Telemetry Log Create events in the Persistent Event log"},
    {"Thermal Excursion Event Supported", "Log Page D", "Support for recording Thermal Excursion events in the Persistent Event log"},
    {"Vendor Specific Event Supported", "Log Page D", "Support for recording vendor specific events in the Persistent Event log"},
    {"TCG Defined Event Supported", "Log Page D", "Support for recording TCG defined events in the Persistent Event log"},
    {"PCIe Correctable Errors", "Log Page D", "Number of PCIe correctable error events in the Persistent Event log"},
    {"PCIe Uncorrectable Fatal Errors", "Log Page D", "Number of PCIe uncorrectable fatal error events in the Persistent Event log"},
    {"PCIe Uncorrectable Non-fatal Errors", "Log Page D", "Number of PCIe uncorrectable non-fatal error events in the Persistent Event log"},
    {"PCIe Link Status Change Events", "Log Page D", "Number of PCIe link status change events in the Persistent Event log"},
    {"PCIe Link Inactive Events", "Log Page D", "Number of PCIe link not active events in the Persistent Event log"},
    {"Controller Fatal Events", "Log Page D", "Number of controller fatal status events in the Persistent Event log"},
    {"Write Fault Errors", "Log Page D", "Number of write fault media errors in the Persistent Event log"},
    {"Unrecovered Read Errors", "Log Page D", "Number of unrecovered read media errors in the Persistent Event log"},
    {"End-to-end Check Errors", "Log Page D", "Number of end-to-end check media errors in the Persistent Event log"},
    {"Miscompare Errors", "Log Page D", "Number of miscompare media errors in the Persistent Event log"},
    {"Persistent Memory Unreliable Events", "Log Page D", "Number of SMART events in the Persistent Event log reporting the Persistent Memory Region unreliable"},
    {"Volatile Backup Memory Failure Events", "Log Page D", "Number of SMART events in the Persistent Event log reporting a volatile memory backup failure"},
    {"Media Read-only Events", "Log Page D", "Number of SMART events in the Persistent Event log reporting the media read only"},
    {"NVM Subsystem Unreliable Events", "Log Page D", "Number of SMART events in the Persistent Event log reporting the NVM subsystem unreliable"},
    // Get Feature 01h
    {"Arbitration Burst (AB)", "Get Feature 01h", "Feature 01h: Largest number of commands, as a power of two, the controller may fetch at once from a submission queue"},
    {"Low Priority Weight (LPW)", "Get Feature 01h", "Feature 01h: Number of commands taken from low priority queues in each weighted round robin turn"},
    {"Medium Priority Weight (MPW)", "Get Feature 01h", "Feature 01h: Number of commands taken from medium priority queues in each weighted round robin turn"},
    {"High Priority Weight (HPW)", "Get Feature 01h", "Feature 01h: Number of commands taken from high priority queues in each weighted round robin turn"},
    // Get Feature 02h
    {"Current Power State (PS)", "Get Feature 02h", "Feature 02h: Power state the controller is in"},
    {"Workload Hint (WH)", "Get Feature 02h", "Feature 02h: Type of workload the host expects, a hint for power management"},
    // Get Feature 03h
    {"Number of LBA Ranges (NUM)", "Get Feature 03h", "Feature 03h: Number of LBA ranges described by the LBA Range Type feature"},
    {"LBA Range # Type", "Get Feature 03h", "Feature 03h: Type of data held in the LBA range, such as filesystem, RAID, cache or page file"},
    {"LBA Range # Overwrite", "Get Feature 03h", "Feature 03h: Whether the LBA range may be overwritten"},
    {"LBA Range # Hidden", "Get Feature 03h", "Feature 03h: Whether the LBA range should be hidden from the operating system and applications"},
    {"LBA Range # Starting LBA", "Get Feature 03h", "Feature 03h: First logical block address of the LBA range"},
    {"LBA Range # Logical Blocks", "Get Feature 03h", "Feature 03h: Number of logical blocks in the LBA range"},
    {"LBA Range # Unique Identifier", "Get Feature 03h", "Feature 03h: Identifier that tells the LBA range apart from any other"},
    // Get Feature 04h
    {"Composite Temperature Under Threshold", "Get Feature 04h", "Feature 04h: Under temperature threshold of the composite temperature in degrees Celsius"},
    {"Composite Temperature Over Threshold", "Get Feature 04h", "Feature 04h: Over temperature threshold of the composite temperature in degrees Celsius"},
    {"Temperature Sensor # Over Threshold", "Get Feature 04h", "Feature 04h: Over temperature threshold of the temperature sensor in degrees Celsius"},
    {"Temperature Sensor # Under Threshold", "Get Feature 04h", "Feature 04h: Under temperature threshold of the temperature sensor in degrees Celsius"},
    // Get Feature 05h
    {"Time Limited Error Recovery (TLER)", "Get Feature 05h", "Feature 05h: Time limit for error recovery of commands that ask for limited retry, 0 meaning no limit"},
    {"Deallocated or Unwritten Logical Block Error Enable (DULBE)", "Get Feature 05h", "Feature 05h: Whether reading a deallocated or unwritten logical block is reported as an error"},
    // Get Feature 06h
    {"Volatile Write Cache Enable (WCE)", "Get Feature 06h", "Feature 06h: Whether the volatile write cache is enabled"},
    // Get Feature 07h
    {"Number of I/O Completion Queues Allocated (NCQA)", "Get Feature 07h", "Feature 07h: Number of I/O completion queues the controller has allocated"},
    {"Number of I/O Submission Queues Allocated (NSQA)", "Get Feature 07h", "Feature 07h: Number of I/O submission queues the controller has allocated"},
    // Get Feature 08h
    {"Aggregation Time (TIME)", "Get Feature 08h", "Feature 08h: Longest time the controller may delay an interrupt to gather completions"},
    {"Aggregation Threshold (THR)", "Get Feature 08h", "Feature 08h: Number of completion entries gathered per interrupt vector before an interrupt"},
    // Get Feature 09h
    {"Interrupt Vector # Coalescing Disable (CD)", "Get Feature 09h", "Feature 09h: Whether interrupt coalescing is disabled for the interrupt vector"},
    // Get Feature 0h
    {"Disable Normal (DN)", "Get Feature 0h", "Feature 0Ah: Whether the host has waived the normal atomic write units so that only AWUPF and NAWUPF apply"},
    // Get Feature 0Bh
    {"Endurance Group Aggregate Log Change Notices Enable", "Get Feature 0Bh", "Feature 0Bh: Whether an Endurance Group Event Aggregate Log Page Change asynchronous event is sent"},
    {"LBA Status Information Notices Enable", "Get Feature 0Bh", "Feature 0Bh: Whether an LBA Status Information Alert asynchronous event is sent"},
    {"Predictable Latency Aggregate Log Change Notices Enable", "Get Feature 0Bh", "Feature 0Bh: Whether a Predictable Latency Event Aggregate Log Change asynchronous event is sent"},
    {"Asymmetric Namespace Access Change Notices Enable", "Get Feature 0Bh", "Feature 0Bh: Whether an Asymmetric Namespace Access Change asynchronous event is sent"},
    {"Telemetry Log Notices Enable", "Get Feature 0Bh", "Feature 0Bh: Whether a Telemetry Log Changed asynchronous event is sent"},
    {"Firmware Activation Notices Enable", "Get Feature 0Bh", "Feature 0Bh: Whether a Firmware Activation Starting asynchronous event is sent"},
    {"Namespace Attribute Notices Enable", "Get Feature 0Bh", "Feature 0Bh: Whether a Namespace Attribute Changed asynchronous event is sent"},
    {"SMART Critical Warning Notices Enable", "Get Feature 0Bh", "Feature 0Bh: Bitmap of the SMART / Health critical warnings that send an asynchronous event"},
    // Get Feature 0Ch
    {"Autonomous Power State Transition Enable (APSTE)", "Get Feature 0Ch", "Feature 0Ch: Whether autonomous power state transitions are enabled"},
    {"Power State # Idle Transition Power State (ITPS)", "Get Feature 0Ch", "Feature 0Ch: Non-operational power state entered after idling in the power state"},
    {"Power State # Idle Time Prior to Transition (ITPT)", "Get Feature 0Ch", "Feature 0Ch: Idle time in milliseconds in the power state before an autonomous transition"},
    // Get Feature 0Dh
    {"Enable Host Memory (EHM)", "Get Feature 0Dh", "Feature 0Dh: Whether the controller may use the host memory buffer"},
    {"Host Memory Buffer Size (HSIZE)", "Get Feature 0Dh", "Feature 0Dh: Size of the host memory buffer in memory page size units"},
    {"Host Memory Descriptor List Address (HMDLAL)", "Get Feature 0Dh", "Feature 0Dh: Lower 32 bits of the address of the host memory descriptor list"},
    {"Host Memory Descriptor List Address (HMDLAU)", "Get Feature 0Dh", "Feature 0Dh: Upper 32 bits of the address of the host memory descriptor list"},
    {"Host Memory Descriptor List Entry Count (HMDLEC)", "Get Feature 0Dh", "Feature 0Dh: Number of entries in the host memory descriptor list"},
    // Get Feature 0Eh
    {"Timestamp", "Get Feature 0Eh", "Feature 0Eh: Controller timestamp in milliseconds"},
    {"Timestamp Decoded", "Get Feature 0Eh", "Feature 0Eh: Controller timestamp as a date and time, or as the time since the controller reset"},
    {"Timestamp Origin", "Get Feature 0Eh", "Feature 0Eh: Whether the timestamp was set by the host or counts from a controller reset"},
    {"Timestamp Stopped", "Get Feature 0Eh", "Feature 0Eh: Whether the controller may have stopped counting the timestamp for a while since it was set"},
    // Get Feature 0Fh
    {"Keep Alive Timeout (KATO)", "Get Feature 0Fh", "Feature 0Fh: Keep alive timeout in milliseconds, 0 meaning disabled"},
    // Get Feature 10h
    {"Thermal Management Temperature 1 (TMT1)", "Get Feature 10h", "Feature 10h: Temperature at which the controller starts light throttling"},
    {"Thermal Management Temperature 2 (TMT2)", "Get Feature 10h", "Feature 10h: Temperature at which the controller starts heavy throttling"},
    // Get Feature 11h
    {"Non-Operational Power State Permissive Mode Enable (NOPPME)", "Get Feature 11h", "Feature 11h: Whether controller initiated background work may exceed the power of a non-operational state"},
    // Get Feature 12h
    {"Read Recovery Level (RRL)", "Get Feature 12h", "Feature 12h: Read recovery level of the NVM Set, trading error recovery effort for latency"},
    {"Predictable Latency Enable", "Get Feature 12h", "Feature 13h: Whether Predictable Latency Mode is enabled for the NVM Set"},
    {"Predictable Latency Mode Window Select", "Get Feature 12h", "Feature 14h: Window selected for the NVM Set in Predictable Latency Mode"},
    // Get Feature 15h
    {"LBA Status Information Poll Interval (LSIPI)", "Get Feature 15h", "Feature 15h: Recommended shortest time between two reads of LBA status information by the host"},
    {"LBA Status Information Report Interval (LSIRI)", "Get Feature 15h", "Feature 15h: Shortest time between two LBA Status Information Alert asynchronous events"},
};
// clang-format on

}  // namespace orka
