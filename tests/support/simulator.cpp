#include "support/simulator.h"

#include <dlfcn.h>
#include <signal.h>

#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace testing_support {

namespace {

std::filesystem::path current_journal;

std::string EnvOr(const char* name, const std::string& fallback) {
    const char* value = getenv(name);
    return value == nullptr ? fallback : value;
}

// The environment that preloads the simulator into a child, with `profile`
// and the state folder `state`.
std::map<std::string, std::string> ChildEnv(const std::string& profile, const std::string& state) {
    std::string preload = EnvOr("LD_PRELOAD", "");
    if (preload.find(BRANTIX_SIM_LIBRARY) == std::string::npos) {
        preload = BRANTIX_SIM_LIBRARY + (preload.empty() ? "" : ":" + preload);
    }
    std::string asan = EnvOr("ASAN_OPTIONS", "");
    if (asan.find("verify_asan_link_order") == std::string::npos) {
        asan += (asan.empty() ? "" : ":") + std::string("verify_asan_link_order=0");
    }
    return {{"LD_PRELOAD", preload},
            {"ASAN_OPTIONS", asan},
            {"BRANTIX_SIM_PROFILE", ProfilePath(profile)},
            {"BRANTIX_SIM_STATE", state}};
}

std::vector<Json::Value> ReadJournal(const std::filesystem::path& path) {
    std::vector<Json::Value> records;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty()) {
            records.push_back(ParseJson(line));
        }
    }
    return records;
}

// Runs with the simulator's state and journal in `dir`.
SimulatedRun RunInFolder(const std::string& profile, RunOptions options, const std::string& faults,
                         const std::filesystem::path& dir) {
    for (const auto& [key, value] : ChildEnv(profile, (dir / "state").string())) {
        options.env[key] = value;
    }
    options.env["BRANTIX_SIM_JOURNAL"] = (dir / "journal.jsonl").string();
    options.env["BRANTIX_SIM_FAULTS"] = faults;
    SimulatedRun run;
    static_cast<RunResult&>(run) = RunBrantix(options);
    run.journal_path = dir / "journal.jsonl";
    return run;
}

}  // namespace

std::string ProfilePath(const std::string& name) {
    return name.find('/') != std::string::npos ? name
                                               : std::string(BRANTIX_SIM_PROFILES) + "/" + name + ".json";
}

std::vector<std::string> TraceLines(const std::string& path) {
    static const std::regex stamp(R"(^\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\])");
    static const std::regex line(R"(@\d+\] )");
    std::ifstream in(path);
    std::vector<std::string> lines;
    for (std::string text; std::getline(in, text);) {
        lines.push_back(std::regex_replace(std::regex_replace(text, stamp, "<stamp>"), line, "@<line>] "));
    }
    return lines;
}

Json::Value ParseJson(const std::string& text) {
    Json::CharReaderBuilder builder;
    Json::Value value;
    std::string errors;
    std::istringstream in(text);
    if (!Json::parseFromStream(builder, in, &value, &errors)) {
        throw std::runtime_error("not JSON: " + errors + "\n" + text.substr(0, 400));
    }
    return value;
}

std::string CommandFile(const std::string& name, const std::vector<std::string>& changes,
                        const std::vector<std::string>& removed) {
    Json::Value command =
        ParseJson(ReadFile(std::string(BRANTIX_SOURCE_DIR) + "/commands/" + name + ".cmd.json"));
    for (const auto& text : changes) {
        const Json::Value change = ParseJson(text.empty() ? "{}" : text);
        for (const auto& key : change.getMemberNames()) {
            command[key] = change[key];
        }
    }
    for (const auto& key : removed) {
        command.removeMember(key);
    }
    return command.toStyledString();
}

Json::Value ProfileSource(const std::string& name) {
    Json::Value source = ParseJson(ReadFile(ProfilePath(name)));
    if (source.isMember("same as")) {
        const auto folder = std::filesystem::path(ProfilePath(name)).parent_path();
        return ProfileSource((folder / source["same as"].asString()).string());
    }
    return source;
}

void UseProfile(const std::string& name, const std::string& faults) {
    if (dlsym(RTLD_DEFAULT, "brantix_sim_loaded") == nullptr) {
        throw std::runtime_error("the simulator is not preloaded; run this test through ctest");
    }
    const auto dir = MakeTempDir("sim");
    current_journal = dir / "journal.jsonl";
    setenv("BRANTIX_SIM_STATE", (dir / "state").c_str(), 1);
    setenv("BRANTIX_SIM_JOURNAL", current_journal.c_str(), 1);
    setenv("BRANTIX_SIM_FAULTS", faults.c_str(), 1);
    setenv("BRANTIX_SIM_PROFILE", ProfilePath(name).c_str(), 1);
}

void StopSimulation() {
    unsetenv("BRANTIX_SIM_PROFILE");
    unsetenv("BRANTIX_SIM_FAULTS");
}

std::vector<Json::Value> Journal() {
    return ReadJournal(current_journal);
}

std::vector<Json::Value> SimulatedRun::Journal() const {
    return ReadJournal(journal_path);
}

SimulatedRun RunBrantixInterrupted(const std::string& profile, RunOptions options, unsigned int opcode,
                                   unsigned int count) {
    const auto dir = MakeTempDir("sim");
    options.while_running = [journal = dir / "journal.jsonl", opcode, count](int pid) {
        const std::string mark = "\"opcode\":" + std::to_string(opcode) + ",";
        // Gives up after about a minute; the test then fails on what it expects.
        for (int wait = 0; wait < 6000; ++wait) {
            const std::string text = ReadFile(journal);
            unsigned int seen = 0;
            for (auto at = text.find(mark); at != std::string::npos; at = text.find(mark, at + 1)) {
                ++seen;
            }
            if (seen >= count) {
                kill(pid, SIGINT);  // as Ctrl-C would
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    };
    return RunInFolder(profile, options, "", dir);
}

SimulatedRun RunBrantixOnProfile(const std::string& profile, RunOptions options, const std::string& faults) {
    return RunInFolder(profile, options, faults, MakeTempDir("sim"));
}

CommandResult RunUnderSimulator(const std::string& profile, const std::vector<std::string>& command,
                                const std::string& state_dir) {
    return RunProcess(command, ChildEnv(profile, state_dir), {"BRANTIX_SIM_FAULTS", "BRANTIX_SIM_JOURNAL"},
                      std::filesystem::current_path(), false);
}

}  // namespace testing_support
