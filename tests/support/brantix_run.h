// Runs the built brantix binary in a directory of its own and collects what
// a user would see: exit code, console text and the files it left.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace testing_support {

struct RunOptions {
    std::vector<std::string> args;
    // Extra environment variables for the child.
    std::map<std::string, std::string> env;
    // Files to create in the working directory before the run (name -> content).
    std::map<std::string, std::string> files;
    // Called on a thread of its own with the child's process id while the
    // child runs (for example to signal it once it has reached some point).
    std::function<void(int pid)> while_running;
};

struct RunResult {
    int exit_code = -1;
    std::string console;  // standard output and standard error, interleaved
    std::filesystem::path dir;

    bool Exists(const std::string& name) const { return std::filesystem::exists(dir / name); }
    std::string Read(const std::string& name) const;
};

struct ProcessResult {
    int exit_code = -1;
    std::string output;
};

// Runs `argv` (looked up on PATH) in `dir` with `env` added to and `unset`
// removed from this process's environment; collects standard output, and
// standard error too when `with_stderr` is set (otherwise it is dropped).
ProcessResult RunProcess(const std::vector<std::string>& argv, const std::map<std::string, std::string>& env,
                         const std::vector<std::string>& unset, const std::filesystem::path& dir,
                         bool with_stderr, const std::function<void(int pid)>& while_running = {});

// The lines of `text`.
std::vector<std::string> Lines(const std::string& text);

// The content of a file; empty when it cannot be read.
std::string ReadFile(const std::filesystem::path& path);

// A fresh, empty directory under the system's temporary directory.
// It is removed with everything in it when the test process ends.
std::filesystem::path MakeTempDir(const std::string& label);

// A fresh temporary folder for one test, removed with the object.
struct TempFolder {
    explicit TempFolder(const std::string& label) : dir(MakeTempDir(label)) {}
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(dir, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::string Path(const std::string& name) const { return (dir / name).string(); }
    // Writes `content` to the file `name` in the folder and returns its path.
    std::string Write(const std::string& name, const std::string& content) const;

    std::filesystem::path dir;
};

// Runs BRANTIX_BINARY with `options` in a fresh temporary directory (input
// files may name subfolders, which are made).
RunResult RunBrantix(const RunOptions& options);

// The words of `text`, split at blanks (a command line without quoting).
std::vector<std::string> Words(const std::string& text);

// True when `line` is one whole line of `text`.
bool HasLine(const std::string& text, const std::string& line);

// `text` with its first "<dir>" replaced by `dir`.
std::string WithDir(std::string text, const std::filesystem::path& dir);

}  // namespace testing_support
