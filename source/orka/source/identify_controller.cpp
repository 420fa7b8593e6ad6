// Identify Controller decoding.
#include "identify_controller.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <sstream>
#include <string>

#include "decode_table.h"
#include "nvme_admin_command.h"
#include "orka.h"
#include "orka_nvme.h"

namespace orka {

namespace {

using Data = ORKA_NVME_IDENTIFY_CONTROLLER_DATA;

constexpr unsigned int VERSION_1_3_0 = 0x00010300;

using decode::Bit;
using decode::Gate;
using decode::NOT_REPORTED;
using decode::NOT_SUPPORTED;
using decode::WHOLE;
using Row = decode::Row<Data>;
template <auto Member>
constexpr Row::Reader Field = &decode::Field<Member, Data>;
constexpr Row::Format Supported = &decode::Supported<Data>;
constexpr Row::Format Decimal = &decode::Decimal<Data>;
constexpr Row::Format Number = &decode::Number<Data>;
constexpr Row::Format NumberOrNotSupported = &decode::NumberOrNotSupported<Data>;

// ---------------------------------------------------------------------------
// Field readers: every row names the field it decodes through one of these.
// ---------------------------------------------------------------------------

// RPMBS keeps its two size bytes apart from the bit fields of bytes 0-1.
unsigned long long RpmbsLow(const Data& data) {
    return data.RPMBS[0] | (data.RPMBS[1] << 8);
}

unsigned long long FguidByteSum(const Data& data) {
    unsigned long long sum = 0;
    for (unsigned char byte : data.FGUID) {
        sum += byte;
    }
    return sum;
}

// ---------------------------------------------------------------------------
// Value formats of this structure
// ---------------------------------------------------------------------------

std::string MicrosecondsOrNotReported(const Data&, unsigned int value) {
    return value == 0 ? NOT_REPORTED : ToMicroSecondString(value);
}
std::string TemperatureOrNotReported(const Data&, unsigned int kelvin) {
    return kelvin == 0 ? NOT_REPORTED : ToTemp(static_cast<unsigned short>(kelvin));
}
std::string PowerOfTwo(const Data&, unsigned int value) {
    return ToPowerOfTwo(value);
}
std::string MultipleOrSingle(const Data&, unsigned int bit) {
    return bit == 1 ? "Multiple" : "Single";
}
std::string VendorSpecific(const Data&, unsigned int bit) {
    return bit == 1 ? "Not Vendor Specific" : "Vendor Specific";
}
std::string RetryDelay(const Data&, unsigned int value) {
    return ToNumberString(value) + " (" + ToNumberString(value * 100) + " mS)";
}
std::string Capacity128(const unsigned char* bytes) {
    return ToBigNumberString(To128bitNumber(bytes));
}
std::string Text(const char* bytes, std::size_t length) {
    return std::string(bytes, length);
}

// ---------------------------------------------------------------------------
// Conditions that are not version gates
// ---------------------------------------------------------------------------

using Condition = Row::Condition;

bool NamespaceManagement(const Data& data) {
    return GetBits(data.OACS.get(), Bit(3)) == 1;
}
bool SelfTestCommand(const Data& data) {
    return GetBits(data.OACS.get(), Bit(4)) == 1;
}
bool VpdCyclesReported(const Data& data) {
    return GetBits(data.VWCI, Bit(7)) == 1;
}
bool RpmbUnitsPresent(const Data& data) {
    return GetBits(RpmbsLow(data), RPMBS_UNITS) != 0;
}
bool PersistentEventLog(const Data& data) {
    return GetBits(data.LPA, Bit(4)) == 1;
}
bool CompareAndWrite(const Data& data) {
    return GetBits(data.FUSES.get(), Bit(0)) == 1;
}
bool SglSupported(const Data& data) {
    return GetBits(data.SGLS.get(), BitField{0, 2}) != 0;
}

// ---------------------------------------------------------------------------
// The decode table, in output order
// ---------------------------------------------------------------------------

using C = Data;

const Row CONTROLLER_ROWS[] = {
    {"Controller Vendor", Field<&C::VID>, WHOLE, Gate::kAlways,
     [](const Data&, unsigned int v) { return LookupPciVendor(ToHexString(v, 4)); }},
    {"Subsystem Vendor", Field<&C::SSVID>, WHOLE, Gate::kAlways,
     [](const Data&, unsigned int v) { return LookupPciVendor(ToHexString(v, 4)); }},
    {"PCI Vendor ID (VID)", Field<&C::VID>, WHOLE, Gate::kAlways,
     [](const Data&, unsigned int v) { return ToHexString(v, 4); }},
    {"PCI Subsystem Vendor ID (SSVID)", Field<&C::SSVID>, WHOLE, Gate::kAlways,
     [](const Data&, unsigned int v) { return ToHexString(v, 4); }},
    {"Serial Number (SN)", nullptr, WHOLE, Gate::kAlways,
     [](const Data& d, unsigned int) { return Text(d.SN, sizeof d.SN); }},
    {"Model Number (MN)", nullptr, WHOLE, Gate::kAlways,
     [](const Data& d, unsigned int) { return Text(d.MN, sizeof d.MN); }},
    {"Firmware Revision (FR)", nullptr, WHOLE, Gate::kAlways,
     [](const Data& d, unsigned int) { return Text(d.FR, sizeof d.FR); }},
    {"Recommended Arbitration Burst (RAB)", Field<&C::RAB>, WHOLE, Gate::kAlways, PowerOfTwo},
    {"IEEE OUI Identifier (IEEE)", nullptr, WHOLE, Gate::kAlways,
     [](const Data& d, unsigned int) { return GetIeeeOui(d.IEEE); }},
    {"NVM Subsystem PCIe Ports", Field<&C::CMIC>, Bit(0), Gate::kAlways, MultipleOrSingle},
    {"NVM Subsystem Controllers", Field<&C::CMIC>, Bit(1), Gate::kAlways, MultipleOrSingle},
    {"Associated Function Type", Field<&C::CMIC>, Bit(2), Gate::kAlways,
     [](const Data&, unsigned int b) -> std::string { return b == 1 ? "SR-IOV Virtual" : "PCI"; }},
    {"Asymmetric Namespace Access Reporting", Field<&C::CMIC>, Bit(3), Gate::kVersion14, Supported},
    {"Maximum Data Transfer Size (MDTS)", Field<&C::MDTS>, WHOLE, Gate::kAlways,
     [](const Data&, unsigned int v) { return v == 0 ? "Unrestricted" : ToPowerOfTwo(v); }},
    {"Controller ID (CNTLID)", Field<&C::CNTLID>, WHOLE, Gate::kAlways, Decimal},
    {"Version (VER)", Field<&C::VER>, WHOLE, Gate::kAlways,
     [](const Data&, unsigned int v) { return GetReportedNvmeVersion(v); }},
    {"RTD3 Resume Latency (RTD3R)", Field<&C::RTD3R>, WHOLE, Gate::kAlways, MicrosecondsOrNotReported},
    {"RTD3 Entry Latency (RTD3E)", Field<&C::RTD3E>, WHOLE, Gate::kAlways, MicrosecondsOrNotReported},
    {"Firmware Activation Notices", Field<&C::OAES>, Bit(9), Gate::kAlways, Supported},
    {"Namespace Attribute Notices", Field<&C::OAES>, Bit(8), Gate::kAlways, Supported},
    {"Asymmetric Namespace Access Change Notices", Field<&C::OAES>, Bit(11), Gate::kVersion14, Supported},
    {"Predictable Latency Event Log Change Notices", Field<&C::OAES>, Bit(12), Gate::kVersion14, Supported},
    {"LBA Status Information Notices", Field<&C::OAES>, Bit(13), Gate::kVersion14, Supported},
    {"Endurance Group Event Log Page Change Notices", Field<&C::OAES>, Bit(14), Gate::kVersion14, Supported},
    {"128-bit Host Identifier", Field<&C::CTRATT>, Bit(0), Gate::kAlways, Supported},
    {"Non-Operational Power State Permissive Mode", Field<&C::CTRATT>, Bit(1), Gate::kVersion13, Supported},
    {"NVM Sets", Field<&C::CTRATT>, Bit(2), Gate::kVersion14, Supported},
    {"Read Recovery Levels", Field<&C::CTRATT>, Bit(3), Gate::kVersion14, Supported},
    {"Endurance Groups", Field<&C::CTRATT>, Bit(4), Gate::kVersion14, Supported},
    {"Predictable Latency Mode", Field<&C::CTRATT>, Bit(5), Gate::kVersion14, Supported},
    {"Traffic Based Keep Alive Support", Field<&C::CTRATT>, Bit(6), Gate::kVersion14, Supported},
    {"Namespace Granularity", Field<&C::CTRATT>, Bit(7), Gate::kVersion14, Supported},
    {"SQ Associations", Field<&C::CTRATT>, Bit(8), Gate::kVersion14, Supported},
    {"UUID List", Field<&C::CTRATT>, Bit(9), Gate::kVersion14, Supported},
    {"Read Recovery Levels Supported (RRLS)", Field<&C::RRLS>, WHOLE, Gate::kVersion14,
     [](const Data&, unsigned int v) { return ToHexString(v, 4); }},
    {"Controller Type (CNTRLTYPE)", Field<&C::CNTRLTYPE>, WHOLE, Gate::kVersion14,
     [](const Data&, unsigned int v) -> std::string {
         switch (v) {
             case 0:
                 return NOT_REPORTED;
             case 1:
                 return "I/O Controller";
             case 2:
                 return "Discovery Controller";
             case 3:
                 return "Admin Controller";
             default:
                 return "Reserved";
         }
     }},
    {"FRU Globally Unique Identifier (FGUID)", FguidByteSum, WHOLE, Gate::kVersion13,
     [](const Data& d, unsigned int) { return GetFguid(d.FGUID); }},
    {"Command Retry Delay Time 1 (CRDT1)", Field<&C::CRDT1>, WHOLE, Gate::kVersion14, RetryDelay},
    {"Command Retry Delay Time 2 (CRDT2)", Field<&C::CRDT2>, WHOLE, Gate::kVersion14, RetryDelay},
    {"Command Retry Delay Time 3 (CRDT3)", Field<&C::CRDT3>, WHOLE, Gate::kVersion14, RetryDelay},
    {"NVMe Storage Device (NVMESD)", Field<&C::NVMSR>, Bit(0), Gate::kAlways, Supported},
    {"NVMe Enclosure (NVMEE)", Field<&C::NVMSR>, Bit(1), Gate::kAlways, Supported},
    {"VPD Write Cycles Remaining (VWCR)", Field<&C::VWCI>, BitField{0, 7}, Gate::kAlways, Number,
     VpdCyclesReported},
    {"PCIe Management Endpoint (PCIEME)", Field<&C::MEC>, Bit(1), Gate::kAlways, Supported},
    {"SMBus Management Endpoint (SMBUSME)", Field<&C::MEC>, Bit(0), Gate::kAlways, Supported},
    {"Namespace Management and Attachment Commands", Field<&C::OACS>, Bit(3), Gate::kAlways, Supported},
    {"Firmware Commit and Image Download Commands", Field<&C::OACS>, Bit(2), Gate::kAlways, Supported},
    {"Format NVM Command", Field<&C::OACS>, Bit(1), Gate::kAlways, Supported},
    {"Security Send and Security Receive Command", Field<&C::OACS>, Bit(0), Gate::kAlways, Supported},
    {"Device Self-test Command", Field<&C::OACS>, Bit(4), Gate::kVersion13, Supported},
    {"Directive Send and Directive Receive Commands", Field<&C::OACS>, Bit(5), Gate::kVersion13, Supported},
    {"NVME MI Send/Receive Commands", Field<&C::OACS>, Bit(6), Gate::kVersion13, Supported},
    {"Virtualization Mgt Command", Field<&C::OACS>, Bit(7), Gate::kVersion13, Supported},
    {"Doorbell Buffer Config Command", Field<&C::OACS>, Bit(8), Gate::kVersion13, Supported},
    {"Get LBA Status capability", Field<&C::OACS>, Bit(9), Gate::kVersion14, Supported},
    {"Abort Command Limit (ACL)", Field<&C::ACL>, WHOLE, Gate::kAlways,
     [](const Data&, unsigned int v) { return ToNumberString(v + 1); }},
    {"Asynchronous Event Request Limit (AERL)", Field<&C::AERL>, WHOLE, Gate::kAlways,
     [](const Data&, unsigned int v) { return ToNumberString(v + 1); }},
    {"Firmware Activation Without Reset", Field<&C::FRMW>, Bit(4), Gate::kAlways, Supported},
    {"Firmware Slots", Field<&C::FRMW>, BitField{1, 3}, Gate::kAlways, Decimal},
    {"Firmware Slot 1 Read Status", Field<&C::FRMW>, Bit(0), Gate::kAlways,
     [](const Data&, unsigned int b) -> std::string { return b == 1 ? "Read only" : "Read/Write"; }},
    {"SMART/Health Log Page per Namespace", Field<&C::LPA>, Bit(0), Gate::kAlways, Supported},
    {"Commands Supported and Effects Log Page", Field<&C::LPA>, Bit(1), Gate::kAlways, Supported},
    {"Extended Data for Get Log Page", Field<&C::LPA>, Bit(2), Gate::kAlways, Supported},
    {"Telemetry Log Notices", Field<&C::LPA>, Bit(3), Gate::kVersion13, Supported},
    {"Persistent Event Log", Field<&C::LPA>, Bit(4), Gate::kVersion14OrNotSupported, Supported},
    {"Error Log Page Entries (ELPE)", Field<&C::ELPE>, WHOLE, Gate::kAlways,
     [](const Data&, unsigned int v) { return std::to_string(v + 1); }},
    {"Number of Power States Support (NPSS)", Field<&C::NPSS>, WHOLE, Gate::kAlways,
     [](const Data&, unsigned int v) { return std::to_string(v + 1); }},
    {"Admin Vendor Specific command handling", Field<&C::AVSCC>, Bit(0), Gate::kAlways, VendorSpecific},
    {"Autonomous Power State Transition", Field<&C::APSTA>, Bit(0), Gate::kAlways, Supported},
    {"Warning Composite Temperature Threshold (WCTEMP)", Field<&C::WCTEMP>, WHOLE, Gate::kAlways,
     TemperatureOrNotReported},
    {"Critical Composite Temperature Threshold (CCTEMP)", Field<&C::CCTEMP>, WHOLE, Gate::kAlways,
     TemperatureOrNotReported},
    {"Maximum Time for Firmware Activation (MTFA)", Field<&C::MTFA>, WHOLE, Gate::kAlways,
     [](const Data&, unsigned int v) { return v == 0 ? "Undefined" : ToNumberString(v * 100) + " mS"; }},
    {"Host Memory Buffer Preferred Size (HMPRE)", Field<&C::HMPRE>, WHOLE, Gate::kAlways,
     [](const Data&, unsigned int v) { return v == 0 ? NOT_SUPPORTED : To4KibString(v); }},
    {"Host Memory Buffer Minimum Size (HMMIN)", Field<&C::HMMIN>, WHOLE, Gate::kAlways,
     [](const Data& d, unsigned int v) -> std::string {
         if (d.HMPRE.get() == 0) {
             return NOT_SUPPORTED;
         }
         return v == 0 ? "Any Amount" : To4KibString(v);
     }},
    {"Total NVM Capacity (TNVMCAP)", nullptr, WHOLE, Gate::kAlways,
     [](const Data& d, unsigned int) { return Capacity128(d.TNVMCAP); }, NamespaceManagement},
    {"Unallocated NVM Capacity (UNVMCAP)", nullptr, WHOLE, Gate::kAlways,
     [](const Data& d, unsigned int) { return Capacity128(d.UNVMCAP); }, NamespaceManagement},
    // "Supported" only for exactly one unit: the count goes through ToSupported as it is.
    {"Replay Protected Memory Blocks (RPMBS)", RpmbsLow, RPMBS_UNITS, Gate::kAlways, Supported},
    {"Number of RPMB Units", RpmbsLow, RPMBS_UNITS, Gate::kAlways, Decimal, RpmbUnitsPresent},
    {"RPMB Authentication Method", RpmbsLow, RPMBS_AUTHENTICATION, Gate::kAlways,
     [](const Data&, unsigned int v) -> std::string { return v != 0 ? "Reserved" : "HMAC SHA - 256"; },
     RpmbUnitsPresent},
    {"RPMB Total Size", nullptr, WHOLE, Gate::kAlways,
     [](const Data& d, unsigned int) { return ToNumberString(d.RPMBS[2] + 1U) + " (128KiB units)"; },
     RpmbUnitsPresent},
    {"RPMB Access Size", nullptr, WHOLE, Gate::kAlways,
     [](const Data& d, unsigned int) { return ToNumberString(d.RPMBS[3] + 1U) + " (512B units)"; },
     RpmbUnitsPresent},
    {"Extended Device Self-test Time (EDSTT)", Field<&C::EDSTT>, WHOLE, Gate::kVersion13,
     [](const Data&, unsigned int v) { return ToNumberString(v) + " Min"; }, nullptr, SelfTestCommand},
    {"One Self-Test", Field<&C::DSTO>, WHOLE, Gate::kVersion13,
     [](const Data&, unsigned int v) -> std::string { return v != 0 ? "Per System" : "Per Controller"; }},
    {"Firmware Update Granularity (FWUG)", Field<&C::FWUG>, WHOLE, Gate::kVersion13,
     [](const Data&, unsigned int v) -> std::string {
         if (v == 0xFF) {
             return "Unrestricted";
         }
         return v == 0 ? NOT_REPORTED : ToNumberString(v * 4) + " KiB";
     }},
    {"Keep Alive Support (KAS)", Field<&C::KAS>, WHOLE, Gate::kAlways,
     [](const Data&, unsigned int v) { return v == 0 ? NOT_SUPPORTED : ToNumberString(v * 100) + " mS"; }},
    {"Host Controlled Thermal Management (HCTMA)", Field<&C::HCTMA>, Bit(0), Gate::kVersion13, Supported},
    {"Minimum Thermal Management Temperature (MNTMT)", Field<&C::MNTMT>, WHOLE, Gate::kAlways,
     TemperatureOrNotReported},
    {"Maximum Thermal Management Temperature (MXTMT)", Field<&C::MXTMT>, WHOLE, Gate::kAlways,
     TemperatureOrNotReported},
    {"Overwrite Sanitize", Field<&C::SANICAP>, Bit(2), Gate::kAlways, Supported},
    {"Block Erase Sanitize", Field<&C::SANICAP>, Bit(1), Gate::kAlways, Supported},
    {"Crypto Erase Sanitize", Field<&C::SANICAP>, Bit(0), Gate::kAlways, Supported},
    {"No-Deallocate Inhibited (NDI)", Field<&C::SANICAP>, Bit(29), Gate::kVersion14, Supported},
    {"No-Deallocate Modifies Media After Sanitize (NODMMAS)", Field<&C::SANICAP>, BitField{30, 2},
     Gate::kVersion14,
     [](const Data&, unsigned int v) -> std::
                                         string {
                                             switch (v) {
                                                 case 0:
                                                     return "Media modification undefined";
                                                 case 1:
                                                     return "Media not modified";
                                                 case 2:
                                                     return "Media modified";
                                                 default:
                                                     return "Reserved";
                                             }
                                         }},
    {"Host Memory Buffer Minimum Descriptor Entry Size (HMMINDS)", Field<&C::HMMINDS>, WHOLE,
     Gate::kVersion14,
     [](const Data&, unsigned int v) { return v == 0 ? "No limitations" : To4KibString(v); }},
    {"Host Memory Maximum Descriptors Entries (HMMAXD)", Field<&C::HMMAXD>, WHOLE, Gate::kVersion14,
     [](const Data&, unsigned int v) { return v == 0 ? NOT_REPORTED : ToNumberString(v); }},
    {"NVM Set Identifier Maximum (NSETIDMAX)", Field<&C::NSETIDMAX>, WHOLE, Gate::kVersion14, Number},
    {"Endurance Group Identifier Maximum (ENDGIDMAX)", Field<&C::ENDGIDMAX>, WHOLE, Gate::kVersion14, Number},
    {"ANA Transition Time (ANATT)", Field<&C::ANATT>, WHOLE, Gate::kVersion14,
     [](const Data&, unsigned int v) { return v == 0 ? NOT_SUPPORTED : ToNumberString(v) + " sec"; }},
    {"Report ANA Optimized state", Field<&C::ANACAP>, Bit(0), Gate::kVersion14, Supported},
    {"Report ANA Non-Optimized state", Field<&C::ANACAP>, Bit(1), Gate::kVersion14, Supported},
    {"Report ANA Inaccessible state", Field<&C::ANACAP>, Bit(2), Gate::kVersion14, Supported},
    {"Report ANA Persistent Loss state", Field<&C::ANACAP>, Bit(3), Gate::kVersion14, Supported},
    {"Report ANA Change state", Field<&C::ANACAP>, Bit(4), Gate::kVersion14, Supported},
    {"Unchanged ANAGRPID", Field<&C::ANACAP>, Bit(6), Gate::kVersion14, Supported},
    {"Non-zero ANAGRPID", Field<&C::ANACAP>, Bit(7), Gate::kVersion14, Supported},
    {"ANA Group Identifier Maximum (ANAGRPMAX)", Field<&C::ANAGRPMAX>, WHOLE, Gate::kVersion14,
     NumberOrNotSupported},
    {"Number of ANA Group Identifiers (NANAGRPID)", Field<&C::NANAGRPID>, WHOLE, Gate::kVersion14,
     NumberOrNotSupported},
    {"Persistent Event Log Size (PELS)", Field<&C::PELS>, WHOLE, Gate::kVersion14,
     [](const Data&, unsigned int v) { return ToNumberString(v * 64ULL) + " KiB"; }, nullptr,
     PersistentEventLog},
    {"Maximum Submission Queue Entry Size", Field<&C::SQES>, QUEUE_ENTRY_MAXIMUM, Gate::kAlways, PowerOfTwo},
    {"Required Submission Queue Entry Size", Field<&C::SQES>, QUEUE_ENTRY_REQUIRED, Gate::kAlways,
     PowerOfTwo},
    {"Maximum Completion Queue Entry Size", Field<&C::CQES>, QUEUE_ENTRY_MAXIMUM, Gate::kAlways, PowerOfTwo},
    {"Required Completion Queue Entry Size", Field<&C::CQES>, QUEUE_ENTRY_REQUIRED, Gate::kAlways,
     PowerOfTwo},
    {"Maximum Outstanding Commands (MAXCMD)", Field<&C::MAXCMD>, WHOLE, Gate::kAlways,
     [](const Data&, unsigned int v) { return v == 0 ? NOT_SUPPORTED : std::to_string(v); }},
    {"Number of Namespaces (NN)", Field<&C::NN>, WHOLE, Gate::kAlways, Decimal},
    {"Compare NVM Command", Field<&C::ONCS>, Bit(0), Gate::kAlways, Supported},
    {"Write Uncorrectable NVM Command", Field<&C::ONCS>, Bit(1), Gate::kAlways, Supported},
    {"Dataset Management NVM Command", Field<&C::ONCS>, Bit(2), Gate::kAlways, Supported},
    {"Write Zeroes NVM Command", Field<&C::ONCS>, Bit(3), Gate::kAlways, Supported},
    {"Save/Select Fields in Features Command", Field<&C::ONCS>, Bit(4), Gate::kAlways, Supported},
    {"Reservations", Field<&C::ONCS>, Bit(5), Gate::kAlways, Supported},
    {"Timestamp Feature", Field<&C::ONCS>, Bit(6), Gate::kVersion13, Supported},
    {"Verify NVM Command", Field<&C::ONCS>, Bit(7), Gate::kVersion14, Supported},
    {"Compare and Write Fused Operation", Field<&C::FUSES>, Bit(0), Gate::kAlways, Supported},
    {"Format All Namespaces", Field<&C::FNA>, Bit(0), Gate::kAlways, Supported},
    {"Secure Erase All Namespaces", Field<&C::FNA>, Bit(1), Gate::kAlways, Supported},
    {"Crypto Erase", Field<&C::FNA>, Bit(2), Gate::kAlways, Supported},
    {"Volatile Write Cache (VWC)", Field<&C::VWC>, Bit(0), Gate::kAlways, Supported},
    {"Volatile Write Cache Flush All NSID", Field<&C::VWC>, BitField{1, 2}, Gate::kVersion14,
     [](const Data&, unsigned int v) -> std::string {
         switch (v) {
             case 0:
                 return NOT_REPORTED;
             case 1:
                 return "Reserved";
             case 2:
                 return NOT_SUPPORTED;
             default:
                 return "Supported";
         }
     }},
    {"Atomic Write Unit Normal (AWUN)", Field<&C::AWUN>, WHOLE, Gate::kAlways,
     [](const Data&, unsigned int v) { return v == 0xFFFF ? "All Commands" : std::to_string(v + 1); }},
    {"Atomic Write Unit Power Fail (AWUPF)", Field<&C::AWUPF>, WHOLE, Gate::kAlways,
     [](const Data&, unsigned int v) { return std::to_string(v + 1); }},
    {"Vendor Specific Command Configuration", Field<&C::NVSCC>, Bit(0), Gate::kAlways, VendorSpecific},
    {"Write Protect Namespace States", Field<&C::NWPC>, Bit(0), Gate::kVersion14, Supported},
    {"Write Protect Until Power Cycle", Field<&C::NWPC>, Bit(1), Gate::kVersion14, Supported},
    {"Permanent Write Protect", Field<&C::NWPC>, Bit(2), Gate::kVersion14, Supported},
    {"Atomic Compare & Write Unit (ACWU)", Field<&C::ACWU>, WHOLE, Gate::kAlways,
     [](const Data&, unsigned int v) { return ToNumberString(v + 1); }, CompareAndWrite},
    {"SGL support in NVM command", Field<&C::SGLS>, WHOLE, Gate::kAlways,
     [](const Data& d, unsigned int v) -> std::string {
         if (d.VER.get() < VERSION_1_3_0) {
             return ToSupported(GetBits(v, Bit(0)));
         }
         switch (GetBits(v, BitField{0, 2})) {
             case 0:
                 return NOT_SUPPORTED;
             case 1:
                 return "Supported";
             case 2:
                 return "Supported With Requirement";
             default:
                 return "Reserved";
         }
     }},
    {"Keyed SGL Data Block descriptor", Field<&C::SGLS>, Bit(2), Gate::kAlways, Supported, SglSupported},
    {"SGL Bit Bucket descriptor", Field<&C::SGLS>, Bit(16), Gate::kAlways, Supported, SglSupported},
    {"SGL byte aligned buffer of metadata", Field<&C::SGLS>, Bit(17), Gate::kAlways, Supported, SglSupported},
    {"SGL command longer than the amount of data", Field<&C::SGLS>, Bit(18), Gate::kAlways, Supported,
     SglSupported},
    {"SGL - MPTR containing an SGL Descriptor", Field<&C::SGLS>, Bit(19), Gate::kAlways, Supported,
     SglSupported},
    {"SGL - Address field specifies offset", Field<&C::SGLS>, Bit(20), Gate::kAlways, Supported,
     SglSupported},
    {"SGL - Transport SGL Data Block Descriptor", Field<&C::SGLS>, Bit(21), Gate::kVersion14, Supported,
     SglSupported},
    {"Maximum Number Allowed Namespaces (MNAN)", Field<&C::MNAN>, WHOLE, Gate::kVersion14, Number},
    {"NVM Subsystem NVMe Qualified Name (SUBNQN)", nullptr, WHOLE, Gate::kAlways,
     [](const Data& d, unsigned int) {
         const char* end = std::find(std::begin(d.SUBNQN), std::end(d.SUBNQN), '\0');
         return std::string(std::begin(d.SUBNQN), end);
     }},
};

// ---------------------------------------------------------------------------
// Power state descriptors
// ---------------------------------------------------------------------------

using Psd = ORKA_NVME_POWER_STATE_DESC;

std::string Watts(double watts) {
    std::ostringstream text;
    text << watts << " Watts";
    return text.str();
}

// Idle and active power share their scale encoding.
std::string ScaledPower(unsigned int power, unsigned int scale) {
    if (power == 0) {
        return NOT_REPORTED;
    }
    switch (scale) {
        case 1:
            return Watts(power * 0.0001);
        case 2:
            return Watts(power * 0.01);
        default:
            return "Invalid Power Scale";
    }
}

std::string Latency(unsigned int microseconds) {
    return microseconds == 0 ? NOT_REPORTED : ToMicroSecondString(microseconds);
}

struct PowerStateRow {
    const char* suffix;
    std::string (*format)(const Psd&);
};

const PowerStateRow POWER_STATE_ROWS[] = {
    {" Maximum Power (MP)",
     [](const Psd& p) -> std::string {
         const unsigned int mp = p.MP.get();
         if (mp == 0) {
             return NOT_REPORTED;
         }
         return Watts(GetBits(p.MXPS_NOPS, PSD_MXPS) == 1 ? mp * 0.0001 : mp * 0.01);
     }},
    {" Active Power (ACTP)",
     [](const Psd& p) { return ScaledPower(p.ACTP.get(), GetBits(p.APW_APS, PSD_POWER_SCALE)); }},
    {" Active Power Workload (APW)",
     [](const Psd& p) -> std::string {
         switch (GetBits(p.APW_APS, PSD_APW)) {
             case 0:
                 return "No workload";
             case 1:
                 return "Workload #1";
             case 2:
                 return "Workload #2";
             default:
                 return "Reserved";
         }
     }},
    {" Idle Power (IDLP)",
     [](const Psd& p) { return ScaledPower(p.IDLP.get(), GetBits(p.IPS, PSD_POWER_SCALE)); }},
    {" Non-Operational State (NOPS)",
     [](const Psd& p) -> std::string { return GetBits(p.MXPS_NOPS, PSD_NOPS) == 1 ? "True" : "False"; }},
    {" Entry Latency (ENLAT)", [](const Psd& p) { return Latency(p.ENLAT.get()); }},
    {" Exit Latency (EXLAT)", [](const Psd& p) { return Latency(p.EXLAT.get()); }},
    {" Relative Read Throughput (RRT)",
     [](const Psd& p) { return std::to_string(GetBits(p.RRT, PSD_RELATIVE)); }},
    {" Relative Read Latency (RRL)",
     [](const Psd& p) { return std::to_string(GetBits(p.RRL, PSD_RELATIVE)); }},
    {" Relative Write Throughput (RWT)",
     [](const Psd& p) { return std::to_string(GetBits(p.RWT, PSD_RELATIVE)); }},
    {" Relative Write Latency (RWL)",
     [](const Psd& p) { return std::to_string(GetBits(p.RWL, PSD_RELATIVE)); }},
};

}  // namespace

int ReadIdentifyController(NVME_ID fd, ORKA_NVME_IDENTIFY_CONTROLLER_DATA& data, Json::Value& commands,
                           Json::Value& more_commands) {
    return NvmeAdminCommand(fd, "Identify Controller", commands, more_commands, 0x06, 0, 1, 0, 0, 0, 0, 0,
                            reinterpret_cast<unsigned char*>(&data), nullptr, IDENTIFY_CONTROLLER_LENGTH,
                            false);
}

void DecodeIdentifyController(const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& data, Json::Value& info, bool raw_hex,
                              unsigned int& highest_version) {
    const unsigned int version = data.VER.get();
    if (highest_version < version) {
        highest_version = version;
    }
    // Drives before NVMe 1.2 report no version; a structure of nothing but zeros is no answer at all.
    if (version == 0 && AllZeros(reinterpret_cast<const unsigned char*>(&data), IDENTIFY_CONTROLLER_LENGTH)) {
        throw OrkaError("Identify Controller: no data from the drive");
    }

    const TimePoint start = std::chrono::system_clock::now();
    if (raw_hex) {
        FormatHexData(reinterpret_cast<const char*>(&data), IDENTIFY_CONTROLLER_LENGTH,
                      info["raw hex data"]["Identify Controller"]);
    }

    Json::Value& parameters = info["nvme"]["parameters"];
    decode::AddDecodedRows(CONTROLLER_ROWS, data, version, highest_version, parameters);

    // NPSS may claim more states than the structure holds.
    const unsigned int states = std::min<unsigned int>(data.NPSS + 1U, MAX_POWER_STATES);
    for (unsigned int state = 0; state < states; ++state) {
        const std::string prefix = "Power State " + std::to_string(state);
        for (const PowerStateRow& row : POWER_STATE_ROWS) {
            AddParameter(parameters, prefix + row.suffix, row.format(data.PSD[state]));
        }
    }

    LOG_VERBOSE << "Identify controller binary data converted to JSON in "
                << GetHiResDiffTimeString(start, 3);
}

int GetIdentifyController(NVME_ID fd, ORKA_NVME_IDENTIFY_CONTROLLER_DATA& data, Json::Value& info,
                          bool raw_hex, unsigned int& highest_version, Json::Value& more_commands) {
    Json::Value& commands = CommandList(info);
    const int result = ReadIdentifyController(fd, data, commands, more_commands);
    if (result != 0) {
        return result;
    }
    DecodeIdentifyController(data, info, raw_hex, highest_version);
    return 0;
}

}  // namespace orka
