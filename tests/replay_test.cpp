// Captured drives replayed: an information file written by read-raw stands in for the drive it was read from.
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <map>
#include <set>

#include "profile.h"
#include "support/simulator.h"

namespace {

using namespace testing_support;

// read-raw (at interval 0, with `changes`) of controller `nvme` on `profile`, a profile or a capture.
SimulatedRun ReadRaw(const std::string& profile, const std::string& nvme, const std::string& changes = "",
                     const std::map<std::string, std::string>& env = {}) {
    RunOptions options;
    options.files["read-raw.cmd.json"] = CommandFile("read-raw", {R"({"interval in ms": 0})", changes});
    options.args = {"read-raw", "--nvme", nvme};
    options.env = env;
    return RunBrantixOnProfile(profile, options);
}

std::string CaptureOf(const SimulatedRun& run) {
    return (run.dir / "nvme.info.json").string();
}

// An information file less what a replay cannot reproduce: the host's time stamps, the command times, the
// host facts that do not come from sysfs, the overview lines of the capture host's other drives, and how
// many pieces a long log page took.
Json::Value Reproducible(Json::Value info, const std::string& nvme) {
    info["nvme"]["parameters"].removeMember("Host Timestamp");
    info["nvme"]["parameters"].removeMember("Host Timestamp Decoded");
    // A long page is read in pieces no longer than the host kernel's transfer limit, which the capture does
    // not hold: consecutive reads of one page with one outcome count as one.
    Json::Value commands(Json::arrayValue);
    for (auto command : info["_metadata"]["commands"]) {
        command.removeMember("timestamp");
        command.removeMember("time in ms");
        if (commands.empty() || command != commands[commands.size() - 1] ||
            command["admin command"].asString().rfind("Get Log Page", 0) != 0) {
            commands.append(command);
        }
    }
    info["_metadata"]["commands"] = commands;
    Json::Value& system = info["_metadata"]["system"];
    for (const char* fact :
         {"hostname", "date", "os", "os version", "kernel release", "processor", "memory", "uuid"}) {
        system.removeMember(fact);
    }
    Json::Value own(Json::arrayValue);
    for (const auto& line : system["nvme list"]) {
        if (line.asString().rfind("DRIVE " + nvme + " ", 0) == 0) {
            own.append(line);
        }
    }
    system["nvme list"] = own;
    return info;
}

// The first place where two documents differ, empty when they are equal.
std::string Difference(const Json::Value& a, const Json::Value& b, const std::string& at = "") {
    if (a.type() != b.type() || (!a.isObject() && !a.isArray() && a != b) || a.size() != b.size()) {
        return at + ": " + a.toStyledString().substr(0, 200) + " / " + b.toStyledString().substr(0, 200);
    }
    for (Json::ArrayIndex i = 0; a.isArray() && i < a.size(); ++i) {
        if (const auto found = Difference(a[i], b[i], at + "/" + std::to_string(i)); !found.empty()) {
            return found;
        }
    }
    for (const auto& name : a.isObject() ? a.getMemberNames() : std::vector<std::string>{}) {
        if (const auto found = Difference(a[name], b.get(name, Json::Value()), at + "/" + name);
            !found.empty()) {
            return found;
        }
    }
    return "";
}

// Every live controller of every shipped profile, captured, replayed and read again.
TEST(Replay, ReadOfACaptureReproducesIt) {
    for (const auto& file : std::filesystem::directory_iterator(BRANTIX_SIM_PROFILES)) {
        const std::string profile = file.path().stem().string();
        const Json::Value drives = ProfileSource(profile)["drives"];
        for (Json::ArrayIndex i = 0; i < drives.size(); ++i) {
            if (drives[i].get("state", "live").asString() != "live") {
                continue;
            }
            const std::string nvme = std::to_string(drives[i].get("controller", i).asUInt());
            SCOPED_TRACE(profile + " nvme" + nvme);
            const auto captured = ReadRaw(profile, nvme);
            const auto replayed = ReadRaw(CaptureOf(captured), nvme);
            EXPECT_EQ(replayed.exit_code, captured.exit_code) << replayed.console;
            EXPECT_EQ(Difference(Reproducible(ParseJson(captured.Read("nvme.info.json")), nvme),
                                 Reproducible(ParseJson(replayed.Read("nvme.info.json")), nvme)),
                      "");
        }
    }
}

// The parameters whose values differ between two information files, or that only one of them has, apart from
// the clocks of the host and of the controller.
std::string ChangedParameters(const Json::Value& a, const Json::Value& b) {
    const std::set<std::string> clocks = {"Host Timestamp", "Host Timestamp Decoded", "Timestamp",
                                          "Timestamp Decoded"};
    const Json::Value& left = a["nvme"]["parameters"];
    const Json::Value& right = b["nvme"]["parameters"];
    std::set<std::string> names;
    for (const auto& parameters : {left, right}) {
        for (const auto& name : parameters.getMemberNames()) {
            names.insert(name);
        }
    }
    std::string changed;
    for (const auto& name : names) {
        if (clocks.count(name) == 0 && left.get(name, Json::Value()) != right.get(name, Json::Value())) {
            changed += (changed.empty() ? "" : ", ") + name;
        }
    }
    return changed;
}

// The captures of real controllers the real-kernel tier saved in tests/vm/captures, replayed on the
// controller number of their "OS Location" and read again. scripts/vm-test points BRANTIX_VM_CAPTURES at the
// ones its run has just made, which are replayed the same way and compared with the saved capture of the same
// name: made by the same firmware revision (the same QEMU, the same kernel), they must show the same
// parameters but for the clocks; a new revision's differences are listed and left to whoever refreshes the
// captures.
TEST(Replay, RealControllerCapturesReproduceThemselves) {
    const std::filesystem::path saved = std::string(BRANTIX_SOURCE_DIR) + "/tests/vm/captures";
    const char* fresh = getenv("BRANTIX_VM_CAPTURES");
    const std::filesystem::path folder = fresh != nullptr ? std::filesystem::absolute(fresh) : saved;
    int replayed_files = 0;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        SCOPED_TRACE(file.path().string());
        const Json::Value captured = ParseJson(ReadFile(file.path()));
        const std::string location = captured["nvme"]["parameters"]["OS Location"]["value"].asString();
        const std::string nvme = location.substr(std::min<size_t>(location.size(), 9));
        const auto replayed = ReadRaw(file.path().string(), nvme);
        EXPECT_EQ(replayed.exit_code, 0) << replayed.console;
        EXPECT_EQ(Difference(Reproducible(captured, nvme),
                             Reproducible(ParseJson(replayed.Read("nvme.info.json")), nvme)),
                  "");
        ++replayed_files;
        const std::filesystem::path before = saved / file.path().filename();
        if (fresh == nullptr || !std::filesystem::exists(before)) {
            continue;
        }
        const Json::Value saved_capture = ParseJson(ReadFile(before));
        const auto revision = [](const Json::Value& info) {
            return info["nvme"]["parameters"]["Firmware Revision (FR)"]["value"].asString();
        };
        const std::string changed = ChangedParameters(saved_capture, captured);
        if (revision(captured) == revision(saved_capture)) {
            EXPECT_EQ(changed, "") << "parameters that differ from the saved capture";
        } else {
            std::cout << file.path().filename().string() << " was made by firmware revision \""
                      << revision(captured) << "\", the saved one by \"" << revision(saved_capture)
                      << "\"; parameters that differ: " << changed << "\n";
        }
    }
    EXPECT_EQ(replayed_files, 2);
}

TEST(Replay, FolderOfSamplesAnswersEachSampleFromItsCapture) {
    TempFolder folder("captures");
    for (int i = 1; i <= 3; ++i) {
        const std::string patch = R"({"log pages": {"02": {"DUR": )" + std::to_string(1000 * i) + "}}}";
        const auto run = ReadRaw("plain-1.2.1", "0", "", {{"BRANTIX_SIM_DRIVE", patch}});
        std::filesystem::copy_file(CaptureOf(run),
                                   folder.dir / ("nvme.info.sample-" + std::to_string(i) + ".json"));
    }
    const auto replayed = ReadRaw(folder.dir.string(), "0", R"({"samples": 4})");
    const Json::Value summary = ParseJson(replayed.Read("read.summary.json"));
    std::string shown;
    for (const auto& sample : summary["read details"]["sample"]) {
        shown += sample["Data Read"].asString() + "|";
    }
    EXPECT_EQ(shown, "0.512 GB|1.024 GB|1.536 GB|1.536 GB|");
}

TEST(Replay, NvmeCliSeesTheCapturedDrive) {
    const auto captured = ReadRaw("rich-1.4", "0");
    for (const char* command : {"id-ctrl", "smart-log"}) {
        SCOPED_TRACE(command);
        const std::vector<std::string> line = {"nvme", command, "/dev/nvme0", "-o", "json"};
        const auto original = RunUnderSimulator("rich-1.4", line, MakeTempDir("state").string());
        const auto replayed = RunUnderSimulator(CaptureOf(captured), line, MakeTempDir("state").string());
        EXPECT_EQ(original.exit_code, 0);
        EXPECT_EQ(replayed.exit_code, 0);
        EXPECT_EQ(replayed.output, original.output);
    }
}

TEST(Replay, SelfTestAndSanitizeRunOnACapture) {
    const auto captured = ReadRaw("rich-1.4", "0");
    const std::string state = MakeTempDir("state").string();
    const std::string out = MakeTempDir("out").string();
    setenv("BRANTIX_SIM_TIME_SCALE", "50", 1);
    for (const std::string command : {"selftest-short", "sanitize-block", "read-raw"}) {
        const auto run =
            RunUnderSimulator(CaptureOf(captured),
                              {BRANTIX_BINARY, std::string(BRANTIX_SOURCE_DIR) + "/commands/" + command,
                               "--nvme", "0", "--dir", out + "/" + command},
                              state);
        EXPECT_EQ(run.exit_code, 0) << command;
    }
    unsetenv("BRANTIX_SIM_TIME_SCALE");
    // The test's result went into the captured self-test log, which held 13 results.
    const Json::Value after = ParseJson(ReadFile(out + "/read-raw/nvme.info.json"));
    EXPECT_EQ(after["nvme"]["parameters"]["Current Number Of Self-Tests"]["value"].asString(), "14");
}

// A capture the simulator cannot replay is refused whole, with the file and its first problem named.
TEST(Replay, BadCapturesAreRefusedAtLoad) {
    const auto captured = ReadRaw("plain-1.2.1", "0");
    const Json::Value capture = ParseJson(captured.Read("nvme.info.json"));
    const auto raw = ReadRaw("plain-1.2.1", "0", R"({"log hex data": false})");
    const auto edited = [&capture](void (*edit)(Json::Value&)) {
        Json::Value copy = capture;
        edit(copy);
        return copy.toStyledString();
    };
    const struct {
        std::string text;
        std::string message;
    } cases[] = {
        {captured.Read("read.summary.json"),
         "not an information file (no \"_metadata\" / \"file type\" \"nvme info\")"},
        {raw.Read("nvme.info.json"),
         "an information file without raw data: read it with \"log hex data\" true"},
        {edited([](Json::Value& c) { c["raw hex data"]["log page 0x02"][31] = "0x01F0  |  00 00 00 00"; }),
         "\"raw hex data\" / \"log page 0x02\" line 32: truncated or garbled (\"0x01F0  |  00 00 00 00\")"},
        {edited([](Json::Value& c) { c["raw hex data"]["log page 0x02"].resize(31); }),
         "\"raw hex data\" / \"log page 0x02\": 496 bytes, the page has 512"},
        {edited([](Json::Value& c) { c["raw hex data"].removeMember("Identify Controller"); }),
         "no \"raw hex data\" / \"Identify Controller\""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        TempFolder folder("bad");
        const std::string path = folder.Write("nvme.info.json", c.text);
        try {
            brantix_sim::LoadProfile(path);
            ADD_FAILURE() << "loaded";
        } catch (const brantix_sim::ProfileError& error) {
            EXPECT_EQ(std::string(error.what()), path + ": " + c.message);
        }
        RunOptions options;
        options.files["read-raw.cmd.json"] = CommandFile("read-raw");
        options.args = {"read-raw"};
        const auto run = RunBrantixOnProfile(path, options);
        EXPECT_EQ(run.exit_code, 18);
        EXPECT_TRUE(HasLine(run.console, "brantix simulator: " + path + ": " + c.message)) << run.console;
    }
}

}  // namespace
