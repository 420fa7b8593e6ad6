// Get Features: reading the controller's current settings and decoding them.
#include "get_feature.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <sstream>
#include <string>
#include <vector>

#include "decode_table.h"
#include "nvme_admin_command.h"
#include "orka.h"
#include "orka_nvme.h"

namespace orka {

namespace {

using Controller = ORKA_NVME_IDENTIFY_CONTROLLER_DATA;
using decode::Bit;
using decode::WHOLE;

constexpr unsigned short GET_FEATURES = 0x0A;
constexpr BitField LOW_WORD{0, 16};
constexpr BitField HIGH_WORD{16, 16};
constexpr unsigned int THRESHOLD_UNDER = 0x100000;   // THSEL = 1
constexpr unsigned int THRESHOLD_SENSOR_SHIFT = 16;  // TMPSEL

// ---------------------------------------------------------------------------
// Value formats
// ---------------------------------------------------------------------------

std::string Decimal(unsigned int value) {
    return std::to_string(value);
}
std::string PlusOne(unsigned int value) {
    return std::to_string(value + 1);
}
std::string Enabled(unsigned int bit) {
    return ToEnabled(bit);
}
std::string TemperatureOrDisabled(unsigned int kelvin) {
    return kelvin == 0 ? "Disabled" : ToTemp(static_cast<unsigned short>(kelvin));
}
std::string MillisecondsOrDisabled(unsigned int value) {
    return value == 0 ? "Disabled" : ToNumberString(value) + " mS";
}
std::string HundredMilliseconds(unsigned int value) {
    return std::to_string(value * 100) + " mS";
}

// ---------------------------------------------------------------------------
// Parameters held in completion dword 0, every feature in one table
// ---------------------------------------------------------------------------

bool Oaes(const Controller& c, unsigned int bit) {
    return GetBits(c.OAES.get(), Bit(bit)) == 1;
}

struct DwordRow {
    unsigned int feature;
    const char* name;
    BitField bits;
    std::string (*format)(unsigned int value);
    bool (*when)(const Controller&) = nullptr;  // the parameter exists only on such controllers
};

const DwordRow DWORD_ROWS[] = {
    {0x01,
     "Arbitration Burst (AB)",
     {0, 3},
     [](unsigned int v) { return v == 7 ? std::string("No Limit") : ToPowerOfTwo(v); }},
    {0x01, "Low Priority Weight (LPW)", {8, 8}, PlusOne},
    {0x01, "Medium Priority Weight (MPW)", {16, 8}, PlusOne},
    {0x01, "High Priority Weight (HPW)", {24, 8}, PlusOne},
    {0x02, "Current Power State (PS)", {0, 5}, Decimal},
    {0x02, "Workload Hint (WH)", {5, 3}, Decimal},
    {0x05, "Time Limited Error Recovery (TLER)", LOW_WORD,
     [](unsigned int v) { return v == 0 ? std::string("No Timeout") : ToNumberString(v * 100) + " mS"; }},
    {0x05, "Deallocated or Unwritten Logical Block Error Enable (DULBE)", Bit(16), Enabled},
    {0x06, "Volatile Write Cache Enable (WCE)", Bit(0), Enabled},
    {0x08,
     "Aggregation Time (TIME)",
     {8, 8},
     [](unsigned int v) { return v == 0 ? std::string("No Delay") : std::to_string(v * 100) + " uS"; }},
    {0x08, "Aggregation Threshold (THR)", {0, 8}, PlusOne},
    {0x0A, "Disable Normal (DN)", Bit(0), [](unsigned int v) { return ToSupported(v); }},
    {0x0B, "Endurance Group Aggregate Log Change Notices Enable", Bit(14), Enabled,
     [](const Controller& c) { return Oaes(c, 14); }},
    {0x0B, "LBA Status Information Notices Enable", Bit(13), Enabled,
     [](const Controller& c) { return Oaes(c, 13); }},
    {0x0B, "Predictable Latency Aggregate Log Change Notices Enable", Bit(12), Enabled,
     [](const Controller& c) { return Oaes(c, 12); }},
    {0x0B, "Asymmetric Namespace Access Change Notices Enable", Bit(11), Enabled,
     [](const Controller& c) { return GetBits(c.CMIC, Bit(3)) == 1; }},
    {0x0B, "Telemetry Log Notices Enable", Bit(10), Enabled,
     [](const Controller& c) { return GetBits(c.LPA, Bit(3)) == 1; }},
    {0x0B, "Firmware Activation Notices Enable", Bit(9), Enabled,
     [](const Controller& c) { return Oaes(c, 9); }},
    {0x0B, "Namespace Attribute Notices Enable", Bit(8), Enabled,
     [](const Controller& c) { return Oaes(c, 8); }},
    {0x0B, "SMART Critical Warning Notices Enable", {0, 8}, [](unsigned int v) { return ToHexString(v, 2); }},
    {0x0C, "Autonomous Power State Transition Enable (APSTE)", Bit(0), Enabled},
    {0x0D, "Enable Host Memory (EHM)", Bit(0), Enabled},
    {0x0F, "Keep Alive Timeout (KATO)", WHOLE, MillisecondsOrDisabled},
    {0x10, "Thermal Management Temperature 1 (TMT1)", HIGH_WORD, TemperatureOrDisabled},
    {0x10, "Thermal Management Temperature 2 (TMT2)", LOW_WORD, TemperatureOrDisabled},
    {0x11, "Non-Operational Power State Permissive Mode Enable (NOPPME)", Bit(0), Enabled},
    {0x12, "Read Recovery Level (RRL)", {0, 4}, Decimal},
    {0x13, "Predictable Latency Enable", Bit(0), Enabled},
    {0x14,
     "Predictable Latency Mode Window Select",
     {0, 3},
     [](unsigned int v) -> std::string {
         switch (v) {
             case 1:
                 return "Deterministic Window (DTWIN)";
             case 2:
                 return "Non-Deterministic Window (NDWIN)";
             default:
                 return decode::RESERVED;
         }
     }},
    {0x15, "LBA Status Information Poll Interval (LSIPI)", HIGH_WORD, HundredMilliseconds},
    {0x15, "LBA Status Information Report Interval (LSIRI)", LOW_WORD, HundredMilliseconds},
};

// ---------------------------------------------------------------------------
// Parameters held in the data buffer
// ---------------------------------------------------------------------------

// A copy of the layout at `offset` of `buffer`, which must hold it whole.
template <typename Layout>
Layout ReadLayout(unsigned int featureId, const unsigned char* buffer, unsigned int length,
                  unsigned int offset = 0) {
    const unsigned int needed = offset + static_cast<unsigned int>(sizeof(Layout));
    if (buffer == nullptr || length < needed) {
        throw OrkaError("Feature " + ToHexString(featureId, 2) + " returned " + std::to_string(length) +
                        " data bytes, fewer than the " + std::to_string(needed) + " it needs");
    }
    Layout layout;
    std::memcpy(&layout, buffer + offset, sizeof(Layout));
    return layout;
}

// Power states 0 .. NPSS, no more than the buffer's 32 entries.
void DecodeApst(const unsigned char* buffer, unsigned int length, const Controller& controller,
                Json::Value& parameters) {
    const unsigned int states = std::min<unsigned int>(controller.NPSS + 1U, MAX_POWER_STATES);
    for (unsigned int state = 0; state < states; ++state) {
        const auto entry =
            ReadLayout<ORKA_NVME_APST_ENTRY>(0x0C, buffer, length, state * sizeof(ORKA_NVME_APST_ENTRY));
        const std::string prefix = "Power State " + std::to_string(state);
        const unsigned int itpt = GetBits(entry.ITPS_ITPT.get(), APST_ITPT);
        AddParameter(parameters, prefix + " Idle Time Prior to Transition (ITPT)",
                     MillisecondsOrDisabled(itpt));
        if (itpt != 0) {
            AddParameter(parameters, prefix + " Idle Transition Power State (ITPS)",
                         Decimal(GetBits(entry.ITPS_ITPT.get(), APST_ITPS)));
        }
    }
}

void DecodeHostMemoryBuffer(const unsigned char* buffer, unsigned int length, const Controller&,
                            Json::Value& parameters) {
    const auto data = ReadLayout<ORKA_NVME_FEATURE_0D_DATA>(0x0D, buffer, length);
    AddParameter(parameters, "Host Memory Buffer Size (HSIZE)", ToNumberString(data.HSIZE.get()));
    AddParameter(parameters, "Host Memory Descriptor List Address (HMDLAL)",
                 ToHexString(data.HMDLAL.get(), 8));
    AddParameter(parameters, "Host Memory Descriptor List Address (HMDLAU)",
                 ToHexString(data.HMDLAU.get(), 8));
    AddParameter(parameters, "Host Memory Descriptor List Entry Count (HMDLEC)",
                 ToNumberString(data.HMDLEC.get()));
}

void DecodeTimestamp(const unsigned char* buffer, unsigned int length, const Controller&,
                     Json::Value& parameters) {
    const auto data = ReadLayout<ORKA_NVME_FEATURE_0E_DATA>(0x0E, buffer, length);
    unsigned long long milliseconds = 0;
    for (std::size_t i = sizeof data.TIMESTAMP; i-- > 0;) {
        milliseconds = (milliseconds << 8) | data.TIMESTAMP[i];
    }
    const bool host_programmed = GetBits(data.ATTRIBUTES, TIMESTAMP_ORIGIN) != 0;
    AddParameter(parameters, "Timestamp", ToNumberString(milliseconds) + " mS");
    AddParameter(parameters, "Timestamp Decoded",
                 host_programmed ? MillisecondsToDate(milliseconds)
                                 : MillisecondsToTimeString(static_cast<double>(milliseconds), 3));
    AddParameter(parameters, "Timestamp Origin", host_programmed ? "Host Programmed" : "Controller Reset");
    AddParameter(parameters, "Timestamp Stopped",
                 GetBits(data.ATTRIBUTES, TIMESTAMP_SYNCH) == 1 ? "True" : "False");
}

// ---------------------------------------------------------------------------
// The features: command, support condition, dumps and error prefix
// ---------------------------------------------------------------------------

using BufferDecoder = void (*)(const unsigned char*, unsigned int, const Controller&, Json::Value&);

struct Feature {
    unsigned int id;
    const char* dump;    // key of the completion dword's dump; null: the dword is not asked for
    const char* prefix;  // of the error line
    bool (*supported)(const Controller&) = nullptr;
    unsigned int length = 0;  // data buffer
    const char* buffer_dump = nullptr;
    unsigned int (*dump_length)(const Controller&) = nullptr;  // bytes of the buffer dumped
    BufferDecoder decode_buffer = nullptr;
    bool per_namespace = false;  // set per namespace: sent to the lowest active namespace
};

// Every feature with a decoder, in identifier order.
const Feature FEATURES[] = {
    {0x01, "Feature 01h: Arbitration", "Failed to get feature 1: "},
    {0x02, "Feature 02h: Power Management", "Failed to get feature 2: "},
    {0x05, "Feature 05h: Error Recovery", "Failed to get feature 5: ", nullptr, 0, nullptr, nullptr, nullptr,
     true},
    {0x06, "Feature 06h: Volatile Cache Enable",
     "Failed to get feature 6: ", [](const Controller& c) { return GetBits(c.VWC, Bit(0)) == 1; }},
    {0x08, "Feature 08h: Interrupt Coalescing", "Failed to get feature 8: "},
    {0x0A, "Feature 0Ah: Write Atomicity Normal", "Failed to get feature 10 (0Ah): "},
    // The prefix's "10" is the one this message has always carried.
    {0x0B, "Feature 0Bh: Asynchronous Event Configuration", "Failed to get feature 10 (0Bh): "},
    // The buffer dump covers NPSS entries, one fewer than the states decoded.
    {0x0C, "Feature 0Ch: Autonomous Power State Transition",
     "Failed to get feature 12 (0Ch): ", [](const Controller& c) { return GetBits(c.APSTA, Bit(0)) == 1; },
     FEATURE_0C_LENGTH, "Feature 0Ch: Autonomous Power State Transition Buffer",
     [](const Controller& c) {
         return std::min<unsigned int>(c.NPSS, MAX_POWER_STATES) *
                static_cast<unsigned int>(sizeof(ORKA_NVME_APST_ENTRY));
     },
     DecodeApst},
    {0x0D, "Feature 0Dh: Host Memory Buffer",
     "Failed to get feature 13 (0Dh): ", [](const Controller& c) { return c.HMPRE.get() != 0; },
     FEATURE_0D_LENGTH, "Feature 0Dh: Host Memory Buffer Data Buffer",
     [](const Controller&) { return static_cast<unsigned int>(sizeof(ORKA_NVME_FEATURE_0D_DATA)); },
     DecodeHostMemoryBuffer},
    {0x0E, nullptr, "Failed to get feature 14 (0Eh): ",
     [](const Controller& c) { return GetBits(c.ONCS.get(), Bit(6)) == 1; }, FEATURE_0E_LENGTH,
     "Feature 0Eh: Timestamp", [](const Controller&) { return FEATURE_0E_LENGTH; }, DecodeTimestamp},
    // KAS is a granularity: any value but 0 offers keep alive.
    {0x0F, "Feature 0Fh: Keep Alive Timer",
     "Failed to get feature 15 (0Fh): ", [](const Controller& c) { return c.KAS.get() != 0; }},
    {0x10, "Feature 10h: Host Controlled Thermal Management", "Failed to get feature 16 (10h): ",
     [](const Controller& c) { return GetBits(c.HCTMA.get(), Bit(0)) == 1; }},
    {0x11, "Feature 11h: Non-Operational Power State Config", "Failed to get feature 17 (11h): ",
     [](const Controller& c) { return GetBits(c.CTRATT.get(), Bit(1)) == 1; }},
    {0x12, "Feature 12h: Read Recovery Level Config", "Failed to get feature 18 (12h): "},
    {0x13, "Feature 13h: Predictable Latency Mode Config", "Failed to get feature 19 (13h): "},
    {0x14, "Feature 14h: Predictable Latency Mode Window", "Failed to get feature 20 (14h): "},
    {0x15, "Feature 15h: LBA Status Information", "Failed to get feature 21 (15h): "},
};

const Feature& FindFeature(unsigned int featureId) {
    for (const Feature& feature : FEATURES) {
        if (feature.id == featureId) {
            return feature;
        }
    }
    throw OrkaError("No decoder for feature " + ToHexString(featureId, 2));
}

bool Switched(const Json::Value& settings, unsigned int featureId) {
    return settings["read feature " + ToHexString(featureId, 2).substr(2) + "h"].asBool();
}

// The dump of completion dword 0, its bytes as the drive sent them.
void DumpDword(unsigned int dword, Json::Value& out) {
    const char bytes[4] = {static_cast<char>(dword), static_cast<char>(dword >> 8),
                           static_cast<char>(dword >> 16), static_cast<char>(dword >> 24)};
    FormatHexData(bytes, sizeof bytes, out);
}

// Runs one feature's work; an exception is logged under the feature's prefix and ends it with 1.
template <typename Work>
int Guarded(const char* prefix, Work work) {
    try {
        return work();
    } catch (const std::exception& e) {
        LOG_ERROR << prefix << e.what();
    } catch (...) {
        LOG_ERROR << prefix << "Unknown exception";
    }
    return 1;
}

int Read(int fd, unsigned int featureId, unsigned int cdw11, unsigned int* result, unsigned char* buffer,
         int length, Json::Value& commands, Json::Value& record, unsigned int nsid, bool allowed,
         bool optional) {
    std::string name = "Get Feature " + std::to_string(featureId);
    if (cdw11 != 0) {
        std::ostringstream hex;
        hex << std::hex << cdw11;
        name += " (0x" + hex.str() + ")";
    }
    return NvmeAdminCommand(fd, name, commands, record, GET_FEATURES, nsid, featureId, cdw11, 0, 0, 0, 0,
                            buffer, result, static_cast<unsigned int>(length), allowed, optional);
}

// A feature as the drive information collection reads it: a drive may decline to offer it.
int CollectFeature(int fd, unsigned int featureId, unsigned int cdw11, unsigned int* result,
                   unsigned char* buffer, unsigned int length, Json::Value& info, Json::Value& record,
                   unsigned int nsid, bool& offered) {
    Json::Value& commands = CommandList(info);
    const int rc = Read(fd, featureId, cdw11, result, buffer, static_cast<int>(length), commands, record,
                        nsid, false, true);
    offered = rc == 0 || commands.empty() || !IsNotSupported(commands[commands.size() - 1]);
    return rc;
}

int GetOneFeature(const Feature& feature, int fd, Json::Value& info, Json::Value& record,
                  const Json::Value& settings, const Controller& controller, unsigned int nsid) {
    return Guarded(feature.prefix, [&] {
        if (!Switched(settings, feature.id) ||
            (feature.supported != nullptr && !feature.supported(controller)) ||
            (feature.per_namespace && nsid == 0)) {
            return 0;
        }
        std::vector<unsigned char> buffer(feature.length, 0);
        unsigned int dword = 0;
        bool offered = true;
        const int result = CollectFeature(fd, feature.id, 0, feature.dump == nullptr ? nullptr : &dword,
                                          buffer.empty() ? nullptr : buffer.data(), feature.length, info,
                                          record, feature.per_namespace ? nsid : 0, offered);
        if (result != 0) {
            return offered ? 1 : 0;
        }
        if (settings["log hex data"].asBool()) {
            if (feature.dump != nullptr) {
                DumpDword(dword, info["raw hex data"][feature.dump]);
            }
            if (feature.buffer_dump != nullptr) {
                const unsigned int dumped =
                    std::min<unsigned int>(feature.dump_length(controller), feature.length);
                FormatHexData(reinterpret_cast<const char*>(buffer.data()), dumped,
                              info["raw hex data"][feature.buffer_dump]);
            }
            if (feature.id == 0x0C) {
                // The buffer's dump stops one state short of the states decoded; these are all of them.
                const unsigned int states = std::min<unsigned int>(controller.NPSS + 1U, MAX_POWER_STATES) *
                                            static_cast<unsigned int>(sizeof(ORKA_NVME_APST_ENTRY));
                FormatHexData(reinterpret_cast<const char*>(buffer.data()), std::min(states, feature.length),
                              info["raw hex data"]["Feature 0Ch: Autonomous Power State Transition States"]);
            }
        }
        DecodeFeature(feature.id, dword, buffer.empty() ? nullptr : buffer.data(),
                      static_cast<unsigned int>(buffer.size()), controller, info["nvme"]["parameters"]);
        return 0;
    });
}

}  // namespace

int ReadFeature(int fd, unsigned int featureId, unsigned int cdw11, unsigned int* result,
                unsigned char* buffer, int length, Json::Value& commands, Json::Value& record,
                unsigned int nsid) {
    return Read(fd, featureId, cdw11, result, buffer, length, commands, record, nsid, false, false);
}

int ReadOptionalFeature(int fd, unsigned int featureId, unsigned int cdw11, unsigned int* result,
                        unsigned char* buffer, int length, Json::Value& commands, Json::Value& record,
                        unsigned int nsid) {
    return Read(fd, featureId, cdw11, result, buffer, length, commands, record, nsid, true, false);
}

void DecodeFeature(unsigned int featureId, unsigned int dword, const unsigned char* buffer,
                   unsigned int length, const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller,
                   Json::Value& parameters) {
    const Feature& feature = FindFeature(featureId);
    for (const DwordRow& row : DWORD_ROWS) {
        if (row.feature == featureId && (row.when == nullptr || row.when(controller))) {
            AddParameter(parameters, row.name, row.format(GetBits(dword, row.bits)));
        }
    }
    if (feature.decode_buffer != nullptr) {
        feature.decode_buffer(buffer, length, controller, parameters);
    }
}

void DecodeTemperatureThresholds(const std::string& label, unsigned int over, unsigned int under,
                                 Json::Value& parameters) {
    AddParameter(parameters, label + " Under Threshold",
                 ToTemp(static_cast<unsigned short>(GetBits(under, LOW_WORD))));
    AddParameter(parameters, label + " Over Threshold",
                 ToTemp(static_cast<unsigned short>(GetBits(over, LOW_WORD))));
}

int GetFeature04(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA&, unsigned int) {
    return Guarded("Failed to get feature 4: ", [&] {
        if (!Switched(settings, 0x04)) {
            return 0;
        }
        const bool hex = settings["log hex data"].asBool();
        bool offered = true;
        // Over then under threshold of one temperature (TMPSEL `sensor`, 0 for the composite).
        const auto thresholds = [&](unsigned int sensor, const std::string& dump, const std::string& label) {
            const unsigned int select = sensor << THRESHOLD_SENSOR_SHIFT;
            unsigned int over = 0;
            unsigned int under = 0;
            // Each threshold is dumped as soon as it is read, so that a capture holds it even when its
            // twin fails.
            if (CollectFeature(fd, 0x04, select, &over, nullptr, 0, info, record, 0, offered) != 0) {
                return false;
            }
            if (hex) {
                DumpDword(over, info["raw hex data"]["Feature 04h: " + dump + " Over Threshold"]);
            }
            if (CollectFeature(fd, 0x04, select | THRESHOLD_UNDER, &under, nullptr, 0, info, record, 0,
                               offered) != 0) {
                return false;
            }
            if (hex) {
                DumpDword(under, info["raw hex data"]["Feature 04h: " + dump + " Under Threshold"]);
            }
            DecodeTemperatureThresholds(label, over, under, info["nvme"]["parameters"]);
            return true;
        };
        if (!thresholds(0, "Composite", "Composite Temperature")) {
            return offered ? 1 : 0;
        }
        const Json::Value& parameters = info["nvme"]["parameters"];
        for (unsigned int sensor = 1; sensor <= MAX_TEMP_SENSORS; ++sensor) {
            const std::string label = "Temperature Sensor " + std::to_string(sensor);
            if (parameters.isMember(label) &&
                !thresholds(sensor, "Sensor " + std::to_string(sensor), label)) {
                return offered ? 1 : 0;
            }
        }
        return 0;
    });
}

#define ORKA_GET_FEATURE(NN)                                                                        \
    int GetFeature##NN(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings, \
                       const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int nsid) {   \
        return GetOneFeature(FindFeature(0x##NN), fd, info, record, settings, controller, nsid);    \
    }
ORKA_GET_FEATURE(01)
ORKA_GET_FEATURE(02)
ORKA_GET_FEATURE(05)
ORKA_GET_FEATURE(06)
ORKA_GET_FEATURE(08)
ORKA_GET_FEATURE(0A)
ORKA_GET_FEATURE(0B)
ORKA_GET_FEATURE(0C)
ORKA_GET_FEATURE(0D)
ORKA_GET_FEATURE(0E)
ORKA_GET_FEATURE(0F)
ORKA_GET_FEATURE(10)
ORKA_GET_FEATURE(11)
ORKA_GET_FEATURE(12)
ORKA_GET_FEATURE(13)
ORKA_GET_FEATURE(14)
ORKA_GET_FEATURE(15)
#undef ORKA_GET_FEATURE

void GetFeatures(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int nsid) {
    using Step =
        int (*)(int, Json::Value&, Json::Value&, const Json::Value&, const Controller&, unsigned int);
    static constexpr Step ORDER[] = {GetFeature01, GetFeature02, GetFeature04, GetFeature05, GetFeature06,
                                     GetFeature08, GetFeature0A, GetFeature0B, GetFeature0C, GetFeature0D,
                                     GetFeature0E, GetFeature0F, GetFeature10, GetFeature11};
    for (const Step step : ORDER) {
        step(fd, info, record, settings, controller, nsid);
    }
}

}  // namespace orka
