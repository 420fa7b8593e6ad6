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
// - get-feature has no JSON output; its "Current value" line is read, where a value of 0 appears without
//   "0x".
// - id-ctrl keeps the blanks that pad SN and MN.
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

// A profile value as a number: a JSON number or bool, or text in decimal or "0x..." hexadecimal.
std::string Source(const Json::Value& value) {
    if (value.isBool() || value.isNumeric()) {
        return Decimal(value.isBool() ? value.asBool() : value.asUInt64());
    }
    return Decimal(crosscheck::ParseNumber(value.asString()));
}

// nvme-cli's rendering of a number.
std::string Shown(const Json::Value& value) {
    return value.isString() ? value.asString() : Decimal(crosscheck::ClientNumber(value));
}

// A name as compared: lower case, without blanks and underscores ("Power on hours", "power_on_hours").
std::string Key(std::string name) {
    name.erase(std::remove_if(name.begin(), name.end(), [](char c) { return c == ' ' || c == '_'; }),
               name.end());
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
    return name;
}

// nvme-cli's names, as compared, for the profile fields whose names it does not keep, in every structure
// (power states, health log, error and self-test entries, sanitize status), as "FIELD=name" words.
const char* const NAMES =
    "NVSCC=icsvscc LBADS=ds MP=maxpower ENLAT=entrylat EXLAT=exitlat RRT=readtput RRL=readlat "
    "RWT=writetput RWL=writelat IDLP=idlepower IPS=idlescale ACTP=activepower APW=activepowerwork "
    "APS=activescale CW=criticalwarning CTEMP=temperature AVSP=availspare AVSPT=sparethresh "
    "PUSED=percentused EGCWS=endurancegrpcriticalwarningsummary DUR=dataunitsread DUW=dataunitswritten "
    "HRC=hostreadcommands HWC=hostwritecommands CBT=controllerbusytime PWRC=powercycles POH=poweronhours "
    "UNSAFE=unsafeshutdowns MEDERR=mediaerrors NUMERR=numerrlogentries WCTT=warningtemptime "
    "CCTT=criticalcomptime TMT1TC=thmtemp1transcount TMT2TC=thmtemp2transcount TTTMT1=thmtemp1totaltime "
    "TTTMT2=thmtemp2totaltime ERRCNT=errorcount CID=cmdid PEL=parmerrorlocation NS=nsid VSIA=vs CSI=cs "
    "TTSI=trtypespecinfo RESULT=selftestresult STC=selftestcode SEGN=segmentnumber SCDW10=cdw10info "
    "VDI=validdiagnosticinformation ETO=timeoverwrite ETBE=timeblockerase ETCE=timecryptoerase "
    "ETONDA=timeoverwritenodealloc ETBENDA=timeblockerasenodealloc ETCENDA=timecryptoerasenodealloc";

// nvme-cli's name for a profile field, as compared ("TSENn": "temperature_sensor_n").
std::string NvmeCliName(const std::string& field) {
    std::istringstream names(NAMES);
    for (std::string name; names >> name;) {
        if (name.compare(0, field.size() + 1, field + "=") == 0) {
            return name.substr(field.size() + 1);
        }
    }
    return field.compare(0, 4, "TSEN") == 0 ? "temperaturesensor" + field.substr(4) : Key(field);
}

// Compares each field of the profile's `fields` but those in `skip` with nvme-cli's `shown` object, which
// names it as NvmeCliName says. A field nvme-cli leaves out
// must be 0 (a sensor that reads 0 is not reported).
void CompareFields(const Json::Value& fields, const Json::Value& shown, const std::set<std::string>& skip,
                   const std::string& where) {
    std::map<std::string, Json::Value> by_key;
    for (const auto& name : shown.getMemberNames()) {
        by_key[Key(name)] = shown[name];
    }
    for (const auto& field : fields.getMemberNames()) {
        const auto found = by_key.find(NvmeCliName(field));
        const std::string text = fields[field].isString() ? fields[field].asString() : "";
        const bool number =
            text.find_first_not_of(text.compare(0, 2, "0x") == 0 ? "0123456789abcdefABCDEFx"
                                                                 : "0123456789") == std::string::npos;
        if (skip.count(field) != 0) {
            continue;
        } else if (found == by_key.end()) {
            EXPECT_TRUE(number && Source(fields[field]) == "0") << where << ": nvme-cli shows no " << field;
        } else if (found->second.isString() && !number) {
            std::string trimmed = found->second.asString();
            EXPECT_EQ(trimmed.erase(trimmed.find_last_not_of(' ') + 1), text) << where << " " << field;
        } else {
            EXPECT_EQ(Shown(found->second), Source(fields[field])) << where << " " << field;
        }
    }
}

// One simulated drive: nvme-cli's view of it and brantix's, in a results folder laid out as
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
    // The profile's source against what nvme-cli read from the simulated drive.
    const Json::Value& source = drive_["identify controller"];
    const Json::Value controller = Read("id-ctrl");
    // nvme-cli prints FGUID with dashes.
    CompareFields(source, controller, {"PSD", "FGUID", "VS"}, "id-ctrl");
    ASSERT_EQ(controller["psds"].size(), source["PSD"].size());
    for (Json::ArrayIndex i = 0; i < source["PSD"].size(); ++i) {
        // MXPS and NOPS are nvme-cli's "flags".
        CompareFields(source["PSD"][i], controller["psds"][i], {"MXPS", "NOPS"}, "PSD" + std::to_string(i));
    }
    for (const auto& ns : drive_["namespaces"]) {
        const std::string nsid = ns["nsid"].asString();
        const Json::Value shown = Read(nsid == "1" ? "id-ns" : "id-ns-" + nsid);
        CompareFields(ns["identify namespace"], shown, {"LBAF"}, "id-ns " + nsid);
        ASSERT_EQ(shown["lbafs"].size(), ns["identify namespace"]["LBAF"].size());
        for (Json::ArrayIndex i = 0; i < shown["lbafs"].size(); ++i) {
            CompareFields(ns["identify namespace"]["LBAF"][i], shown["lbafs"][i], {},
                          "LBAF" + std::to_string(i));
        }
    }

    const Json::Value& logs = drive_["log pages"];
    CompareFields(logs["02"], Read("smart-log"), {}, "smart-log");
    const Json::Value errors = Read("error-log")["errors"];
    for (Json::ArrayIndex i = 0; i < logs["01"]["entries"].size(); ++i) {
        // nvme-cli splits the status into bits 15:1 and the phase tag.
        EXPECT_EQ(Decimal(errors[i]["status_field"].asUInt() << 1 | errors[i]["phase_tag"].asUInt()),
                  Source(logs["01"]["entries"][i].get("STS", 0)));
        CompareFields(logs["01"]["entries"][i], errors[i], {"STS"}, "error " + std::to_string(i));
    }
    const Json::Value firmware = Read("fw-log")["nvme" + std::to_string(controller_)];
    EXPECT_EQ(firmware.isNull(), Refused("log=0x03"));
    for (int n = 1; n <= 7 && !firmware.isNull(); ++n) {
        std::string text = logs["03"].get("FRS" + std::to_string(n), "").asString();
        const std::string value =
            firmware.get("Firmware Rev Slot " + std::to_string(n), "(........)").asString();
        EXPECT_EQ(value.substr(value.find('(')), "(" + text.append(8 - text.size(), '.') + ")") << n;
    }
    EXPECT_EQ(Shown(firmware.get("Active Firmware Slot (afi)", logs["03"].get("AFI", 0))),
              Source(logs["03"].get("AFI", 0)));
    // The fields nvme-cli shows only when their valid bit is set are left out.
    const Json::Value reports = Read("self-test-log")["List of Valid Reports"];
    for (Json::ArrayIndex i = 0; i < logs["06"]["entries"].size(); ++i) {
        CompareFields(logs["06"]["entries"][i], reports[i], {"NSID", "FLBA", "SCT", "SC"},
                      "self-test " + std::to_string(i));
    }
    for (const auto& id : drive_["features"].getMemberNames()) {
        const Json::Value& feature = drive_["features"][id];
        for (const auto& threshold : feature["thresholds"]) {
            const std::string sensor = Source(threshold["TMPSEL"]);
            const std::string file = (sensor == "0" ? "04" : "04-s" + sensor) +
                                     (Source(threshold["THSEL"]) == "1" ? "-under" : "");
            EXPECT_EQ(Decimal(ReadFeature(crosscheck::ReadFile(dir_ + "/feature-" + file + ".out")).dword),
                      Source(threshold["TMPTH"]))
                << file;
        }
        // A refused feature shows no value; feature 4's is the composite's threshold.
        const auto shown = ReadFeature(crosscheck::ReadFile(dir_ + "/feature-" + id + ".out"));
        EXPECT_EQ(shown.present ? Decimal(shown.dword) : "refused",
                  Refused("feature=0x" + Key(id))
                      ? "refused"
                      : Source(feature.get("dw0", Json::UInt64{id == "04" ? shown.dword : 0})))
            << id;
    }
    // Without a sanitize log in the profile there is nothing to compare; nvme-cli decodes SSTAT.
    CompareFields(logs["81"], Read("sanitize-log")["nvme" + std::to_string(controller_)], {"SSTAT"},
                  "sanitize-log");

    // brantix on the same drive, with every drive switch on, against nvme-cli.
    testing_support::RunOptions options;
    Json::Value command = crosscheck::ReadJson(BRANTIX_SOURCE_DIR "/tests/vm/read-all.cmd.json");
    command["interval in ms"] = 0;
    options.files["read-all.cmd.json"] = command.toStyledString();
    options.args = {"read-all.cmd.json", "--nvme", std::to_string(controller_), "-d", dir_ + "/read-all"};
    testing_support::RunBrantixOnProfile(profile_, options);
    const crosscheck::Outcome outcome = crosscheck::CompareWithClients(dir_);
    EXPECT_EQ(outcome.differences, std::vector<std::string>{});
    // An NVMe 1.1 drive has few of the later fields.
    EXPECT_GE(outcome.same, profile_ == "old-1.1" ? 30 : 100);
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
        EXPECT_EQ(get(fd, info, none, settings, identify, 0), 0) << id;
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
