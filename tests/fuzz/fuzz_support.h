// Helpers shared by the fuzz targets: turning the fuzzer's bytes into records,
// texts and files, and telling the tool's expected refusals from findings.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

namespace fuzz {

// Copies the first bytes of the input into a zeroed record; the record keeps
// zeros wherever the input is shorter.
template <typename Record>
Record ToRecord(const std::uint8_t* data, std::size_t size) {
    Record record{};
    std::memcpy(&record, data, size < sizeof(record) ? size : sizeof(record));
    return record;
}

// The input cut at every `separator` byte; a trailing separator ends with an empty piece.
inline std::vector<std::string> Split(const std::uint8_t* data, std::size_t size, char separator) {
    std::vector<std::string> pieces(1);
    for (std::size_t i = 0; i < size; ++i) {
        if (static_cast<char>(data[i]) == separator) {
            pieces.emplace_back();
        } else {
            pieces.back() += static_cast<char>(data[i]);
        }
    }
    return pieces;
}

// Replaces the file's content by the input, byte for byte.
inline void WriteBytes(const std::string& path, const std::uint8_t* data, std::size_t size) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr || (size > 0 && std::fwrite(data, 1, size, file) != size) || std::fclose(file) != 0) {
        std::perror(path.c_str());
        std::abort();
    }
}

// A fresh directory of this process's own under the system's temporary
// directory, removed with everything in it when the process exits normally.
inline std::string MakeScratchDirectory() {
    static std::string made;
    const char* base = std::getenv("TMPDIR");
    made = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/brantix-fuzz-XXXXXX";
    if (mkdtemp(made.data()) == nullptr) {
        std::perror("mkdtemp");
        std::abort();
    }
    std::atexit([] {
        std::error_code ignored;
        std::filesystem::remove_all(made, ignored);
    });
    return made;
}

// A decoder naming a parameter the catalogue lacks fails the whole sample in the tool: a finding.
inline void FailOnCatalogueMiss(const std::exception& error) {
    if (std::strncmp(error.what(), "Parameter '", 11) == 0) {
        std::fprintf(stderr, "decoder used a name outside the catalogue: %s\n", error.what());
        std::abort();
    }
}

}  // namespace fuzz
