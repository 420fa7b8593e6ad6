// Writes the seed inputs of every fuzz target into OUTPUT_DIR/<target>/:
// the raw structures each simulator profile encodes, the information documents
// decoded from them and the ready-made command and rules files. The hand-made
// command lines and rule checks are files under tests/fuzz/seeds/, which
// scripts/fuzz adds.
//   write_seeds OUTPUT_DIR
#include <filesystem>
#include <fstream>
#include <iostream>

#include "orka.h"
#include "orka_nvme.h"
#include "reference_info.h"

namespace fs = std::filesystem;

namespace {

fs::path g_output;

void Write(const std::string& target, const std::string& name, const std::string& bytes) {
    const fs::path folder = g_output / target;
    fs::create_directories(folder);
    std::ofstream(folder / name, std::ios::binary) << bytes;
}

std::string Text(const brantix_sim::Bytes& bytes) {
    return std::string(bytes.begin(), bytes.end());
}

std::string Dword(std::uint32_t value) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) {
        bytes += static_cast<char>((value >> shift) & 0xFF);
    }
    return bytes;
}

std::string HexByte(unsigned int value) {
    static const char DIGITS[] = "0123456789abcdef";
    return {DIGITS[(value >> 4) & 0xF], DIGITS[value & 0xF]};
}

std::string ReadFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void WriteProfile(const fs::path& path) {
    const brantix_sim::Profile profile = brantix_sim::LoadProfile(path.string());
    for (const auto& drive : profile.drives) {
        const std::string stem = path.stem().string() + "-" + std::to_string(drive.controller);
        Write("identify_controller", stem, Text(drive.identify_controller));
        const std::uint32_t version = drive.identify_controller.size() > 83
                                          ? drive.identify_controller[80] |
                                                drive.identify_controller[81] << 8 |
                                                drive.identify_controller[82] << 16
                                          : 0;
        for (const auto& space : drive.namespaces) {
            Write("identify_namespace", stem + "-ns" + std::to_string(space.nsid),
                  Text(space.identify) + Dword(version));
        }
        for (const auto& [id, page] : drive.logs) {
            if (id == 0x07 || id == 0x08) {
                // Only the header block of a telemetry log is decoded.
                Write("telemetry_header", stem + "-" + HexByte(id), Text(page).substr(0, 512));
            } else {
                Write("log_" + HexByte(id), stem, Text(page));
            }
        }
        for (const auto& [id, value] : drive.features) {
            Write("feature_" + HexByte(id), stem, Dword(value.dw0) + Text(value.buffer));
        }
        try {
            // Compact, as the fuzzer gets through short inputs faster.
            Json::StreamWriterBuilder compact;
            compact["indentation"] = "";
            Write("compare_file", stem + ".json", Json::writeString(compact, fuzz::DecodeDrive(drive)));
        } catch (const orka::OrkaError&) {
            // a drive older than the tool supports has no information document
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: write_seeds OUTPUT_DIR\n";
        return 2;
    }
    g_output = argv[1];
    orka::ExpandParameterCatalogue();
    for (const auto& entry : fs::directory_iterator(fuzz::SourcePath("simulator/profiles"))) {
        try {
            WriteProfile(entry.path());
        } catch (const brantix_sim::ProfileError& error) {
            std::cerr << "write_seeds: skipped " << error.what() << "\n";
        }
    }
    for (const auto& entry : fs::directory_iterator(fuzz::SourcePath("commands"))) {
        const std::string name = entry.path().filename().string();
        const bool rules = name.find(".rules.json") != std::string::npos;
        Write(rules ? "rules_file" : "command_file", name, ReadFile(entry.path()));
    }
    return 0;
}
