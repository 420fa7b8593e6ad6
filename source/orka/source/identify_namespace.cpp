// Identify Namespace decoding.
#include "identify_namespace.h"

#include <algorithm>
#include <chrono>
#include <iomanip>
#include <sstream>
#include <string>

#include "decode_table.h"
#include "nvme_admin_command.h"
#include "orka.h"
#include "orka_nvme.h"

namespace orka {

namespace {

using Data = ORKA_NVME_IDENTIFY_NAMESPACE_DATA;

using decode::Bit;
using decode::Gate;
using decode::NOT_REPORTED;
using decode::RESERVED;
using decode::WHOLE;
using Row = decode::Row<Data>;
template <auto Member>
constexpr Row::Reader Field = &decode::Field<Member, Data>;
constexpr Row::Format Supported = &decode::Supported<Data>;
constexpr Row::Format Decimal = &decode::Decimal<Data>;
constexpr Row::Format Number = &decode::Number<Data>;
constexpr Row::Format NumberOrNotSupported = &decode::NumberOrNotSupported<Data>;
constexpr Row::Format NumberOrNotReported = &decode::NumberOrNotReported<Data>;
// Only one namespace is reported, always under this name.
const std::string NAMESPACE = "Namespace 1";

bool Flag(unsigned char field, unsigned int bit) {
    return GetBits(field, Bit(bit)) == 1;
}

// ---------------------------------------------------------------------------
// Value formats of this structure
// ---------------------------------------------------------------------------

std::string NumberOrNoBoundaries(const Data&, unsigned int value) {
    return value == 0 ? "No boundaries" : ToNumberString(value);
}
// NAWUN, NAWUPF and NACWU mean something only when NSFEAT bit 1 says so.
std::string AtomicUnit(const Data& data, unsigned int value, const char* same_as) {
    if (!Flag(data.NSFEAT, 1)) {
        return RESERVED;
    }
    return value == 0 ? same_as : ToNumberString(value);
}

// The preferred granularities mean something only when NSFEAT bit 4 says so.
std::string IoOptimization(const Data& data, unsigned int value) {
    return Flag(data.NSFEAT, 4) ? ToNumberString(value + 1) : RESERVED;
}

using Condition = Row::Condition;

bool FormatInProgress(const Data& data) {
    return GetBits(data.FPI, FPI_SUPPORTED) == 1;
}

// ---------------------------------------------------------------------------
// The decode table, in output order
// ---------------------------------------------------------------------------

using N = Data;

const Row NAMESPACE_ROWS[] = {
    {" Size in LBA (NSZE)", nullptr, WHOLE, Gate::kAlways,
     [](const Data& d, unsigned int) { return ToNumberString(d.NSZE.get()); }},
    {" Capacity (NCAP)", nullptr, WHOLE, Gate::kAlways,
     [](const Data& d, unsigned int) { return ToNumberString(d.NCAP.get()); }},
    {" Utilization (NUSE)", nullptr, WHOLE, Gate::kAlways,
     [](const Data& d, unsigned int) { return ToNumberString(d.NUSE.get()); }},
    {" Thin Provisioning", Field<&N::NSFEAT>, Bit(0), Gate::kAlways, Supported},
    {" Atomic Writes", Field<&N::NSFEAT>, Bit(1), Gate::kAlways, Supported},
    {" Logical Block Error", Field<&N::NSFEAT>, Bit(2), Gate::kAlways, Supported},
    {" NGUID/EUID Not Reused", Field<&N::NSFEAT>, Bit(3), Gate::kVersion13, Supported},
    {" IO Optimize Fields", Field<&N::NSFEAT>, Bit(4), Gate::kVersion14, Supported},
    {" Number of LBA Formats (NLBAF)", Field<&N::NLBAF>, WHOLE, Gate::kAlways,
     [](const Data&, unsigned int v) { return std::to_string(v + 1); }},
    {" Extended Data LBA", Field<&N::FLBAS>, FLBAS_EXTENDED, Gate::kAlways, Supported},
    {" Active LBA Format", Field<&N::FLBAS>, FLBAS_FORMAT, Gate::kAlways, Decimal},
    {" Metadata Transfer Buffer", Field<&N::MC>, Bit(1), Gate::kAlways, Supported},
    {" Metadata Transfer Extended LBA", Field<&N::MC>, Bit(0), Gate::kAlways, Supported},
    {" Protection Type 1", Field<&N::DPC>, Bit(0), Gate::kAlways, Supported},
    {" Protection Type 2", Field<&N::DPC>, Bit(1), Gate::kAlways, Supported},
    {" Protection Type 3", Field<&N::DPC>, Bit(2), Gate::kAlways, Supported},
    {" Protection First", Field<&N::DPC>, Bit(3), Gate::kAlways, Supported},
    {" Protection Last", Field<&N::DPC>, Bit(4), Gate::kAlways, Supported},
    {" Protection Information Enabled", Field<&N::DPS>, DPS_TYPE, Gate::kAlways,
     [](const Data&, unsigned int v) -> std::string {
         switch (v) {
             case 0:
                 return "Disabled";
             case 1:
                 return "Type 1";
             case 2:
                 return "Type 2";
             case 3:
                 return "Type 3";
             default:
                 return RESERVED;
         }
     }},
    {" Protection Information First", Field<&N::DPS>, DPS_FIRST, Gate::kAlways,
     [](const Data&, unsigned int b) -> std::string { return b == 1 ? "First 8 Bytes" : "Last 8 Bytes"; }},
    {" Shared", Field<&N::NMIC>, Bit(0), Gate::kAlways, Supported},
    {" Persist Through Power Loss", Field<&N::RESCAP>, Bit(0), Gate::kAlways, Supported},
    {" Write Exclusive Reservation", Field<&N::RESCAP>, Bit(1), Gate::kAlways, Supported},
    {" Exclusive Access Reservation", Field<&N::RESCAP>, Bit(2), Gate::kAlways, Supported},
    {" Write Exclusive Registrants Only Reservation", Field<&N::RESCAP>, Bit(3), Gate::kAlways, Supported},
    {" Exclusive Access Registrants Only Reservation", Field<&N::RESCAP>, Bit(4), Gate::kAlways, Supported},
    {" Write Exclusive All Registrants Reservation", Field<&N::RESCAP>, Bit(5), Gate::kAlways, Supported},
    {" Exclusive Access All Registrants Reservation", Field<&N::RESCAP>, Bit(6), Gate::kAlways, Supported},
    {" Ignore Existing Key Specification", Field<&N::RESCAP>, Bit(7), Gate::kVersion13,
     [](const Data&, unsigned int b) -> std::string { return b == 1 ? "1.3 or later" : "1.2.1 or earlier"; }},
    {" Format Progress Indicator", Field<&N::FPI>, FPI_SUPPORTED, Gate::kAlways, Supported},
    {" Format Percent Complete", Field<&N::FPI>, FPI_PERCENT, Gate::kAlways, Number, FormatInProgress},
    {" Deallocate Guard Field", Field<&N::DLFEAT>, Bit(4), Gate::kVersion13, Supported, nullptr, nullptr,
     Field<&N::DLFEAT>},
    {" Deallocate Bit in Write Zeros", Field<&N::DLFEAT>, Bit(3), Gate::kVersion13, Supported, nullptr,
     nullptr, Field<&N::DLFEAT>},
    {" Deallocate Logical Block Value", Field<&N::DLFEAT>, BitField{0, 3}, Gate::kVersion13,
     [](const Data&, unsigned int v) -> std::string {
         switch (v) {
             case 0:
                 return NOT_REPORTED;
             case 1:
                 return "All 00h";
             case 2:
                 return "All FFh";
             default:
                 return RESERVED;
         }
     },
     nullptr, nullptr, Field<&N::DLFEAT>},
    {" Atomic Write Unit Normal (NAWUN)", Field<&N::NAWUN>, WHOLE, Gate::kAlways,
     [](const Data& d, unsigned int v) { return AtomicUnit(d, v, "Same as AWUN"); }},
    {" Atomic Write Unit Power Fail (NAWUPF)", Field<&N::NAWUPF>, WHOLE, Gate::kAlways,
     [](const Data& d, unsigned int v) { return AtomicUnit(d, v, "Same as AWUPF"); }},
    {" Atomic Compare & Write Unit (NACWU)", Field<&N::NACWU>, WHOLE, Gate::kAlways,
     [](const Data& d, unsigned int v) { return AtomicUnit(d, v, "Same as ACWU"); }},
    {" Atomic Boundary Size Normal (NABSN)", Field<&N::NABSN>, WHOLE, Gate::kAlways, NumberOrNoBoundaries},
    {" Atomic Boundary Offset (NABO)", Field<&N::NABO>, WHOLE, Gate::kAlways, Number},
    {" Atomic Boundary Size Power Fail (NABSPF)", Field<&N::NABSPF>, WHOLE, Gate::kAlways,
     NumberOrNoBoundaries},
    {" Optimal IO Boundary (NOIOB)", Field<&N::NOIOB>, WHOLE, Gate::kVersion13, NumberOrNotReported},
    {" NVM Capacity (NVMCAP)", nullptr, WHOLE, Gate::kAlways,
     [](const Data& d, unsigned int) { return ToBigNumberString(To128bitNumber(d.NVMCAP)); }},
    {" Preferred Write Granularity (NPWG)", Field<&N::NPWG>, WHOLE, Gate::kVersion14, IoOptimization},
    {" Preferred Write Alignment (NPWA)", Field<&N::NPWA>, WHOLE, Gate::kVersion14, IoOptimization},
    {" Preferred Deallocate Granularity (NPDG)", Field<&N::NPDG>, WHOLE, Gate::kVersion14, IoOptimization},
    {" Preferred Deallocate Alignment (NPDA)", Field<&N::NPDA>, WHOLE, Gate::kVersion14, IoOptimization},
    {" Optimal Write Size (NOWS)", Field<&N::NOWS>, WHOLE, Gate::kVersion14, IoOptimization},
    {" ANA Group Identifier (ANAGRPID)", Field<&N::ANAGRPID>, WHOLE, Gate::kVersion14, NumberOrNotReported},
    {" Write Protected", Field<&N::NSATTR>, Bit(0), Gate::kVersion14,
     [](const Data&, unsigned int b) { return ToYes(b); }},
    {" NVM Set Identifier (NVMSETID)", Field<&N::NVMSETID>, WHOLE, Gate::kVersion14, NumberOrNotSupported},
    {" Endurance Group Identifier (ENDGID)", Field<&N::ENDGID>, WHOLE, Gate::kVersion14,
     NumberOrNotSupported},
    {" Globally Unique Identifier (NGUID)", nullptr, WHOLE, Gate::kAlways,
     [](const Data& d, unsigned int) { return GetNguid(d.NGUID); }},
    {" IEEE Extended Unique Identifier (EUI64)", nullptr, WHOLE, Gate::kAlways,
     [](const Data& d, unsigned int) { return GetEuid(d.EUI64); }},
};

std::string RelativePerformance(unsigned int rp) {
    switch (rp) {
        case 0:
            return "Best Performance";
        case 1:
            return "Better Performance";
        case 2:
            return "Good Performance";
        default:
            return "Degraded Performance";
    }
}

}  // namespace

int ReadIdentifyNamespace(NVME_ID fd, int nsid, ORKA_NVME_IDENTIFY_NAMESPACE_DATA& data,
                          Json::Value& commands, Json::Value& more_commands) {
    return NvmeAdminCommand(
        fd, "Identify Namespace 1", commands, more_commands, 0x06, static_cast<unsigned int>(nsid), 0, 0, 0,
        0, 0, 0, reinterpret_cast<unsigned char*>(&data), nullptr, IDENTIFY_NAMESPACE_LENGTH, false);
}

void DecodeIdentifyNamespace(const ORKA_NVME_IDENTIFY_NAMESPACE_DATA& data, Json::Value& info, bool raw_hex,
                             unsigned int version, unsigned int& highest_version) {
    const TimePoint start = std::chrono::system_clock::now();
    if (raw_hex) {
        FormatHexData(reinterpret_cast<const char*>(&data), IDENTIFY_NAMESPACE_LENGTH,
                      info["raw hex data"]["Identify Namespace 1"]);
    }

    Json::Value& parameters = info["nvme"]["parameters"];
    decode::AddDecodedRows(NAMESPACE_ROWS, data, version, highest_version, parameters, NAMESPACE);

    // NLBAF may claim more formats than the structure holds.
    const unsigned int formats = std::min<unsigned int>(data.NLBAF + 1U, MAX_LBA);
    const unsigned int in_use = GetBits(data.FLBAS, FLBAS_FORMAT);
    unsigned int block_size = 0;
    for (unsigned int index = 0; index < formats; ++index) {
        const ORKA_NVME_LBA_FORMAT& format = data.LBAF[index];
        const std::string prefix = NAMESPACE + " LBA " + std::to_string(index);
        const std::string mark = index == in_use ? " *" : "";
        const unsigned int metadata = format.MS.get();
        if (metadata != 0) {
            AddParameter(parameters, prefix + " Metadata Size (MS)", std::to_string(metadata));
        }
        if (format.LBADS != 0) {
            AddParameter(parameters, prefix + " Data Size (LBADS)",
                         ToPowerOfTwo(static_cast<unsigned int>(format.LBADS)) + mark);
        }
        AddParameter(parameters, prefix + " Relative Performance (RP)",
                     RelativePerformance(GetBits(format.RP, LBAF_RP)) + mark);
        if (index == in_use) {
            block_size = format.LBADS < 32 ? 1U << format.LBADS : 0;
        }
    }

    if (in_use < formats) {
        const double bytes = static_cast<double>(data.NSZE.get() * block_size);
        AddParameter(parameters, NAMESPACE + " Size", ToFixedString(bytes / 1000 / 1000 / 1000, 0) + " GB");
        AddParameter(parameters, NAMESPACE + " Size in GiB",
                     ToFixedString(bytes / 1024 / 1024 / 1024, 1) + " GiB");
    }

    LOG_VERBOSE << "Identify namespace binary data converted to JSON in " << GetHiResDiffTimeString(start, 3);
}

int GetIdentifyNamespace(NVME_ID fd, ORKA_NVME_IDENTIFY_NAMESPACE_DATA& data, unsigned int nsid,
                         Json::Value& info, bool raw_hex, unsigned int version, unsigned int& highest_version,
                         Json::Value& more_commands) {
    Json::Value& commands = CommandList(info);
    const int result = ReadIdentifyNamespace(fd, static_cast<int>(nsid), data, commands, more_commands);
    if (result != 0) {
        return result;
    }
    DecodeIdentifyNamespace(data, info, raw_hex, version, highest_version);
    return 0;
}

}  // namespace orka
