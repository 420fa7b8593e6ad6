#include "front_end.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include "brantix.h"
#include "fuzz_support.h"
#include "orka.h"
#include "reference_info.h"

namespace fuzz {

namespace {

std::set<std::filesystem::path> g_kept;

}  // namespace

void EnterFrontEndScratch() {
    namespace fs = std::filesystem;
    const fs::path scratch = MakeScratchDirectory();
    for (const auto& entry : fs::directory_iterator(SourcePath("commands"))) {
        fs::copy_file(entry.path(), scratch / entry.path().filename());
    }
    fs::current_path(scratch);
    for (const auto& entry : fs::directory_iterator(scratch)) {
        g_kept.insert(entry.path().filename());
    }
    const int null = open("/dev/null", O_WRONLY);
    if (null < 0 || dup2(null, STDOUT_FILENO) < 0) {
        std::perror("/dev/null");
        std::abort();
    }
    close(null);
}

void RunFrontEnd(const std::vector<std::string>& args) {
    std::vector<const char*> argv;
    for (const auto& arg : args) {
        argv.push_back(arg.c_str());
    }
    argv.push_back(nullptr);
    orka::TRACELOG_NAME = "brantix.trace.log";  // as at the start of a process
    Json::Value settings;
    try {
        GetAppParameters(static_cast<unsigned int>(args.size()), argv.data(), settings);
    } catch (...) {
        // main reports usage errors, tool errors and anything else with a return code
    }
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(".")) {
        if (g_kept.count(entry.path().filename()) == 0) {
            std::filesystem::remove_all(entry.path(), ignored);
        }
    }
}

}  // namespace fuzz
