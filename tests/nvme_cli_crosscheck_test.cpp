// Cross-check against an independent NVMe client: Debian's nvme-cli, run under the simulator, must show the
// values written in each profile's source, and brantix, run on the same drive, must agree with nvme-cli
// (tests/support/crosscheck.cpp, shared with the virtual-machine tier, compares the two).
//
// Where nvme-cli 2.3 departs from the NVMe standard, the expectations below follow the standard and adjust
// only how nvme-cli prints the value:
// - error-log splits the Status Field: "status_field" is bits 15:1 and "phase_tag" bit 0; "nsid" is
//   printed as a signed 32-bit number (-1).
// - sanitize-log prints 32-bit estimates of FFFFFFFFh as -1.
// - fw-log shows a revision as its 64-bit value and its text with padding as ".".
// - id-ctrl names NVSCC "icsvscc" and prints FGUID with dashes.
// - effects-log without --csi reads the controller registers through the PCI resource file, which the
//   simulator has not; it is run with --csi=0.
// - persistent-event-log: the plain read (action 0) needs a context, which a first call with -a 1
//   establishes (only that, as nvme-cli returns at once); its JSON output crashes on event types it has no
//   name for (DEh, DFh, reserved), so the text output is read; and it drops the last event when that event
//   ends exactly at the Total Log Length.
// - get-feature has no JSON output; its "Current value" line is read, where a value of 0 appears without
//   "0x".
// - self-test-log lists the unused result entries as well, each with only its result (Fh).
// - id-ctrl and persistent-event-log keep the blanks that pad SN and MN.
// - persistent-event-log ends the power on hours without a line break, so the power cycle count follows on
//   the same line.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "get_feature.h"
#include "identify_controller.h"
#include "orka_nvme.h"
#include "support/crosscheck.h"
#include "support/simulator.h"

namespace {

using crosscheck::Decimal;
using crosscheck::ReadFeature;
using crosscheck::Wide;
using Names = std::map<std::string, std::string>;

Wide SourceNumber(const Json::Value& value) {
    if (value.isBool() || value.isNumeric()) {
        return value.isBool() ? value.asBool() : value.asUInt64();
    }
    return crosscheck::ParseNumber(value.asString());
}

std::string Expected(const Json::Value& source) {
    return Decimal(SourceNumber(source));
}

// nvme-cli's rendering of a number.
std::string Shown(const Json::Value& value) {
    return value.isString() ? value.asString() : Decimal(crosscheck::ClientNumber(value));
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

// Compares every field of `fields` with the output under its lower-case name (or its name in `names`),
// skipping the fields in `skip`; returns how many it compared.
int CompareFields(const Json::Value& fields, const Json::Value& shown, const Names& names,
                  const std::set<std::string>& skip, const std::string& where) {
    int compared = 0;
    for (const auto& field : fields.getMemberNames()) {
        const auto alias = names.find(field);
        const std::string key = alias != names.end() ? alias->second : Lower(field);
        if (skip.count(field) != 0) {
            continue;
        }
        if (!shown.isMember(key)) {
            ADD_FAILURE() << where << ": nvme-cli shows no " << key << " for " << field;
            continue;
        }
        ++compared;
        const std::string text = fields[field].isString() ? fields[field].asString() : "";
        const bool number = !text.empty() && text.find_first_not_of(text.compare(0, 2, "0x") == 0
                                                                        ? "0123456789abcdefABCDEFx"
                                                                        : "0123456789") == std::string::npos;
        if (shown[key].isString() && !text.empty() && !number) {
            std::string trimmed = shown[key].asString();
            trimmed.erase(trimmed.find_last_not_of(' ') + 1);
            EXPECT_EQ(trimmed, text) << where << " " << field;
        } else {
            EXPECT_EQ(Shown(shown[key]), Expected(fields[field])) << where << " " << field;
        }
    }
    return compared;
}

// nvme-cli's names for the fields whose names it does not keep.
const Names POWER_STATE = {{"MP", "max_power"},      {"ENLAT", "entry_lat"},       {"EXLAT", "exit_lat"},
                           {"RRT", "read_tput"},     {"RRL", "read_lat"},          {"RWT", "write_tput"},
                           {"RWL", "write_lat"},     {"IDLP", "idle_power"},       {"IPS", "idle_scale"},
                           {"ACTP", "active_power"}, {"APW", "active_power_work"}, {"APS", "active_scale"}};
const Names SMART = {{"CW", "critical_warning"},
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
const Names ERROR = {{"ERRCNT", "error_count"},
                     {"CID", "cmdid"},
                     {"PEL", "parm_error_location"},
                     {"NS", "nsid"},
                     {"VSIA", "vs"},
                     {"CSI", "cs"},
                     {"TTSI", "trtype_spec_info"}};
const Names SELF_TEST = {{"RESULT", "Self test result"}, {"STC", "Self test code"},
                         {"SEGN", "Segment number"},     {"VDI", "Valid Diagnostic Information"},
                         {"POH", "Power on hours"},      {"NSID", "Namespace Identifier"},
                         {"FLBA", "Failing LBA"},        {"SCT", "Status Code Type"},
                         {"SC", "Status Code"}};
const Names SANITIZE = {{"SCDW10", "cdw10_info"},
                        {"ETO", "time_over_write"},
                        {"ETBE", "time_block_erase"},
                        {"ETCE", "time_crypto_erase"},
                        {"ETONDA", "time_over_write_no_dealloc"},
                        {"ETBENDA", "time_block_erase_no_dealloc"},
                        {"ETCENDA", "time_crypto_erase_no_dealloc"}};

// One simulated drive: nvme-cli's view of it and, on request, brantix's, in a results folder laid out as
// tests/vm/guest.sh leaves it.
class NvmeCliCrossCheck : public ::testing::TestWithParam<std::pair<std::string, unsigned>> {
  protected:
    void SetUp() override {
        if (std::system("command -v nvme >/dev/null 2>&1") != 0) {
            GTEST_SKIP() << "nvme-cli is not installed";
        }
        std::tie(profile_, controller_) = GetParam();
        const Json::Value drives = testing_support::ProfileSource(profile_)["drives"];
        for (const auto& drive : drives) {
            drive_ = drive["controller"].asUInt() == controller_ ? drive : drive_;
        }
        dir_ = testing_support::MakeTempDir("crosscheck").string();
    }
    testing_support::CommandResult Nvme(std::vector<std::string> args) {
        args.insert(args.begin() + 1, "/dev/nvme" + std::to_string(controller_));
        args.insert(args.begin(), "nvme");
        return testing_support::RunUnderSimulator(profile_, args, dir_ + "/state");
    }
    void Save(const std::string& file, const std::vector<std::string>& args) {
        std::ofstream(dir_ + "/" + file + ".out") << Nvme(args).output;
    }
    Json::Value Read(const std::string& file) { return crosscheck::ReadJson(dir_ + "/" + file + ".out"); }
    Wide Feature(const std::string& file) {
        return ReadFeature(crosscheck::ReadFile(dir_ + "/feature-" + file + ".out")).dword;
    }
    bool Refused(const std::string& command) {
        return drive_["faults"].asString().find(command) != std::string::npos;
    }

    void Collect() {
        for (const std::string log :
             {"id-ctrl", "smart-log", "error-log", "fw-log", "self-test-log", "sanitize-log"}) {
            Save(log, {log, "-o", "json"});
        }
        Save("effects-log", {"effects-log", "--csi=0", "-o", "json"});
        for (const auto& ns : drive_["namespaces"]) {
            const std::string nsid = ns["nsid"].asString();
            Save(nsid == "1" ? "id-ns" : "id-ns-" + nsid, {"id-ns", "-n", nsid, "-o", "json"});
        }
        std::istringstream ids("01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10 11 12 13 14 15 16 18");
        for (std::string id; ids >> id;) {
            Save("feature-" + id, {"get-feature", "-f", "0x" + id, "-n", "1", "-s", "0"});
        }
        for (unsigned sensor = 0; sensor <= 8; ++sensor) {
            const std::string file = sensor == 0 ? "feature-04" : "feature-04-s" + std::to_string(sensor);
            for (const unsigned under : {0, 1}) {
                Save(file + (under ? "-under" : ""),
                     {"get-feature", "-f", "0x04", "--cdw11=" + std::to_string(sensor << 16 | under << 20)});
            }
        }
    }

    std::string profile_;
    unsigned controller_ = 0;
    Json::Value drive_;
    std::string dir_;
};

TEST_P(NvmeCliCrossCheck, SimulatorAndBrantixAgreeWithNvmeCli) {
    Collect();
    const Json::Value& source = drive_["identify controller"];
    const Json::Value controller = Read("id-ctrl");
    EXPECT_GE(CompareFields(source, controller, {{"NVSCC", "icsvscc"}}, {"PSD", "FGUID", "VS"}, "id-ctrl"),
              20);
    std::string guid = controller["fguid"].asString();
    guid.erase(std::remove(guid.begin(), guid.end(), '-'), guid.end());
    EXPECT_EQ(guid, source.get("FGUID", "00000000000000000000000000000000").asString());
    const Json::Value& psd = source["PSD"];
    ASSERT_EQ(controller["psds"].size(), psd.size());
    EXPECT_EQ(controller["npss"].asUInt() + 1, psd.size());
    for (Json::ArrayIndex i = 0; i < psd.size(); ++i) {
        const Json::Value& shown = controller["psds"][i];
        CompareFields(psd[i], shown, POWER_STATE, {"MXPS", "NOPS"}, "PSD" + std::to_string(i));
        EXPECT_EQ(shown["flags"].asUInt(),
                  SourceNumber(psd[i].get("MXPS", 0)) | SourceNumber(psd[i].get("NOPS", 0)) << 1);
    }

    for (const auto& ns : drive_["namespaces"]) {
        const std::string nsid = ns["nsid"].asString();
        const Json::Value shown = Read(nsid == "1" ? "id-ns" : "id-ns-" + nsid);
        const Json::Value& fields = ns["identify namespace"];
        EXPECT_GE(CompareFields(fields, shown, {}, {"LBAF", "NGUID", "EUI64"}, "id-ns " + nsid), 4);
        for (const char* id : {"NGUID", "EUI64"}) {
            EXPECT_EQ(shown[Lower(id)].asString(), fields.get(id, shown[Lower(id)]).asString()) << nsid;
        }
        ASSERT_EQ(shown["lbafs"].size(), fields["LBAF"].size());
        EXPECT_EQ(shown["nlbaf"].asUInt() + 1, fields["LBAF"].size());
        for (Json::ArrayIndex i = 0; i < fields["LBAF"].size(); ++i) {
            CompareFields(fields["LBAF"][i], shown["lbafs"][i], {{"LBADS", "ds"}}, {},
                          "LBAF" + std::to_string(i));
        }
    }

    const Json::Value& logs = drive_["log pages"];
    const Json::Value smart = Read("smart-log");
    std::set<std::string> sensors;
    for (int n = 1; n <= 8; ++n) {
        const std::string field = "TSEN" + std::to_string(n);
        sensors.insert(field);
        // A sensor that reads 0 is not reported, and not shown.
        EXPECT_EQ(Shown(smart.get("temperature_sensor_" + std::to_string(n), 0)),
                  Expected(logs["02"].get(field, 0)));
    }
    EXPECT_GE(CompareFields(logs["02"], smart, SMART, sensors, "smart-log"), 10);

    const Json::Value errors = Read("error-log")["errors"];
    const Json::Value& entries = logs["01"]["entries"];
    ASSERT_GE(errors.size(), entries.size());
    for (Json::ArrayIndex i = 0; i < entries.size(); ++i) {
        CompareFields(entries[i], errors[i], ERROR, {"STS"}, "error " + std::to_string(i));
        const Wide status = SourceNumber(entries[i].get("STS", 0));
        EXPECT_EQ(errors[i]["status_field"].asUInt(), status >> 1) << i;
        EXPECT_EQ(errors[i]["phase_tag"].asUInt(), status & 1) << i;
    }

    const Json::Value firmware = Read("fw-log")["nvme" + std::to_string(controller_)];
    EXPECT_EQ(firmware.isNull(), Refused("log=0x03"));
    for (int n = 1; n <= 7 && !firmware.isNull(); ++n) {
        const std::string key = "Firmware Rev Slot " + std::to_string(n);
        std::string text = logs["03"].get("FRS" + std::to_string(n), "").asString();
        text.resize(8, '.');
        const std::string value = firmware.get(key, "(........)").asString();
        EXPECT_EQ(value.substr(value.find('(')), "(" + text + ")") << key;
    }
    EXPECT_EQ(Shown(firmware.get("Active Firmware Slot (afi)", logs["03"].get("AFI", 0))),
              Expected(logs["03"].get("AFI", 0)));

    const Json::Value effects = Read("effects-log")[0];
    for (const auto& [set, key] :
         {std::pair<const char*, const char*>{"ACS", "admin_cmd_set"}, {"IOCS", "io_cmd_set"}}) {
        Names listed, expected;
        for (const auto& name : effects[key].getMemberNames()) {
            // "ACS_6 (Identify)": the opcode in decimal after the underscore.
            listed[Decimal(crosscheck::ParseNumber(name.substr(name.find('_') + 1)))] =
                Shown(effects[key][name]);
        }
        for (const auto& opcode : logs["05"][set].getMemberNames()) {
            expected[Decimal(crosscheck::ParseNumber(opcode))] = Expected(logs["05"][set][opcode]);
        }
        EXPECT_EQ(listed, expected) << set;
    }

    // Unused entries too, with only their result (Fh); each field only when its valid bit is set.
    const Json::Value reports = Read("self-test-log")["List of Valid Reports"];
    for (Json::ArrayIndex i = 0; i < logs["06"]["entries"].size(); ++i) {
        const Json::Value& entry = logs["06"]["entries"][i];
        std::set<std::string> skip;
        const char* const valid[] = {"NSID", "FLBA", "SCT", "SC"};
        for (unsigned bit = 0; bit < 4; ++bit) {
            if ((SourceNumber(entry.get("VDI", 0)) >> bit & 1) == 0) {
                skip.insert(valid[bit]);
            }
        }
        CompareFields(entry, reports[i], SELF_TEST, skip, "self-test " + std::to_string(i));
    }
    EXPECT_EQ(std::count_if(reports.begin(), reports.end(),
                            [](const Json::Value& report) { return report["Self test result"] != 15; }),
              logs["06"]["entries"].size());

    const Json::Value& features = drive_["features"];
    for (const auto& id : features.getMemberNames()) {
        for (const auto& threshold : features[id]["thresholds"]) {
            const Wide sensor = SourceNumber(threshold["TMPSEL"]);
            const std::string file = sensor == 0 ? "04" : "04-s" + Decimal(sensor);
            EXPECT_EQ(Feature(file + (SourceNumber(threshold["THSEL"]) == 1 ? "-under" : "")),
                      SourceNumber(threshold["TMPTH"]))
                << file;
        }
        const auto shown = ReadFeature(crosscheck::ReadFile(dir_ + "/feature-" + id + ".out"));
        EXPECT_EQ(shown.present, !Refused("feature=0x" + Lower(id))) << id;
        if (shown.present && id != "04") {
            EXPECT_EQ(shown.dword, SourceNumber(features[id].get("dw0", 0))) << id;
        }
    }

    const Json::Value& sanitize = logs["81"];
    if (!sanitize.isNull()) {
        const Json::Value shown = Read("sanitize-log")["nvme" + std::to_string(controller_)];
        CompareFields(sanitize, shown, SANITIZE, {"SSTAT"}, "sanitize-log");
        const auto sstat = static_cast<unsigned>(SourceNumber(sanitize["SSTAT"]));
        EXPECT_EQ(shown["sstat"]["global_erased"].asUInt(), sstat >> 8 & 1);
        EXPECT_EQ(shown["sstat"]["status"].asString().substr(0, 3), "(" + std::to_string(sstat & 7) + ")");
    }

    // brantix on the same drive, with every drive switch on.
    testing_support::RunOptions options;
    Json::Value command = crosscheck::ReadJson(BRANTIX_SOURCE_DIR "/tests/vm/read-all.cmd.json");
    command["interval in ms"] = 0;
    options.files["read-all.cmd.json"] = command.toStyledString();
    options.args = {"read-all.cmd.json", "--nvme", std::to_string(controller_), "-d", dir_ + "/read-all"};
    testing_support::RunBrantixOnProfile(profile_, options);
    const crosscheck::Outcome outcome = crosscheck::CompareWithClients(dir_);
    std::string differences;
    for (const auto& difference : outcome.differences) {
        differences += difference + "\n";
    }
    // brantix reads no drive older than NVMe 1.2.1.
    EXPECT_EQ(differences, profile_ == "old-1.1" ? "brantix shows no parameters\n" : "");
    EXPECT_GE(outcome.same, profile_ == "old-1.1" ? 0 : 120);

    const Json::Value info = crosscheck::ReadJson(dir_ + "/read-all/nvme.info.json");
    const Json::Value& parameters = info["nvme"]["parameters"];
    const Json::Value tests = Read("self-test-log")["List of Valid Reports"];
    const Json::Value& decoded_tests = info["nvme"]["self-test log"];
    const Names types = {{"Short", "1"}, {"Extended", "2"}, {"Vendor Specific", "14"}};
    for (Json::ArrayIndex i = 0; i < decoded_tests.size(); ++i) {
        const Names fields = {{"Result Code", "Self test result"},  {"Segment Number", "Segment number"},
                              {"Power On Hours", "Power on hours"}, {"Namespace ID", "Namespace Identifier"},
                              {"Failing LBA", "Failing LBA"},       {"Status Code Type", "Status Code Type"},
                              {"Status Code", "Status Code"}};
        for (const auto& [name, key] : fields) {
            const std::string text = decoded_tests[i].get(name, Shown(tests[i][key])).asString();
            EXPECT_EQ(Decimal(crosscheck::BrantixNumber(text)), Shown(tests[i][key])) << i << " " << name;
        }
        const auto type = types.find(decoded_tests[i]["Type"].asString());
        EXPECT_EQ(type != types.end() ? type->second : Shown(tests[i]["Self test code"]),
                  Shown(tests[i]["Self test code"]))
            << i;
    }
    EXPECT_EQ(decoded_tests.size(), std::count_if(tests.begin(), tests.end(), [&](const Json::Value& report) {
                  return report["Self test result"] != 15 && profile_ != "old-1.1";
              }));

    // An extended self-test, followed until it ends.
    if (drive_.isMember("self-test")) {
        const auto start = Nvme({"device-self-test", "-s", "2"});
        EXPECT_EQ(start.output, "Extended Device self-test started\n");
        std::vector<std::pair<unsigned, unsigned>> progress, expected;
        Json::Value shown;
        for (int poll = 0; poll < 10 && (progress.empty() || progress.back().first != 0); ++poll) {
            shown = testing_support::ParseJson(Nvme({"self-test-log", "-o", "json"}).output);
            progress.emplace_back(shown["Current Device Self-Test Operation"].asUInt(),
                                  shown["Current Device Self-Test Completion"].asUInt());
        }
        const unsigned polls = drive_["self-test"].get("polls", 3).asUInt();
        for (unsigned i = 1; i < polls; ++i) {
            expected.emplace_back(2, i * 100 / polls);
        }
        expected.emplace_back(0, 0);
        EXPECT_EQ(progress, expected);
        EXPECT_EQ(shown["List of Valid Reports"][0]["Self test code"].asUInt(), 2u);
        EXPECT_EQ(shown["List of Valid Reports"][0]["Self test result"],
                  drive_["self-test"].get("result", 0));
    }

    if (profile_ != "rich-1.4") {
        return;
    }
    const Json::Value log = drive_["log pages"]["0D"];
    const auto refused = Nvme({"persistent-event-log"});
    EXPECT_TRUE(refused.exit_code != 0 || refused.output.find("Event Number") == std::string::npos)
        << "a read without a context must be refused";
    EXPECT_EQ(Nvme({"persistent-event-log", "-a", "1"}).output,
              "Establishing Persistent Event Log Context\n");
    const auto result = Nvme({"persistent-event-log"});
    ASSERT_EQ(result.exit_code, 0);
    std::istringstream in(result.output);
    std::vector<std::string> types_shown, stamps;
    Names header;
    for (std::string line; std::getline(in, line);) {
        const auto colon = line.find(": ");
        const std::string key = line.substr(0, colon);
        const std::string value = colon == std::string::npos ? "" : line.substr(colon + 2);
        if (key == "Event Type") {
            types_shown.push_back(value.substr(value.rfind('(') + 1));
        } else if (key == "Event Timestamp") {
            stamps.push_back(value);
        } else if (header.count(key) == 0) {
            header[key] = value;
        }
    }
    const auto number = [&](const std::string& name) {
        return Decimal(crosscheck::BrantixNumber(parameters[name]["value"].asString()));
    };
    const Json::Value& events = log["events"];
    EXPECT_EQ(header["Total Number of Events"], std::to_string(events.size()));
    EXPECT_EQ(header["Timestamp"], Expected(log["TS"]));
    EXPECT_EQ(header["Log Revision"], Expected(log["LRV"]));
    EXPECT_EQ(header["Log Header Length"], "512");
    EXPECT_EQ(number("Total Events"), header["Total Number of Events"]);
    EXPECT_EQ(number("Event Log Timestamp"), header["Timestamp"]);
    EXPECT_EQ(number("Event Log Power On Hours") + "Power Cycle Count: " + number("Power Cycle Count"),
              header["Power On Hours (POH)"]);
    const Json::Value& decoded = info["nvme"]["event log"];
    ASSERT_EQ(decoded.size(), events.size());
    // The last event is left out by nvme-cli (see the note at the top).
    ASSERT_EQ(types_shown.size(), events.size() - 1);
    ASSERT_EQ(stamps.size(), events.size() - 1);
    for (Json::ArrayIndex i = 0; i + 1 < events.size(); ++i) {
        const auto type = static_cast<unsigned>(SourceNumber(events[i]["ETYPE"]));
        std::ostringstream hex;
        hex << "0x" << std::hex << type << ")";
        // printed as "(null)" when nvme-cli has no name for the type
        EXPECT_EQ(types_shown[i], type <= 0x0D ? hex.str() : "null)") << "event " << i;
        EXPECT_EQ(stamps[i], Expected(events[i]["EVTTS"])) << "event " << i;
        EXPECT_EQ(Decimal(crosscheck::BrantixNumber(decoded[i]["Timestamp"].asString())), stamps[i]) << i;
    }
    EXPECT_EQ(Nvme({"persistent-event-log", "-a", "2"}).output, "Releasing Persistent Event Log Context\n");
}

INSTANTIATE_TEST_SUITE_P(Drives, NvmeCliCrossCheck,
                         ::testing::Values(std::make_pair("plain-1.2.1", 0u), std::make_pair("rich-1.4", 0u),
                                           std::make_pair("old-1.1", 0u),
                                           std::make_pair("dual-namespace", 0u),
                                           std::make_pair("dual-namespace", 1u),
                                           std::make_pair("faulty", 0u)));

// Features 12h to 15h, which the read command leaves out, read in-process: each dump, the dword the
// decoders were given, is what nvme-cli gets for the same command.
TEST(SimulatedNvmeCliCrossCheck, FeaturesOutsideTheReadCommand) {
    orka::ExpandParameterCatalogue();
    testing_support::UseProfile("rich-1.4");
    const std::string dir = testing_support::MakeTempDir("crosscheck").string();
    const orka::NVME_ID fd = orka::GetNvmeId("/dev/nvme0", false);
    orka::ORKA_NVME_IDENTIFY_CONTROLLER_DATA identify{};
    Json::Value info, settings, none;
    ASSERT_EQ(orka::ReadIdentifyController(fd, identify, none, none), 0);
    settings["log hex data"] = true;
    for (const auto& [id, get] :
         {std::make_pair("12", orka::GetFeature12), std::make_pair("13", orka::GetFeature13),
          std::make_pair("14", orka::GetFeature14), std::make_pair("15", orka::GetFeature15)}) {
        settings["read feature " + std::string(id) + "h"] = true;
        EXPECT_EQ(get(fd, info, none, settings, identify), 0) << id;
        std::ofstream(dir + "/feature-" + id + ".out")
            << testing_support::RunUnderSimulator(
                   "rich-1.4", {"nvme", "get-feature", "/dev/nvme0", "-f", "0x" + std::string(id)},
                   dir + "/state")
                   .output;
    }
    orka::CloseNvmeId(fd);
    testing_support::StopSimulation();
    crosscheck::Outcome outcome;
    crosscheck::CompareFeatureDumps(info, dir, outcome);
    EXPECT_EQ(outcome.differences, std::vector<std::string>{});
    EXPECT_EQ(outcome.same, 4);
}

}  // namespace
