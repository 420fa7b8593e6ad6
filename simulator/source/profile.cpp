// Profile loading and encoding. Every field is written at its offset in the
// NVMe base standard's layout, from tables below; the tool's own structures
// are deliberately not used so that a layout mistake is not mirrored here.
#include "profile.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>

namespace brantix_sim {

namespace {

using F = Field;

// Identify Controller data structure (CNS 01h).
constexpr Field IDENTIFY_CONTROLLER[] = {
    {"VID", 0, 2},
    {"SSVID", 2, 2},
    {"SN", 4, 20, F::kAscii},
    {"MN", 24, 40, F::kAscii},
    {"FR", 64, 8, F::kAscii},
    {"RAB", 72, 1},
    {"IEEE", 73, 3},
    {"CMIC", 76, 1},
    {"MDTS", 77, 1},
    {"CNTLID", 78, 2},
    {"VER", 80, 4},
    {"RTD3R", 84, 4},
    {"RTD3E", 88, 4},
    {"OAES", 92, 4},
    {"CTRATT", 96, 4},
    {"RRLS", 100, 2},
    {"CNTRLTYPE", 111, 1},
    {"FGUID", 112, 16, F::kBytes},
    {"CRDT1", 128, 2},
    {"CRDT2", 130, 2},
    {"CRDT3", 132, 2},
    {"NVMSR", 253, 1},
    {"VWCI", 254, 1},
    {"MEC", 255, 1},
    {"OACS", 256, 2},
    {"ACL", 258, 1},
    {"AERL", 259, 1},
    {"FRMW", 260, 1},
    {"LPA", 261, 1},
    {"ELPE", 262, 1},
    {"NPSS", 263, 1},
    {"AVSCC", 264, 1},
    {"APSTA", 265, 1},
    {"WCTEMP", 266, 2},
    {"CCTEMP", 268, 2},
    {"MTFA", 270, 2},
    {"HMPRE", 272, 4},
    {"HMMIN", 276, 4},
    {"TNVMCAP", 280, 16},
    {"UNVMCAP", 296, 16},
    {"RPMBS", 312, 4},
    {"EDSTT", 316, 2},
    {"DSTO", 318, 1},
    {"FWUG", 319, 1},
    {"KAS", 320, 2},
    {"HCTMA", 322, 2},
    {"MNTMT", 324, 2},
    {"MXTMT", 326, 2},
    {"SANICAP", 328, 4},
    {"HMMINDS", 332, 4},
    {"HMMAXD", 336, 2},
    {"NSETIDMAX", 338, 2},
    {"ENDGIDMAX", 340, 2},
    {"ANATT", 342, 1},
    {"ANACAP", 343, 1},
    {"ANAGRPMAX", 344, 4},
    {"NANAGRPID", 348, 4},
    {"PELS", 352, 4},
    {"SQES", 512, 1},
    {"CQES", 513, 1},
    {"MAXCMD", 514, 2},
    {"NN", 516, 4},
    {"ONCS", 520, 2},
    {"FUSES", 522, 2},
    {"FNA", 524, 1},
    {"VWC", 525, 1},
    {"AWUN", 526, 2},
    {"AWUPF", 528, 2},
    {"NVSCC", 530, 1},
    {"NWPC", 531, 1},
    {"ACWU", 532, 2},
    {"SGLS", 536, 4},
    {"MNAN", 540, 4},
    {"SUBNQN", 768, 256, F::kAsciiNul},
    {"IOCCSZ", 1792, 4},
    {"IORCSZ", 1796, 4},
    {"ICDOFF", 1800, 2},
    {"FCATT", 1802, 1},
    {"MSDBD", 1803, 1},
    {"OFCS", 1804, 2},
    {"VS", 3072, 1024, F::kBytes},
};

// Power state descriptor, 32 bytes each from byte 2048.
constexpr Field POWER_STATE[] = {
    {"MP", 0, 2},
    {"MXPS", 3, 1, F::kInt, 0, 1},
    {"NOPS", 3, 1, F::kInt, 1, 1},
    {"ENLAT", 4, 4},
    {"EXLAT", 8, 4},
    {"RRT", 12, 1, F::kInt, 0, 5},
    {"RRL", 13, 1, F::kInt, 0, 5},
    {"RWT", 14, 1, F::kInt, 0, 5},
    {"RWL", 15, 1, F::kInt, 0, 5},
    {"IDLP", 16, 2},
    {"IPS", 18, 1, F::kInt, 6, 2},
    {"ACTP", 20, 2},
    {"APW", 22, 1, F::kInt, 0, 3},
    {"APS", 22, 1, F::kInt, 6, 2},
};

// Identify Namespace data structure (CNS 00h).
constexpr Field IDENTIFY_NAMESPACE[] = {
    {"NSZE", 0, 8},
    {"NCAP", 8, 8},
    {"NUSE", 16, 8},
    {"NSFEAT", 24, 1},
    {"NLBAF", 25, 1},
    {"FLBAS", 26, 1},
    {"MC", 27, 1},
    {"DPC", 28, 1},
    {"DPS", 29, 1},
    {"NMIC", 30, 1},
    {"RESCAP", 31, 1},
    {"FPI", 32, 1},
    {"DLFEAT", 33, 1},
    {"NAWUN", 34, 2},
    {"NAWUPF", 36, 2},
    {"NACWU", 38, 2},
    {"NABSN", 40, 2},
    {"NABO", 42, 2},
    {"NABSPF", 44, 2},
    {"NOIOB", 46, 2},
    {"NVMCAP", 48, 16},
    {"NPWG", 64, 2},
    {"NPWA", 66, 2},
    {"NPDG", 68, 2},
    {"NPDA", 70, 2},
    {"NOWS", 72, 2},
    {"ANAGRPID", 92, 4},
    {"NSATTR", 99, 1},
    {"NVMSETID", 100, 2},
    {"ENDGID", 102, 2},
    {"NGUID", 104, 16, F::kBytes},
    {"EUI64", 120, 8, F::kBytes},
};

// LBA format, 4 bytes each from byte 128.
constexpr Field LBA_FORMAT[] = {
    {"MS", 0, 2},
    {"LBADS", 2, 1},
    {"RP", 3, 1, F::kInt, 0, 2},
};

// Error information log entry (log 01h), 64 bytes each.
constexpr Field ERROR_ENTRY[] = {
    {"ERRCNT", 0, 8}, {"SQID", 8, 2},  {"CID", 10, 2},    {"STS", 12, 2}, {"PEL", 14, 2},  {"LBA", 16, 8},
    {"NS", 24, 4},    {"VSIA", 28, 1}, {"TRTYPE", 29, 1}, {"CSI", 32, 8}, {"TTSI", 40, 2},
};

// SMART / Health Information log (02h); also the data of a SMART snapshot event.
constexpr Field SMART_HEALTH[] = {
    {"CW", 0, 1},        {"CTEMP", 1, 2},    {"AVSP", 3, 1},     {"AVSPT", 4, 1},     {"PUSED", 5, 1},
    {"EGCWS", 6, 1},     {"DUR", 32, 16},    {"DUW", 48, 16},    {"HRC", 64, 16},     {"HWC", 80, 16},
    {"CBT", 96, 16},     {"PWRC", 112, 16},  {"POH", 128, 16},   {"UNSAFE", 144, 16}, {"MEDERR", 160, 16},
    {"NUMERR", 176, 16}, {"WCTT", 192, 4},   {"CCTT", 196, 4},   {"TSEN1", 200, 2},   {"TSEN2", 202, 2},
    {"TSEN3", 204, 2},   {"TSEN4", 206, 2},  {"TSEN5", 208, 2},  {"TSEN6", 210, 2},   {"TSEN7", 212, 2},
    {"TSEN8", 214, 2},   {"TMT1TC", 216, 4}, {"TMT2TC", 220, 4}, {"TTTMT1", 224, 4},  {"TTTMT2", 228, 4},
};

// Firmware Slot Information log (03h).
constexpr Field FIRMWARE_SLOT[] = {
    {"AFI", 0, 1},
    {"FRS1", 8, 8, F::kAscii},
    {"FRS2", 16, 8, F::kAscii},
    {"FRS3", 24, 8, F::kAscii},
    {"FRS4", 32, 8, F::kAscii},
    {"FRS5", 40, 8, F::kAscii},
    {"FRS6", 48, 8, F::kAscii},
    {"FRS7", 56, 8, F::kAscii},
};

// Device Self-test log (06h): header and 28-byte result entries from byte 4.
constexpr Field SELF_TEST_HEADER[] = {{"CDSTO", 0, 1}, {"CDSTC", 1, 1}};
constexpr Field SELF_TEST_ENTRY[] = {
    {"STC", 0, 1, F::kInt, 4, 4},
    {"RESULT", 0, 1, F::kInt, 0, 4},
    {"SEGN", 1, 1},
    {"VDI", 2, 1},
    {"POH", 4, 8},
    {"NSID", 12, 4},
    {"FLBA", 16, 8},
    {"SCT", 24, 1, F::kInt, 0, 3},
    {"SC", 25, 1},
    {"VS", 26, 2},
};

// Telemetry host- and controller-initiated logs (07h, 08h), header block.
constexpr Field TELEMETRY_HEADER[] = {
    {"IEEE", 5, 3},
    {"DA1LB", 8, 2},
    {"DA2LB", 10, 2},
    {"DA3LB", 12, 2},
    {"TCIDA", 382, 1},
    {"TCIDGN", 383, 1},
    {"RI", 384, 128, F::kBytes},
};

// Persistent Event Log (0Dh) header and event header.
constexpr Field EVENT_LOG_HEADER[] = {
    {"TNEV", 4, 4},
    {"TLL", 8, 8},
    {"LRV", 16, 1},
    {"LHL", 18, 2},
    {"TS", 20, 8},
    {"POH", 28, 16},
    {"PCC", 44, 8},
    {"VID", 52, 2},
    {"SSVID", 54, 2},
    {"SN", 56, 20, F::kAscii},
    {"MN", 76, 40, F::kAscii},
    {"SUBNQN", 116, 256, F::kAsciiNul},
    {"SEB", 480, 32, F::kBytes},
};
constexpr Field EVENT_HEADER[] = {
    {"ETYPE", 0, 1}, {"ETYPREV", 1, 1}, {"CNTLID", 4, 2}, {"EVTTS", 6, 8}, {"PELPID", 14, 2}, {"VSIL", 20, 2},
};
constexpr Field EVENT_FIRMWARE_COMMIT[] = {
    {"OFW", 0, 8, F::kAscii}, {"NFW", 8, 8, F::kAscii}, {"FWCA", 16, 1}, {"FWCS", 17, 2}, {"FWCRS", 19, 2},
};
constexpr Field EVENT_TIMESTAMP_CHANGE[] = {{"PTS", 0, 8}, {"CUCT", 8, 8}};
constexpr Field EVENT_HARDWARE_ERROR[] = {{"HEC", 0, 2}, {"ADHEI", 4, 32, F::kBytes}};
constexpr Field EVENT_THERMAL_EXCURSION[] = {{"OVTMP", 0, 1}, {"THRSHLD", 1, 1}};

// Sanitize Status log (81h).
constexpr Field SANITIZE_STATUS[] = {
    {"SPROG", 0, 2}, {"SSTAT", 2, 2},   {"SCDW10", 4, 4},   {"ETO", 8, 4},      {"ETBE", 12, 4},
    {"ETCE", 16, 4}, {"ETONDA", 20, 4}, {"ETBENDA", 24, 4}, {"ETCENDA", 28, 4},
};

// Feature data buffers.
constexpr Field APST_ENTRY[] = {{"ITPS", 0, 1, F::kInt, 3, 5}, {"ITPT", 1, 3}};
constexpr Field HOST_MEMORY_BUFFER[] = {
    {"HSIZE", 0, 4}, {"HMDLAL", 4, 4}, {"HMDLAU", 8, 4}, {"HMDLEC", 12, 4}};
constexpr Field TIMESTAMP[] = {
    {"TIMESTAMP", 0, 6}, {"SYNCH", 6, 1, F::kInt, 0, 1}, {"TO", 6, 1, F::kInt, 1, 3}};

using Wide = unsigned __int128;

Wide ParseNumber(const Json::Value& value, const std::string& where) {
    if (value.isBool()) {
        return value.asBool() ? 1 : 0;
    }
    if (value.isUInt64()) {
        return value.asUInt64();
    }
    if (value.isInt64()) {
        return static_cast<uint64_t>(value.asInt64());
    }
    if (!value.isString()) {
        throw ProfileError(where + ": expected a number");
    }
    std::string text = value.asString();
    text.erase(std::remove(text.begin(), text.end(), '_'), text.end());
    unsigned base = 10;
    size_t start = 0;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        start = 2;
    }
    if (start >= text.size()) {
        throw ProfileError(where + ": expected a number, got \"" + value.asString() + "\"");
    }
    Wide result = 0;
    for (size_t i = start; i < text.size(); ++i) {
        const char c = static_cast<char>(std::tolower(static_cast<unsigned char>(text[i])));
        unsigned digit;
        if (c >= '0' && c <= '9') {
            digit = static_cast<unsigned>(c - '0');
        } else if (base == 16 && c >= 'a' && c <= 'f') {
            digit = static_cast<unsigned>(c - 'a' + 10);
        } else {
            throw ProfileError(where + ": expected a number, got \"" + value.asString() + "\"");
        }
        result = result * base + digit;
    }
    return result;
}

Bytes ParseHex(const std::string& text, const std::string& where) {
    Bytes bytes;
    std::string digits;
    for (char c : text) {
        if (c != ' ' && c != ':' && c != '-') {
            digits += c;
        }
    }
    if (digits.size() % 2 != 0) {
        throw ProfileError(where + ": odd number of hexadecimal digits");
    }
    for (size_t i = 0; i < digits.size(); i += 2) {
        bytes.push_back(static_cast<uint8_t>(ParseNumber(Json::Value("0x" + digits.substr(i, 2)), where)));
    }
    return bytes;
}

void Require(Bytes& image, size_t end) {
    if (image.size() < end) {
        image.resize(end, 0);
    }
}

uint32_t ReadLe(const Bytes& image, size_t offset, size_t size) {
    uint32_t value = 0;
    for (size_t i = 0; i < size && offset + i < image.size(); ++i) {
        value |= static_cast<uint32_t>(image[offset + i]) << (8 * i);
    }
    return value;
}

void WriteLe(Bytes& image, size_t offset, size_t size, uint64_t value) {
    Require(image, offset + size);
    for (size_t i = 0; i < size; ++i) {
        image[offset + i] = static_cast<uint8_t>(i < 8 ? value >> (8 * i) : 0);
    }
}

void EncodeArray(const Json::Value& source, const char* key, FieldTable table, Bytes& image, size_t base,
                 size_t stride, size_t limit, const std::string& where) {
    const Json::Value& list = source[key];
    if (list.isNull()) {
        return;
    }
    if (!list.isArray() || list.size() > limit) {
        throw ProfileError(where + "." + key + ": expected an array of at most " + std::to_string(limit));
    }
    for (Json::ArrayIndex i = 0; i < list.size(); ++i) {
        EncodeFields(list[i], table, image, base + i * stride,
                     where + "." + key + "[" + std::to_string(i) + "]");
    }
}

// Encodes `source` but for the keys in `skip`, which the caller handles.
void EncodeExcept(const Json::Value& source, FieldTable table, Bytes& image, size_t base,
                  const std::string& where, const std::set<std::string>& skip) {
    Json::Value rest(Json::objectValue);
    for (const auto& name : source.getMemberNames()) {
        if (skip.count(name) == 0) {
            rest[name] = source[name];
        }
    }
    EncodeFields(rest, table, image, base, where);
}

unsigned ParseId(const std::string& text, const std::string& where) {
    return static_cast<unsigned>(ParseNumber(Json::Value("0x" + text), where));
}

Bytes EncodeErrorLog(const Json::Value& source, const std::string& where) {
    Bytes image(16384, 0);
    EncodeArray(source, "entries", ERROR_ENTRY, image, 0, 64, 256, where);
    return image;
}

Bytes EncodeCommandsSupported(const Json::Value& source, const std::string& where) {
    Bytes image(4096, 0);
    for (const auto& [key, base] : {std::pair<const char*, size_t>{"ACS", 0}, {"IOCS", 1024}}) {
        const Json::Value& map = source[key];
        for (const auto& name : map.getMemberNames()) {
            const auto opcode = static_cast<size_t>(ParseNumber(Json::Value(name), where + "." + key));
            if (opcode > 255) {
                throw ProfileError(where + "." + key + ": opcode " + name + " out of range");
            }
            WriteLe(image, base + opcode * 4, 4,
                    static_cast<uint64_t>(ParseNumber(map[name], where + "." + key + "." + name)));
        }
    }
    return image;
}

Bytes EncodeTelemetry(const Json::Value& source, unsigned lid, const std::string& where) {
    Bytes image(512, 0);
    EncodeFields(source, TELEMETRY_HEADER, image, 0, where);
    image[0] = static_cast<uint8_t>(lid);
    const uint32_t last = std::max({ReadLe(image, 8, 2), ReadLe(image, 10, 2), ReadLe(image, 12, 2)});
    image.resize((static_cast<size_t>(last) + 1) * 512, 0);
    // Data blocks carry a recognisable pattern: block number in each byte.
    for (size_t i = 512; i < image.size(); ++i) {
        image[i] = static_cast<uint8_t>(i / 512);
    }
    return image;
}

Bytes EncodeEventLog(const Json::Value& source, const std::string& where) {
    Bytes image(512, 0);
    EncodeExcept(source, EVENT_LOG_HEADER, image, 0, where, {"events"});
    image[0] = 0x0D;
    const Json::Value& events = source["events"];
    for (Json::ArrayIndex i = 0; i < events.size(); ++i) {
        const Json::Value& event = events[i];
        const std::string at = where + ".events[" + std::to_string(i) + "]";
        const unsigned type = static_cast<unsigned>(ParseNumber(event["ETYPE"], at + ".ETYPE"));
        // Event types whose data the profile may give by field name, with the
        // size of that data; other types take raw "data" only.
        static const struct {
            unsigned type;
            FieldTable fields;
            size_t size;
        } NAMED_EVENT_DATA[] = {{0x01, SMART_HEALTH, 512},
                                {0x02, EVENT_FIRMWARE_COMMIT, 24},
                                {0x03, EVENT_TIMESTAMP_CHANGE, 16},
                                {0x05, EVENT_HARDWARE_ERROR, 4},
                                {0x0D, EVENT_THERMAL_EXCURSION, 4}};
        Bytes data;
        const FieldTable* table = nullptr;
        for (const auto& named : NAMED_EVENT_DATA) {
            if (named.type == type) {
                table = &named.fields;
                data.resize(named.size, 0);
            }
        }
        if (event.isMember("data")) {
            data = ParseHex(event["data"].asString(), at + ".data");
        }
        if (event.isMember("fields")) {
            if (table == nullptr) {
                throw ProfileError(at + ": event type has no named fields; use \"data\"");
            }
            EncodeFields(event["fields"], *table, data, 0, at + ".fields");
        }
        Bytes header(24, 0);
        EncodeExcept(event, EVENT_HEADER, header, 0, at, {"data", "fields", "vendor", "EL"});
        header[2] = 21;  // event header length, bytes after the first three
        Bytes vendor;
        if (event.isMember("vendor")) {
            vendor = ParseHex(event["vendor"].asString(), at + ".vendor");
        }
        WriteLe(header, 20, 2, vendor.size());
        // "EL" overrides the event length, for drives whose events lie about it.
        WriteLe(header, 22, 2,
                event.isMember("EL") ? static_cast<uint64_t>(ParseNumber(event["EL"], at + ".EL"))
                                     : vendor.size() + data.size());
        image.insert(image.end(), header.begin(), header.end());
        image.insert(image.end(), vendor.begin(), vendor.end());
        image.insert(image.end(), data.begin(), data.end());
    }
    if (!source.isMember("TNEV")) {
        WriteLe(image, 4, 4, events.size());
    }
    if (!source.isMember("TLL")) {
        WriteLe(image, 8, 8, image.size());
    }
    if (!source.isMember("LHL")) {
        WriteLe(image, 18, 2, 512);
    }
    return image;
}

Bytes EncodeLog(unsigned lid, const Json::Value& source, const std::string& where) {
    switch (lid) {
        case 0x01:
            return EncodeErrorLog(source, where);
        case 0x05:
            return EncodeCommandsSupported(source, where);
        case 0x07:
        case 0x08:
            return EncodeTelemetry(source, lid, where);
        case 0x0D:
            return EncodeEventLog(source, where);
        default:
            break;
    }
    Bytes image(512, 0);
    if (lid == 0x02) {
        EncodeFields(source, SMART_HEALTH, image, 0, where);
    } else if (lid == 0x03) {
        EncodeFields(source, FIRMWARE_SLOT, image, 0, where);
    } else if (lid == 0x06) {
        image = EmptySelfTestLog();
        EncodeExcept(source, SELF_TEST_HEADER, image, 0, where, {"entries"});
        // Entries the profile gives start from zero; the rest stay unused.
        for (Json::ArrayIndex i = 0; i < source["entries"].size() && i < 20; ++i) {
            image[4 + 28 * i] = 0;
        }
        EncodeArray(source, "entries", SELF_TEST_ENTRY, image, 4, 28, 20, where);
    } else if (lid == 0x81) {
        EncodeFields(source, SANITIZE_STATUS, image, 0, where);
    } else if (source.isMember("data")) {
        image = ParseHex(source["data"].asString(), where + ".data");
    } else {
        throw ProfileError(where + ": log page without a layout here; give its bytes as \"data\"");
    }
    return image;
}

void EncodeFeature(Drive& drive, unsigned fid, const Json::Value& source, const std::string& where) {
    if (fid == 0x04) {
        for (Json::ArrayIndex i = 0; i < source["thresholds"].size(); ++i) {
            const Json::Value& entry = source["thresholds"][i];
            const std::string at = where + ".thresholds[" + std::to_string(i) + "]";
            const unsigned sensor = static_cast<unsigned>(ParseNumber(entry["TMPSEL"], at + ".TMPSEL"));
            const unsigned kind = static_cast<unsigned>(ParseNumber(entry["THSEL"], at + ".THSEL"));
            drive.thresholds[(sensor << 4) | kind] =
                static_cast<uint32_t>(ParseNumber(entry["TMPTH"], at + ".TMPTH"));
        }
        drive.features[fid] = FeatureValue{};
        return;
    }
    FeatureValue value;
    if (source.isMember("dw0")) {
        value.dw0 = static_cast<uint32_t>(ParseNumber(source["dw0"], where + ".dw0"));
    }
    if (fid == 0x0C) {
        value.buffer.assign(256, 0);
        EncodeArray(source, "entries", APST_ENTRY, value.buffer, 0, 8, 32, where);
    } else if (fid == 0x0D) {
        value.buffer.assign(4096, 0);
        EncodeExcept(source, HOST_MEMORY_BUFFER, value.buffer, 0, where, {"dw0"});
    } else if (fid == 0x0E) {
        value.buffer.assign(8, 0);
        EncodeExcept(source, TIMESTAMP, value.buffer, 0, where, {"dw0"});
    } else {
        for (const auto& name : source.getMemberNames()) {
            if (name != "dw0") {
                throw ProfileError(where + ": unknown field \"" + name + "\"");
            }
        }
    }
    drive.features[fid] = value;
}

std::string Text(const Json::Value& source, const char* key, const std::string& fallback) {
    return source.isMember(key) ? source[key].asString() : fallback;
}

PciFunction ParsePci(const Json::Value& source, const PciFunction& defaults) {
    PciFunction pci = defaults;
    pci.address = Text(source, "address", pci.address);
    pci.vendor = Text(source, "vendor", pci.vendor);
    pci.device = Text(source, "device", pci.device);
    pci.max_link_speed = Text(source, "max_link_speed", pci.max_link_speed);
    pci.max_link_width = Text(source, "max_link_width", pci.max_link_width);
    pci.current_link_speed = Text(source, "current_link_speed", pci.current_link_speed);
    pci.current_link_width = Text(source, "current_link_width", pci.current_link_width);
    pci.secondary_bus_number = Text(source, "secondary_bus_number", pci.secondary_bus_number);
    return pci;
}

// True when `device` names a namespace block device of the drive, or a partition of one.
bool IsDriveBlockDevice(const Profile& profile, const Drive& drive, const std::string& device) {
    for (const auto& ns : drive.namespaces) {
        const std::string name = profile.NamespaceName(drive, ns);
        if (device == name) {
            return true;
        }
        if (device.compare(0, name.size() + 1, name + "p") == 0 && device.size() > name.size() + 1 &&
            device.find_first_not_of("0123456789", name.size() + 1) == std::string::npos) {
            return true;
        }
    }
    return false;
}

// "mounts": [{"device": "nvme0n1p2", "on": "/boot", "type": "ext4", "via": "dm-0"}], "swaps": ["nvme0n1p3"].
void ParseHostUse(const Json::Value& source, Drive& drive, const std::string& where) {
    for (const auto& mount : source["mounts"]) {
        HostUse use{mount["device"].asString(), mount["on"].asString(), mount.get("type", "ext4").asString(),
                    mount.get("via", "").asString()};
        if (use.on.empty() || use.on[0] != '/') {
            throw ProfileError(where + ".mounts: \"" + use.device + "\" needs a mount point");
        }
        drive.host_use.push_back(use);
    }
    for (const auto& swap : source["swaps"]) {
        drive.host_use.push_back(HostUse{swap.asString(), "", "swap", ""});
    }
    for (const auto& name : source["held"]) {
        drive.held.push_back(name.asString());
    }
}

void Merge(Json::Value& target, const Json::Value& patch) {
    if (!patch.isObject() || !target.isObject()) {
        target = patch;
        return;
    }
    for (const auto& name : patch.getMemberNames()) {
        Merge(target[name], patch[name]);
    }
}

}  // namespace

Drive ParseDrive(const Json::Value& source, unsigned index) {
    const std::string where = "drives[" + std::to_string(index) + "]";
    Drive drive;
    drive.controller = source.isMember("controller") ? source["controller"].asUInt() : index;
    drive.subsystem = source.isMember("subsystem") ? source["subsystem"].asUInt() : drive.controller;
    drive.transport = source.get("transport", "pcie").asString();
    drive.state = source.get("state", "live").asString();
    char address[32];
    snprintf(address, sizeof address, "0000:%02x:00.0", drive.controller + 1);
    char root[32];
    snprintf(root, sizeof root, "0000:00:%02x.0", 0x1c + drive.controller);
    PciFunction pci{address, "0x1b96", "0x2500", "8.0 GT/s PCIe", "4", "8.0 GT/s PCIe", "4", ""};
    drive.pci = ParsePci(source["pci"], pci);
    PciFunction upstream{root, "0x8086",        "0xa110", "8.0 GT/s PCIe",
                         "4",  "8.0 GT/s PCIe", "4",      std::to_string(drive.controller + 1)};
    drive.upstream = ParsePci(source["pci"]["upstream"], upstream);
    const std::string fabrics =
        drive.transport == "tcp" ? "traddr=127.0.0.1,trsvcid=4420,src_addr=127.0.0.1" : "";
    drive.address = source.get("address", drive.Pcie() ? drive.pci.address : fabrics).asString();

    drive.identify_controller.assign(4096, 0);
    const Json::Value& controller = source["identify controller"];
    EncodeExcept(controller, IDENTIFY_CONTROLLER, drive.identify_controller, 0,
                 where + ".identify controller", {"PSD"});
    EncodeArray(controller, "PSD", POWER_STATE, drive.identify_controller, 2048, 32, 32,
                where + ".identify controller");
    if (!controller.isMember("NPSS") && controller["PSD"].size() > 0) {
        drive.identify_controller[263] = static_cast<uint8_t>(controller["PSD"].size() - 1);
    }

    const Json::Value& namespaces = source["namespaces"];
    for (Json::ArrayIndex i = 0; i < namespaces.size(); ++i) {
        const std::string at = where + ".namespaces[" + std::to_string(i) + "]";
        Namespace ns;
        ns.nsid = namespaces[i].isMember("nsid") ? namespaces[i]["nsid"].asUInt() : i + 1;
        ns.identify.assign(4096, 0);
        const Json::Value& identify = namespaces[i]["identify namespace"];
        EncodeExcept(identify, IDENTIFY_NAMESPACE, ns.identify, 0, at + ".identify namespace", {"LBAF"});
        EncodeArray(identify, "LBAF", LBA_FORMAT, ns.identify, 128, 4, 16, at + ".identify namespace");
        if (!identify.isMember("NLBAF") && identify["LBAF"].size() > 0) {
            ns.identify[25] = static_cast<uint8_t>(identify["LBAF"].size() - 1);
        }
        ns.sectors = NamespaceSectors(ns.identify);
        drive.namespaces.push_back(ns);
    }

    const Json::Value& logs = source["log pages"];
    for (const auto& name : logs.getMemberNames()) {
        const unsigned lid = ParseId(name, where + ".log pages");
        drive.logs[lid] = EncodeLog(lid, logs[name], where + ".log pages." + name);
    }
    const Json::Value& features = source["features"];
    for (const auto& name : features.getMemberNames()) {
        EncodeFeature(drive, ParseId(name, where + ".features"), features[name], where + ".features." + name);
    }

    const Json::Value& self_test = source["self-test"];
    drive.self_test_polls = self_test.get("polls", 3).asUInt();
    drive.self_test_seconds = self_test.get("seconds", -1).asInt();
    drive.self_test_result = self_test.get("result", 0).asUInt();
    drive.self_test_segment = self_test.get("segment", 0).asUInt();
    drive.self_test_backwards = self_test.get("backwards", false).asBool();
    if (drive.logs.count(2) != 0) {
        drive.power_on_hours = ReadLe(drive.logs[2], 128, 4);
    }
    const Json::Value& sanitize = source["sanitize"];
    drive.sanitize_polls = sanitize.get("polls", 3).asUInt();
    drive.sanitize_seconds = sanitize.get("seconds", -1).asInt();
    drive.sanitize_outcome = sanitize.get("outcome", "completed").asString();
    static const std::set<std::string> outcomes{"completed", "no-deallocate", "failed", "backwards",
                                                "restarts"};
    if (outcomes.count(drive.sanitize_outcome) == 0) {
        throw ProfileError(where + ".sanitize.outcome: unknown outcome \"" + drive.sanitize_outcome + "\"");
    }
    ParseHostUse(source, drive, where);
    if (source.isMember("max hw sectors kb")) {
        drive.max_hw_sectors_kb =
            static_cast<unsigned>(ParseNumber(source["max hw sectors kb"], where + ".max hw sectors kb"));
    }
    const Json::Value& faults = source["faults"];
    if (!faults.isNull()) {
        ParseFaults(faults.asString(), drive.faults, drive.open_error, drive.vanish_after);
    }
    return drive;
}

uint64_t NamespaceSectors(const Bytes& identify) {
    if (identify.size() < 4096) {
        return 0;
    }
    const unsigned format = identify[26] & 0x0F;
    const unsigned lbads = identify[128 + 4 * format + 2];
    uint64_t nsze = 0;
    for (int b = 7; b >= 0; --b) {
        nsze = (nsze << 8) | identify[b];
    }
    if (lbads >= 9 + 64) {
        return 0;  // a format no drive has: the size is not shown
    }
    return lbads >= 9 ? nsze << (lbads - 9) : nsze;
}

uint64_t Drive::MaxTransfer() const {
    const unsigned mdts = identify_controller.size() > 77 ? identify_controller[77] : 0;
    uint64_t limit = mdts == 0 || mdts > 20 ? 0 : uint64_t{4096} << mdts;
    if (max_hw_sectors_kb != 0) {
        const uint64_t kernel = uint64_t{max_hw_sectors_kb} * 1024;
        limit = limit == 0 ? kernel : std::min(limit, kernel);
    }
    return limit;
}

Bytes EmptySelfTestLog() {
    Bytes image(564, 0);
    for (size_t entry = 0; entry < 20; ++entry) {
        image[4 + 28 * entry] = 0x0F;  // result Fh: entry not used
    }
    return image;
}

std::string Fault::Key() const {
    return std::to_string(opcode) + "/" + std::to_string(log) + "/" + std::to_string(feature) + "/" +
           std::to_string(after) + "/" + std::to_string(error) + "/" + std::to_string(status) +
           (cns >= 0 ? "/cns" + std::to_string(cns) : "");
}

std::string Profile::NamespaceName(const Drive& drive, const Namespace& ns) const {
    return "nvme" + std::to_string(multipath ? drive.subsystem : drive.controller) + "n" +
           std::to_string(ns.nsid);
}

std::string Profile::PathName(const Drive& drive, const Namespace& ns) const {
    return "nvme" + std::to_string(drive.subsystem) + "c" + std::to_string(drive.controller) + "n" +
           std::to_string(ns.nsid);
}

uint16_t Drive::Sanicap() const {
    return static_cast<uint16_t>(ReadLe(identify_controller, 328, 2));
}

uint16_t Drive::Oacs() const {
    return static_cast<uint16_t>(ReadLe(identify_controller, 256, 2));
}

std::string Drive::IdentifyText(size_t offset, size_t length) const {
    std::string text(identify_controller.begin() + offset, identify_controller.begin() + offset + length);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\0')) {
        text.pop_back();
    }
    return text;
}

const Drive* Profile::FindDrive(unsigned controller) const {
    for (const auto& drive : drives) {
        if (drive.controller == controller) {
            return &drive;
        }
    }
    return nullptr;
}

void EncodeFields(const Json::Value& source, FieldTable table, Bytes& image, size_t base,
                  const std::string& where) {
    if (source.isNull()) {
        return;
    }
    if (!source.isObject()) {
        throw ProfileError(where + ": expected an object");
    }
    for (const auto& name : source.getMemberNames()) {
        const Field* field = nullptr;
        for (const auto& candidate : table) {
            if (name == candidate.name) {
                field = &candidate;
                break;
            }
        }
        if (field == nullptr) {
            throw ProfileError(where + ": unknown field \"" + name + "\"");
        }
        const std::string at = where + "." + name;
        const size_t offset = base + field->offset;
        // Byte strings may be shorter than their field; in a structure of
        // variable length (event data) they end the structure.
        Require(image, offset + (field->kind == Field::kBytes ? 0 : field->size));
        const Json::Value& value = source[name];
        if (field->kind == Field::kAscii || field->kind == Field::kAsciiNul) {
            const std::string text = value.asString();
            if (text.size() > field->size) {
                throw ProfileError(at + ": longer than " + std::to_string(field->size) + " characters");
            }
            for (size_t i = 0; i < field->size; ++i) {
                image[offset + i] = i < text.size() ? static_cast<uint8_t>(text[i])
                                                    : (field->kind == Field::kAscii ? ' ' : 0);
            }
        } else if (field->kind == Field::kBytes) {
            const Bytes bytes = ParseHex(value.asString(), at);
            if (bytes.size() > field->size) {
                throw ProfileError(at + ": longer than " + std::to_string(field->size) + " bytes");
            }
            Require(image, offset + bytes.size());
            std::copy(bytes.begin(), bytes.end(), image.begin() + static_cast<long>(offset));
        } else {
            Wide number = ParseNumber(value, at);
            Wide limit_bits = field->bits != 0 ? field->bits : field->size * 8;
            if (limit_bits < 128 && (number >> limit_bits) != 0) {
                throw ProfileError(at + ": value does not fit in " +
                                   std::to_string(static_cast<unsigned>(limit_bits)) + " bits");
            }
            if (field->bits != 0) {
                const Wide mask = ((Wide{1} << field->bits) - 1) << field->shift;
                Wide current = 0;
                for (size_t i = 0; i < field->size; ++i) {
                    current |= Wide{image[offset + i]} << (8 * i);
                }
                number = (current & ~mask) | ((number << field->shift) & mask);
            }
            for (size_t i = 0; i < field->size; ++i) {
                image[offset + i] = static_cast<uint8_t>(number >> (8 * i));
            }
        }
    }
}

void ParseFaults(const std::string& text, std::vector<Fault>& faults, int& open_error, int& vanish_after) {
    std::stringstream entries(text);
    for (std::string entry; std::getline(entries, entry, ';');) {
        if (entry.empty()) {
            continue;
        }
        Fault fault;
        bool command = false;
        std::stringstream items(entry);
        for (std::string item; std::getline(items, item, ',');) {
            const auto equals = item.find('=');
            if (equals == std::string::npos) {
                throw ProfileError("fault \"" + entry + "\": expected key=value, got \"" + item + "\"");
            }
            const std::string key = item.substr(0, equals);
            const auto value = static_cast<long long>(
                ParseNumber(Json::Value(item.substr(equals + 1)), "fault \"" + entry + "\" " + key));
            if (key == "open") {
                open_error = static_cast<int>(value);
            } else if (key == "vanish") {
                vanish_after = static_cast<int>(value);
            } else if (key == "opcode") {
                fault.opcode = static_cast<int>(value);
                command = true;
            } else if (key == "log") {
                fault.log = static_cast<int>(value);
            } else if (key == "feature") {
                fault.feature = static_cast<int>(value);
            } else if (key == "cns") {
                fault.cns = static_cast<int>(value);
            } else if (key == "after") {
                fault.after = static_cast<unsigned>(value);
            } else if (key == "errno") {
                fault.error = static_cast<int>(value);
            } else if (key == "status") {
                fault.status = static_cast<int>(value);
            } else if (key == "signal") {
                fault.signal = static_cast<int>(value);
            } else {
                throw ProfileError("fault \"" + entry + "\": unknown key \"" + key + "\"");
            }
        }
        if (command) {
            if ((fault.error != 0) + (fault.status != 0) + (fault.signal != 0) != 1) {
                throw ProfileError("fault \"" + entry + "\": give exactly one of errno, status and signal");
            }
            faults.push_back(fault);
        } else if (fault.log >= 0 || fault.feature >= 0 || fault.cns >= 0 || fault.error != 0 ||
                   fault.status != 0 || fault.signal != 0) {
            throw ProfileError("fault \"" + entry + "\": a command fault needs an opcode");
        }
    }
}

Profile ParseProfile(const std::string& text, const std::string& path, const std::string& drive_patch) {
    Json::CharReaderBuilder builder;
    std::string errors;
    Json::Value root;
    std::istringstream in(text);
    if (!Json::parseFromStream(builder, in, &root, &errors)) {
        throw ProfileError(path + ": " + errors);
    }
    Json::Value patch;
    std::istringstream patch_in(drive_patch);
    if (!drive_patch.empty() && (!Json::parseFromStream(builder, patch_in, &patch, &errors) ||
                                 (!patch.isObject() && !patch.isArray()))) {
        throw ProfileError("drive patch: not a JSON object or array: " + drive_patch);
    }
    Profile profile;
    profile.path = path;
    profile.text = drive_patch.empty() ? text : text + "\n" + drive_patch;
    if (IsCapture(root)) {
        try {
            profile.drives.push_back(ParseCapture(root, profile.host));
        } catch (const ProfileError& error) {
            throw ProfileError(path + ": " + error.what());
        }
        return profile;
    }
    const Json::Value& host = root["host"];
    profile.host.bios_version = Text(host, "bios_version", profile.host.bios_version);
    profile.host.board_vendor = Text(host, "board_vendor", profile.host.board_vendor);
    profile.host.product_name = Text(host, "product_name", profile.host.product_name);
    profile.multipath = root.get("multipath", true).asBool();
    // A drive may start from an earlier one of the file: {"like": 0, ...} takes
    // drive 0 and sets its own members over it.
    Json::Value& drives = root["drives"];
    for (Json::ArrayIndex i = 0; i < drives.size(); ++i) {
        if (!drives[i].isMember("like")) {
            continue;
        }
        const Json::ArrayIndex like = drives[i]["like"].asUInt();
        if (like >= i) {
            throw ProfileError(path + ": drives[" + std::to_string(i) + "].like: not an earlier drive");
        }
        Json::Value drive = drives[like];
        drives[i].removeMember("like");
        Merge(drive, drives[i]);
        drives[i] = drive;
    }
    // An object patch goes into every drive, an array's elements into the drives in turn.
    for (Json::ArrayIndex i = 0; !drive_patch.empty() && i < drives.size(); ++i) {
        if (patch.isObject() || (i < patch.size() && patch[i].isObject())) {
            Merge(drives[i], patch.isObject() ? patch : patch[i]);
        }
    }
    for (Json::ArrayIndex i = 0; i < drives.size(); ++i) {
        try {
            profile.drives.push_back(ParseDrive(drives[i], i));
        } catch (const ProfileError& error) {
            throw ProfileError(path + ": " + error.what());
        }
        const Drive& drive = profile.drives.back();
        for (const auto& use : drive.host_use) {
            if (!IsDriveBlockDevice(profile, drive, use.device)) {
                throw ProfileError(path + ": drives[" + std::to_string(i) + "]: \"" + use.device +
                                   "\" is no namespace or partition of this drive");
            }
        }
    }
    return profile;
}

namespace {

// The captures of a folder in sample order: nvme.info.sample-<i>.json, or else nvme.info.json.
std::vector<std::string> CaptureFiles(const std::string& folder) {
    std::vector<std::pair<unsigned long, std::string>> samples;
    if (DIR* dir = opendir(folder.c_str()); dir != nullptr) {
        while (const dirent* entry = readdir(dir)) {
            unsigned long number = 0;
            char tail[8] = {};
            if (sscanf(entry->d_name, "nvme.info.sample-%lu.%7s", &number, tail) == 2 &&
                std::string(tail) == "json" &&
                std::string(entry->d_name) == "nvme.info.sample-" + std::to_string(number) + ".json") {
                samples.emplace_back(number, folder + "/" + entry->d_name);
            }
        }
        closedir(dir);
    }
    std::sort(samples.begin(), samples.end());
    std::vector<std::string> files;
    for (const auto& sample : samples) {
        files.push_back(sample.second);
    }
    if (files.empty()) {
        files.push_back(folder + "/nvme.info.json");
    }
    return files;
}

}  // namespace

Profile LoadProfile(const std::string& path, const std::string& drive_patch) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
        // A folder of captures replays them as a sequence on one drive.
        Profile profile;
        for (const auto& file : CaptureFiles(path)) {
            Profile capture = LoadProfile(file);
            if (capture.drives.size() != 1 || !capture.drives[0].replay) {
                throw ProfileError(file + ": not an information file");
            }
            if (profile.drives.empty()) {
                profile = capture;
            } else {
                profile.text += capture.text;
                profile.drives[0].samples.push_back(capture.drives[0]);
            }
        }
        profile.path = path;
        return profile;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw ProfileError(path + ": cannot open (" + std::strerror(errno) + ")");
    }
    std::ostringstream content;
    content << in.rdbuf();
    // A profile may stand for another one: {"same as": "rich-1.4.json"}, a
    // path relative to its own folder, with its own "drive patch" laid over
    // each drive before the patch of the environment.
    Json::CharReaderBuilder builder;
    Json::Value root;
    std::string errors;
    std::istringstream probe(content.str());
    if (Json::parseFromStream(builder, probe, &root, &errors) && root.isObject() &&
        root.isMember("same as")) {
        const auto slash = path.rfind('/');
        const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash);
        std::string patch = drive_patch;
        if (root["drive patch"].isObject()) {
            Json::Value combined = root["drive patch"];
            Json::Value given;
            std::istringstream given_in(drive_patch);
            if (!drive_patch.empty() &&
                (!Json::parseFromStream(builder, given_in, &given, &errors) || !given.isObject())) {
                throw ProfileError("drive patch: not a JSON object: " + drive_patch);
            }
            if (!drive_patch.empty()) {
                Merge(combined, given);
            }
            patch = Json::writeString(Json::StreamWriterBuilder(), combined);
        }
        Profile profile = LoadProfile(folder + "/" + root["same as"].asString(), patch);
        profile.path = path;
        return profile;
    }
    return ParseProfile(content.str(), path, drive_patch);
}

}  // namespace brantix_sim
