#include "support/brantix_run.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace testing_support {

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

std::string RunResult::Read(const std::string& name) const {
    return ReadFile(dir / name);
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string TempFolder::Write(const std::string& name, const std::string& content) const {
    std::ofstream(Path(name), std::ios::binary) << content;
    return Path(name);
}

// Every folder a test process made is removed when the process ends, unless BRANTIX_KEEP_TEST_DIRS is set
// (to look at what a failing test left).
std::vector<std::filesystem::path> made_folders;

void RemoveMadeFolders() {
    for (const auto& path : made_folders) {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
}

std::filesystem::path MakeTempDir(const std::string& label) {
    std::string pattern =
        (std::filesystem::temp_directory_path() / ("brantix-" + label + "-XXXXXX")).string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("mkdtemp failed for " + pattern);
    }
    if (made_folders.empty() && std::getenv("BRANTIX_KEEP_TEST_DIRS") == nullptr) {
        std::atexit(RemoveMadeFolders);
    }
    made_folders.push_back(pattern);
    return pattern;
}

ProcessResult RunProcess(const std::vector<std::string>& argv, const std::map<std::string, std::string>& env,
                         const std::vector<std::string>& unset, const std::filesystem::path& dir,
                         bool with_stderr, const std::function<void(int pid)>& while_running) {
    int pipe_fds[2];
    if (pipe(pipe_fds) != 0) {
        throw std::runtime_error("pipe failed");
    }
    const pid_t child = fork();
    if (child < 0) {
        throw std::runtime_error("fork failed");
    }
    if (child == 0) {
        close(pipe_fds[0]);
        dup2(pipe_fds[1], STDOUT_FILENO);
        if (with_stderr) {
            dup2(pipe_fds[1], STDERR_FILENO);
        } else {
            const int null_fd = open("/dev/null", O_WRONLY);
            dup2(null_fd, STDERR_FILENO);
        }
        close(pipe_fds[1]);
        if (chdir(dir.c_str()) != 0) {
            _exit(126);
        }
        for (const auto& [key, value] : env) {
            setenv(key.c_str(), value.c_str(), 1);
        }
        for (const auto& key : unset) {
            unsetenv(key.c_str());
        }
        std::vector<char*> args;
        for (const auto& arg : argv) {
            args.push_back(const_cast<char*>(arg.c_str()));
        }
        args.push_back(nullptr);
        execvp(args[0], args.data());
        _exit(127);
    }
    close(pipe_fds[1]);
    std::thread watcher;
    if (while_running) {
        watcher = std::thread(while_running, static_cast<int>(child));
    }
    ProcessResult result;
    char buffer[4096];
    for (ssize_t got; (got = read(pipe_fds[0], buffer, sizeof buffer)) > 0;) {
        result.output.append(buffer, static_cast<size_t>(got));
    }
    close(pipe_fds[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (watcher.joinable()) {
        watcher.join();
    }
    result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

RunResult RunBrantix(const RunOptions& options) {
    RunResult result;
    result.dir = MakeTempDir("run");
    for (const auto& [name, content] : options.files) {
        std::filesystem::create_directories((result.dir / name).parent_path());
        std::ofstream(result.dir / name, std::ios::binary) << content;
    }
    std::vector<std::string> argv = {BRANTIX_BINARY};
    argv.insert(argv.end(), options.args.begin(), options.args.end());
    const ProcessResult run = RunProcess(argv, options.env, {}, result.dir, true, options.while_running);
    result.exit_code = run.exit_code;
    result.console = run.output;
    return result;
}

std::vector<std::string> Words(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> words;
    for (std::string word; in >> word;) {
        words.push_back(word);
    }
    return words;
}

bool HasLine(const std::string& text, const std::string& line) {
    return ("\n" + text + "\n").find("\n" + line + "\n") != std::string::npos;
}

std::string WithDir(std::string text, const std::filesystem::path& dir) {
    const auto at = text.find("<dir>");
    return at == std::string::npos ? text : text.replace(at, 5, dir.string());
}

}  // namespace testing_support
