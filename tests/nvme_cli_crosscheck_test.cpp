// Cross-check of the simulator against an independent NVMe client: Debian's
// nvme-cli, run under the simulator, must show the values written in each
// profile's source.
//
// Where nvme-cli 2.3 departs from the NVMe standard, the expectations below
// follow the standard and adjust only how nvme-cli prints the value:
// - error-log splits the Status Field: "status_field" is bits 15:1 and
//   "phase_tag" bit 0; "nsid" is printed as a signed 32-bit number (-1).
// - sanitize-log prints 32-bit estimates of FFFFFFFFh as -1.
// - fw-log shows a revision as its 64-bit value and its text with padding as
//   ".".
// - id-ctrl names NVSCC "icsvscc" and prints FGUID with dashes.
// - effects-log without --csi reads the controller registers through the PCI
//   resource file, which the simulator has not; it is run with --csi=0.
// - persistent-event-log: the plain read (action 0) needs a context, which a
//   first call with -a 1 establishes (only that, as nvme-cli returns at once);
//   its JSON output crashes on event types it has no name for (DEh, DFh,
//   reserved), so the text output is read; and it drops the last event when
//   that event ends exactly at the Total Log Length.
// - get-feature has no JSON output; its "Current value" line is read, where
//   a value of 0 appears without "0x".
// - self-test-log lists the unused result entries as well, each with only
//   its result (Fh).
// - id-ctrl and persistent-event-log keep the blanks that pad SN and MN.
// - persistent-event-log ends the power on hours without a line break, so the
//   power cycle count follows on the same line.
//
// The log page tests also hold what brantix itself decodes from each page
// against what nvme-cli shows, field by field where both decode a field.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <functional>
#include <sstream>

#include "get_feature.h"
#include "identify_controller.h"
#include "orka_nvme.h"
#include "support/log_pages.h"
#include "support/parameters.h"
#include "support/simulator.h"

namespace {

using testing_support::ParseJson;
using testing_support::ProfileSource;
using testing_support::RunUnderSimulator;

const std::vector<std::string> PROFILES = {"plain-1.2.1", "rich-1.4", "old-1.1", "dual-namespace", "faulty"};

// The drives of a profile's source (by value: the loops below range over it).
Json::Value Drives(const std::string& profile) {
    return ProfileSource(profile)["drives"];
}

// Calls `check` for every drive of every profile, with the drive's controller number.
void ForEachDrive(const std::function<void(const std::string&, const Json::Value&, unsigned)>& check) {
    for (const auto& profile : PROFILES) {
        for (const auto& drive : Drives(profile)) {
            check(profile, drive, drive["controller"].asUInt());
        }
    }
}

bool NvmeCliPresent() {
    return std::system("command -v nvme >/dev/null 2>&1") == 0;
}

using Wide = unsigned __int128;

Wide SourceNumber(const Json::Value& value) {
    if (value.isBool()) {
        return value.asBool() ? 1 : 0;
    }
    if (value.isNumeric()) {
        return value.asUInt64();
    }
    std::string text = value.asString();
    Wide result = 0;
    const bool hex = text.size() > 2 && text[1] == 'x';
    for (size_t i = hex ? 2 : 0; i < text.size(); ++i) {
        const int c = std::tolower(static_cast<unsigned char>(text[i]));
        result = result * (hex ? 16 : 10) + static_cast<unsigned>(std::isdigit(c) ? c - '0' : c - 'a' + 10);
    }
    return result;
}

std::string Decimal(Wide value) {
    std::string text;
    do {
        text.insert(text.begin(), static_cast<char>('0' + static_cast<int>(value % 10)));
        value /= 10;
    } while (value != 0);
    return text;
}

std::string Expected(const Json::Value& source) {
    return Decimal(SourceNumber(source));
}

// nvme-cli's rendering of a number, with 32-bit values printed signed undone.
std::string Shown(const Json::Value& value) {
    if (value.isString()) {
        return value.asString();
    }
    if (value.isInt64() && value.asInt64() < 0) {
        return Decimal(static_cast<uint32_t>(value.asInt64()));
    }
    return Decimal(value.asUInt64());
}

std::string Trim(std::string text) {
    while (!text.empty() && (text.back() == ' ' || text.back() == '\n')) {
        text.pop_back();
    }
    return text;
}

std::string Lower(std::string text) {
    for (auto& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

class NvmeCliCrossCheck : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!NvmeCliPresent()) {
            GTEST_SKIP() << "nvme-cli is not installed";
        }
        state_ = testing_support::MakeTempDir("cli").string();
    }
    // Runs nvme with `args` on drive `controller` of `profile`.
    testing_support::CommandResult Nvme(const std::string& profile, unsigned controller,
                                        std::vector<std::string> args) {
        args.insert(args.begin() + 1, "/dev/nvme" + std::to_string(controller));
        args.insert(args.begin(), "nvme");
        return RunUnderSimulator(profile, args, state_ + "/" + profile);
    }
    Json::Value NvmeJson(const std::string& profile, unsigned controller, std::vector<std::string> args) {
        args.push_back("-o");
        args.push_back("json");
        const auto result = Nvme(profile, controller, args);
        EXPECT_EQ(result.exit_code, 0) << profile << " " << args[0];
        return ParseJson(result.output);
    }
    std::string state_;
};

// A source value that is text rather than a number ("0x..." or decimal).
bool IsText(const Json::Value& value) {
    if (!value.isString()) {
        return false;
    }
    const std::string text = value.asString();
    const bool hex = text.compare(0, 2, "0x") == 0;
    const std::string digits = hex ? text.substr(2) : text;
    return digits.empty() ||
           digits.find_first_not_of(hex ? "0123456789abcdefABCDEF" : "0123456789") != std::string::npos;
}

// Compares every field of `fields` with the output under its lower-case name
// (or `names`), skipping the fields in `skip`; returns how many it compared.
int CompareFields(const Json::Value& fields, const Json::Value& shown,
                  const std::map<std::string, std::string>& names, const std::set<std::string>& skip,
                  const std::string& where) {
    int compared = 0;
    for (const auto& field : fields.getMemberNames()) {
        if (skip.count(field) != 0) {
            continue;
        }
        const auto alias = names.find(field);
        const std::string key = alias != names.end() ? alias->second : Lower(field);
        if (!shown.isMember(key)) {
            ADD_FAILURE() << where << ": nvme-cli shows no " << key << " for " << field;
            continue;
        }
        ++compared;
        if (shown[key].isString() && IsText(fields[field])) {
            EXPECT_EQ(Trim(shown[key].asString()), fields[field].asString()) << where << " " << field;
        } else {
            EXPECT_EQ(Shown(shown[key]), Expected(fields[field])) << where << " " << field;
        }
    }
    return compared;
}

// A brantix value as a number: "0x..." hexadecimal, else decimal with its
// grouping commas and any unit after a blank left out.
Wide BrantixNumber(std::string text) {
    text = text.substr(0, text.find(' '));
    text.erase(std::remove(text.begin(), text.end(), ','), text.end());
    return SourceNumber(Json::Value(text));
}

// Log page checks: nvme-cli in a child, brantix's log-page step in-process.
class SimulatedNvmeCliCrossCheck : public NvmeCliCrossCheck {
  protected:
    void TearDown() override { testing_support::StopSimulation(); }
    // What brantix decodes from drive `controller` of `profile`: its log-page document.
    Json::Value Decoded(const std::string& profile, unsigned controller) {
        testing_support::UseProfile(profile);
        return testing_support::CollectLogPages(testing_support::AllLogPagesSettings(controller));
    }
};

std::string Value(const Json::Value& info, const std::string& name) {
    return info["nvme"]["parameters"][name]["value"].asString();
}

TEST_F(NvmeCliCrossCheck, IdentifyControllerAndPowerStates) {
    ForEachDrive([&](const std::string& profile, const Json::Value& drive, unsigned controller) {
        const Json::Value& source = drive["identify controller"];
        const Json::Value shown = NvmeJson(profile, controller, {"id-ctrl"});
        const std::string where = profile + " nvme" + std::to_string(controller);
        const int compared =
            CompareFields(source, shown, {{"NVSCC", "icsvscc"}}, {"PSD", "FGUID", "VS"}, where + " id-ctrl");
        EXPECT_GE(compared, 20) << where;
        if (source.isMember("FGUID")) {
            std::string guid = shown["fguid"].asString();
            guid.erase(std::remove(guid.begin(), guid.end(), '-'), guid.end());
            EXPECT_EQ(guid, source["FGUID"].asString()) << where;
        }
        const Json::Value& psd = source["PSD"];
        ASSERT_EQ(shown["psds"].size(), psd.size()) << where;
        EXPECT_EQ(shown["npss"].asUInt() + 1, psd.size()) << where;
        const std::map<std::string, std::string> names = {
            {"MP", "max_power"},      {"ENLAT", "entry_lat"},       {"EXLAT", "exit_lat"},
            {"RRT", "read_tput"},     {"RRL", "read_lat"},          {"RWT", "write_tput"},
            {"RWL", "write_lat"},     {"IDLP", "idle_power"},       {"IPS", "idle_scale"},
            {"ACTP", "active_power"}, {"APW", "active_power_work"}, {"APS", "active_scale"}};
        for (Json::ArrayIndex i = 0; i < psd.size(); ++i) {
            const std::string at = where + " PSD" + std::to_string(i);
            CompareFields(psd[i], shown["psds"][i], names, {"MXPS", "NOPS"}, at);
            const unsigned flags = static_cast<unsigned>(SourceNumber(psd[i].get("MXPS", 0))) |
                                   static_cast<unsigned>(SourceNumber(psd[i].get("NOPS", 0))) << 1;
            EXPECT_EQ(shown["psds"][i]["flags"].asUInt(), flags) << at;
        }
    });
}

TEST_F(NvmeCliCrossCheck, IdentifyNamespaceAndLbaFormats) {
    ForEachDrive([&](const std::string& profile, const Json::Value& drive, unsigned controller) {
        for (const auto& ns : drive["namespaces"]) {
            const std::string nsid = ns["nsid"].asString();
            const std::string where = profile + " nvme" + std::to_string(controller) + "n" + nsid;
            const Json::Value& source = ns["identify namespace"];
            const Json::Value shown = NvmeJson(profile, controller, {"id-ns", "-n", nsid});
            EXPECT_GE(CompareFields(source, shown, {}, {"LBAF", "NGUID", "EUI64"}, where), 4) << where;
            for (const char* id : {"NGUID", "EUI64"}) {
                if (source.isMember(id)) {
                    EXPECT_EQ(shown[Lower(id)].asString(), source[id].asString()) << where;
                }
            }
            const Json::Value& formats = source["LBAF"];
            ASSERT_EQ(shown["lbafs"].size(), formats.size()) << where;
            EXPECT_EQ(shown["nlbaf"].asUInt() + 1, formats.size()) << where;
            for (Json::ArrayIndex i = 0; i < formats.size(); ++i) {
                CompareFields(formats[i], shown["lbafs"][i], {{"LBADS", "ds"}}, {},
                              where + " LBAF" + std::to_string(i));
            }
        }
    });
}

TEST_F(SimulatedNvmeCliCrossCheck, SmartHealthLog) {
    const std::map<std::string, std::string> names = {{"CW", "critical_warning"},
                                                      {"CTEMP", "temperature"},
                                                      {"AVSP", "avail_spare"},
                                                      {"AVSPT", "spare_thresh"},
                                                      {"PUSED", "percent_used"},
                                                      {"EGCWS", "endurance_grp_critical_warning_summary"},
                                                      {"DUR", "data_units_read"},
                                                      {"DUW", "data_units_written"},
                                                      {"HRC", "host_read_commands"},
                                                      {"HWC", "host_write_commands"},
                                                      {"CBT", "controller_busy_time"},
                                                      {"PWRC", "power_cycles"},
                                                      {"POH", "power_on_hours"},
                                                      {"UNSAFE", "unsafe_shutdowns"},
                                                      {"MEDERR", "media_errors"},
                                                      {"NUMERR", "num_err_log_entries"},
                                                      {"WCTT", "warning_temp_time"},
                                                      {"CCTT", "critical_comp_time"},
                                                      {"TMT1TC", "thm_temp1_trans_count"},
                                                      {"TMT2TC", "thm_temp2_trans_count"},
                                                      {"TTTMT1", "thm_temp1_total_time"},
                                                      {"TTTMT2", "thm_temp2_total_time"}};
    // clang-format off
    const std::map<std::string, std::string> decoded_names = {
        {"Data Units Read", "data_units_read"}, {"Data Units Written", "data_units_written"},
        {"Host Read Commands", "host_read_commands"}, {"Host Write Commands", "host_write_commands"},
        {"Controller Busy Time", "controller_busy_time"}, {"Power Cycles", "power_cycles"},
        {"Power On Hours", "power_on_hours"}, {"Unsafe Shutdowns", "unsafe_shutdowns"},
        {"Media and Data Integrity Errors", "media_errors"}, {"Number of Error Information Log Entries", "num_err_log_entries"},
        {"Warning Composite Temperature Time", "warning_temp_time"}, {"Critical Composite Temperature Time", "critical_comp_time"},
        {"Available Spare", "avail_spare"}, {"Available Spare Threshold", "spare_thresh"}, {"Percentage Used", "percent_used"}};
    const char* const warnings[] = {"Available Space Below Threshold", "Temperature Over/Under Threshold",
                                    "NVM Subsystem Unreliable", "Media in Read-only", "Volatile Memory Backup Failed"};
    // clang-format on
    ForEachDrive([&](const std::string& profile, const Json::Value& drive, unsigned controller) {
        const Json::Value& source = drive["log pages"]["02"];
        const Json::Value shown = NvmeJson(profile, controller, {"smart-log"});
        const Json::Value info = Decoded(profile, controller);
        for (const auto& [name, key] : decoded_names) {
            EXPECT_EQ(Decimal(BrantixNumber(Value(info, name))), Shown(shown[key])) << profile << " " << name;
        }
        for (unsigned bit = 0; bit < 5; ++bit) {
            EXPECT_EQ(Value(info, warnings[bit]),
                      (shown["critical_warning"].asUInt() >> bit & 1) ? "Yes" : "No")
                << profile << " " << warnings[bit];
        }
        EXPECT_EQ(BrantixNumber(Value(info, "Composite Temperature")) + 273, shown["temperature"].asUInt());
        std::set<std::string> sensors;
        for (int n = 1; n <= 8; ++n) {
            const std::string field = "TSEN" + std::to_string(n);
            sensors.insert(field);
            const std::string key = "temperature_sensor_" + std::to_string(n);
            // A sensor that reads 0 is not reported, and not shown.
            const std::string name = "Temperature Sensor " + std::to_string(n);
            if (SourceNumber(source.get(field, 0)) == 0) {
                EXPECT_FALSE(shown.isMember(key)) << profile << " " << key;
                EXPECT_FALSE(info["nvme"]["parameters"].isMember(name)) << profile << " " << name;
            } else {
                EXPECT_EQ(Shown(shown[key]), Expected(source[field])) << profile << " " << key;
                EXPECT_EQ(BrantixNumber(Value(info, name)) + 273, shown[key].asUInt())
                    << profile << " " << name;
            }
        }
        EXPECT_GE(CompareFields(source, shown, names, sensors, profile + " smart-log"), 10);
    });
}

TEST_F(SimulatedNvmeCliCrossCheck, ErrorInformationLog) {
    const std::map<std::string, std::string> names = {{"ERRCNT", "error_count"},
                                                      {"CID", "cmdid"},
                                                      {"PEL", "parm_error_location"},
                                                      {"NS", "nsid"},
                                                      {"VSIA", "vs"},
                                                      {"CSI", "cs"},
                                                      {"TTSI", "trtype_spec_info"}};
    ForEachDrive([&](const std::string& profile, const Json::Value& drive, unsigned controller) {
        const Json::Value& entries = drive["log pages"]["01"]["entries"];
        const Json::Value shown =
            NvmeJson(profile, controller, {"error-log", "-e", std::to_string(entries.size())});
        ASSERT_EQ(shown["errors"].size(), entries.size()) << profile;
        const Json::Value decoded = Decoded(profile, controller)["nvme"]["error log"];
        ASSERT_EQ(decoded.size(), entries.size()) << profile;
        for (Json::ArrayIndex i = 0; i < entries.size(); ++i) {
            const std::string where = profile + " error " + std::to_string(i);
            // clang-format off
            const struct { const char* name; const char* key; const char* none; Wide all_ones; } numbers[] = {
                {"Error Count", "error_count", "", 0}, {"Submission Queue ID", "sqid", "Not Specific", 0xFFFF},
                {"Command ID", "cmdid", "Not Specific", 0xFFFF}, {"Phase Tag", "phase_tag", "", 0},
                {"Status Field", "status_field", "", 0}, {"LBA", "lba", "Not Applicable", ~0ULL},
                {"Namespace", "nsid", "Not Applicable", 0xFFFFFFFF}, {"Command Specific Info", "cs", "", 0}};
            // clang-format on
            for (const auto& n : numbers) {
                const std::string text = decoded[i][n.name].asString();
                EXPECT_EQ(text == n.none ? n.all_ones : BrantixNumber(text),
                          SourceNumber(Json::Value(Shown(shown["errors"][i][n.key]))))
                    << where << " " << n.name;
            }
            const unsigned pel = shown["errors"][i]["parm_error_location"].asUInt();
            EXPECT_EQ(decoded[i]["Byte Location"],
                      pel == 0xFFFF ? "Not Specific" : std::to_string(pel & 0xFF));
            EXPECT_EQ(decoded[i]["Bit Location"],
                      pel == 0xFFFF ? "Not Specific" : std::to_string(pel >> 8 & 7));
            CompareFields(entries[i], shown["errors"][i], names, {"STS"}, where);
            const auto status = static_cast<unsigned>(SourceNumber(entries[i].get("STS", 0)));
            EXPECT_EQ(shown["errors"][i]["status_field"].asUInt(), status >> 1) << where;
            EXPECT_EQ(shown["errors"][i]["phase_tag"].asUInt(), status & 1) << where;
        }
    });
}

TEST_F(SimulatedNvmeCliCrossCheck, FirmwareSlotLog) {
    ForEachDrive([&](const std::string& profile, const Json::Value& drive, unsigned controller) {
        const Json::Value& source = drive["log pages"]["03"];
        if (profile == "faulty") {
            // This drive fails the firmware slot log with EIO; neither shows it.
            EXPECT_NE(Nvme(profile, controller, {"fw-log", "-o", "json"}).exit_code, 0);
            EXPECT_FALSE(Decoded(profile, controller)["nvme"]["parameters"].isMember("Firmware Active Slot"));
            return;
        }
        const Json::Value shown =
            NvmeJson(profile, controller, {"fw-log"})["nvme" + std::to_string(controller)];
        EXPECT_EQ(shown["Active Firmware Slot (afi)"].asUInt(), SourceNumber(source["AFI"])) << profile;
        const Json::Value info = Decoded(profile, controller);
        const unsigned afi = shown["Active Firmware Slot (afi)"].asUInt();
        EXPECT_EQ(Value(info, "Firmware Active Slot"), std::to_string(afi & 7)) << profile;
        EXPECT_EQ(Value(info, "Firmware Pending Slot"),
                  afi >> 4 ? std::to_string(afi >> 4 & 7) : "Not Reported");
        int slots = 0;
        for (int n = 1; n <= 7; ++n) {
            const std::string field = "FRS" + std::to_string(n);
            const std::string key = "Firmware Rev Slot " + std::to_string(n);
            if (!source.isMember(field)) {
                EXPECT_FALSE(shown.isMember(key)) << profile << " " << key;
                continue;
            }
            ++slots;
            std::string text = source[field].asString();
            text.resize(8, '.');
            const std::string value = shown[key].asString();
            EXPECT_EQ(value.substr(value.find('(')), "(" + text + ")") << profile << " " << key;
            std::string decoded = Value(info, "Firmware Slot " + std::to_string(n) + " Revision");
            std::replace(decoded.begin(), decoded.end(), '\0', '.');
            std::replace(decoded.begin(), decoded.end(), ' ', '.');
            EXPECT_EQ("(" + decoded + ")", value.substr(value.find('('))) << profile << " " << key;
        }
        EXPECT_GE(slots, 1) << profile;
    });
}

TEST_F(SimulatedNvmeCliCrossCheck, CommandsSupportedAndEffectsLog) {
    ForEachDrive([&](const std::string& profile, const Json::Value& drive, unsigned controller) {
        const Json::Value& source = drive["log pages"]["05"];
        if (source.isNull()) {
            return;
        }
        const Json::Value shown = NvmeJson(profile, controller, {"effects-log", "--csi=0"})[0];
        // brantix's entries, each turned back into the bits it decodes.
        const std::map<std::string, unsigned> cse = {
            {"No Restriction", 0}, {"Same Namespace Restriction", 1}, {"Any Namespace Restriction", 2}};
        const char* const bits[] = {"Supported", "Logical Block Content Change (LBCC)",
                                    "Namespace Capability Change (NCC)", "Namespace Inventory Change (NIC)",
                                    "Controller Capability Change (CCC)"};
        std::map<std::string, std::string> decoded;
        const Json::Value info = Decoded(profile, controller);
        for (const auto& c : info["nvme"]["command log"]) {
            unsigned raw = (c["UUID Selection Supported"] == "Supported" ? 1U : 0U) << 19;
            for (unsigned bit = 0; bit < 5; ++bit) {
                raw |= (c[bits[bit]] == "Yes" ? 1U : 0U) << bit;
            }
            const auto known = cse.find(c["Command Submission and Execution (CSE)"].asString());
            raw |= (known != cse.end() ? known->second : 3U) << 16;
            decoded[c["Type"].asString()] = Decimal(raw);
        }
        std::map<std::string, std::string> listed_bits;
        for (const auto& [set, key] :
             {std::pair<const char*, const char*>{"ACS", "admin_cmd_set"}, {"IOCS", "io_cmd_set"}}) {
            std::map<unsigned, std::string> listed;
            for (const auto& name : shown[key].getMemberNames()) {
                // "ACS_6 (Identify)": the opcode in decimal after the underscore.
                const auto opcode = static_cast<unsigned>(std::stoul(name.substr(name.find('_') + 1)));
                listed[opcode] = Shown(shown[key][name]);
                listed_bits[(set == std::string("ACS") ? "Admin Command " : "IO Command ") +
                            std::to_string(opcode)] = Decimal(shown[key][name].asUInt() & 0x000F001F);
            }
            std::map<unsigned, std::string> expected;
            for (const auto& opcode : source[set].getMemberNames()) {
                expected[static_cast<unsigned>(SourceNumber(Json::Value(opcode)))] =
                    Expected(source[set][opcode]);
            }
            EXPECT_EQ(listed, expected) << profile << " " << set;
        }
        EXPECT_EQ(decoded, listed_bits) << profile;
    });
}

TEST_F(SimulatedNvmeCliCrossCheck, SelfTestLogEntries) {
    ForEachDrive([&](const std::string& profile, const Json::Value& drive, unsigned controller) {
        const Json::Value& entries = drive["log pages"]["06"]["entries"];
        if (entries.isNull()) {
            return;
        }
        const Json::Value shown = NvmeJson(profile, controller, {"self-test-log"});
        EXPECT_EQ(shown["Current Device Self-Test Operation"].asUInt(), 0u) << profile;
        // nvme-cli lists unused entries too, with only their result (Fh).
        Json::Value reports(Json::arrayValue);
        for (const auto& report : shown["List of Valid Reports"]) {
            if (report["Self test result"].asUInt() != 15) {
                reports.append(report);
            }
        }
        ASSERT_EQ(reports.size(), entries.size()) << profile;
        const Json::Value decoded = Decoded(profile, controller)["nvme"]["self-test log"];
        ASSERT_EQ(decoded.size(), entries.size()) << profile;
        for (Json::ArrayIndex i = 0; i < entries.size(); ++i) {
            const std::string where = profile + " self-test " + std::to_string(i);
            const Json::Value& e = entries[i];
            EXPECT_EQ(reports[i]["Self test result"].asUInt(), SourceNumber(e["RESULT"])) << where;
            EXPECT_EQ(reports[i]["Self test code"].asUInt(), SourceNumber(e["STC"])) << where;
            EXPECT_EQ(reports[i]["Segment number"].asUInt(), SourceNumber(e.get("SEGN", 0))) << where;
            EXPECT_EQ(reports[i]["Valid Diagnostic Information"].asUInt(), SourceNumber(e.get("VDI", 0)))
                << where;
            EXPECT_EQ(Shown(reports[i]["Power on hours"]), Expected(e["POH"])) << where;
            EXPECT_EQ(decoded[i]["Result Code"], std::to_string(reports[i]["Self test result"].asUInt()))
                << where;
            const std::map<std::string, unsigned> types = {
                {"Short", 1}, {"Extended", 2}, {"Vendor Specific", 14}};
            if (types.count(decoded[i]["Type"].asString()) != 0) {
                EXPECT_EQ(types.at(decoded[i]["Type"].asString()), reports[i]["Self test code"].asUInt())
                    << where;
            }
            if (decoded[i].isMember("Segment Number")) {
                EXPECT_EQ(decoded[i]["Segment Number"],
                          std::to_string(reports[i]["Segment number"].asUInt()));
            }
            EXPECT_EQ(Decimal(BrantixNumber(decoded[i]["Power On Hours"].asString())),
                      Shown(reports[i]["Power on hours"]));
            // each field is shown only when its valid bit is set
            const unsigned vdi = static_cast<unsigned>(SourceNumber(e.get("VDI", 0)));
            const char* const decoded_names[] = {"Namespace ID", "Failing LBA", "Status Code Type",
                                                 "Status Code"};
            const std::pair<const char*, const char*> valid[] = {{"Namespace Identifier", "NSID"},
                                                                 {"Failing LBA", "FLBA"},
                                                                 {"Status Code Type", "SCT"},
                                                                 {"Status Code", "SC"}};
            for (unsigned bit = 0; bit < 4; ++bit) {
                if (vdi >> bit & 1) {
                    EXPECT_EQ(Shown(reports[i][valid[bit].first]), Expected(e.get(valid[bit].second, 0)))
                        << where << " " << valid[bit].first;
                    EXPECT_EQ(Decimal(BrantixNumber(decoded[i][decoded_names[bit]].asString())),
                              Shown(reports[i][valid[bit].first]))
                        << where << " " << decoded_names[bit];
                }
            }
        }
    });
}

// The value of get-feature's "Current value:0x..." line; -1 when absent.
long long CurrentValue(const std::string& output) {
    const std::string label = "Current value:";
    auto at = output.find(label);
    if (at == std::string::npos) {
        return -1;
    }
    at += label.size();
    // Printed with "%#010x", which leaves out the 0x for zero.
    if (output.compare(at, 2, "0x") == 0) {
        at += 2;
    }
    return std::stoll(output.substr(at, 8), nullptr, 16);
}

TEST_F(NvmeCliCrossCheck, FeaturesAndTemperatureThresholds) {
    ForEachDrive([&](const std::string& profile, const Json::Value& drive, unsigned controller) {
        const Json::Value& features = drive["features"];
        for (const auto& id : features.getMemberNames()) {
            const std::string fid = "0x" + id;
            const std::string where = profile + " feature " + id;
            if (id == "04") {
                for (const auto& threshold : features[id]["thresholds"]) {
                    const auto cdw11 = static_cast<unsigned>(SourceNumber(threshold["TMPSEL"]) << 16 |
                                                             SourceNumber(threshold["THSEL"]) << 20);
                    const auto result = Nvme(profile, controller,
                                             {"get-feature", "-f", fid, "--cdw11=" + std::to_string(cdw11)});
                    EXPECT_EQ(CurrentValue(result.output),
                              static_cast<long long>(SourceNumber(threshold["TMPTH"])))
                        << where << " cdw11 " << cdw11 << "\n"
                        << result.output;
                }
                continue;
            }
            const auto result = Nvme(profile, controller, {"get-feature", "-f", fid});
            const bool refused = profile == "faulty" && (id == "08" || id == "0B");
            if (refused) {
                EXPECT_EQ(CurrentValue(result.output), -1) << where << "\n" << result.output;
                continue;
            }
            EXPECT_EQ(CurrentValue(result.output),
                      static_cast<long long>(SourceNumber(features[id].get("dw0", 0))))
                << where << "\n"
                << result.output;
        }
    });
}

// Our feature reads under the simulator with every feature dumped: each dump, the dword or buffer
// the decoders were given, is what nvme-cli gets for the same command.
class SimulatedNvmeCliFeatures : public NvmeCliCrossCheck {
    void TearDown() override { testing_support::StopSimulation(); }
};

TEST_F(SimulatedNvmeCliFeatures, DecodedDwordsAndBuffers) {
    orka::ExpandParameterCatalogue();
    // Branches the profiles drive: every 0Bh notice; no burst limit, KAS 2 (no keep-alive read)
    // and a timestamp since reset; no under threshold; one feature rejected with a status, one
    // with an errno. The failed commands of the collection, then parameters.
    const std::string absent = testing_support::ABSENT;
    const std::map<std::string, std::pair<std::string, std::vector<testing_support::Expected>>> drives = {
        {"rich-1.4 nvme0",
         {"",
          {{"Endurance Group Aggregate Log Change Notices Enable", "Enabled"},
           {"LBA Status Information Notices Enable", "Enabled"},
           {"Predictable Latency Aggregate Log Change Notices Enable", "Disabled"},
           {"Asymmetric Namespace Access Change Notices Enable", "Enabled"},
           {"SMART Critical Warning Notices Enable", "0x1F"}}}},
        {"dual-namespace nvme1",
         {"",
          {{"Arbitration Burst (AB)", "No Limit"},
           {"Keep Alive Timeout (KATO)", absent},
           {"Timestamp Stopped", "True"}}}},
        {"old-1.1 nvme0",
         {"Get Feature 4 (0x100000) 16386 16386;", {{"Composite Temperature Over Threshold", absent}}}},
        {"faulty nvme0",
         {"Get Feature 8 16386 16386;Get Feature 11 22 0;", {{"Aggregation Time (TIME)", absent}}}},
    };
    std::set<std::string> checked;
    ForEachDrive([&](const std::string& profile, const Json::Value& drive, unsigned controller) {
        testing_support::UseProfile(profile);
        const orka::NVME_ID fd = orka::GetNvmeId("/dev/nvme" + std::to_string(controller), false);
        orka::ORKA_NVME_IDENTIFY_CONTROLLER_DATA identify{};
        Json::Value info, settings, none;
        ASSERT_EQ(orka::ReadIdentifyController(fd, identify, none, none), 0) << profile;
        std::istringstream ids("01 02 04 05 06 08 0A 0B 0C 0D 0E 0F 10 11 12 13 14 15");
        for (std::string id; ids >> id;) {
            settings["read feature " + id + "h"] = true;
        }
        settings["log hex data"] = true;
        for (const auto& threshold : drive["features"]["04"]["thresholds"]) {
            const std::string sensor = Expected(threshold["TMPSEL"]);
            if (sensor != "0") {
                orka::AddParameter(info["nvme"]["parameters"], "Temperature Sensor " + sensor, "0 C");
            }
        }
        orka::GetFeatures(fd, info, none, settings, identify);
        std::string failed;
        for (const auto& command : info["_metadata"]["commands"]) {
            if (command["return code"].asInt() != 0) {
                failed += command["admin command"].asString() + " " + command["return code"].asString() +
                          " " + command["nvme status"].asString() + ";";
            }
        }
        const std::string where = profile + " nvme" + std::to_string(controller);
        const auto branches = drives.find(where);
        EXPECT_EQ(failed, branches == drives.end() ? "" : branches->second.first) << where;
        if (branches != drives.end()) {
            testing_support::ExpectParameters(info, branches->second.second, where);
        }
        for (const auto get :
             {orka::GetFeature12, orka::GetFeature13, orka::GetFeature14, orka::GetFeature15}) {
            get(fd, info, none, settings, identify);
        }
        orka::CloseNvmeId(fd);
        for (const auto& key : info["raw hex data"].getMemberNames()) {
            // "Feature 04h: Sensor 2 Under Threshold", "Feature 0Ch: ... Buffer", ...
            const std::string fid = "0x" + key.substr(8, 2);
            std::vector<std::string> args = {"get-feature", "-f", fid};
            if (fid == "0x04") {
                const auto sensor = key.compare(13, 7, "Sensor ") == 0 ? std::stoul(key.substr(20)) : 0;
                const bool under = key.find("Under") != std::string::npos;
                args.push_back("--cdw11=" + std::to_string(sensor << 16 | (under ? 0x100000 : 0)));
            }
            // Buffers as nvme-cli's raw output, as long as our dump of each; dwords from its text.
            const std::map<std::string, unsigned> buffers = {
                {"Feature 0Ch: Autonomous Power State Transition Buffer", identify.NPSS * 8U},
                {"Feature 0Dh: Host Memory Buffer Data Buffer", 16},
                {"Feature 0Eh: Timestamp", 8}};
            const auto buffer = buffers.find(key);
            if (buffer != buffers.end()) {
                args.push_back("-b");
            }
            const std::string shown = Nvme(profile, controller, args).output;
            const auto dword = static_cast<uint32_t>(CurrentValue(shown));
            const char bytes[4] = {static_cast<char>(dword), static_cast<char>(dword >> 8),
                                   static_cast<char>(dword >> 16), static_cast<char>(dword >> 24)};
            Json::Value expected;
            if (buffer != buffers.end()) {
                orka::FormatHexData(shown.data(), std::min<unsigned>(shown.size(), buffer->second), expected);
            } else {
                orka::FormatHexData(bytes, 4, expected);
            }
            EXPECT_EQ(info["raw hex data"][key], expected) << where << " " << key << "\n" << shown;
            checked.insert(fid);
        }
    });
    EXPECT_EQ(checked.size(), 18u);  // every feature with a decoder
}

TEST_F(NvmeCliCrossCheck, SanitizeStatusLog) {
    const std::map<std::string, std::string> names = {{"SPROG", "sprog"},
                                                      {"SCDW10", "cdw10_info"},
                                                      {"ETO", "time_over_write"},
                                                      {"ETBE", "time_block_erase"},
                                                      {"ETCE", "time_crypto_erase"},
                                                      {"ETONDA", "time_over_write_no_dealloc"},
                                                      {"ETBENDA", "time_block_erase_no_dealloc"},
                                                      {"ETCENDA", "time_crypto_erase_no_dealloc"}};
    int checked = 0;
    ForEachDrive([&](const std::string& profile, const Json::Value& drive, unsigned controller) {
        const Json::Value& source = drive["log pages"]["81"];
        if (source.isNull()) {
            return;
        }
        ++checked;
        const Json::Value shown =
            NvmeJson(profile, controller, {"sanitize-log"})["nvme" + std::to_string(controller)];
        CompareFields(source, shown, names, {"SSTAT"}, profile + " sanitize-log");
        const auto sstat = static_cast<unsigned>(SourceNumber(source["SSTAT"]));
        EXPECT_EQ(shown["sstat"]["global_erased"].asUInt(), sstat >> 8 & 1) << profile;
        EXPECT_EQ(shown["sstat"]["status"].asString().substr(0, 3), "(" + std::to_string(sstat & 7) + ")")
            << profile;
    });
    EXPECT_GE(checked, 1);
}

TEST_F(SimulatedNvmeCliCrossCheck, PersistentEventLogHeaderAndEvents) {
    const Json::Value source = ProfileSource("rich-1.4")["drives"][0]["log pages"]["0D"];
    EXPECT_EQ(
        Nvme("rich-1.4", 0, {"persistent-event-log"}).exit_code != 0 ||
            Nvme("rich-1.4", 0, {"persistent-event-log"}).output.find("Event Number") == std::string::npos,
        true)
        << "a read without a context must be refused";
    EXPECT_EQ(Nvme("rich-1.4", 0, {"persistent-event-log", "-a", "1"}).output,
              "Establishing Persistent Event Log Context\n");
    const auto result = Nvme("rich-1.4", 0, {"persistent-event-log"});
    ASSERT_EQ(result.exit_code, 0);
    const Json::Value info = Decoded("rich-1.4", 0);
    const Json::Value& decoded = info["nvme"]["event log"];
    std::istringstream in(result.output);
    std::vector<std::string> types;
    std::vector<std::string> stamps;
    std::map<std::string, std::string> header;
    for (std::string line; std::getline(in, line);) {
        const auto colon = line.find(": ");
        if (colon == std::string::npos) {
            continue;
        }
        const std::string key = line.substr(0, colon);
        const std::string value = line.substr(colon + 2);
        if (key == "Event Type") {
            types.push_back(value.substr(value.rfind('(') + 1));
        } else if (key == "Event Timestamp") {
            stamps.push_back(value);
        } else if (header.count(key) == 0) {
            header[key] = value;
        }
    }
    const Json::Value& events = source["events"];
    EXPECT_EQ(header["Total Number of Events"], std::to_string(events.size()));
    EXPECT_EQ(header["Timestamp"], Expected(source["TS"]));
    EXPECT_EQ(header["Log Revision"], Expected(source["LRV"]));
    EXPECT_EQ(header["Log Header Length"], "512");
    EXPECT_EQ(Value(info, "Total Events"), header["Total Number of Events"]);
    EXPECT_EQ(Decimal(BrantixNumber(Value(info, "Event Log Timestamp"))), header["Timestamp"]);
    EXPECT_EQ(Decimal(BrantixNumber(Value(info, "Event Log Power On Hours"))) +
                  "Power Cycle Count: " + Decimal(BrantixNumber(Value(info, "Power Cycle Count"))),
              header["Power On Hours (POH)"]);
    ASSERT_EQ(decoded.size(), events.size());
    // The last event is left out by nvme-cli (see the note at the top).
    ASSERT_EQ(types.size(), events.size() - 1);
    ASSERT_EQ(stamps.size(), events.size() - 1);
    for (Json::ArrayIndex i = 0; i + 1 < events.size(); ++i) {
        const auto type = static_cast<unsigned>(SourceNumber(events[i]["ETYPE"]));
        if (type <= 0x0D) {
            std::ostringstream hex;
            hex << "0x" << std::hex << type << ")";
            EXPECT_EQ(types[i], hex.str()) << "event " << i;
        } else {
            EXPECT_EQ(types[i], "null)") << "event " << i;  // printed as "(null)"
        }
        EXPECT_EQ(stamps[i], Expected(events[i]["EVTTS"])) << "event " << i;
        EXPECT_EQ(Decimal(BrantixNumber(decoded[i]["Timestamp"].asString())), stamps[i]) << "event " << i;
    }
    EXPECT_EQ(Nvme("rich-1.4", 0, {"persistent-event-log", "-a", "2"}).output,
              "Releasing Persistent Event Log Context\n");
}

TEST_F(NvmeCliCrossCheck, DeviceSelfTestProgressAndResult) {
    for (const std::string profile : {"rich-1.4", "faulty"}) {
        const Json::Value drive = ProfileSource(profile)["drives"][0];
        const unsigned expected_result = drive["self-test"].get("result", 0).asUInt();
        const auto start = Nvme(profile, 0, {"device-self-test", "-s", "2"});
        EXPECT_EQ(start.exit_code, 0) << profile;
        EXPECT_EQ(start.output, "Extended Device self-test started\n") << profile;
        std::vector<std::pair<unsigned, unsigned>> progress;
        Json::Value shown;
        for (int poll = 0; poll < 10; ++poll) {
            shown = NvmeJson(profile, 0, {"self-test-log"});
            progress.emplace_back(shown["Current Device Self-Test Operation"].asUInt(),
                                  shown["Current Device Self-Test Completion"].asUInt());
            if (progress.back().first == 0) {
                break;
            }
        }
        const unsigned polls = drive["self-test"].get("polls", 3).asUInt();
        std::vector<std::pair<unsigned, unsigned>> expected;
        for (unsigned i = 1; i < polls; ++i) {
            expected.emplace_back(2, i * 100 / polls);
        }
        expected.emplace_back(0, 0);
        EXPECT_EQ(progress, expected) << profile;
        EXPECT_EQ(shown["List of Valid Reports"][0]["Self test code"].asUInt(), 2u) << profile;
        EXPECT_EQ(shown["List of Valid Reports"][0]["Self test result"].asUInt(), expected_result) << profile;
    }
}

}  // namespace
