// Log page reading and decoding.
#include "logpage.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <utility>
#include <vector>

#include "decode_table.h"
#include "nvme_admin_command.h"
#include "orka.h"
#include "orka_linux.h"
#include "orka_nvme.h"

namespace orka {

namespace {

constexpr unsigned int VERSION_1_3_0 = 0x00010300;
constexpr unsigned long long TIMESTAMP_MASK = 0xFFFFFFFFFFFFULL;  // 48 bits of milliseconds
constexpr std::size_t EVENT_WALK_LIMIT = LOGPAGE_0D_LENGTH;

using decode::Bit;
using decode::Gate;
using decode::WHOLE;

// A fixed layout filled from what the drive returned: bytes beyond `length` read as zero.
template <typename Record>
Record CopyRecord(const unsigned char* data, std::size_t length) {
    Record record;
    std::memset(&record, 0, sizeof record);
    if (length != 0) {
        std::memcpy(&record, data, std::min(length, sizeof record));
    }
    return record;
}

std::string Big(const unsigned char* bytes) {
    return ToBigNumberString(To128bitNumber(bytes));
}

// ---------------------------------------------------------------------------
// Error information (01h)
// ---------------------------------------------------------------------------

std::string NotSpecific16(unsigned int value) {
    return value > 65534 ? "Not Specific" : ToNumberString(value);
}

std::string TransportType(unsigned int type) {
    switch (type) {
        case 0:
            return "Not Applicable";
        case 1:
            return "RDMA";
        case 2:
            return "Fibre Channel";
        case 3:
            return "TCP";
        case 254:
            return "Intra-host";
        default:
            return decode::RESERVED;
    }
}

Json::Value ErrorEntry(const ORKA_NVME_ERROR_INFO_ENTRY& e, unsigned int version, unsigned int& highest) {
    Json::Value entry(Json::objectValue);
    const unsigned int pel = e.PEL.get();
    const unsigned int vsia = e.VSIA;
    entry[Json::StaticString("Error Count")] = ToNumberString(e.ERRCNT.get());
    entry[Json::StaticString("Submission Queue ID")] = NotSpecific16(e.SQID.get());
    entry[Json::StaticString("Command ID")] = NotSpecific16(e.CID.get());
    entry[Json::StaticString("Phase Tag")] = ToHexString(GetBits(e.STS.get(), STS_PHASE), 1);
    entry[Json::StaticString("Status Field")] = ToHexString(GetBits(e.STS.get(), STS_STATUS), 4);
    entry[Json::StaticString("Bit Location")] =
        pel == 0xFFFF ? "Not Specific" : ToNumberString(GetBits(pel, PEL_BIT));
    entry[Json::StaticString("Byte Location")] =
        pel == 0xFFFF ? "Not Specific" : ToNumberString(GetBits(pel, PEL_BYTE));
    entry[Json::StaticString("LBA")] = e.LBA.get() == ~0ULL ? "Not Applicable" : ToNumberString(e.LBA.get());
    entry[Json::StaticString("Namespace")] =
        e.NS.get() == ALL_NAMESPACES ? "Not Applicable" : ToNumberString(e.NS.get());
    entry[Json::StaticString("Vendor Specific Info")] =
        vsia == 0 ? "Not Applicable" : (vsia >= 0x80 ? ToHexString(vsia, 2) : "Invalid Value");
    if (IsVersion1p4(version, highest, e.TRTYPE)) {
        entry[Json::StaticString("Transport Type")] = TransportType(e.TRTYPE);
    }
    entry[Json::StaticString("Command Specific Info")] = ToHexString(e.CSI.get(), 16);
    // The key's leading blank and the comparison of the information itself with 3 are what
    // earlier information files hold, so they stay.
    const unsigned int ttsi = e.TTSI.get();
    if (IsVersion1p4(version, highest, ttsi)) {
        entry[Json::StaticString(" Transport Type Info")] =
            ttsi == 3 ? ToNumberString(ttsi) : decode::RESERVED;
    }
    return entry;
}

// ---------------------------------------------------------------------------
// SMART / health (02h)
// ---------------------------------------------------------------------------

using Smart = ORKA_NVME_LOGPAGE_02_DATA;
using SmartRow = decode::Row<Smart>;
template <auto Member>
constexpr SmartRow::Reader SmartField = &decode::Field<Member, Smart>;

std::string Yes(const Smart&, unsigned int bit) {
    return ToYes(bit);
}
std::string Percent(const Smart&, unsigned int value) {
    return std::to_string(value) + " %";
}
std::string Minutes(const Smart&, unsigned int value) {
    return ToNumberString(value) + " Min";
}
std::string Seconds(const Smart&, unsigned int value) {
    return ToNumberString(value) + " Sec";
}
// Data units of 1000 x 512 bytes in GB (or TB with `thousands` one more).
std::string DataSize(const unsigned char* units, int thousands, int decimals, const std::string& unit) {
    float128 value = float128(To128bitNumber(units)) * 512;
    for (int i = 0; i < thousands; ++i) {
        value /= 1000;
    }
    return ToBigFloatNumberString(value, decimals) + unit;
}

const SmartRow SMART_ROWS[] = {
    {"Available Space Below Threshold", SmartField<&Smart::CW>, Bit(0), Gate::kAlways, Yes},
    {"Temperature Over/Under Threshold", SmartField<&Smart::CW>, Bit(1), Gate::kAlways, Yes},
    {"NVM Subsystem Unreliable", SmartField<&Smart::CW>, Bit(2), Gate::kAlways, Yes},
    {"Media in Read-only", SmartField<&Smart::CW>, Bit(3), Gate::kAlways, Yes},
    {"Volatile Memory Backup Failed", SmartField<&Smart::CW>, Bit(4), Gate::kAlways, Yes},
    {"Persistent Memory Unreliable", SmartField<&Smart::CW>, Bit(5), Gate::kVersion14, Yes},
    {"Composite Temperature", SmartField<&Smart::CTEMP>, WHOLE, Gate::kAlways,
     [](const Smart&, unsigned int v) { return ToTemp(static_cast<unsigned short>(v)); }},
    {"Available Spare", SmartField<&Smart::AVSP>, WHOLE, Gate::kAlways, Percent},
    {"Available Spare Threshold", SmartField<&Smart::AVSPT>, WHOLE, Gate::kAlways, Percent},
    {"Percentage Used", SmartField<&Smart::PUSED>, WHOLE, Gate::kAlways, Percent},
    {"EG Available Space Below Threshold", SmartField<&Smart::EGCWS>, Bit(0), Gate::kVersion14, Yes, nullptr,
     nullptr, SmartField<&Smart::EGCWS>},
    {"EG NVM Subsystem Unreliable", SmartField<&Smart::EGCWS>, Bit(2), Gate::kVersion14, Yes, nullptr,
     nullptr, SmartField<&Smart::EGCWS>},
    {"EG Media in Read-only", SmartField<&Smart::EGCWS>, Bit(3), Gate::kVersion14, Yes, nullptr, nullptr,
     SmartField<&Smart::EGCWS>},
    {"Data Units Read", nullptr, WHOLE, Gate::kAlways,
     [](const Smart& s, unsigned int) { return Big(s.DUR); }},
    {"Data Read", nullptr, WHOLE, Gate::kAlways,
     [](const Smart& s, unsigned int) { return DataSize(s.DUR, 2, 3, " GB"); }},
    {"Data Units Written", nullptr, WHOLE, Gate::kAlways,
     [](const Smart& s, unsigned int) { return Big(s.DUW); }},
    {"Data Written", nullptr, WHOLE, Gate::kAlways,
     [](const Smart& s, unsigned int) { return DataSize(s.DUW, 2, 3, " GB"); }},
    {"Data Written TB", nullptr, WHOLE, Gate::kAlways,
     [](const Smart& s, unsigned int) { return DataSize(s.DUW, 3, 1, " TB"); }},
    {"Host Read Commands", nullptr, WHOLE, Gate::kAlways,
     [](const Smart& s, unsigned int) { return Big(s.HRC); }},
    {"Host Write Commands", nullptr, WHOLE, Gate::kAlways,
     [](const Smart& s, unsigned int) { return Big(s.HWC); }},
    {"Controller Busy Time", nullptr, WHOLE, Gate::kAlways,
     [](const Smart& s, unsigned int) { return Big(s.CBT) + " Min"; }},
    {"Power Cycles", nullptr, WHOLE, Gate::kAlways, [](const Smart& s, unsigned int) { return Big(s.PWRC); }},
    {"Power On Hours", nullptr, WHOLE, Gate::kAlways,
     [](const Smart& s, unsigned int) { return Big(s.POH); }},
    {"Unsafe Shutdowns", nullptr, WHOLE, Gate::kAlways,
     [](const Smart& s, unsigned int) { return Big(s.UNSAFE); }},
    {"Media and Data Integrity Errors", nullptr, WHOLE, Gate::kAlways,
     [](const Smart& s, unsigned int) { return Big(s.MEDERR); }},
    {"Number of Error Information Log Entries", nullptr, WHOLE, Gate::kAlways,
     [](const Smart& s, unsigned int) { return Big(s.NUMERR); }},
    {"Warning Composite Temperature Time", SmartField<&Smart::WCTT>, WHOLE, Gate::kAlways, Minutes},
    {"Critical Composite Temperature Time", SmartField<&Smart::CCTT>, WHOLE, Gate::kAlways, Minutes},
};

// Added only when the controller supports host controlled thermal management.
const SmartRow THERMAL_ROWS[] = {
    {"Thermal Management Temperature 1 Count", SmartField<&Smart::TMT1TC>, WHOLE, Gate::kAlways,
     [](const Smart&, unsigned int v) { return ToNumberString(v); }},
    {"Thermal Management Temperature 2 Count", SmartField<&Smart::TMT2TC>, WHOLE, Gate::kAlways,
     [](const Smart&, unsigned int v) { return ToNumberString(v); }},
    {"Thermal Management Temperature 1 Time", SmartField<&Smart::TTTMT1>, WHOLE, Gate::kAlways, Seconds},
    {"Thermal Management Temperature 2 Time", SmartField<&Smart::TTTMT2>, WHOLE, Gate::kAlways, Seconds},
};

// ---------------------------------------------------------------------------
// Commands supported and effects (05h), self-test (06h)
// ---------------------------------------------------------------------------

std::string SubmissionAndExecution(unsigned int cse) {
    switch (cse) {
        case 0:
            return "No Restriction";
        case 1:
            return "Same Namespace Restriction";
        case 2:
            return "Any Namespace Restriction";
        default:
            return decode::RESERVED;
    }
}

Json::Value EffectsEntry(const std::string& type, unsigned int effects) {
    Json::Value entry(Json::objectValue);
    entry[Json::StaticString("Type")] = type;
    entry[Json::StaticString("Supported")] = ToYes(GetBits(effects, EFFECTS_CSUPP));
    entry[Json::StaticString("Logical Block Content Change (LBCC)")] = ToYes(GetBits(effects, EFFECTS_LBCC));
    entry[Json::StaticString("Namespace Capability Change (NCC)")] = ToYes(GetBits(effects, EFFECTS_NCC));
    entry[Json::StaticString("Namespace Inventory Change (NIC)")] = ToYes(GetBits(effects, EFFECTS_NIC));
    entry[Json::StaticString("Controller Capability Change (CCC)")] = ToYes(GetBits(effects, EFFECTS_CCC));
    entry[Json::StaticString("UUID Selection Supported")] = ToSupported(GetBits(effects, EFFECTS_UUID));
    entry[Json::StaticString("Command Submission and Execution (CSE)")] =
        SubmissionAndExecution(GetBits(effects, EFFECTS_CSE));
    return entry;
}

std::string SelfTestOperation(unsigned int operation) {
    switch (operation) {
        case 0:
            return "No Test In Progress";
        case 1:
            return "Short Test In Progress";
        case 2:
            return "Extended Test In Progress";
        case 14:
            return "Vendor Specific";
        default:
            return decode::RESERVED;
    }
}

std::string SelfTestResult(unsigned int result) {
    if (result == 0) {
        return "Passed";
    }
    if (result >= 5 && result <= 7) {
        return "Failed";
    }
    return result <= 9 ? "Aborted" : decode::RESERVED;
}

std::string SelfTestType(unsigned int code) {
    switch (code) {
        case 1:
            return "Short";
        case 2:
            return "Extended";
        case 14:
            return "Vendor Specific";
        default:
            return decode::RESERVED;
    }
}

// ---------------------------------------------------------------------------
// Persistent event log (0Dh)
// ---------------------------------------------------------------------------

struct BitText {
    unsigned int bit;
    const char* text;
};

std::string BitTexts(unsigned long long value, const BitText* begin, const BitText* end) {
    std::string text;
    for (const BitText* b = begin; b != end; ++b) {
        if ((value >> b->bit) & 1) {
            text += b->text;
        }
    }
    return text;
}

// Lower-case hexadecimal without leading zeros.
std::string LowerHex(unsigned long long value) {
    std::ostringstream text;
    text << std::hex << value;
    return text.str();
}

// Supported events bitmap: byte, bit, parameter.
const struct {
    unsigned int byte;
    unsigned int bit;
    const char* name;
} SUPPORTED_EVENTS[] = {
    {0, 1, "SMART Snapshot Event Supported"},    {0, 2, "Firmware Commit Event Supported"},
    {0, 3, "Timestamp Change Event Supported"},  {0, 4, "Power On/Reset Event Supported"},
    {0, 5, "Hardware Error Event Supported"},    {0, 6, "Change Namespace Event Supported"},
    {0, 7, "Format NVM Start Event Supported"},  {1, 0, "Format NVM Complete Event Supported"},
    {1, 1, "Sanitize Start Event Supported"},    {1, 2, "Sanitize Complete Event Supported"},
    {1, 3, "Set Feature Event Supported"},       {1, 4, "Telemetry Log Event Supported"},
    {1, 5, "Thermal Excursion Event Supported"}, {27, 6, "Vendor Specific Event Supported"},
    {27, 7, "TCG Defined Event Supported"},
};

const char* EventTypeName(unsigned int type) {
    static const char* const NAMES[] = {
        nullptr,          "SMART Snapshot",   "Firmware Commit",  "Timestamp Change", "Power On or Reset",
        "Hardware Error", "Namespace Change", "Format NVM Start", "Format NVM End",   "Sanitize Start",
        "Sanitize End",   "Set Feature",      "Telemetry Log",    "Thermal Excursion"};
    if (type >= 1 && type <= 0x0D) {
        return NAMES[type];
    }
    if (type == 0xDE) {
        return "Vendor Specific";
    }
    return type == 0xDF ? "TCG Defined" : "Reserved";
}

// Counters of the walk, reported after it.
struct EventCounts {
    unsigned long long suspect = 0, critical = 0, correctable = 0, fatal = 0, non_fatal = 0, link_change = 0,
                       link_inactive = 0, controller_fatal = 0, write_fault = 0, unrecovered_read = 0,
                       end_to_end = 0, miscompare = 0, persistent_memory = 0, volatile_backup = 0,
                       read_only = 0, subsystem_unreliable = 0;
};

// Largest event data any decoded type looks at (hardware error information included).
constexpr std::size_t EVENT_DATA_SEEN = 64;

struct EventData {
    unsigned char bytes[EVENT_DATA_SEEN] = {};
    std::size_t length = 0;  // bytes of it the drive returned
    unsigned long long U64(std::size_t at) const {
        unsigned long long value = 0;
        for (std::size_t i = 8; i-- > 0;) {
            value = (value << 8) | bytes[at + i];
        }
        return value;
    }
};

std::string ThermalDetails(const EventData& d) {
    const unsigned int threshold = d.bytes[1];
    std::string text;
    switch (threshold) {
        case 1:
            text = "Exceeded WCTEMP threshold";
            break;
        case 2:
            text = "Exceeded CCTEMP threshold";
            break;
        case 3:
            text = "Exceeded TMT1 threshold";
            break;
        case 4:
            text = "Exceeded TMT2 threshold";
            break;
        case 5:
            text = "Exceeded vendor specific threshold";
            break;
        case 136:
            text = "Returned below WCTEMP threshold or above Under threshold";
            break;
        case 137:
            text = "Returned below throttle threshold (throttling stopped)";
            break;
        case 176:
            text = "Exceeded Under temperature threshold";
            break;
        default:
            text = threshold >= 240 ? "Vendor specific" : "Unknown type " + std::to_string(threshold);
    }
    // A set bit 7 gives the negative of the low three bits only; earlier files hold it so.
    const int over = d.bytes[0];
    const int delta = (over & 0x80) != 0 ? -(over & 0x07) : over;
    return text + "<br>Delta: " + std::to_string(delta) + " C ";
}

// Details of a hardware error event; raises the event's flags and the counters.
std::string HardwareErrorDetails(const EventData& d, bool& critical, bool& suspect, EventCounts& counts) {
    const unsigned int code = d.bytes[0] | (d.bytes[1] << 8);
    const unsigned char* info = d.bytes + 4;
    const std::size_t info_length = d.length > 4 ? d.length - 4 : 0;
    const unsigned int byte4 = d.bytes[4];
    switch (code) {
        case 1:
            suspect = true;
            ++counts.correctable;
            return "PCIe Correctable Error<br>" + pci_decode(info, info_length, true);
        case 2:
            critical = true;
            ++counts.non_fatal;
            return "PCIe Uncorrectable Non-fatal Error<br>" + pci_decode(info, info_length, false);
        case 3:
            critical = true;
            ++counts.fatal;
            return "PCIe Uncorrectable Fatal Error<br>" + pci_decode(info, info_length, false);
        case 4:
            critical = true;
            ++counts.link_change;
            return "PCIe Link Status Change<br>Link Status Register = 0x" + LowerHex(byte4);
        case 5:
            critical = true;
            return "PCIe Link Not Active";
        case 6: {
            const struct {
                unsigned int bit;
                const char* text;
                bool critical;
                unsigned long long* counter;
            } SMART_ERRORS[] = {
                {5, "Persistent Memory Region Unreliable: ", true, &counts.persistent_memory},
                {4, "Volatile Memory Backup Failed: ", true, &counts.volatile_backup},
                {3, "Media Read-only: ", true, &counts.read_only},
                {2, "NVM Subsystem Unreliable: ", true, &counts.subsystem_unreliable},
                {1, "Exceeded Temperature Threshold: ", false, nullptr},
                {0, "Available Spare Capacity Below Threshold: ", true, nullptr},
            };
            std::string text = "SMART Errors: ";
            for (const auto& error : SMART_ERRORS) {
                if (((byte4 >> error.bit) & 1) == 0) {
                    continue;
                }
                text += error.text;
                critical = critical || error.critical;
                if (error.counter != nullptr) {
                    ++*error.counter;
                }
            }
            return text;
        }
        case 7:
            return "Endurance Group Critical Warning Condition";
        case 8:
            return "Unsafe Shutdown";
        case 9:
            ++counts.controller_fatal;
            return "Controller Fatal Status";
        case 10: {
            critical = true;
            std::string text = "Media and Data Integrity Errors: ";
            if (byte4 == 128) {
                ++counts.write_fault;
                text += "Write fault: ";
            } else if (byte4 == 129) {
                ++counts.unrecovered_read;
                text += "Unrecovered read error: ";
            } else if (byte4 >= 130 && byte4 <= 132) {
                ++counts.end_to_end;
                text += "End-to-end error: ";
            } else if (byte4 == 133) {
                ++counts.miscompare;
                text += "Miscompare error: ";
            }
            return text;
        }
        default:
            return "";
    }
}

// ---------------------------------------------------------------------------
// Reading
// ---------------------------------------------------------------------------

// The kernel's transfer limit of the drive's queues in KiB, the lowest its
// namespace block devices and paths show; 0 when sysfs shows none.
unsigned long long KernelTransferKib(const Json::Value& settings) {
    const std::string drive = settings["common"]["drive"].asString();
    if (drive.empty()) {
        return 0;
    }
    const NvmeBlockDevices devices = GetNvmeBlockDevices(drive, false);
    unsigned long long lowest = 0;
    for (const auto* names : {&devices.paths, &devices.namespaces}) {
        for (const auto& name : *names) {
            std::ifstream file("/sys/class/block/" + name + "/queue/max_hw_sectors_kb");
            unsigned long long kib = 0;
            if (file >> kib && kib != 0 && (lowest == 0 || kib < lowest)) {
                lowest = kib;
            }
        }
    }
    return lowest;
}

// Reads `length` bytes of the log, in pieces of at most `max_transfer` bytes when the drive
// supports offsets; the first piece with `lsp_first`, the others with `lsp_rest`. When the first
// piece holds the page's own length (`own_length` of it, 0 for none), no later piece asks for
// anything past that length.
int ReadLogPagePieces(unsigned int logId, unsigned int length, int fd, unsigned char* buffer,
                      Json::Value& commands, Json::Value& record, unsigned char lsp_first,
                      unsigned char lsp_rest, unsigned long long max_transfer, bool offsets, bool optional,
                      unsigned long long (*own_length)(const unsigned char*, unsigned int) = nullptr) {
    if (max_transfer == 0 || length <= max_transfer || !offsets) {
        return ReadLogPageAt(logId, length, 0, fd, buffer, commands, record, lsp_first, optional);
    }
    const auto first = static_cast<unsigned int>(max_transfer);
    if (const int result = ReadLogPageAt(logId, first, 0, fd, buffer, commands, record, lsp_first, optional);
        result != 0) {
        return result;
    }
    unsigned long long end = length;
    if (own_length != nullptr) {
        // Rounded up to a whole dword, as a piece is a whole number of dwords.
        if (const unsigned long long own = own_length(buffer, first); own < end) {
            end = (own + 3) / 4 * 4;
        }
    }
    for (unsigned long long offset = first; offset < end; offset += max_transfer) {
        const auto piece = static_cast<unsigned int>(std::min(max_transfer, end - offset));
        if (const int result = ReadLogPageAt(logId, piece, offset, fd, buffer + offset, commands, record,
                                             lsp_rest, optional);
            result != 0) {
            return result;
        }
    }
    return 0;
}

// The persistent event log's own length, from its header (Total Log Length).
unsigned long long EventLogLength(const unsigned char* data, unsigned int length) {
    return CopyRecord<ORKA_NVME_EVENT_LOG_HEADER>(data, length).TLL.get();
}

// Log pages every controller has; a drive that rejects one of them fails the read.
bool MandatoryLogPage(unsigned int logId) {
    return logId == 0x01 || logId == 0x02 || logId == 0x03;
}

// The value of a parameter the decoder just wrote, as a count.
unsigned long long CountParameter(const Json::Value& info, const std::string& name) {
    std::string text = info["nvme"]["parameters"][name]["value"].asString();
    RemoveCommas(text);
    long long count = 0;
    return ToLongLong(text, count) && count > 0 ? static_cast<unsigned long long>(count) : 0;
}

LogPageDecoder DecoderOf(unsigned int logId) {
    switch (logId) {
        case 0x01:
            return ConvertLogPage1;
        case 0x02:
            return ConvertLogPage2;
        case 0x03:
            return ConvertLogPage3;
        case 0x05:
            return ConvertLogPage5;
        case 0x06:
            return ConvertLogPage6;
        case 0x0D:
            return ConvertLogPage0D;
        default:
            return nullptr;
    }
}

std::string SwitchName(unsigned int logId) {
    return "read log page " + ToHexString(logId, 2).substr(2) + "h";
}

}  // namespace

// ---------------------------------------------------------------------------
// Commands
// ---------------------------------------------------------------------------

std::pair<unsigned int, unsigned int> LogPageDwords(unsigned int logId, unsigned int length,
                                                    unsigned char lsp) {
    // NUMD is zero-based: the command asks for exactly the bytes of the buffer it hands over.
    const unsigned int dwords = length / 4 - 1;
    return {logId | ((static_cast<unsigned int>(lsp) << 8) & 0xF00) | ((dwords & 0xFFFF) << 16),
            dwords >> 16};
}

int ReadLogPageAt(unsigned int logId, unsigned int length, unsigned long long offset, int fd,
                  unsigned char* buffer, Json::Value& commands, Json::Value& record, unsigned char lsp,
                  bool optional) {
    if (length < 4 || length % 4 != 0) {
        throw OrkaError("Get Log Page " + ToHexString(logId, 2) + " of " + std::to_string(length) +
                        " bytes: a log page is read in whole dwords");
    }
    const auto [cdw10, cdw11] = LogPageDwords(logId, length, lsp);
    return NvmeAdminCommand(fd, "Get Log Page " + ToHexString(logId, 2), commands, record, 0x02,
                            ALL_NAMESPACES, cdw10, cdw11, static_cast<unsigned int>(offset),
                            static_cast<unsigned int>(offset >> 32), 0, 0, buffer, nullptr, length, false,
                            optional);
}

int ReadLogPage(unsigned int logId, unsigned int length, int fd, unsigned char* buffer, Json::Value& commands,
                Json::Value& record, unsigned char lsp, bool optional) {
    return ReadLogPageAt(logId, length, 0, fd, buffer, commands, record, lsp, optional);
}

unsigned long long MaxTransferLength(unsigned char mdts, unsigned long long kernel_kib) {
    // Beyond 2^20 pages the controller's limit is far above anything the tool reads.
    unsigned long long limit = mdts == 0 || mdts > 20 ? 0 : 4096ULL << mdts;
    if (kernel_kib != 0 && kernel_kib < (1ULL << 40)) {
        const unsigned long long kernel = kernel_kib * 1024;
        limit = limit == 0 ? kernel : std::min(limit, kernel);
    }
    return limit;
}

namespace {

// GetLogPage of a page whose switch is on, with the kernel's transfer limit already looked up.
int CollectLogPage(unsigned int logId, unsigned int length, int fd, Json::Value& info, Json::Value& record,
                   const Json::Value& settings, const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller,
                   unsigned int& highest_version, unsigned long long kernel_kib) {
    const std::string failed = "Failed to read log page " + ToHexString(logId, 2) + " : ";
    try {
        if (length == 0 || length > MAX_LOG_PAGE_LENGTH) {
            throw OrkaError("length " + std::to_string(length) + " is not between 1 and " +
                            std::to_string(MAX_LOG_PAGE_LENGTH) + " bytes");
        }
        std::vector<unsigned char> buffer(length, 0);
        Json::Value& commands = CommandList(info);
        const unsigned long long max_transfer = MaxTransferLength(controller.MDTS, kernel_kib);
        const bool offsets = GetBits(controller.LPA, Bit(2)) == 1;
        const bool optional = !MandatoryLogPage(logId);
        if (logId == 0x0D) {
            // The persistent event log is read inside a context: release any old one, establish
            // a new one with the first read, release it at the end.
            unsigned char scratch[512];
            if (ReadLogPage(logId, sizeof scratch, fd, scratch, commands, record, 2, optional) != 0 ||
                ReadLogPagePieces(logId, length, fd, buffer.data(), commands, record, 1, 0, max_transfer,
                                  offsets, optional, EventLogLength) != 0 ||
                ReadLogPage(logId, sizeof scratch, fd, scratch, commands, record, 2, optional) != 0) {
                return 1;
            }
        } else if (ReadLogPagePieces(logId, length, fd, buffer.data(), commands, record, 0, 0, max_transfer,
                                     offsets, optional) != 0) {
            return 1;
        }

        unsigned long long dump = length;
        int result = 0;
        if (const LogPageDecoder decoder = DecoderOf(logId); decoder != nullptr) {
            result = decoder(info, buffer.data(), length, controller, highest_version);
        }
        if (logId == 0x01) {
            dump = 64 * CountParameter(info, "Total Errors") + 8;
        } else if (logId == 0x0D) {
            // Up to the Total Log Length, or all that was read when the drive claims more.
            dump = CopyRecord<ORKA_NVME_EVENT_LOG_HEADER>(buffer.data(), length).TLL.get();
        }
        if (settings["log hex data"].asBool()) {
            FormatHexData(reinterpret_cast<const char*>(buffer.data()),
                          static_cast<unsigned int>(std::min<unsigned long long>(dump, length)),
                          info["raw hex data"]["log page " + ToHexString(logId, 2)]);
        }
        return result;
    } catch (const std::exception& error) {
        LOG_ERROR << failed << error.what();
    } catch (...) {
        LOG_ERROR << failed << "Unknown exception";
    }
    return 1;
}

}  // namespace

int GetLogPage(unsigned int logId, unsigned int length, int fd, Json::Value& info, Json::Value& record,
               const Json::Value& settings, const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller,
               unsigned int& highest_version) {
    if (!settings[SwitchName(logId)].asBool()) {
        return 0;
    }
    return CollectLogPage(logId, length, fd, info, record, settings, controller, highest_version,
                          KernelTransferKib(settings));
}

void GetLogPages(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int& highest_version) {
    // The kernel's limit is looked up in sysfs once for all the pages of a sample.
    const unsigned long long kernel_kib = KernelTransferKib(settings);
    const auto page = [&](unsigned int logId, unsigned long long length) {
        if (!settings[SwitchName(logId)].asBool()) {
            return;
        }
        if (length > MAX_LOG_PAGE_LENGTH) {
            LOG_ERROR << "Failed to read log page " << ToHexString(logId, 2) << " : length " << length
                      << " is not between 1 and " << MAX_LOG_PAGE_LENGTH << " bytes";
            return;
        }
        CollectLogPage(logId, static_cast<unsigned int>(length), fd, info, record, settings, controller,
                       highest_version, kernel_kib);
    };
    page(0x01, (controller.ELPE + 1ULL) * 64);
    page(0x02, LOGPAGE_02_LENGTH);
    page(0x03, LOGPAGE_03_LENGTH);
    if (GetBits(controller.OAES.get(), Bit(8)) == 1) {
        page(0x04, LOGPAGE_04_LENGTH);
    }
    if (GetBits(controller.LPA, Bit(1)) == 1) {
        page(0x05, LOGPAGE_05_LENGTH);
    }
    if (GetBits(controller.OACS.get(), Bit(4)) == 1) {
        page(0x06, LOGPAGE_06_LENGTH);
    }
    if (GetBits(controller.LPA, Bit(3)) == 1) {
        for (unsigned int logId : {0x07U, 0x08U}) {
            if (!settings[SwitchName(logId)].asBool()) {
                continue;
            }
            unsigned char header[TELEMETRY_HEADER_LENGTH] = {};
            if (ReadLogPage(logId, sizeof header, fd, header, CommandList(info), record, 0, true) != 0) {
                continue;
            }
            page(logId, ConvertTelemetryHeader(logId, info, header, sizeof header));
        }
    }
    if (GetBits(controller.LPA, Bit(4)) == 1) {
        page(0x0D, controller.PELS.get() * 65536ULL);
    }
}

// ---------------------------------------------------------------------------
// Decoders
// ---------------------------------------------------------------------------

int ConvertLogPage1(Json::Value& info, const unsigned char* data, std::size_t length,
                    const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int& highest_version) {
    const auto page = CopyRecord<ORKA_NVME_LOGPAGE_01_DATA>(data, length);
    const unsigned int version = controller.VER.get();
    Json::Value& list = info["nvme"]["error log"];
    list = Json::Value(Json::arrayValue);
    // ELPE is zero-based but is used as a count, so the last entry it reports is not visited.
    const unsigned int entries = std::min<unsigned int>(controller.ELPE, MAX_LOGPAGE1_ERRORS);
    for (unsigned int i = 0; i < entries; ++i) {
        if (page.ENTRY[i].ERRCNT.get() != 0) {
            list.append(ErrorEntry(page.ENTRY[i], version, highest_version));
        }
    }
    AddParameter(info["nvme"]["parameters"], "Total Errors", ToNumberString(list.size()));
    return 0;
}

int ConvertLogPage2(Json::Value& info, const unsigned char* data, std::size_t length,
                    const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int& highest_version) {
    const auto smart = CopyRecord<Smart>(data, length);
    const unsigned int version = controller.VER.get();
    Json::Value& parameters = info["nvme"]["parameters"];
    decode::AddDecodedRows(SMART_ROWS, smart, version, highest_version, parameters);
    for (unsigned int sensor = 0; sensor < MAX_TEMP_SENSORS; ++sensor) {
        const unsigned int kelvin = smart.TSEN[sensor].get();
        if (kelvin != 0) {
            AddParameter(parameters, "Temperature Sensor " + std::to_string(sensor + 1),
                         ToTemp(static_cast<unsigned short>(kelvin)));
        }
    }
    const bool thermal_management = GetBits(controller.HCTMA.get(), Bit(0)) == 1;
    // Held in 32 signed bits, as earlier files were made.
    std::int32_t throttled = static_cast<std::int32_t>((smart.WCTT.get() + smart.CCTT.get()) * 60U);
    if (thermal_management) {
        highest_version = std::max(highest_version, VERSION_1_3_0);
        decode::AddDecodedRows(THERMAL_ROWS, smart, version, highest_version, parameters);
        throttled = static_cast<std::int32_t>(static_cast<std::uint32_t>(throttled) + smart.TTTMT1.get() +
                                              smart.TTTMT2.get());
    }
    const auto hours = static_cast<std::uint64_t>(To128bitNumber(smart.POH) & ~std::uint64_t{0});
    AddParameter(parameters, "Seconds Throttled", std::to_string(throttled));
    AddParameter(parameters, "Minutes Throttled", ToFloatNumberString(throttled / 60.0, 1) + " Min");
    AddParameter(parameters, "Percent Throttled",
                 ToFloatNumberString((throttled / 3600) * 100.0 / static_cast<double>(hours), 1) + " %");
    return 0;
}

int ConvertLogPage3(Json::Value& info, const unsigned char* data, std::size_t length,
                    const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int&) {
    const auto slots = CopyRecord<ORKA_NVME_LOGPAGE_03_DATA>(data, length);
    Json::Value& parameters = info["nvme"]["parameters"];
    AddParameter(parameters, "Firmware Active Slot", std::to_string(GetBits(slots.AFI, AFI_ACTIVE)));
    const unsigned int next = GetBits(slots.AFI, AFI_NEXT);
    AddParameter(parameters, "Firmware Pending Slot",
                 next == 0 ? decode::NOT_REPORTED : std::to_string(next));
    const unsigned int count = std::min(GetBits(controller.FRMW, BitField{1, 3}), MAXIMUM_FIRMWARE_SLOTS);
    for (unsigned int slot = 0; slot < count; ++slot) {
        const char* revision = slots.FRS[slot];
        const bool filled = std::any_of(revision, revision + 8, [](char c) { return c != 0; });
        AddParameter(parameters, "Firmware Slot " + std::to_string(slot + 1) + " Revision",
                     filled ? std::string(revision, 8) : "");
    }
    return 0;
}

int ConvertLogPage5(Json::Value& info, const unsigned char* data, std::size_t length,
                    const ORKA_NVME_IDENTIFY_CONTROLLER_DATA&, unsigned int&) {
    const auto effects = CopyRecord<ORKA_NVME_LOGPAGE_05_DATA>(data, length);
    Json::Value& list = info["nvme"]["command log"];
    list = Json::Value(Json::arrayValue);
    // Lists the supported commands of one set and returns how many there are.
    const auto supported = [&list](const le32* set, const std::string& kind) {
        unsigned int count = 0;
        for (unsigned int opcode = 0; opcode < 256; ++opcode) {
            if (GetBits(set[opcode].get(), EFFECTS_CSUPP) == 1) {
                ++count;
                list.append(EffectsEntry(kind + " Command " + std::to_string(opcode), set[opcode].get()));
            }
        }
        return count;
    };
    const unsigned int admin = supported(effects.ACS, "Admin");
    const unsigned int io = supported(effects.IOCS, "IO");
    AddParameter(info["nvme"]["parameters"], "Supported Admin Commands", std::to_string(admin));
    AddParameter(info["nvme"]["parameters"], "Supported IO Commands", std::to_string(io));
    return 0;
}

int ConvertLogPage6(Json::Value& info, const unsigned char* data, std::size_t length,
                    const ORKA_NVME_IDENTIFY_CONTROLLER_DATA&, unsigned int&) {
    const auto log = CopyRecord<ORKA_NVME_LOGPAGE_06_DATA>(data, length);
    Json::Value& list = info["nvme"]["self-test log"];
    list = Json::Value(Json::arrayValue);
    Json::Value& parameters = info["nvme"]["parameters"];
    AddParameter(parameters, "Current Self-Test Operation", SelfTestOperation(log.CDSTO));
    AddParameter(parameters, "Current Self-Test Completion", std::to_string(log.CDSTC));
    unsigned int failed = 0;
    for (unsigned int i = 0; i < MAX_SELF_TESTS; ++i) {
        const ORKA_NVME_SELF_TEST_RESULT& r = log.RESULT[i];
        const unsigned int result = GetBits(r.STATUS, SELF_TEST_RESULT);
        if (result == 15) {
            continue;
        }
        failed += result >= 5 && result <= 7 ? 1 : 0;
        Json::Value entry(Json::objectValue);
        entry[Json::StaticString("Entry")] = i + 1;
        entry[Json::StaticString("Result")] = SelfTestResult(result);
        entry[Json::StaticString("Result Code")] = std::to_string(result);
        entry[Json::StaticString("Type")] = SelfTestType(GetBits(r.STATUS, SELF_TEST_CODE));
        if (result == 7) {
            entry[Json::StaticString("Segment Number")] = std::to_string(r.SEGN);
        }
        if (GetBits(r.VDI, Bit(0)) == 1) {
            entry[Json::StaticString("Namespace ID")] = std::to_string(r.NSID.get());
        }
        if (GetBits(r.VDI, Bit(1)) == 1) {
            entry[Json::StaticString("Failing LBA")] = ToNumberString(r.FLBA.get());
        }
        if (GetBits(r.VDI, Bit(2)) == 1) {
            entry[Json::StaticString("Status Code Type")] = std::to_string(r.SCT);
        }
        if (GetBits(r.VDI, Bit(3)) == 1) {
            entry[Json::StaticString("Status Code")] = std::to_string(r.SC);
        }
        entry[Json::StaticString("Power On Hours")] = ToNumberString(r.POH.get());
        list.append(std::move(entry));
    }
    AddParameter(parameters, "Current Number Of Self-Tests", std::to_string(list.size()));
    AddParameter(parameters, "Number Of Failed Self-Tests", std::to_string(failed));
    return 0;
}

unsigned long long ConvertTelemetryHeader(unsigned int logId, Json::Value& info, const unsigned char* data,
                                          std::size_t length) {
    const auto header = CopyRecord<ORKA_NVME_TELEMETRY_HEADER>(data, length);
    FormatHexData(reinterpret_cast<const char*>(&header), sizeof header,
                  info["raw hex data"]["log page " + std::to_string(logId) + " pre"]);
    return header.DA3LB.get() * 512ULL;
}

std::string pci_decode(const unsigned char* info, std::size_t length, bool correctable) {
    const auto pcie = CopyRecord<ORKA_NVME_PCIE_ERROR_INFO>(info, length);
    static const BitText DEVICE_STATUS[] = {{0, ": Correctable error"},
                                            {1, ": Non-fatal error"},
                                            {2, ": Fatal error"},
                                            {3, ": Unsupported request"}};
    static const BitText CORRECTABLE[] = {{0, ": Receiver error"},
                                          {6, ": Bad TLP error"},
                                          {7, ": Bad DLLP error"},
                                          {8, ": Replay rollover error"},
                                          {12, ": Replay timer timeout"},
                                          {13, ": Advisory non-fatal error"},
                                          {14, ": Corrected Internal error"},
                                          {15, ": Header log overflow error"}};
    static const BitText UNCORRECTABLE[] = {{12, ": Poisoned TLP error"},
                                            {13, ": Flow control protocol error"},
                                            {14, ": Completion timeout"},
                                            {15, ": Completion abort error"},
                                            {16, ": Unexpected completion"},
                                            {17, ": Receiver overflow error"},
                                            {18, ": Malformed TLP"},
                                            {19, ": ECRC error"},
                                            {20, ": Unsupported request error"},
                                            {21, ": ACS violation error"},
                                            {22, ": Uncorrectable internal error"},
                                            {23, ": MC block TLP error"},
                                            {24, ": AtomicOp egress blocked error"},
                                            {25, ": TLP prefix block error"}};
    const unsigned int status = pcie.DEVSTS.get();
    std::string text = " Device Status = 0x" + LowerHex(status) + " " +
                       BitTexts(status, std::begin(DEVICE_STATUS), std::end(DEVICE_STATUS));
    if (pcie.AERFLAG.get() != 1) {
        return text + "<br>PCI AER not supported";
    }
    if (correctable) {
        const unsigned int aer = pcie.AER.get() & 0xFFFF;
        return text + "<br>Correctable AER = 0x" + LowerHex(aer) + " " +
               BitTexts(aer, std::begin(CORRECTABLE), std::end(CORRECTABLE));
    }
    const unsigned int aer = pcie.AER.get();
    return text + "<br>Uncorrectable AER = 0x" + LowerHex(aer) + " " +
           BitTexts(aer, std::begin(UNCORRECTABLE), std::end(UNCORRECTABLE));
}

int ConvertLogPage0D(Json::Value& info, const unsigned char* data, std::size_t length,
                     const ORKA_NVME_IDENTIFY_CONTROLLER_DATA&, unsigned int&) {
    const auto header = CopyRecord<ORKA_NVME_EVENT_LOG_HEADER>(data, length);
    Json::Value& parameters = info["nvme"]["parameters"];
    const unsigned long long events = header.TNEV.get();
    const unsigned long long stamp = header.TS.get() & TIMESTAMP_MASK;
    AddParameter(parameters, "Total Events", std::to_string(events));
    AddParameter(parameters, "Power Cycle Count", ToNumberString(header.PCC.get()));
    AddParameter(parameters, "Event Log Timestamp", ToNumberString(stamp) + " mS");
    AddParameter(parameters, "Event Log Time", MillisecondsToDate(stamp));
    AddParameter(parameters, "Event Log Power On Hours", Big(header.POH));
    for (const auto& event : SUPPORTED_EVENTS) {
        AddParameter(parameters, event.name, ToSupported((header.SEB[event.byte] >> event.bit) & 1));
    }

    Json::Value& list = info["nvme"]["event log"];
    list = Json::Value(Json::arrayValue);
    EventCounts counts;
    // The walk ends at the Total Log Length (at most the walk limit), and never goes past the
    // bytes actually read, whatever the header and the events claim.
    const std::size_t limit =
        static_cast<std::size_t>(std::min<unsigned long long>({header.TLL.get(), EVENT_WALK_LIMIT, length}));
    const std::size_t start = EVENT_LOG_HEADER_LENGTH;
    std::size_t position = start;
    for (unsigned long long index = 0; index < events && position < limit; ++index) {
        const auto event = CopyRecord<ORKA_NVME_EVENT_HEADER>(data + position, limit - position);
        const std::size_t header_end = position + event.EHL + 3U;
        const std::size_t event_end = header_end + event.EL.get();
        const std::size_t data_start = header_end + event.VSIL.get();
        EventData details_data;
        if (data_start < std::min(event_end, limit)) {
            details_data.length = std::min(event_end, limit) - data_start;
            std::memcpy(details_data.bytes, data + data_start,
                        std::min(details_data.length, EVENT_DATA_SEEN));
        }
        bool critical = false;
        bool suspect = false;
        std::string details;
        if (event.ETYPE == 0x03) {
            const unsigned long long previous = details_data.U64(0);
            details = "Changed from :" + MillisecondsToDate(previous & TIMESTAMP_MASK) +
                      "<br> Milliseconds from controller reset: " + ToNumberString(previous + 8) + " mS";
        } else if (event.ETYPE == 0x05) {
            details = HardwareErrorDetails(details_data, critical, suspect, counts);
        } else if (event.ETYPE == 0x0D) {
            details = ThermalDetails(details_data);
        }
        const unsigned long long when = event.EVTTS.get() & TIMESTAMP_MASK;
        Json::Value record(Json::objectValue);
        record[Json::StaticString("Entry")] = std::to_string(index);
        record[Json::StaticString("Type")] = Json::StaticString(EventTypeName(event.ETYPE));
        record[Json::StaticString("Details")] = details;
        record[Json::StaticString("Time")] = MillisecondsToDate(when);
        record[Json::StaticString("Timestamp")] = ToNumberString(when) + " mS";
        record[Json::StaticString("Controller")] = std::to_string(event.CNTLID.get());
        if (critical) {
            ++counts.critical;
            record[Json::StaticString("Health")] = Json::StaticString("Critical");
        } else if (suspect) {
            ++counts.suspect;
            record[Json::StaticString("Health")] = Json::StaticString("Suspect");
        } else {
            record[Json::StaticString("Health")] = Json::StaticString("Good");
        }
        list.append(std::move(record));
        position = event_end;
        if (position - start > limit - start) {
            break;
        }
    }

    // The link-inactive counter is never raised, and the end-to-end and miscompare lines report
    // the unrecovered read count: earlier information files hold these values.
    const std::pair<const char*, unsigned long long> summary[] = {
        {"Suspect Persistent Events", counts.suspect},
        {"Critical Persistent Events", counts.critical},
        {"PCIe Correctable Errors", counts.correctable},
        {"PCIe Uncorrectable Fatal Errors", counts.fatal},
        {"PCIe Uncorrectable Non-fatal Errors", counts.non_fatal},
        {"PCIe Link Status Change Events", counts.link_change},
        {"PCIe Link Inactive Events", counts.link_inactive},
        {"Controller Fatal Events", counts.controller_fatal},
        {"Write Fault Errors", counts.write_fault},
        {"Unrecovered Read Errors", counts.unrecovered_read},
        {"End-to-end Check Errors", counts.unrecovered_read},
        {"Miscompare Errors", counts.unrecovered_read},
        {"Persistent Memory Unreliable Events", counts.persistent_memory},
        {"Volatile Backup Memory Failure Events", counts.volatile_backup},
        {"Media Read-only Events", counts.read_only},
        {"NVM Subsystem Unreliable Events", counts.subsystem_unreliable},
    };
    for (const auto& [name, count] : summary) {
        AddParameter(parameters, name, std::to_string(count));
    }
    return 0;
}

}  // namespace orka
